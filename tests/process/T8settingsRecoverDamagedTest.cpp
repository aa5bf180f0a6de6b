#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>

#include "RecoverFixture.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using testsupport::kNew;
using testsupport::kOld;
using testsupport::ToolRun;
using Json = nlohmann::json;

class T8settingsRecoverDamaged : public testsupport::RecoverTest {};

TEST_F(T8settingsRecoverDamaged, DamagedCopyIsKeptSinceNotAllOfItComesBack) {
    putFile(kNew);
    putTmp("#name = settings\n[sound]\nbass = int8,7\ntreb");
    EXPECT_EQ(5, recover({"--from", "tmp", "--yes"}).exitCode);
    EXPECT_THAT(bytes(), StartsWith("#name = settings\n[sound]\nbass = int8,7\n#crc32 = "));
    EXPECT_EQ("#name = settings\n[sound]\nbass = int8,7\ntreb", bytes(".tmp.before-recover"));
    EXPECT_EQ(kNew, bytes(".before-recover"));
    EXPECT_FALSE(isThere(".tmp"));
}

TEST_F(T8settingsRecoverDamaged, OfADamagedFileAllAcceptableLinesArePutBackAndTheOthersListed) {
    put("qel-default-settings/settings.ini",
        "[sound]\nname = string,\ntreble = int8,0\nbalance = int8,0\n");
    putBad(
        "#name = settings\n[sound]\nbass = int8,1\nba\x01\xFF\ntreble = int8,999\nname = string,y\n"
        "balance = int8,1");
    const std::string bad = file_ + ".bad";
    const ToolRun recovered = recover({"--from", "bad", "--yes"});
    EXPECT_EQ(
        bad +
            ":4: no \"=\" after the key; if it was a section, the settings below it are read into "
            "section \"sound\"; a setting is written KEY = TYPE,VALUE, a comment # TEXT\n" +
            bad +
            ":5: settings/sound/treble: int8 would not keep \"999\", it would make \"-25\" of "
            "it; int8 takes whole numbers from -128 to 127\n" +
            bad +
            ":7: the last line may be cut short, as no line feed ends it; complete it, and end it "
            "with a "
            "line feed\n" +
            bad + ": settings/sound/balance does not come back and has its default\n" + bad +
            ": settings/sound/treble does not come back and has its default\n" + file_ +
            ": 2 settings from " + bad + ", CRC 2797478617\n",
        recovered.out);
    EXPECT_EQ(5, recovered.exitCode);
    EXPECT_EQ("#name = settings\n[sound]\nbass = int8,1\nname = string,y\n#crc32 = 2797478617\n",
              bytes());
}

TEST_F(T8settingsRecoverDamaged, ValuesBehindAWrongCrcAreToldToBeUncertain) {
    put("qel-default-settings/settings.ini", "#name = settings\nbass = int8,0\n");
    putBad("#name = settings\nbass = int8,7\n#crc32 = 1\n");
    const ToolRun recovered = recover({"--from", "bad", "--yes"});
    EXPECT_THAT(recovered.err, StartsWith("t8settings: warning: " + file_ + ".bad: wrong CRC: "));
    EXPECT_THAT(recovered.err, testing::EndsWith("; so what comes back of it may have wrong "
                                                 "values: look at them\n"));
    EXPECT_EQ(0, recovered.exitCode);
}

TEST_F(T8settingsRecoverDamaged, WhereNothingComesBackTheDefaultsAreNotListed) {
    put("qel-default-settings/settings.ini", "#name = settings\nbass = int8,0\n");
    putBad("\x01\xFF");
    const ToolRun recovered = recover({"--from", "bad", "--yes"});
    EXPECT_THAT(recovered.err, testing::HasSubstr(" has no setting that could be put back\n"));
    EXPECT_EQ(std::string::npos, recovered.err.find("default")) << recovered.err;
    EXPECT_EQ(1, recovered.exitCode);
}

TEST_F(T8settingsRecoverDamaged, LinkThatLeadsNowhereIsCalledSo) {
    std::filesystem::create_symlink(path("nowhere"), path("settings/link.ini"));
    const ToolRun shown = run({"recover", path("settings/link.ini")});
    EXPECT_EQ("t8settings: " + path("settings/link.ini") +
                  ": a link that leads nowhere, and nothing lies beside it\n",
              shown.err);
    EXPECT_EQ(1, shown.exitCode);
}

