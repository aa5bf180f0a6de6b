// What a save would make last, as nothing tells of it afterwards.

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

#include "ToolRun.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testsupport::ToolRun;

class T8settingsLasting : public testsupport::ToolTest {
protected:
    T8settingsLasting() {
        put("qel-default-settings/settings.ini",
            "#name = settings\n[sound]\nbass = int8,0\ntone = int8,0\n[timer]\nsleep = int8,0\n");
    }

    void putFile(const std::string& sections) const {
        put("settings/settings.ini", "#name = settings\n" + sections + "#crc32 = false\n");
    }

    /// The bytes of a file with a right CRC.
    std::string sealed(const std::string& sections) const {
        putFile(sections);
        EXPECT_EQ(0, run({"seal", file_}).exitCode);
        return testsupport::readFile(file_);
    }

    /// Exit code 1, the finding and what to do on standard error, and the file as it was.
    void expectRefused(const std::vector<std::string>& command, const std::string& finding,
                       const std::string& orElse = "") const {
        const std::string before = testsupport::readFile(file_);
        const ToolRun run = this->run(command);
        EXPECT_EQ("", run.out);
        // The library tells of some lines itself, when it loads them.
        EXPECT_THAT(run.err,
                    EndsWith("t8settings: " + finding +
                             "\nt8settings: nothing was changed, as a save of settings would make "
                             "that last\nt8settings: mend these lines, then: t8settings seal " +
                             file_ + orElse + "\n"));
        EXPECT_EQ(1, run.exitCode);
        EXPECT_EQ(before, testsupport::readFile(file_));
    }

    std::string file_ = path("settings/settings.ini");
};

TEST_F(T8settingsLasting, SectionThatIsNotClosedKeepsEachCommandFromSaving) {
    putFile("[timer]\nsleep = int8,3\n[sound\nbass = int8,5\n");
    const std::string finding =
        file_ +
        ":4: section is not closed, so the settings below it are read into section \"timer\"; "
        "write the \"]\"";
    expectRefused({"set", "settings/timer/sleep", "6"}, finding);
    expectRefused({"reset", "settings/timer/sleep"}, finding);
    testsupport::writeFile(dir_.file("dump"), "settings/timer/sleep = int8,6\n");
    expectRefused({"load", dir_.file("dump")}, finding);
}

TEST_F(T8settingsLasting, SectionThatHasLostItsNameKeepsCommandsFromSaving) {
    putFile("[timer]\nsleep = int8,3\n[]\nbass = int8,5\ntone = int8,6\n");
    expectRefused({"set", "settings/timer/sleep", "6"},
                  file_ +
                      ":4: no line ends a section, so the settings below it are read into section "
                      "\"timer\"; give the settings below it a section");
}

// A save writes such a line above a setting without a section, and above one of the old name.
TEST_F(T8settingsLasting, LineOfASaveAboveSettingsWithoutASectionIsWrittenOnceMore) {
    put("qel-default-settings/settings.ini",
        "#name = settings\nzeta = int8,1\n[sound]\nbass = int8,0\n");
    putFile("[sound]\nbass = int8,2\n[]\nzeta = int8,1\n");
    const ToolRun set = run({"set", "settings/sound/bass", "3"});
    EXPECT_EQ("", set.err);
    EXPECT_EQ(0, set.exitCode);
    put("settings/settings.ini",
        "#name = new\n[sound]\nbass = int8,2\n[]\nsettings/sound/bass = int8,0\n"
        "settings/zeta = int8,1\n#crc32 = false\n");
    const auto added = [](const std::string& name) {
        return "t8settings: warning: a save adds new/" + name + ": " + name + " is read as new/" +
               name + ", as its files give the storage two names; give both the same #name\n";
    };
    const ToolRun renamed = run({"set", "new/sound/bass", "3"});
    EXPECT_EQ(added("settings/sound/bass") + added("settings/zeta"), renamed.err);
    EXPECT_EQ(0, renamed.exitCode);
}

