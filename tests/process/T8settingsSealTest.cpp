#include <chrono>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>

#include "ToolRun.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;
using testsupport::ToolRun;
using Json = nlohmann::json;

const std::string kText =
    "#name = settings\n#savepolicy = async\n# a comment\r\n\n[sound]\n bass = int8 , 05\n";
const std::string kSealed = kText + "#crc32 = 465045114\n";

class T8settingsSeal : public testsupport::ToolTest {
protected:
    T8settingsSeal() { put("settings/settings.ini", kText); }

    ToolRun seal(std::vector<std::string> options = {}) const {
        options.insert(options.begin(), {"seal", file_});
        return run(options);
    }

    /// Exit code 1, this text first on standard error, and the file as it was.
    void expectUnchanged(const ToolRun& seal, const std::string& bytes, const std::string& text) {
        EXPECT_EQ("", seal.out);
        EXPECT_THAT(seal.err, StartsWith("t8settings: " + text));
        EXPECT_EQ(1, seal.exitCode);
        EXPECT_EQ(bytes, testsupport::readFile(file_));
    }

    std::string file_ = path("settings/settings.ini");
};

TEST_F(T8settingsSeal, CrcLineIsAddedAndAllBytesBeforeItStay) {
    const ToolRun sealed = seal();
    EXPECT_EQ(file_ + ": sealed, 1 setting, CRC 465045114\n", sealed.out);
    EXPECT_EQ("", sealed.err);
    EXPECT_EQ(0, sealed.exitCode);
    EXPECT_EQ(kSealed, bytesOf("settings/settings.ini"));
    EXPECT_FALSE(testsupport::exists(file_ + ".tmp"));
    EXPECT_EQ("5\n", run({"get", "settings/sound/bass"}).out);
    EXPECT_FALSE(testsupport::exists(file_ + ".bad"));
}

TEST_F(T8settingsSeal, SettingsThatAreHardlyMeantSoAreToldAndSealed) {
    put("qel-default-settings/settings.ini", "#name = settings\n[sound]\nbass = string,\n");
    const ToolRun sealed = seal();
    EXPECT_EQ(file_ + ": sealed, 1 setting, CRC 465045114\n", sealed.out);
    EXPECT_EQ(
        "t8settings: warning: " + file_ + ":6: settings/sound/bass is int8 here and string in " +
            path("qel-default-settings/settings.ini") + "; write string, unless it is meant so\n",
        sealed.err);
    EXPECT_EQ(0, sealed.exitCode);
}

TEST_F(T8settingsSeal, AnotherStorageNameThanTheDefaultsHaveStopsIt) {
    put("qel-default-settings/settings.ini", "#name = settings\n[sound]\nbass = int8,0\n");
    const std::string text = "#name = media\n[sound]\nbass = int8,5\n#crc32 = false\n";
    put("settings/settings.ini", text);
    expectUnchanged(seal(), text,
                    file_ + ":1: its storage is called \"media\" here and \"settings\" in " +
                        path("qel-default-settings/settings.ini") +
                        ": the settings there keep that name; give both the same #name\n");
}

TEST_F(T8settingsSeal, FileWithoutAnySettingIsTold) {
    put("settings/settings.ini", "#name = settings\n");
    const ToolRun sealed = seal();
    EXPECT_THAT(sealed.out, StartsWith(file_ + ": sealed, 0 settings, CRC "));
    EXPECT_EQ("t8settings: warning: " + file_ + ": no setting is in it\n", sealed.err);
    EXPECT_EQ(0, sealed.exitCode);
}

TEST_F(T8settingsSeal, SectionThatIsNotClosedAboveSettingsStopsIt) {
    const std::string text = kText + "[picture\ntone = int8,1\n";
    put("settings/settings.ini", text);
    expectUnchanged(seal(), text,
                    file_ +
                        ":7: section is not closed, so the settings below it are read into "
                        "section \"sound\"; write the \"]\"\n");
}