TEST_F(T8settingsRecoverDamaged, DirectoryBesideAFileIsToBeMovedAwayAndHoldsNothing) {
    put("qel-default-settings/settings.ini", "#name = settings\n[sound]\nbass = int8,0\n");
    putFile("#name = settings\n[sound]\nbass = int8,1\n#crc32 = 1\n");
    std::filesystem::create_directory(file_ + ".bad");
    EXPECT_THAT(run({"verify"}).out,
                AllOf(HasSubstr("; after a hand edit: t8settings seal " + file_ +
                                "; after damage: t8settings recover " + file_ + "\n"),
                      HasSubstr(file_ + ".bad: "), HasSubstr("; move it away\n")));
    const ToolRun shown = recover();
    EXPECT_THAT(
        shown.out,
        testing::EndsWith("\nA load takes none of them, and leaves them where they are.\n" + file_ +
                          ".bad is a directory: move it away.\nNo file lies beside "
                          "it.\nWhen its lines are as they should be: t8settings "
                          "seal " +
                          file_ + "\nOtherwise, to put back what can be read of it: mv " + file_ +
                          " " + file_ + ".bad; t8settings recover " + file_ + " --from bad\n"));
    EXPECT_EQ(5, shown.exitCode);
    EXPECT_EQ(Json::array(), Json::parse(recover({"--json"}).out).at("differences"));
    putTmp("#name = settings\n[sound]\nbass = int8,2\n#crc32 = 1\n");
    EXPECT_THAT(recover().out,
                testing::EndsWith(file_ +
                                  ".bad is a directory: move it away.\n"
                                  "setting\tfile\ttmp\n"
                                  "settings/sound/bass\tint8,1\tint8,2\n"
                                  "When its lines are as they should be: t8settings seal " +
                                  file_ + "\nTo go by the defaults: mv " + file_ + " " + file_ +
                                  ".before-recover\n"
                                  "To put back what can be read of " +
                                  file_ + ".tmp: t8settings recover " + file_ +
                                  " --from tmp; when nobody needs it, delete it.\n"));
}

TEST_F(T8settingsRecoverDamaged, SettingsBelowASectionThatCannotBeReadStayBehind) {
    const std::string bad = file_ + ".bad";
    putBad(
        "#name = settings\n[sound]\nbass = int8,1\n[picture\nbass = int8,7\ntreble = int8,999\n"
        "[tuner]\nscan = int8,3\n");
    const ToolRun recovered = recover({"--from", "bad", "--yes"});
    EXPECT_EQ(bad +
                  ":4: section is not closed, so the settings below it are read into section "
                  "\"sound\"; write the \"]\"\n" +
                  bad +
                  ":5: bass: its section is not known, as line 4 opens none; mend that line and "
                  "run this once more\n" +
                  bad +
                  ":6: treble: its section is not known, as line 4 opens none; mend that line and "
                  "run this once more\n" +
                  bad +
                  ": its names cannot be checked, as there is no defaults file: storage "
                  "\"settings\"; see that they are right\n" +
                  file_ + ": 2 settings from " + bad + ", CRC 2018853368\n",
              recovered.out);
    EXPECT_EQ(5, recovered.exitCode);
    EXPECT_EQ(
        "#name = settings\n[sound]\nbass = int8,1\n[tuner]\nscan = int8,3\n#crc32 = 2018853368\n",
        bytes());
}

TEST_F(T8settingsRecoverDamaged, WhatWouldStayBehindIsMarkedAndTheNamesAreThoseThatComeBack) {
    put("qel-default-settings/settings.ini",
        "#name = settings\n[sound]\nbass = int8,0\n[timer]\nsleep = int8,0\n");
    putFile("#name = settings\n[sound]\nbass = int8,5\n#crc32 = false\n");
    putBad("#name = setXings\n[sound]\nbass = int8,1\n[timer\nsleep = int8,7\n#crc32 = 1\n");
    EXPECT_THAT(recover().out, HasSubstr("\nsetting\tfile\tbad\n"
                                         "settings/sound/bass\tint8,5\tint8,1\n"
                                         "settings/sound/sleep\t-\tint8,7 (stays behind)\n"));
    const Json differences = Json::parse(recover({"--json"}).out).at("differences");
    ASSERT_EQ(2U, differences.size());
    EXPECT_EQ(Json({{"name", "settings/sound/sleep"},
                    {"texts", {{"file", nullptr}, {"bad", "int8,7"}}},
                    {"staysBehind", {"bad"}}}),
              differences[1]);
    EXPECT_EQ(5, recover({"--from", "bad", "--yes"}).exitCode);
    EXPECT_THAT(bytes(), AllOf(HasSubstr("bass = int8,1\n"), Not(HasSubstr("sleep"))));
}