TEST_F(T8settingsLasting, ValueThatIsReadAsAnotherIsMendedByItsOwnSettingAlone) {
    putFile("[sound]\nbass = int8,300\ntone = int8,5\n");
    expectRefused({"set", "settings/sound/tone", "6"},
                  file_ +
                      ":3: settings/sound/bass: int8 would not keep \"300\", it would make \"44\" "
                      "of it; int8 takes whole numbers from -128 to 127",
                  "; or: t8settings set settings/sound/bass TEXT");
    const ToolRun mended = run({"set", "settings/sound/bass", "30"});
    EXPECT_EQ("", mended.err);
    EXPECT_EQ(0, mended.exitCode);
    EXPECT_EQ(0, run({"set", "settings/sound/tone", "6"}).exitCode);
    EXPECT_EQ(0, run({"verify"}).exitCode);
}

TEST_F(T8settingsLasting, ResetWritesTheDefaultInPlaceOfALineThatNoLoadTakesAsItStands) {
    for (const char* const line : {"int9,5", "int8,?", "int8,256", "int9,5\nbass = int8,0"}) {
        putFile("[sound]\nbass = " + std::string(line) + "\ntone = int8,5\n");
        const ToolRun reset = run({"reset", "settings/sound/bass"});
        EXPECT_EQ("settings/sound/bass\tint8\t0\n", reset.out) << reset.err;
        EXPECT_EQ(0, reset.exitCode);
        EXPECT_THAT(testsupport::readFile(file_),
                    HasSubstr("\n[sound]\nbass = int8,0\ntone = int8,5\n\n[timer]\n"))
            << line;
        EXPECT_EQ(0, run({"verify"}).exitCode) << line;
    }
}

// A load reads 300 as 44, and abc as the 0 of the defaults.
TEST_F(T8settingsLasting, LineThatIsMisreadIsMendedAlsoByTheValueThatItIsReadAs) {
    const std::string mended = "\nbass = int8,44\n";
    const auto putMisread = [this] { putFile("[sound]\nbass = int8,300\ntone = int8,5\n"); };
    putMisread();
    testsupport::writeFile(dir_.file("dump"),
                           "settings/sound/bass = int8,44\nsettings/sound/tone = int8,5\n");
    EXPECT_EQ("1 changed, 1 the same\n", run({"load", dir_.file("dump")}).out);
    EXPECT_THAT(testsupport::readFile(file_), HasSubstr(mended));
    EXPECT_EQ("0 changed, 2 the same\n", run({"load", dir_.file("dump")}).out);
    putMisread();
    EXPECT_EQ(0, run({"set", "settings/sound/bass", "44"}).exitCode);
    EXPECT_THAT(testsupport::readFile(file_), HasSubstr(mended));
    putFile("[sound]\nbass = int8,abc\ntone = int8,5\n");
    const ToolRun reset = run({"reset", "settings/sound/bass", "settings/sound/tone"});
    EXPECT_EQ("settings/sound/bass\tint8\t0\nsettings/sound/tone\tint8\t0\n", reset.out);
    EXPECT_EQ(0, reset.exitCode);
    EXPECT_EQ(0, run({"verify"}).exitCode);
}

// Where nothing is written nothing is made to last.
TEST_F(T8settingsLasting, LineThatIsSoundKeepsNoCommandFromLeavingAllAsItIs) {
    putFile("[sound]\nbass = int8,300\ntone = int8,5\n");
    const std::string before = testsupport::readFile(file_);
    testsupport::writeFile(dir_.file("dump"), "settings/sound/tone = int8,5\n");
    EXPECT_EQ("0 changed, 1 the same\n", run({"load", dir_.file("dump")}).out);
    EXPECT_EQ(0, run({"reset", "settings/timer/sleep"}).exitCode);
    EXPECT_EQ(before, testsupport::readFile(file_));
}

