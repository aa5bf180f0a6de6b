#include <boost/make_shared.hpp>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "IniStorageFixture.h"

namespace {

using Qel::Settings::SettingStorageInifile;
using Qel::Settings::text::crc32;
using testsupport::exists;
using testsupport::IniStorageFixture;
using testsupport::readFile;
using testsupport::withCrc;
using testsupport::writeFile;

const std::string kText = "#name = settings\n[]\na = int,1";

/// A defaults file in the very form in which the storage writes.
const std::string kDefaults = "#name = settings\n#savepolicy = ondemand\n[]\na = int,1";

class InifileCrc : public IniStorageFixture {
protected:
    /// Makes the read/write file of these very bytes and loads it.
    bool accepts(const std::string& bytes) {
        writeFile(rw_, bytes);
        create();
        return storage_->loadFile(rw_);
    }

    static std::string withCrcValue(const std::string& value) {
        return kText + "\n#crc32 = " + value + "\n";
    }

    std::string message(const std::string& rest) const {
        return "SettingStorageInifile::loadInifileData( '" + rw_ + "' ): " + rest;
    }

    std::string missing(const std::string& candidate) const {
        return message("missing CRC data in file '" + candidate + "'");
    }

    std::string failed(const std::string& read, const std::string& value) const {
        return message("CRC check failed (computed crc " + std::to_string(crc32(kText)) +
                       " vs read crc " + read + " [" + value + "]) on file '" + rw_ + "'");
    }
};

TEST_F(InifileCrc, CoversTheTextBeforeTheLineFeedOfItsLine) {
    EXPECT_TRUE(accepts(withCrc(kText)));
    EXPECT_EQ(storage_->crc32(), crc32(kText));
    check({"settings/a = int,1"});
    EXPECT_FALSE(accepts(kText + "\n#crc32 = " + std::to_string(crc32(kText + "\n")) + "\n"));
}

TEST_F(InifileCrc, ReadsDecimalHexadecimalAndOctal) {
    char hexadecimal[16];
    char octal[16];
    std::snprintf(hexadecimal, sizeof hexadecimal, "%X", crc32(kText));
    std::snprintf(octal, sizeof octal, "0%o", crc32(kText));
    for (const std::string& value : {std::to_string(crc32(kText)), std::string("0x") + hexadecimal,
                                     std::string("0X") + hexadecimal, std::string(octal),
                                     " \t" + std::to_string(crc32(kText)) + " ",
                                     std::to_string(crc32(kText)) + " // by hand"}) {
        EXPECT_TRUE(accepts(withCrcValue(value))) << value;
        EXPECT_EQ(storage_->crc32(), crc32(kText)) << value;
    }
    EXPECT_FALSE(accepts(withCrcValue(hexadecimal)));
}

TEST_F(InifileCrc, AWrongValueIsToldWithBothNumbersAndItsText) {
    EXPECT_FALSE(accepts(withCrcValue(" 12abc ")));
    EXPECT_EQ(logged(5, failed("12", "12abc")), 1U) << log_.dump();
    EXPECT_FALSE(accepts(withCrcValue("0x10")));
    EXPECT_EQ(logged(5, failed("16", "0x10")), 1U) << log_.dump();
    EXPECT_FALSE(accepts(withCrcValue("017")));
    EXPECT_EQ(logged(5, failed("15", "017")), 1U) << log_.dump();
    EXPECT_FALSE(accepts(withCrcValue("99999999999")));
    EXPECT_EQ(logged(5, failed("4294967295", "99999999999")), 1U) << log_.dump();
    EXPECT_FALSE(accepts(withCrcValue("")));
    EXPECT_EQ(logged(5, failed("0", "")), 1U) << log_.dump();
    EXPECT_FALSE(accepts(withCrcValue("%s%n")));
    EXPECT_EQ(logged(5, failed("0", "%s%n")), 1U) << log_.dump();
    check({});
    EXPECT_EQ(storage_->crc32(), 0U);
}

TEST_F(InifileCrc, TheValueFalseOptsAFileOut) {
    EXPECT_TRUE(accepts(withCrcValue("false")));
    check({"settings/a = int,1"});
    EXPECT_EQ(storage_->crc32(), crc32(kText));
    EXPECT_EQ(logged(2, message("valid CRC " + std::to_string(crc32(kText)) +
                                " found, using file '" + rw_ + "'")),
              1U);
    EXPECT_TRUE(accepts(withCrcValue("  false\t")));
}

TEST_F(InifileCrc, OnlyExactlyFalseOptsOut) {
    for (const char* const value : {"FALSE", "False", "false!", "\"false\"", "no", "0", "true"}) {
        EXPECT_FALSE(accepts(withCrcValue(value))) << value;
        EXPECT_EQ(logged(5, failed("0", value)), 1U) << value << log_.dump();
    }
}

TEST_F(InifileCrc, AFileWithoutItsCrcLineIsRefused) {
    EXPECT_FALSE(accepts(kText + "\n"));
    EXPECT_EQ(logged(5, missing(rw_)), 1U) << log_.dump();
    EXPECT_EQ(logged(2, message("0")), 1U) << log_.dump();
    EXPECT_EQ(logged(2, "SettingStorageInifile::loadFile(): done, result=0"), 1U);
    check({});
}

TEST_F(InifileCrc, TheCrcLineAloneIsNoCrcData) {
    EXPECT_FALSE(accepts("#crc32 = 0\n"));
    EXPECT_EQ(logged(5, missing(rw_)), 1U) << log_.dump();
    EXPECT_FALSE(accepts("#crc32 = false\n"));
    EXPECT_EQ(logged(5, missing(rw_)), 2U) << log_.dump();
}

TEST_F(InifileCrc, AnEmptyTextHasACrcToo) {
    EXPECT_TRUE(accepts("\n#crc32 = 0\n"));
    check({});
}

TEST_F(InifileCrc, OnlyTheLastCrcLineCounts) {
    const std::string twice = withCrc(kText) + "b = int,2";
    EXPECT_TRUE(accepts(withCrc(twice)));
    check({"settings/a = int,1", "settings/b = int,2"});
    const std::string line = "\n#crc32 = " + std::to_string(crc32(kText));
    EXPECT_FALSE(accepts(kText + line + line + "\n"));
}

TEST_F(InifileCrc, WhatFollowsTheCrcLineIsDropped) {
    EXPECT_TRUE(accepts(withCrc(kText) + "b = int,2\n#readonly\nnonsense\n"));
    check({"settings/a = int,1"});
    EXPECT_FALSE(storage_->readonly());
    EXPECT_EQ(errInfo(), "");
    EXPECT_FALSE(accepts(withCrcValue("false") + "b = int,2\n"));
}

TEST_F(InifileCrc, WithoutItsLineFeedTheCrcLoosesItsLastDigit) {
    std::string bytes = withCrc(kText);
    bytes.pop_back();
    EXPECT_FALSE(accepts(bytes));
    const std::string cut = std::to_string(crc32(kText) / 10);
    EXPECT_EQ(logged(5, failed(cut, cut)), 1U) << log_.dump();
}

TEST_F(InifileCrc, TheLineIsFoundByItsFirstBytesAlone) {
    const std::string value = std::to_string(crc32(kText));
    EXPECT_TRUE(accepts(kText + "\n#crc32=" + value + "\n"));
    EXPECT_TRUE(accepts(kText + "\n#crc32 (of the text above) = " + value + "\n"));
    EXPECT_FALSE(accepts(kText + "\n#crc32 " + value + "\n"));
    EXPECT_FALSE(accepts(kText + "\n#crc32\n"));
    EXPECT_FALSE(accepts(kText + "\n#crc32"));
    EXPECT_FALSE(accepts(kText + "\n# crc32 = " + value + "\n"));
    EXPECT_FALSE(accepts(kText + "\n#CRC32 = " + value + "\n"));
}

TEST_F(InifileCrc, CarriageReturnsAreCoveredLikeAllBytes) {
    const std::string text = "#name = settings\r\na = int,1\r";
    EXPECT_TRUE(accepts(text + "\n#crc32 = " + std::to_string(crc32(text)) + "\r\n"));
    check({"settings/a = int,1"});
}

TEST_F(InifileCrc, LoadInifileDataGivesTheTextBeforeTheLine) {
    writeFile(rw_, withCrc(kText));
    create();
    std::string data = "left";
    EXPECT_TRUE(storage_->loadInifileData(rw_, data));
    EXPECT_EQ(data, kText);
}

TEST_F(InifileCrc, TheDefaultsAreAcceptedAsTheyAre) {
    for (const std::string& bytes :
         {kText, withCrcValue("1"), withCrcValue("FALSE"), withCrc(kText)}) {
        buildDefaults(bytes);
        create();
        std::string data;
        EXPECT_TRUE(storage_->loadInifileData(defaults_, data));
        EXPECT_EQ(data, bytes);
        EXPECT_TRUE(storage_->loadFile(defaults_));
        check({"settings/a = int,1"});
        EXPECT_EQ(storage_->crc32(), 0U);
    }
}

TEST_F(InifileCrc, AnyOtherFileThanTheDefaultsNeedsItsCrc) {
    buildDefaults(kText);
    create();
    writeFile(dir_.file("third.ini"), kText);
    EXPECT_FALSE(storage_->loadFile(dir_.file("third.ini")));
    storage_->filename(dir_.file("third.ini"));
    EXPECT_TRUE(storage_->loadFile(dir_.file("third.ini")));
    EXPECT_FALSE(storage_->loadFile(defaults_));
}

TEST_F(InifileCrc, ACopyOfTheDefaultsIsPreferredButNeedsItsCrc) {
    buildDefaults(kText);
    writeFile(defaults_ + ".tmp", withCrc("#name = settings\na = int,2"));
    ASSERT_TRUE(reopen());
    check({"settings/a = int,2"});
    writeFile(defaults_ + ".tmp", "#name = settings\na = int,3");
    ASSERT_TRUE(reopen());
    check({"settings/a = int,1"});
    EXPECT_EQ(logged(5, "SettingStorageInifile::loadInifileData( '" + defaults_ +
                            "' ): missing CRC data in file '" + defaults_ + ".tmp'"),
              1U)
        << log_.dump();
}

TEST_F(InifileCrc, LoadedDefaultsLeaveNoCrcBehind) {
    buildDefaults(kText);
    build("#name = settings\na = int,2");
    ASSERT_TRUE(reopen());
    EXPECT_NE(storage_->crc32(), 0U);
    ASSERT_TRUE(storage_->loadFile(defaults_));
    EXPECT_EQ(storage_->crc32(), 0U);
}

TEST_F(InifileCrc, AResetWritesTheDefaultsThoughAnotherProcessWroteSinceTheLoad) {
    buildDefaults(withCrc(kDefaults));
    writeFile(rw_, withCrc(kDefaults));
    ASSERT_TRUE(reopen());
    build("#name = settings\n#savepolicy = ondemand\n[]\na = int,2");
    EXPECT_TRUE(storage_->resetToDefaults());
    EXPECT_EQ(readFile(rw_), withCrc(kDefaults));
}

TEST_F(InifileCrc, AResetFromACopyOfTheDefaultsWritesThemToo) {
    buildDefaults("torn");
    writeFile(defaults_ + ".tmp", withCrc(kDefaults));
    build("#name = settings\n#savepolicy = ondemand\n[]\na = int,2");
    ASSERT_TRUE(reopen());
    check({"settings/a = int,2"});
    EXPECT_TRUE(storage_->resetToDefaults());
    check({"settings/a = int,1"});
    EXPECT_EQ(readFile(rw_), withCrc(kDefaults));
}

TEST_F(InifileCrc, ALoadThatFindsNoUsableFileLeavesNoCrcBehind) {
    build(kText);
    ASSERT_TRUE(reopen());
    EXPECT_NE(storage_->crc32(), 0U);
    writeFile(rw_, "torn");
    EXPECT_FALSE(storage_->loadFile(rw_));
    EXPECT_EQ(storage_->crc32(), 0U);
}

TEST_F(InifileCrc, AResetWithoutUsableDefaultsWritesThePresentValues) {
    buildDefaults(kText);
    build(kDefaults);
    ASSERT_TRUE(reopen());
    writeFile(rw_, "somebody else's");
    std::filesystem::remove(defaults_);
    EXPECT_TRUE(storage_->resetToDefaults());
    EXPECT_EQ(readFile(rw_), withCrc(kDefaults));
    EXPECT_EQ(loggedByBase(5, "Error loading '" + defaults_ +
                                  "' for a reset to defaults, keeping the present values."),
              1U)
        << log_.dump();
}

TEST_F(InifileCrc, ALoadThatThrowsLeavesNoCrcBehind) {
    build("a = int,1\n#name = settings");
    ASSERT_TRUE(reopen());
    EXPECT_EQ(storage_->crc32(), 0U);
    EXPECT_TRUE(exists(bad_));
}

// The very text of the change has just gone elsewhere, which must not pass for its being saved.
TEST_F(InifileCrc, AnExportDoesNotStandForASave) {
    build(kDefaults);
    ASSERT_TRUE(reopen());
    setting("settings/a")->setValue(2);
    const std::string other = dir_.file("export.ini");
    EXPECT_TRUE(storage_->saveFile(other));
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), readFile(other));
    ASSERT_TRUE(reopen());
    check({"settings/a = int,2"});
}