TEST_F(T8settingsSeal, WhatStandsBehindASectionStopsItToo) {
    const std::string text = kText + "[picture] # tone\ntone = int8,1\n";
    put("settings/settings.ini", text);
    expectUnchanged(seal(), text,
                    file_ +
                        ":7: something stands behind the \"]\" of a section, so the settings below "
                        "it are read into section \"sound\"; move it to a line of its own\n");
}

TEST_F(T8settingsSeal, WrongCutAndSwitchedOffCrcLinesAreReplaced) {
    for (const char* const line :
         {"#crc32 = 12\n", "#crc32 = false\n", "#crc32 = 465", "#crc32\n"}) {
        put("settings/settings.ini", kText + line);
        const ToolRun sealed = runBare({"seal", file_, "--json", "--marker", marker_});
        EXPECT_EQ(Json({{"file", file_},
                        {"written", true},
                        {"settings", 1},
                        {"crc", 465045114},
                        {"kept", Json::array()}}),
                  Json::parse(sealed.out))
            << line;
        EXPECT_EQ(kSealed, bytesOf("settings/settings.ini")) << line;
    }
}

TEST_F(T8settingsSeal, LineThatMayBeCutShortIsSealedByForceAlone) {
    const std::string cut = kText.substr(0, kText.size() - 1);
    put("settings/settings.ini", cut);
    const std::string finding = file_ +
                                ":6: the last line may be cut short, as no line feed ends it; "
                                "complete it, and end it with a "
                                "line feed\n";
    expectUnchanged(seal(), cut, finding);
    const ToolRun forced = seal({"--force"});
    EXPECT_EQ("t8settings: warning: " + finding, forced.err);
    EXPECT_EQ(0, forced.exitCode);
    EXPECT_EQ(kSealed, bytesOf("settings/settings.ini"));
}

TEST_F(T8settingsSeal, CrcLineThatHasLostItsLineFeedIsNoText) {
    const std::string damaged = kText + "wakeTime = string,06:45#crc32 = 3179768639\n";
    put("settings/settings.ini", damaged);
    expectUnchanged(seal(), damaged,
                    file_ +
                        ":7: settings/sound/wakeTime has run into the CRC line; write \"#crc32\" "
                        "at the start of a line of its own; if it is meant so: wakeTime = "
                        "string,\"06:45#crc32 = 3179768639\"\n");
    put("settings/settings.ini", kText + "wakeTime = string,\"06:45#crc32 = 3179768639\"\n");
    EXPECT_EQ("", seal().err);
}

TEST_F(T8settingsSeal, BlanksAndCommentsBehindTheLastLineCutNothing) {
    put("settings/settings.ini", kText + "#savepol");
    EXPECT_EQ(1, seal().exitCode);
    for (const char* const end : {"  ", "# the end"}) {
        put("settings/settings.ini", kText + end);
        const ToolRun sealed = seal();
        EXPECT_EQ("", sealed.err) << end;
        EXPECT_EQ(0, sealed.exitCode) << end;
        EXPECT_EQ(0, run({"verify", file_}).exitCode) << end;
    }
}

TEST_F(T8settingsSeal, RightCrcIsLeftAlone) {
    put("settings/settings.ini", kSealed);
    using std::filesystem::last_write_time;
    last_write_time(file_, last_write_time(file_) - std::chrono::hours(24));
    const auto before = last_write_time(file_);
    const ToolRun sealed = seal();
    EXPECT_EQ(file_ + ": 1 setting, the CRC is right already; nothing was written\n", sealed.out);
    EXPECT_EQ(0, sealed.exitCode);
    EXPECT_EQ(before, last_write_time(file_));
    EXPECT_EQ(Json({{"file", file_},
                    {"written", false},
                    {"settings", 1},
                    {"crc", 465045114},
                    {"kept", Json::array()}}),
              Json::parse(seal({"--json"}).out));
}

