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
using testing::Not;
using testing::StartsWith;
using testsupport::ToolRun;
using Json = nlohmann::json;

const std::string kOld =
    "#name = settings\n[sound]\nbass = int8,1\ntreble = int8,2\n#crc32 = 1325194012\n";
const std::string kNew =
    "#name = settings\n[sound]\nbass = int8,5\nname = string,x\ntreble = int8,2\n"
    "#crc32 = 622713224\n";

class T8settingsRecover : public testsupport::ToolTest {
protected:
    void putFile(const std::string& bytes) { put("settings/settings.ini", bytes); }
    void putTmp(const std::string& bytes) { put("settings/settings.ini.tmp", bytes); }
    void putBad(const std::string& bytes) { put("settings/settings.ini.bad", bytes); }

    ToolRun recover(std::vector<std::string> options = {}) const {
        options.insert(options.begin(), {"recover", file_});
        return run(options);
    }

    std::string bytes(const std::string& suffix = "") const {
        return testsupport::readFile(file_ + suffix);
    }
    bool isThere(const std::string& suffix) const { return testsupport::exists(file_ + suffix); }

    std::string file_ = path("settings/settings.ini");
};

TEST_F(T8settingsRecover, StatesAndDifferencesAreShown) {
    putFile(kOld);
    putTmp(kNew);
    putBad("#name = settings\n[sound]\nbass = int8,300\n");
    const ToolRun shown = recover();
    EXPECT_EQ(
        file_ + ": CRC right, 2 settings\n" + file_ + ".tmp: CRC right, 3 settings\n" + file_ +
            ".bad: no CRC line, 1 setting\n" + file_ +
            ".bad:3: settings/sound/bass: int8 would not keep \"300\", it would make \"44\" of "
            "it; int8 takes whole numbers from -128 to 127\nA load takes " +
            file_ +
            ".tmp.\nsetting\tfile\ttmp\tbad\n"
            "settings/sound/bass\tint8,1\tint8,5\tint8,300\n"
            "settings/sound/name\t-\tstring,x\t-\n"
            "settings/sound/treble\tint8,2\tint8,2\t-\n",
        shown.out);
    EXPECT_EQ("", shown.err);
    EXPECT_EQ(5, shown.exitCode);
}

TEST_F(T8settingsRecover, FileThatIsSoundAndAloneExitsWith0) {
    putFile(kOld);
    EXPECT_EQ(0, recover().exitCode);
    EXPECT_EQ(0, recover({"--json"}).exitCode);
    putBad(kOld);
    EXPECT_EQ(5, recover().exitCode);
    std::filesystem::remove(file_ + ".bad");
    putFile("#name = settings\n[sound]\nbass = int8,300\n#crc32 = 3982689638\n");
    EXPECT_EQ(5, recover({"--json"}).exitCode);
    putFile("torn");
    EXPECT_EQ(5, recover().exitCode);
}

TEST_F(T8settingsRecover, JsonHasTheSame) {
    putFile("torn");
    putBad(kOld);
    EXPECT_EQ(
        Json(
            {{"file", file_},
             {"taken", nullptr},
             {"files",
              {{{"kind", "file"},
                {"file", file_},
                {"state", "noCrc"},
                {"settings", 0},
                {"findings",
                 {{{"file", file_},
                   {"line", 1},
                   {"harm", "lost"},
                   {"reason", "no \"=\" after the key"},
                   {"remedy", "a setting is written KEY = TYPE,VALUE, a comment # TEXT"}}}}},
               {{"kind", "bad"},
                {"file", file_ + ".bad"},
                {"state", "sealed"},
                {"settings", 2},
                {"findings", Json::array()}}}},
             {"differences",
              {{{"name", "settings/sound/bass"}, {"texts", {{"file", nullptr}, {"bad", "int8,1"}}}},
               {{"name", "settings/sound/treble"},
                {"texts", {{"file", nullptr}, {"bad", "int8,2"}}}}}}}),
        Json::parse(recover({"--json"}).out));
    EXPECT_EQ("torn", bytes());
    EXPECT_EQ(kOld, bytes(".bad"));
}

