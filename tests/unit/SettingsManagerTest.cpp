#include <boost/chrono/duration.hpp>
#include <boost/smart_ptr/make_shared.hpp>
#include <cstddef>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "Gate.h"
#include "LogCapture.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingsManager.h"
#include "Qel/Settings/SettingsStorageFileAsyncSaver.h"
#include "SaverThreads.h"
#include "SaverTiming.h"
#include "StubFileStorage.h"
#include "StubStorage.h"
#include "SystemCommands.h"

namespace {

using namespace Qel::Settings;
using testing::ElementsAre;
using testsupport::LogCapture;
using testsupport::StubFileStorage;
using testsupport::StubStorage;
using testsupport::SystemCommands;

static_assert(!std::is_copy_constructible<SettingsManager>::value, "storages know their manager");
static_assert(!std::is_copy_assignable<SettingsManager>::value, "storages know their manager");
static_assert(std::is_same<decltype(SettingsManager::location("")), std::string>::value,
              "the previous directory is a copy, as the present one has changed");
static_assert(std::is_same<decltype(SettingsManager::location()), const std::string&>::value,
              "the directory itself is not copied");
static_assert(
    std::is_same<decltype(SettingsManager::setResetToDefaultsMarker("")), std::string>::value,
    "the previous path is a copy, as the present one has changed");

boost::shared_ptr<StubFileStorage> fileStorage(const std::string& name,
                                               SettingStorageFileBase::SavePolicy policy) {
    return boost::make_shared<StubFileStorage>(name, "", "/absent/" + name, policy);
}

void makeDirty(SettingStorageFileBase& storage) {
    const auto setting = boost::make_shared<SettingHolder>(storage.name() + "/x", 1);
    ASSERT_TRUE(storage.registerSetting(setting));
    ASSERT_TRUE(setting->setValue(2));
    ASSERT_TRUE(storage.dirty());
}

TEST(SettingsManager, StartsWithRootAsLocationAndNeitherMarkerNorDefaultInstance) {
    EXPECT_EQ("/", SettingsManager::location());
    EXPECT_EQ("", SettingsManager::setResetToDefaultsMarker(""));
    EXPECT_EQ(nullptr, SettingsManager::existingInstance());
}

TEST(SettingsManager, LocationEndsInOneSlashAndTheSetterReturnsThePreviousOne) {
    EXPECT_EQ("/", SettingsManager::location(""));
    EXPECT_EQ("/", SettingsManager::location());
    EXPECT_EQ("/", SettingsManager::location("/data"));
    EXPECT_EQ("/data/", SettingsManager::location());
    EXPECT_EQ("/data/", SettingsManager::location("/other/"));
    EXPECT_EQ("/other/", SettingsManager::location());
    EXPECT_EQ("/other/", SettingsManager::location(""));
    EXPECT_EQ("/", SettingsManager::location());
}

TEST(SettingsManager, LocationMayBeSetToItself) {
    SettingsManager::location("/data");
    EXPECT_EQ("/data/", SettingsManager::location(SettingsManager::location()));
    EXPECT_EQ("/data/", SettingsManager::location());
    SettingsManager::location("/");
}

TEST(SettingsManager, MarkerSetterReturnsThePreviousPath) {
    EXPECT_EQ("", SettingsManager::setResetToDefaultsMarker("/absent/first"));
    EXPECT_EQ("/absent/first", SettingsManager::setResetToDefaultsMarker("/absent/second"));
    EXPECT_EQ("/absent/second", SettingsManager::setResetToDefaultsMarker(""));
}

TEST(SettingsManager, FactorySetterReturnsThePreviousFactoryAndTakesAnEmptyOne) {
    SettingsManager manager;
    const auto first = boost::make_shared<SettingFactory>();
    const auto second = boost::make_shared<SettingFactory>();
    EXPECT_EQ(nullptr, manager.factory());
    EXPECT_EQ(nullptr, manager.factory(first));
    EXPECT_EQ(first, manager.factory(second));
    EXPECT_EQ(second, manager.factory());
    EXPECT_EQ(second, manager.factory(nullptr));
    EXPECT_EQ(nullptr, manager.factory());
}

TEST(SettingsManager, StoragesKeepTheFactoryThatWasInForceWhenTheyWereRegistered) {
    SettingsManager manager;
    const auto first = boost::make_shared<SettingFactory>();
    const auto second = boost::make_shared<SettingFactory>();
    const auto early = boost::make_shared<StubStorage>("early");
    const auto late = boost::make_shared<StubStorage>("late");
    manager.factory(first);
    ASSERT_TRUE(manager.registerStorage(early));
    manager.factory(second);
    ASSERT_TRUE(manager.registerStorage(late));
    manager.factory(nullptr);
    EXPECT_EQ(first, early->factory());
    EXPECT_EQ(second, late->factory());
}

TEST(SettingsManager, UnknownNameGivesAnEmptyPointer) {
    SettingsManager manager;
    const auto storage = boost::make_shared<StubStorage>("sound");
    const auto bass = storage->load("sound/bass", 1);
    ASSERT_TRUE(manager.registerStorage(storage));
    EXPECT_EQ(bass, manager.setting("sound/bass"));
    EXPECT_EQ(nullptr, manager.setting("sound/bas"));
    EXPECT_EQ(nullptr, manager.setting("sound/bass/"));
    EXPECT_EQ(nullptr, manager.setting("SOUND/BASS"));
    EXPECT_EQ(nullptr, manager.setting(""));
}

TEST(SettingsManager, DefaultStorageIsEmptyUntilItIsSet) {
    SettingsManager manager;
    const auto storage = boost::make_shared<StubStorage>("rest");
    EXPECT_EQ(nullptr, manager.defaultStorage());
    manager.defaultStorage(storage);
    EXPECT_EQ(storage, manager.defaultStorage());
    manager.defaultStorage(nullptr);
    EXPECT_EQ(nullptr, manager.defaultStorage());
}

TEST(SettingsManager, ManagersKnowNothingOfEachOther) {
    SettingsManager one;
    SettingsManager other;
    const auto storage = boost::make_shared<StubStorage>("sound");
    storage->load("sound/bass", 1);
    ASSERT_TRUE(one.registerStorage(storage));
    one.setSettingsOperationMode(SOM_ResetDone);
    EXPECT_EQ(nullptr, other.setting("sound/bass"));
    EXPECT_EQ(SOM_Normal, other.getSettingsOperationMode());
    EXPECT_EQ(nullptr, SettingsManager::existingInstance());
}

TEST(SettingsManager, StoragesAndSettingsAreVisitedInByteWiseOrderOfTheirNames) {
    SettingsManager manager;
    for (const std::string name : {"b", "\xC3\xA4", "B", "a/x", "a"}) {
        const auto storage = boost::make_shared<StubStorage>(name);
        storage->load(name + "/z", 1);
        ASSERT_TRUE(manager.registerStorage(storage));
    }
    std::vector<std::string> storages;
    std::vector<std::string> settings;
    manager.forEachStorage([&](const auto& storage) { storages.push_back(storage->name()); });
    manager.forEachSetting([&](const auto& setting) { settings.push_back(setting->name()); });
    EXPECT_THAT(storages, ElementsAre("B", "a", "a/x", "b", "\xC3\xA4"));
    EXPECT_THAT(settings, ElementsAre("B/z", "a/x/z", "a/z", "b/z", "\xC3\xA4/z"));
}

TEST(SettingsManager, VisitorMayRegisterAndIsNotShownWhatItRegistered) {
    SettingsManager manager;
    const auto storage = boost::make_shared<StubStorage>("a");
    storage->load("a/0", 1);
    ASSERT_TRUE(manager.registerStorage(storage));
    int settings = 0;
    manager.forEachSetting([&](const auto&) {
        ++settings;
        manager.registerSetting(boost::make_shared<SettingHolder>("a/1", 1));
    });
    int storages = 0;
    manager.forEachStorage([&](const auto&) {
        ++storages;
        EXPECT_TRUE(manager.registerStorage(boost::make_shared<StubStorage>("b")));
    });
    EXPECT_EQ(1, settings);
    EXPECT_EQ(1, storages);
    EXPECT_NE(nullptr, manager.setting("a/1"));
}

TEST(SettingsManager, FlushingAllSettingsDoesNotBringTheSaverIntoBeing) {
    SettingsManager::flushAllSettings();
    EXPECT_EQ(nullptr, SettingsStorageFileAsyncSaver::instance());
    EXPECT_THAT(SystemCommands::instance().commands(), ElementsAre());
}

TEST(SettingsManager, FlushingAllSettingsReachesOnlyStoragesOfTheBackgroundSaver) {
    SettingsManager manager;
    SettingsStorageFileAsyncSaver::initInstance()->stop();
    const auto async = fileStorage("async", SettingStorageFileBase::Save_async);
    const auto onDemand = fileStorage("onDemand", SettingStorageFileBase::Save_onDemand);
    const auto unspecified = fileStorage("unspecified", SettingStorageFileBase::Save_unspecified);
    for (const auto& storage : {async, onDemand, unspecified}) {
        ASSERT_TRUE(manager.registerStorage(storage));
        makeDirty(*storage);
    }
    SettingsManager::flushAllSettings();
    EXPECT_THAT(async->calls(), ElementsAre("save /absent/async"));
    EXPECT_THAT(onDemand->calls(), ElementsAre());
    EXPECT_THAT(unspecified->calls(), ElementsAre());
    EXPECT_TRUE(onDemand->dirty());
    EXPECT_TRUE(unspecified->dirty());
}

TEST(SettingsManager, DestructorDoesNotBringTheSaverIntoBeing) {
    { SettingsManager manager; }
    EXPECT_EQ(nullptr, SettingsStorageFileAsyncSaver::instance());
}

TEST(SettingsManager, DestructorStopsTheSaverThread) {
    {
        SettingsManager manager;
        SettingsStorageFileAsyncSaver::initInstance();
        testsupport::untilSaverThreadRuns();
    }
    testsupport::untilSaverThreadIsGone();
    EXPECT_NE(nullptr, SettingsStorageFileAsyncSaver::instance());
}

TEST(SettingsManager, DestructorHasPendingChangesSavedWhileItsStoragesLive) {
    const auto storage = fileStorage("async", SettingStorageFileBase::Save_async);
    {
        SettingsManager manager;
        ASSERT_TRUE(manager.registerStorage(storage));
        makeDirty(*storage);
    }
    EXPECT_THAT(storage->calls(), ElementsAre("save /absent/async"));
    EXPECT_FALSE(storage->dirty());
}

TEST(SettingsManager, ManagerThatDiesOnTheSaversOwnThreadSaysThatItCannotStopIt) {
    LogCapture log;
    saverIdlePeriod = boost::chrono::milliseconds(1);
    auto dying = std::make_unique<SettingsManager>();
    testsupport::Gate saved;
    saved.open();
    const auto storage = fileStorage("async", SettingStorageFileBase::Save_async);
    storage->onSave = [&](const std::string&) {
        dying.reset();
        saved.pass();
        return true;
    };
    const auto setting = boost::make_shared<SettingHolder>("async/x", 1);
    ASSERT_TRUE(storage->registerSetting(setting));
    ASSERT_TRUE(setting->setValue(2));
    saved.waitForArrival();
    SettingsStorageFileAsyncSaver::instance()->stop();
    std::size_t complaints = 0;
    for (const testsupport::LogEntry& entry : log.entries()) {
        complaints += entry.level == 5 && entry.source == "src/SettingsManager" &&
                              entry.text.find(
                                  "SettingsManager: stopping the background saver "
                                  "failed: boost thread: trying joining itself") == 0
                          ? 1
                          : 0;
    }
    EXPECT_EQ(1U, complaints) << log.dump();
}

TEST(SettingsManager, StorageThatOutlivesItsManagerKeepsTheLinkAndRefusesToSave) {
    const auto storage = fileStorage("orphan", SettingStorageFileBase::Save_onDemand);
    const SettingsManager* former = nullptr;
    {
        SettingsManager manager;
        former = &manager;
        ASSERT_TRUE(manager.registerStorage(storage));
        makeDirty(*storage);
    }
    EXPECT_EQ(former, storage->settingsManager());
    EXPECT_FALSE(storage->save());
    EXPECT_TRUE(storage->dirty());
    EXPECT_THAT(storage->calls(), ElementsAre());
}

TEST(SettingsManager, SaverPassesOverAStorageWhoseManagerIsGone) {
    const auto orphan = fileStorage("orphan", SettingStorageFileBase::Save_async);
    {
        SettingsManager manager;
        ASSERT_TRUE(manager.registerStorage(orphan));
    }
    makeDirty(*orphan);
    const auto other = fileStorage("other", SettingStorageFileBase::Save_async);
    makeDirty(*other);
    SettingsManager::flushAllSettings();
    EXPECT_THAT(orphan->calls(), ElementsAre());
    EXPECT_THAT(other->calls(), ElementsAre("save /absent/other"));
}

}  // namespace
