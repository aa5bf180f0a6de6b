// A damaged file that cannot be renamed to ".bad" stays in the place where the next save writes. A
// user found his settings gone so: a directory of that name was in the way.

#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>
#include <new>
#include <string>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "DamagedFileFixture.h"

namespace {

using testsupport::exists;
using testsupport::FileCalls;
using testsupport::readFile;
using testsupport::withCrc;
using testsupport::writeFile;

using InifileDamagedFile = testsupport::DamagedFileFixture;

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
    const FileCalls calls(dir_.path());
    EXPECT_TRUE(storage_->save());
    EXPECT_FALSE(exists(bad_ + ".2"));
    EXPECT_EQ(calls.count("fsync ."), 1U) << "an ordinary save";
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

TEST_F(InifileDamagedFile, IsLostWhenEveryNameIsTaken) {
    for (int number = 1; number < 100; ++number) {
        writeFile(bad_ + "." + std::to_string(number), "kept before");
    }
    loadDamaged();
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), kSaved);
    EXPECT_EQ(readFile(second_), "kept before");
    EXPECT_EQ(loggedByBase(5, lost("File exists")), 1U) << log_.dump();
    setting("settings/a")->setValue(3);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(loggedByBase(5, lost("File exists")), 1U) << log_.dump();
}

TEST_F(InifileDamagedFile, KeepsItsPermissionsInTheCopy) {
    loadDamaged();
    ASSERT_EQ(::chmod(rw_.c_str(), 0600), 0);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(permissionsOf(second_), 0600U);
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
    EXPECT_LT(placeOf("fdatasync rw.ini.bad.1", calls), placeOf("close rw.ini.bad.1", calls));
    EXPECT_LT(placeOf("close rw.ini.bad.1", calls), placeOf("fsync .", calls));
    EXPECT_LT(placeOf("fsync .", calls), placeOf("create rw.ini.tmp", calls));
    EXPECT_LT(placeOf("create rw.ini.tmp", calls), placeOf("create rw.ini", calls));
    EXPECT_TRUE(calls.allClosedOnExec());
}

// The save would suffer from the shortage too.
TEST_F(InifileDamagedFile, StaysWhenDescriptorsAreShortAndTheNextSaveTriesAgain) {
    loadDamaged();
    FileCalls calls(dir_.path());
    calls.fail("open rw.ini", EMFILE, 5);
    EXPECT_FALSE(storage_->save());
    EXPECT_EQ(calls.struck().size(), 5U);
    EXPECT_EQ(readFile(rw_), kDamaged);
    EXPECT_FALSE(exists(second_));
    EXPECT_FALSE(exists(copy_));
    EXPECT_TRUE(storage_->dirty());
    EXPECT_EQ(loggedByBase(5, notSaved("damaged", "Too many open files")), 1U) << log_.dump();
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), kSaved);
    EXPECT_EQ(readFile(second_), kDamaged);
}

// A storage that did not save for its sake would lose all later values too. Nothing half-copied
// lies about.
TEST_F(InifileDamagedFile, IsLostWhenItCannotBeCopied) {
    const struct {
        const char* call;
        int error;
    } rows[] = {{"create rw.ini.bad.1", EIO},
                {"write rw.ini.bad.1", EIO},
                {"fdatasync rw.ini.bad.1", EIO},
                {"close rw.ini.bad.1", EIO}};
    for (const auto& row : rows) {
        loadDamaged();
        FileCalls calls(dir_.path());
        calls.fail(row.call, row.error);
        calls.fail("link rw.ini rw.ini.bad.1", EPERM);
        EXPECT_TRUE(storage_->save()) << row.call;
        EXPECT_EQ(calls.struck().size(), 2U) << row.call;
        EXPECT_EQ(readFile(rw_), kSaved) << row.call;
        EXPECT_FALSE(exists(second_)) << row.call;
        EXPECT_FALSE(exists(copy_)) << row.call;
        EXPECT_FALSE(storage_->dirty()) << row.call;
        EXPECT_EQ(loggedByBase(5, lost(std::generic_category().message(row.error))), 1U)
            << row.call << log_.dump();
        setting("settings/a")->setValue(3);
        EXPECT_TRUE(storage_->save()) << row.call;
        EXPECT_FALSE(exists(second_)) << row.call << ": nothing stands there any more";
        log_.clear();
    }
}

