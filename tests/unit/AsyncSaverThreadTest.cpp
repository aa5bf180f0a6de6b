#include <boost/make_shared.hpp>
#include <boost/thread/exceptions.hpp>
#include <boost/thread/thread.hpp>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <gtest/gtest.h>
#include <memory>
#include <pthread.h>
#include <stdexcept>
#include <string>
#include <thread>

#include "Files.h"
#include "Gate.h"
#include "Qel/Settings/SettingsManager.h"
#include "SaverFixture.h"
#include "TempDir.h"
#include "Threads.h"

namespace {

using testsupport::AsyncStub;
using testsupport::saverThreads;
using testsupport::threadStatus;

constexpr const char* kStarting = "SettingsStorageFileAsyncSaver::threadFunc(): starting";
constexpr const char* kInterrupted =
    "SettingsStorageFileAsyncSaver::threadFunc(): caught boost::thread_interrupted: exiting.";
constexpr const char* kTerminated = "SettingsStorageFileAsyncSaver::threadFunc(): terminated";

/// The saver's thread: how it starts, works, rests and ends.
class AsyncSaverThread : public testsupport::SaverFixture {
protected:
    /// Counted by the kernel, up whenever the thread goes to rest.
    static long timesRested() {
        return std::stol("0" + threadStatus(saverThreads().at(0), "voluntary_ctxt_switches"));
    }

    static std::uint64_t blockedSignals() {
        return std::stoull(threadStatus(saverThreads().at(0), "SigBlk"), nullptr, 16);
    }
};

TEST_F(AsyncSaverThread, RestsTenSecondsInTheProduct) {
    EXPECT_EQ(10000, Qel::Settings::saverIdlePeriod.count());
}

TEST_F(AsyncSaverThread, CarriesItsNameAsFarAsTheKernelKeepsIt) {
    saver();
    ASSERT_TRUE(log_.waitFor(kStarting));
    EXPECT_EQ(1u, saverThreads().size());
}

TEST_F(AsyncSaverThread, WithNothingRegisteredLogsNothingButItsStart) {
    rest(1);
    saver();
    ASSERT_TRUE(log_.waitFor(kStarting));
    const long before = timesRested();
    while (timesRested() < before + 5) {
        std::this_thread::yield();
    }
    EXPECT_EQ((Texts{"2 SettingsStorageFileAsyncSaver::SettingsStorageFileAsyncSaver()",
                     "2 SettingsStorageFileAsyncSaver::start()",
                     "2 SettingsStorageFileAsyncSaver::threadFunc(): starting"}),
              messages());
    EXPECT_EQ(3u, log_.entries().size()) << log_.dump();
    EXPECT_EQ(Texts(), commands());
}

TEST_F(AsyncSaverThread, StopDuringTheRestFlushesAndReturnsAtOnce) {
    AsyncStub a("a");
    untilSaverRests();
    a.touch();
    log_.clear();
    const auto before = std::chrono::steady_clock::now();
    saver().stop();
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(5));
    EXPECT_FALSE(a.dirty());
    EXPECT_EQ(flushCommands_, commands());
    EXPECT_EQ((Texts{"2 SettingsStorageFileAsyncSaver::stop()", std::string("2 ") + kInterrupted,
                     "2 SettingsStorageFileAsyncSaver::flush()",
                     "2 SettingsStorageFileAsyncSaver::saveNextStorage(): a",
                     std::string("2 ") + kTerminated}),
              messages());
    testsupport::untilSaverThreadIsGone();
}

// The thread has looked for the end of its work before the stop, so the stop reaches it by the
// interruption alone.
TEST_F(AsyncSaverThread, StopIsNoticedBetweenTheSearchAndTheRest) {
    const testsupport::TempDir dir;
    const std::string marker = dir.file("marker");
    stoppedSaver();
    Qel::Settings::SettingsManager manager;
    ASSERT_TRUE(manager.registerStorage(boost::make_shared<AsyncStub>("a")));
    Qel::Settings::SettingsManager::setResetToDefaultsMarker(marker);
    testsupport::writeFile(marker, "");
    saver().start();
    ASSERT_TRUE(
        log_.waitFor("SettingsManager::getSettingsOperationMode(): SOM_ResettingToDefault - other "
                     "process created " +
                     marker));
    saver().stop();
    EXPECT_EQ(1u, logged(2, kInterrupted)) << log_.dump();
    EXPECT_EQ(1u, logged(2, kTerminated));
}

TEST_F(AsyncSaverThread, CanBeStartedAgain) {
    AsyncStub a("a");
    stoppedSaver().start();
    untilSaverRests();
    saver().stop();
    testsupport::untilSaverThreadIsGone();
    a.touch();
    saver().start();
    EXPECT_TRUE(log_.waitFor("SettingStorageFileBase::save(): a, dirty 1->0"));
    EXPECT_EQ(2u, log_.count(2, "Qel::Settings", "src/SettingsStorageFileAsyncSaver", kStarting));
    EXPECT_EQ(1u, saverThreads().size());
    saver().stop();
}