TEST_F(T8settingsRecover, WhatALoadWouldDoIsSaid) {
    putFile(kOld);
    EXPECT_EQ(
        file_ + ": CRC right, 2 settings\nA load takes " + file_ + ".\nNothing lies beside it.\n",
        recover().out);
    putBad(kOld);
    EXPECT_THAT(recover().out, HasSubstr("\nNo setting differs.\n"));
    putFile("torn");
    EXPECT_THAT(recover().out,
                HasSubstr("\nA load takes none of them, and sets " + file_ + " aside as " + file_ +
                          ".bad, in place of the one that is there.\n"));
    std::filesystem::remove(file_ + ".bad");
    EXPECT_THAT(recover().out, HasSubstr(" aside as " + file_ + ".bad.\n"));
    putBad(kOld);
    putFile("bass = int8,1\n#name = settings\n#crc32 = false\n");
    EXPECT_THAT(recover().out, HasSubstr("\nA load takes none of them, and sets " + file_));
    EXPECT_EQ(nullptr, Json::parse(recover({"--json"}).out).at("taken"));
    put("qel-default-settings/settings.ini", "bass = int8,1\n#name = settings\n");
    EXPECT_THAT(run({"recover", path("qel-default-settings/settings.ini")}).out,
                HasSubstr("\nA load takes none of them.\n"));
    std::filesystem::remove(path("qel-default-settings/settings.ini"));
    std::filesystem::remove(file_);
    EXPECT_THAT(recover().out, AllOf(StartsWith(file_ + ": not there\n"),
                                     HasSubstr("\nA load takes none of them.\n")));
}

TEST_F(T8settingsRecover, FileThatIsDamagedAndAloneComesWithWhatToDo) {
    putFile("#name = settings\n[sound]\nbass = int8,1\n");
    EXPECT_THAT(recover().out,
                HasSubstr("\nNothing lies beside it.\nWhen its lines are as they should be: "
                          "t8settings seal " +
                          file_ + "\nOtherwise, to put back what can be read of it: mv " + file_ +
                          " " + file_ + ".bad; t8settings recover " + file_ + " --from bad\n"));
    std::filesystem::rename(file_, file_ + ".bad");
    EXPECT_EQ(file_ +
                  ".bad: its names cannot be checked, as there is no defaults file: storage "
                  "\"settings\"; see that they are right\n" +
                  file_ + ": 1 setting from " + file_ + ".bad, CRC 3059901785\n",
              recover({"--from", "bad", "--yes"}).out);
}

TEST_F(T8settingsRecover, WhatMayNotBeReadIsToldInOneLine) {
    using std::filesystem::perms;
    putFile(kOld);
    std::filesystem::permissions(file_, perms::none);
    const ToolRun unread = run({"recover", file_}, {}, ordinaryUser);
    EXPECT_EQ(file_ + ": cannot be read: Permission denied\nYou may not read " + file_ +
                  "; what a load by a user who may makes of it is not known.\n"
                  "Nothing lies beside it.\n",
              unread.out);
    EXPECT_EQ(5, unread.exitCode);
    for (const perms mode : {perms::none, perms::owner_read}) {
        std::filesystem::permissions(path("settings"), mode);
        const ToolRun hidden = run({"recover", file_}, {}, ordinaryUser);
        const ToolRun back = run({"recover", file_, "--from", "bad", "--yes"}, {}, ordinaryUser);
        std::filesystem::permissions(path("settings"), perms::owner_all);
        EXPECT_EQ("", hidden.out);
        EXPECT_EQ("t8settings: " + file_ + " cannot be looked at: Permission denied\n", hidden.err);
        EXPECT_EQ(1, hidden.exitCode);
        EXPECT_EQ(hidden.err, back.err);
    }
}

TEST_F(T8settingsRecover, SetAsideFileIsPutBackWholeWithItsPermissions) {
    putBad(kOld);
    ASSERT_EQ(0, chmod((file_ + ".bad").c_str(), 0660));
    const ToolRun recovered = recover({"--from", "bad", "--yes"});
    EXPECT_EQ(file_ + ": 2 settings from " + file_ + ".bad, CRC 1325194012\n", recovered.out);
    EXPECT_EQ("", recovered.err);
    EXPECT_EQ(0, recovered.exitCode);
    EXPECT_EQ(kOld, bytes());
    EXPECT_EQ(kOld, bytes(".bad"));
    EXPECT_FALSE(isThere(".tmp"));
    struct stat status;
    ASSERT_EQ(0, stat(file_.c_str(), &status));
    EXPECT_EQ(0660U, status.st_mode & 0777U);
}

