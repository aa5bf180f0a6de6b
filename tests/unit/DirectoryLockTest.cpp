#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <sys/file.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <time.h>
#include <unistd.h>
#include <vector>

#include "FileCalls.h"
#include "LogCapture.h"
#include "TempDir.h"
#include "Threads.h"
#include "files/DirectoryLock.h"

namespace {

/// What `nanosleep` does in this program: how many times longer than asked it takes, and how many
/// calls more a signal interrupts at once.
struct Sleeps {
    int slower = 1;
    int interrupted = 0;
    int calls = 0;
};
Sleeps sleeps;

}  // namespace

// In place of the C library's.
extern "C" int nanosleep(const timespec* asked, timespec* left) {
    ++sleeps.calls;
    if (sleeps.interrupted > 0) {
        --sleeps.interrupted;
        *left = *asked;
        errno = EINTR;
        return -1;
    }
    timespec longer = *asked;
    longer.tv_nsec *= sleeps.slower;
    errno = ::clock_nanosleep(CLOCK_MONOTONIC, 0, &longer, left);
    return errno == 0 ? 0 : -1;
}

namespace {

using Qel::Settings::files::DirectoryLock;
using Qel::Settings::files::directoryLockWait;
using Qel::Settings::files::DirectoryLockWait;
using Qel::Settings::files::directoryOf;
using testsupport::FileCalls;
using testsupport::LogCapture;
using Mode = DirectoryLock::Mode;
using std::chrono::milliseconds;

/// Another process, as far as locks go: its descriptor of the directory is its own.
class Other {
public:
    explicit Other(const std::string& directory)
        : descriptor_(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {}
    ~Other() { ::close(descriptor_); }
    Other(const Other&) = delete;
    Other& operator=(const Other&) = delete;

    bool tries(int operation) {
        const bool locked = ::flock(descriptor_, operation | LOCK_NB) == 0;
        EXPECT_TRUE(locked || errno == EWOULDBLOCK) << errno;
        return locked;
    }
    /// Tries and lets go again.
    bool could(int operation) {
        const bool locked = tries(operation);
        release();
        return locked;
    }
    void release() { EXPECT_EQ(::flock(descriptor_, LOCK_UN), 0); }

private:
    int descriptor_;
};

class DirectoryLockFixture : public testing::Test {
protected:
    ~DirectoryLockFixture() override { directoryLockWait = DirectoryLockWait(); }

    static void giveUpAfter(int longest, int penalty) {
        directoryLockWait.shared = milliseconds(longest);
        directoryLockWait.exclusive = milliseconds(longest);
        directoryLockWait.poll = milliseconds(1);
        directoryLockWait.penalty = milliseconds(penalty);
    }

    std::size_t warnings() const {
        return log_.count(4, "Qel::Settings", "src/files/DirectoryLock",
                          "Directory '" + dir_.path() +
                              "' is locked by another process or thread for too long; going on "
                              "without the lock.");
    }