TEST_F(AsyncSaverThread, SecondStartIsLoggedAndMakesNoSecondThread) {
    stoppedSaver().start();
    saver().start();
    EXPECT_EQ(2u, logged(2, "SettingsStorageFileAsyncSaver::start()"));
    saver().stop();
    EXPECT_EQ(1u, logged(2, kStarting));
    EXPECT_EQ(1u, logged(2, kTerminated));
    testsupport::untilSaverThreadIsGone();
}

TEST_F(AsyncSaverThread, StopWithoutAThreadIsLoggedAndDoesNothing) {
    stoppedSaver().stop();
    EXPECT_EQ((Texts{"2 SettingsStorageFileAsyncSaver::stop()"}), messages());
    EXPECT_EQ(Texts(), commands());
}

TEST_F(AsyncSaverThread, StopOnItselfIsRefusedAndItGoesOn) {
    rest(1);
    AsyncStub a("a");
    AsyncStub later("later");
    stoppedSaver();
    std::string text;
    int error = 0;
    a.onSave = [&](const std::string&) {
        try {
            saver().stop();
        } catch (const boost::thread_resource_error& e) {
            text = e.what();
            error = e.native_error();
        }
        return true;
    };
    a.touch();
    saver().start();
    EXPECT_TRUE(log_.waitFor("SettingStorageFileBase::save(): a, dirty 1->0"));
    later.touch();
    EXPECT_TRUE(log_.waitFor("SettingStorageFileBase::save(): later, dirty 1->0"));
    EXPECT_EQ(Texts(), commands());
    saver().stop();
    EXPECT_EQ("boost thread: trying joining itself", text.substr(0, 35));
    EXPECT_EQ(EDEADLK, error);
}

// Outside of a save, too, the thread cannot wait for its own end. What the log calls is the only
// code of others that it runs there.
TEST_F(AsyncSaverThread, StopOnItselfOutsideOfASaveIsRefusedAndItGoesOn) {
    rest(1);
    AsyncStub a("a");
    stoppedSaver();
    qlog::setDefaultThreshold(5);
    int error = 0;
    qlog::setSink([&](const qlog::Record&) {
        try {
            saver().stop();
        } catch (const boost::thread_resource_error& e) {
            error = e.native_error();
        }
    });
    testsupport::Gate tried;
    a.onSave = [&](const std::string&) -> bool {
        if (a.saves() == 1) {
            throw std::runtime_error("told on the thread, after the save");
        }
        if (a.saves() == 2) {
            tried.pass();
        }
        return true;
    };
    a.touch();
    saver().start();
    tried.waitForArrival();
    qlog::setSink(nullptr);
    const testsupport::LogCapture log;
    tried.open();
    for (std::size_t saves = 1; saves < 6 && !HasFailure(); ++saves) {
        EXPECT_TRUE(log.waitFor("SettingStorageFileBase::save(): a, dirty 1->0", saves));
        a.touch();
    }
    saver().stop();
    EXPECT_EQ(EDEADLK, error);
}

TEST_F(AsyncSaverThread, RefusedStopThatLeavesASaveIsLoggedLikeAnyException) {
    AsyncStub a("a");
    stoppedSaver();
    a.onSave = [&](const std::string&) {
        if (a.saves() == 1) {
            saver().stop();
        }
        return true;
    };
    a.touch();
    saver().start();
    EXPECT_TRUE(log_.waitFor("SettingStorageFileBase::save(): a, dirty 1->0"));
    saver().stop();
    const std::string expected =
        "5 SettingsStorageFileAsyncSaver::threadFunc(): caught boost thread: trying joining itself";
    Texts caught;
    for (const std::string& message : messages()) {
        if (message.compare(0, expected.size(), expected) == 0) {
            caught.push_back(message);
        }
    }
    EXPECT_EQ(1u, caught.size()) << log_.dump();
}

TEST_F(AsyncSaverThread, ExceptionsOfASaveAreLoggedAndItGoesOn) {
    AsyncStub a("a");
    AsyncStub b("b");
    AsyncStub c("c");
    stoppedSaver();
    a.onSave = [&](const std::string&) -> bool {
        if (a.saves() == 1) {
            throw std::runtime_error("100%s");
        }
        return true;
    };
    b.onSave = [&](const std::string&) -> bool {
        if (b.saves() == 1) {
            throw 5;
        }
        return true;
    };
    for (AsyncStub* const storage : {&a, &b, &c}) {
        storage->touch();
    }
    saver().start();
    for (const char* const name : {"a", "b", "c"}) {
        EXPECT_TRUE(
            log_.waitFor("SettingStorageFileBase::save(): " + std::string(name) + ", dirty 1->0"));
    }
    EXPECT_EQ(1u, saverThreads().size());
    saver().stop();
    EXPECT_EQ(1u, logged(5, "SettingsStorageFileAsyncSaver::threadFunc(): caught 100%s"));
    EXPECT_EQ(1u, logged(5, "SettingsStorageFileAsyncSaver::threadFunc(): caught exception"));
}