TEST_F(T8settingsRecoverDamaged, SettingsBelowASectionWithoutItsOpeningBracketStayBehind) {
    put("qel-default-settings/settings.ini", "[sound]\nbass = int8,0\ntreble = int8,0\n");
    const std::string bad = file_ + ".bad";
    for (const char* const damaged : {"Xtuner]", "tuner]",
                                      "\xDB"
                                      "tuner]",
                                      "=tuner]"}) {
        putBad(std::string("#name = settings\n[sound]\nbass = int8,1\n") + damaged +
               "\nbass = int8,2\ntreble = int8,3\n[zoom]\nx = int8,4\n");
        EXPECT_EQ(bad +
                      ":4: looks like a section and opens none, so the settings below it are read "
                      "into section \"sound\"; write [NAME], on a line of its own\n" +
                      bad +
                      ":5: bass: its section is not known, as line 4 opens none; mend that line "
                      "and run this once more\n" +
                      bad +
                      ":6: treble: its section is not known, as line 4 opens none; mend that line "
                      "and run this once more\n" +
                      bad + ": settings/sound/treble does not come back and has its default\n" +
                      file_ + ": 2 settings from " + bad + ", CRC 4170448465\n",
                  recover({"--from", "bad", "--yes"}).out)
            << damaged;
        EXPECT_EQ(
            "#name = settings\n[sound]\nbass = int8,1\n[zoom]\nx = int8,4\n#crc32 = 4170448465\n",
            bytes());
    }
}

TEST_F(T8settingsRecoverDamaged, WhatCannotBeSavedDoesNotComeOfADamagedFirstSection) {
    for (const char* const damaged :
         {"cable]", "#savepolicy = eachchange?[cable]", "(cable)", "=cable,", "(cable,"}) {
        putBad(std::string("#name = settings\n") + damaged +
               "\nmode = int8,1\n[first]\nx = int8,4\n");
        const ToolRun recovered = recover({"--from", "bad", "--yes"});
        EXPECT_THAT(recovered.out, HasSubstr(":3: mode: its section is not known, as line 2"));
        EXPECT_EQ(5, recovered.exitCode);
        EXPECT_THAT(bytes(), StartsWith("#name = settings\n[first]\nx = int8,4\n#crc32 = "));
        EXPECT_EQ(0, run({"set", "settings/first/x", "7"}).exitCode);
    }
    putBad("#name = settings\n[first]\nx = int8,4\n[]\nmode = int8,1\n");
    recover({"--from", "bad", "--yes"});
    putBad("#name = settings\n#comment\nmode = int8,1\n[first]\nx = int8,4\n");
    EXPECT_THAT(recover({"--from", "bad", "--yes"}).out,
                HasSubstr(":3: settings/mode has no section and sorts after settings/first/: "));
    EXPECT_EQ(0, run({"set", "settings/first/x", "7"}).exitCode);
}

TEST_F(T8settingsRecoverDamaged, WhatASaveWouldPutIntoASectionOfTheDefaultsDoesNotComeBack) {
    put("qel-default-settings/settings.ini",
        "#name = settings\n[first]\nmode = int8,0\nx = int8,0\n");
    putBad("#name = settings\nmode = int8,1\n[timer]\nx = int8,4\n");
    const ToolRun recovered = recover({"--from", "bad", "--yes"});
    EXPECT_THAT(recovered.out, HasSubstr(":2: settings/mode has no section and sorts after "
                                         "settings/first/ of "));
    EXPECT_EQ(5, recovered.exitCode);
    EXPECT_THAT(bytes(), StartsWith("#name = settings\n[timer]\nx = int8,4\n#crc32 = "));
    EXPECT_EQ(0, run({"set", "settings/first/x", "7"}).exitCode);
}

