#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "VerifyFixture.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;
using testsupport::kSound;
using testsupport::ToolRun;
using Json = nlohmann::json;

class T8settingsVerifyLines : public testsupport::VerifyTest {};

TEST_F(T8settingsVerifyLines, LinesThatNoLoadTakesAreNamedWithTheReason) {
    EXPECT_EQ(
        (Said{"2 lost: no \"=\" after the key; if it was a section, the settings below it have "
              "no section",
              "3 lost: no \",\" after the type", "4 lost: x/c: no such type: \"\"",
              "5 lost: x/d: no such type: \"strng\"; did you mean string?",
              "6 lost: x/e: no such type: \"Role\", it is one of fields only",
              "8 lost: x/f: YesNo would not keep \"maybe\", it cannot be read"}),
        saidOf("# a comment\na\nb = int\nc = ,1\nd = strng,x\ne = Role,x\n\n"
               "f = YesNo,maybe\ng = int,1"));
}

TEST_F(T8settingsVerifyLines, ValuesThatAreReadAsSomethingElseAreNamedWithTheOutcome) {
    EXPECT_EQ(
        (Said{"1 changed: x/a: int8 would not keep \"300\", it would make \"44\" of it",
              "2 changed: x/b: float32 would not keep \"3.14159265\", it would make \"3.14159\" of "
              "it",
              "3 changed: x/c: bool would not keep \"on\", it would make \"false\" of it",
              "4 changed: x/d: string would not keep '\" a\"', it would read \"a\" from the file "
              "again",
              "5 changed: x/e: string would not keep \"a\\\", it would make \"a\" of it",
              "6 changed: x/f: map<int:int> would not keep \"1,1,1,\", it would make \"\" of it"}),
        saidOf("a = int8,300\nb = float32,3.14159265\nc = bool,on\nd = string,\" a\"\n"
               "e = string,a\\\nf = map<int:int>,1,1,1,"));
}

TEST_F(T8settingsVerifyLines, OtherWaysToWriteAValueAreSound) {
    EXPECT_EQ(Said(), saidOf("a = int8,+07\nb = bool,TRUE\nc = string,a\"b\nd = string,a,b\n"
                             "e = float32,1.50\nf = string,\ng = YesNo,\nh = int[],\n"
                             "i = string,\"x\"\nj = string,\\q\nk = char,\nl = string,\"a\\\\\"\n"
                             "m = string,b\xE9\xFF"));
}

TEST_F(T8settingsVerifyLines, HeadersAndSectionsWithoutEffectAreNamed) {
    EXPECT_EQ((Said{"2 ignored: no such save policy: \"sometimes\"",
                    "3 ignored: #readonly makes the storage read-only whatever is said behind it",
                    "5 ignored: section is not closed", "7 ignored: no line ends a section"}),
              saidOf("#name = y\n#savepolicy = sometimes\n#readonly = false\n[]\n[open\n[s]\n[]"));
}

TEST_F(T8settingsVerifyLines, SectionThatIsNotOpenedChangesTheNamesOfTheSettingsBelow) {
    EXPECT_EQ((Said{"3 changed: section is not closed, so the settings below it are read into "
                    "section \"sound\"",
                    "7 changed: no line ends a section, so the settings below it are read into "
                    "section \"tuner\""}),
              saidOf("[sound]\na = int,1\n[picture\nb = int,2\n[tuner]\nc = int,3\n[]\n"
                     "# a comment\nd = int,4"));
    EXPECT_EQ((Said{"1 changed: section is not closed, so the settings below it have no section"}),
              saidOf("[picture\na = int,1\n[]\nb = int,2"));
}

