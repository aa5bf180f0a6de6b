#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/file.h>
#include <unistd.h>

#include "IniStorageFixture.h"
#include "Threads.h"
#include "files/DirectoryLock.h"

namespace {

using namespace Qel::Settings;
using testsupport::exists;
using testsupport::IniStorageFixture;
using testsupport::readFile;
using testsupport::WatchedThread;
using testsupport::withCrc;
using testsupport::writeFile;

std::string textOf(int value) {
    const std::string text = std::to_string(value);
    return "#name = settings\n#savepolicy = ondemand\n[]\na = int," + text + "\nb = int," + text;
}

/// Several processes, or storages that know nothing of each other, on one directory.
class InifileProcesses : public IniStorageFixture {
protected:
    InifileProcesses()
        : directory_(::open(dir_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        files::directoryLockWait.shared = std::chrono::minutes(1);
        files::directoryLockWait.exclusive = std::chrono::minutes(1);
    }
    ~InifileProcesses() override {
        ::close(directory_);
        files::directoryLockWait = files::DirectoryLockWait();
    }

    /// Takes the directory's lock as another process would.
    void lockAsOther(int operation) { ASSERT_EQ(::flock(directory_, operation | LOCK_NB), 0); }
    void unlockAsOther() { ASSERT_EQ(::flock(directory_, LOCK_UN), 0); }

    int directory_;
};

TEST_F(InifileProcesses, ALoadWaitsForAWriterAndSetsNothingAside) {
    build(textOf(1));
    create();
    lockAsOther(LOCK_EX);
    writeFile(rw_, withCrc(textOf(2)).substr(0, 50));
    bool loaded = false;
    WatchedThread loader([&] { loaded = storage_->init(&manager_, nullptr); });
    loader.untilHeldUpOrDone();
    EXPECT_FALSE(loader.done());
    build(textOf(2));
    unlockAsOther();
    loader.join();
    EXPECT_TRUE(loaded);
    EXPECT_FALSE(exists(bad_));
    check({"settings/a = int,2", "settings/b = int,2"});
}

TEST_F(InifileProcesses, AWriterWaitsForALoad) {
    build(textOf(1));
    ASSERT_TRUE(reopen());
    setting("settings/a")->setValue(2);
    lockAsOther(LOCK_SH);
    bool saved = false;
    WatchedThread writer([&] { saved = storage_->save(); });
    writer.untilHeldUpOrDone();
    EXPECT_FALSE(writer.done());
    EXPECT_EQ(readFile(rw_), withCrc(textOf(1)));
    EXPECT_FALSE(exists(copy_));
    unlockAsOther();
    writer.join();
    EXPECT_TRUE(saved);
    ASSERT_TRUE(reopen());
    check({"settings/a = int,2", "settings/b = int,1"});
}

TEST_F(InifileProcesses, LoadsDoNotWaitForEachOther) {
    build(textOf(1));
    lockAsOther(LOCK_SH);
    ASSERT_TRUE(reopen());
    check({"settings/a = int,1", "settings/b = int,1"});
}

TEST_F(InifileProcesses, AProcessThatHangsWithTheLockInHandStopsNobody) {
    files::directoryLockWait.shared = std::chrono::milliseconds(10);
    files::directoryLockWait.exclusive = std::chrono::milliseconds(10);
    build(textOf(1));
    lockAsOther(LOCK_EX);
    ASSERT_TRUE(reopen());
    check({"settings/a = int,1", "settings/b = int,1"});
    setting("settings/a")->setValue(2);
    EXPECT_TRUE(storage_->save());
    unlockAsOther();
    ASSERT_TRUE(reopen());
    check({"settings/a = int,2", "settings/b = int,1"});
    EXPECT_EQ(log_.count(4, "Qel::Settings", "src/files/DirectoryLock",
                         "Directory '" + dir_.path() +
                             "' is locked by another process or thread for too long; going on "
                             "without the lock."),
              2U)
        << "once to read and once to write, the later waits are spared" << log_.dump();
}

TEST_F(InifileProcesses, AResetThatBeginsWhileASaveWaitsForTheLockStopsIt) {
    build(textOf(1));
    ASSERT_TRUE(reopen());
    setting("settings/a")->setValue(2);
    lockAsOther(LOCK_EX);
    bool saved = false;
    WatchedThread writer([&] { saved = storage_->save(); });
    writer.untilHeldUpOrDone();
    EXPECT_FALSE(writer.done());
    manager_.setSettingsOperationMode(SOM_ResettingToDefault);
    unlockAsOther();
    writer.join();
    EXPECT_TRUE(saved);
    EXPECT_TRUE(storage_->dirty());
    EXPECT_EQ(readFile(rw_), withCrc(textOf(1)));
    EXPECT_FALSE(exists(copy_));
    EXPECT_EQ(loggedByBase(4, "Reset to default in progress, *not* saving settings."), 1U)
        << log_.dump();
}

// The writer is alive but the disk is slow: a load that has looked without the lock, at the wrong
// moment, must not take the file away from under it.
TEST_F(InifileProcesses, ALoadThatLookedWithoutTheLockWaitsForTheWriterBeforeItSetsAside) {
    files::directoryLockWait.shared = std::chrono::milliseconds(10);
    writeFile(rw_, withCrc(textOf(1)).substr(0, 50));
    create();
    lockAsOther(LOCK_EX);
    WatchedThread loader([&] { storage_->init(&manager_, nullptr); });
    EXPECT_TRUE(log_.waitFor("SettingStorageInifile::loadFile(): done, result=0")) << log_.dump();
    loader.untilHeldUpOrDone();
    EXPECT_FALSE(loader.done());
    EXPECT_FALSE(exists(bad_));
    build(textOf(2));
    unlockAsOther();
    loader.join();
    EXPECT_FALSE(exists(bad_));
    check({"settings/a = int,2", "settings/b = int,2"});
}

TEST_F(InifileProcesses, ADamagedFileIsSetAsideOnlyWithTheDirectoryToOneself) {
    writeFile(rw_, "torn");
    create();
    lockAsOther(LOCK_SH);
    WatchedThread loader([&] { storage_->init(&manager_, nullptr); });
    loader.untilHeldUpOrDone();
    EXPECT_FALSE(loader.done());
    EXPECT_TRUE(exists(rw_));
    EXPECT_FALSE(exists(bad_));
    unlockAsOther();
    loader.join();
    EXPECT_EQ(readFile(bad_), "torn");
}

}  // namespace
