#include <boost/make_shared.hpp>
#include <boost/thread/thread.hpp>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>

#include "Gate.h"
#include "Qel/Settings/SettingsManager.h"
#include "SaverFixture.h"
#include "Threads.h"

namespace {

using Qel::Settings::SettingsManager;
using testsupport::AsyncStub;
using testsupport::Gate;
using testsupport::SystemCommands;
using testsupport::WatchedThread;

constexpr const char* kCaught = "SettingsStorageFileAsyncSaver::flush(): caught exception";

/// A flush: what it saves, what it runs, and whom it waits for.
class AsyncSaverFlush : public testsupport::SaverFixture {
protected:
    Saver& saver_ = stoppedSaver();
};

TEST_F(AsyncSaverFlush, RunsSyncAndThenFlashFlushcacheThoughNothingIsDirty) {
    saver_.flush();
    EXPECT_EQ(flushCommands_, commands());
    EXPECT_EQ((Texts{"2 SettingsStorageFileAsyncSaver::flush()"}), messages());
}

TEST_F(AsyncSaverFlush, SavesEverythingThatIsDirtyAndThenRunsTheCommands) {
    AsyncStub a("a");
    AsyncStub clean("clean");
    AsyncStub b("b");
    a.touch();
    b.touch();
    std::size_t savesAtFirstCommand = 0;
    SystemCommands::instance().duringCommand([&](const std::string& command) {
        if (command == flushCommands_.front()) {
            savesAtFirstCommand = a.saves() + b.saves();
        }
    });
    log_.clear();
    saver_.flush();
    EXPECT_EQ((Texts{"2 SettingsStorageFileAsyncSaver::flush()",
                     "2 SettingsStorageFileAsyncSaver::saveNextStorage(): a",
                     "2 SettingsStorageFileAsyncSaver::saveNextStorage(): b"}),
              messages());
    EXPECT_EQ(2u, savesAtFirstCommand);
    EXPECT_EQ(flushCommands_, commands());
}

TEST_F(AsyncSaverFlush, IgnoresWhatBecomesOfTheCommands) {
    SystemCommands::instance().status(127 << 8);
    saver_.flush();
    EXPECT_EQ(flushCommands_, commands());
    EXPECT_EQ((Texts{"2 SettingsStorageFileAsyncSaver::flush()"}), messages());
}

class AsyncSaverFlushInMode : public AsyncSaverFlush, public testing::WithParamInterface<int> {};

TEST_P(AsyncSaverFlushInMode, SavesNothingAndRunsTheCommands) {
    SettingsManager manager;
    const auto a = boost::make_shared<AsyncStub>("a");
    ASSERT_TRUE(manager.registerStorage(a));
    a->touch();
    manager.setSettingsOperationMode(static_cast<Qel::Settings::SettingsOperationMode>(GetParam()));
    saver_.flush();
    EXPECT_EQ(0u, a->saves());
    EXPECT_TRUE(a->dirty());
    EXPECT_EQ(flushCommands_, commands());
}

INSTANTIATE_TEST_SUITE_P(Resets, AsyncSaverFlushInMode,
                         testing::Values(Qel::Settings::SOM_ResettingToDefault,
                                         Qel::Settings::SOM_ResetDone),
                         testing::PrintToStringParamName());

// An earlier save has left the cursor in the middle of the list, behind a storage that has changed
// since.
TEST_F(AsyncSaverFlush, ReachesStoragesBeforeTheCursor) {
    AsyncStub head("head");
    AsyncStub tail("tail");
    head.touch();
    EXPECT_TRUE(saver_.saveNextStorage());
    head.touch();
    saver_.flush();
    EXPECT_FALSE(head.dirty());
    EXPECT_EQ(2u, head.saves());
}

TEST_F(AsyncSaverFlush, LeavesAStorageThatBecomesDirtyBehindTheSearch) {
    AsyncStub passed("passed");
    AsyncStub saved("saved");
    AsyncStub last("last");
    saved.onSave = [&](const std::string&) {
        passed.touch();
        return true;
    };
    saved.touch();
    saver_.flush();
    EXPECT_EQ(0u, passed.saves());
    EXPECT_TRUE(passed.dirty());
    saver_.flush();
    EXPECT_EQ(1u, passed.saves());
}

TEST_F(AsyncSaverFlush, SwallowsAnExceptionRunsNoCommandsAndCanBeRepeated) {
    AsyncStub a("a");
    a.onSave = [](const std::string&) -> bool { throw std::runtime_error("boom"); };
    a.touch();
    EXPECT_NO_THROW(saver_.flush());
    EXPECT_EQ(1u, logged(2, kCaught)) << log_.dump();
    EXPECT_EQ(Texts(), commands());
    EXPECT_TRUE(a.dirty());
    a.onSave = nullptr;
    saver_.flush();
    EXPECT_FALSE(a.dirty());
    EXPECT_EQ(flushCommands_, commands());
    EXPECT_EQ(1u, logged(2, kCaught));
}

TEST_F(AsyncSaverFlush, SwallowsAnExceptionThatIsNone) {
    AsyncStub a("a");
    a.onSave = [](const std::string&) -> bool { throw 5; };
    a.touch();
    EXPECT_NO_THROW(saver_.flush());
    EXPECT_EQ(1u, logged(2, kCaught)) << log_.dump();
}

TEST_F(AsyncSaverFlush, SwallowsAnExceptionOfACommand) {
    SystemCommands::instance().duringCommand(
        [](const std::string&) { throw std::runtime_error("boom"); });
    EXPECT_NO_THROW(saver_.flush());
    EXPECT_EQ((Texts{"sync > /dev/null"}), commands());
    EXPECT_EQ(1u, logged(2, kCaught));
    SystemCommands::instance().clear();
    saver_.flush();
    EXPECT_EQ(flushCommands_, commands());
}

TEST_F(AsyncSaverFlush, ExceptionOfOneStorageDoesNotCostTheOthersTheirChanges) {
    AsyncStub bad("bad");
    AsyncStub good("good");
    bad.onSave = [](const std::string&) -> bool { throw std::runtime_error("boom"); };
    bad.touch();
    good.touch();
    saver_.flush();
    EXPECT_FALSE(good.dirty());
    EXPECT_TRUE(bad.dirty());
    EXPECT_EQ(1u, logged(2, kCaught));
    EXPECT_EQ(Texts(), commands());
}

// The commands take their time, and the process must be able to use its settings meanwhile.
TEST_F(AsyncSaverFlush, HoldsNoLockOfStoragesOrManagersWhileTheCommandsRun) {
    SettingsManager manager;
    const auto a = boost::make_shared<AsyncStub>("a");
    ASSERT_TRUE(manager.registerStorage(a));
    int ran = 0;
    SystemCommands::instance().duringCommand([&](const std::string&) {
        AsyncStub shortLived("shortLived");
        a->touch();
        EXPECT_TRUE(a->save());
        EXPECT_TRUE(manager.registerStorage(boost::make_shared<AsyncStub>("b")));
        ++ran;
    });
    saver_.flush();
    EXPECT_EQ(2, ran);
}

TEST_F(AsyncSaverFlush, WaitsForTheSaveOfTheThread) {
    AsyncStub slow("slow");
    AsyncStub other("other");
    Gate gate;
    slow.onSave = [&](const std::string&) {
        gate.pass();
        return true;
    };
    slow.touch();
    saver_.start();
    gate.waitForArrival();
    other.touch();
    WatchedThread flush([&] { saver_.flush(); });
    flush.untilHeldUpOrDone();
    EXPECT_FALSE(flush.done());
    EXPECT_EQ(0u, other.saves());
    EXPECT_EQ(Texts(), commands());
    gate.open();
    flush.join();
    EXPECT_FALSE(slow.dirty());
    EXPECT_FALSE(other.dirty());
    EXPECT_EQ(1u, slow.saves());
    EXPECT_EQ(1u, other.saves());
}

TEST_F(AsyncSaverFlush, WaitsForAnotherFlushToItsLastCommand) {
    AsyncStub a("a");
    Gate gate;
    SystemCommands::instance().duringCommand([&](const std::string& command) {
        if (command == flushCommands_.back()) {
            gate.pass();
        }
    });
    WatchedThread first([&] { saver_.flush(); });
    gate.waitForArrival();
    a.touch();
    WatchedThread second([&] { saver_.flush(); });
    second.untilHeldUpOrDone();
    EXPECT_FALSE(second.done());
    EXPECT_EQ(0u, a.saves());
    gate.open();
    first.join();
    second.join();
    EXPECT_EQ(1u, a.saves());
    EXPECT_EQ((Texts{"sync > /dev/null", "flash flushcache > /dev/null", "sync > /dev/null",
                     "flash flushcache > /dev/null"}),
              commands());
}

TEST_F(AsyncSaverFlush, IsNotCutShortByAPendingInterruption) {
    AsyncStub a("a");
    a.onSave = [](const std::string&) {
        boost::this_thread::interruption_point();
        return true;
    };
    a.touch();
    Gate gate;
    bool stillPending = false;
    boost::thread thread([&] {
        gate.pass();
        saver_.flush();
        stillPending = boost::this_thread::interruption_requested();
    });
    gate.waitForArrival();
    thread.interrupt();
    gate.open();
    thread.join();
    EXPECT_FALSE(a.dirty());
    EXPECT_EQ(flushCommands_, commands());
    EXPECT_EQ(0u, logged(2, kCaught));
    EXPECT_TRUE(stillPending);
}

TEST_F(AsyncSaverFlush, OfAllSettingsLeavesOtherPoliciesAlone) {
    AsyncStub async("async");
    AsyncStub onDemand("onDemand", AsyncStub::Save_onDemand);
    AsyncStub unspecified("unspecified", AsyncStub::Save_unspecified);
    for (AsyncStub* const storage : {&async, &onDemand, &unspecified}) {
        storage->touch();
    }
    SettingsManager::flushAllSettings();
    EXPECT_FALSE(async.dirty());
    EXPECT_EQ(0u, onDemand.saves());
    EXPECT_EQ(0u, unspecified.saves());
    EXPECT_EQ(flushCommands_, commands());
}

}  // namespace
