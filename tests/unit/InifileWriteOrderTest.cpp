#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "FileCalls.h"
#include "IniStorageFixture.h"

namespace {

using testsupport::exists;
using testsupport::FileCalls;
using testsupport::IniStorageFixture;
using testsupport::readFile;
using testsupport::withCrc;
using testsupport::writeFile;

using Calls = std::vector<std::string>;

const std::string kOld = "#name = settings\n#savepolicy = eachchange\n[]\na = int,1";
const std::string kNew = "#name = settings\n#savepolicy = eachchange\n[]\na = int,2";

struct stat statusOf(const std::string& path) {
    struct stat status = {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
    return status;
}

class InifileWriteOrder : public IniStorageFixture {
protected:
    ~InifileWriteOrder() override { Storage::syncWrites(true); }

    /// A storage that holds 1 and has read an ordinary file.
    void givenAFile() {
        build(kOld);
        ASSERT_TRUE(reopen());
    }

    /// The calls of one change, which is saved at once.
    Calls callsOfAChange() {
        FileCalls calls(dir_.path());
        EXPECT_TRUE(setting("settings/a")->setValue(2));
        EXPECT_FALSE(storage_->dirty());
        EXPECT_EQ(readFile(rw_), withCrc(kNew));
        return calls.calls();
    }
};

TEST_F(InifileWriteOrder, TheCopyIsSafeBeforeTheFileIsTouchedAndTheFileBeforeTheCopyGoes) {
    givenAFile();
    EXPECT_EQ(
        callsOfAChange(),
        (Calls{"open .", "lock .", "create rw.ini.tmp", "fchown rw.ini.tmp", "fchmod rw.ini.tmp",
               "write rw.ini.tmp", "fdatasync rw.ini.tmp", "close rw.ini.tmp", "fsync .",
               "create rw.ini", "write rw.ini", "fdatasync rw.ini", "close rw.ini",
               "unlink rw.ini.tmp", "unlock .", "close ."}));
}

TEST_F(InifileWriteOrder, TheEntryOfANewFileIsSafeBeforeTheCopyGoes) {
    buildDefaults("#name = settings\n#savepolicy = eachchange\na = int,1\n");
    ASSERT_TRUE(reopen());
    EXPECT_EQ(
        callsOfAChange(),
        (Calls{"open .", "lock .", "create rw.ini.tmp", "write rw.ini.tmp", "fdatasync rw.ini.tmp",
               "close rw.ini.tmp", "fsync .", "create rw.ini", "write rw.ini", "fdatasync rw.ini",
               "close rw.ini", "fsync .", "unlink rw.ini.tmp", "unlock .", "close ."}));
}

TEST_F(InifileWriteOrder, AWholeCopyIsReplacedInOneStepAndNeverTruncated) {
    writeFile(rw_, "torn");
    buildCopy(kOld);
    ASSERT_TRUE(reopen());
    EXPECT_EQ(callsOfAChange(), (Calls{"open .",
                                       "lock .",
                                       "open rw.ini.tmp",
                                       "read rw.ini.tmp",
                                       "read rw.ini.tmp",
                                       "close rw.ini.tmp",
                                       "create rw.ini.tmp.new",
                                       "fchown rw.ini.tmp.new",
                                       "fchmod rw.ini.tmp.new",
                                       "write rw.ini.tmp.new",
                                       "fdatasync rw.ini.tmp.new",
                                       "close rw.ini.tmp.new",
                                       "rename rw.ini.tmp.new rw.ini.tmp",
                                       "fsync .",
                                       "create rw.ini",
                                       "write rw.ini",
                                       "fdatasync rw.ini",
                                       "close rw.ini",
                                       "unlink rw.ini.tmp",
                                       "unlock .",
                                       "close ."}));
}

// It is the administrator's, who gets the copies where they are to go.
TEST_F(InifileWriteOrder, ALinkToAWholeCopyIsWrittenThrough) {
    givenAFile();
    writeFile(dir_.file("elsewhere"), withCrc(kOld));
    std::filesystem::create_symlink("elsewhere", copy_);
    const Calls calls = callsOfAChange();
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "create rw.ini.tmp"), 1);
    EXPECT_EQ(readFile(dir_.file("elsewhere")), withCrc(kNew));
}