TEST_F(T8settingsLasting, TextThatHoldsTheLineOfAnotherSettingIsNotMendedByItsOwn) {
    put("qel-default-settings/settings.ini",
        "#name = settings\n[menu]\nlanguage = string,en\ntimeout = int8,30\n");
    putFile("[menu]\nlanguage = string,datimeout = int8,45\n");
    const std::string finding =
        file_ +
        ":3: settings/menu/language has run into what looks like another setting, \"datimeout = "
        "int8,45\"; write that on a line of its own; if it is meant so: language = "
        "string,\"datimeout = int8,45\"";
    expectRefused({"set", "settings/menu/language", "en"}, finding);
    expectRefused({"reset", "settings/menu/language"}, finding);
}

// The default in its place would hide the other setting, and success that the line stays.
TEST_F(T8settingsLasting, LineWithAnotherOneInItIsNotPassedOverByTheValueThatItHasAnyway) {
    put("settings.dump", "settings/sound/bass = int8,0\n");
    for (const auto& [line, reason] : std::map<std::string, std::string>{
             {"bass = int8own = int8,5", "settings/sound/bass: no such type: \"int8own = int8\""},
             {"bass = int8,0own]\nx = int8,1",
              "settings/sound/bass has run into what looks like a section"}}) {
        putFile("[sound]\n" + line + "\n");
        const std::string before = testsupport::readFile(file_);
        for (const auto& command : {std::vector<std::string>{"reset", "settings/sound/bass"},
                                    {"load", path("settings.dump")},
                                    {"set", "settings/sound/bass", "0"}}) {
            const ToolRun refused = run(command);
            EXPECT_THAT(refused.err, HasSubstr(file_ + ":3: " + reason)) << command.front();
            EXPECT_EQ(1, refused.exitCode) << command.front();
            EXPECT_EQ(before, testsupport::readFile(file_));
        }
    }
    // A second "=" is a slip of one line.
    putFile("[sound]\nbass == int8,3\n");
    EXPECT_EQ(0, run({"set", "settings/sound/bass", "4"}).exitCode);
}

// A library writes such a text, and its type loses a part of it.
TEST_F(T8settingsLasting, BracketInALossyTextOfASealedFileIsNoSectionWhereNoSettingIsAstray) {
    put("qel-default-settings/settings.ini",
        "#name = settings\n[sound]\nbass = int8,0\nmap = map<string:string>,\ntone = int8,0\n");
    putFile("[sound]\nbass = int8,1\nmap = map<string:string>,0,,2,x]\ntone = int8,5\n");
    EXPECT_EQ(0, run({"seal", "--force", file_}).exitCode);
    const ToolRun set = run({"set", "settings/sound/tone", "6"});
    EXPECT_THAT(set.err, HasSubstr("warning: " + file_ +
                                   ":4: settings/sound/map: map<string:string> would not keep "));
    EXPECT_EQ(0, set.exitCode);
}

// Two sections may have the same keys, so that all below seems to be in its place.
TEST_F(T8settingsLasting, SectionInATextThatItsTypeRefusesKeepsCommandsFromSaving) {
    put("qel-default-settings/settings.ini",
        "#name = settings\n[left]\nbass = int8,0\nname = string,\ntone = int8,0\n[right]\n"
        "bass = int8,0\nname = string,\ntone = int8,0\n");
    for (const std::string text :
         {"int8,1[right]", "int8,1right]", "int9,1[right]", "int8,1[right]x",
          "int8,1[right]tone = int9,5", "int8,1[right]#", "int8,\"1[right]\"",
          "int8,1[right]\nbass = int8,3", "int8[right],1", "int8right],1", "int8,1[right",
          "int8[],1[right]"}) {
        for (const std::string name : {"name = string,x\n", "name = string,x[y]\n"}) {
            putFile("[left]\nbass = " + text + "\n" + name + "tone = int8,5\n");
            const std::string before = testsupport::readFile(file_);
            for (const auto& words : {std::vector<std::string>{"set", "settings/left/bass", "1"},
                                      {"reset", "settings/left/bass"}}) {
                const ToolRun refused = run(words);
                EXPECT_THAT(
                    refused.err,
                    HasSubstr(file_ + ":3: settings/left/bass has run into what looks like "))
                    << text << name;
                EXPECT_EQ(1, refused.exitCode);
                EXPECT_EQ(before, testsupport::readFile(file_));
            }
        }
    }
}

