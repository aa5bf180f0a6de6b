// How many mutexes a look-up takes: a figure that is the same on every machine, so that a lock on
// the way of every reader is seen.

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include "LockHook.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingsManager.h"
#include "StubStorage.h"

namespace {

using namespace Qel::Settings;

template <class Action>
int mutexesOf(Action action) {
    const int before = testsupport::mutexesTaken;
    action();
    return testsupport::mutexesTaken - before;
}

class LockCost : public testing::Test {
protected:
    LockCost() {
        const auto storage = boost::make_shared<testsupport::StubStorage>("sound");
        manager_.registerStorage(storage);
        manager_.registerSetting(boost::make_shared<SettingHolder>("sound/bass", 7));
    }

    SettingsManager manager_;
};

TEST_F(LockCost, ALookUpOfASettingThatIsThereTakesNoMutex) {
    boost::shared_ptr<SettingHolder> found;
    EXPECT_EQ(mutexesOf([&] { found = manager_.setting("sound/bass"); }), 0);
    EXPECT_NE(found, nullptr);
}

// A value is guarded by a word of its setting, which is no mutex while nobody else has it.
TEST_F(LockCost, AReadOfTheValueFoundTakesNone) {
    int value = 0;
    EXPECT_EQ(mutexesOf([&] { value = manager_.setting("sound/bass")->getValue<int>(); }), 0);
    EXPECT_EQ(value, 7);
    const auto holder = manager_.setting("sound/bass");
    EXPECT_EQ(mutexesOf([&] { value = boost::any_cast<int>(holder->value()); }), 0);
    EXPECT_EQ(value, 7);
}

// How many mutexes a shared lock is made of is Boost's affair.
TEST_F(LockCost, ALookUpOfASettingThatIsNotThereTakesTheManagersLock) {
    boost::shared_ptr<SettingHolder> found;
    EXPECT_GE(mutexesOf([&] { found = manager_.setting("sound/treble"); }), 1);
    EXPECT_EQ(found, nullptr);
}

}  // namespace