TEST_F(InifileWriteOrder, ADamagedCopyIsOverwritten) {
    givenAFile();
    writeFile(copy_, "torn");
    EXPECT_EQ(callsOfAChange(), (Calls{"open .",
                                       "lock .",
                                       "open rw.ini.tmp",
                                       "read rw.ini.tmp",
                                       "read rw.ini.tmp",
                                       "close rw.ini.tmp",
                                       "create rw.ini.tmp",
                                       "fchown rw.ini.tmp",
                                       "fchmod rw.ini.tmp",
                                       "write rw.ini.tmp",
                                       "fdatasync rw.ini.tmp",
                                       "close rw.ini.tmp",
                                       "fsync .",
                                       "create rw.ini",
                                       "write rw.ini",
                                       "fdatasync rw.ini",
                                       "close rw.ini",
                                       "unlink rw.ini.tmp",
                                       "unlock .",
                                       "close ."}));
}

TEST_F(InifileWriteOrder, TheSyncsCanBeSwitchedOff) {
    givenAFile();
    EXPECT_TRUE(Storage::syncWrites(false));
    EXPECT_EQ(callsOfAChange(),
              (Calls{"open .", "lock .", "create rw.ini.tmp", "fchown rw.ini.tmp",
                     "fchmod rw.ini.tmp", "write rw.ini.tmp", "close rw.ini.tmp", "create rw.ini",
                     "write rw.ini", "close rw.ini", "unlink rw.ini.tmp", "unlock .", "close ."}));
    EXPECT_FALSE(Storage::syncWrites(true));
    EXPECT_TRUE(Storage::syncWrites(true));
}

TEST_F(InifileWriteOrder, WithoutSyncsANewFileAndAWholeCopyAreWrittenInTheSameOrder) {
    Storage::syncWrites(false);
    buildDefaults("#name = settings\n#savepolicy = eachchange\na = int,1\n");
    ASSERT_TRUE(reopen());
    EXPECT_EQ(callsOfAChange(),
              (Calls{"open .", "lock .", "create rw.ini.tmp", "write rw.ini.tmp",
                     "close rw.ini.tmp", "create rw.ini", "write rw.ini", "close rw.ini",
                     "unlink rw.ini.tmp", "unlock .", "close ."}));
    writeFile(rw_, "torn");
    buildCopy(kOld);
    ASSERT_TRUE(reopen());
    EXPECT_EQ(callsOfAChange(),
              (Calls{"open .", "lock .", "open rw.ini.tmp", "read rw.ini.tmp", "read rw.ini.tmp",
                     "close rw.ini.tmp", "create rw.ini.tmp.new", "fchown rw.ini.tmp.new",
                     "fchmod rw.ini.tmp.new", "write rw.ini.tmp.new", "close rw.ini.tmp.new",
                     "rename rw.ini.tmp.new rw.ini.tmp", "create rw.ini", "write rw.ini",
                     "close rw.ini", "unlink rw.ini.tmp", "unlock .", "close ."}));
}

TEST_F(InifileWriteOrder, AnUnchangedStorageTouchesNoFile) {
    givenAFile();
    FileCalls calls(dir_.path());
    EXPECT_TRUE(setting("settings/a")->setValue(1));
    EXPECT_TRUE(storage_->save());
    EXPECT_TRUE(storage_->saveFile(rw_));
    EXPECT_EQ(calls.calls(), Calls{});
}

TEST_F(InifileWriteOrder, ACleanStorageTouchesNoFile) {
    buildDefaults("#name = settings\na = int,1\n");
    ASSERT_TRUE(reopen());
    FileCalls calls(dir_.path());
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(calls.calls(), Calls{});
}

TEST_F(InifileWriteOrder, OneChangeIsOneWriteCycle) {
    givenAFile();
    FileCalls calls(dir_.path());
    for (std::size_t change = 1; change <= 5; ++change) {
        EXPECT_TRUE(setting("settings/a")->setValue(static_cast<int>(change) + 100));
        EXPECT_EQ(calls.count("create rw.ini"), change);
        EXPECT_EQ(calls.count("create rw.ini.tmp"), change);
        EXPECT_EQ(calls.count("write rw.ini"), change);
        EXPECT_EQ(calls.count("write rw.ini.tmp"), change);
    }
}