TEST_F(T8settingsRecover, ReplacedFilesAreKeptUnderNamesThatAreTold) {
    putFile("torn");
    ASSERT_EQ(0, chmod(file_.c_str(), 0600));
    putTmp(kNew);
    putBad(kOld);
    put("settings/settings.ini.before-recover", "an earlier one");
    const ToolRun recovered = recover({"--from", "bad", "--yes"});
    EXPECT_EQ(file_ + ": 2 settings from " + file_ + ".bad, CRC 1325194012\n" + file_ +
                  ".before-recover.2: " + file_ + " as it was\n" + file_ +
                  ".tmp.before-recover: " + file_ + ".tmp as it was\n",
              recovered.out);
    EXPECT_EQ(0, recovered.exitCode);
    EXPECT_EQ(kOld, bytes());
    EXPECT_FALSE(isThere(".tmp"));
    EXPECT_FALSE(isThere(".tmp.new"));
    EXPECT_EQ("an earlier one", bytes(".before-recover"));
    EXPECT_EQ("torn", bytes(".before-recover.2"));
    EXPECT_EQ(kNew, bytes(".tmp.before-recover"));
    struct stat status;
    ASSERT_EQ(0, stat((file_ + ".before-recover.2").c_str(), &status));
    EXPECT_EQ(0600U, status.st_mode & 0777U);
    EXPECT_EQ("1\n", run({"get", "settings/sound/bass"}).out);
}

TEST_F(T8settingsRecover, CopyIsPutInPlaceOfTheFile) {
    putFile(kOld);
    putTmp(kNew);
    const ToolRun recovered = recover({"--from", "tmp", "--yes", "--json"});
    EXPECT_EQ(Json({{"file", file_},
                    {"from", file_ + ".tmp"},
                    {"settings", 3},
                    {"crc", 622713224U},
                    {"kept", {{{"file", file_}, {"as", file_ + ".before-recover"}}}},
                    {"leftOut", Json::array()}}),
              Json::parse(recovered.out));
    EXPECT_EQ(0, recovered.exitCode);
    EXPECT_EQ(kNew, bytes());
    EXPECT_FALSE(isThere(".tmp"));
    EXPECT_EQ(kOld, bytes(".before-recover"));
}

TEST_F(T8settingsRecover, CopyThatNoProgramLooksForComesToItsPlace) {
    putTmp(kNew);
    EXPECT_EQ(0, recover({"--from", "tmp", "--yes"}).exitCode);
    EXPECT_EQ(kNew, bytes());
    EXPECT_FALSE(isThere(".tmp"));
    EXPECT_FALSE(isThere(".tmp.before-recover"));
}

TEST_F(T8settingsRecover, DamagedCopyIsKeptSinceNotAllOfItComesBack) {
    putFile(kNew);
    putTmp("#name = settings\n[sound]\nbass = int8,7\ntreb");
    EXPECT_EQ(5, recover({"--from", "tmp", "--yes"}).exitCode);
    EXPECT_THAT(bytes(), StartsWith("#name = settings\n[sound]\nbass = int8,7\n#crc32 = "));
    EXPECT_EQ("#name = settings\n[sound]\nbass = int8,7\ntreb", bytes(".tmp.before-recover"));
    EXPECT_EQ(kNew, bytes(".before-recover"));
    EXPECT_FALSE(isThere(".tmp"));
}

TEST_F(T8settingsRecover, OfADamagedFileAllAcceptableLinesArePutBackAndTheOthersListed) {
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
            bad + ":7: the last line may be cut short, as no line feed ends it\n" + bad +
            ": settings/sound/balance does not come back and has its default\n" + bad +
            ": settings/sound/treble does not come back and has its default\n" + file_ +
            ": 2 settings from " + bad + ", CRC 2797478617\n",
        recovered.out);
    EXPECT_EQ(5, recovered.exitCode);
    EXPECT_EQ("#name = settings\n[sound]\nbass = int8,1\nname = string,y\n#crc32 = 2797478617\n",
              bytes());
}

