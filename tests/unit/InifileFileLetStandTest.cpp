// A file that was not loaded stays in its place when its copy could not be read, or when somebody
// may be writing it at that moment.

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <vector>

#include "DamagedFileFixture.h"
#include "StatHook.h"
#include "files/DirectoryLock.h"
#include "files/WholeFile.h"

namespace {

using Qel::Settings::files::directoryLockWait;
using Qel::Settings::files::DirectoryLockWait;
using testsupport::exists;
using testsupport::FileCalls;
using testsupport::readFile;
using testsupport::StatHook;
using testsupport::withCrc;
using testsupport::writeFile;

// The copy of an interrupted save may be the only whole text. One that cannot be read at start-up
// is neither abandoned nor overwritten.
class InifileUnreadCopy : public testsupport::DamagedFileFixture {
protected:
    InifileUnreadCopy() {
        std::filesystem::remove(bad_);
        writeFile(rw_, "torn");
        writeFile(copy_, good_);
    }

    void loadUnread(int error) {
        create();
        FileCalls calls(dir_.path());
        calls.fail("open rw.ini.tmp", error, FileCalls::kForGood);
        ASSERT_TRUE(storage_->init(&manager_, nullptr));
    }

    std::string good_ = withCrc("#name = settings\n[]\na = int,7");
};

TEST_F(InifileUnreadCopy, IsNamedAndItsFileStays) {
    for (const int error : {EIO, EACCES, EMFILE}) {
        log_.clear();
        loadUnread(error);
        EXPECT_EQ(readFile(rw_), "torn");
        EXPECT_FALSE(exists(bad_));
        EXPECT_EQ(logged(5, "SettingStorageInifile: '" + copy_ +
                                "' cannot be read: " + std::generic_category().message(error)),
                  2U)
            << log_.dump();
        EXPECT_EQ(loggedByBase(4, stays()), 1U) << log_.dump();
    }
    ASSERT_TRUE(reopen());
    check({"settings/a = int,7"});
}

TEST_F(InifileUnreadCopy, IsKeptWithItsFileByTheSaveThatWouldOverwriteIt) {
    loadUnread(EIO);
    setting("settings/a")->setValue(2);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), kSaved);
    EXPECT_EQ(readFile(bad_), "torn");
    EXPECT_EQ(readFile(copy_ + ".bad"), good_);
    EXPECT_EQ(loggedByBase(4, "The unread file '" + copy_ + "' is kept as '" + copy_ + ".bad'."),
              1U)
        << log_.dump();
    setting("settings/a")->setValue(3);
    EXPECT_TRUE(storage_->save());
    EXPECT_FALSE(exists(second_)) << "kept once";
    EXPECT_FALSE(exists(copy_ + ".bad.1"));
}

// The storage would never save again.
TEST_F(InifileUnreadCopy, GoesOnUnderAnotherNameAndItsFileTooWhenNeitherCanBeReadEver) {
    loadUnread(EIO);
    setting("settings/a")->setValue(2);
    FileCalls calls(dir_.path());
    calls.fail("open rw.ini.tmp", EIO, FileCalls::kForGood);
    calls.fail("open rw.ini", EIO, FileCalls::kForGood);
    EXPECT_TRUE(storage_->save());
    calls.mend();
    EXPECT_EQ(readFile(bad_), "torn");
    EXPECT_EQ(readFile(copy_ + ".bad"), good_);
    ASSERT_TRUE(reopen());
    check({"settings/a = int,2"});
}

TEST_F(InifileUnreadCopy, TakesNoNewNameWithEachSaveThatFails) {
    loadUnread(EIO);
    setting("settings/a")->setValue(2);
    FileCalls calls(dir_.path());
    calls.fail("create rw.ini.bad", EACCES, 3);
    calls.fail("link rw.ini rw.ini.bad", EPERM, 3);
    for (int save = 0; save < 3; ++save) {
        EXPECT_FALSE(storage_->save());
    }
    EXPECT_EQ(loggedByBase(5, "'" + rw_ +
                                  "' is not saved, a later save tries again: the unread file there "
                                  "can neither be set aside nor copied: Permission denied"),
              3U)
        << log_.dump();
    EXPECT_EQ(readFile(copy_ + ".bad"), good_);
    EXPECT_FALSE(exists(copy_ + ".bad.1"));
    EXPECT_EQ(readFile(rw_), "torn");
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), kSaved);
    EXPECT_EQ(readFile(bad_), "torn");
    EXPECT_FALSE(exists(copy_ + ".bad.1"));
}