TEST_F(InifileWriteOrder, ALoadSharesTheDirectoryAndWritesNothing) {
    build(kOld);
    create();
    FileCalls calls(dir_.path());
    ASSERT_TRUE(storage_->init(&manager_, nullptr));
    EXPECT_EQ(calls.calls(),
              (Calls{"open .", "share .", "open rw.ini.tmp", "open rw.ini", "read rw.ini",
                     "read rw.ini", "close rw.ini", "unlock .", "close ."}));
}

TEST_F(InifileWriteOrder, ALoadFromACopyThatWasLeftMakesItLast) {
    const Calls reading = {"open .",          "share .",         "open rw.ini.tmp",
                           "read rw.ini.tmp", "read rw.ini.tmp", "close rw.ini.tmp"};
    const Calls settling = {"open rw.ini.tmp", "fdatasync rw.ini.tmp", "fsync .",
                            "close rw.ini.tmp"};
    const Calls ending = {"unlock .", "close ."};
    writeFile(rw_, "torn");
    buildCopy(kOld);
    for (const bool syncs : {true, false}) {
        Storage::syncWrites(syncs);
        create();
        FileCalls calls(dir_.path());
        ASSERT_TRUE(storage_->init(&manager_, nullptr));
        Calls expected = reading;
        expected.insert(expected.end(), settling.begin(),
                        syncs ? settling.end() : settling.begin());
        expected.insert(expected.end(), ending.begin(), ending.end());
        EXPECT_EQ(calls.calls(), expected);
    }
}

TEST_F(InifileWriteOrder, NoFileIsLeftOpenForAChildProcess) {
    build(kOld);
    buildCopy(kOld);
    create();
    const FileCalls calls(dir_.path());
    ASSERT_TRUE(storage_->init(&manager_, nullptr));
    setting("settings/a")->setValue(2);
    EXPECT_EQ(calls.count("create rw.ini"), 1U);
    EXPECT_TRUE(calls.allClosedOnExec());
}

TEST_F(InifileWriteOrder, TheFileKeepsItsInode) {
    givenAFile();
    std::filesystem::create_hard_link(rw_, dir_.file("link.ini"));
    const auto before = statusOf(rw_);
    callsOfAChange();
    EXPECT_EQ(statusOf(rw_).st_ino, before.st_ino);
    EXPECT_EQ(readFile(dir_.file("link.ini")), withCrc(kNew));
}

TEST_F(InifileWriteOrder, AFileBehindALinkIsWrittenThroughTheLink) {
    writeFile(dir_.file("real.ini"), withCrc(kOld));
    std::filesystem::create_symlink("real.ini", rw_);
    ASSERT_TRUE(reopen());
    callsOfAChange();
    EXPECT_TRUE(std::filesystem::is_symlink(rw_));
    EXPECT_EQ(readFile(dir_.file("real.ini")), withCrc(kNew));
    EXPECT_FALSE(exists(copy_));
}

TEST_F(InifileWriteOrder, TheCopyIsAsPrivateAsTheFile) {
    const mode_t umaskBefore = ::umask(0);
    for (const mode_t permissions : {0600U, 0640U, 0666U, 0444U}) {
        givenAFile();
        ASSERT_EQ(::chmod(rw_.c_str(), permissions), 0);
        FileCalls calls(dir_.path());
        calls.fail("create rw.ini", ENOSPC);
        setting("settings/a")->setValue(2);
        EXPECT_EQ(statusOf(copy_).st_mode & 07777U, permissions);
        EXPECT_EQ(statusOf(rw_).st_mode & 07777U, permissions);
        std::filesystem::remove(copy_);
    }
    ::umask(umaskBefore);
}

TEST_F(InifileWriteOrder, ANewFileHasThePermissionsThatTheUmaskLeaves) {
    const mode_t umaskBefore = ::umask(027);
    buildDefaults("#name = settings\n#savepolicy = eachchange\na = int,1\n");
    ASSERT_TRUE(reopen());
    callsOfAChange();
    EXPECT_EQ(statusOf(rw_).st_mode & 07777U, 0640U);
    ::umask(umaskBefore);
}

}  // namespace