// It is not lost before it is overwritten, and a save that does not come to that says nothing of
// it.
TEST_F(InifileDamagedFile, IsKeptByTheSaveThatSucceedsWhenTheOneBeforeCouldNotKeepIt) {
    for (const char* const refused : {"create", "create rw.ini.bad.1"}) {
        loadDamaged();
        FileCalls calls(dir_.path());
        calls.fail(refused, EROFS, FileCalls::kForGood);
        calls.fail("create rw.ini.tmp", EROFS, FileCalls::kForGood);
        calls.fail("link", EROFS, FileCalls::kForGood);
        for (int save = 0; save < 2; ++save) {
            EXPECT_FALSE(storage_->save());
            EXPECT_EQ(readFile(rw_), kDamaged);
        }
        EXPECT_EQ(calls.count("rename rw.ini rw.ini.bad.1"), 0U) << "it would be gone";
        EXPECT_EQ(loggedByBase(5, lost(std::generic_category().message(EROFS))), 0U) << log_.dump();
        calls.mend();
        EXPECT_TRUE(storage_->save());
        EXPECT_EQ(readFile(rw_), kSaved);
        EXPECT_EQ(readFile(second_), kDamaged);
        std::filesystem::remove(second_);
    }
}

TEST_F(InifileDamagedFile, IsKeptThoughItsCopyIsLost) {
    writeFile(copy_, "torn");
    loadDamaged();
    FileCalls calls(dir_.path());
    calls.fail("create rw.ini.tmp.bad", EIO);
    calls.fail("link rw.ini.tmp rw.ini.tmp.bad", EPERM);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(loggedByBase(5, lostCopy("Input/output error")), 1U) << log_.dump();
    EXPECT_EQ(readFile(rw_), kSaved);
    EXPECT_EQ(readFile(second_), kDamaged);
    EXPECT_FALSE(exists(copy_ + ".bad"));
}

// Nor is the torn copy that an earlier save has left beside it.
TEST_F(InifileDamagedFile, LosesItsCopyToNoSaveThatFailsToWriteAnother) {
    for (const char* const call : {"create", "write", "fdatasync"}) {
        writeFile(copy_, "torn");
        loadDamaged();
        FileCalls calls(dir_.path());
        calls.fail("create rw.ini.tmp.bad", EIO);
        calls.fail("link rw.ini.tmp rw.ini.tmp.bad", EPERM);
        calls.fail(std::string(call) + " rw.ini.tmp", EIO);
        calls.fail(std::string(call) + " rw.ini.tmp.new", EIO);
        EXPECT_FALSE(storage_->save()) << call;
        EXPECT_EQ(readFile(copy_), "torn") << call;
        EXPECT_FALSE(exists(copy_ + ".new")) << call;
        calls.mend();
        EXPECT_TRUE(storage_->save()) << call;
        EXPECT_EQ(readFile(copy_ + ".bad"), "torn") << call;
        EXPECT_EQ(loggedByBase(5, lostCopy("Input/output error")), 0U) << log_.dump();
        std::filesystem::remove(copy_ + ".bad");
        std::filesystem::remove(second_);
    }
}

// What has been set since the start is worth more than what is torn.
TEST_F(InifileDamagedFile, LosesItsCopyToASaveThatNeedsItsRoom) {
    for (const int error : {ENOSPC, EDQUOT}) {
        writeFile(copy_, "torn");
        loadDamaged();
        FileCalls calls(dir_.path());
        calls.fail("create rw.ini.tmp.bad", error);
        calls.fail("link rw.ini.tmp rw.ini.tmp.bad", EPERM);
        calls.fail("create rw.ini.tmp.new", error, FileCalls::kForGood);
        EXPECT_TRUE(storage_->save());
        EXPECT_EQ(calls.struck().size(), 2U);
        EXPECT_EQ(loggedByBase(5, lostCopy(std::generic_category().message(error))), 1U)
            << log_.dump();
        EXPECT_EQ(readFile(rw_), kSaved);
        EXPECT_EQ(readFile(second_), kDamaged);
        EXPECT_FALSE(exists(copy_ + ".bad"));
        std::filesystem::remove(second_);
    }
}

