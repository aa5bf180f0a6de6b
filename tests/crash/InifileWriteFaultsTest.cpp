#include <cerrno>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/resource.h>
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

const std::string kHead = "#name = settings\n#savepolicy = ondemand\n[]\na = int,";
const std::string kOld = kHead + "1";
const std::string kNew = kHead + "2";

/// Files may grow to so many bytes only, while the object lives.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) : signalBefore_(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limited = {bytes, before_.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limited);
    }
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, signalBefore_);
    }
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;

private:
    rlimit before_ = {};
    void (*signalBefore_)(int);
};

class InifileWriteFaults : public IniStorageFixture {
protected:
    /// A storage that has read 1 from an ordinary file and now holds 2.
    void givenAChange() {
        build(kOld);
        ASSERT_TRUE(reopen());
        setting("settings/a")->setValue(2);
        log_.clear();
    }

    bool loggedCopyFailure(const std::string& reason) const {
        return logged(5, "SettingStorageInifile::writeIniFile( '" + rw_ +
                             "' ): could not write temporary file '" + copy_ + "'") == 1 &&
               loggedReason(reason) && logged(5, couldNotWriteFile(rw_)) == 0;
    }

    bool loggedFileFailure(const std::string& reason) const {
        return logged(5, couldNotWriteFile(rw_)) == 1 && loggedReason(reason);
    }

    static std::string couldNotWriteFile(const std::string& file) {
        return "SettingStorageInifile::writeIniFile( '" + file + "' ): could not write file";
    }

    bool loggedReason(const std::string& reason) const {
        return logged(5, "SettingStorageInifile: '" + rw_ +
                             "' is not saved, a later save tries again: " + reason) == 1;
    }

    /// The first step failed: the file is as it was, and nothing else lies there.
    void expectOldFileAlone() {
        EXPECT_EQ(readFile(rw_), withCrc(kOld));
        EXPECT_TRUE(storage_->dirty());
        EXPECT_EQ(storage_->crc32(), Qel::Settings::text::crc32(kOld));
    }

    void expectSavedAtTheNextTry() {
        EXPECT_TRUE(storage_->save()) << log_.dump();
        EXPECT_EQ(readFile(rw_), withCrc(kNew));
        EXPECT_FALSE(exists(copy_));
        EXPECT_FALSE(exists(copy_ + ".new"));
        EXPECT_FALSE(storage_->dirty());
    }
};

TEST_F(InifileWriteFaults, ACopyThatCannotBeOpenedLeavesTheFileAlone) {
    givenAChange();
    std::filesystem::create_directory(copy_);
    EXPECT_FALSE(storage_->save());
    EXPECT_TRUE(loggedCopyFailure("Is a directory")) << log_.dump();
    expectOldFileAlone();
    EXPECT_TRUE(std::filesystem::is_directory(copy_));
    std::filesystem::remove(copy_);
    expectSavedAtTheNextTry();
}

TEST_F(InifileWriteFaults, APipeInPlaceOfTheCopyDoesNotHoldTheSaveUp) {
    givenAChange();
    ASSERT_EQ(::mkfifo(copy_.c_str(), 0600), 0);
    EXPECT_FALSE(storage_->save());
    EXPECT_TRUE(loggedCopyFailure("No such device or address")) << log_.dump();
    expectOldFileAlone();
    EXPECT_TRUE(std::filesystem::is_fifo(copy_));
}

TEST_F(InifileWriteFaults, ACopyOnAFullDiskIsTakenAway) {
    givenAChange();
    {
        const FileSizeLimit limit(20);
        EXPECT_FALSE(storage_->save());
    }
    EXPECT_TRUE(loggedCopyFailure("File too large")) << log_.dump();
    expectOldFileAlone();
    EXPECT_FALSE(exists(copy_));
    expectSavedAtTheNextTry();
}

TEST_F(InifileWriteFaults, ADamagedCopyOnAFullDiskIsEmptied) {
    givenAChange();
    writeFile(copy_, "torn");
    {
        const FileSizeLimit limit(20);
        EXPECT_FALSE(storage_->save());
    }
    expectOldFileAlone();
    EXPECT_EQ(readFile(copy_), "");
    expectSavedAtTheNextTry();
}

TEST_F(InifileWriteFaults, AWholeCopySurvivesAFullDisk) {
    writeFile(rw_, "torn");
    buildCopy(kOld);
    ASSERT_TRUE(reopen());
    setting("settings/a")->setValue(2);
    {
        const FileSizeLimit limit(20);
        EXPECT_FALSE(storage_->save());
    }
    EXPECT_EQ(readFile(copy_), withCrc(kOld));
    EXPECT_EQ(readFile(rw_), "torn");
    EXPECT_FALSE(exists(copy_ + ".new"));
    expectSavedAtTheNextTry();
}

