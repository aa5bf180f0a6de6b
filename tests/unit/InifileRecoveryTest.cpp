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

const std::string kOld = "#name = settings\n#savepolicy = ondemand\n[]\na = int,1\nb = int,1";
const std::string kNew = "#name = settings\n#savepolicy = ondemand\n[]\na = int,2\nb = int,2";
const std::string kDefaults = "#name = settings\na = int,0\nb = int,0\n";

class InifileRecovery : public IniStorageFixture {
protected:
    InifileRecovery() { buildDefaults(kDefaults); }

    void checkDefault() { check({"settings/a = int,0", "settings/b = int,0"}); }
    void checkOld() { check({"settings/a = int,1", "settings/b = int,1"}); }
    void checkNew() { check({"settings/a = int,2", "settings/b = int,2"}); }

    std::vector<std::string> files() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(dir_.path())) {
            names.push_back(entry.path().filename());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    std::string returnedFalse() const {
        return "Error loading '" + rw_ + "' (returned false, r/w, renamed to *.bad).";
    }
};

TEST_F(InifileRecovery, AWholeCopyIsPreferredToAWholeFile) {
    build(kOld);
    buildCopy(kNew);
    ASSERT_TRUE(reopen());
    checkNew();
    EXPECT_EQ(readFile(rw_), withCrc(kOld));
    EXPECT_EQ(readFile(copy_), withCrc(kNew));
}

TEST_F(InifileRecovery, AWholeCopyIsUsedInPlaceOfATornFile) {
    for (const std::string& torn :
         {std::string(), std::string("#"), kNew, withCrc(kNew).substr(0, 60)}) {
        writeFile(rw_, torn);
        buildCopy(kNew);
        ASSERT_TRUE(reopen());
        checkNew();
        EXPECT_EQ(readFile(rw_), torn);
        EXPECT_FALSE(exists(bad_));
    }
}

TEST_F(InifileRecovery, ADamagedCopyIsSkipped) {
    build(kOld);
    buildCopy(kNew);
    corrupt(copy_, 20);
    ASSERT_TRUE(reopen());
    checkOld();
    EXPECT_EQ(files(), (std::vector<std::string>{"defaults.ini", "rw.ini", "rw.ini.tmp"}));
}

TEST_F(InifileRecovery, WhenNeitherIsWholeTheFileIsSetAsideAndTheDefaultsStand) {
    build(kOld);
    corrupt(rw_, 20);
    const std::string damaged = readFile(rw_);
    writeFile(copy_, kNew);
    ASSERT_TRUE(reopen());
    checkDefault();
    EXPECT_EQ(readFile(bad_), damaged);
    EXPECT_EQ(readFile(copy_), kNew);
    EXPECT_FALSE(exists(rw_));
    EXPECT_EQ(loggedByBase(5, returnedFalse()), 1U) << log_.dump();
}

TEST_F(InifileRecovery, TheStartAfterARecoveryHasTheDefaultsAndNoComplaint) {
    writeFile(rw_, "torn");
    ASSERT_TRUE(reopen());
    log_.clear();
    ASSERT_TRUE(reopen());
    checkDefault();
    for (const auto& entry : log_.entries()) {
        EXPECT_EQ(entry.level, 2) << entry.text;
    }
}

TEST_F(InifileRecovery, TheSaveAfterARecoveryWritesTheFileAfresh) {
    writeFile(rw_, "torn");
    writeFile(copy_, "torn too");
    ASSERT_TRUE(reopen());
    setting("settings/a")->setValue(2);
    EXPECT_TRUE(storage_->save());
    ASSERT_TRUE(reopen());
    check({"settings/a = int,2", "settings/b = int,0"});
    EXPECT_EQ(files(), (std::vector<std::string>{"defaults.ini", "rw.ini", "rw.ini.bad"}));
}

TEST_F(InifileRecovery, ACopyWithoutItsFileIsNotLookedAt) {
    buildCopy(kNew);
    ASSERT_TRUE(reopen());
    checkDefault();
    EXPECT_EQ(readFile(copy_), withCrc(kNew));
}

TEST_F(InifileRecovery, WhatWasReadFromTheCopyIsUnchanged) {
    writeFile(rw_, "torn");
    buildCopy(kNew);
    ASSERT_TRUE(reopen());
    setting("settings/a")->setValue(2);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), "torn");
    EXPECT_EQ(readFile(copy_), withCrc(kNew));
}

TEST_F(InifileRecovery, TheNextChangeTidiesUpAfterAnInterruptedSave) {
    writeFile(rw_, "torn");
    buildCopy(kOld);
    ASSERT_TRUE(reopen());
    setting("settings/a")->setValue(2);
    setting("settings/b")->setValue(2);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), withCrc(kNew));
    EXPECT_EQ(files(), (std::vector<std::string>{"defaults.ini", "rw.ini"}));
}

