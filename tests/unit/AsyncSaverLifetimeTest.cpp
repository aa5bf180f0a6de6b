#include <boost/make_shared.hpp>
#include <errno.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include "AtOnce.h"
#include "Files.h"
#include "Gate.h"
#include "NoMachineMarker.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageInifile.h"
#include "Qel/Settings/SettingsManager.h"
#include "Qel/Settings/T8SettingsManager.h"
#include "SaverFixture.h"
#include "TempDir.h"
#include "Threads.h"
#include "qlog/QlogControl.h"

namespace {

using Qel::Settings::SettingsManager;
using testsupport::AsyncStub;
using testsupport::Gate;
using testsupport::saverThreads;
using testsupport::WatchedThread;

/// When the saver comes to be, and how storages and managers that use it end.
class AsyncSaverLifetime : public testsupport::SaverFixture {};

TEST_F(AsyncSaverLifetime, InstanceIsNullUntilItIsMade) {
    EXPECT_EQ(nullptr, Saver::instance());
    Saver* const made = Saver::initInstance();
    ASSERT_NE(nullptr, made);
    EXPECT_EQ(made, Saver::instance());
    EXPECT_EQ(made, Saver::initInstance());
}

TEST_F(AsyncSaverLifetime, ConstructorLogsItselfAndThenTheStart) {
    saver();
    const Texts logged = messages();
    ASSERT_LE(2u, logged.size());
    EXPECT_EQ("2 SettingsStorageFileAsyncSaver::SettingsStorageFileAsyncSaver()", logged[0]);
    EXPECT_EQ("2 SettingsStorageFileAsyncSaver::start()", logged[1]);
    EXPECT_EQ(1u, this->logged(2, "SettingsStorageFileAsyncSaver::start()"));
}

TEST_F(AsyncSaverLifetime, FirstAsyncStorageMakesTheSaverAndRegisters) {
    const AsyncStub a("a");
    EXPECT_NE(nullptr, Saver::instance());
    EXPECT_TRUE(log_.waitFor("SettingsStorageFileAsyncSaver::threadFunc(): starting"));
    EXPECT_EQ(1u, logged(2, "SettingsStorageFileAsyncSaver::registerStorage( a )"));
    EXPECT_EQ(AsyncStub::Save_async, a.savePolicy());
}

// The child inherits the list's mutex as it is at that moment.
TEST_F(AsyncSaverLifetime, AForkedChildDoesNotWaitForTheListOfStorages) {
    Gate listing;
    stoppedSaver();
    qlog::setSink([&listing](const qlog::Record& record) {
        if (record.text == "SettingsStorageFileAsyncSaver::registerStorage( held )") {
            listing.pass();
        }
    });
    WatchedThread registering([] { const AsyncStub held("held"); });
    listing.waitForArrival();
    const pid_t child = ::fork();
    if (child == 0) {
        ::alarm(30);
        {
            AsyncStub made("made");
            made.savePolicy(AsyncStub::Save_onDemand);
        }
        ::_exit(0);
    }
    int status = -1;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    listing.open();
}

TEST_F(AsyncSaverLifetime, OtherPoliciesAndManagersAndFlushesMakeNoSaver) {
    {
        SettingsManager manager;
        for (const auto policy : {AsyncStub::Save_unspecified, AsyncStub::Save_onDemand,
                                  AsyncStub::Save_onEachChange}) {
            AsyncStub storage("a", policy);
            EXPECT_EQ(policy, storage.savePolicy());
            storage.touch();
        }
        SettingsManager::flushAllSettings();
    }
    EXPECT_EQ(nullptr, Saver::instance());
    EXPECT_EQ(Texts(), saverThreads());
    EXPECT_EQ(Texts(), messages());
    EXPECT_EQ(Texts(), commands());
}

TEST_F(AsyncSaverLifetime, DyingStorageUnregistersOnceAndIsNotSaved) {
    stoppedSaver();
    auto calls = std::make_unique<AsyncStub>("a");
    calls->touch();
    int saves = 0;
    calls->onSave = [&](const std::string&) {
        ++saves;
        return true;
    };
    log_.clear();
    calls.reset();
    EXPECT_EQ((Texts{"2 SettingsStorageFileAsyncSaver::unregisterStorage( a )"}), messages());
    saver().flush();
    EXPECT_EQ(0, saves);
}

TEST_F(AsyncSaverLifetime, DyingStorageThatIsNoLongerAsyncUnregistersNothing) {
    stoppedSaver();
    auto changed = std::make_unique<AsyncStub>("a");
    changed->savePolicy(AsyncStub::Save_onDemand);
    EXPECT_EQ(1u, logged(2, "SettingsStorageFileAsyncSaver::unregisterStorage( a )"));
    log_.clear();
    changed.reset();
    EXPECT_EQ(Texts(), messages());
}

TEST_F(AsyncSaverLifetime, DyingStorageWaitsForTheSaveThatTheThreadHasUnderWay) {
    stoppedSaver();
    auto a = std::make_unique<AsyncStub>("a");
    Gate gate;
    std::atomic<bool> saved{false};
    a->onSave = [&](const std::string&) {
        gate.pass();
        saved = true;
        return true;
    };
    a->touch();
    saver().start();
    gate.waitForArrival();
    WatchedThread destruction([&] { a.reset(); });
    destruction.untilHeldUpOrDone();
    EXPECT_FALSE(destruction.done());
    gate.open();
    destruction.join();
    EXPECT_TRUE(saved);
    EXPECT_EQ(1u, logged(2, "SettingsStorageFileAsyncSaver::unregisterStorage( a )"));
    saver().stop();
}

TEST_F(AsyncSaverLifetime, DyingStorageWaitsForTheSaveOfAFlush) {
    stoppedSaver();
    auto a = std::make_unique<AsyncStub>("a");
    Gate gate;
    std::atomic<bool> saved{false};
    a->onSave = [&](const std::string&) {
        gate.pass();
        saved = true;
        return true;
    };
    a->touch();
    WatchedThread flush([&] { saver().flush(); });
    gate.waitForArrival();
    WatchedThread destruction([&] { a.reset(); });
    destruction.untilHeldUpOrDone();
    EXPECT_FALSE(destruction.done());
    gate.open();
    destruction.join();
    flush.join();
    EXPECT_TRUE(saved);
}

// A load under the storage's mutex may take the storage from the saver, whose save waits for that
// very mutex.
TEST_F(AsyncSaverLifetime, UnregisteringDoesNotWaitForTheSaveOfTheStorage) {
    stoppedSaver();
    AsyncStub a("a");
    Gate gate;
    a.onSave = [&](const std::string&) {
        gate.pass();
        return true;
    };
    a.touch();
    saver().start();
    gate.waitForArrival();
    saver().unregisterStorage(a);
    a.touch();
    gate.open();
    saver().stop();
    EXPECT_EQ(1u, a.saves());
    EXPECT_TRUE(a.dirty());
}

TEST_F(AsyncSaverLifetime, ResetThatTakesTheStorageFromTheSaverDoesNotWaitForItsSave) {
    stoppedSaver();
    AsyncStub a("a");
    Gate saving;
    Gate loading;
    a.onLoad = [&](const std::string&) {
        loading.pass();
        a.savePolicy(AsyncStub::Save_onDemand);
        return true;
    };
    WatchedThread reset([&] { EXPECT_TRUE(a.resetToDefaults()); });
    loading.waitForArrival();
    a.touch();
    saver().start();
    ASSERT_TRUE(log_.waitFor("SettingsStorageFileAsyncSaver::saveNextStorage(): a"));
    testsupport::untilSaverThreadRests();
    loading.open();
    reset.join();
    saver().stop();
    EXPECT_EQ(1u, logged(2, "SettingsStorageFileAsyncSaver::unregisterStorage( a )"));
    EXPECT_EQ(1u, logged(5, "Failed to save storage a"));
}

// The saver has picked the storage and not called it yet. Were only the base's destructor to wait,
// the save would find the ini storage's part gone.
TEST_F(AsyncSaverLifetime, DyingIniStorageWaitsForItsSaveWhileItIsWhole) {
    using Qel::Settings::SettingHolder;
    using Qel::Settings::SettingStorageInifile;
    const testsupport::TempDir dir;
    stoppedSaver();
    auto tv = boost::make_shared<SettingStorageInifile>(
        "tv", "", dir.file("tv.ini"), boost::make_shared<Qel::Settings::SettingFactory>(),
        SettingStorageInifile::Save_async);
    const auto setting = boost::make_shared<SettingHolder>("tv/a", 0);
    ASSERT_TRUE(tv->registerSetting(setting));
    ASSERT_TRUE(setting->setValue(1));
    Gate picked;
    qlog::setSink([&](const qlog::Record& record) {
        if (std::string(record.text) == "SettingsStorageFileAsyncSaver::saveNextStorage(): tv") {
            picked.pass();
        }
    });
    WatchedThread flush([&] { saver().flush(); });
    picked.waitForArrival();
    WatchedThread destruction([&] { tv.reset(); });
    destruction.untilHeldUpOrDone();
    EXPECT_FALSE(destruction.done());
    picked.open();
    flush.join();
    destruction.join();
    qlog::setSink(nullptr);
    EXPECT_NE(std::string::npos, testsupport::readFile(dir.file("tv.ini")).find("\na = int,1\n"));
}

TEST_F(AsyncSaverLifetime, DyingStorageDoesNotWaitForTheSaveOfAnother) {
    stoppedSaver();
    AsyncStub slow("slow");
    auto other = std::make_unique<AsyncStub>("other");
    Gate gate;
    slow.onSave = [&](const std::string&) {
        gate.pass();
        return true;
    };
    slow.touch();
    other->touch();
    saver().start();
    gate.waitForArrival();
    other.reset();
    gate.open();
    saver().stop();
    EXPECT_EQ(1u, slow.saves());
}

TEST_F(AsyncSaverLifetime, StorageThatRetiresInItsOwnSaveDoesNotWaitForItself) {
    stoppedSaver();
    AsyncStub a("a");
    a.onSave = [&](const std::string&) {
        a.retire();
        return true;
    };
    a.touch();
    saver().flush();
    EXPECT_EQ(1u, a.saves());
    EXPECT_EQ(flushCommands_, commands());
}

TEST_F(AsyncSaverLifetime, EndOfAManagerStopsTheThreadAfterAFlush) {
    AsyncStub a("a");
    {
        SettingsManager manager;
        a.touch();
    }
    EXPECT_FALSE(a.dirty());
    EXPECT_EQ(flushCommands_, commands());
    EXPECT_EQ(1u, logged(2, "SettingsStorageFileAsyncSaver::threadFunc(): terminated"));
    testsupport::untilSaverThreadIsGone();
}

/// A manager with one storage of the background saver.
struct ManagerWithStorage {
    explicit ManagerWithStorage(const std::string& name)
        : storage(boost::make_shared<AsyncStub>(name)) {
        EXPECT_TRUE(manager->registerStorage(storage));
    }
    std::unique_ptr<SettingsManager> manager = std::make_unique<SettingsManager>();
    boost::shared_ptr<AsyncStub> storage;
};

TEST_F(AsyncSaverLifetime, EndOfAManagerDoesNotEndBackgroundSavingForAnothersStorages) {
    rest(1);
    ManagerWithStorage remaining("remaining");
    ManagerWithStorage ending("ending");
    ending.storage->touch();
    ending.manager.reset();
    EXPECT_EQ(1u, ending.storage->saves());
    EXPECT_EQ(2u, logged(2, "SettingsStorageFileAsyncSaver::start()"));
    remaining.storage->touch();
    EXPECT_TRUE(log_.waitFor("SettingStorageFileBase::save(): remaining, dirty 1->0"));
    remaining.manager.reset();
    EXPECT_EQ(2u, logged(2, "SettingsStorageFileAsyncSaver::start()"));
    testsupport::untilSaverThreadIsGone();
}

TEST_F(AsyncSaverLifetime, EndOfAManagerDoesNotStartAThreadThatTheApplicationHasStopped) {
    ManagerWithStorage remaining("remaining");
    stoppedSaver();
    { const SettingsManager ending; }
    EXPECT_EQ(0u, logged(2, "SettingsStorageFileAsyncSaver::start()"));
}

TEST_F(AsyncSaverLifetime, StorageOfAManagerThatIsGoneIsNoReasonToGoOn) {
    ManagerWithStorage gone("gone");
    gone.manager.reset();
    saver().start();
    { const SettingsManager ending; }
    testsupport::untilSaverThreadIsGone();
}

// Otherwise the second would find the thread stopped by the first and its changes would be lost.
TEST_F(AsyncSaverLifetime, ManagersThatEndAtOnceAreAllSavedBefore) {
    rest(1);
    for (int round = 0; round < 100; ++round) {
        ManagerWithStorage one("one");
        ManagerWithStorage other("other");
        saver().start();
        const auto end = [](ManagerWithStorage& ending) {
            ending.storage->touch();
            ending.manager.reset();
            EXPECT_FALSE(ending.storage->dirty());
        };
        testsupport::atOnce({[&] { end(one); }, [&] { end(other); }});
    }
}

/// The product's own set-up, in a process that is called as the main application is.
class AsyncSaverOfTheProduct : public testsupport::SaverFixture {
protected:
    AsyncSaverOfTheProduct() {
        std::filesystem::create_directory(dir_.file("qel-default-settings"));
        std::filesystem::create_directory(dir_.file("settings"));
        testsupport::writeFile(dir_.file("qel-default-settings/tv.ini"),
                               "#name = tv\nvolume = int,1\n");
        SettingsManager::location(dir_.path());
        static char mainApplication[] = "QelVisionMainApplication";
        program_invocation_short_name = mainApplication;
        rest(1);
    }

