#include <boost/thread/exceptions.hpp>
#include <boost/thread/thread.hpp>
#include <cerrno>
#include <gtest/gtest.h>
#include <memory>

#include "Gate.h"
#include "Qel/Settings/SettingsManager.h"
#include "SaverFixture.h"
#include "Threads.h"

using Qel::Settings::SettingsStorageFileAsyncSaver;
using testsupport::AsyncStub;
using testsupport::SaverFixture;

namespace {

/// Flushes from within its own save, as an application's save function may by mistake.
class FlushingStorage : public AsyncStub {
public:
    using AsyncStub::AsyncStub;
    ~FlushingStorage() override { retire(); }

    bool saveFile(const std::string& path) override {
        SettingsStorageFileAsyncSaver::instance()->flush();
        return AsyncStub::saveFile(path);
    }
};

using AsyncSaverReentry = SaverFixture;

TEST_F(AsyncSaverReentry, AFlushFromWithinASaveIsIgnoredAndTheSaveGoesOn) {
    FlushingStorage storage("tv");
    SettingsStorageFileAsyncSaver& saver = stoppedSaver();
    storage.touch();
    saver.flush();
    EXPECT_EQ(1U, storage.saves());
    EXPECT_FALSE(storage.dirty());
    EXPECT_EQ(1U, logged(5,
                         "SettingsStorageFileAsyncSaver::flush(): called from within a save, "
                         "ignored"));
    EXPECT_EQ(flushCommands_, commands());
}

// The thread that is to be stopped waits for the flush, and the flush would wait for it.
TEST_F(AsyncSaverReentry, AStopFromWithinAFlushesSaveIsRefusedAndTheSaverGoesOn) {
    AsyncStub storage("tv");
    SettingsStorageFileAsyncSaver& running = stoppedSaver();
    int error = 0;
    storage.onSave = [&](const std::string&) {
        try {
            running.stop();
        } catch (const boost::thread_resource_error& e) {
            error = e.native_error();
        }
        return true;
    };
    running.start();
    untilSaverRests();
    storage.touch();
    running.flush();
    EXPECT_EQ(EDEADLK, error);
    EXPECT_FALSE(storage.dirty());
    EXPECT_EQ(1U, testsupport::saverThreads().size());
    running.stop();
}

// A second thread that is stopping the saver holds what a start would wait for.
TEST_F(AsyncSaverReentry, AStartFromWithinASaveIsIgnoredAndDoesNotWaitForAStopUnderWay) {
    AsyncStub storage("tv");
    SettingsStorageFileAsyncSaver& running = stoppedSaver();
    testsupport::Gate gate;
    storage.onSave = [&](const std::string&) {
        gate.pass();
        running.start();
        return true;
    };
    storage.touch();
    running.start();
    gate.waitForArrival();
    testsupport::WatchedThread stop([&] { running.stop(); });
    stop.untilHeldUpOrDone();
    gate.open();
    stop.join();
    EXPECT_FALSE(storage.dirty());
    EXPECT_EQ(1U, logged(5,
                         "SettingsStorageFileAsyncSaver::start(): called from within a save, "
                         "ignored"));
    testsupport::untilSaverThreadIsGone();
}

TEST_F(AsyncSaverReentry, AManagerThatEndsWithinASaveIsGoneAllTheSame) {
    AsyncStub storage("tv");
    SettingsStorageFileAsyncSaver& stopped = stoppedSaver();
    const auto ending = boost::make_shared<AsyncStub>("ending");
    storage.onSave = [&](const std::string&) {
        Qel::Settings::SettingsManager manager;
        EXPECT_TRUE(manager.registerStorage(ending));
        return true;
    };
    storage.touch();
    stopped.flush();
    EXPECT_FALSE(storage.dirty());
    ending->touch();
    EXPECT_FALSE(ending->save());
    EXPECT_EQ(flushCommands_, commands());
}

TEST_F(AsyncSaverReentry, AnInterruptionOfTheCallerDoesNotCutStopOrAStoragesEndShort) {
    auto storage = std::make_unique<AsyncStub>("tv");
    storage->touch();
    SettingsStorageFileAsyncSaver& running = saver();
    bool interruptionIsStillPending = false;
    boost::thread caller([&] {
        boost::this_thread::interruption_requested();
        {
            const boost::this_thread::disable_interruption untilAsked;
            while (!boost::this_thread::interruption_requested()) {
                boost::this_thread::yield();
            }
        }
        running.stop();
        storage.reset();
        interruptionIsStillPending = boost::this_thread::interruption_requested();
    });
    caller.interrupt();
    caller.join();
    EXPECT_EQ(nullptr, storage);
    EXPECT_TRUE(interruptionIsStillPending);
}

}  // namespace
