// A program that goes on after a shortage of memory finds its settings as they were before it.

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "AllocationHook.h"
#include "IniStorageFixture.h"

namespace {

using Qel::Settings::SettingHolder;
using testsupport::readFile;
using testsupport::withCrc;
using testsupport::withEverMoreMemory;

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

}  // namespace
