// A damaged file that cannot be renamed to ".bad" stays in the place where the next save writes. A
// user found his settings gone so: a directory of that name was in the way.

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <new>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <vector>

#include "FileCalls.h"
#include "IniStorageFixture.h"
#include "files/DirectoryLock.h"

namespace {

using Qel::Settings::files::directoryLockWait;
using Qel::Settings::files::DirectoryLockWait;
using testsupport::exists;
using testsupport::FileCalls;
using testsupport::readFile;
using testsupport::withCrc;
using testsupport::writeFile;

const std::string kDefaults = "#name = settings\na = int,0\n";
const std::string kDamaged =
    "#name = settings\n[]\na = int,1\n" + std::string(100000, 'x') + '\0' + "end";
const std::string kSaved = withCrc("#name = settings\n#savepolicy = ondemand\n[]\na = int,2");

class InifileDamagedFile : public testsupport::IniStorageFixture {
protected:
    InifileDamagedFile() {
        buildDefaults(kDefaults);
        std::filesystem::create_directory(bad_);
    }

    /// Starts up over a damaged file that stays, and changes a value.
    void loadDamaged() {
        writeFile(rw_, kDamaged);
        ASSERT_TRUE(reopen());
        ASSERT_EQ(readFile(rw_), kDamaged);
        setting("settings/a")->setValue(2);
    }

    std::string stays() const {
        return "'" + rw_ + "' stays where it is; a save would copy it first.";
    }
    std::string keptAs(const std::string& path) const {
        return "The damaged file '" + rw_ + "' is kept as '" + path + "'.";
    }
    std::string notSaved(const std::string& reason) const {
        return "'" + rw_ +
               "' is not saved, a later save tries again: the damaged file there can neither be "
               "set aside nor copied: " +
               reason;
    }

    std::string second_ = bad_ + ".1";
};

TEST_F(InifileDamagedFile, IsCopiedByTheSaveThatWouldOverwriteIt) {
    loadDamaged();
    EXPECT_EQ(loggedByBase(4, stays()), 1U) << log_.dump();
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), kSaved);
    EXPECT_EQ(readFile(second_), kDamaged);
    EXPECT_TRUE(std::filesystem::is_empty(bad_));
    EXPECT_EQ(loggedByBase(4, keptAs(second_)), 1U) << log_.dump();
}

TEST_F(InifileDamagedFile, IsCopiedOnceAndNotByAStartThatSavesNothing) {
    loadDamaged();
    loadDamaged();
    EXPECT_FALSE(exists(second_));
    EXPECT_TRUE(storage_->save());
    setting("settings/a")->setValue(3);
    EXPECT_TRUE(storage_->save());
    EXPECT_FALSE(exists(bad_ + ".2"));
}

TEST_F(InifileDamagedFile, GoesToBadWhenNothingIsInTheWayAnyMore) {
    loadDamaged();
    std::filesystem::remove(bad_);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(bad_), kDamaged);
    EXPECT_FALSE(exists(second_));
}

TEST_F(InifileDamagedFile, ReplacesNothingThatWasKeptBefore) {
    writeFile(second_, "kept before");
    std::filesystem::create_symlink("nowhere", bad_ + ".2");
    loadDamaged();
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(second_), "kept before");
    EXPECT_EQ(readFile(bad_ + ".3"), kDamaged);
}

TEST_F(InifileDamagedFile, StaysWhenEveryNameIsTaken) {
    for (int number = 1; number < 100; ++number) {
        writeFile(bad_ + "." + std::to_string(number), "kept before");
    }
    loadDamaged();
    EXPECT_FALSE(storage_->save());
    EXPECT_EQ(readFile(rw_), kDamaged);
    EXPECT_EQ(loggedByBase(5, notSaved("File exists")), 1U) << log_.dump();
}