TEST_F(InifileWriteFaults, ACopyThatCannotBeReadIsReplacedInOneStep) {
    for (const char* const call : {"open rw.ini.tmp", "read rw.ini.tmp"}) {
        writeFile(rw_, "torn");
        buildCopy(kOld);
        ASSERT_TRUE(reopen());
        setting("settings/a")->setValue(2);
        FileCalls calls(dir_.path());
        calls.fail(call, EIO);
        calls.fail("write rw.ini.tmp.new", ENOSPC);
        EXPECT_FALSE(storage_->save()) << call;
        EXPECT_EQ(readFile(copy_), withCrc(kOld)) << "it may be the only whole text";
        EXPECT_EQ(readFile(rw_), "torn");
        calls.clear();
        calls.fail(call, EIO);
        expectSavedAtTheNextTry();
        EXPECT_EQ(calls.count("create rw.ini.tmp"), 0U) << call;
        EXPECT_EQ(calls.count("rename rw.ini.tmp.new rw.ini.tmp"), 1U) << call;
    }
}

TEST_F(InifileWriteFaults, AFileThatCannotBeOpenedLeavesAWholeCopy) {
    create();
    storage_->init(&manager_, nullptr);
    add("settings/a", 2);
    storage_->changed("settings/a");
    std::filesystem::create_directory(rw_);
    EXPECT_FALSE(storage_->save());
    EXPECT_TRUE(loggedFileFailure("Is a directory")) << log_.dump();
    EXPECT_EQ(readFile(copy_), withCrc(kNew));
    EXPECT_TRUE(storage_->dirty());
    EXPECT_EQ(storage_->crc32(), 0U);
    std::filesystem::remove(rw_);
    expectSavedAtTheNextTry();
}

TEST_F(InifileWriteFaults, AFileOnAFullDiskLeavesAWholeCopy) {
    create();
    storage_->init(&manager_, nullptr);
    add("settings/a", 2);
    storage_->changed("settings/a");
    std::filesystem::create_symlink("/dev/full", rw_);
    EXPECT_FALSE(storage_->save());
    EXPECT_TRUE(loggedFileFailure("No space left on device")) << log_.dump();
    EXPECT_EQ(readFile(copy_), withCrc(kNew));
    EXPECT_EQ(storage_->crc32(), 0U);
    std::filesystem::remove(rw_);
    expectSavedAtTheNextTry();
}

TEST_F(InifileWriteFaults, AfterAHalfWrittenFileTheCopyIsWhatALoadFinds) {
    givenAChange();
    {
        FileCalls calls(dir_.path());
        calls.limitWrites(10);
        calls.failAt(21, ENOSPC);
        EXPECT_FALSE(storage_->save());
        EXPECT_EQ(calls.calls().at(21), "write rw.ini");
    }
    EXPECT_TRUE(loggedFileFailure("No space left on device")) << log_.dump();
    EXPECT_EQ(readFile(rw_), withCrc(kNew).substr(0, 40));
    ASSERT_TRUE(reopen());
    check({"settings/a = int,2"});
    EXPECT_FALSE(exists(bad_));
}

TEST_F(InifileWriteFaults, AfterAFailedFileAChangeBackToTheOldValueIsWritten) {
    givenAChange();
    {
        FileCalls calls(dir_.path());
        calls.fail("fdatasync rw.ini", EIO);
        EXPECT_FALSE(storage_->save());
    }
    EXPECT_TRUE(loggedFileFailure("Input/output error")) << log_.dump();
    EXPECT_TRUE(exists(copy_));
    setting("settings/a")->setValue(1);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), withCrc(kOld));
    EXPECT_FALSE(exists(copy_));
    ASSERT_TRUE(reopen());
    check({"settings/a = int,1"});
}

TEST_F(InifileWriteFaults, AfterAFailedCopyAChangeBackToTheOldValueNeedsNoWrite) {
    givenAChange();
    FileCalls calls(dir_.path());
    calls.fail("fdatasync rw.ini.tmp", EIO);
    EXPECT_FALSE(storage_->save());
    EXPECT_TRUE(loggedCopyFailure("Input/output error")) << log_.dump();
    EXPECT_FALSE(exists(copy_));
    expectOldFileAlone();
    calls.clear();
    setting("settings/a")->setValue(1);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(calls.calls(), std::vector<std::string>{});
}

TEST_F(InifileWriteFaults, ACopyThatStaysIsNoFailure) {
    givenAChange();
    {
        FileCalls calls(dir_.path());
        calls.fail("unlink rw.ini.tmp", EIO);
        EXPECT_TRUE(storage_->save());
    }
    EXPECT_EQ(readFile(rw_), withCrc(kNew));
    EXPECT_EQ(readFile(copy_), withCrc(kNew));
    EXPECT_FALSE(storage_->dirty());
    setting("settings/a")->setValue(3);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), withCrc(kHead + "3"));
    EXPECT_FALSE(exists(copy_));
}

