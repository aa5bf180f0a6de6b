// A program that goes on after a shortage of memory finds its settings as they were before it.

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "AllocationHook.h"
#include "IniStorageFixture.h"

namespace {

using Qel::Settings::SettingHolder;
using testsupport::allocationsLeft;
using testsupport::exists;
using testsupport::readFile;
using testsupport::withCrc;
using testsupport::withEverMoreMemory;
using testsupport::writeFile;

using Holder = boost::shared_ptr<SettingHolder>;

class MemoryShortage : public testsupport::IniStorageFixture {
protected:
    std::vector<std::string> names() const {
        std::vector<std::string> names;
        for (const Holder& holder : storage_->snapshot()) {
            names.push_back(holder->name());
        }
        return names;
    }
};

TEST_F(MemoryShortage, ASetThatNeedsAMapIsStillTheSameSet) {
    build("#name = settings\n[sound]\na = int,1\nb = int,2\nc = int,3");
    ASSERT_TRUE(reopen());
    int shortages = 0;
    Holder last;
    withEverMoreMemory(
        [this] { storage_->settingsSet(); },
        [&] {
            ++shortages;
            EXPECT_EQ(names(), (std::vector<std::string>{"settings/sound/a", "settings/sound/b",
                                                         "settings/sound/c"}));
            last = boost::make_shared<SettingHolder>("settings/sound/a", shortages);
            EXPECT_TRUE(storage_->registerSetting(last));
        });
    EXPECT_GE(shortages, 3);
    EXPECT_EQ(storage_->querySetting("settings/sound/a"), last);
    EXPECT_TRUE(last->setValue(7));
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_),
              withCrc("#name = settings\n#savepolicy = ondemand\n[sound]\na = int,7\n"
                      "b = int,2\nc = int,3"));
}

// So many that the manager's index has to grow more than once.
TEST_F(MemoryShortage, ASettingThatCouldNotBeRegisteredCanBeRegisteredLater) {
    build("#name = settings\n[]\na = int,1");
    create();
    ASSERT_TRUE(manager_.registerStorage(storage_));
    int shortages = 0;
    for (int i = 0; i < 200; ++i) {
        const std::string name = "settings/b" + std::to_string(i);
        const auto holder = boost::make_shared<SettingHolder>(name, i);
        withEverMoreMemory([&] { manager_.registerSetting(holder); },
                           [&] {
                               ++shortages;
                               EXPECT_EQ(holder->callback(), nullptr) << name;
                               EXPECT_EQ(manager_.setting(name), nullptr);
                           });
        EXPECT_EQ(manager_.setting(name), holder);
        EXPECT_EQ(storage_->querySetting(name), holder);
    }
    EXPECT_GE(shortages, 200);
}

// With no memory, with one block, and so on until the file is set aside as it should be.
TEST_F(MemoryShortage, AStartOverADamagedFileComesUpAndTheFileIsKept) {
    int stayed = 0;
    bool isSetAside = false;
    for (int blocks = 0; !isSetAside; ++blocks) {
        std::filesystem::remove(bad_);
        writeFile(rw_, "damaged");
        create();
        allocationsLeft = blocks;
        const bool isUp = storage_->init(&manager_, nullptr);
        allocationsLeft = -1;
        ASSERT_TRUE(isUp) << blocks;
        if (exists(rw_)) {
            ++stayed;
            ASSERT_EQ(readFile(rw_), "damaged") << blocks;
            add("settings/a", 1);
            setting("settings/a")->setValue(2);
            ASSERT_TRUE(storage_->save()) << blocks;
        }
        ASSERT_EQ(readFile(bad_), "damaged") << blocks;
        isSetAside = !exists(rw_);
    }
    EXPECT_GE(stayed, 10);
}

}  // namespace