TEST_F(T8settingsLasting, LineThatIsLostKeepsCommandsFromSaving) {
    putFile("[sound]\nbass = int9,5\ntone = int8,5\n");
    expectRefused({"set", "settings/sound/tone", "6"},
                  file_ +
                      ":3: settings/sound/bass: no such type: \"int9\"; did you mean int or int8?; "
                      "t8settings types shows all types; or delete the line",
                  "; or: t8settings set settings/sound/bass TEXT");
    EXPECT_EQ(0, run({"set", "settings/sound/bass", "0"}).exitCode);
    EXPECT_EQ(0, run({"set", "settings/sound/tone", "6"}).exitCode);
    putFile("[sound]\nother = int9,5\n");
    expectRefused(
        {"set", "settings/sound/tone", "6"},
        file_ +
            ":3: settings/sound/other: no such type: \"int9\"; did you mean int or int8?; "
            "t8settings types shows all types; or delete the line");
    putFile("[sound]\nbass int8,5\n");
    expectRefused(
        {"set", "settings/sound/tone", "6"},
        file_ +
            ":3: no \"=\" after the key; a setting is written KEY = TYPE,VALUE, a comment "
            "# TEXT");
    for (const char* const behind : {"tone = int8,6\n", "# note\n[timer]\n", "tone int8,6\n",
                                     "tone = int8\n", "#savepolicy = async\n", "#readonly\n"}) {
        testsupport::writeFile(file_, sealed("[sound]\nbass = int8,5\n") + behind);
        expectRefused({"set", "settings/sound/bass", "6"},
                      file_ +
                          ":4: lines after the CRC line are not read; move them above it, "
                          "each below its [section]");
    }
}

TEST_F(T8settingsLasting, WhatHoldsNoSettingBehindTheCrcLineIsAWarning) {
    for (const std::string& behind : {std::string("# note\n"), std::string(300, '\0')}) {
        const std::string text = sealed("[sound]\nbass = int8,5\n");
        testsupport::writeFile(file_, text + behind);
        const std::string finding =
            file_ + ":4: lines after the CRC line are not read, and none of them is a setting; ";
        const ToolRun verified = run({"verify"});
        EXPECT_THAT(verified.out, HasSubstr(finding + "t8settings seal " + file_ +
                                            " drops them and keeps a copy\n"));
        EXPECT_EQ(5, verified.exitCode);
        EXPECT_EQ(0, run({"load", file_}).exitCode);
        const ToolRun set = run({"set", "settings/sound/bass", "6"});
        EXPECT_EQ("t8settings: warning: " + finding + "this save drops them\n", set.err);
        EXPECT_EQ(0, set.exitCode);
        EXPECT_EQ(0, run({"verify"}).exitCode);
        testsupport::writeFile(file_, text + behind);
        EXPECT_EQ(0, run({"seal", file_}).exitCode);
        EXPECT_EQ(text + behind, bytesOf("settings/settings.ini.before-recover"));
        std::filesystem::remove(path("settings/settings.ini.before-recover"));
    }
}

