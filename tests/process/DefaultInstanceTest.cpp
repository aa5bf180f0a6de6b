#include <boost/smart_ptr/make_shared.hpp>
#include <boost/smart_ptr/weak_ptr.hpp>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iostream>
#include <string>
#include <vector>

#include "FakeSetUp.h"
#include "Files.h"
#include "Gate.h"
#include "LogCapture.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingsManager.h"
#include "Qel/Settings/SettingsStorageFileAsyncSaver.h"
#include "SaverThreads.h"
#include "StubFileStorage.h"
#include "StubStorage.h"
#include "SystemCommands.h"
#include "TempDir.h"
#include "Threads.h"

namespace {

using namespace Qel::Settings;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testsupport::LogCapture;
using testsupport::setUp;
using testsupport::StubFileStorage;
using testsupport::StubStorage;
using testsupport::SystemCommands;
using testsupport::WatchedThread;

/// A storage of the background saver that says when it dies.
class MortalStorage : public StubFileStorage {
public:
    MortalStorage(const std::string& name, std::function<void()> whenDestroyed)
        : StubFileStorage(name, "", "/absent/file", Save_async),
          whenDestroyed_(std::move(whenDestroyed)) {}
    ~MortalStorage() override {
        retire();
        whenDestroyed_();
    }

private:
    std::function<void()> whenDestroyed_;
};

void addSetting(const std::string& name) {
    SettingsManager::existingInstance()->registerSetting(
        boost::make_shared<SettingHolder>(name, 1));
}

TEST(DefaultInstance, FirstUseMakesItAndLaterOnesGiveIt) {
    int setUps = 0;
    setUp() = [&](SettingsManager&) {
        ++setUps;
        return 0U;
    };
    SettingsManager* const manager = SettingsManager::defaultInstance();
    ASSERT_NE(nullptr, manager);
    EXPECT_EQ(manager, SettingsManager::defaultInstance());
    EXPECT_EQ(manager, SettingsManager::existingInstance());
    EXPECT_EQ(manager, T8SettingsManager());
    EXPECT_EQ(1, setUps);
}

TEST(DefaultInstance, IsStoredBeforeItsSetUpRuns) {
    SettingsManager* given = nullptr;
    SettingsManager* stored = nullptr;
    setUp() = [&](SettingsManager& manager) {
        given = &manager;
        stored = SettingsManager::existingInstance();
        return 0U;
    };
    SettingsManager* const manager = SettingsManager::defaultInstance();
    EXPECT_EQ(manager, given);
    EXPECT_EQ(manager, stored);
}

TEST(DefaultInstance, HasTheBuiltInTypesNormalModeAndNothingElseWhenItsSetUpBegins) {
    bool checked = false;
    setUp() = [&](SettingsManager& manager) {
        EXPECT_NE(nullptr, manager.factory());
        EXPECT_NE(nullptr, manager.factory()->create("string", "x", "text"));
        EXPECT_EQ(SOM_Normal, manager.getSettingsOperationMode());
        EXPECT_EQ(nullptr, manager.defaultStorage());
        manager.forEachStorage([](const auto&) { ADD_FAILURE() << "a storage"; });
        manager.forEachSetting([](const auto&) { ADD_FAILURE() << "a setting"; });
        checked = true;
        return 0U;
    };
    SettingsManager::defaultInstance();
    EXPECT_TRUE(checked);
}

TEST(DefaultInstance, CreationGivesTheResultOfTheSetUp) {
    setUp() = [](SettingsManager&) { return 42U; };
    EXPECT_EQ(42, SettingsManager::createDefaultSettingsManager());
    EXPECT_NE(nullptr, SettingsManager::existingInstance());
}

TEST(DefaultInstance, TwoFirstUsesAtOnceMakeOneManager) {
    int setUps = 0;
    testsupport::Gate gate;
    setUp() = [&](SettingsManager&) {
        ++setUps;
        gate.pass();
        return 0U;
    };
    SettingsManager* one = nullptr;
    SettingsManager* other = nullptr;
    WatchedThread first([&] { one = SettingsManager::defaultInstance(); });
    gate.waitForArrival();
    WatchedThread second([&] { other = SettingsManager::defaultInstance(); });
    second.untilHeldUpOrDone();
    EXPECT_FALSE(second.done());
    gate.open();
    first.join();
    second.join();
    EXPECT_EQ(1, setUps);
    EXPECT_NE(nullptr, one);
    EXPECT_EQ(one, other);
}

TEST(DefaultInstance, ReloadingWithoutOneDoesNothing) {
    SettingsStorageFileAsyncSaver::initInstance()->stop();
    const std::size_t commands = SystemCommands::instance().commands().size();
    LogCapture log;
    SettingsManager::reloadSettings();
    EXPECT_EQ(nullptr, SettingsManager::existingInstance());
    EXPECT_EQ(commands, SystemCommands::instance().commands().size());
    EXPECT_THAT(log.entries(), IsEmpty()) << log.dump();
}

TEST(DefaultInstance, ReloadingMakesTheNextUseSetUpAFreshManager) {
    std::vector<boost::weak_ptr<StubStorage>> generations;
    setUp() = [&](SettingsManager& manager) {
        const auto storage = boost::make_shared<StubStorage>("sound");
        storage->load("sound/generation", static_cast<int>(generations.size()));
        generations.push_back(storage);
        manager.registerStorage(storage);
        return 0U;
    };
    const auto former = SettingsManager::defaultInstance()->setting("sound/generation");
    SettingsManager::reloadSettings();
    EXPECT_EQ(nullptr, SettingsManager::existingInstance());
    EXPECT_TRUE(generations[0].expired());
    const auto present = SettingsManager::defaultInstance()->setting("sound/generation");
    ASSERT_EQ(2U, generations.size());
    EXPECT_NE(former, present);
    EXPECT_EQ(0, former->getValue<int>());
    EXPECT_EQ(1, present->getValue<int>());
}

TEST(DefaultInstance, ReloadingSavesThenDestroysThenForgetsTheManager) {
    std::vector<std::string> events;
    setUp() = [&](SettingsManager& manager) {
        const auto storage = boost::make_shared<MortalStorage>("sound", [&] {
            events.push_back(SettingsManager::existingInstance() == nullptr
                                 ? "destroyed, no instance"
                                 : "destroyed");
        });
        storage->onSave = [&](const std::string&) {
            events.push_back("saved");
            return true;
        };
        manager.registerStorage(storage);
        return 0U;
    };
    SettingsManager* const manager = SettingsManager::defaultInstance();
    SettingsStorageFileAsyncSaver::instance()->stop();
    addSetting("sound/bass");
    manager->setting("sound/bass")->setValue(2);
    SystemCommands::instance().duringCommand(
        [&](const std::string& line) { events.push_back(line); });
    SettingsManager::reloadSettings();
    SystemCommands::instance().clear();
    EXPECT_THAT(events, ElementsAre("saved", "sync > /dev/null", "flash flushcache > /dev/null",
                                    "destroyed"));
    EXPECT_EQ(nullptr, SettingsManager::existingInstance());
}

TEST(DefaultInstance, SettingsThatAClientKeepsOverAReloadRefuseChanges) {
    setUp() = [](SettingsManager& manager) {
        manager.registerStorage(boost::make_shared<StubFileStorage>("sound", "", "/absent/file"));
        return 0U;
    };
    SettingsManager::defaultInstance();
    addSetting("sound/bass");
    const auto kept = SettingsManager::existingInstance()->setting("sound/bass");
    EXPECT_TRUE(kept->setValue(2));
    SettingsManager::reloadSettings();
    SettingsManager::defaultInstance();
    addSetting("sound/bass");
    EXPECT_FALSE(kept->setValue(3));
    EXPECT_EQ(2, kept->getValue<int>());
    EXPECT_TRUE(SettingsManager::existingInstance()->setting("sound/bass")->setValue(4));
}

TEST(DefaultInstance, SaverRunsAgainAfterAReload) {
    setUp() = [](SettingsManager& manager) {
        manager.registerStorage(boost::make_shared<StubFileStorage>(
            "sound", "", "/absent/file", SettingStorageFileBase::Save_async));
        return 0U;
    };
    for (int generation = 0; generation < 3; ++generation) {
        SettingsManager::defaultInstance();
        testsupport::untilSaverThreadRuns();
        SettingsManager::reloadSettings();
        testsupport::untilSaverThreadIsGone();
    }
}

TEST(DefaultInstance, SaverThatNobodyNeedsIsNotStartedByTheCreation) {
    SettingsManager::defaultInstance();
    EXPECT_EQ(nullptr, SettingsStorageFileAsyncSaver::instance());
}

TEST(DefaultInstance, EndOfAnotherManagerDoesNotEndBackgroundSaving) {
    setUp() = [](SettingsManager&) {
        SettingsStorageFileAsyncSaver::initInstance();
        return 0U;
    };
    SettingsManager::defaultInstance();
    const std::string former = testsupport::untilSaverThreadRuns();
    { SettingsManager another; }
    testsupport::untilSaverThreadRuns(former);
}

TEST(DefaultInstance, ModeIsNormalAfterAReloadUntilTheMarkerIsSeen) {
    const testsupport::TempDir dir;
    SettingsManager::setResetToDefaultsMarker(dir.file("marker"));
    ASSERT_EQ(1, SettingsManager::defaultInstance()->resetToDefault());
    SettingsManager::reloadSettings();
    SettingsManager* const manager = SettingsManager::defaultInstance();
    LogCapture log;
    EXPECT_TRUE(manager->setSettingsOperationMode(SOM_Normal));
    EXPECT_THAT(log.entries(), IsEmpty()) << "the mode was not normal: " << log.dump();
    EXPECT_EQ(SOM_ResettingToDefault, manager->getSettingsOperationMode());
    SettingsManager::setResetToDefaultsMarker("");
}

TEST(DefaultInstance, IsDestroyedByAReloadButNotByTheProcessesExit) {
    const auto bringUp = [] {
        setUp() = [](SettingsManager& manager) {
            const auto storage = boost::make_shared<StubStorage>("sound");
            storage->whenDestroyed = [] { std::cerr << "destroyed\n"; };
            manager.registerStorage(storage);
            return 0U;
        };
        std::atexit([] { std::cerr << "exit\n"; });
        SettingsManager::defaultInstance();
    };
    EXPECT_EXIT(
        {
            bringUp();
            std::exit(0);
        },
        testing::ExitedWithCode(0), testing::AllOf(HasSubstr("exit"), Not(HasSubstr("destroyed"))));
    EXPECT_EXIT(
        {
            bringUp();
            SettingsManager::reloadSettings();
            std::exit(0);
        },
        testing::ExitedWithCode(0), HasSubstr("destroyed\nexit"));
}

}  // namespace