// The copy that lies there from then on is the new text.
TEST_F(InifileDamagedFile, MayBeKeptByTheSaveAfterTheOneThatHasReplacedItsCopy) {
    for (const char* const call : {"fsync .", "create rw.ini"}) {
        writeFile(copy_, "torn");
        loadDamaged();
        FileCalls calls(dir_.path());
        for (const char* const path : {"rw.ini", "rw.ini.tmp"}) {
            const std::string name = path;
            calls.fail("link " + name + " " + name + (name == "rw.ini" ? ".bad.1" : ".bad"), EPERM);
        }
        calls.fail("create rw.ini.bad.1", EIO);
        calls.fail("create rw.ini.tmp.bad", EIO);
        calls.fail(call, EIO);
        EXPECT_FALSE(storage_->save()) << call;
        EXPECT_EQ(calls.struck().size(), 5U) << call;
        EXPECT_EQ(readFile(copy_), kSaved) << call;
        EXPECT_EQ(readFile(rw_), kDamaged) << call;
        EXPECT_EQ(loggedByBase(5, lostCopy("Input/output error")), 1U) << log_.dump();
        EXPECT_EQ(loggedByBase(5, lost("Input/output error")), 0U) << log_.dump();
        EXPECT_TRUE(storage_->save()) << call;
        EXPECT_EQ(readFile(rw_), kSaved) << call;
        EXPECT_EQ(readFile(second_), kDamaged) << call;
        EXPECT_FALSE(exists(copy_ + ".bad")) << call;
        EXPECT_EQ(loggedByBase(5, lostCopy("Input/output error")), 1U) << log_.dump();
        EXPECT_EQ(loggedByBase(5, lost("Input/output error")), 0U) << log_.dump();
        std::filesystem::remove(second_);
        log_.clear();
    }
}

TEST_F(InifileDamagedFile, HoldsNoSaveUpWhenTheEntryOfItsCopyIsNotSafe) {
    loadDamaged();
    FileCalls calls(dir_.path());
    calls.fail("fsync .", EIO, FileCalls::kForGood);
    const bool synced = Storage::syncWrites(false);
    EXPECT_TRUE(storage_->save());
    Storage::syncWrites(synced);
    EXPECT_EQ(calls.struck().size(), 1U);
    EXPECT_EQ(readFile(rw_), kSaved);
    EXPECT_EQ(readFile(second_), kDamaged);
    EXPECT_EQ(loggedByBase(5, "'" + rw_ +
                                  "': the damaged file there is kept, but not safe on the disk: "
                                  "Input/output error"),
              1U)
        << log_.dump();
}

// Each try of the background saver would take one of the hundred names.
TEST_F(InifileDamagedFile, IsNotCopiedAgainWhenTheSaveFailsAfterThat) {
    loadDamaged();
    FileCalls calls(dir_.path());
    calls.fail("create rw.ini.tmp", ENOSPC, 2);
    for (int save = 0; save < 2; ++save) {
        EXPECT_FALSE(storage_->save());
        EXPECT_EQ(readFile(rw_), kDamaged);
    }
    EXPECT_EQ(calls.count("fsync ."), 1U);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), kSaved);
    EXPECT_EQ(readFile(second_), kDamaged);
    EXPECT_FALSE(exists(bad_ + ".2"));
    EXPECT_EQ(loggedByBase(4, keptAs(second_)), 1U) << log_.dump();
}

TEST_F(InifileDamagedFile, IsCopiedInSpiteOfInterruptions) {
    loadDamaged();
    FileCalls calls(dir_.path());
    calls.fail("read rw.ini", EINTR, 3);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(calls.struck().size(), 3U);
    EXPECT_EQ(readFile(second_), kDamaged);
    EXPECT_EQ(calls.count("link rw.ini rw.ini.bad.1"), 0U);
}