// The first look could not open it, the second finds it torn as well.
TEST_F(InifileUnreadCopy, ThatTurnsOutToBeDamagedDoesNotMakeItsFileStay) {
    writeFile(copy_, "torn too");
    create();
    FileCalls calls(dir_.path());
    calls.fail("open rw.ini.tmp", EIO);
    ASSERT_TRUE(storage_->init(&manager_, nullptr));
    EXPECT_EQ(calls.struck().size(), 1U);
    EXPECT_EQ(readFile(bad_), "torn");
    EXPECT_FALSE(exists(rw_));
    EXPECT_EQ(loggedByBase(4, stays()), 0U) << log_.dump();
}

// Only a file beside the copy makes a load look for that.
TEST_F(InifileUnreadCopy, IsFoundByTheNextStartWhenTheSaveThatHasKeptAnUnreadableFileFails) {
    loadUnread(EMFILE);
    setting("settings/a")->setValue(2);
    {
        FileCalls calls(dir_.path());
        calls.fail("open rw.ini", EIO, FileCalls::kForGood);
        calls.fail("create rw.ini.tmp.new", ENOSPC);
        EXPECT_FALSE(storage_->save());
    }
    EXPECT_EQ(readFile(copy_), good_);
    EXPECT_EQ(readFile(bad_), "torn");
    ASSERT_TRUE(reopen());
    check({"settings/a = int,7"});
}

TEST_F(InifileUnreadCopy, GoesOnUnderAnotherNameWhenItCannotBeReadForTheSaveEither) {
    writeFile(copy_ + ".bad", "kept before");
    loadUnread(EIO);
    setting("settings/a")->setValue(2);
    FileCalls calls(dir_.path());
    calls.fail("open rw.ini.tmp", EIO);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), kSaved);
    EXPECT_EQ(readFile(copy_ + ".bad"), "kept before");
    EXPECT_EQ(readFile(copy_ + ".bad.1"), good_);
}

TEST_F(InifileUnreadCopy, IsNotOverwrittenWhenItCanNeitherBeReadNorMoved) {
    loadUnread(EIO);
    setting("settings/a")->setValue(2);
    FileCalls calls(dir_.path());
    calls.fail("open rw.ini.tmp", EIO, 2);
    calls.fail("link rw.ini.tmp rw.ini.tmp.bad", EPERM, 2);
    calls.fail("rename rw.ini.tmp rw.ini.tmp.bad", EPERM, 2);
    for (int save = 0; save < 2; ++save) {
        EXPECT_FALSE(storage_->save());
        EXPECT_EQ(readFile(rw_), "torn");
        EXPECT_EQ(readFile(copy_), good_);
        EXPECT_FALSE(exists(bad_)) << "of no use yet, and another one with each save";
        EXPECT_TRUE(storage_->dirty());
    }
    EXPECT_EQ(loggedByBase(5, "'" + copy_ +
                                  "' is not saved, a later save tries again: the unread file there "
                                  "can neither be set aside nor copied: Operation not permitted"),
              2U)
        << log_.dump();
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(copy_ + ".bad"), good_);
}

// A save that found its values in the copy has called them durable without a write.
TEST_F(InifileUnreadCopy, BesideAWholeFileIsKeptByTheSaveThatWouldReplaceIt) {
    build("#name = settings\n[]\na = int,5");
    loadUnread(EIO);
    check({"settings/a = int,5"});
    EXPECT_EQ(loggedByBase(4, stays()), 0U) << log_.dump();
    setting("settings/a")->setValue(2);
    {
        FileCalls calls(dir_.path());
        calls.fail("create rw.ini.tmp.bad", EACCES);
        calls.fail("link rw.ini.tmp rw.ini.tmp.bad", EPERM);
        EXPECT_FALSE(storage_->save());
    }
    EXPECT_EQ(readFile(copy_), good_);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), kSaved);
    EXPECT_EQ(readFile(copy_ + ".bad"), good_);
    EXPECT_FALSE(exists(bad_));
    setting("settings/a")->setValue(3);
    EXPECT_TRUE(storage_->save());
    EXPECT_FALSE(exists(copy_ + ".bad.1")) << "kept once";
}