TEST_F(InifileRecovery, ACopyThatIsNoFileIsSkipped) {
    build(kOld);
    std::filesystem::create_directory(copy_);
    ASSERT_TRUE(reopen());
    checkOld();
    std::filesystem::remove(copy_);
    ASSERT_EQ(::mkfifo(copy_.c_str(), 0600), 0);
    ASSERT_TRUE(reopen());
    checkOld();
    std::filesystem::remove(copy_);
    std::filesystem::create_symlink("/dev/zero", copy_);
    ASSERT_TRUE(reopen());
    checkOld();
}

TEST_F(InifileRecovery, WhatIsNoFileIsSetAside) {
    ASSERT_EQ(::mkfifo(rw_.c_str(), 0600), 0);
    ASSERT_TRUE(reopen());
    checkDefault();
    EXPECT_TRUE(std::filesystem::is_fifo(bad_));
    std::filesystem::remove(bad_);
    std::filesystem::create_directory(rw_);
    ASSERT_TRUE(reopen());
    checkDefault();
    EXPECT_TRUE(std::filesystem::is_directory(bad_));
    EXPECT_EQ(loggedByBase(5, returnedFalse()), 2U) << log_.dump();
}

TEST_F(InifileRecovery, DefaultsThatAreNoFileFailTheInitAndStay) {
    std::filesystem::remove(defaults_);
    ASSERT_EQ(::mkfifo(defaults_.c_str(), 0600), 0);
    build(kOld);
    EXPECT_FALSE(reopen());
    EXPECT_TRUE(std::filesystem::is_fifo(defaults_));
    EXPECT_EQ(readFile(rw_), withCrc(kOld));
}

TEST_F(InifileRecovery, ADanglingLinkCountsAsNoFile) {
    std::filesystem::create_symlink("nowhere.ini", rw_);
    ASSERT_TRUE(reopen());
    checkDefault();
    EXPECT_FALSE(exists(bad_));
    EXPECT_TRUE(std::filesystem::is_symlink(rw_));
}

TEST_F(InifileRecovery, AFileThatReadsWellAtTheSecondLookIsKept) {
    build(kOld);
    create();
    FileCalls calls(dir_.path());
    calls.fail("read rw.ini", EIO);
    ASSERT_TRUE(storage_->init(&manager_, nullptr));
    checkOld();
    EXPECT_EQ(readFile(rw_), withCrc(kOld));
    EXPECT_EQ(loggedByBase(5, returnedFalse()), 0U) << log_.dump();
    EXPECT_EQ(calls.count("lock ."), 1U);
}

TEST_F(InifileRecovery, TheSecondLookAndTheRenameAreUnderOneLock) {
    writeFile(rw_, "torn");
    create();
    FileCalls calls(dir_.path());
    ASSERT_TRUE(storage_->init(&manager_, nullptr));
    const auto& all = calls.calls();
    EXPECT_EQ(std::vector<std::string>(std::find(all.begin(), all.end(), "lock ."), all.end()),
              (std::vector<std::string>{"lock .", "open rw.ini.tmp", "open rw.ini", "read rw.ini",
                                        "read rw.ini", "close rw.ini", "rename rw.ini rw.ini.bad",
                                        "unlock .", "close ."}));
}

TEST_F(InifileRecovery, AShortageOfDescriptorsThatPassesCostsNothing) {
    for (const int shortage : {EMFILE, ENFILE, ENOMEM, EAGAIN, EINTR}) {
        build(kOld);
        create();
        FileCalls calls(dir_.path());
        calls.fail("open rw.ini", shortage, 4);
        ASSERT_TRUE(storage_->init(&manager_, nullptr));
        checkOld();
        EXPECT_EQ(calls.count("open rw.ini"), 5U) << shortage;
        EXPECT_EQ(calls.count("lock ."), 0U) << "no second look was needed";
        EXPECT_FALSE(exists(bad_));
    }
}

TEST_F(InifileRecovery, AFileThatCannotBeOpenedAtBothLooksIsSetAside) {
    build(kOld);
    create();
    FileCalls calls(dir_.path());
    calls.fail("open rw.ini", EACCES, 2);
    ASSERT_TRUE(storage_->init(&manager_, nullptr));
    checkDefault();
    EXPECT_EQ(readFile(bad_), withCrc(kOld));
    EXPECT_EQ(calls.count("open rw.ini"), 2U) << "EACCES does not pass by waiting";
}

TEST_F(InifileRecovery, ErrorTextsOfTheFirstLookAreNotRepeated) {
    buildDefaults(kDefaults + "nonsense\n");
    build("more nonsense\n#name = settings");
    ASSERT_TRUE(reopen());
    EXPECT_EQ(errInfo(), "nonsense\nmore nonsense\n");
}

TEST_F(InifileRecovery, AResetOverATornFileWritesTheDefaults) {
    writeFile(rw_, "torn");
    buildCopy(kNew);
    ASSERT_TRUE(reopen());
    EXPECT_TRUE(storage_->resetToDefaults());
    EXPECT_FALSE(storage_->dirty());
    ASSERT_TRUE(reopen());
    checkDefault();
    EXPECT_EQ(files(), (std::vector<std::string>{"defaults.ini", "rw.ini"}));
}

}  // namespace