TEST_F(InifileDamagedFile, KeepsItsPermissionsInTheCopy) {
    loadDamaged();
    ASSERT_EQ(::chmod(rw_.c_str(), 0600), 0);
    EXPECT_TRUE(storage_->save());
    struct stat status;
    ASSERT_EQ(::stat(second_.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST_F(InifileDamagedFile, IsCopiedByAResetToo) {
    loadDamaged();
    EXPECT_TRUE(storage_->resetToDefaults());
    EXPECT_EQ(readFile(second_), kDamaged);
    EXPECT_EQ(readFile(rw_), withCrc("#name = settings\n#savepolicy = ondemand\n[]\na = int,0"));
}

TEST_F(InifileDamagedFile, ThatIsGoneByThenHoldsNothingUp) {
    loadDamaged();
    std::filesystem::remove(rw_);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), kSaved);
    EXPECT_FALSE(exists(second_));
}

// Nobody reads or writes the pipe: to open it the plain way would be to wait for that.
TEST_F(InifileDamagedFile, ThatIsAPipeHasNothingToBeKept) {
    ASSERT_EQ(::mkfifo(rw_.c_str(), 0600), 0);
    ::alarm(30);
    ASSERT_TRUE(reopen());
    ASSERT_EQ(loggedByBase(4, stays()), 1U) << log_.dump();
    setting("settings/a")->setValue(2);
    EXPECT_FALSE(storage_->save());
    EXPECT_TRUE(storage_->dirty());
    EXPECT_TRUE(std::filesystem::is_fifo(rw_));
    EXPECT_FALSE(exists(second_));
    EXPECT_EQ(readFile(copy_), kSaved);
    std::filesystem::remove(rw_);
    EXPECT_TRUE(storage_->save());
    ::alarm(0);
    EXPECT_EQ(readFile(rw_), kSaved);
    EXPECT_FALSE(exists(second_));
    EXPECT_FALSE(exists(copy_));
}

TEST_F(InifileDamagedFile, IsNoConcernOfATextThatGoesElsewhere) {
    loadDamaged();
    EXPECT_TRUE(storage_->saveFile(dir_.file("export.ini")));
    EXPECT_EQ(readFile(dir_.file("export.ini")), kSaved);
    EXPECT_FALSE(exists(second_));
    EXPECT_FALSE(exists(dir_.file("export.ini.bad")));
}

TEST_F(InifileDamagedFile, IsOnTheDiskAsACopyBeforeItIsOverwritten) {
    loadDamaged();
    const FileCalls calls(dir_.path());
    EXPECT_TRUE(storage_->save());
    const std::vector<std::string>& made = calls.calls();
    const auto place = [&](const std::string& call) {
        const auto found = std::find(made.begin(), made.end(), call);
        EXPECT_NE(found, made.end()) << call;
        return found;
    };
    EXPECT_LT(place("fdatasync rw.ini.bad.1"), place("close rw.ini.bad.1"));
    EXPECT_LT(place("close rw.ini.bad.1"), place("fsync ."));
    EXPECT_LT(place("fsync ."), place("create rw.ini.tmp"));
    EXPECT_LT(place("create rw.ini.tmp"), place("create rw.ini"));
    EXPECT_TRUE(calls.allClosedOnExec());
}

// Whatever fails while it is copied: the file is as it was, the storage dirty, nothing half-copied
// lies about, and the next save succeeds.
TEST_F(InifileDamagedFile, StaysWhenItCannotBeCopiedAndTheNextSaveTriesAgain) {
    for (const std::string call :
         {"open rw.ini", "create rw.ini.bad.1", "read", "write rw.ini.bad.1",
          "fdatasync rw.ini.bad.1", "close rw.ini.bad.1", "fsync ."}) {
        // Before it is read to be copied it is read to see whether it is still damaged.
        const int times = call == "open rw.ini" || call == "read" ? 2 : 1;
        loadDamaged();
        FileCalls calls(dir_.path());
        calls.fail(call, EIO, times);
        EXPECT_FALSE(storage_->save()) << call;
        EXPECT_EQ(calls.struck().size(), static_cast<std::size_t>(times)) << call;
        EXPECT_EQ(readFile(rw_), kDamaged) << call;
        EXPECT_FALSE(exists(second_)) << call;
        EXPECT_FALSE(exists(copy_)) << call;
        EXPECT_TRUE(storage_->dirty()) << call;
        EXPECT_EQ(loggedByBase(5, notSaved("Input/output error")), 1U) << call << log_.dump();
        EXPECT_TRUE(storage_->save()) << call;
        EXPECT_EQ(readFile(rw_), kSaved) << call;
        EXPECT_EQ(readFile(second_), kDamaged) << call;
        std::filesystem::remove(second_);
        log_.clear();
    }
}

struct Large {};
bool memoryIsShort = true;

boost::shared_ptr<Qel::Settings::SettingHolder> loadLarge(std::string name, const std::string&) {
    if (memoryIsShort) {
        throw std::bad_alloc();
    }
    return boost::make_shared<Qel::Settings::SettingHolder>(name, Large());
}

TEST_F(InifileDamagedFile, IsNoneThatTheMemoryWasTooShortFor) {
    std::filesystem::remove(bad_);
    types_->registerType(
        typeid(Large), "large", loadLarge,
        [](boost::shared_ptr<Qel::Settings::SettingHolder>) { return std::string("text"); });
    build("#name = settings\n[]\na = int,1\nb = large,text");
    const std::string healthy = readFile(rw_);
    ASSERT_TRUE(reopen());
    EXPECT_EQ(readFile(rw_), healthy);
    EXPECT_EQ(errInfo(), "");
    EXPECT_EQ(loggedByBase(4, stays()), 1U) << log_.dump();
    setting("settings/a")->setValue(2);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), kSaved);
    EXPECT_EQ(readFile(bad_), healthy);
    memoryIsShort = false;
    writeFile(rw_, healthy);
    ASSERT_TRUE(reopen());
    check({"settings/a = int,1", "settings/b = large,text"});
}