TEST_F(InifileUnreadCopy, OfTheDefaultsConcernsNoSave) {
    std::filesystem::rename(copy_, defaults_ + ".tmp");
    build("#name = settings\n[]\na = int,5");
    create();
    {
        FileCalls calls(dir_.path());
        calls.fail("open defaults.ini.tmp", EIO, FileCalls::kForGood);
        ASSERT_TRUE(storage_->init(&manager_, nullptr));
    }
    setting("settings/a")->setValue(2);
    FileCalls calls(dir_.path());
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(calls.count("fsync ."), 1U) << "an ordinary save";
}

// The text is that of the file, but the next load may be able to read the copy, which wins.
TEST_F(InifileUnreadCopy, IsReplacedByASaveOfWhatItsFileHolds) {
    build("#name = settings\n#savepolicy = ondemand\n[]\na = int,5");
    const std::string healthy = readFile(rw_);
    loadUnread(EIO);
    setting("settings/a")->setValue(6);
    setting("settings/a")->setValue(5);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), healthy);
    EXPECT_FALSE(exists(copy_));
    ASSERT_TRUE(reopen());
    check({"settings/a = int,5"});
}

// Nobody knows then whether it may be truncated.
TEST_F(InifileUnreadCopy, OfWhichTheSystemTellsNothingIsReplacedInOneStep) {
    ASSERT_TRUE(reopen());
    setting("settings/a")->setValue(2);
    const FileCalls calls(dir_.path());
    StatHook::instance().failing = copy_.c_str();
    EXPECT_TRUE(storage_->save());
    StatHook::instance().reset();
    EXPECT_EQ(calls.count("rename rw.ini.tmp.new rw.ini.tmp"), 1U);
    EXPECT_EQ(calls.count("create rw.ini.tmp"), 0U);
    EXPECT_EQ(readFile(rw_), kSaved);
}

class InifileFileLetStand : public testsupport::DamagedFileFixture {
protected:
    InifileFileLetStand() { std::filesystem::remove(bad_); }
};

TEST_F(InifileFileLetStand, IsNotSetAsideWhileSomebodyElseHasTheDirectory) {
    const int other = ::open(dir_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(::flock(other, LOCK_EX), 0);
    directoryLockWait.shared = directoryLockWait.exclusive = std::chrono::milliseconds(1);
    loadDamaged();
    directoryLockWait = DirectoryLockWait();
    EXPECT_EQ(loggedByBase(4, stays()), 1U) << log_.dump();
    EXPECT_FALSE(exists(bad_));
    ::close(other);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), kSaved);
    EXPECT_EQ(readFile(bad_), kDamaged);
    EXPECT_EQ(loggedByBase(4, "The unread file '" + rw_ + "' is kept as '" + bad_ + "'."), 1U)
        << log_.dump();
}