TEST_F(AsyncSaverThread, StorageThatASaveRegistersIsSavedAfterIt) {
    AsyncStub a("a");
    std::unique_ptr<AsyncStub> b;
    stoppedSaver();
    a.onSave = [&](const std::string&) {
        b = std::make_unique<AsyncStub>("b");
        b->touch();
        return true;
    };
    a.touch();
    saver().start();
    EXPECT_TRUE(log_.waitFor("SettingStorageFileBase::save(): b, dirty 1->0"));
    saver().stop();
    EXPECT_EQ(1u, a.saves());
    EXPECT_EQ(1u, b->saves());
}

TEST_F(AsyncSaverThread, DirtyStoragesAreSavedBackToBackAndThenNoCommandsRun) {
    AsyncStub a("a");
    AsyncStub b("b");
    AsyncStub c("c");
    stoppedSaver();
    for (AsyncStub* const storage : {&a, &b, &c}) {
        storage->touch();
    }
    const auto before = std::chrono::steady_clock::now();
    saver().start();
    ASSERT_TRUE(log_.waitFor("SettingStorageFileBase::save(): c, dirty 1->0"));
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(5));
    untilSaverRests();
    EXPECT_EQ(Texts(), commands());
    EXPECT_EQ((Texts{"2 SettingsStorageFileAsyncSaver::start()", std::string("2 ") + kStarting,
                     "2 SettingsStorageFileAsyncSaver::saveNextStorage(): a",
                     "2 SettingsStorageFileAsyncSaver::saveNextStorage(): b",
                     "2 SettingsStorageFileAsyncSaver::saveNextStorage(): c"}),
              messages());
    saver().stop();
    EXPECT_EQ(flushCommands_, commands());
}

class AsyncSaverThreadInMode : public AsyncSaverThread, public testing::WithParamInterface<int> {};

TEST_P(AsyncSaverThreadInMode, SavesNothing) {
    stoppedSaver();
    Qel::Settings::SettingsManager manager;
    const auto a = boost::make_shared<AsyncStub>("a");
    ASSERT_TRUE(manager.registerStorage(a));
    a->touch();
    manager.setSettingsOperationMode(static_cast<Qel::Settings::SettingsOperationMode>(GetParam()));
    saver().start();
    untilSaverRests();
    saver().stop();
    EXPECT_EQ(0u, a->saves());
    EXPECT_TRUE(a->dirty());
    EXPECT_EQ(flushCommands_, commands());
}

INSTANTIATE_TEST_SUITE_P(Resets, AsyncSaverThreadInMode,
                         testing::Values(Qel::Settings::SOM_ResettingToDefault,
                                         Qel::Settings::SOM_ResetDone),
                         testing::PrintToStringParamName());

TEST_F(AsyncSaverThread, SaveIsNotCutShortByAStop) {
    AsyncStub a("a");
    testsupport::Gate gate;
    bool interrupted = false;
    stoppedSaver();
    a.onSave = [&](const std::string&) {
        gate.pass();
        while (!boost::this_thread::interruption_requested()) {
            std::this_thread::yield();
        }
        try {
            boost::this_thread::interruption_point();
        } catch (const boost::thread_interrupted&) {
            interrupted = true;
        }
        return true;
    };
    a.touch();
    saver().start();
    gate.waitForArrival();
    testsupport::WatchedThread stop([&] { saver().stop(); });
    gate.open();
    stop.join();
    EXPECT_FALSE(interrupted);
    EXPECT_FALSE(a.dirty());
    EXPECT_EQ(1u, a.saves());
}

TEST_F(AsyncSaverThread, TakesNoSignalsAndLeavesTheStartersMaskAlone) {
    sigset_t before;
    sigset_t after;
    sigemptyset(&before);
    sigaddset(&before, SIGUSR2);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    saver();
    ASSERT_TRUE(log_.waitFor(kStarting));
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGALRM, SIGCHLD, SIGPIPE, SIGUSR1,
                             SIGUSR2, SIGRTMIN, SIGRTMAX}) {
        EXPECT_NE(0u, blockedSignals() >> (number - 1) & 1) << number;
        EXPECT_EQ(number == SIGUSR2 ? 1 : 0, sigismember(&after, number)) << number;
    }
    // A crash on the thread must reach the application's handler.
    for (const int number : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS}) {
        EXPECT_EQ(0u, blockedSignals() >> (number - 1) & 1) << number;
        EXPECT_EQ(0, sigismember(&after, number)) << number;
    }
}

}  // namespace
