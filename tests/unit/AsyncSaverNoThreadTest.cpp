#include <boost/make_shared.hpp>
#include <boost/thread/exceptions.hpp>
#include <cerrno>
#include <dlfcn.h>
#include <pthread.h>

#include "Qel/Settings/SettingsManager.h"
#include "SaverFixture.h"

using Qel::Settings::SettingStorageFileBase;
using testsupport::AsyncStub;
using testsupport::SaverFixture;

namespace {

bool threadsAreOut = false;

}  // namespace

// Stands before the C library's: a machine that is short of threads.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*function)(void*), void* argument) {
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto create = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
    return threadsAreOut ? EAGAIN : create(thread, attributes, function, argument);
}

namespace {

class AsyncSaverNoThread : public SaverFixture {
protected:
    void SetUp() override { threadsAreOut = true; }
    void TearDown() override { threadsAreOut = false; }
};

TEST_F(AsyncSaverNoThread, AStorageComesUpAllTheSameAndTheLogSaysIt) {
    const AsyncStub storage("tv");
    EXPECT_EQ(SettingStorageFileBase::Save_async, storage.savePolicy());
    std::size_t errors = 0;
    for (const std::string& message : messages()) {
        errors += message.find(
                      "5 SettingsStorageFileAsyncSaver: no thread for saving in the "
                      "background, saving when flushed and at the process's end only: ") == 0
                      ? 1
                      : 0;
    }
    EXPECT_EQ(1U, errors) << log_.dump();
}

TEST_F(AsyncSaverNoThread, AFlushSavesWhatTheThreadWouldHave) {
    AsyncStub storage("tv");
    storage.touch();
    saver().flush();
    EXPECT_EQ(1U, storage.saves());
    EXPECT_FALSE(storage.dirty());
}

TEST_F(AsyncSaverNoThread, AStopSavesWhatTheThreadWouldHave) {
    AsyncStub storage("tv");
    storage.touch();
    saver().stop();
    EXPECT_EQ(1U, storage.saves());
    storage.touch();
    saver().stop();
    EXPECT_EQ(1U, storage.saves()) << "stopped is stopped";
}

TEST_F(AsyncSaverNoThread, EndOfAManagerSavesItsStorages) {
    const auto storage = boost::make_shared<AsyncStub>("tv");
    {
        Qel::Settings::SettingsManager manager;
        ASSERT_TRUE(manager.registerStorage(storage));
        storage->touch();
    }
    EXPECT_EQ(1U, storage->saves());
    EXPECT_FALSE(storage->dirty());
}

TEST_F(AsyncSaverNoThread, AStartThatFailsLaterOnLosesNoChangesEither) {
    threadsAreOut = false;
    AsyncStub storage("tv");
    saver().stop();
    threadsAreOut = true;
    EXPECT_THROW(saver().start(), boost::thread_resource_error);
    storage.touch();
    saver().stop();
    EXPECT_EQ(1U, storage.saves());
}

TEST_F(AsyncSaverNoThread, ALaterStartMakesUpForIt) {
    AsyncStub storage("tv");
    storage.touch();
    threadsAreOut = false;
    saver().start();
    saver().stop();
    EXPECT_EQ(1U, storage.saves());
}

}  // namespace