TEST_F(T8settingsVerifyLines, SettingsThatAreHardlyMeantSoAreNamed) {
    put("qel-default-settings/x.ini",
        "[sound]\nbass = int8,0\nvolume = int8,1\na = int32,3\nmode = YesNo,YES\n");
    const std::string defaults = path("qel-default-settings/x.ini");
    EXPECT_EQ((Said{"2 doubtful: x/sound/; bass is a setting",
                    "3 doubtful: x/sound/vulome is not in " + defaults,
                    "5 doubtful: x/sound/mode is bool here and YesNo in " + defaults}),
              saidOf("[sound]\n; bass = int8,1\nvulome = int8,1\na = int,3\nmode = bool,true"));
    EXPECT_THAT(run({"verify", path("settings/x.ini")}).out,
                AllOf(HasSubstr("; a comment is written # TEXT\n"),
                      HasSubstr("; did you mean x/sound/volume?\n"),
                      HasSubstr("; write YesNo, unless it is meant so\n")));
    // What the file has under its right name as well is no slip, and no short name is like another.
    EXPECT_EQ(Said(), saidOf("[sound]\nbass = int8,0\nbasss = int8,1\nvolume = int8,1\n"
                             "b = int,1\nmode = YesNo,NO\nother = int,1"));
    EXPECT_EQ((Said{"1 doubtful: x/// a is a setting"}), saidOf("// a = int,1"));
    put("settings/odd.ini", "[sound]\nbasss = int8,1\n#crc32 = 1052494315\n");
    EXPECT_EQ("1 file, all sound\n", run({"verify", path("settings/odd.ini")}).out);
}

TEST_F(T8settingsVerifyLines, MisspeltSectionIsNamedOnceForAllItsSettings) {
    put("qel-default-settings/x.ini",
        "[sound]\nbass = int8,0\ntone = int8,1\n[timer]\na = int,1\n");
    EXPECT_EQ((Said{"3 doubtful: 2 settings of section \"soumd\" are not in " +
                    path("qel-default-settings/x.ini")}),
              saidOf("[timer]\na = int,1\n[soumd]\nbass = int8,1\ntone = int8,1"));
    EXPECT_THAT(run({"verify", path("settings/x.ini")}).out,
                HasSubstr("; did you mean [sound]?\n"));
}

TEST_F(T8settingsVerifyLines, DefaultsAreFoundFromWhereverTheFileIsNamed) {
    put("settings/settings.ini", "#name = settings\n[sound]\nbasss = int8,1\n#crc32 = false\n");
    const auto in = [](const std::string& directory) {
        return [directory] {
            if (chdir(directory.c_str()) != 0) _exit(126);
        };
    };
    for (const auto& [directory, file] :
         std::map<std::string, std::string>{{"/", path("settings/settings.ini")},
                                            {base_, "settings/settings.ini"},
                                            {path("settings"), "settings.ini"},
                                            {path("settings"), "../settings/settings.ini"}}) {
        EXPECT_THAT(run({"verify", file}, {}, in(directory)).out,
                    HasSubstr("; did you mean settings/sound/bass?\n"))
            << file;
    }
}

TEST_F(T8settingsVerifyLines, LineThatWasASectionIsToldWithWhatItCosts) {
    for (const char* const line : {"Ssound]", "#savepolicy = async?[sound]"}) {
        EXPECT_EQ((Said{"3 changed: looks like a section and opens none, so the settings below it "
                        "are read into section \"a\""}),
                  saidOf(std::string("[a]\nb = int,1\n") + line + "\nc = int,2"));
    }
    EXPECT_EQ((Said{"3 lost: no \"=\" after the key; if it was a section, the settings below it "
                    "are read into section \"a\"",
                    "5 lost: no \"=\" after the key"}),
              saidOf("[a]\nb = int,1\n(sound)\nc = int,2\n(sound)\n[d]\ne = int,3"));
    EXPECT_EQ(Said(), saidOf("# see [sound]\n#[sound]\n# a]\n#todo]\nc = int,2"));
}

