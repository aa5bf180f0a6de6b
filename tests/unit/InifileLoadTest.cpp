#include <boost/make_shared.hpp>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <vector>

#include "IniStorageFixture.h"
#include "SystemCommands.h"

namespace {

using namespace Qel::Settings;
using testsupport::exists;
using testsupport::IniStorageFixture;
using testsupport::readFile;
using testsupport::withCrc;
using testsupport::writeFile;

const char* const kNameNotFirst = "#name must be first line in ini-file.";

class InifileLoad : public IniStorageFixture {
protected:
    /// Loads the text as the storage's defaults, which need no CRC line.
    bool load(const std::string& text) {
        buildDefaults(text);
        log_.clear();
        return reopen();
    }

    std::string rejected(const std::string& line) const {
        return "SettingStorageInifile: failed to load '" + line + "'";
    }

    std::string refused(const std::string& name, const std::string& line) const {
        return "SettingStorageInifile: failed to load " + name + " from " + defaults_ +
               " (line=" + line + ")";
    }
};

TEST_F(InifileLoad, TheWorkedExampleLoads) {
    writeFile(rw_, readFile(T8_TEST_DATA_DIR "/ini/example.ini"));
    ASSERT_TRUE(reopen());
    check({"settings/sound/bass = int8,-2", "settings/sound/treble = int8,3"});
    EXPECT_EQ(storage_->name(), "settings");
    EXPECT_EQ(storage_->savePolicy(), Storage::Save_async);
    EXPECT_EQ(storage_->crc32(), 1168239953U);
    EXPECT_EQ(setting("settings/sound/bass")->getValue<signed char>(), -2);
    EXPECT_EQ(errInfo(), "");
    EXPECT_FALSE(storage_->dirty());
}

TEST_F(InifileLoad, ALoadTellsItsSteps) {
    build("#name = settings");
    ASSERT_TRUE(reopen());
    const std::string load = "2 SettingStorageInifile::loadInifileData( '" + rw_ + "' ): ";
    EXPECT_EQ(messagesOf("src/SettingsStorageInifile"),
              (std::vector<std::string>{
                  "2 SettingStorageInifile::loadFile( '" + rw_ + "' )",
                  load + "trying '" + copy_ + "'",
                  load + "trying '" + rw_ + "'",
                  "2 SettingStorageInifile::loadInifileData(): crc found",
                  load + "valid CRC " + std::to_string(storage_->crc32()) + " found, using file '" +
                      rw_ + "'",
                  "2 SettingStorageInifile::loadFile(): done, result=1",
              }));
    EXPECT_EQ(logged(2, "SettingStorageInifile::loadFile( '" + rw_ + "' )"), 1U);
}

TEST_F(InifileLoad, ALoadOfTheDefaultsTellsItsSteps) {
    ASSERT_TRUE(load("#name = settings"));
    const std::string steps = "2 SettingStorageInifile::loadInifileData( '" + defaults_ + "' ): ";
    EXPECT_EQ(
        messagesOf("src/SettingsStorageInifile"),
        (std::vector<std::string>{
            "2 SettingStorageInifile::loadFile( '" + defaults_ + "' )",
            steps + "trying '" + defaults_ + ".tmp'",
            steps + "trying '" + defaults_ + "'",
            "2 SettingStorageInifile::loadInifileData(): factory settings file; skipping CRC check "
            "(" +
                defaults_ + ")",
            "2 SettingStorageInifile::loadFile(): done, result=1",
        }));
}

TEST_F(InifileLoad, ALoadWithoutAUsableFileTellsItsSteps) {
    defaults_ = dir_.file("absent.ini");
    EXPECT_FALSE(reopen());
    const std::string steps = "2 SettingStorageInifile::loadInifileData( '" + defaults_ + "' ): ";
    EXPECT_EQ(messagesOf("src/SettingsStorageInifile"),
              (std::vector<std::string>{
                  "2 SettingStorageInifile::loadFile( '" + defaults_ + "' )",
                  steps + "trying '" + defaults_ + ".tmp'",
                  steps + "trying '" + defaults_ + "'",
                  steps + "0",
                  "2 SettingStorageInifile::loadFile(): done, result=0",
              }));
}

TEST_F(InifileLoad, AnEmptyPathIsNoFile) {
    create();
    std::string data = "left";
    EXPECT_FALSE(storage_->loadInifileData("", data));
    EXPECT_EQ(messagesOf("src/SettingsStorageInifile"),
              std::vector<std::string>{"2 SettingStorageInifile::loadInifileData( '' ): 0"});
    EXPECT_FALSE(storage_->loadFile(""));
}

TEST_F(InifileLoad, AnEmptyDefaultsFileGivesNoSettings) {
    for (const char* const text : {"", "\n", " \n\t\n", "#name = settings\n"}) {
        EXPECT_TRUE(load(text));
        check({});
        EXPECT_EQ(errInfo(), "");
    }
}

TEST_F(InifileLoad, ANameLineThatIsNotFirstThrows) {
    for (const char* const before : {"# comment", "#savepolicy = ondemand", "a = int,1", "[sound]",
                                     "[]", "[", "nonsense", "#name = settings", "#"}) {
        buildDefaults(std::string(before) + "\n#name = settings\n");
        create();
        try {
            storage_->loadFile(defaults_);
            FAIL() << "no exception after " << before;
        } catch (const std::runtime_error& e) {
            EXPECT_STREQ(e.what(), kNameNotFirst) << before;
        }
    }
}

TEST_F(InifileLoad, BlankLinesMayStandBeforeTheNameLine) {
    ASSERT_TRUE(load("\n  \n\r\n\t#name = other\na = int,1\n"));
    EXPECT_EQ(storage_->name(), "other");
    check({"other/a = int,1"});
}

TEST_F(InifileLoad, AMisplacedNameLineInTheDefaultsFailsTheInit) {
    EXPECT_FALSE(load("# comment\n#name = settings\n"));
    EXPECT_EQ(loggedByBase(5, "Error loading '" + rw_ + "' (r/o, no recovery): " + kNameNotFirst),
              1U)
        << log_.dump();
    EXPECT_TRUE(exists(defaults_));
    EXPECT_FALSE(exists(defaults_ + ".bad"));
}

TEST_F(InifileLoad, AMisplacedNameLineInTheReadWriteFileSetsItAside) {
    build("# comment\n#name = settings");
    const std::string bytes = readFile(rw_);
    EXPECT_TRUE(reopen());
    EXPECT_FALSE(exists(rw_));
    EXPECT_EQ(readFile(bad_), bytes);
    EXPECT_EQ(loggedByBase(5, "Error loading '" + rw_ +
                                  "' (threw exception, r/w, renamed to *.bad): " + kNameNotFirst),
              1U)
        << log_.dump();
}

TEST_F(InifileLoad, WhatStandsBeforeAMisplacedNameLineStays) {
    build("a = int,1\n#name = settings\nb = int,2");
    EXPECT_TRUE(reopen());
    check({"settings/a = int,1"});
}

TEST_F(InifileLoad, EachFilesNameLineRenamesTheStorage) {
    buildDefaults("#name = tv\na = int,1\n");
    build("#name = television\na = int,2");
    ASSERT_TRUE(reopen());
    EXPECT_EQ(storage_->name(), "television");
    check({"television/a = int,2", "tv/a = int,1"});
}

TEST_F(InifileLoad, SettingsWithoutANameLineAreFiledUnderTheConstructorsName) {
    ASSERT_TRUE(load("a = int,1\n[sound]\nb = int,2"));
    EXPECT_EQ(storage_->name(), "settings");
    check({"settings/a = int,1", "settings/sound/b = int,2"});
}

TEST_F(InifileLoad, ABareNameLineGivesTheEmptyName) {
    ASSERT_TRUE(load("#name\na = int,1\n[b]\nc = int,2"));
    EXPECT_EQ(storage_->name(), "");
    check({"/a = int,1", "/b/c = int,2"});
}

TEST_F(InifileLoad, ANameMayHoldEqualsAndCommas) {
    ASSERT_TRUE(load("#name = a=b,c/d\nk = int,1"));
    EXPECT_EQ(storage_->name(), "a=b,c/d");
    check({"a=b,c/d/k = int,1"});
}

TEST_F(InifileLoad, ThePresenceOfReadonlyIsEnough) {
    for (const char* const line : {"#readonly = 1", "#readonly = false", "#readonly = 0",
                                   "#readonly=", "#readonly", "  # readonly  = no"}) {
        ASSERT_TRUE(load("#name = settings\n" + std::string(line) + "\na = int,1")) << line;
        EXPECT_TRUE(storage_->readonly()) << line;
        EXPECT_EQ(storage_->rwFilename(), nullptr) << line;
        EXPECT_FALSE(setting("settings/a")->setValue(2)) << line;
    }
}

TEST_F(InifileLoad, ReadonlyInTheReadWriteFileCountsToo) {
    build("#name = settings\n#readonly = 1\na = int,1");
    ASSERT_TRUE(reopen());
    EXPECT_TRUE(storage_->readonly());
}

TEST_F(InifileLoad, OtherHeaderLinesAreIgnored) {
    ASSERT_TRUE(
        load("#name = settings\n#Readonly = 1\n#read only = 1\n## readonly = 1\n#crc32 = 1\n"
             "#version = 7\n# just words\n#\na = int,1\n"));
    EXPECT_FALSE(storage_->readonly());
    check({"settings/a = int,1"});
    EXPECT_EQ(errInfo(), "");
}

TEST_F(InifileLoad, TheFirstEqualsEndsTheKeyAndTheCommaAfterItTheType) {
    ASSERT_TRUE(
        load("#name = settings\nk = string,a=b,c = d\na,b = int,1\ne=string,=\nf = string,,\n"));
    check({"settings/a,b = int,1", "settings/e = string,=", "settings/f = string,\",\"",
           "settings/k = string,\"a=b,c = d\""});
}

TEST_F(InifileLoad, KeyTypeAndValueAreTrimmed) {
    ASSERT_TRUE(load("\t #name =\v tv \f\n  a b \t=  string\t, \t x  y \r\n\tk=string, \n"));
    check({"tv/a b = string,x  y", "tv/k = string,"});
}

TEST_F(InifileLoad, AnEmptyKeyIsAKey) {
    ASSERT_TRUE(load("#name = settings\n= int,5\n[s]\n = int,6"));
    check({"settings/ = int,5", "settings/s/ = int,6"});
}

TEST_F(InifileLoad, ALineWithoutEqualsOrTheCommaAfterItIsRejectedAndTheRestLoads) {
    ASSERT_TRUE(
        load("#name = settings\nbass = int8\n  a,b = int \nnonsense\nbass, int8\n]\nlast = int,1"));
    check({"settings/last = int,1"});
    for (const char* const line : {"bass = int8", "a,b = int", "nonsense", "bass, int8", "]"}) {
        EXPECT_EQ(logged(5, rejected(line)), 1U) << line << log_.dump();
    }
    EXPECT_EQ(errInfo(), "bass = int8\na,b = int\nnonsense\nbass, int8\n]\n");
}

TEST_F(InifileLoad, ALineOfAnUnknownTypeIsRefusedAndTheRestLoads) {
    ASSERT_TRUE(
        load("#name = settings\n[s]\na = Int,1\n b = integer , 2 \nc = ,3\nd= ,\nlast = int,1"));
    check({"settings/s/last = int,1"});
    EXPECT_EQ(logged(5, refused("settings/s/a", "a = Int,1")), 1U) << log_.dump();
    EXPECT_EQ(logged(5, refused("settings/s/b", "b = integer , 2")), 1U) << log_.dump();
    EXPECT_EQ(logged(5, refused("settings/s/c", "c = ,3")), 1U) << log_.dump();
    EXPECT_EQ(logged(5, refused("settings/s/d", "d= ,")), 1U) << log_.dump();
    EXPECT_EQ(errInfo(), "a = Int,1\nb = integer , 2\nc = ,3\nd= ,\n");
}

TEST_F(InifileLoad, ALineThatItsTypeCannotLoadIsRefusedAndTheRestLoads) {
    struct Odd {};
    types_->registerType(
        typeid(Odd), "throws",
        [](std::string, const std::string&) -> boost::shared_ptr<SettingHolder> {
            throw std::runtime_error("cannot");
        },
        nullptr);
    types_->registerType(
        typeid(Odd), "throws anything",
        [](std::string, const std::string&) -> boost::shared_ptr<SettingHolder> { throw 5; },
        nullptr);
    types_->registerType(
        typeid(Odd), "refuses",
        [](std::string, const std::string&) { return boost::shared_ptr<SettingHolder>(); },
        nullptr);
    types_->registerType(typeid(Odd), "cannot load", nullptr, nullptr);
    ASSERT_TRUE(
        load("#name = settings\na = throws,1\nb = throws anything,1\nc = refuses,1\n"
             "d = cannot load,1\nlast = int,1"));
    check({"settings/last = int,1"});
    EXPECT_EQ(logged(5, refused("settings/a", "a = throws,1")), 1U) << log_.dump();
    EXPECT_EQ(logged(5, refused("settings/b", "b = throws anything,1")), 1U) << log_.dump();
    EXPECT_EQ(logged(5, refused("settings/c", "c = refuses,1")), 1U) << log_.dump();
    EXPECT_EQ(logged(5, refused("settings/d", "d = cannot load,1")), 1U) << log_.dump();
    EXPECT_EQ(errInfo(), "a = throws,1\nb = throws anything,1\nc = refuses,1\nd = cannot load,1\n");
}

TEST_F(InifileLoad, WithoutAFactoryEverySettingIsRefused) {
    types_.reset();
    EXPECT_TRUE(load("#name = settings\na = int,1"));
    EXPECT_TRUE(storage_->settingsSet().empty());
    EXPECT_EQ(logged(5, refused("settings/a", "a = int,1")), 1U) << log_.dump();
    EXPECT_EQ(errInfo(), "a = int,1\n");
}

// Who has edited the file by hand is told where to look, and what they stand to lose.
TEST_F(InifileLoad, ARejectedLineIsToldWithItsFileNumberReasonAndFate) {
    const std::string text =
        "#name = settings\r\n\n[s]\nbass\n  bass = 1  \n[\na = Int,1\nb = refuses,1\nc = int,1";
    types_->registerType(
        typeid(this), "refuses",
        [](std::string, const std::string&) { return boost::shared_ptr<SettingHolder>(); },
        nullptr);
    const auto told = [this](int line, const std::string& path, const std::string& rest) {
        return logged(4, "SettingStorageInifile: line " + std::to_string(line) + " of '" + path +
                             "' is ignored" + rest);
    };
    ASSERT_TRUE(load(text));
    EXPECT_EQ(told(4, defaults_, ": no \"=\" after the key"), 1U) << log_.dump();
    EXPECT_EQ(told(5, defaults_, ": no \",\" after the type"), 1U) << log_.dump();
    EXPECT_EQ(told(7, defaults_, ": unknown type"), 1U) << log_.dump();
    EXPECT_EQ(told(8, defaults_, ": no value of its type"), 1U) << log_.dump();
    buildDefaults("");
    const std::string lost = " and missing from the file once it is saved: ";
    for (const std::string& path : {rw_, copy_}) {
        writeFile(path, withCrc(text));
        log_.clear();
        ASSERT_TRUE(reopen());
        EXPECT_EQ(told(4, path, lost + "no \"=\" after the key"), 1U) << log_.dump();
        EXPECT_EQ(told(5, path, lost + "no \",\" after the type"), 1U) << log_.dump();
        EXPECT_EQ(told(7, path, lost + "unknown type"), 1U) << log_.dump();
        EXPECT_EQ(told(8, path, lost + "no value of its type"), 1U) << log_.dump();
    }
}

TEST_F(InifileLoad, TheMessageNamesTheFileThoughItsCopyWasRead) {
    build("#name = settings");
    buildCopy("#name = settings\na = nothing,1");
    ASSERT_TRUE(reopen());
    EXPECT_EQ(logged(5, "SettingStorageInifile: failed to load settings/a from " + rw_ +
                            " (line=a = nothing,1)"),
              1U)
        << log_.dump();
}

TEST_F(InifileLoad, PercentSignsInLinesAndPathsAreText) {
    defaults_ = dir_.file("50%s%n.ini");
    writeFile(defaults_, "#name = 100%d\n%s%n = nothing,%s\n%n\n");
    ASSERT_TRUE(reopen());
    EXPECT_EQ(logged(5, refused("100%d/%s%n", "%s%n = nothing,%s")), 1U) << log_.dump();
    EXPECT_EQ(logged(5, rejected("%n")), 1U) << log_.dump();
}

TEST_F(InifileLoad, WithLoggingOffRejectedLinesAreCollectedAllTheSame) {
    qlog::setDefaultThreshold(6);
    ASSERT_TRUE(load("#name = settings\nnonsense\na = nothing,1\nb = int,1"));
    EXPECT_EQ(errInfo(), "nonsense\na = nothing,1\n");
    EXPECT_TRUE(log_.entries().empty()) << log_.dump();
    check({"settings/b = int,1"});
}

TEST_F(InifileLoad, OfTwoLinesForOneSettingTheLaterCounts) {
    ASSERT_TRUE(load("#name = settings\na = int,1\n[s]\nb = int,1\n[s]\nb = string,x\n"));
    check({"settings/a = int,1", "settings/s/b = string,x"});
}

TEST_F(InifileLoad, ReadWriteValuesReplaceTheDefaultsSettingBySetting) {
    buildDefaults("#name = settings\na = int,1\n[s]\nb = int,2\nc = int,3\n");
    build("#name = settings\n[s]\nb = int,20\nd = int,40");
    ASSERT_TRUE(reopen());
    check({"settings/a = int,1", "settings/s/b = int,20", "settings/s/c = int,3",
           "settings/s/d = int,40"});
    EXPECT_FALSE(storage_->dirty());
}

TEST_F(InifileLoad, ErrorTextsOfBothFilesAreCollected) {
    buildDefaults("#name = settings\nfirst\n");
    build("#name = settings\nsecond");
    ASSERT_TRUE(reopen());
    EXPECT_EQ(errInfo(), "first\nsecond\n");
}

TEST_F(InifileLoad, FilesWithCarriageReturnsLoad) {
    buildDefaults("#name = settings\r\n[sound]\r\na = string,x\r\n");
    build("#name = settings\r\n#savepolicy = eachchange\r\n\r\n[sound]\r\nb = int,2\r");
    ASSERT_TRUE(reopen());
    check({"settings/sound/a = string,x", "settings/sound/b = int,2"});
    EXPECT_EQ(storage_->savePolicy(), Storage::Save_onEachChange);
}

TEST_F(InifileLoad, BytesOfEveryKindPassThrough) {
    std::string value;
    for (int byte = 1; byte < 256; ++byte) {
        if (byte != '\n' && byte != '\\') {
            value += static_cast<char>(byte);
        }
    }
    buildDefaults("#name = settings\na = string,<" + value + ">\n");
    writeFile(defaults_, readFile(defaults_) + std::string("b = string,x\0y\nc = int,1", 24));
    ASSERT_TRUE(reopen());
    EXPECT_EQ(setting("settings/a")->getValue<std::string>(), "<" + value + ">");
    EXPECT_EQ(setting("settings/b")->getValue<std::string>(), std::string("x\0y", 3));
    EXPECT_EQ(setting("settings/c")->getValue<int>(), 1);
}

}  // namespace