TEST_F(T8settingsRecoverDamaged, OfADamagedFileTheStorageHasTheNameOfItsDefaults) {
    put("qel-default-settings/settings.ini", "#name = settings\n[sound]\nbass = int8,0\n");
    for (const char* const name : {"settinXs", "settings?#savepolicy = async", "set\ntings"}) {
        for (const char* const end : {"", "#crc32 = 1\n"}) {
            putBad(std::string("\n#name = ") + name + "\n[sound]\nbass = int8,1\n" + end);
            const ToolRun recovered = recover({"--from", "bad", "--yes"});
            EXPECT_THAT(recovered.out,
                        AllOf(HasSubstr(".bad:2: its storage is called \"set"),
                              HasSubstr(" here and \"settings\" in its defaults file, which "
                                        "counts\n")));
            EXPECT_EQ(5, recovered.exitCode);
            EXPECT_THAT(bytes(),
                        StartsWith("\n#name = settings\n[sound]\nbass = int8,1\n#crc32 = "));
            EXPECT_EQ(0, run({"set", "settings/sound/bass", "7"}).exitCode);
        }
    }
}

TEST_F(T8settingsRecoverDamaged, WithoutDefaultsTheStorageHasTheNameOfAFileThatIsWhole) {
    const std::string bad = file_ + ".bad";
    const std::string unchecked =
        bad + ": its names cannot be checked, as there is no defaults file";
    putFile(kOld);
    putBad("#name = settinXs\n[sound]\nbass = int8,7\n#crc32 = 1\n");
    const ToolRun recovered = recover({"--from", "bad", "--yes"});
    EXPECT_THAT(recovered.out, AllOf(StartsWith(bad +
                                                ":1: its storage is called \"settinXs\" here and "
                                                "\"settings\" in " +
                                                file_ + ", which counts\n"),
                                     HasSubstr(unchecked)));
    EXPECT_EQ(5, recovered.exitCode);
    EXPECT_THAT(bytes(), StartsWith("#name = settings\n[sound]\nbass = int8,7\n#crc32 = "));
    putFile("torn");
    const ToolRun unknown = recover({"--from", "bad", "--yes"});
    EXPECT_THAT(unknown.out, StartsWith(unchecked + ": storage \"settinXs\"; "));
    EXPECT_EQ(5, unknown.exitCode);
    EXPECT_THAT(bytes(), StartsWith("#name = settinXs\n"));
}

TEST_F(T8settingsRecoverDamaged, SettingsOfTheDefaultsThatADamagedFileDoesNotGiveAreTold) {
    put("qel-default-settings/settings.ini",
        "[sound]\nbass = int8,0\nmode = string,\npin = int8,0\n");
    putBad("#name = settings\n[sound]\nbass = int8,1\nmode = string,DK?pin = int8,4\n#crc32 = 1\n");
    const ToolRun recovered = recover({"--from", "bad", "--yes"});
    EXPECT_THAT(recovered.out,
                HasSubstr(".bad: settings/sound/pin does not come back and has its default\n"));
    EXPECT_THAT(recovered.out, Not(HasSubstr("sound/bass does not")));
    EXPECT_EQ(5, recovered.exitCode);
    putBad("#name = settings\n[sound]\nbass = int8,1\npin = int8,2\nmode = string,DK?#crc32 = 1\n");
    EXPECT_THAT(recover({"--from", "bad", "--yes"}).out,
                HasSubstr(".bad:5: settings/sound/mode has run into the CRC line; write \"#crc32\" "
                          "at the start of a line of its own; if it is meant so: mode = "
                          "string,\"DK?#crc32 = 1\"\n"));
    EXPECT_THAT(bytes(), Not(HasSubstr("mode")));
    // Of a whole file nothing is lost: it never had it.
    putBad(kOld);
    EXPECT_EQ(0, recover({"--from", "bad", "--yes"}).exitCode);
}