TEST_F(InifileWriteFaults, ADirectoryThatIsNotThereFailsTheSave) {
    rw_ = dir_.file("absent/rw.ini");
    copy_ = rw_ + ".tmp";
    ASSERT_TRUE(reopen());
    storage_->changed("settings/a");
    EXPECT_FALSE(storage_->save());
    EXPECT_TRUE(loggedCopyFailure("No such file or directory")) << log_.dump();
    EXPECT_FALSE(exists(dir_.file("absent")));
}

TEST_F(InifileWriteFaults, AnEmptyPathIsNoFile) {
    rw_.clear();
    buildDefaults("#name = settings\na = int,1\n");
    ASSERT_TRUE(reopen());
    setting("settings/a")->setValue(2);
    std::filesystem::current_path(dir_.path());
    EXPECT_FALSE(storage_->save());
    EXPECT_FALSE(storage_->writeIniFile("", "text"));
    EXPECT_EQ(logged(5, couldNotWriteFile("")), 2U) << log_.dump();
    EXPECT_FALSE(exists(dir_.file(".tmp")));
    EXPECT_FALSE(storage_->resetToDefaults());
    std::filesystem::current_path("/");
}

TEST_F(InifileWriteFaults, AFileNameWithoutDirectoryIsOneInTheWorkingDirectory) {
    std::filesystem::current_path(dir_.path());
    writeFile("rw.ini", withCrc(kOld));
    rw_ = "rw.ini";
    ASSERT_TRUE(reopen());
    check({"settings/a = int,1"});
    setting("settings/a")->setValue(2);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(dir_.file("rw.ini")), withCrc(kNew));
    std::filesystem::current_path("/");
}

TEST_F(InifileWriteFaults, AFileSystemThatClosesItselfAfterAnErrorFailsTheSave) {
    for (const char* const call : {"fdatasync rw.ini.tmp", "fsync .", "fdatasync rw.ini"}) {
        givenAChange();
        FileCalls calls(dir_.path());
        calls.fail(call, EROFS);
        EXPECT_FALSE(storage_->save()) << call;
        EXPECT_TRUE(storage_->dirty()) << call;
        EXPECT_TRUE(loggedReason("Read-only file system")) << log_.dump();
        expectSavedAtTheNextTry();
    }
}

TEST_F(InifileWriteFaults, ValuesOfALeftCopyThatCannotBeSyncedAreWrittenByTheNextSave) {
    for (const char* const call : {"open rw.ini.tmp", "fdatasync rw.ini.tmp", "fsync ."}) {
        writeFile(rw_, "torn");
        buildCopy(kNew);
        create();
        FileCalls calls(dir_.path());
        calls.fail(call, EIO, 1, std::string(call) == "open rw.ini.tmp" ? 1 : 0);
        ASSERT_TRUE(storage_->init(&manager_, nullptr));
        EXPECT_EQ(storage_->crc32(), 0U) << call;
        setting("settings/a")->setValue(2);
        expectSavedAtTheNextTry();
    }
}

TEST_F(InifileWriteFaults, InterruptedCallsAreRepeated) {
    givenAChange();
    FileCalls calls(dir_.path());
    for (const char* const call :
         {"open .", "lock .", "create rw.ini.tmp", "write rw.ini.tmp", "fdatasync rw.ini.tmp",
          "close rw.ini.tmp", "fsync .", "create rw.ini", "write rw.ini", "fdatasync rw.ini",
          "close rw.ini"}) {
        calls.fail(call, EINTR);
    }
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), withCrc(kNew));
    EXPECT_EQ(calls.count("close rw.ini"), 1U) << "a second close could hit another file";
}

TEST_F(InifileWriteFaults, FileSystemsWithoutSyncAreNoFailure) {
    for (const int error : {EINVAL, ENOTSUP}) {
        givenAChange();
        FileCalls calls(dir_.path());
        calls.fail("fdatasync rw.ini.tmp", error);
        calls.fail("fsync .", error);
        calls.fail("fdatasync rw.ini", error);
        EXPECT_TRUE(storage_->save()) << error;
        EXPECT_EQ(readFile(rw_), withCrc(kNew));
    }
}

TEST_F(InifileWriteFaults, ShortWritesAreContinued) {
    givenAChange();
    FileCalls calls(dir_.path());
    calls.limitWrites(1);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), withCrc(kNew));
    EXPECT_EQ(calls.count("write rw.ini"), withCrc(kNew).size());
}

}  // namespace