// Two sections may have the same keys, so that all below seems to be in its place.
TEST_F(T8settingsVerifyLines, CommentWithTheNameOfASectionOfTheDefaultsIsOneWhenSettingsFollow) {
    put("qel-default-settings/x.ini",
        "[parental]\npin = int8,0\nbass = int8,0\n[sound]\nbass = int8,0\ntone = int8,0\n");
    const std::string above = "[parental]\npin = int8,1\n";
    for (const char* const comment :
         {"#sound]", "#[sound]", "# [sound]", "##[sound", "#[ sound ]", "# note[sound]",
          "# a\\sound]", "# [old][sound]", "# old: pin = int8,4[sound]", "#[sound] # note"}) {
        for (const std::string below :
             {"own = int8,1\nbass = int8,2\ntone = int8,3", "bass = int8,2", "own = int8,2",
              "tone = int8,2\n[sound]\ntone = int8,2"}) {
            EXPECT_EQ((Said{"3 changed: looks like a section and opens none, so the settings below "
                            "it are read into section \"parental\""}),
                      saidOf(above + comment + "\n" + below))
                << comment << below;
        }
    }
    EXPECT_EQ((Said{"1 changed: looks like a section and opens none, so the settings below it have "
                    "no section",
                    "2 moved: x/tone has no section and sorts after x/sound/ of " +
                        path("qel-default-settings/x.ini") + ": a save makes x/sound/tone of it"}),
              saidOf("#[sound]\ntone = int8,3"));
    // Another bracket tells of a section when a setting below is strange there or given above.
    for (const char* const below :
         {"#[timer]\ntone = int8,2", "##ound]\npin = int8,2",
          "# [parental] is [loud]\nown = int8,2", "#[mine] like [parental]\nown = int8,2"}) {
        EXPECT_THAT(
            saidOf(above + below),
            testing::Contains("3 changed: looks like a section and opens none, so the settings "
                              "below it are read into section \"parental\""))
            << below;
    }
    EXPECT_EQ((Said{"1 changed: looks like a section and opens none, so the settings below it have "
                    "no section"}),
              saidOf("#[own] holds string[]\nown = int8,2"));
    for (const char* const sound :
         {"#[timer]\nbass = int8,2", "#sound\ntone = int8,2", "#[sound]\n[sound]\ntone = int8,2",
          "# of [parental]\nbass = int8,2", "# my own of [parental]\nown = int8,2",
          "# in [loudsound], [dB], [x sound]\nbass = int8,2", "#[ parental ]\nown = int8,2",
          "#[parental] is loud\nown = int8,2", "#parental]\nown = int8,2",
          "#[parental\nown = int8,2", "# one of [0..9], see [parental]\nown = int8,2",
          "#[parental] # [parental]\nown = int8,2",
          "# [sound\n# ---[ sound ]---\n[sound]\nbass = int8,2"}) {
        EXPECT_EQ(Said(), saidOf(above + sound)) << sound;
    }
}

TEST_F(T8settingsVerifyLines, NameOfACommentedSectionMayHoldABracketOrAnotherName) {
    put("qel-default-settings/x.ini",
        "[sound]\na = int8,0\nt = string,\n[x[menu]\na = int8,0\n[menu]\n[osd/menu]\n");
    for (const std::string line : {"#x[menu]", "# note [x[menu]", "t = string,see [x[menu]"}) {
        EXPECT_THAT(saidOf("[sound]\n" + line + "\na = int8,2"),
                    testing::Contains(HasSubstr("so the settings below it are read into section "
                                                "\"sound\"")))
            << line;
    }
    EXPECT_EQ(Said(), saidOf("[osd/menu]\n#osd/menu]\nown = int8,2"));
}

TEST_F(T8settingsVerifyLines, CommentThatOneByteMayHaveMadeOfAMissingSettingIsDoubtful) {
    put("qel-default-settings/x.ini",
        "tone = int8,0\nbass = int8,0\n[sound]\nbass = int8,0\ntone = int8,0\n\xff = int8,0\n"
        "a b = int8,0\n");
    const auto doubt = [](const std::string& text, const std::string& name) {
        return "3 doubtful: is a comment; if it was \"" + text + "\", " + name + " has lost that";
    };
    const std::string above = "a = int8,1\n[sound]\n";
    for (const char* const comment :
         {"# see belowbass = int8,5", "#ass = int8,5", "# of bass = int8,5",
          "##tone = int8,2 bass = int8,5", "# tone = int8,2;bass = int8,5",
          "# the 21\" TVbass = int8,5"}) {
        EXPECT_EQ(Said{doubt("bass = int8,5", "x/sound/bass")}, saidOf(above + comment)) << comment;
    }
    EXPECT_EQ(Said{doubt("tone =int8,", "x/sound/tone")}, saidOf(above + "# 12tone=int8,"));
    EXPECT_EQ(Said{doubt("\\xFF = int8,5", "x/sound/\xEF\xBF\xBD")}, saidOf(above + "# = int8,5"));
    EXPECT_EQ(Said{doubt("a b = int8,5", "x/sound/a b")}, saidOf(above + "# b = int8,5"));
    EXPECT_EQ(Said{doubt("bass = int8,5 tone = int8,2", "x/sound/bass")},
              saidOf(above + "# of bass = int8,5 tone = int8,2"));
    EXPECT_EQ((Said{"1 doubtful: is a comment; if it was \"bass = int8,5\", x/bass has lost that"}),
              saidOf("# -bass = int8,5"));
    for (const char* const sound :
         {"#bass = int8,5", "## bass = int8,5", "# belowbass = int9,5", "# below bass",
          "#ss = int8,5", "# x/sound/bass = int8,5", "#sound/bass = int8,5",
          "# belowbass = int8,5\nbass = int8,6", "# bas = int8,5"}) {
        EXPECT_EQ(Said(), saidOf(above + sound)) << sound;
    }
    std::filesystem::remove(path("qel-default-settings/x.ini"));
    EXPECT_EQ(Said(), saidOf(above + "#ass = int8,5"));
}