TEST_F(T8settingsRecoverDamaged, OfADamagedFileNothingComesBackThatVerifyWouldTellOf) {
    put("qel-default-settings/settings.ini", "[sound]\nbass = int8,0\ntreble = int8,0\n");
    for (const char* const damaged :
         {"#savepolicy = eachchangX\n[sound]\nbass = int8,1\ntreble = int8,2\n",
          "#readonly = X\n[sound]\nbass = int8,1\ntreble = int8,2\n",
          "[so\nnd]\nx = int8,1\n[sound]\nbass = int8,1\ntreble = int8,2\n",
          "[sound]\ntreble = int8,1\ntreble = int8,2\n"}) {
        putBad(std::string("#name = settings\n") + damaged + "#crc32 = 1\n");
        EXPECT_EQ(5, recover({"--from", "bad", "--yes"}).exitCode) << damaged;
        std::filesystem::remove(file_ + ".bad");
        EXPECT_EQ("1 file, all sound\n", run({"verify", file_}).out) << damaged;
        EXPECT_EQ("2\n", run({"get", "settings/sound/treble"}).out) << damaged;
    }
}

TEST_F(T8settingsRecoverDamaged, BelowALineThatMayHaveBeenASectionTheDefaultsTellWhatComesBack) {
    put("qel-default-settings/settings.ini",
        "[sound]\nbass = int8,0\ntreble = int8,0\nvolume = int8,0\n");
    putBad(
        "#name = settings\n[sound]\nbass = int8,1\n???\ntreble = int8,2\nx = int8,3\n"
        "bass = int8,4\n");
    const ToolRun recovered = recover({"--from", "bad", "--yes"});
    EXPECT_THAT(recovered.out, HasSubstr(":6: x: its section is not known, as line 4 opens none"));
    EXPECT_THAT(recovered.out,
                HasSubstr(":7: bass: its section is not known, as line 4 opens none"));
    EXPECT_THAT(bytes(),
                StartsWith("#name = settings\n[sound]\nbass = int8,1\ntreble = int8,2\n#crc32 = "));
    // What lacks its "=" or "," alone was a setting, and the settings below it are where they were.
    putBad("#name = settings\n[sound]\nbass int8,1\nx = int8,3\ny = char[]\nz = int8,4\n");
    EXPECT_EQ(5, recover({"--from", "bad", "--yes"}).exitCode);
    EXPECT_THAT(bytes(),
                StartsWith("#name = settings\n[sound]\nx = int8,3\nz = int8,4\n#crc32 = "));
}

TEST_F(T8settingsRecoverDamaged, BelowACommentThatMayHaveBeenASectionTheDefaultsTellWhatComesBack) {
    put("qel-default-settings/settings.ini",
        "[parental]\npin = int8,0\nlevel = int8,0\n[sound]\nbass = int8,0\n");
    for (const char* const comment : {"#soun]", "#[ound]", "# [soXnd]", "##[soun", "# soun]"}) {
        const std::string text = std::string("#name = settings\n[parental]\npin = int8,1\n") +
                                 comment + "\nlevel = int8,2\nbass = int8,3\n";
        const std::string begun = "#name = settings\n[parental]\npin = int8,1\nlevel = int8,2\n";
        putBad(text);
        const ToolRun recovered = recover({"--from", "bad", "--yes"});
        EXPECT_THAT(
            recovered.out,
            AllOf(HasSubstr(".bad:4: looks like a section and opens none, so the settings below "
                            "it are read into section \"parental\"; write [NAME], on a line of "
                            "its own, or delete the comment\n"),
                  HasSubstr(".bad:6: bass: its section is not known, as line 4 opens none"),
                  Not(HasSubstr("level:"))))
            << comment;
        EXPECT_EQ(5, recovered.exitCode);
        EXPECT_THAT(bytes(), StartsWith(begun + "#crc32 = "));
        putFile(text);
        const ToolRun sealed = run({"seal", file_});
        EXPECT_THAT(sealed.err, HasSubstr(".ini:4: looks like a section and opens none, "));
        EXPECT_EQ(1, sealed.exitCode);
        EXPECT_EQ(0, run({"seal", file_, "--force"}).exitCode);
        EXPECT_THAT(run({"verify", file_}).out, Not(HasSubstr("comment")));
        std::filesystem::rename(file_, file_ + ".bad");
        EXPECT_EQ(0, recover({"--from", "bad", "--yes"}).exitCode);
        EXPECT_THAT(bytes(), StartsWith(text + "#crc32 = "));
    }
}

