#include <boost/smart_ptr/make_shared.hpp>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingsManager.h"
#include "StubStorage.h"
#include "TempDir.h"
#include "Threads.h"

namespace {

using namespace Qel::Settings;
using testsupport::StubStorage;
using testsupport::WatchedThread;

TEST(SettingsManagerThreads, LookUpWaitsForTheRegistrationThatIsUnderWay) {
    SettingsManager manager;
    const auto storage = boost::make_shared<StubStorage>("sound");
    boost::shared_ptr<SettingHolder> found;
    std::unique_ptr<WatchedThread> reader;
    storage->duringInit = [&] {
        reader = std::make_unique<WatchedThread>([&] { found = manager.setting("sound/bass"); });
        reader->untilHeldUpOrDone();
        EXPECT_FALSE(reader->done());
        storage->load("sound/bass", 1);
    };
    ASSERT_TRUE(manager.registerStorage(storage));
    reader->join();
    EXPECT_NE(nullptr, found);
}

TEST(SettingsManagerThreads, ModeCanBeAskedWhileAStorageIsBeingRegistered) {
    SettingsManager manager;
    const auto storage = boost::make_shared<StubStorage>("sound");
    storage->duringInit = [&] {
        // Were the mode behind the manager's lock, neither thread would get any further.
        std::thread([&] { manager.getSettingsOperationMode(); }).join();
    };
    ASSERT_TRUE(manager.registerStorage(storage));
}

TEST(SettingsManagerThreads, StoragesAreResetWithoutTheManagersLock) {
    const testsupport::TempDir dir;
    SettingsManager::setResetToDefaultsMarker(dir.file("marker"));
    SettingsManager manager;
    const auto storage = boost::make_shared<StubStorage>("sound");
    ASSERT_TRUE(manager.registerStorage(storage));
    storage->duringReset = [&] {
        EXPECT_TRUE(manager.registerStorage(boost::make_shared<StubStorage>("another")));
    };
    EXPECT_EQ(1, manager.resetToDefault());
    SettingsManager::setResetToDefaultsMarker("");
}

TEST(SettingsManagerThreads, SettingsAreRegisteredLookedUpAndVisitedFromManyThreads) {
    constexpr int kThreads = 4;
    constexpr int kSettings = 200;
    SettingsManager manager;
    ASSERT_TRUE(manager.registerStorage(boost::make_shared<StubStorage>("")));
    std::vector<std::thread> threads;
    for (int thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&manager, thread] {
            for (int i = 0; i < kSettings; ++i) {
                const std::string name = std::to_string(thread) + "/" + std::to_string(i);
                const auto setting = boost::make_shared<SettingHolder>(name, i);
                manager.registerSetting(setting);
                EXPECT_EQ(setting, manager.setting(name));
                manager.factory(boost::make_shared<SettingFactory>());
            }
        });
    }
    int visited = 0;
    while (visited < kThreads * kSettings) {
        visited = 0;
        manager.forEachSetting([&](const auto&) { ++visited; });
        manager.forEachStorage([](const auto&) {});
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace
