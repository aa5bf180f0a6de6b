// A television gets its time late, and sometimes a wrong one. Files that were read or written past
// January 2038 are files like others, also where the system's own times have 32 bits.

#include <filesystem>
#include <gtest/gtest.h>
#include <string>

#include "FileCalls.h"
#include "IniStorageFixture.h"
#include "LateTimes.h"
#include "Qel/Settings/SettingStorageXml.h"
#include "files/FileStatus.h"

namespace {

namespace files = Qel::Settings::files;
using testsupport::dateTo2040;
using testsupport::FileCalls;
using testsupport::readFile;
using testsupport::withCrc;
using testsupport::writeFile;

/// A storage whose read/write file holds a=1, and whose directory and files are of the year 2040.
class LateTimes : public testsupport::IniStorageFixture {
protected:
    void SetUp() override {
        buildDefaults("#name = settings\na = int,0\n");
        build("#name = settings\na = int,1");
        if (!dateTo2040(dir_.path())) {
            GTEST_SKIP() << "the file system has no times past January 2038";
        }
        ASSERT_TRUE(dateTo2040(defaults_));
        ASSERT_TRUE(dateTo2040(rw_));
    }
    ~LateTimes() override { Qel::Settings::SettingsManager::setResetToDefaultsMarker(""); }

    static std::string saved(int a) {
        return withCrc("#name = settings\n#savepolicy = ondemand\n[]\na = int," +
                       std::to_string(a));
    }
};

TEST_F(LateTimes, FileIsLoadedAndSaved) {
    ASSERT_TRUE(reopen());
    check({"settings/a = int,1"});
    setting("settings/a")->setValue(2);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(saved(2), readFile(rw_));
    ASSERT_TRUE(dateTo2040(rw_));
    ASSERT_TRUE(reopen());
    check({"settings/a = int,2"});
    EXPECT_FALSE(files::statusOfEntryAt(bad_)) << log_.dump();
}

TEST_F(LateTimes, WhatIsPrivateStaysPrivate) {
    std::filesystem::permissions(rw_, std::filesystem::perms(0600));
    ASSERT_TRUE(reopen());
    setting("settings/a")->setValue(2);
    ASSERT_TRUE(dateTo2040(rw_));
    FileCalls calls(dir_.path());
    calls.fail("create rw.ini", ENOSPC);
    EXPECT_FALSE(storage_->save());
    EXPECT_EQ(static_cast<mode_t>(0600), files::statusAt(copy_)->permissions);
}

TEST_F(LateTimes, GoodCopyIsTakenAndNotTruncated) {
    writeFile(rw_, "torn");
    buildCopy("#name = settings\na = int,3");
    ASSERT_TRUE(dateTo2040(rw_));
    ASSERT_TRUE(dateTo2040(copy_));
    ASSERT_TRUE(reopen());
    check({"settings/a = int,3"});
    setting("settings/a")->setValue(4);
    const FileCalls calls(dir_.path());
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(saved(4), readFile(rw_));
    EXPECT_EQ(1U, calls.count("rename rw.ini.tmp.new rw.ini.tmp"));
    EXPECT_EQ(0U, calls.count("create rw.ini.tmp"));
}

TEST_F(LateTimes, DamagedFileThatStaysIsCopiedBeforeTheSave) {
    std::filesystem::create_directory(bad_);
    writeFile(rw_, "damaged");
    ASSERT_TRUE(dateTo2040(rw_));
    ASSERT_TRUE(reopen());
    setting("settings/a")->setValue(5);
    EXPECT_TRUE(storage_->save()) << log_.dump();
    EXPECT_EQ(saved(5), readFile(rw_));
    EXPECT_EQ("damaged", readFile(bad_ + ".1"));
}

TEST_F(LateTimes, MarkerIsSeenAndTheResetDone) {
    ASSERT_TRUE(reopen());
    const std::string marker = dir_.file("marker");
    writeFile(marker, "");
    ASSERT_TRUE(dateTo2040(marker));
    Qel::Settings::SettingsManager::setResetToDefaultsMarker(marker);
    setting("settings/a")->setValue(6);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(withCrc("#name = settings\na = int,1"), readFile(rw_)) << log_.dump();
    EXPECT_EQ(Qel::Settings::SOM_ResettingToDefault, manager_.getSettingsOperationMode());
    EXPECT_TRUE(storage_->resetToDefaults());
    EXPECT_EQ(saved(0), readFile(rw_));
}

TEST_F(LateTimes, XmlFileIsRead) {
    const std::string file = dir_.file("tv.xml");
    writeFile(file, "<tv><a type='int' value='7'/></tv>");
    ASSERT_TRUE(dateTo2040(file));
    Qel::Settings::SettingStorageXml storage("", "", file);
    ASSERT_TRUE(storage.init(&manager_, types_));
    ASSERT_TRUE(storage.querySetting("tv/a")) << log_.dump();
    EXPECT_EQ(7, storage.querySetting("tv/a")->getValue<int>());
}

}  // namespace