TEST_F(T8settingsRecoverDamaged, NothingComesBackFromBelowACommentThatWasASectionOfTheDefaults) {
    put("qel-default-settings/settings.ini",
        "[parental]\npin = int8,0\nlevel = int8,0\n[sound]\nbass = int8,0\nlevel = int8,0\n");
    for (const std::string state : {"", "#crc32 = 1\n", "#crc32 = false\n"}) {
        putBad(
            "#name = settings\n[parental]\npin = int8,1\n#sound]\nlevel = int8,2\nbass = int8,3\n" +
            state);
        const ToolRun recovered = recover({"--from", "bad", "--yes"});
        EXPECT_THAT(
            recovered.out,
            AllOf(HasSubstr(".bad:4: looks like a section and opens none, so the settings "
                            "below it are read into section \"parental\"; write [NAME], on "
                            "a line of its own, or delete the comment\n"),
                  HasSubstr(".bad:5: level: its section is not known, as line 4 opens none"),
                  HasSubstr(".bad:6: bass: its section is not known, as line 4 opens none")));
        EXPECT_EQ(5, recovered.exitCode);
        EXPECT_THAT(bytes(), StartsWith("#name = settings\n[parental]\npin = int8,1\n#crc32 = "));
    }
}

TEST_F(T8settingsRecoverDamaged, CommentCostsNothingWhenTheDefaultsKnowWhatIsBelow) {
    put("qel-default-settings/settings.ini", "[sound]\nbass = int8,0\n");
    const std::string text = "#name = settings\n[sound]\n#todo]\nbass = int8,3\n";
    putBad(text);
    EXPECT_EQ(0, recover({"--from", "bad", "--yes"}).exitCode);
    EXPECT_THAT(bytes(), StartsWith(text + "#crc32 = "));
    putFile(text);
    EXPECT_EQ("", run({"seal", file_}).err);
    std::filesystem::remove(file_ + ".bad");
    EXPECT_EQ("1 file, all sound\n", run({"verify", file_}).out);
}

TEST_F(T8settingsRecoverDamaged, OfADamagedFileNamesThatAreLikeThoseOfTheDefaultsStayBehind) {
    put("qel-default-settings/settings.ini",
        "[sound]\nbass = int8,0\ntreble = int8,0\n[tuner]\nbass = int8,0\n");
    const std::string text =
        "#name = settings\n[soXnd]\nbass = int8,1\n[tuner]\nbaXs = int8,1\nown = int8,3\n";
    putBad(text);
    EXPECT_EQ(5, recover({"--from", "bad", "--yes"}).exitCode);
    EXPECT_THAT(bytes(), StartsWith("#name = settings\n[soXnd]\n[tuner]\nown = int8,3\n#crc32 = "));
    putBad(text + "#crc32 = false\n");
    EXPECT_EQ(0, recover({"--from", "bad", "--yes"}).exitCode);
    EXPECT_THAT(bytes(), StartsWith(text + "#crc32 = "));
}

TEST_F(T8settingsRecoverDamaged, SettingsBelowItStayBehindAlsoOfAFileThatALoadTakes) {
    putBad("#name = settings\n[sound]\nbass = int8,1\n[picture\ntone = int8,7\n#crc32 = false\n");
    const ToolRun recovered = recover({"--from", "bad", "--yes", "--json"});
    EXPECT_EQ(2U, Json::parse(recovered.out).at("leftOut").size());
    EXPECT_EQ(5, recovered.exitCode);
    EXPECT_THAT(bytes(), StartsWith("#name = settings\n[sound]\nbass = int8,1\n#crc32 = "));
}

class T8settingsRecoverHeaders : public T8settingsRecoverDamaged {
protected:
    T8settingsRecoverHeaders() { put("qel-default-settings/settings.ini", kSound); }

    /// Puts back a file with these headers: the finding of the whole file or of one line, and exit
    /// code 5; or, when it is empty, exit code 0. The headers come back.
    void expectTold(const std::string& headers, const std::string& finding,
                    const std::string& crcLine = "#crc32 = 1\n") {
        putBad("#name = settings\n" + headers + kSound + crcLine);
        const ToolRun recovered = recover({"--from", "bad", "--yes"});
        const std::string told =
            finding.empty() ? "" : file_ + ".bad" + finding + "; see that it is right\n";
        EXPECT_THAT(recovered.out, StartsWith(told + file_ + ": 1 setting from ")) << headers;
        EXPECT_EQ(finding.empty() ? 0 : 5, recovered.exitCode) << headers;
        EXPECT_THAT(bytes(), StartsWith("#name = settings\n" + headers + kSound));
    }