TEST_F(T8settingsLasting, TextThatALibrarySavedIsAWarningThoughNoLoadKeepsIt) {
    put("qel-default-settings/settings.ini",
        "#name = settings\n[sound]\nbass = int8,0\nrecent = string[],\n");
    putFile(
        "[sound]\nbass = int8,2\nrecent = string[],A;\nresume = "
        "map<string:string>,4,Film,0,\n");
    ASSERT_EQ(0, run({"seal", file_, "--force"}).exitCode);
    const std::string warning = "t8settings: warning: " + file_;
    const ToolRun set = run({"set", "settings/sound/bass", "3"});
    EXPECT_THAT(set.err,
                testing::AllOf(testing::StartsWith(warning + ":4: settings/sound/recent: string[] "
                                                             "would not keep \"A;\", "),
                               HasSubstr("; this save makes that last\n" + warning +
                                         ":5: settings/sound/resume: map<string:string> would "),
                               EndsWith("; this save makes that last\n")));
    EXPECT_EQ(0, set.exitCode);
    EXPECT_EQ("A\n", run({"get", "settings/sound/recent"}).out);
    EXPECT_EQ(0, run({"verify"}).exitCode);
}

TEST_F(T8settingsLasting, SavePolicyThatDoesNotExistIsToldForTheLastTime) {
    putFile("#savepolicy = asinc\n[sound]\nbass = int8,2\n");
    const ToolRun set = run({"set", "settings/sound/bass", "3"});
    EXPECT_EQ("t8settings: warning: " + file_ +
                  ":2: no such save policy: \"asinc\"; this save writes what is in force\n",
              set.err);
    EXPECT_EQ(0, set.exitCode);
    EXPECT_EQ("", run({"set", "settings/sound/bass", "4"}).err);
}

TEST_F(T8settingsLasting, NothingIsRefusedNorWarnedOfWhenNothingIsWritten) {
    const std::string text = sealed("[sound]\nbass = int8,5\ntone = int8,6\n");
    for (const char* const behind : {"# note\n", "bass = int8,6\n"}) {
        testsupport::writeFile(file_, text + behind);
        const ToolRun set = run({"set", "settings/sound/bass", "5"});
        EXPECT_EQ("settings/sound/bass\tint8\t5\n", set.out);
        EXPECT_EQ("", set.err);
        EXPECT_EQ(0, set.exitCode);
        EXPECT_EQ(text + behind, testsupport::readFile(file_));
    }
}

TEST_F(T8settingsLasting, ValueOfNowIsWrittenWhereTheFileSaysItOtherwise) {
    putFile("[sound]\nbass = int8,+5\n");
    const std::string text = sealed("[sound]\nbass = int8,+5\n");
    EXPECT_EQ(0, run({"set", "settings/sound/bass", "5"}).exitCode);
    EXPECT_THAT(testsupport::readFile(file_), HasSubstr("\nbass = int8,5\n"));
    putFile("[sound]\nbass = int8,5\n");
    EXPECT_EQ(0, run({"set", "settings/sound/bass", "5"}).exitCode);
    EXPECT_THAT(testsupport::readFile(file_), testing::Not(HasSubstr("false")));
}

TEST_F(T8settingsLasting, SaveThatFailsWarnsOfNothingThatItWouldHaveDropped) {
    testsupport::writeFile(file_, sealed("[sound]\nbass = int8,5\n") + "# note\n");
    std::filesystem::create_directory(file_ + ".tmp");
    const ToolRun set = run({"set", "settings/sound/bass", "6"});
    EXPECT_EQ(1, set.exitCode);
    EXPECT_THAT(set.err, testing::Not(HasSubstr("drops")));
}

TEST_F(T8settingsLasting, MisspeltSectionOrKeyIsToldForTheLastTime) {
    putFile("[soundd]\nbass = int8,5\n[sound]\ntune = int8,5\n[timer]\nsleep = int8,3\n");
    const std::string of = " is not in " + path("qel-default-settings/settings.ini") +
                           "; did you mean settings/sound/";
    const std::string after = "? after this save nothing tells of it any more\n";
    const std::string warnings = "t8settings: warning: " + file_ + ":3: settings/soundd/bass" + of +
                                 "bass" + after + "t8settings: warning: " + file_ +
                                 ":5: settings/sound/tune" + of + "tone" + after;
    const ToolRun set = run({"set", "settings/timer/sleep", "6"});
    EXPECT_EQ("settings/timer/sleep\tint8\t6\n", set.out);
    EXPECT_EQ(warnings, set.err);
    EXPECT_EQ(0, set.exitCode);
    EXPECT_EQ("", run({"set", "settings/timer/sleep", "7"}).err);
    EXPECT_EQ("5\n", run({"get", "settings/soundd/bass"}).out);
}