// The second one is not waited for any more, but that somebody is at work there is known.
TEST_F(InifileFileLetStand, IsNotSetAsideInADirectoryThatWasGivenUpBefore) {
    const int other = ::open(dir_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(::flock(other, LOCK_EX), 0);
    directoryLockWait.shared = directoryLockWait.exclusive = std::chrono::milliseconds(1);
    loadDamaged();
    loadDamaged();
    directoryLockWait = DirectoryLockWait();
    ::close(other);
    EXPECT_EQ(loggedByBase(4, stays()), 2U) << log_.dump();
    EXPECT_FALSE(exists(bad_));
}

// What is short for the lock may be there again for the load, which then meets half of what
// somebody is writing.
TEST_F(InifileFileLetStand, IsNotSetAsideWhenTheLockIsMissingForAShortage) {
    const struct {
        const char* call;
        int error;
        bool isSetAside;
    } rows[] = {{"open .", EMFILE, false}, {"open .", ENFILE, false}, {"open .", ENOMEM, false},
                {"lock .", ENOLCK, false}, {"lock .", ENOSYS, true},  {"open .", EACCES, true}};
    for (const auto& row : rows) {
        writeFile(rw_, kDamaged);
        create();
        FileCalls calls(dir_.path());
        calls.fail(row.call, row.error, FileCalls::kForGood);
        ASSERT_TRUE(storage_->init(&manager_, nullptr));
        EXPECT_EQ(exists(rw_), !row.isSetAside) << row.call << row.error;
        EXPECT_EQ(exists(bad_), row.isSetAside) << row.call << row.error;
        std::filesystem::remove(bad_);
    }
    EXPECT_EQ(loggedByBase(4, stays()), 4U) << log_.dump();
}

TEST_F(InifileFileLetStand, IsSetAsideBesideWhatCanBeNoCopy) {
    const std::vector<std::function<void()>> kinds = {
        [this] { std::filesystem::create_directory(copy_); },
        [this] { ASSERT_EQ(::mkfifo(copy_.c_str(), 0600), 0); },
        [this] { std::filesystem::create_symlink(copy_, copy_); },
        [this] {
            writeFile(copy_, "");
            std::filesystem::resize_file(copy_, Qel::Settings::files::kLargestFile + 1);
        }};
    ::alarm(30);
    for (const auto& make : kinds) {
        make();
        writeFile(rw_, kDamaged);
        ASSERT_TRUE(reopen());
        EXPECT_EQ(readFile(bad_), kDamaged);
        EXPECT_FALSE(exists(rw_));
        std::filesystem::remove(bad_);
        std::filesystem::remove(copy_);
    }
    ::alarm(0);
    EXPECT_EQ(loggedByBase(4, stays()), 0U) << log_.dump();
}

TEST_F(InifileFileLetStand, ThatCannotBeReadIsNamed) {
    writeFile(rw_, kDamaged);
    create();
    FileCalls calls(dir_.path());
    calls.fail("open rw.ini", EIO, FileCalls::kForGood);
    ASSERT_TRUE(storage_->init(&manager_, nullptr));
    EXPECT_EQ(logged(5, "SettingStorageInifile: '" + rw_ + "' cannot be read: Input/output error"),
              2U)
        << log_.dump();
    EXPECT_EQ(readFile(bad_), kDamaged);
}

TEST_F(InifileFileLetStand, IsNotSetAsideForAShortageThatHitsItAlone) {
    for (const int shortage : {EMFILE, ENFILE, ENOMEM, EAGAIN, EINTR}) {
        build("#name = settings\n[]\na = int,7");
        const std::string healthy = readFile(rw_);
        create();
        {
            FileCalls calls(dir_.path());
            calls.fail("open rw.ini", shortage, FileCalls::kForGood);
            ASSERT_TRUE(storage_->init(&manager_, nullptr));
        }
        EXPECT_EQ(readFile(rw_), healthy) << shortage;
        EXPECT_FALSE(exists(bad_)) << shortage;
        EXPECT_EQ(loggedByBase(4, stays()), 1U) << shortage << log_.dump();
        setting("settings/a")->setValue(2);
        EXPECT_TRUE(storage_->save());
        EXPECT_EQ(readFile(rw_), kSaved) << shortage;
        EXPECT_EQ(readFile(bad_), healthy) << shortage;
        std::filesystem::remove(bad_);
        log_.clear();
    }
}

class InifileUnreadFile : public InifileFileLetStand {
protected:
    /// Starts up where the file, which is whole, cannot be opened, and changes a value.
    void loadUnread() {
        build("#name = settings\n[]\na = int,7");
        healthy_ = readFile(rw_);
        create();
        FileCalls calls(dir_.path());
        calls.fail("open rw.ini", EMFILE, FileCalls::kForGood);
        ASSERT_TRUE(storage_->init(&manager_, nullptr));
        setting("settings/a")->setValue(2);
    }

    std::string healthy_;
};

// Whatever fails while it is copied: the file is as it was, the storage dirty, nothing half-copied
// lies about, and the next save succeeds.
TEST_F(InifileUnreadFile, StaysWhenItCannotBeCopiedAndTheNextSaveTriesAgain) {
    const struct {
        const char* call;
        int error;
    } rows[] = {{"create rw.ini.bad", EIO},
                {"write rw.ini.bad", EIO},
                {"fdatasync rw.ini.bad", EIO},
                {"close rw.ini.bad", EIO}};
    for (const auto& row : rows) {
        loadUnread();
        FileCalls calls(dir_.path());
        calls.fail(row.call, row.error);
        calls.fail("link rw.ini rw.ini.bad", EPERM);
        EXPECT_FALSE(storage_->save()) << row.call;
        EXPECT_EQ(calls.struck().size(), 2U) << row.call;
        EXPECT_EQ(readFile(rw_), healthy_) << row.call;
        EXPECT_FALSE(exists(bad_)) << row.call;
        EXPECT_FALSE(exists(copy_)) << row.call;
        EXPECT_TRUE(storage_->dirty()) << row.call;
        EXPECT_EQ(loggedByBase(5, notSaved("unread", std::generic_category().message(row.error))),
                  1U)
            << row.call << log_.dump();
        EXPECT_TRUE(storage_->save()) << row.call;
        EXPECT_EQ(readFile(rw_), kSaved) << row.call;
        EXPECT_EQ(readFile(bad_), healthy_) << row.call;
        std::filesystem::remove(bad_);
        log_.clear();
    }
}

// The save would fail too, and the next start find nothing where the file was.
TEST_F(InifileUnreadFile, IsNotMovedForWantOfRoom) {
    for (const int error : {ENOSPC, EDQUOT}) {
        loadUnread();
        {
            FileCalls calls(dir_.path());
            calls.fail("write", error, FileCalls::kForGood);
            calls.fail("link", EPERM, FileCalls::kForGood);
            EXPECT_FALSE(storage_->save());
        }
        EXPECT_EQ(readFile(rw_), healthy_);
        EXPECT_FALSE(exists(bad_));
        EXPECT_EQ(loggedByBase(5, notSaved("unread", std::generic_category().message(error))), 1U)
            << log_.dump();
        ASSERT_TRUE(reopen());
        check({"settings/a = int,7"});
    }
}

// Each try of the background saver would take one of the hundred names.
TEST_F(InifileUnreadFile, IsNotCopiedAgainWhenOnlyTheEntryOfTheCopyIsNotSafeYet) {
    loadUnread();
    FileCalls calls(dir_.path());
    calls.fail("fsync .", EIO, 2);
    for (int save = 0; save < 2; ++save) {
        EXPECT_FALSE(storage_->save());
        EXPECT_EQ(readFile(rw_), healthy_);
        EXPECT_FALSE(exists(copy_));
    }
    EXPECT_EQ(loggedByBase(5, "'" + rw_ +
                                  "' is not saved, a later save tries again: the unread file "
                                  "there is kept, but not safe on the disk: Input/output error"),
              2U)
        << log_.dump();
    calls.clear();
    EXPECT_TRUE(storage_->save());
    EXPECT_LT(placeOf("fsync .", calls), placeOf("create rw.ini.tmp", calls));
    EXPECT_EQ(readFile(rw_), kSaved);
    EXPECT_EQ(readFile(bad_), healthy_);
    EXPECT_FALSE(exists(second_));
}

// What the disk could not read at the start it may be able to read later, even right after the
// start has given up: nobody knows of damage.
TEST_F(InifileUnreadFile, ThatCouldNotBeSetAsideEitherIsNotOverwrittenUnkept) {
    for (const int error : {EIO, EACCES, ESTALE}) {
        build("#name = settings\n[]\na = int,7");
        healthy_ = readFile(rw_);
        create();
        {
            FileCalls calls(dir_.path());
            calls.fail("open rw.ini", error, error == EIO ? 2 : FileCalls::kForGood);
            calls.fail("rename rw.ini rw.ini.bad", EIO);
            ASSERT_TRUE(storage_->init(&manager_, nullptr));
        }
        setting("settings/a")->setValue(2);
        FileCalls calls(dir_.path());
        calls.fail("create rw.ini.bad", EIO);
        calls.fail("link rw.ini rw.ini.bad", EPERM);
        EXPECT_FALSE(storage_->save()) << error;
        EXPECT_EQ(readFile(rw_), healthy_) << error;
        EXPECT_TRUE(storage_->save()) << error;
        EXPECT_EQ(readFile(rw_), kSaved) << error;
        EXPECT_EQ(readFile(bad_), healthy_) << error;
        std::filesystem::remove(bad_);
    }
}

TEST_F(InifileUnreadFile, ThatTheSecondLookFindsDamagedIsADamagedOne) {
    writeFile(rw_, kDamaged);
    create();
    {
        FileCalls calls(dir_.path());
        calls.fail("open rw.ini", EIO);
        calls.fail("rename rw.ini rw.ini.bad", EIO);
        ASSERT_TRUE(storage_->init(&manager_, nullptr));
    }
    setting("settings/a")->setValue(2);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(loggedByBase(4, keptAs(bad_)), 1U) << log_.dump();
}

TEST_F(InifileUnreadFile, StaysWhenEveryNameIsTaken) {
    for (int number = 0; number < 100; ++number) {
        writeFile(bad_ + (number == 0 ? "" : "." + std::to_string(number)), "kept before");
    }
    loadUnread();
    EXPECT_FALSE(storage_->save());
    EXPECT_EQ(readFile(rw_), healthy_);
    EXPECT_EQ(loggedByBase(5, notSaved("unread", "File exists")), 1U) << log_.dump();
}

TEST_F(InifileUnreadFile, StaysWhenItCanBeGivenNoOtherNameEither) {
    loadUnread();
    FileCalls calls(dir_.path());
    calls.fail("open rw.ini", EIO);
    calls.fail("link", EPERM);
    calls.fail("rename", EROFS);
    EXPECT_FALSE(storage_->save());
    EXPECT_EQ(calls.struck().size(), 3U);
    EXPECT_EQ(readFile(rw_), healthy_);
    EXPECT_FALSE(exists(bad_));
    EXPECT_EQ(loggedByBase(5, notSaved("unread", std::generic_category().message(EROFS))), 1U)
        << log_.dump();
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), kSaved);
    EXPECT_EQ(readFile(bad_), healthy_);
}