TEST_F(InifileDamagedFile, GoesOnUnderAnotherNameWhenItCannotBeRead) {
    for (const char* const call : {"open rw.ini", "read rw.ini"}) {
        loadDamaged();
        FileCalls calls(dir_.path());
        calls.fail(call, EIO, FileCalls::kForGood);
        EXPECT_TRUE(storage_->save()) << call;
        EXPECT_EQ(readFile(rw_), kSaved) << call;
        EXPECT_EQ(readFile(second_), kDamaged) << call;
        EXPECT_FALSE(exists(bad_ + ".2")) << call;
        EXPECT_FALSE(exists(copy_ + ".new")) << call;
        EXPECT_EQ(loggedByBase(4, keptAs(second_)), 1U) << call << log_.dump();
        const std::string replacement = "rename rw.ini.tmp.new rw.ini";
        EXPECT_LT(placeOf("link rw.ini rw.ini.bad.1", calls), placeOf("fsync .", calls)) << call;
        EXPECT_LT(placeOf("fsync .", calls), placeOf("create rw.ini.tmp", calls)) << call;
        EXPECT_LT(placeOf("close rw.ini.tmp", calls), placeOf(replacement, calls)) << call;
        EXPECT_EQ(calls.count("create rw.ini") + calls.count("unlink rw.ini"), 0U) << call;
        EXPECT_EQ(calls.count("fsync ."), 3U) << "the other name, the copy, the new file";
        EXPECT_TRUE(calls.allClosedOnExec());
        std::filesystem::remove(second_);
        log_.clear();
    }
}

// Another name takes no room.
TEST_F(InifileDamagedFile, GoesOnUnderAnotherNameWhenItsCopyCannotBeWritten) {
    for (const char* const call : {"create rw.ini.bad.1", "write rw.ini.bad.1",
                                   "fdatasync rw.ini.bad.1", "close rw.ini.bad.1"}) {
        for (const int error : {ENOSPC, EDQUOT, EIO}) {
            loadDamaged();
            FileCalls calls(dir_.path());
            calls.fail(call, error);
            EXPECT_TRUE(storage_->save()) << call;
            EXPECT_EQ(calls.struck().size(), 1U) << call;
            EXPECT_EQ(readFile(rw_), kSaved) << call;
            EXPECT_EQ(readFile(second_), kDamaged) << call;
            EXPECT_EQ(calls.count("link rw.ini rw.ini.bad.1"), 1U) << call;
            std::filesystem::remove(second_);
        }
    }
}

TEST_F(InifileDamagedFile, LeavesItsAccessToTheFileThatTakesItsPlaceAndItsOwnerMayReadThat) {
    constexpr uid_t kOwner = 54321;
    const bool isPrivileged = ::geteuid() == 0;
    for (const mode_t permissions : {0600U, 0640U, 0U}) {
        loadDamaged();
        ASSERT_EQ(::chmod(rw_.c_str(), permissions), 0);
        ASSERT_TRUE(!isPrivileged || ::chown(rw_.c_str(), kOwner, kOwner) == 0);
        FileCalls calls(dir_.path());
        calls.fail("open rw.ini", EACCES, FileCalls::kForGood);
        calls.fail("rename rw.ini.tmp.new rw.ini", EIO);
        EXPECT_FALSE(storage_->save());
        EXPECT_EQ(permissionsOf(copy_), permissions | 0400U);
        EXPECT_TRUE(storage_->save());
        struct stat status = {};
        ASSERT_EQ(::stat(rw_.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, permissions | 0600U);
        EXPECT_TRUE(!isPrivileged || (status.st_uid == kOwner && status.st_gid == kOwner));
        std::filesystem::remove(second_);
    }
}

TEST_F(InifileDamagedFile, IsLostWhenItCanBeGivenNoOtherNameEither) {
    loadDamaged();
    FileCalls calls(dir_.path());
    calls.fail("open rw.ini", EIO);
    calls.fail("link", EPERM);
    calls.fail("rename", EROFS);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(calls.struck().size(), 3U);
    EXPECT_EQ(readFile(rw_), kSaved);
    EXPECT_FALSE(exists(second_));
    EXPECT_EQ(loggedByBase(5, lost(std::generic_category().message(EROFS))), 1U) << log_.dump();
}

// The other names of what is kept are not overwritten, nor are more of them used up.
TEST_F(InifileDamagedFile, TakesOneNameWhereNobodyMayDelete) {
    loadDamaged();
    FileCalls calls(dir_.path());
    calls.fail("open rw.ini", EACCES, FileCalls::kForGood);
    calls.fail("unlink", EPERM, FileCalls::kForGood);
    calls.fail("rename", EPERM, FileCalls::kForGood);
    for (int save = 0; save < 2; ++save) {
        EXPECT_FALSE(storage_->save());
        EXPECT_EQ(readFile(rw_), kDamaged);
        EXPECT_EQ(readFile(second_), kDamaged);
        EXPECT_FALSE(exists(bad_ + ".2"));
    }
    EXPECT_EQ(readFile(copy_), kSaved);
    calls.mend();
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), kSaved);
    EXPECT_EQ(readFile(second_), kDamaged);
    EXPECT_FALSE(exists(bad_ + ".2"));
}