TEST_F(T8settingsLasting, MisspeltSectionIsToldOnceForAllItsSettings) {
    putFile("[sound]\ntune = int8,1\n[soundd]\nbass = int8,5\ntone = int8,5\nown = int8,5\n");
    const std::string of =
        " not in " + path("qel-default-settings/settings.ini") + "; did you mean ";
    const std::string after = "? after this save nothing tells of it any more\n";
    const ToolRun set = run({"set", "settings/timer/sleep", "6"});
    EXPECT_EQ("t8settings: warning: " + file_ + ":3: settings/sound/tune is" + of +
                  "settings/sound/tone" + after + "t8settings: warning: " + file_ +
                  ":4: 2 settings of section \"soundd\" are" + of + "[sound]" + after,
              set.err);
    EXPECT_EQ(0, set.exitCode);
    EXPECT_EQ("", run({"set", "settings/timer/sleep", "7"}).err);
}

// The comment goes with the save, and with it what the setting was.
TEST_F(T8settingsLasting, CommentThatMayHaveBeenASettingIsToldForTheLastTime) {
    const std::string lines = "[sound]\n# see belowbass = int8,5\n[timer]\nsleep = int8,3\n";
    putFile(lines);
    const std::string warning =
        "t8settings: warning: " + file_ +
        ":3: is a comment; if it was \"bass = int8,5\", settings/sound/bass has lost that; write "
        "that on a line of its own, unless it is meant so";
    ToolRun set = run({"set", "settings/timer/sleep", "6"});
    EXPECT_EQ(warning + "; after this save nothing tells of it any more\n", set.err);
    EXPECT_EQ(0, set.exitCode);
    putFile(lines);
    const ToolRun seal = run({"seal", file_});
    EXPECT_EQ(warning + "\n", seal.err);
    EXPECT_EQ(0, seal.exitCode);
    set = run({"set", "settings/timer/sleep", "6"});
    EXPECT_EQ("", set.err);
}

// When the default has been mended, nothing tells that the file has what it was read as.
TEST_F(T8settingsLasting, MisreadDefaultsThatASaveWritesAreTold) {
    const std::string defaults = path("qel-default-settings/settings.ini");
    put("qel-default-settings/settings.ini",
        "#name = settings\n[sound]\nbass = int8,900\ntone = int8,0\n[timer\nsleep = int8,0\n");
    const std::string written = "; a save writes that into " + file_ + "\n";
    const ToolRun set = run({"set", "settings/sound/tone", "6"});
    EXPECT_EQ("t8settings: warning: " + defaults +
                  ":3: settings/sound/bass: int8 would not keep \"900\", it would make \"-124\" of "
                  "it" +
                  written + "t8settings: warning: " + defaults +
                  ":5: section is not closed, so the settings below it are read into section "
                  "\"sound\"" +
                  written,
              set.err);
    EXPECT_EQ(0, set.exitCode);
    EXPECT_EQ("", run({"set", "settings/sound/tone", "7"}).err);
    // What the defaults lose altogether comes back when they are mended.
    std::filesystem::remove(file_);
    put("qel-default-settings/settings.ini",
        "#name = settings\n[sound]\nbass = int9,0\ntone int8,0\ntreble = int8,0\n");
    EXPECT_THAT(run({"set", "settings/sound/treble", "6"}).err,
                testing::Not(HasSubstr("a save writes that")));
    // But it may lead those below it astray.
    std::filesystem::remove(file_);
    put("qel-default-settings/settings.ini",
        "#name = settings\n[sound]\nbass = int8,0\n[timer] sleep = int8,0\ntone = int8,0\n");
    EXPECT_EQ("t8settings: warning: " + defaults +
                  ":4: a section and a setting stand on one line, so that neither is read" +
                  written,
              run({"set", "settings/sound/bass", "6"}).err);
    EXPECT_EQ("", run({"set", "settings/sound/bass", "7"}).err);
    // So may one of which the file has its own.
    put("qel-default-settings/settings.ini",
        "#name = settings\n[sound]\nbass = int8,0[timer]\nsleep = int8,0\n");
    putFile("[sound]\nbass = int8,5\ntone = int8,5\n");
    EXPECT_EQ(
        "t8settings: warning: " + defaults +
            ":3: settings/sound/bass has run into what looks like the section [timer], so the "
            "settings below it are read into section \"sound\"" +
            written,
        run({"set", "settings/sound/tone", "6"}).err);
    EXPECT_EQ("", run({"set", "settings/sound/tone", "7"}).err);
    // The text of a setting that is given another one is written nowhere.
    std::filesystem::remove(file_);
    put("qel-default-settings/settings.ini", "#name = settings\n[sound]\nbass = int8,900\n");
    EXPECT_EQ("", run({"set", "settings/sound/bass", "6"}).err);
}