TEST_F(InifileCrc, ASaveDoesNotStandForAnExport) {
    build(kDefaults);
    ASSERT_TRUE(reopen());
    for (const char* const name : {"export.ini", "second.ini"}) {
        EXPECT_TRUE(storage_->saveFile(dir_.file(name)));
        EXPECT_EQ(readFile(dir_.file(name)), withCrc(kDefaults)) << name;
    }
}

TEST_F(InifileCrc, AnImportOrALookAtABackupDoesNotStandForASave) {
    const std::string backup = dir_.file("backup.ini");
    writeFile(backup, withCrc(kDefaults));
    build("#name = settings\n#savepolicy = ondemand\n[]\na = int,2");
    ASSERT_TRUE(reopen());
    EXPECT_TRUE(storage_->loadFile(backup));
    EXPECT_TRUE(storage_->saveFile(rw_));
    EXPECT_EQ(readFile(rw_), withCrc(kDefaults));
    setting("settings/a")->setValue(2);
    EXPECT_TRUE(storage_->save());
    setting("settings/a")->setValue(1);
    std::string data;
    EXPECT_TRUE(storage_->loadInifileData(backup, data));
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), withCrc(kDefaults));
}

TEST_F(InifileCrc, ATextOfTheClientsOwnIsNotTheOneThatWasSaved) {
    build(kDefaults);
    ASSERT_TRUE(reopen());
    EXPECT_TRUE(storage_->writeIniFile(rw_, withCrc("#name = settings\n[]\na = int,7")));
    setting("settings/a")->setValue(1);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), withCrc(kDefaults));
}

TEST_F(InifileCrc, AnExportThatFailsLeavesTheSavedTextKnown) {
    build(kDefaults);
    ASSERT_TRUE(reopen());
    const std::uint32_t known = storage_->crc32();
    std::filesystem::create_directory(dir_.file("directory.ini"));
    EXPECT_FALSE(storage_->saveFile(dir_.file("directory.ini")));
    EXPECT_EQ(storage_->crc32(), known);
}

}  // namespace
