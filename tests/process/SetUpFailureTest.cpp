#include <boost/smart_ptr/make_shared.hpp>
#include <boost/smart_ptr/weak_ptr.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "FakeSetUp.h"
#include "Gate.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingsManager.h"
#include "Qel/Settings/SettingsStorageFileAsyncSaver.h"
#include "SaverThreads.h"
#include "StubFileStorage.h"
#include "StubStorage.h"
#include "SystemCommands.h"
#include "Threads.h"

namespace {

using namespace Qel::Settings;
using testing::ElementsAre;
using testsupport::setUp;
using testsupport::StubFileStorage;
using testsupport::StubStorage;

/// The text of the exception that the first use of the default manager throws; "" for none.
std::string failureOfDefaultInstance() {
    try {
        SettingsManager::defaultInstance();
    } catch (const std::exception& e) {
        return e.what();
    }
    return "";
}

unsigned int fail(SettingsManager&) {
    throw std::runtime_error("no flash");
}

unsigned int succeed(SettingsManager&) {
    return 0;
}

TEST(SetUpFailure, ExceptionLeavesTheFirstUseAndTheHalfBuiltManagerStays) {
    SettingsManager* halfBuilt = nullptr;
    setUp() = [&](SettingsManager& manager) -> unsigned int {
        halfBuilt = &manager;
        throw std::runtime_error("no flash");
    };
    EXPECT_EQ("no flash", failureOfDefaultInstance());
    EXPECT_NE(nullptr, halfBuilt);
    EXPECT_EQ(halfBuilt, SettingsManager::existingInstance());
}

TEST(SetUpFailure, EveryLaterUseTriesAgainUntilOneSucceeds) {
    int tries = 0;
    setUp() = [&](SettingsManager& manager) -> unsigned int {
        if (++tries < 3) {
            throw std::runtime_error("try " + std::to_string(tries));
        }
        manager.registerStorage(boost::make_shared<StubStorage>("sound"));
        return 0;
    };
    EXPECT_EQ("try 1", failureOfDefaultInstance());
    EXPECT_EQ("try 2", failureOfDefaultInstance());
    SettingsManager* const manager = SettingsManager::defaultInstance();
    EXPECT_EQ(manager, SettingsManager::defaultInstance());
    EXPECT_EQ(manager, SettingsManager::existingInstance());
    EXPECT_EQ(3, tries);
    manager->registerSetting(boost::make_shared<SettingHolder>("sound/bass", 1));
}

TEST(SetUpFailure, HalfBuiltManagerIsGoneBeforeTheNextTry) {
    boost::weak_ptr<StubStorage> leftover;
    setUp() = [&](SettingsManager& manager) -> unsigned int {
        const auto storage = boost::make_shared<StubStorage>("sound");
        leftover = storage;
        manager.registerStorage(storage);
        throw std::runtime_error("no flash");
    };
    ASSERT_EQ("no flash", failureOfDefaultInstance());
    EXPECT_FALSE(leftover.expired());
    bool goneBefore = false;
    setUp() = [&](SettingsManager&) {
        goneBefore = leftover.expired();
        return 0U;
    };
    SettingsManager::defaultInstance();
    EXPECT_TRUE(goneBefore);
}

TEST(SetUpFailure, StoragesOfAFailedSetUpAreNotSavedBesideThoseOfTheNext) {
    boost::shared_ptr<StubFileStorage> last;
    const auto registerSound = [&](SettingsManager& manager) {
        last = boost::make_shared<StubFileStorage>("sound", "", "/absent/file",
                                                   SettingStorageFileBase::Save_async);
        manager.registerStorage(last);
        manager.registerSetting(boost::make_shared<SettingHolder>("sound/bass", 1));
    };
    setUp() = [&](SettingsManager& manager) -> unsigned int {
        registerSound(manager);
        throw std::runtime_error("no flash");
    };
    ASSERT_EQ("no flash", failureOfDefaultInstance());
    const boost::weak_ptr<StubFileStorage> first = last;
    last.reset();
    setUp() = [&](SettingsManager& manager) {
        registerSound(manager);
        return 0U;
    };
    SettingsManager::defaultInstance();
    EXPECT_TRUE(first.expired());
    SettingsStorageFileAsyncSaver::instance()->stop();
    last->querySetting("sound/bass")->setValue(2);
    SettingsManager::flushAllSettings();
    EXPECT_THAT(last->calls(), ElementsAre("save /absent/file"));
}

TEST(SetUpFailure, SaverOfAFailedSetUpRunsAgainAfterTheNext) {
    setUp() = [](SettingsManager&) -> unsigned int {
        SettingsStorageFileAsyncSaver::initInstance();
        throw std::runtime_error("no flash");
    };
    ASSERT_EQ("no flash", failureOfDefaultInstance());
    const std::string former = testsupport::untilSaverThreadRuns();
    setUp() = succeed;
    SettingsManager::defaultInstance();
    testsupport::untilSaverThreadRuns(former);
}

TEST(SetUpFailure, ReloadingDiscardsTheHalfBuiltManager) {
    boost::weak_ptr<StubStorage> leftover;
    setUp() = [&](SettingsManager& manager) -> unsigned int {
        const auto storage = boost::make_shared<StubStorage>("sound");
        leftover = storage;
        manager.registerStorage(storage);
        throw std::runtime_error("no flash");
    };
    ASSERT_EQ("no flash", failureOfDefaultInstance());
    SettingsManager::reloadSettings();
    EXPECT_EQ(nullptr, SettingsManager::existingInstance());
    EXPECT_TRUE(leftover.expired());
    setUp() = succeed;
    EXPECT_NE(nullptr, SettingsManager::defaultInstance());
}

TEST(SetUpFailure, ExceptionOfARegistrationLeavesTheFirstUse) {
    setUp() = [](SettingsManager& manager) {
        const auto storage = boost::make_shared<StubStorage>("sound");
        manager.registerStorage(storage);
        manager.registerStorage(storage);
        return 0U;
    };
    EXPECT_EQ("Storage already registered with a SettingsManager.", failureOfDefaultInstance());
    setUp() = [](SettingsManager& manager) {
        const auto storage = boost::make_shared<StubStorage>("sound");
        storage->settings["picture/x"] = boost::make_shared<SettingHolder>("picture/x", 1);
        manager.registerStorage(storage);
        return 0U;
    };
    EXPECT_EQ("No appropriate storage for setting: picture/x", failureOfDefaultInstance());
    setUp() = succeed;
    EXPECT_EQ("", failureOfDefaultInstance());
}

TEST(SetUpFailure, ThreadThatWaitedForAFailingSetUpTriesItself) {
    int tries = 0;
    testsupport::Gate gate;
    setUp() = [&](SettingsManager&) -> unsigned int {
        if (++tries == 1) {
            gate.pass();
            throw std::runtime_error("no flash");
        }
        return 0;
    };
    std::string failure;
    testsupport::WatchedThread first([&] { failure = failureOfDefaultInstance(); });
    gate.waitForArrival();
    SettingsManager* second = nullptr;
    testsupport::WatchedThread waiting([&] { second = SettingsManager::defaultInstance(); });
    waiting.untilHeldUpOrDone();
    EXPECT_FALSE(waiting.done());
    gate.open();
    first.join();
    waiting.join();
    EXPECT_EQ("no flash", failure);
    EXPECT_EQ(2, tries);
    EXPECT_NE(nullptr, second);
    EXPECT_EQ(second, SettingsManager::existingInstance());
}

TEST(SetUpFailure, ManagerMadeWithinASetUpDoesNotDestroyTheOneThatIsBeingSetUp) {
    boost::weak_ptr<StubStorage> outer;
    // The default manager in whose place another has come is whoever's who made that.
    std::unique_ptr<SettingsManager> replaced;
    SettingsManager* inner = nullptr;
    setUp() = [&](SettingsManager& manager) {
        if (inner == nullptr) {
            const auto storage = boost::make_shared<StubStorage>("sound");
            outer = storage;
            manager.registerStorage(storage);
            replaced.reset(&manager);
            inner = &manager;
            SettingsManager::createDefaultSettingsManager();
            EXPECT_FALSE(outer.expired());
            manager.registerSetting(boost::make_shared<SettingHolder>("sound/bass", 1));
        } else {
            inner = &manager;
        }
        return 0U;
    };
    EXPECT_EQ(inner, SettingsManager::defaultInstance());
    EXPECT_FALSE(outer.expired());
    EXPECT_EQ(inner, SettingsManager::existingInstance());
}

TEST(SetUpFailure, SetUpsThatFailWithinEachOtherAreAllClearedAway) {
    std::vector<boost::weak_ptr<StubStorage>> leftovers;
    setUp() = [&](SettingsManager& manager) -> unsigned int {
        const auto storage = boost::make_shared<StubStorage>("sound");
        leftovers.push_back(storage);
        manager.registerStorage(storage);
        if (leftovers.size() == 1) {
            SettingsManager::createDefaultSettingsManager();
        }
        throw std::runtime_error("no flash");
    };
    EXPECT_EQ("no flash", failureOfDefaultInstance());
    setUp() = succeed;
    SettingsManager::defaultInstance();
    ASSERT_EQ(2U, leftovers.size());
    EXPECT_TRUE(leftovers[0].expired());
    EXPECT_TRUE(leftovers[1].expired());
}

TEST(SetUpFailure, CreatingDirectlyPassesTheExceptionToo) {
    setUp() = fail;
    EXPECT_THROW(SettingsManager::createDefaultSettingsManager(), std::runtime_error);
    EXPECT_NE(nullptr, SettingsManager::existingInstance());
    setUp() = [](SettingsManager&) { return 7U; };
    EXPECT_EQ(7, SettingsManager::createDefaultSettingsManager());
}

}  // namespace