// The copy of an interrupted save may be the only whole text. One that cannot be read at start-up
// is neither abandoned nor overwritten.
class InifileUnreadCopy : public InifileDamagedFile {
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
}

TEST_F(InifileUnreadCopy, IsMovedWhenItCannotBeReadForTheSaveEither) {
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
    calls.fail("open rw.ini.tmp", EIO);
    calls.fail("rename rw.ini.tmp rw.ini.tmp.bad", EIO);
    EXPECT_FALSE(storage_->save());
    EXPECT_EQ(readFile(rw_), "torn");
    EXPECT_EQ(readFile(copy_), good_);
    EXPECT_TRUE(storage_->dirty());
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(copy_ + ".bad"), good_);
}

TEST_F(InifileUnreadCopy, OfAWholeFileCostsNothing) {
    build("#name = settings\n[]\na = int,5");
    loadUnread(EIO);
    check({"settings/a = int,5"});
    setting("settings/a")->setValue(2);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), kSaved);
    EXPECT_FALSE(exists(bad_));
    EXPECT_FALSE(exists(copy_ + ".bad"));
}

// Of two processes that start at once the second finds the file gone.
TEST_F(InifileDamagedFile, ThatIsGoneBeforeItIsSetAsideDoesNotStand) {
    writeFile(rw_, kDamaged);
    create();
    {
        FileCalls calls(dir_.path());
        calls.fail("rename rw.ini rw.ini.bad", ENOENT);
        ASSERT_TRUE(storage_->init(&manager_, nullptr));
    }
    EXPECT_EQ(loggedByBase(4, stays()), 0U) << log_.dump();
    setting("settings/a")->setValue(2);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), kSaved);
    EXPECT_FALSE(exists(second_));
}

TEST_F(InifileDamagedFile, ThatAnotherProcessHasRestoredIsNotKept) {
    loadDamaged();
    build("#name = settings\n[]\na = int,7");
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), kSaved);
    EXPECT_FALSE(exists(second_));
}

TEST_F(InifileDamagedFile, IsNotSetAsideWhileSomebodyElseHasTheDirectory) {
    std::filesystem::remove(bad_);
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
}

TEST_F(InifileDamagedFile, ThatCouldNotBeLookedAtIsKeptAlthoughItIsWhole) {
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
