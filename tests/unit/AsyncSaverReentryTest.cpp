#include <boost/thread/thread.hpp>

#include "SaverFixture.h"

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