    void putInForce(const std::string& headers) {
        putFile("#name = settings\n" + headers + kSound + "#crc32 = false\n");
        ASSERT_EQ(0, run({"seal", file_}).exitCode);
    }

    const std::string kSound = "[sound]\nbass = int8,0\n";
};

TEST_F(T8settingsRecoverHeaders, CommentsThatMayHaveBeenHeadersAreToldOfFilesWithoutARightCrc) {
    const std::string policy =
        ":2: is a comment; if it was #savepolicy, the storage has the save policy of each program "
        "now";
    const std::string readonly =
        ":2: is a comment; if it was #readonly, the storage can be changed now";
    for (const char* const crcLine : {"#crc32 = 1\n", "#crc32 = false\n", ""}) {
        expectTold("#savepXlicy = async\n", policy, crcLine);
        expectTold("#savepolicy ? async\n", policy, crcLine);
        expectTold("#SavePolicy = async\n", policy, crcLine);
        expectTold("#readonlX\n", readonly, crcLine);
        expectTold("# a note on the save policy\n", "", crcLine);
        expectTold("#savepolicy = async\n", "", crcLine);
    }
}

TEST_F(T8settingsRecoverHeaders, SavePolicyThatIsNotThatOfTheFileInForceIsTold) {
    const std::string has = ", and " + file_ + " has \"eachchange\"";
    putInForce("#savepolicy = eachchange\n");
    expectTold("#savepolicy = async\n", ": comes back with the save policy \"async\"" + has);
    putInForce("#savepolicy = eachchange\n");
    expectTold("", ": comes back without a save policy" + has);
    putInForce("#savepolicy = eachchange\n");
    expectTold("#savepolicy = eachchange\n", "");
}

TEST_F(T8settingsRecoverHeaders, WithoutAFileInForceTheSavePolicyOfTheDefaultsCounts) {
    put("qel-default-settings/settings.ini", "#savepolicy = ondemand\n" + kSound);
    expectTold("#savepolicy = async\n", ": comes back with the save policy \"async\", and " +
                                            path("qel-default-settings/settings.ini") +
                                            " has \"ondemand\"");
}

TEST_F(T8settingsRecoverHeaders, ReadOnlyLineThatComesOrGoesIsTold) {
    const std::string comes = ": comes back with #readonly, so that nobody can change its settings";
    expectTold("#readonly\n", comes);
    std::filesystem::remove(file_);
    expectTold("#readonly\n", comes, "#crc32 = false\n");
    putInForce("#readonly\n");
    expectTold("", ": comes back without #readonly, which " + file_ + " has");
    putInForce("#readonly\n");
    expectTold("#readonly\n", "");
    put("qel-default-settings/settings.ini", "#readonly\n" + kSound);
    expectTold("", "");
}

TEST_F(T8settingsRecoverHeaders, OfAFileWithARightCrcOnlyWhatDiffersIsTold) {
    const auto sealed = [this](const std::string& headers) {
        putInForce(headers);
        std::filesystem::rename(file_, file_ + ".bad");
    };
    sealed("#savepXlicy = async\n#readonlX\n");
    putInForce("#savepolicy = eachchange\n");
    EXPECT_EQ(0, recover({"--from", "bad", "--yes"}).exitCode);
    sealed("#savepolicy = async\n");
    putInForce("#savepolicy = eachchange\n");
    const Json recovered = Json::parse(recover({"--from", "bad", "--yes", "--json"}).out);
    ASSERT_EQ(1U, recovered.at("leftOut").size());
    EXPECT_EQ(Json({{"file", file_ + ".bad"},
                    {"line", nullptr},
                    {"harm", "changed"},
                    {"reason", "comes back with the save policy \"async\", and " + file_ +
                                   " has \"eachchange\""},
                    {"remedy", "see that it is right"}}),
              recovered.at("leftOut")[0]);
}

}  // namespace