// As it has two names, what is written to the one is read under the other.
TEST_F(InifileUnreadFile, ThatGoesOnUnderAnotherNameIsNotWrittenThroughWhenTheSystemTellsNothing) {
    for (const std::string* unknown : {&rw_, &bad_}) {
        loadUnread();
        {
            FileCalls calls(dir_.path());
            calls.fail("open rw.ini", EIO);
            calls.fail("create rw.ini.tmp", ENOSPC);
            EXPECT_FALSE(storage_->save());
        }
        ASSERT_TRUE(std::filesystem::equivalent(rw_, bad_));
        StatHook::instance().failing = unknown->c_str();
        EXPECT_EQ(storage_->save(), unknown != &rw_);
        EXPECT_EQ(readFile(bad_), healthy_) << *unknown;
        StatHook::instance().reset();
        EXPECT_TRUE(storage_->save());
        EXPECT_EQ(readFile(rw_), kSaved) << *unknown;
        EXPECT_EQ(readFile(bad_), healthy_) << *unknown;
        std::filesystem::remove(bad_);
    }
}

TEST_F(InifileUnreadFile, TakesOneNameWhereNobodyMayDelete) {
    loadUnread();
    FileCalls calls(dir_.path());
    calls.fail("open rw.ini", EACCES, FileCalls::kForGood);
    calls.fail("unlink", EPERM, FileCalls::kForGood);
    calls.fail("rename", EPERM, FileCalls::kForGood);
    for (int save = 0; save < 2; ++save) {
        EXPECT_FALSE(storage_->save());
        EXPECT_EQ(readFile(rw_), healthy_);
        EXPECT_EQ(readFile(bad_), healthy_);
        EXPECT_FALSE(exists(second_));
    }
    EXPECT_EQ(readFile(copy_), kSaved);
    calls.mend();
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), kSaved);
    EXPECT_EQ(readFile(bad_), healthy_);
    EXPECT_FALSE(exists(second_));
}

TEST_F(InifileFileLetStand, ThatCouldNotBeLookedAtIsKeptAlthoughItIsWhole) {
    std::filesystem::remove(bad_);
    std::filesystem::create_symlink(rw_, rw_);
    ASSERT_TRUE(reopen());
    EXPECT_EQ(loggedByBase(5, "'" + rw_ + "' cannot be looked at, the defaults stand: " +
                                  std::generic_category().message(ELOOP)),
              1U)
        << log_.dump();
    std::filesystem::remove(rw_);
    build("#name = settings\n[]\na = int,7");
    const std::string healthy = readFile(rw_);
    setting("settings/a")->setValue(2);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), kSaved);
    EXPECT_EQ(readFile(bad_), healthy);
}

}  // namespace
