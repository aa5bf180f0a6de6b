#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "FileCalls.h"
#include "Files.h"
#include "StatHook.h"
#include "TempDir.h"
#include "files/DirectoryLock.h"
#include "files/SafeWrite.h"
#include "files/WholeFile.h"

namespace {

using Qel::Settings::files::DirectoryLock;
using Qel::Settings::files::WriteResult;
using Qel::Settings::files::writeThroughCopy;
using testsupport::exists;
using testsupport::FileCalls;
using testsupport::readFile;
using testsupport::writeFile;

class SafeWrite : public testing::Test {
protected:
    WriteResult write(const std::string& data, bool copyIsPrecious = false, bool durable = true) {
        const DirectoryLock directory(dir_.path(), DirectoryLock::Mode::kExclusive);
        return writeThroughCopy({file_, copy_, data, copyIsPrecious, durable}, directory);
    }

    /// Writes "new" while this call fails with EIO, and then the tidying up with another error.
    WriteResult writeWhileFailing(const std::string& call, bool copyIsPrecious = false) {
        FileCalls calls(dir_.path());
        calls.fail(call, EIO);
        calls.fail("unlink x.ini.tmp", EPERM);
        calls.fail("unlink x.ini.tmp.new", EPERM);
        calls.fail("create x.ini.tmp", EPERM, 1, 1);
        errno = 0;
        const WriteResult result = write("new", copyIsPrecious);
        reason_ = errno;
        EXPECT_GT(calls.count(call), 0U) << call;
        return result;
    }

    static mode_t permissionsOf(const std::string& path) {
        struct stat status = {};
        EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
        return status.st_mode & 07777U;
    }