TEST_F(T8settingsRecover, SettingsBelowASectionThatCannotBeReadStayBehind) {
    const std::string bad = file_ + ".bad";
    putBad(
        "#name = settings\n[sound]\nbass = int8,1\n[picture\nbass = int8,7\ntreble = int8,999\n"
        "[tuner]\nscan = int8,3\n");
    const ToolRun recovered = recover({"--from", "bad", "--yes"});
    EXPECT_EQ(bad +
                  ":4: section is not closed, so the settings below it are read into section "
                  "\"sound\"; write the \"]\"\n" +
                  bad + ":5: bass: its section is not known, as line 4 opens none\n" + bad +
                  ":6: treble: its section is not known, as line 4 opens none\n" + bad +
                  ": its names cannot be checked, as there is no defaults file: storage "
                  "\"settings\"; see that they are right\n" +
                  file_ + ": 2 settings from " + bad + ", CRC 2018853368\n",
              recovered.out);
    EXPECT_EQ(5, recovered.exitCode);
    EXPECT_EQ(
        "#name = settings\n[sound]\nbass = int8,1\n[tuner]\nscan = int8,3\n#crc32 = 2018853368\n",
        bytes());
}

TEST_F(T8settingsRecover, SettingsBelowASectionWithoutItsOpeningBracketStayBehind) {
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
                      bad + ":5: bass: its section is not known, as line 4 opens none\n" + bad +
                      ":6: treble: its section is not known, as line 4 opens none\n" + bad +
                      ": settings/sound/treble does not come back and has its default\n" + file_ +
                      ": 2 settings from " + bad + ", CRC 4170448465\n",
                  recover({"--from", "bad", "--yes"}).out)
            << damaged;
        EXPECT_EQ(
            "#name = settings\n[sound]\nbass = int8,1\n[zoom]\nx = int8,4\n#crc32 = 4170448465\n",
            bytes());
    }
}