    LogCapture log_;
    testsupport::TempDir dir_;
    Other other_{dir_.path()};
};

using DirectoryLockTest = DirectoryLockFixture;

TEST_F(DirectoryLockTest, AnExclusiveLockShutsEveryOtherOut) {
    {
        const DirectoryLock lock(dir_.path(), Mode::kExclusive);
        EXPECT_TRUE(lock.held());
        EXPECT_FALSE(other_.could(LOCK_SH));
        EXPECT_FALSE(other_.could(LOCK_EX));
    }
    EXPECT_TRUE(other_.could(LOCK_EX));
    EXPECT_TRUE(log_.entries().empty()) << log_.dump();
}

TEST_F(DirectoryLockTest, ASharedLockLetsReadersInAndShutsWritersOut) {
    {
        const DirectoryLock lock(dir_.path(), Mode::kShared);
        EXPECT_TRUE(lock.held());
        EXPECT_TRUE(other_.could(LOCK_SH));
        EXPECT_FALSE(other_.could(LOCK_EX));
    }
    EXPECT_TRUE(other_.could(LOCK_EX));
}

TEST_F(DirectoryLockTest, NoFileIsLeftBehind) {
    {
        const DirectoryLock lock(dir_.path(), Mode::kExclusive);
        EXPECT_TRUE(std::filesystem::is_empty(dir_.path()));
    }
    EXPECT_TRUE(std::filesystem::is_empty(dir_.path()));
}

TEST_F(DirectoryLockTest, TheLockHoldsAcrossProcesses) {
    const DirectoryLock lock(dir_.path(), Mode::kExclusive);
    const pid_t child = ::fork();
    if (child == 0) {
        const int directory = ::open(dir_.path().c_str(), O_RDONLY | O_DIRECTORY);
        const bool shutOut = ::flock(directory, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
        ::_exit(shutOut ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(DirectoryLockTest, AChildForkedMeanwhileDoesNotKeepTheLock) {
    int untilTold[2];
    ASSERT_EQ(::pipe(untilTold), 0);
    auto lock = std::make_unique<DirectoryLock>(dir_.path(), Mode::kExclusive);
    const pid_t child = ::fork();
    if (child == 0) {
        char byte = 0;
        ::close(untilTold[1]);
        ::_exit(::read(untilTold[0], &byte, 1) == 0 ? 0 : 1);
    }
    lock.reset();
    EXPECT_TRUE(other_.could(LOCK_EX));
    ::close(untilTold[0]);
    ::close(untilTold[1]);
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST_F(DirectoryLockTest, AThreadThatHoldsTheDirectoryExclusivelyMayLockItAgain) {
    giveUpAfter(0, 0);
    FileCalls calls(dir_.path());
    const DirectoryLock outer(dir_.path(), Mode::kExclusive);
    {
        const DirectoryLock inner(dir_.path(), Mode::kShared);
        const DirectoryLock innermost(dir_.path(), Mode::kExclusive);
        EXPECT_TRUE(inner.held());
        EXPECT_TRUE(innermost.held());
        EXPECT_TRUE(innermost.syncDirectory());
    }
    EXPECT_FALSE(other_.could(LOCK_SH)) << "the outer scope still holds it";
    EXPECT_EQ(calls.calls(), (std::vector<std::string>{"open .", "lock .", "fsync ."}));
    EXPECT_TRUE(log_.entries().empty()) << log_.dump();
}

TEST_F(DirectoryLockTest, SharedLocksOfOneThreadStandBesideEachOther) {
    giveUpAfter(0, 0);
    const DirectoryLock outer(dir_.path(), Mode::kShared);
    const DirectoryLock inner(dir_.path(), Mode::kShared);
    EXPECT_TRUE(outer.held());
    EXPECT_TRUE(inner.held());
}

TEST_F(DirectoryLockTest, ASharedLockIsNotLentToAWriter) {
    giveUpAfter(0, 0);
    const DirectoryLock outer(dir_.path(), Mode::kShared);
    const DirectoryLock inner(dir_.path(), Mode::kExclusive);
    EXPECT_FALSE(inner.held());
    EXPECT_EQ(warnings(), 1U) << log_.dump();
}

TEST_F(DirectoryLockTest, ALockThatWasNotHadIsNotLent) {
    giveUpAfter(0, 0);
    ASSERT_TRUE(other_.tries(LOCK_EX));
    const DirectoryLock outer(dir_.path(), Mode::kExclusive);
    EXPECT_FALSE(DirectoryLock(dir_.path(), Mode::kExclusive).held());
    other_.release();
    EXPECT_TRUE(DirectoryLock(dir_.path(), Mode::kExclusive).held());
}

TEST_F(DirectoryLockTest, DirectoriesAreLockedApartFromEachOther) {
    const testsupport::TempDir second;
    Other otherOfSecond(second.path());
    const DirectoryLock outer(dir_.path(), Mode::kExclusive);
    {
        const DirectoryLock inner(second.path(), Mode::kExclusive);
        EXPECT_TRUE(inner.held());
        EXPECT_FALSE(otherOfSecond.could(LOCK_SH));
    }
    EXPECT_TRUE(otherOfSecond.could(LOCK_EX));
    EXPECT_FALSE(other_.could(LOCK_SH));
}

TEST_F(DirectoryLockTest, AnotherThreadIsNotLentTheLock) {
    giveUpAfter(0, 0);
    const DirectoryLock outer(dir_.path(), Mode::kExclusive);
    bool held = true;
    std::thread([&] { held = DirectoryLock(dir_.path(), Mode::kShared).held(); }).join();
    EXPECT_FALSE(held);
}

TEST_F(DirectoryLockTest, ALockIsWaitedFor) {
    giveUpAfter(60000, 0);
    ASSERT_TRUE(other_.tries(LOCK_SH));
    bool held = false;
    testsupport::WatchedThread waiting(
        [&] { held = DirectoryLock(dir_.path(), Mode::kExclusive).held(); });
    waiting.untilHeldUpOrDone();
    EXPECT_FALSE(waiting.done());
    other_.release();
    waiting.join();
    EXPECT_TRUE(held);
    EXPECT_EQ(warnings(), 0U) << log_.dump();
}

TEST_F(DirectoryLockTest, WhatTakesTooLongIsGivenUpWithAWarning) {
    giveUpAfter(20, 60000);
    ASSERT_TRUE(other_.tries(LOCK_EX));
    const DirectoryLock lock(dir_.path(), Mode::kShared);
    EXPECT_FALSE(lock.held());
    EXPECT_TRUE(lock.syncDirectory());
    EXPECT_EQ(warnings(), 1U) << log_.dump();
}

TEST_F(DirectoryLockTest, TheWaitIsNotLongerWhenEveryPollIs) {
    giveUpAfter(100, 60000);
    ASSERT_TRUE(other_.tries(LOCK_EX));
    sleeps = {5};
    EXPECT_FALSE(DirectoryLock(dir_.path(), Mode::kExclusive).held());
    EXPECT_LE(sleeps.calls, 20);
    sleeps = {};
}

TEST_F(DirectoryLockTest, AProcessThatWasStoppedHasNotUsedUpItsPatience) {
    giveUpAfter(50, 60000);
    ASSERT_TRUE(other_.tries(LOCK_EX));
    sleeps = {50};
    EXPECT_FALSE(DirectoryLock(dir_.path(), Mode::kExclusive).held());
    EXPECT_EQ(sleeps.calls, 5);
    sleeps = {};
}

TEST_F(DirectoryLockTest, SignalsDoNotShortenTheWait) {
    giveUpAfter(1, 60000);
    ASSERT_TRUE(other_.tries(LOCK_EX));
    FileCalls calls(dir_.path());
    sleeps = {1, 100};
    EXPECT_FALSE(DirectoryLock(dir_.path(), Mode::kExclusive).held());
    EXPECT_EQ(sleeps.calls, 101);
    EXPECT_EQ(calls.count("lock ."), 2U);
    sleeps = {};
}

TEST_F(DirectoryLockTest, ADirectoryThatWasGivenUpIsAskedOnceButNotWaitedForAgain) {
    giveUpAfter(20, 60000);
    ASSERT_TRUE(other_.tries(LOCK_EX));
    EXPECT_FALSE(DirectoryLock(dir_.path(), Mode::kExclusive).held());
    FileCalls calls(dir_.path());
    {
        const DirectoryLock lock(dir_.path(), Mode::kExclusive);
        EXPECT_FALSE(lock.held());
        EXPECT_TRUE(lock.missed());
    }
    EXPECT_EQ(calls.count("lock ."), 1U);
    EXPECT_EQ(warnings(), 1U) << log_.dump();
    other_.release();
    const DirectoryLock lock(dir_.path(), Mode::kExclusive);
    EXPECT_TRUE(lock.held());
    EXPECT_FALSE(lock.missed());
}

TEST_F(DirectoryLockTest, AfterAWhileItIsWaitedForAgain) {
    giveUpAfter(20, 0);
    ASSERT_TRUE(other_.tries(LOCK_EX));
    EXPECT_FALSE(DirectoryLock(dir_.path(), Mode::kExclusive).held());
    FileCalls calls(dir_.path());
    EXPECT_FALSE(DirectoryLock(dir_.path(), Mode::kExclusive).held());
    EXPECT_GT(calls.count("lock ."), 1U);
    EXPECT_EQ(warnings(), 2U) << log_.dump();
}

TEST_F(DirectoryLockTest, AReaderThatHasGivenUpStillWaitsAsAWriter) {
    giveUpAfter(20, 60000);
    ASSERT_TRUE(other_.tries(LOCK_EX));
    EXPECT_FALSE(DirectoryLock(dir_.path(), Mode::kShared).held());
    FileCalls calls(dir_.path());
    EXPECT_FALSE(DirectoryLock(dir_.path(), Mode::kShared).held());
    EXPECT_EQ(calls.count("share ."), 1U);
    EXPECT_FALSE(DirectoryLock(dir_.path(), Mode::kExclusive).held());
    EXPECT_GT(calls.count("lock ."), 1U);
}

TEST_F(DirectoryLockTest, OneDirectoryThatWasGivenUpDoesNotCostAnotherItsWait) {
    const testsupport::TempDir second;
    Other otherOfSecond(second.path());
    giveUpAfter(20, 60000);
    ASSERT_TRUE(other_.tries(LOCK_EX));
    ASSERT_TRUE(otherOfSecond.tries(LOCK_EX));
    EXPECT_FALSE(DirectoryLock(dir_.path(), Mode::kExclusive).held());
    FileCalls calls(second.path());
    EXPECT_FALSE(DirectoryLock(second.path(), Mode::kExclusive).held());
    EXPECT_GT(calls.count("lock ."), 1U);
}

TEST_F(DirectoryLockTest, ADirectoryThatCannotBeOpenedIsNoReasonToWait) {
    for (const std::string& path : {dir_.file("absent"), std::string("/dev/null")}) {
        const DirectoryLock lock(path, Mode::kExclusive);
        EXPECT_FALSE(lock.held());
        EXPECT_FALSE(lock.syncDirectory());
    }
    EXPECT_TRUE(log_.entries().empty()) << log_.dump();
}

TEST_F(DirectoryLockTest, ADirectoryThatCouldNotBeOpenedForTheLockIsOpenedAgainToSyncIt) {
    FileCalls calls(dir_.path());
    calls.fail("open .", EIO);
    const DirectoryLock lock(dir_.path(), Mode::kExclusive);
    EXPECT_FALSE(lock.held());
    EXPECT_TRUE(lock.syncDirectory());
    EXPECT_EQ(calls.calls(), (std::vector<std::string>{"open .", "open .", "fsync .", "close ."}));
}

TEST_F(DirectoryLockTest, OfDirectoriesThatCannotBeOpenedOnlyAHiddenOneCountsAsSynced) {
    const struct {
        int error;
        bool synced;
    } rows[] = {{EIO, false}, {EMFILE, false}, {ENOENT, false}, {EACCES, true}};
    for (const auto& row : rows) {
        FileCalls calls(dir_.path());
        calls.fail("open .", row.error, FileCalls::kForGood);
        const DirectoryLock lock(dir_.path(), Mode::kExclusive);
        EXPECT_EQ(lock.syncDirectory(), row.synced) << row.error;
        EXPECT_EQ(errno, row.error);
    }
}

TEST_F(DirectoryLockTest, AFileSystemWithoutLocksIsNoReasonToWait) {
    for (const int error : {ENOTSUP, EINVAL, ENOSYS}) {
        FileCalls calls(dir_.path());
        calls.fail("lock .", error);
        const DirectoryLock lock(dir_.path(), Mode::kExclusive);
        EXPECT_FALSE(lock.held()) << error;
        EXPECT_TRUE(lock.syncDirectory());
        EXPECT_EQ(calls.count("lock ."), 1U) << error;
        EXPECT_EQ(calls.count("fsync ."), 1U) << error;
    }
    EXPECT_TRUE(log_.entries().empty()) << log_.dump();
}

class DirectoryLockShortage : public DirectoryLockFixture {
protected:
    void lockInVain(const std::string& call, int error) {
        FileCalls calls(dir_.path());
        calls.fail(call, error, FileCalls::kForGood);
        const DirectoryLock lock(dir_.path(), Mode::kExclusive);
        EXPECT_FALSE(lock.held());
        EXPECT_TRUE(lock.missed());
        EXPECT_LE(calls.count("lock ."), 1U);
    }

    std::size_t told(int error) const {
        return log_.count(4, "Qel::Settings", "src/files/DirectoryLock",
                          "Directory '" + dir_.path() +
                              "' cannot be locked, going on without the lock: " +
                              std::generic_category().message(error));
    }
};

TEST_F(DirectoryLockShortage, IsNoReasonToWaitButIsTold) {
    giveUpAfter(0, 0);
    const struct {
        const char* call;
        int error;
    } rows[] = {{"open .", EMFILE}, {"open .", ENFILE}, {"open .", ENOMEM}, {"lock .", ENOLCK}};
    for (const auto& row : rows) {
        log_.clear();
        lockInVain(row.call, row.error);
        EXPECT_EQ(told(row.error), 1U) << log_.dump();
        lockInVain(row.call, row.error);
        EXPECT_EQ(told(row.error), 2U) << log_.dump();
        EXPECT_EQ(log_.entries().size(), 2U) << log_.dump();
    }
}

TEST_F(DirectoryLockShortage, IsNotToldByEachOfManySaves) {
    giveUpAfter(0, 60000);
    lockInVain("open .", EMFILE);
    lockInVain("open .", EMFILE);
    lockInVain("lock .", ENOLCK);
    EXPECT_EQ(log_.entries().size(), 1U) << log_.dump();
    EXPECT_EQ(told(EMFILE), 1U) << log_.dump();
}

TEST_F(DirectoryLockShortage, DoesNotCostTheDirectoryItsWait) {
    giveUpAfter(20, 60000);
    lockInVain("open .", EMFILE);
    ASSERT_TRUE(other_.tries(LOCK_EX));
    FileCalls calls(dir_.path());
    EXPECT_FALSE(DirectoryLock(dir_.path(), Mode::kExclusive).held());
    EXPECT_GT(calls.count("lock ."), 1U);
    EXPECT_EQ(warnings(), 1U) << log_.dump();
}

TEST_F(DirectoryLockTest, AnInterruptionIsNoReasonToGiveUp) {
    FileCalls calls(dir_.path());
    calls.fail("share .", EINTR, 3);
    const DirectoryLock lock(dir_.path(), Mode::kShared);
    EXPECT_TRUE(lock.held());
    EXPECT_EQ(calls.count("share ."), 4U);
}

TEST_F(DirectoryLockTest, SyncingTellsWhetherTheDiskFailed) {
    const struct {
        int error;
        bool synced;
    } rows[] = {{EIO, false},   {ENOSPC, false}, {EINTR, true},
                {EINVAL, true}, {EROFS, false},  {ENOTSUP, true}};
    for (const auto& row : rows) {
        FileCalls calls(dir_.path());
        calls.fail("fsync .", row.error);
        const DirectoryLock lock(dir_.path(), Mode::kExclusive);
        EXPECT_EQ(lock.syncDirectory(), row.synced) << row.error;
    }
}

TEST_F(DirectoryLockTest, NoChildProcessInheritsTheLock) {
    FileCalls calls(dir_.path());
    const DirectoryLock lock(dir_.path(), Mode::kExclusive);
    EXPECT_TRUE(calls.allClosedOnExec());
}

TEST(DirectoryOf, GivesThePartBeforeTheLastSlash) {
    EXPECT_EQ(directoryOf("/a/b/c.ini"), "/a/b");
    EXPECT_EQ(directoryOf("a/c.ini"), "a");
    EXPECT_EQ(directoryOf("/c.ini"), "/");
    EXPECT_EQ(directoryOf("c.ini"), ".");
    EXPECT_EQ(directoryOf(""), ".");
    EXPECT_EQ(directoryOf("a/"), "a");
}

TEST(DirectoryLockWaitTimes, AreTwoSecondsToReadAndTenToWrite) {
    EXPECT_EQ(directoryLockWait.shared, milliseconds(2000));
    EXPECT_EQ(directoryLockWait.exclusive, milliseconds(10000));
    EXPECT_EQ(directoryLockWait.penalty, milliseconds(10000));
    EXPECT_GT(directoryLockWait.poll, milliseconds(0));
    EXPECT_LT(directoryLockWait.poll, milliseconds(10));
}

}  // namespace