TEST_F(T8settingsVerifyLines, NeedlessEndOfASectionDoesNotHideThatOneIsBroken) {
    put("qel-default-settings/x.ini", "[sound]\ntone = int8,0\n");
    for (const char* const broken : {"#sound]", "[sound"}) {
        const Said said = saidOf(std::string(broken) + "\n[]\nown = int8,3");
        ASSERT_EQ(1U, said.size()) << broken;
        EXPECT_THAT(said[0], testing::StartsWith("1 changed: ")) << broken;
        EXPECT_THAT(said[0], testing::EndsWith("so the settings below it have no section"));
    }
    EXPECT_EQ(Said(), saidOf("[]\nown = int8,3"));
}

TEST_F(T8settingsVerifyLines, NameThatIsNotFirstCostsTheFile) {
    EXPECT_EQ((Said{"2 unusable: #name is not the first line; the next program to load it sets it "
                    "aside as " +
                    path("settings/x.ini.bad")}),
              saidOf("a = int,1\n#name = x"));
}

TEST_F(T8settingsVerifyLines, NamesThatAreGivenTwiceOrComeBackElsewhereAreNamed) {
    EXPECT_EQ((Said{"1 ignored: x/a is given once more in line 2, which counts",
                    "3 moved: x/z has no section and sorts after x/s/: a save makes x/s/z of it"}),
              saidOf("a = int,1\na = int,2\nz = int,3\n[s]\nb = int,4"));
    EXPECT_EQ(Said(), saidOf("a = int,1\ns/z = int,3\n[s]\nb = int,4"));
}

TEST_F(T8settingsVerifyLines, LineThatCountsIsTheLastOneThatALoadTakes) {
    EXPECT_EQ((Said{"2 ignored: x/a is given once more in line 3, which counts",
                    "4 lost: x/a: no such type: \"int9\"; did you mean int or int8?",
                    "5 lost: x/b: YesNo would not keep \"maybe\", it cannot be read",
                    "6 lost: x/b: YesNo would not keep \"never\", it cannot be read"}),
              saidOf("# note\na = int8,1\na = int8,2\na = int9,7\nb = YesNo,maybe\n"
                     "b = YesNo,never"));
    put("settings/settings.ini.bad", "#name = settings\n[sound]\nbass = int8,3\nbass = int9,7\n");
    EXPECT_THAT(run({"recover", path("settings/settings.ini"), "--from", "bad", "--yes"}).out,
                HasSubstr("settings.ini: 1 setting from "));
    EXPECT_EQ("3\n", run({"get", "settings/sound/bass"}).out);
}

TEST_F(T8settingsVerifyLines, SettingWithoutASectionThatSortsLateIsToGetOne) {
    put("settings/settings.ini",
        "#name = settings\n[sound]\nbass = int8,1\n[]\nzeta = int8,1\n#crc32 = false\n");
    EXPECT_THAT(run({"verify"}).out, HasSubstr("; give the settings below it a section\n"));
    put("settings/settings.ini",
        "#name = settings\n[sound]\nbass = int8,1\n[]\nalpha = int8,1\n#crc32 = false\n");
    EXPECT_THAT(run({"verify"}).out,
                HasSubstr("; move settings without a section above all sections\n"));
    put("settings/settings.ini",
        "#name = settings\nalpha = int8,1\n[sound]\nbass = int8,1\n#crc32 = false\n");
    EXPECT_EQ(0, run({"seal", path("settings/settings.ini")}).exitCode);
}

