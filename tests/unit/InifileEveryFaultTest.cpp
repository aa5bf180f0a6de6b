#include <cerrno>
#include <gtest/gtest.h>
#include <string>

#include "FileCalls.h"
#include "SaveFromEveryStart.h"

namespace {

using testsupport::exists;
using testsupport::FileCalls;
using testsupport::readFile;
using testsupport::Start;
using testsupport::withCrc;

using InifileEveryFault = testsupport::SaveFromEveryStart;

TEST_P(InifileEveryFault, WhicheverCallFailsALoadGivesOldOrNewAndTheNextSaveSucceeds) {
    std::size_t failedSaves = 0;
    bool reached = true;
    for (std::size_t number = 0; reached; ++number) {
        givenAChange();
        std::string call = "none";
        bool saved = false;
        {
            FileCalls calls(dir_.path());
            calls.failAt(number, EIO);
            saved = storage_->save();
            reached = number < calls.calls().size();
            call = reached ? calls.calls()[number] : call;
        }
        const int value = valueOnDisk();
        EXPECT_TRUE(value == 2 || (value == 1 && !saved)) << call << " gives " << value;
        EXPECT_EQ(storage_->dirty(), !saved) << call;
        failedSaves += saved ? 0 : 1;
        change();
        EXPECT_TRUE(storage_->save()) << call;
        EXPECT_EQ(readFile(rw_), withCrc(textOf(2))) << call;
        EXPECT_EQ(valueOnDisk(), 2) << call;
        EXPECT_FALSE(exists(copy_ + ".new")) << call;
    }
    EXPECT_GE(failedSaves, 9U) << "opens, writes, syncs and closes of both files";
}

TEST_P(InifileEveryFault, WhicheverCallFailsTheOldValueCanBeSavedInPlaceOfTheNew) {
    bool reached = true;
    for (std::size_t number = 0; reached; ++number) {
        givenAChange();
        {
            FileCalls calls(dir_.path());
            calls.failAt(number, EIO);
            storage_->save();
            reached = number < calls.calls().size();
        }
        setting("settings/a")->setValue(1);
        setting("settings/b")->setValue(1);
        EXPECT_TRUE(storage_->save()) << number;
        EXPECT_EQ(valueOnDisk(), 1) << number;
    }
}

INSTANTIATE_TEST_SUITE_P(From, InifileEveryFault,
                         testing::Values(Start::kNoFile, Start::kOrdinaryFile,
                                         Start::kInterruptedSave),
                         testsupport::nameOfStart);

}  // namespace