// No save writes it under the name that the defaults have.
TEST_F(T8settingsLasting, NameThatTheFileLacksAfterTheSaveAsWellIsNotToldForTheLastTime) {
    put("qel-default-settings/q.ini", "#name = q\nzeta = int8,1\n[a]\nb = int8,2\n");
    put("settings/q.ini", "#name = q\n[a]\nb = int8,2\n#crc32 = false\n");
    EXPECT_THAT(run({"set", "q/a/b", "3"}).err, HasSubstr("a save adds q/a/zeta"));
    const std::string slip = "q/a/zeta is not in " + path("qel-default-settings/q.ini");
    EXPECT_THAT(run({"verify", path("settings/q.ini")}).out, HasSubstr(slip));
    EXPECT_EQ("", run({"set", "q/a/b", "4"}).err);
    EXPECT_THAT(run({"verify", path("settings/q.ini")}).out, HasSubstr(slip));
}

TEST_F(T8settingsLasting, SectionThatIsACommentKeepsCommandsFromSaving) {
    putFile("[timer]\nsleep = int8,3\n#sound]\nbass = int8,5\n");
    const std::string finding =
        file_ +
        ":4: looks like a section and opens none, so the settings below it are read into section "
        "\"timer\"; write [NAME], on a line of its own, or delete the comment";
    expectRefused({"set", "settings/timer/sleep", "6"}, finding);
    expectRefused({"reset", "settings/timer/sleep"}, finding);
}

TEST_F(T8settingsLasting, WholeCopyWithoutItsFileIsNotReplaced) {
    putFile("[sound]\nbass = int8,5\n");
    const std::string copy = file_ + ".tmp";
    std::filesystem::rename(file_, copy);
    const std::string bytes = testsupport::readFile(copy);
    const std::string finding = copy +
                                ": whole copy of an interrupted save, which no program looks for "
                                "since " +
                                file_ +
                                " is not there; a program's next save replaces it: first of all: "
                                "t8settings recover " +
                                file_;
    EXPECT_THAT(run({"verify"}).out, HasSubstr(finding + "\n"));
    const ToolRun set = run({"set", "settings/sound/tone", "6"});
    EXPECT_EQ("t8settings: " + finding +
                  "\nt8settings: nothing was changed, as a save of settings would make that last\n",
              set.err);
    EXPECT_EQ(1, set.exitCode);
    EXPECT_EQ(bytes, testsupport::readFile(copy));
    EXPECT_FALSE(testsupport::exists(file_));
    ASSERT_EQ(0, run({"recover", file_, "--from", "tmp", "--yes"}).exitCode);
    EXPECT_EQ(0, run({"set", "settings/sound/tone", "6"}).exitCode);
    EXPECT_EQ("5\n", run({"get", "settings/sound/bass"}).out);
}

}  // namespace