    testsupport::TempDir dir_;
    std::string file_ = dir_.file("x.ini");
    std::string copy_ = dir_.file("x.ini.tmp");
    std::string aside_ = copy_ + ".new";
    int reason_ = 0;
};

TEST_F(SafeWrite, ACopyOfWhichTheSystemTellsNothingIsAsPrivateAsItsFileAndTakenBack) {
    for (const std::string call : {"create x.ini", "fdatasync x.ini.tmp"}) {
        writeFile(file_, "old");
        writeFile(copy_, "torn");
        ASSERT_EQ(::chmod(file_.c_str(), 0600), 0);
        ASSERT_EQ(::chmod(copy_.c_str(), 0644), 0);
        FileCalls calls(dir_.path());
        calls.fail(call, EIO);
        testsupport::StatHook::instance().failing = "";
        EXPECT_EQ(write("new"),
                  call == "create x.ini" ? WriteResult::kFileFailed : WriteResult::kCopyFailed);
        testsupport::StatHook::instance().reset();
        EXPECT_EQ(readFile(copy_), call == "create x.ini" ? "new" : "");
        EXPECT_EQ(permissionsOf(copy_), 0600U);
    }
}

TEST_F(SafeWrite, TheFileHoldsTheDataAndNothingElseIsLeft) {
    for (const std::string& data :
         {std::string(), std::string("a\0b", 3), std::string(3000000, 'x'), std::string("short")}) {
        for (const bool precious : {false, true}) {
            EXPECT_EQ(write(data, precious), WriteResult::kDone);
            EXPECT_EQ(readFile(file_), data);
            EXPECT_FALSE(exists(copy_));
            EXPECT_FALSE(exists(aside_));
        }
    }
}

TEST_F(SafeWrite, ACopyThatLiesThereIsReplaced) {
    writeFile(file_, "old");
    for (const bool precious : {false, true}) {
        writeFile(copy_, "a copy that is longer than the new data");
        EXPECT_EQ(write("new", precious), WriteResult::kDone);
        EXPECT_EQ(readFile(file_), "new");
        EXPECT_FALSE(exists(copy_));
    }
}

TEST_F(SafeWrite, AFailureOfTheCopyLeavesTheFileAndNoCopy) {
    for (const char* const call : {"create x.ini.tmp", "write x.ini.tmp", "fdatasync x.ini.tmp",
                                   "close x.ini.tmp", "fsync ."}) {
        writeFile(file_, "old");
        FileCalls calls(dir_.path());
        calls.fail(call, EIO);
        errno = 0;
        EXPECT_EQ(write("new"), WriteResult::kCopyFailed) << call;
        EXPECT_EQ(errno, EIO) << call;
        EXPECT_EQ(readFile(file_), "old") << call;
        EXPECT_FALSE(exists(copy_)) << call;
        EXPECT_EQ(calls.count("create x.ini"), 0U) << call;
    }
}

TEST_F(SafeWrite, AWholeCopyThatFailedIsTakenBackForGood) {
    using Calls = std::vector<std::string>;
    writeFile(file_, "old");
    FileCalls calls(dir_.path());
    calls.fail("fdatasync x.ini.tmp", EIO);
    EXPECT_EQ(write("new"), WriteResult::kCopyFailed);
    EXPECT_EQ(calls.calls(),
              (Calls{"open .", "lock .", "create x.ini.tmp", "fchown x.ini.tmp", "fchmod x.ini.tmp",
                     "write x.ini.tmp", "fdatasync x.ini.tmp", "unlink x.ini.tmp", "fsync .",
                     "close x.ini.tmp", "unlock .", "close ."}));
    writeFile(copy_, "torn");
    calls.fail("fdatasync x.ini.tmp", EIO);
    calls.clear();
    EXPECT_EQ(write("new"), WriteResult::kCopyFailed);
    EXPECT_EQ(calls.calls(), (Calls{"open .", "lock .", "create x.ini.tmp", "fchown x.ini.tmp",
                                    "fchmod x.ini.tmp", "write x.ini.tmp", "fdatasync x.ini.tmp",
                                    "create x.ini.tmp", "fdatasync x.ini.tmp", "close x.ini.tmp",
                                    "close x.ini.tmp", "unlock .", "close ."}));
}

// The owner of the file and the members of its group who recover from the copy must be able to read
// it, also when it was root's save that was cut off.
TEST_F(SafeWrite, TheCopyBelongsToTheOwnerAndTheGroupOfItsFile) {
    constexpr uid_t kOwner = 54321;
    constexpr gid_t kGroup = 12345;
    writeFile(file_, "old");
    // Without that right there is no file of somebody else's, and nothing to see.
    if (::chown(file_.c_str(), kOwner, kGroup) != 0) {
        GTEST_SKIP() << "only a privileged process may give files away";
    }
    ASSERT_EQ(::chmod(file_.c_str(), 0640), 0);
    for (const bool precious : {false, true}) {
        EXPECT_EQ(writeWhileFailing("write x.ini", precious), WriteResult::kFileFailed);
        struct stat status;
        ASSERT_EQ(::stat(copy_.c_str(), &status), 0);
        EXPECT_EQ(status.st_uid, kOwner);
        EXPECT_EQ(status.st_gid, kGroup);
        EXPECT_EQ(status.st_mode & 0777U, 0640U);
    }
}

// The owner of the directory could have any file given to him.
TEST_F(SafeWrite, WhereALinkInPlaceOfTheCopyLeadsKeepsItsOwner) {
    writeFile(file_, "old");
    writeFile(dir_.file("elsewhere"), "");
    std::filesystem::create_symlink("elsewhere", copy_);
    if (::chown(file_.c_str(), 54321, 12345) != 0) {
        GTEST_SKIP() << "only a privileged process may give files away";
    }
    EXPECT_EQ(write("new"), WriteResult::kDone);
    struct stat status;
    ASSERT_EQ(::stat(dir_.file("elsewhere").c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, ::geteuid());
    EXPECT_EQ(readFile(dir_.file("elsewhere")), "new");
}

TEST_F(SafeWrite, WhatHasAnotherNameThanThatOfTheCopyKeepsItsOwner) {
    writeFile(file_, "old");
    const std::string elsewhere = dir_.file("elsewhere");
    writeFile(elsewhere, "");
    std::filesystem::create_hard_link(elsewhere, copy_);
    if (::chown(file_.c_str(), 54321, 12345) != 0) {
        GTEST_SKIP() << "only a privileged process may give files away";
    }
    FileCalls calls(dir_.path());
    calls.fail("unlink x.ini.tmp", EIO);
    EXPECT_EQ(write("new"), WriteResult::kDone);
    EXPECT_EQ(calls.struck().size(), 1U);
    struct stat status = {};
    ASSERT_EQ(::stat(elsewhere.c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, ::geteuid());
}

TEST_F(SafeWrite, ThePreciousCopyAndTheFileAreToldAsSoonAsTheyAreGone) {
    const struct {
        const char* failing;
        WriteResult result;
        const char* told;
    } rows[] = {{"create x.ini.tmp.new", WriteResult::kCopyFailed, ""},
                {"write x.ini.tmp.new", WriteResult::kCopyFailed, ""},
                {"rename x.ini.tmp.new x.ini.tmp", WriteResult::kCopyFailed, ""},
                {"fsync .", WriteResult::kFileFailed, "x.ini.tmp: new, old; "},
                {"create x.ini", WriteResult::kFileFailed, "x.ini.tmp: new, old; "},
                {"write x.ini", WriteResult::kFileFailed, "x.ini.tmp: new, old; x.ini: new, ; "},
                {"nothing", WriteResult::kDone, "x.ini.tmp: new, old; x.ini: new, ; "}};
    for (const auto& row : rows) {
        writeFile(file_, "old");
        writeFile(copy_, "torn");
        std::string told;
        FileCalls calls(dir_.path());
        calls.fail(row.failing, EIO);
        const DirectoryLock directory(dir_.path(), DirectoryLock::Mode::kExclusive);
        const auto look = [&](const std::string& path) {
            told +=
                calls.nameOf(path.c_str()) + ": " + readFile(copy_) + ", " + readFile(file_) + "; ";
        };
        EXPECT_EQ(writeThroughCopy({file_, copy_, "new", true, true, look}, directory), row.result)
            << row.failing;
        EXPECT_EQ(told, row.told) << row.failing;
    }
}

TEST_F(SafeWrite, ALinkThatTakesThePlaceOfTheCopyMeanwhileIsNotFollowed) {
    writeFile(file_, "old");
    writeFile(dir_.file("elsewhere"), "untouched");
    testsupport::StatHook& hook = testsupport::StatHook::instance();
    hook.path = copy_;
    hook.then = [this] { std::filesystem::create_symlink("elsewhere", copy_); };
    EXPECT_EQ(write("new"), WriteResult::kCopyFailed);
    EXPECT_EQ(errno, ELOOP);
    EXPECT_EQ(hook.calls, 1);
    hook.reset();
    EXPECT_EQ(readFile(dir_.file("elsewhere")), "untouched");
    EXPECT_EQ(readFile(file_), "old");
}

TEST_F(SafeWrite, TheCopyIsClosedToAGroupThatIsNotItsFiles) {
    writeFile(file_, "old");
    ASSERT_EQ(::chmod(file_.c_str(), 0664), 0);
    const struct {
        int refusals;
        mode_t permissions;
    } rows[] = {{2, 0604U}, {1, 0664U}, {0, 0664U}};
    for (const auto& row : rows) {
        FileCalls calls(dir_.path());
        calls.fail("fchown x.ini.tmp", EPERM, row.refusals);
        calls.fail("create x.ini", EIO);
        EXPECT_EQ(write("new"), WriteResult::kFileFailed);
        EXPECT_EQ(permissionsOf(copy_), row.permissions) << row.refusals;
        EXPECT_EQ(calls.count("fchown x.ini.tmp"), row.refusals == 0 ? 1U : 2U);
    }
}

TEST_F(SafeWrite, AFullDiskIsNotMadeToSyncTheAbsenceOfACopy) {
    writeFile(file_, "old");
    FileCalls calls(dir_.path());
    calls.fail("write x.ini.tmp", ENOSPC);
    EXPECT_EQ(write("new"), WriteResult::kCopyFailed);
    EXPECT_EQ(calls.count("unlink x.ini.tmp"), 1U);
    EXPECT_EQ(calls.count("fsync ."), 0U);
}

TEST_F(SafeWrite, AFailureOfTheFileLeavesAWholeCopy) {
    for (const char* const call :
         {"create x.ini", "write x.ini", "fdatasync x.ini", "close x.ini"}) {
        writeFile(file_, "old");
        EXPECT_EQ(writeWhileFailing(call), WriteResult::kFileFailed) << call;
        EXPECT_EQ(reason_, EIO) << call;
        EXPECT_EQ(readFile(copy_), "new") << call;
        std::filesystem::remove(copy_);
    }
}

TEST_F(SafeWrite, ANewFileWhoseEntryIsNotSafeLeavesAWholeCopy) {
    FileCalls calls(dir_.path());
    calls.failAt(11, EIO);
    EXPECT_EQ(write("new"), WriteResult::kFileFailed);
    EXPECT_EQ(calls.calls().at(11), "fsync .");
    EXPECT_EQ(calls.calls().at(10), "close x.ini");
    EXPECT_EQ(readFile(copy_), "new");
}

TEST_F(SafeWrite, AFailureBesideAPreciousCopyLeavesThatCopy) {
    for (const char* const call :
         {"create x.ini.tmp.new", "write x.ini.tmp.new", "fdatasync x.ini.tmp.new",
          "close x.ini.tmp.new", "rename x.ini.tmp.new x.ini.tmp"}) {
        writeFile(file_, "torn");
        writeFile(copy_, "precious");
        FileCalls calls(dir_.path());
        calls.fail(call, EIO);
        errno = 0;
        EXPECT_EQ(write("new", true), WriteResult::kCopyFailed) << call;
        EXPECT_EQ(errno, EIO) << call;
        EXPECT_EQ(readFile(copy_), "precious") << call;
        EXPECT_EQ(readFile(file_), "torn") << call;
        EXPECT_FALSE(exists(aside_)) << call;
    }
}

TEST_F(SafeWrite, ARenameThatIsNotSafeCountsAsAFailureOfTheFile) {
    writeFile(file_, "torn");
    writeFile(copy_, "precious");
    EXPECT_EQ(writeWhileFailing("fsync .", true), WriteResult::kFileFailed);
    EXPECT_EQ(reason_, EIO);
    EXPECT_EQ(readFile(copy_), "new");
    EXPECT_EQ(readFile(file_), "torn");
}

TEST_F(SafeWrite, TheReasonIsThatOfTheFailureNotOfTheTidyingUp) {
    for (const char* const call : {"write x.ini.tmp", "fdatasync x.ini.tmp", "fsync ."}) {
        for (const bool lies : {false, true}) {
            std::filesystem::remove(copy_);
            if (lies) {
                writeFile(copy_, "torn");
            }
            writeWhileFailing(call);
            EXPECT_EQ(reason_, EIO) << call << lies;
        }
    }
    writeFile(copy_, "precious");
    writeWhileFailing("rename x.ini.tmp.new x.ini.tmp", true);
    EXPECT_EQ(reason_, EIO);
}

TEST_F(SafeWrite, ACopyThatCannotBeTakenBackCountsAsAFailureOfTheFile) {
    writeFile(file_, "old");
    EXPECT_EQ(writeWhileFailing("fsync ."), WriteResult::kFileFailed);
    EXPECT_EQ(readFile(copy_), "new");
    EXPECT_EQ(readFile(file_), "old");
}

TEST_F(SafeWrite, DataTooLargeToBeReadBackIsNotWritten) {
    using Qel::Settings::files::kLargestFile;
    writeFile(file_, "old");
    EXPECT_EQ(write(std::string(kLargestFile + 1, 'x'), false, false), WriteResult::kCopyFailed);
    EXPECT_EQ(errno, EFBIG);
    EXPECT_EQ(readFile(file_), "old");
    EXPECT_FALSE(exists(copy_));
    EXPECT_EQ(write(std::string(kLargestFile, 'x'), false, false), WriteResult::kDone);
    EXPECT_EQ(std::filesystem::file_size(file_), kLargestFile);
}

TEST_F(SafeWrite, AFailedSyncIsFollowedByTheClose) {
    FileCalls calls(dir_.path());
    calls.fail("fdatasync x.ini.tmp", EIO);
    EXPECT_EQ(write("new"), WriteResult::kCopyFailed);
    EXPECT_EQ(calls.count("close x.ini.tmp"), 1U);
}

TEST_F(SafeWrite, WithoutDurabilityNothingIsSynced) {
    FileCalls calls(dir_.path());
    calls.fail("fsync .", EIO, 9);
    calls.fail("fdatasync x.ini", EIO, 9);
    calls.fail("fdatasync x.ini.tmp", EIO, 9);
    calls.fail("fdatasync x.ini.tmp.new", EIO, 9);
    EXPECT_EQ(write("new", false, false), WriteResult::kDone);
    EXPECT_EQ(write("new", true, false), WriteResult::kDone);
    EXPECT_EQ(calls.count("fsync .") + calls.count("fdatasync x.ini") +
                  calls.count("fdatasync x.ini.tmp") + calls.count("fdatasync x.ini.tmp.new"),
              0U);
}

TEST_F(SafeWrite, TheCopyHasThePermissionsOfTheFileFromTheStart) {
    const mode_t umaskBefore = ::umask(0);
    writeFile(file_, "old");
    ASSERT_EQ(::chmod(file_.c_str(), 0600), 0);
    for (const bool precious : {false, true}) {
        for (const bool lies : {false, true}) {
            std::filesystem::remove(copy_);
            if (lies) {
                writeFile(copy_, "open to all");
                ASSERT_EQ(::chmod(copy_.c_str(), 0666), 0);
            }
            EXPECT_EQ(writeWhileFailing("create x.ini", precious), WriteResult::kFileFailed);
            EXPECT_EQ(permissionsOf(copy_), 0600U) << precious << lies;
        }
    }
    EXPECT_EQ(permissionsOf(file_), 0600U);
    ::umask(umaskBefore);
}

TEST_F(SafeWrite, PermissionsThatCannotBeSetAreNoFailureAndTheCopyIsPrivateWithoutThem) {
    const mode_t umaskBefore = ::umask(0);
    writeFile(file_, "old");
    ASSERT_EQ(::chmod(file_.c_str(), 0600), 0);
    FileCalls calls(dir_.path());
    calls.fail("fchmod x.ini.tmp", EPERM, 2);
    EXPECT_EQ(write("new"), WriteResult::kDone);
    calls.fail("create x.ini", EIO);
    EXPECT_EQ(write("newer"), WriteResult::kFileFailed);
    EXPECT_EQ(permissionsOf(copy_), 0600U);
    ::umask(umaskBefore);
}

TEST_F(SafeWrite, TheCopyOfAFileThatCannotBeLookedAtIsPrivate) {
    const mode_t umaskBefore = ::umask(0);
    std::filesystem::create_symlink("x.ini", file_);
    for (const bool lies : {false, true}) {
        std::filesystem::remove(copy_);
        if (lies) {
            writeFile(copy_, "torn");
            ASSERT_EQ(::chmod(copy_.c_str(), 0644), 0);
        }
        EXPECT_EQ(write("new"), WriteResult::kFileFailed) << "a link to itself";
        EXPECT_EQ(readFile(copy_), "new");
        EXPECT_EQ(permissionsOf(copy_), 0600U) << lies;
    }
    ::umask(umaskBefore);
}

TEST_F(SafeWrite, ALinkInPlaceOfTheCopyIsWrittenThroughAndTakenAway) {
    writeFile(file_, "old");
    writeFile(dir_.file("elsewhere"), "");
    std::filesystem::create_symlink("elsewhere", copy_);
    EXPECT_EQ(write("new"), WriteResult::kDone);
    EXPECT_EQ(readFile(file_), "new");
    EXPECT_EQ(readFile(dir_.file("elsewhere")), "new");
    EXPECT_FALSE(exists(copy_));
}

// Another user's process was killed while it wrote; the leftover would stop every save for ever.
TEST_F(SafeWrite, ALeftoverThatMayBeReadButNotWrittenMakesRoom) {
    for (const bool precious : {false, true}) {
        const std::string& leftover = precious ? aside_ : copy_;
        const std::string name = precious ? "x.ini.tmp.new" : "x.ini.tmp";
        for (const int refusal : {EACCES, EPERM}) {
            writeFile(file_, "old");
            writeFile(copy_, "torn");
            writeFile(leftover, "torn");
            FileCalls calls(dir_.path());
            calls.fail("create " + name, refusal);
            EXPECT_EQ(write("new", precious), WriteResult::kDone);
            EXPECT_EQ(calls.struck().size(), 1U);
            EXPECT_EQ(readFile(file_), "new");
            EXPECT_FALSE(exists(copy_));
            EXPECT_FALSE(exists(aside_));
        }
        writeFile(leftover, "torn");
        FileCalls calls(dir_.path());
        calls.fail("create " + name, EACCES);
        calls.fail("unlink " + name, EPERM);
        EXPECT_EQ(write("newer", precious), WriteResult::kCopyFailed);
        EXPECT_EQ(errno, EACCES);
        EXPECT_EQ(readFile(leftover), "torn");
        std::filesystem::remove(leftover);
    }
}

TEST_F(SafeWrite, OnlyALeftoverMakesRoomAndOnlyForAnotherUsersPermissions) {
    const struct {
        bool isLink;
        int error;
    } rows[] = {{false, EIO}, {false, EROFS}, {true, EACCES}};
    for (const auto& row : rows) {
        writeFile(file_, "old");
        writeFile(row.isLink ? dir_.file("elsewhere") : copy_, "torn");
        if (row.isLink) {
            std::filesystem::create_symlink("elsewhere", copy_);
        }
        FileCalls calls(dir_.path());
        calls.fail("create x.ini.tmp", row.error);
        EXPECT_EQ(write("new"), WriteResult::kCopyFailed);
        EXPECT_EQ(errno, row.error);
        EXPECT_EQ(calls.count("unlink x.ini.tmp"), 0U) << row.error;
        EXPECT_EQ(readFile(copy_), "torn");
        std::filesystem::remove(copy_);
    }
}

TEST_F(SafeWrite, WhatIsNoFileInPlaceOfTheCopyStaysAfterAFailure) {
    writeFile(file_, "old");
    std::filesystem::create_symlink("/dev/full", copy_);
    EXPECT_EQ(write("new"), WriteResult::kCopyFailed);
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_TRUE(std::filesystem::is_symlink(copy_));
    EXPECT_TRUE(exists("/dev/full"));
}

TEST_F(SafeWrite, AnUnsyncableDirectoryThatCannotBeOpenedIsNoFailure) {
    FileCalls calls(dir_.path());
    calls.fail("open .", EACCES);
    EXPECT_EQ(write("new"), WriteResult::kDone);
    EXPECT_EQ(readFile(file_), "new");
}

}  // namespace
