#include <boost/chrono/duration.hpp>
#include <boost/smart_ptr/make_shared.hpp>
#include <gtest/gtest.h>
#include <stdexcept>

#include "DefaultInstanceCount.h"
#include "FakeSetUp.h"
#include "Gate.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingsManager.h"
#include "SaverTiming.h"
#include "StubFileStorage.h"
#include "SystemCommands.h"

namespace {

using namespace Qel::Settings;
using testsupport::setUp;
using testsupport::StubFileStorage;

TEST(DefaultInstanceCount, GrowsAfterTheSetUpAndShrinksWithAReload) {
    int duringSetUp = -1;
    setUp() = [&](SettingsManager&) {
        duringSetUp = defaultInstanceCount;
        return 0U;
    };
    EXPECT_EQ(0, defaultInstanceCount);
    SettingsManager::defaultInstance();
    EXPECT_EQ(0, duringSetUp);
    EXPECT_EQ(1, defaultInstanceCount);
    SettingsManager::defaultInstance();
    EXPECT_EQ(1, defaultInstanceCount);
    SettingsManager::reloadSettings();
    EXPECT_EQ(0, defaultInstanceCount);
    SettingsManager::reloadSettings();
    EXPECT_EQ(0, defaultInstanceCount);
}

TEST(DefaultInstanceCount, DoesNotCountAFailedSetUp) {
    setUp() = [](SettingsManager&) -> unsigned int { throw std::runtime_error("no flash"); };
    EXPECT_THROW(SettingsManager::defaultInstance(), std::runtime_error);
    EXPECT_EQ(0, defaultInstanceCount);
    SettingsManager::reloadSettings();
    EXPECT_EQ(0, defaultInstanceCount);
    setUp() = nullptr;
    SettingsManager::defaultInstance();
    EXPECT_EQ(1, defaultInstanceCount);
}

TEST(DefaultInstanceCount, TellsOfManagersThatWereMadeOneOverTheOther) {
    EXPECT_EQ(0, SettingsManager::createDefaultSettingsManager());
    const SettingsManager* const first = SettingsManager::existingInstance();
    EXPECT_EQ(0, SettingsManager::createDefaultSettingsManager());
    EXPECT_EQ(2, defaultInstanceCount);
    EXPECT_NE(first, SettingsManager::existingInstance());
    delete first;
}

TEST(DefaultInstance, BackgroundSavingGoesOnAfterAReload) {
    saverIdlePeriod = boost::chrono::milliseconds(1);
    testsupport::Gate saved;
    saved.open();
    setUp() = [&](SettingsManager& manager) {
        const auto storage = boost::make_shared<StubFileStorage>(
            "sound", "", "/absent/file", SettingStorageFileBase::Save_async);
        storage->onSave = [&](const std::string&) {
            saved.pass();
            return true;
        };
        manager.registerStorage(storage);
        manager.registerSetting(boost::make_shared<SettingHolder>("sound/bass", 1));
        return 0U;
    };
    SettingsManager::defaultInstance();
    SettingsManager::reloadSettings();
    ASSERT_TRUE(SettingsManager::defaultInstance()->setting("sound/bass")->setValue(2));
    saved.waitForArrival();
    SettingsManager::reloadSettings();
}

}  // namespace