TEST_F(T8settingsRecover, WhatCannotBeSavedDoesNotComeOfADamagedFirstSection) {
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

TEST_F(T8settingsRecover, OfADamagedFileTheStorageHasTheNameOfItsDefaults) {
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

TEST_F(T8settingsRecover, WithoutDefaultsTheStorageHasTheNameOfAFileThatIsWhole) {
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

TEST_F(T8settingsRecover, SettingsOfTheDefaultsThatADamagedFileDoesNotGiveAreTold) {
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
                HasSubstr(".bad:5: settings/sound/mode has run into the CRC line\n"));
    EXPECT_THAT(bytes(), Not(HasSubstr("mode")));
    // Of a whole file nothing is lost: it never had it.
    putBad(kOld);
    EXPECT_EQ(0, recover({"--from", "bad", "--yes"}).exitCode);
}

TEST_F(T8settingsRecover, OfADamagedFileNothingComesBackThatVerifyWouldTellOf) {
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

TEST_F(T8settingsRecover, BelowALineThatMayHaveBeenASectionTheDefaultsTellWhatComesBack) {
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

TEST_F(T8settingsRecover, BelowACommentThatMayHaveBeenASectionTheDefaultsTellWhatComesBack) {
    put("qel-default-settings/settings.ini",
        "[parental]\npin = int8,0\nlevel = int8,0\n[sound]\nbass = int8,0\n");
    for (const char* const comment : {"#sound]", "#[sound]", "# [sound]", "##[sound", "# sound]"}) {
        const std::string text = std::string("#name = settings\n[parental]\npin = int8,1\n") +
                                 comment + "\nlevel = int8,2\nbass = int8,3\n";
        const std::string begun = "#name = settings\n[parental]\npin = int8,1\nlevel = int8,2\n";
        putBad(text);
        const ToolRun recovered = recover({"--from", "bad", "--yes"});
        EXPECT_THAT(
            recovered.out,
            AllOf(HasSubstr(".bad:4: is a comment; if it was a section, the settings below "
                            "it are read into section \"parental\"; write [NAME], unless it "
                            "is meant so\n"),
                  HasSubstr(".bad:6: bass: its section is not known, as line 4 opens none"),
                  Not(HasSubstr("level:"))))
            << comment;
        EXPECT_EQ(5, recovered.exitCode);
        EXPECT_THAT(bytes(), StartsWith(begun + "#crc32 = "));
        putFile(text);
        const ToolRun sealed = run({"seal", file_});
        EXPECT_THAT(sealed.err, HasSubstr(".ini:4: is a comment; if it was a section, "));
        EXPECT_EQ(0, sealed.exitCode);
        EXPECT_THAT(run({"verify", file_}).out, Not(HasSubstr("comment")));
        std::filesystem::rename(file_, file_ + ".bad");
        EXPECT_EQ(0, recover({"--from", "bad", "--yes"}).exitCode);
        EXPECT_THAT(bytes(), StartsWith(text + "#crc32 = "));
    }
}

TEST_F(T8settingsRecover, CommentCostsNothingWhenTheDefaultsKnowWhatIsBelow) {
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

TEST_F(T8settingsRecover, OfADamagedFileNamesThatAreLikeThoseOfTheDefaultsStayBehind) {
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

TEST_F(T8settingsRecover, SettingsBelowItStayBehindAlsoOfAFileThatALoadTakes) {
    putBad("#name = settings\n[sound]\nbass = int8,1\n[picture\ntone = int8,7\n#crc32 = false\n");
    const ToolRun recovered = recover({"--from", "bad", "--yes", "--json"});
    EXPECT_EQ(2U, Json::parse(recovered.out).at("leftOut").size());
    EXPECT_EQ(5, recovered.exitCode);
    EXPECT_THAT(bytes(), StartsWith("#name = settings\n[sound]\nbass = int8,1\n#crc32 = "));
}

TEST_F(T8settingsRecover, OfAWholeFileValuesAreKeptAsTheyAre) {
    putBad("#name = settings\n[sound]\nbass = int8,300\nslip\n#crc32 = false\n");
    const ToolRun recovered = recover({"--from", "bad", "--yes", "--json"});
    EXPECT_EQ(1U, Json::parse(recovered.out).at("leftOut").size());
    EXPECT_EQ(5, recovered.exitCode);
    EXPECT_THAT(bytes(), StartsWith("#name = settings\n[sound]\nbass = int8,300\n#crc32 = "));
}

TEST_F(T8settingsRecover, FileWithNothingToPutBackChangesNothing) {
    putFile(kOld);
    putBad("rubbish\n");
    const ToolRun refused = recover({"--from", "bad", "--yes"});
    EXPECT_EQ("", refused.out);
    EXPECT_THAT(refused.err, HasSubstr("\nt8settings: " + file_ +
                                       ".bad has no setting that could be put back\n"));
    EXPECT_EQ(1, refused.exitCode);
    EXPECT_EQ(kOld, bytes());
    EXPECT_FALSE(isThere(".before-recover"));
}

TEST_F(T8settingsRecover, PersonIsAskedAndMayRefuse) {
    putFile(kOld);
    putBad(kNew);
    const ToolRun refused = runOnTerminal({"recover", file_, "--from", "bad"}, "n\n");
    EXPECT_THAT(refused.out,
                AllOf(HasSubstr("Put 3 settings from " + file_ + ".bad in the place of " + file_ +
                                "? " + file_ + " is kept as " + file_ + ".before-recover. [y/N] "),
                      HasSubstr("t8settings: nothing was changed\r\n")));
    EXPECT_EQ(1, refused.exitCode);
    EXPECT_EQ(kOld, bytes());
    const ToolRun ended = runOnTerminal({"recover", file_, "--from", "bad"}, "\x03");
    EXPECT_THAT(ended.out, HasSubstr("\r\nt8settings: nothing was changed\r\n"));
    EXPECT_EQ(-SIGINT, ended.exitCode);
    EXPECT_EQ(kOld, bytes());
    EXPECT_EQ(0, runOnTerminal({"recover", file_, "--from", "bad"}, "y\n").exitCode);
    EXPECT_EQ(kNew, bytes());
}

TEST_F(T8settingsRecover, WhatAnotherProgramHasWrittenMeanwhileIsNotReplaced) {
    putFile("torn");
    putBad(kOld);
    const ToolRun refused =
        runOnTerminal({"recover", file_, "--from", "bad"}, "y\n", {}, [this] { putFile(kNew); });
    EXPECT_THAT(refused.out, HasSubstr("t8settings: nothing was changed: another program has "
                                       "written to " +
                                       file_ + " meanwhile\r\n"));
    EXPECT_EQ(1, refused.exitCode);
    EXPECT_EQ(kNew, bytes());
    EXPECT_FALSE(isThere(".before-recover"));
}

TEST_F(T8settingsRecover, NothingIsAskedWhereNobodyIsThere) {
    putBad(kNew);
    const ToolRun refused = recover({"--from", "bad"});
    EXPECT_EQ(
        "t8settings: recover --from needs --yes where nobody can be asked; nothing was "
        "changed\n",
        refused.err);
    EXPECT_EQ(2, refused.exitCode);
    EXPECT_FALSE(isThere(""));
}

TEST_F(T8settingsRecover, ResetInProgressKeepsTheFilesAsTheyAre) {
    putBad(kNew);
    testsupport::writeFile(marker_, "");
    EXPECT_EQ(5, recover().exitCode);
    const ToolRun refused = recover({"--from", "bad", "--yes"});
    EXPECT_THAT(refused.err, StartsWith("t8settings: a reset to defaults is in progress"));
    EXPECT_EQ(4, refused.exitCode);
    EXPECT_FALSE(isThere(""));
}

TEST_F(T8settingsRecover, UnreadableFileIsMovedOutOfTheWay) {
    std::filesystem::create_directory(file_);
    putBad(kOld);
    const ToolRun recovered = recover({"--from", "bad", "--yes"});
    EXPECT_EQ(0, recovered.exitCode) << recovered.err;
    EXPECT_EQ(kOld, bytes());
    EXPECT_TRUE(std::filesystem::is_directory(file_ + ".before-recover"));
}

TEST_F(T8settingsRecover, FullDiskLosesNothing) {
    putFile(kOld);
    putBad(kNew);
    const ToolRun failed = run({"recover", file_, "--from", "bad", "--yes"}, {}, [] {
        const rlimit few = {50, 50};
        setrlimit(RLIMIT_FSIZE, &few);
        signal(SIGXFSZ, SIG_IGN);
    });
    EXPECT_EQ("", failed.out);
    EXPECT_EQ(1, failed.exitCode);
    EXPECT_EQ(kOld, bytes());
    EXPECT_EQ(kNew, bytes(".bad"));
    EXPECT_FALSE(isThere(".before-recover"));
    EXPECT_FALSE(isThere(".tmp"));
}

TEST_F(T8settingsRecover, FullDiskLeavesAnUnreadableFileInItsPlace) {
    std::filesystem::create_directory(file_);
    putBad(kNew);
    const ToolRun failed =
        run({"recover", file_, "--from", "bad", "--yes"}, {}, [] { fullDisk(); });
    EXPECT_EQ(1, failed.exitCode);
    EXPECT_TRUE(std::filesystem::is_directory(file_));
    EXPECT_FALSE(isThere(".before-recover"));
    EXPECT_FALSE(isThere(".tmp"));
}

TEST_F(T8settingsRecover, CopyOnItsWayIsKeptAndCanBePutBack) {
    putFile("torn");
    putTmp(kNew);
    put("settings/settings.ini.tmp.new", kOld);
    const ToolRun recovered = recover({"--from", "tmp", "--yes"});
    EXPECT_THAT(recovered.out, HasSubstr("\n" + file_ + ".tmp.new.before-recover: " + file_ +
                                         ".tmp.new as it was\n"));
    EXPECT_EQ(0, recovered.exitCode);
    EXPECT_EQ(kNew, bytes());
    EXPECT_EQ(kOld, bytes(".tmp.new.before-recover"));
    put("settings/settings.ini.tmp.new", kOld);
    EXPECT_EQ(0, recover({"--from", "tmp.new", "--yes"}).exitCode);
    EXPECT_EQ(kOld, bytes());
}

TEST_F(T8settingsRecover, FileSetAsideLaterIsShownAndPutBack) {
    putFile(kOld);
    put("settings/settings.ini.bad.1", kNew);
    EXPECT_THAT(recover().out, HasSubstr("\nsetting\tfile\tbad.1\n"));
    EXPECT_EQ(0, recover({"--from", "bad.1", "--yes"}).exitCode);
    EXPECT_EQ(kNew, bytes());
    EXPECT_EQ("t8settings: " + file_ + ".bad.2: not there\n",
              recover({"--from", "bad.2", "--yes"}).err);
    for (const char* const word : {"bad.100", "bad.01", "bad.", "x.bad", ""}) {
        EXPECT_EQ(2, recover({"--from", word, "--yes"}).exitCode) << word;
    }
}

TEST_F(T8settingsRecover, CopyThatASaveHasKeptIsShownAndPutBack) {
    putFile(kOld);
    put("settings/settings.ini.tmp.bad", kNew);
    put("settings/settings.ini.tmp.bad.1", kOld);
    EXPECT_THAT(recover().out, HasSubstr("\nsetting\tfile\ttmp.bad\ttmp.bad.1\n"));
    EXPECT_EQ("tmp.bad", Json::parse(recover({"--json"}).out).at("files").at(1).at("kind"));
    for (const char* const suffix : {".tmp.bad", ".tmp.bad.1"}) {
        const ToolRun refused = run({"recover", file_ + suffix});
        EXPECT_EQ("t8settings: " + file_ + suffix + " lies beside " + file_ +
                      "; name that one: t8settings recover " + file_ + "\n",
                  refused.err);
        EXPECT_EQ(2, refused.exitCode);
    }
    EXPECT_EQ(0, recover({"--from", "tmp.bad", "--yes"}).exitCode);
    EXPECT_EQ(kNew, bytes());
    EXPECT_EQ(kNew, bytes(".tmp.bad"));
    EXPECT_EQ(0, recover({"--from", "tmp.bad.1", "--yes"}).exitCode);
    EXPECT_EQ(kOld, bytes());
    EXPECT_EQ(2, recover({"--from", "tmp.bad.100", "--yes"}).exitCode);
    EXPECT_EQ(2, recover({"--from", "tmp.new.bad", "--yes"}).exitCode);
}

TEST_F(T8settingsRecover, NothingIsWrittenWithoutTheLockOfTheDirectory) {
    putFile(kOld);
    putBad(kNew);
    std::filesystem::permissions(dir_.path(), std::filesystem::perms(0755));
    std::filesystem::permissions(file_ + ".bad", std::filesystem::perms(0644));
    std::filesystem::permissions(path("settings"), std::filesystem::perms(0733));
    const ToolRun refused = run({"recover", file_, "--from", "bad", "--yes"}, {}, [] {
        if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(126);
    });
    std::filesystem::permissions(path("settings"), std::filesystem::perms(0755));
    // Root may read every directory, so the tool runs as nobody. Nobody cannot start it from a
    // checkout below a private directory, and only root can become nobody.
    if (refused.exitCode == 127 || geteuid() != 0) {
        GTEST_SKIP() << "nobody but root may run the tool where it lies";
    }
    EXPECT_THAT(refused.err, HasSubstr("nothing was changed: the lock on " + path("settings") +
                                       " could not be had"));
    EXPECT_EQ(1, refused.exitCode);
    EXPECT_EQ(kOld, bytes());
    EXPECT_FALSE(isThere(".before-recover"));
}

TEST_F(T8settingsRecover, FullDiskLeavesAGoodCopyWhole) {
    putFile("torn");
    putTmp(kNew);
    const ToolRun failed = run({"recover", file_, "--from", "tmp", "--yes"}, {}, [] {
        const rlimit few = {50, 50};
        setrlimit(RLIMIT_FSIZE, &few);
        signal(SIGXFSZ, SIG_IGN);
    });
    EXPECT_EQ(1, failed.exitCode);
    EXPECT_EQ("torn", bytes());
    EXPECT_EQ("torn", bytes(".before-recover"));
    EXPECT_EQ(kNew, bytes(".tmp"));
}

TEST_F(T8settingsRecover, WrongUseIsTold) {
    const ToolRun nothing = recover();
    EXPECT_EQ("t8settings: " + file_ + ": not there, and nothing lies beside it\n", nothing.err);
    EXPECT_EQ(1, nothing.exitCode);
    putFile(kOld);
    const ToolRun none = recover({"--from", "bad", "--yes"});
    EXPECT_EQ("t8settings: " + file_ + ".bad: not there\n", none.err);
    EXPECT_EQ(1, none.exitCode);
    const ToolRun beside = run({"recover", file_ + ".bad"});
    EXPECT_EQ("t8settings: " + file_ + ".bad lies beside " + file_ +
                  "; name that one: t8settings recover " + file_ + "\n",
              beside.err);
    EXPECT_EQ(2, beside.exitCode);
    EXPECT_EQ(2, recover({"--from", "elsewhere"}).exitCode);
    EXPECT_EQ(2, recover({"--yes"}).exitCode);
    EXPECT_EQ(2, run({"recover", path("settings/product.xml")}).exitCode);
    put("qel-default-settings/settings.ini", kOld);
    put("qel-default-settings/settings.ini.tmp", kNew);
    const ToolRun defaults =
        run({"recover", path("qel-default-settings/settings.ini"), "--from", "tmp", "--yes"});
    EXPECT_THAT(defaults.err, HasSubstr("is a defaults file, which nobody writes"));
    EXPECT_EQ(1, defaults.exitCode);
    EXPECT_EQ(kOld, bytesOf("qel-default-settings/settings.ini"));
}

TEST_F(T8settingsRecover, BytesOfAnyKindAreShownAndPutBack) {
    const std::string name = "settings/a b\xC3\xA9\xFF.ini";
    put(name + ".bad", "k\ty\xFF = string,\x01\xC3\xA9\n#crc32 = false\n");
    EXPECT_THAT(run({"recover", path(name)}).out,
                HasSubstr("\na b\xC3\xA9\xFF/k\\ty\xFF\t-\tstring,\\x01\xC3\xA9\n"));
    const Json difference =
        Json::parse(run({"recover", path(name), "--json"}).out).at("differences").at(0);
    EXPECT_EQ("612062c3a9ff2f6b0979ff", difference.at("nameBytes"));
    EXPECT_EQ("string,\x01\xC3\xA9", difference.at("texts").at("bad"));
    EXPECT_EQ(0, run({"recover", path(name), "--from", "bad", "--yes"}).exitCode);
    EXPECT_THAT(bytesOf(name), StartsWith("k\ty\xFF = string,\x01\xC3\xA9\n#crc32 = "));
}

TEST_F(T8settingsRecover, ReadOnlyDirectoryIsLookedAtAndLeftAlone) {
    putFile(kOld);
    putBad(kNew);
    if (geteuid() == 0) {
        std::filesystem::permissions(dir_.path(), std::filesystem::perms(0755));
    }
    std::filesystem::permissions(path("settings"), std::filesystem::perms(0555));
    const auto asNobody = [] {
        if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(126);
    };
    const ToolRun shown = run({"recover", file_}, {}, asNobody);
    // Root may write to every directory, so the tool runs as nobody, who cannot start it from a
    // checkout below a private directory.
    if (shown.exitCode == 127) {
        GTEST_SKIP() << "nobody but root may run the tool where it lies";
    }
    EXPECT_THAT(shown.out, HasSubstr("\nsettings/sound/bass\tint8,1\tint8,5\n"));
    EXPECT_EQ(5, shown.exitCode);
    const ToolRun refused = run({"recover", file_, "--from", "bad", "--yes"}, {}, asNobody);
    EXPECT_EQ("t8settings: " + file_ + " is unchanged, it could not be kept as " + file_ +
                  ".before-recover: Permission denied\n",
              refused.err);
    EXPECT_EQ(1, refused.exitCode);
    put("settings/settings.ini", kOld.substr(0, kOld.rfind('#')));
    const ToolRun sealed = run({"seal", file_}, {}, asNobody);
    EXPECT_EQ("t8settings: " + file_ + " is unchanged, " + file_ +
                  ".tmp could not be written: Permission denied\n",
              sealed.err);
    EXPECT_EQ(1, sealed.exitCode);
    EXPECT_EQ(5, run({"verify"}, {}, asNobody).exitCode);
    std::filesystem::permissions(path("settings"), std::filesystem::perms(0755));
}

}  // namespace