// The power went before the save that has kept it could replace it. One that wrote through both
// names would destroy what was to be kept.
TEST_F(InifileDamagedFile, ThatACutSaveHasLeftUnderTwoNamesLosesTheFirst) {
    std::filesystem::remove(bad_);
    writeFile(rw_, kDamaged);
    std::filesystem::create_hard_link(rw_, bad_);
    ASSERT_TRUE(reopen());
    EXPECT_FALSE(exists(rw_));
    setting("settings/a")->setValue(2);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), kSaved);
    EXPECT_EQ(readFile(bad_), kDamaged);
}

TEST_F(InifileDamagedFile, ThatACutSaveHasLeftUnderTwoNamesKeepsBothUntilTheyAreSafe) {
    std::filesystem::remove(bad_);
    writeFile(rw_, kDamaged);
    std::filesystem::create_hard_link(rw_, bad_);
    create();
    {
        FileCalls calls(dir_.path());
        calls.fail("fsync .", EIO);
        ASSERT_TRUE(storage_->init(&manager_, nullptr));
    }
    EXPECT_EQ(readFile(rw_), kDamaged);
    EXPECT_EQ(loggedByBase(4, stays()), 1U) << log_.dump();
    setting("settings/a")->setValue(2);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), kSaved);
    EXPECT_EQ(readFile(bad_), kDamaged);
    EXPECT_FALSE(exists(second_));
}

TEST_F(InifileDamagedFile, ThatACutSaveHasLeftUnderTwoNamesTakesNoThird) {
    loadDamaged();
    std::filesystem::create_hard_link(rw_, second_);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), kSaved);
    EXPECT_EQ(readFile(second_), kDamaged);
    EXPECT_FALSE(exists(bad_ + ".2"));
}

TEST_F(InifileDamagedFile, ThatACutSaveHasLeftUnderTwoNamesBesideAGoodCopyIsNotOverwritten) {
    for (const std::string& name : {second_, bad_ + ".99"}) {
        writeFile(rw_, kDamaged);
        std::filesystem::create_hard_link(rw_, name);
        buildCopy("#name = settings\n[]\na = int,7");
        ASSERT_TRUE(reopen());
        check({"settings/a = int,7"});
        setting("settings/a")->setValue(2);
        EXPECT_TRUE(storage_->save());
        EXPECT_EQ(readFile(rw_), kSaved);
        EXPECT_EQ(readFile(name), kDamaged);
    }
}

// Moved, it would be missing should the save fail then.
TEST_F(InifileDamagedFile, OfTwoNamesIsCopiedAndStaysWhereItCanHaveNoThird) {
    loadDamaged();
    std::filesystem::create_hard_link(rw_, dir_.file("elsewhere"));
    FileCalls calls(dir_.path());
    calls.fail("link", EPERM, FileCalls::kForGood);
    calls.fail("create rw.ini.tmp", EIO);
    EXPECT_FALSE(storage_->save());
    EXPECT_EQ(readFile(rw_), kDamaged);
    EXPECT_EQ(readFile(second_), kDamaged);
    EXPECT_EQ(loggedByBase(4, keptAs(second_)), 1U) << log_.dump();
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), kSaved);
    EXPECT_EQ(readFile(second_), kDamaged);
    EXPECT_FALSE(exists(bad_ + ".2"));
}