TEST_F(T8settingsSeal, DefaultsFileNeedsNoCrc) {
    put("qel-default-settings/settings.ini", kText);
    const std::string defaults = path("qel-default-settings/settings.ini");
    const ToolRun sealed = run({"seal", defaults});
    EXPECT_EQ(defaults + ": 1 setting, a defaults file, which needs no CRC; nothing was written\n",
              sealed.out);
    EXPECT_EQ(0, sealed.exitCode);
    EXPECT_EQ(kText, bytesOf("qel-default-settings/settings.ini"));
    EXPECT_EQ(Json({{"file", defaults},
                    {"written", false},
                    {"settings", 1},
                    {"crc", nullptr},
                    {"kept", Json::array()}}),
              Json::parse(run({"seal", defaults, "--json"}).out));
    put("qel-default-settings/settings.ini", kText + "slip\n");
    const ToolRun slip = run({"seal", defaults});
    EXPECT_THAT(slip.err, StartsWith("t8settings: " + defaults + ":7: no \"=\" after the key"));
    EXPECT_EQ(1, slip.exitCode);
}

TEST_F(T8settingsSeal, LinesThatWouldBeLostOrChangedAreNamedAndNothingIsWritten) {
    const std::string text = kText + "treble = int8,300\nslip\n[]\n";
    put("settings/settings.ini", text);
    const ToolRun refused = seal();
    expectUnchanged(refused, text, "warning: " + file_ + ":9: no line ends a section");
    EXPECT_THAT(refused.err,
                HasSubstr("\nt8settings: " + file_ +
                          ":7: settings/sound/treble: int8 would not keep \"300\", it would make "
                          "\"44\" of it; int8 takes whole numbers from -128 to 127\nt8settings: " +
                          file_ +
                          ":8: no \"=\" after the key; a setting is written KEY = TYPE,VALUE, a "
                          "comment # TEXT\nt8settings: " +
                          file_ + " is unchanged: mend these lines; --force seals it as it is\n"));
}

TEST_F(T8settingsSeal, ForceSealsThemAndWarns) {
    const std::string text = kText + "treble = int8,300\nslip\n";
    put("settings/settings.ini", text);
    const ToolRun sealed = seal({"--force"});
    EXPECT_THAT(sealed.err, AllOf(HasSubstr("t8settings: warning: " + file_ + ":7: "),
                                  HasSubstr("t8settings: warning: " + file_ + ":8: ")));
    EXPECT_EQ(0, sealed.exitCode);
    EXPECT_THAT(bytesOf("settings/settings.ini"), StartsWith(text + "#crc32 = "));
    EXPECT_EQ("44\n", run({"get", "settings/sound/treble"}).out);
}

TEST_F(T8settingsSeal, WhatNoProgramCouldLoadIsNotSealedByForceEither) {
    const std::string text = kText + "#name = other\n";
    put("settings/settings.ini", text);
    const ToolRun refused = seal({"--force"});
    expectUnchanged(refused, text, file_ + ":7: #name is not the first line");
    EXPECT_THAT(refused.err,
                HasSubstr("\nt8settings: " + file_ + " is unchanged: no program could load it\n"));
}

TEST_F(T8settingsSeal, LinesAfterTheCrcLineAreNotDroppedInSilence) {
    const std::string text = kSealed + "treble = int8,1\n";
    put("settings/settings.ini", text);
    expectUnchanged(seal(), text, file_ + ":7: lines after the CRC line are not read");
    put("settings/settings.ini.tmp", "torn");
    const std::string kept = file_ + ".before-recover: " + file_ + " as it was\n";
    const ToolRun full = run({"seal", file_, "--force"}, {}, [] {
        const rlimit few = {90, 90};
        setrlimit(RLIMIT_FSIZE, &few);
        signal(SIGXFSZ, SIG_IGN);
    });
    EXPECT_EQ(1, full.exitCode);
    EXPECT_EQ(text, bytesOf("settings/settings.ini"));
    EXPECT_EQ("torn", bytesOf("settings/settings.ini.tmp"));
    const ToolRun sealed = seal({"--force"});
    EXPECT_THAT(sealed.out, testing::EndsWith("\n" + kept + file_ + ".tmp.before-recover: " +
                                              file_ + ".tmp as it was\n"));
    EXPECT_EQ(0, sealed.exitCode);
    EXPECT_EQ(kSealed, bytesOf("settings/settings.ini"));
    EXPECT_EQ(text, bytesOf("settings/settings.ini.before-recover"));
}