    ~AsyncSaverOfTheProduct() override { SettingsManager::reloadSettings(); }

    void setUp() const {
        T8SettingsManager();
        SettingsManager::setResetToDefaultsMarker(dir_.file("marker"));
    }

    static SettingsManager* T8SettingsManager() { return Qel::Settings::T8SettingsManager(); }

    /// Changes the setting and returns when the thread has saved it for the `saves`th time.
    void changeInTheBackground(int volume, std::size_t saves) const {
        ASSERT_TRUE(T8SettingsManager()->setting("tv/volume")->setValue(volume));
        ASSERT_TRUE(log_.waitFor("SettingStorageFileBase::save(): tv, dirty 1->0", saves));
        EXPECT_NE(std::string::npos, testsupport::readFile(dir_.file("settings/tv.ini"))
                                         .find("\nvolume = int," + std::to_string(volume) + "\n"));
    }

    testsupport::TempDir dir_;
};

TEST_F(AsyncSaverOfTheProduct, SavesInTheBackgroundAgainAfterAReload) {
    setUp();
    changeInTheBackground(2, 1);
    SettingsManager::reloadSettings();
    testsupport::untilSaverThreadIsGone();
    setUp();
    changeInTheBackground(3, 2);
}

TEST_F(AsyncSaverOfTheProduct, SavesInTheBackgroundAgainAfterTheEndOfAnotherManager) {
    setUp();
    { const SettingsManager another; }
    EXPECT_EQ(1u, logged(2, "SettingsStorageFileAsyncSaver::stop()"));
    changeInTheBackground(2, 1);
}

}  // namespace