// A save writes the settings of both files of a storage together.
TEST_F(T8settingsVerifyLines, SettingsThatMoveIntoASectionOfTheDefaultsAreNamedAndNotSealed) {
    put("qel-default-settings/x.ini", "#name = x\n[s]\nb = int,1\nz = int,1\n");
    const std::string defaults = path("qel-default-settings/x.ini");
    const Said expected = {"2 moved: x/z has no section and sorts after x/s/ of " + defaults +
                           ": a save makes x/s/z of it"};
    EXPECT_EQ(expected, saidOf("b = int,2\nz = int,2"));
    EXPECT_EQ(1, run({"seal", path("settings/x.ini")}).exitCode);
    EXPECT_EQ(1, run({"set", "x/s/b", "5"}).exitCode);
    EXPECT_EQ(Said(), saidOf("[s]\nb = int,2\nz = int,2"));
    EXPECT_EQ(0, run({"set", "x/s/b", "5"}).exitCode);
}

TEST_F(T8settingsVerifyLines, SettingsOfTheDefaultsThatMoveIntoASectionOfTheFileAreNamed) {
    put("qel-default-settings/x.ini", "#name = x\ny = int,1\nz = int,1\n");
    const std::string defaults = path("qel-default-settings/x.ini");
    EXPECT_EQ((Said{"null moved: x/y and 1 more of " + defaults +
                    " have no section and sort after x/s/: a save makes x/s/y of the first"}),
              saidOf("[s]\na = int,2"));
    const ToolRun seal = run({"seal", path("settings/x.ini")});
    EXPECT_THAT(seal.err, HasSubstr("; give them a section there, or take [s] out of this file\n"));
    EXPECT_EQ(1, seal.exitCode);
    EXPECT_EQ(1, run({"set", "x/y", "5"}).exitCode);
    EXPECT_EQ((Said{"null moved: x/z of " + defaults +
                        " has no section and sorts after x/s/: a save makes x/s/z of it",
                    "1 moved: x/y has no section and sorts after x/s/: a save makes x/s/y of it"}),
              saidOf("y = int,2\n[s]\na = int,2"));
    EXPECT_THAT(
        run({"verify", path("settings/x.ini")}).out,
        HasSubstr("; give it a section, in " + defaults + " too, or take [s] out of this file\n"));
    EXPECT_EQ(Said(), saidOf("y = int,2"));
    EXPECT_EQ(0, run({"set", "x/y", "5"}).exitCode);
    put("qel-default-settings/x.ini", "#name = x\n[e]\ny = int,1\nz = int,1\n");
    EXPECT_EQ(Said(), saidOf("[s]\na = int,2"));
    EXPECT_EQ(0, run({"set", "x/e/y", "5"}).exitCode);
}

TEST_F(T8settingsVerifyLines, WhatTheDefaultsMoveByThemselvesIsToldOfThemAlone) {
    put("qel-default-settings/x.ini", "#name = x\nz = int,1\n[s]\na = int,1\n");
    EXPECT_EQ(Said(), saidOf("[s]\na = int,2"));
    EXPECT_THAT(run({"verify"}).out,
                HasSubstr(path("qel-default-settings/x.ini") + ":2: x/z has no section "));
}

// A save takes the longest section that begins a name, whichever one the line stands in.
TEST_F(T8settingsVerifyLines, SettingThatALongerSectionLeavesOutOfASaveIsNamed) {
    const std::string lines = "[a]\nb/#c = int8,1\n[a/b]\ne = int8,3";
    const auto reason = [](const std::string& line, const std::string& name) {
        return Said{line + " lost: x/" + name +
                    " falls into x/a/b/: a save leaves it out, as its key would read as a header "
                    "or section"};
    };
    EXPECT_EQ(reason("2", "a/b/#c"), saidOf(lines));
    const std::string file = path("settings/x.ini");
    EXPECT_THAT(run({"verify", file}).out, HasSubstr("; begin the key with another character\n"));
    EXPECT_EQ(1, run({"seal", file}).exitCode);
    EXPECT_EQ(1, run({"set", "x/a/b/e", "4"}).exitCode);
    EXPECT_EQ(reason("1", "a/b/[c"), saidOf("a/b/[c = int8,1\n[a/b]\ne = int8,3"));
    EXPECT_EQ(Said(), saidOf("[a]\nb/#c = int8,1\n[a/d]\ne = int8,3"));
    EXPECT_EQ(0, run({"set", "x/a/b/#c", "4"}).exitCode);
    put("settings/x.ini.bad", lines + "\n#crc32 = 1\n");
    const ToolRun recovered = run({"recover", file, "--from", "bad", "--yes"});
    EXPECT_THAT(recovered.out, HasSubstr(".bad:2: x/a/b/#c falls into x/a/b/: "));
    EXPECT_EQ("[a]\n[a/b]\ne = int8,3\n", bytesOf("settings/x.ini").substr(0, 21));
    std::filesystem::remove(path("settings/x.ini.bad"));
    put("qel-default-settings/x.ini", lines + "\n");
    EXPECT_THAT(run({"verify"}).out,
                HasSubstr(path("qel-default-settings/x.ini") + ":2: x/a/b/#c falls into x/a/b/: "));
    EXPECT_EQ(reason("2", "a/b/#c"), saidOf("[a]\nb/#c = int8,2"));
    EXPECT_EQ(Said(), saidOf("[a/b]\ne = int8,2"));
    EXPECT_EQ(0, run({"set", "x/a/b/e", "4"}).exitCode);
}