TEST_F(T8settingsSeal, EmptyFileIsNotSealed) {
    put("settings/settings.ini", "");
    expectUnchanged(seal(), "", file_ + ": nothing is in it; ");
}

TEST_F(T8settingsSeal, GoodCopyMustBeSeenToFirst) {
    put("settings/settings.ini.tmp", kSealed);
    expectUnchanged(seal(), kText,
                    file_ + " is unchanged: programs would read " + file_ +
                        ".tmp in its place, the whole copy of an interrupted save\nt8settings: "
                        "t8settings recover " +
                        file_ + " shows what there is\nt8settings: to keep " + file_ +
                        " instead: mv " + file_ + ".tmp ");
    EXPECT_EQ(kSealed, bytesOf("settings/settings.ini.tmp"));
    const std::string shown = run({"recover", file_}).out;
    const std::string before = "\nTo go on with " + file_ + ".tmp: t8settings recover " + file_ +
                               " --from tmp\nTo keep " + file_ +
                               " instead, when its lines are as they should be: ";
    ASSERT_THAT(shown, HasSubstr(before));
    const std::string command = shown.substr(shown.find(before) + before.size());
    EXPECT_EQ(
        "mv " + file_ + ".tmp " + file_ + ".tmp.before-recover && t8settings seal " + file_ + "\n",
        command);
    EXPECT_EQ(0, run({}, {}, [&] {
                     const std::string all = "t8settings() { '" T8_TOOL "' \"$@\"; }\n" + command;
                     execl("/bin/sh", "sh", "-c", all.c_str(), nullptr);
                 }).exitCode);
    EXPECT_EQ(kSealed, bytesOf("settings/settings.ini.tmp.before-recover"));
    EXPECT_EQ(0, run({"verify", file_}).exitCode);
    EXPECT_THAT(bytesOf("settings/settings.ini"), StartsWith(kText));
}

TEST_F(T8settingsSeal, TornCopyIsKept) {
    const std::string copy = file_ + ".tmp";
    put("settings/settings.ini.tmp", "torn");
    EXPECT_EQ(file_ + ": sealed, 1 setting, CRC 465045114\n" + copy + ".before-recover: " + copy +
                  " as it was\n",
              seal().out);
    EXPECT_FALSE(testsupport::exists(copy));
    EXPECT_EQ("torn", testsupport::readFile(copy + ".before-recover"));
    put("settings/settings.ini", kText);
    put("settings/settings.ini.tmp", "#crc32 = 1\n");
    EXPECT_EQ(Json({{{"file", copy}, {"as", copy + ".before-recover.2"}}}),
              Json::parse(seal({"--json"}).out).at("kept"));
    EXPECT_EQ("#crc32 = 1\n", testsupport::readFile(copy + ".before-recover.2"));
}

TEST_F(T8settingsSeal, WhatIsNoSettingsFileIsRefused) {
    std::filesystem::remove(file_);
    const ToolRun missing = seal();
    EXPECT_EQ("t8settings: " + file_ + ": not there\n", missing.err);
    EXPECT_EQ(1, missing.exitCode);
    put("settings/settings.ini.bad", kText);
    EXPECT_EQ("t8settings: " + file_ + ": not there\nt8settings: t8settings recover " + file_ +
                  " shows what there is\n",
              seal().err);
    const ToolRun beside = run({"seal", file_ + ".bad"});
    EXPECT_THAT(beside.err, StartsWith("t8settings: " + file_ + ".bad lies beside " + file_));
    EXPECT_EQ(2, beside.exitCode);
    EXPECT_EQ(2, run({"seal", path("settings/x.xml")}).exitCode);
    EXPECT_EQ(2, run({"seal"}).exitCode);
    std::filesystem::create_directory(file_);
    EXPECT_EQ("t8settings: " + file_ +
                  ": cannot be read: Is a directory\nt8settings: t8settings "
                  "recover " +
                  file_ + " shows what there is\n",
              seal().err);
}

TEST_F(T8settingsSeal, ResetInProgressKeepsTheFileAsItIs) {
    testsupport::writeFile(marker_, "");
    const ToolRun refused = seal();
    EXPECT_EQ("t8settings: a reset to defaults is in progress, " + marker_ +
                  " exists: nothing is saved until the restart\n",
              refused.err);
    EXPECT_EQ(4, refused.exitCode);
    EXPECT_EQ(kText, bytesOf("settings/settings.ini"));
}

