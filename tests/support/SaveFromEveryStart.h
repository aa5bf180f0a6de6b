#ifndef TESTS_SUPPORT_SAVEFROMEVERYSTART_H
#define TESTS_SUPPORT_SAVEFROMEVERYSTART_H

#include <filesystem>
#include <gtest/gtest.h>
#include <string>

#include "IniStorageFixture.h"

namespace testsupport {

/// How the files lie when a save begins.
enum class Start { kNoFile, kOrdinaryFile, kInterruptedSave };

inline std::string nameOfStart(const testing::TestParamInfo<Start>& start) {
    switch (start.param) {
        case Start::kNoFile:
            return "NoFile";
        case Start::kOrdinaryFile:
            return "AnOrdinaryFile";
        default:
            return "AnInterruptedSave";
    }
}

/// A storage about to be saved, whichever way its files lie: on the disk two settings are 1, in
/// memory both are 2.
class SaveFromEveryStart : public IniStorageFixture, public testing::WithParamInterface<Start> {
protected:
    static std::string textOf(int value) {
        const std::string text = std::to_string(value);
        return "#name = settings\n#savepolicy = ondemand\n[]\na = int," + text + "\nb = int," +
               text;
    }

    void givenAChange() {
        for (const std::string& path : {rw_, copy_, copy_ + ".new", bad_}) {
            std::filesystem::remove(path);
        }
        if (GetParam() == Start::kInterruptedSave) {
            writeFile(rw_, withCrc(textOf(7)).substr(0, 60));
            buildCopy(textOf(1));
        } else if (GetParam() == Start::kOrdinaryFile) {
            build(textOf(1));
        } else {
            buildDefaults("#name = settings\n#savepolicy = ondemand\na = int,1\nb = int,1\n");
        }
        ASSERT_TRUE(reopen());
        change();
    }

    void change() {
        setting("settings/a")->setValue(2);
        setting("settings/b")->setValue(2);
    }

    /// The value that a process which starts now finds in both settings; -1 when the two differ or
    /// are not there. The start must not set anything aside.
    int valueOnDisk() {
        Storage other("settings", defaults_, rw_, types_, Storage::Save_onDemand);
        EXPECT_TRUE(other.init(&manager_, nullptr));
        EXPECT_FALSE(exists(bad_));
        const auto a = other.querySetting("settings/a");
        const auto b = other.querySetting("settings/b");
        return a && b && a->getValue<int>() == b->getValue<int>() ? a->getValue<int>() : -1;
    }
};

}  // namespace testsupport

#endif