TEST_F(T8settingsVerifyLines, LinesAfterTheCrcLineAreNamed) {
    put("settings/settings.ini", std::string(kSound) + "\nbalance = int8,1\n");
    EXPECT_THAT(
        run({"verify"}).out,
        HasSubstr(path("settings/settings.ini") +
                  ":6: lines after the CRC line are not read; move them above it, each below "
                  "its [section]\n"));
}

TEST_F(T8settingsVerifyLines, DefaultsNeedNoCrcButTheirLinesAreJudged) {
    put("qel-default-settings/settings.ini",
        "#name = settings\n[sound]\nbass = int9,1\n#crc32 = 1\n"
        "[more]\nx = int,1\n");
    expectFindings(
        run({"verify"}),
        {path("qel-default-settings/settings.ini") +
         ":3: settings/sound/bass: no such type: \"int9\"; did you mean int or int8?; t8settings "
         "types shows all types; or delete the line"});
}

TEST_F(T8settingsVerifyLines, DefaultsBehindALinkAreDefaultsAllTheSame) {
    const std::string defaults = path("qel-default-settings");
    std::filesystem::create_directory_symlink(defaults, path("here"));
    EXPECT_EQ("1 file, all sound\n", run({"verify", path("here/settings.ini")}).out);
    std::filesystem::rename(defaults, path("defaults-v2"));
    std::filesystem::create_directory_symlink("defaults-v2", defaults);
    EXPECT_EQ("2 files, all sound\n", run({"verify"}).out);
    EXPECT_EQ(defaults +
                  "/settings.ini: 1 setting, a defaults file, which needs no CRC; nothing "
                  "was written\n",
              run({"seal", defaults + "/settings.ini"}).out);
}

TEST_F(T8settingsVerifyLines, SettingsOfTwoStoragesAreNamed) {
    put("calibration_data/settings.ini", kSound);
    EXPECT_THAT(run({"verify"}).out,
                StartsWith(path("calibration_data/settings.ini") + ": 2 of its settings are in " +
                           path("settings/settings.ini") +
                           " too, such as settings/sound/bass: those that are loaded last count; "
                           "give its storage a #name of its own\n"));
}

TEST_F(T8settingsVerifyLines, FilesOfOneStorageAgreeOnItsName) {
    put("settings/settings.ini", "#name = other\na = int,1\n#crc32 = 1727317709\n");
    EXPECT_THAT(run({"verify"}).out,
                HasSubstr(path("settings/settings.ini") +
                          ":1: its storage is called \"other\" here "
                          "and \"settings\" in " +
                          path("qel-default-settings/settings.ini") +
                          ": the settings there keep that name; give both the same #name\n"));
}

TEST_F(T8settingsVerifyLines, MistypedStorageNameIsOneFindingAndNotOneForEachSetting) {
    put("settings/settings.ini", "#name = sittings\n[sound]\nbass = int8,3\n#crc32 = 1\n");
    const std::string out = run({"verify", path("settings/settings.ini")}).out;
    EXPECT_THAT(out, HasSubstr(":1: its storage is called \"sittings\" here and \"settings\" in "));
    EXPECT_THAT(out, testing::Not(HasSubstr("did you mean")));
}

TEST_F(T8settingsVerifyLines, TextThatReadsLikeACrcLineIsSoundAboveOne) {
    EXPECT_EQ(Said{}, saidOf("a = string,b#crc32 = 1"));
}

}  // namespace