TEST_F(T8settingsSeal, PermissionsAreKept) {
    ASSERT_EQ(0, chmod(file_.c_str(), 0640));
    EXPECT_EQ(0, seal().exitCode);
    struct stat status;
    ASSERT_EQ(0, stat(file_.c_str(), &status));
    EXPECT_EQ(0640U, status.st_mode & 0777U);
}

TEST_F(T8settingsSeal, FullDiskLeavesTheFileAsItIs) {
    const ToolRun sealed = run({"seal", file_}, {}, [] {
        const rlimit few = {90, 90};
        setrlimit(RLIMIT_FSIZE, &few);
        signal(SIGXFSZ, SIG_IGN);
    });
    EXPECT_EQ("", sealed.out);
    EXPECT_EQ(1, sealed.exitCode);
    EXPECT_EQ(kText, bytesOf("settings/settings.ini"));
    EXPECT_FALSE(testsupport::exists(file_ + ".tmp"));
}

TEST_F(T8settingsSeal, DirectoryThatCannotBeWrittenLeavesTheFileAsItIs) {
    // A directory in the way of the copy, since nothing keeps root from writing.
    std::filesystem::create_directory(file_ + ".tmp");
    expectUnchanged(
        seal(), kText,
        file_ + " is unchanged, " + file_ + ".tmp could not be written: Is a directory\n");
}

TEST_F(T8settingsSeal, NamesOfAnyBytesAreSealed) {
    const std::string name = "settings/a b\n\xC3\xA9\xFF.ini";
    put(name, "\xFF = int,1\n");
    const ToolRun sealed = run({"seal", path(name)});
    EXPECT_THAT(sealed.out,
                StartsWith(path("settings/a b\\n\xC3\xA9\xFF.ini") + ": sealed, 1 setting, CRC "));
    EXPECT_EQ(0, sealed.exitCode);
    EXPECT_THAT(bytesOf(name), StartsWith("\xFF = int,1\n#crc32 = "));
    const Json json = Json::parse(run({"seal", path(name), "--json"}).out);
    EXPECT_EQ(path("settings/a b\n\xC3\xA9\xEF\xBF\xBD.ini"), json.at("file"));
    EXPECT_EQ(1U, json.count("fileBytes"));
}

TEST_F(T8settingsSeal, CopyIsInForceWhenTheFileCannotBeWritten) {
    ASSERT_EQ(0, chmod(file_.c_str(), 0444));
    const ToolRun failed = run({"seal", file_}, {}, ordinaryUser);
    EXPECT_EQ("t8settings: " + file_ + " could not be written: Permission denied\nt8settings: " +
                  file_ + ".tmp has the new text and is read in its place; when " + file_ +
                  " can be written, run: t8settings recover " + file_ + " --from tmp\n",
              failed.err);
    EXPECT_EQ(1, failed.exitCode);
    EXPECT_EQ("5\n", run({"get", "settings/sound/bass"}).out);
    ASSERT_EQ(0, chmod(file_.c_str(), 0644));
    EXPECT_EQ(0, run({"recover", file_, "--from", "tmp", "--yes"}).exitCode);
    EXPECT_EQ(kSealed, bytesOf("settings/settings.ini"));
    EXPECT_FALSE(testsupport::exists(file_ + ".tmp"));
}

TEST_F(T8settingsSeal, ForceIsNotAdvisedWhereItDoesNotHelp) {
    const std::string text = "#name = settings\n[sound]\n#name = settings\nbass = int8,5\n";
    put("settings/settings.ini", text);
    const std::string finding =
        file_ +
        ":3: #name is not the first line; move it to the top: as it is, no program can load the "
        "file\nt8settings: " +
        file_ + " is unchanged: ";
    expectUnchanged(seal(), text,
                    finding + "mend these lines; no program could load it as it is\n");
    expectUnchanged(seal({"--force"}), text, finding + "no program could load it\n");
}

}  // namespace