// What it leads to may be somebody else's: the link goes on under the other name.
TEST_F(InifileDamagedFile, ThatIsALinkIsNotWrittenThrough) {
    writeFile(dir_.file("elsewhere"), kDamaged);
    std::filesystem::create_symlink("elsewhere", rw_);
    ASSERT_TRUE(reopen());
    setting("settings/a")->setValue(2);
    FileCalls calls(dir_.path());
    calls.fail("open rw.ini", EIO, FileCalls::kForGood);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), kSaved);
    EXPECT_EQ(readFile(dir_.file("elsewhere")), kDamaged);
    EXPECT_EQ(readFile(second_), kDamaged);
    EXPECT_FALSE(std::filesystem::is_symlink(rw_));
}

TEST_F(InifileDamagedFile, ThatIsACopyUnderTwoNamesLosesTheFirst) {
    build("#name = settings\n[]\na = int,1");
    writeFile(copy_, kDamaged);
    std::filesystem::create_hard_link(copy_, copy_ + ".bad.1");
    ASSERT_TRUE(reopen());
    setting("settings/a")->setValue(2);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), kSaved);
    EXPECT_EQ(readFile(copy_ + ".bad.1"), kDamaged);
    EXPECT_FALSE(exists(copy_));
}

// FAT has no second names.
TEST_F(InifileDamagedFile, IsMovedToANameThatIsFreeAlsoWhereThereAreNoSecondNames) {
    for (const bool hasLinks : {true, false}) {
        writeFile(second_, "kept before");
        std::filesystem::create_symlink("nowhere", bad_ + ".2");
        loadDamaged();
        FileCalls calls(dir_.path());
        calls.fail("open rw.ini", EIO);
        calls.fail("link", EPERM, hasLinks ? 0 : FileCalls::kForGood);
        EXPECT_TRUE(storage_->save()) << hasLinks;
        EXPECT_EQ(readFile(rw_), kSaved) << hasLinks;
        EXPECT_EQ(readFile(second_), "kept before") << hasLinks;
        EXPECT_TRUE(std::filesystem::is_symlink(bad_ + ".2")) << hasLinks;
        EXPECT_EQ(readFile(bad_ + ".3"), kDamaged) << hasLinks;
        EXPECT_EQ(calls.count("rename rw.ini rw.ini.bad.3"), hasLinks ? 0U : 1U);
        std::filesystem::remove(bad_ + ".2");
        std::filesystem::remove(bad_ + ".3");
    }
}

TEST_F(InifileDamagedFile, IsKeptForNobodyElse) {
    loadDamaged();
    ASSERT_EQ(::chmod(rw_.c_str(), 0640), 0);
    FileCalls calls(dir_.path());
    calls.fail("fchown rw.ini.bad.1", EPERM, 2);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(permissionsOf(second_), 0600U) << "its group may be another one";
    EXPECT_LT(placeOf("fchmod rw.ini.bad.1", calls), placeOf("write rw.ini.bad.1", calls));
    writeFile(rw_, kDamaged);
    loadDamaged();
    calls.clear();
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(permissionsOf(bad_ + ".2"), 0640U);
    EXPECT_LT(placeOf("fchown rw.ini.bad.2", calls), placeOf("fchmod rw.ini.bad.2", calls));
}

// The save has looked before, when there was no reset yet.
TEST_F(InifileDamagedFile, IsNotCopiedByASaveThatAResetStops) {
    loadDamaged();
    {
        FileCalls calls(dir_.path());
        calls.observe([this](const testsupport::FileEffect& effect) {
            if (effect.call == "lock .") {
                manager_.setSettingsOperationMode(Qel::Settings::SOM_ResettingToDefault);
            }
        });
        EXPECT_TRUE(storage_->save());
    }
    EXPECT_TRUE(storage_->dirty());
    EXPECT_EQ(readFile(rw_), kDamaged);
    EXPECT_FALSE(exists(second_));
    EXPECT_TRUE(storage_->resetToDefaults());
    EXPECT_EQ(readFile(second_), kDamaged);
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

// This process holds the defaults in place of what the other one has saved.
TEST_F(InifileDamagedFile, ThatAnotherProcessHasRestoredIsKept) {
    loadDamaged();
    build("#name = settings\n[]\na = int,7");
    const std::string restored = readFile(rw_);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), kSaved);
    EXPECT_EQ(readFile(second_), restored);
}

}  // namespace
