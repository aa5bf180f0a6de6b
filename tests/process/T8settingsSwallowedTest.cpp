// Lines that hold another one: what is made of them, and what is no such line.

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "Sanitized.h"
#include "VerifyFixture.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using testsupport::ToolRun;

class T8settingsSwallowed : public testsupport::VerifyTest {
protected:
    T8settingsSwallowed() {
        put("qel-default-settings/settings.ini",
            "#name = settings\n[menu]\nlanguage = string,en\ntimeout = int8,30\n[timer]\n"
            "sleep = int8,0\nwake = string,06:00\n");
    }

    void putFile(const std::string& sections) const {
        put("settings/settings.ini", "#name = settings\n" + sections + "#crc32 = false\n");
    }

    /// A file that a load reads without an error, and with the same value for `set` to change.
    void expectNothingChanges(const std::vector<std::string>& command,
                              const std::string& finding) const {
        const auto before = everything();
        const ToolRun run = this->run(command);
        EXPECT_EQ("", run.out);
        EXPECT_THAT(run.err, HasSubstr("t8settings: " + finding + "\n"));
        EXPECT_EQ(1, run.exitCode);
        EXPECT_EQ(before, everything());
    }

    /// For each command that makes what it reads last.
    void expectRefused(const std::string& name, const std::string& finding) const {
        expectNothingChanges({"set", name, "7"}, file_ + finding);
        expectNothingChanges({"seal", file_}, file_ + finding);
    }

    void expectSound() const {
        const ToolRun verify = run({"verify", file_});
        EXPECT_THAT(verify.out, HasSubstr("1 file, all sound\n"));
    }

    const std::string file_ = path("settings/settings.ini");
    const std::string dump_ = dir_.file("settings.ini");
};

TEST_F(T8settingsSwallowed, NoLoadTakesATextThatHasSwallowedALine) {
    const std::string setting =
        "settings/menu/language has run into what looks like another setting, ";
    put("../settings.ini",
        "#name = settings\n[menu]\nlanguage = string,datimeout = int8,45\n#crc32 = false\n");
    expectNothingChanges({"load", dump_},
                         dump_ + ":3: " + setting +
                             "\"datimeout = int8,45\"; write that on a line of its own; if it is "
                             "meant so: language = string,\"datimeout = int8,45\"");
    put("../settings.ini", "settings/menu/language = string,dasettings/menu/timeout = int8,45\n");
    expectNothingChanges({"load", dump_},
                         dump_ + ":1: " + setting +
                             "\"dasettings/menu/timeout = int8,45\"; write that on a line of its "
                             "own; if it is meant so: settings/menu/language = "
                             "string,\"dasettings/menu/timeout = int8,45\"");
    put("../settings.ini", "#name = settings\n[timer]\nwake = string,06:45#crc32=123\n");
    expectNothingChanges({"load", dump_},
                         dump_ +
                             ":3: settings/timer/wake has run into the CRC line; write "
                             "\"#crc32\" at the start of a line of its own; if it is meant so: "
                             "wake = string,\"06:45#crc32=123\"");
}

TEST_F(T8settingsSwallowed, TextThatNamesTheCrcLineIsSealedAsAdvised) {
    put("settings/settings.ini", "#name = settings\n[timer]\nwake = string,x #crc32 = 5\n");
    const std::string advised = "wake = string,\"x #crc32 = 5\"";
    EXPECT_THAT(run({"seal", file_}).err, HasSubstr("; if it is meant so: " + advised + "\n"));
    put("settings/settings.ini", "#name = settings\n[timer]\n" + advised + "\n");
    EXPECT_EQ(0, run({"seal", file_}).exitCode);
    EXPECT_EQ("x #crc32 = 5\n", run({"get", "settings/timer/wake"}).out);
}

TEST_F(T8settingsSwallowed, DumpHasNoCrcLineThatATextCouldRunInto) {
    const std::string dump = "settings/timer/wake = string,06:45#crc32 = 123\n";
    put("../settings.ini", dump);
    EXPECT_EQ("1 changed, 0 the same\n", run({"load", dump_}).out);
    EXPECT_EQ(dump, run({"dump", "settings/timer/wake"}).out);
    expectSound();
}

TEST_F(T8settingsSwallowed, LineFeedThatIsLostOrAnotherByteIsFoundWithoutDefaults) {
    for (const std::string byte : {"", "X", ",", "=", " "}) {
        put("settings/x.ini",
            "#name = x\n[agc]\nhigh = short,-27" + byte + "low = short,-31\n#crc32 = false\n");
        const std::string shown = byte == "X" ? "-27Xlow" : byte.empty() ? "-27low" : "";
        const std::string finding = ":3: x/agc/high has run into what looks like another setting, ";
        const std::string start = path("settings/x.ini") + finding;
        EXPECT_THAT(run({"verify", path("settings/x.ini")}).out, HasSubstr(start));
        const auto before = everything();
        for (const std::vector<std::string>& command :
             {std::vector<std::string>{"set", "x/agc/high", "-30"},
              std::vector<std::string>{"seal", path("settings/x.ini")}}) {
            const ToolRun run = this->run(command);
            EXPECT_THAT(run.err, HasSubstr(start)) << byte;
            EXPECT_EQ(1, run.exitCode);
        }
        EXPECT_EQ(before, everything());
    }
}

TEST_F(T8settingsSwallowed, SettingIsToldByItsFormInAnyKindOfText) {
    const auto reason = [](const std::string& what) {
        return Said{"1 changed: x/a has run into what looks like another setting, \"" + what +
                    "\""};
    };
    EXPECT_EQ(reason("datimeout = int8,3"), saidOf("a = string,datimeout = int8,3"));
    EXPECT_EQ(reason("timeout=int8,3"), saidOf("a = string,da timeout=int8,3"));
    EXPECT_EQ(reason("b =  string[] ,x"), saidOf("a = string,say \"hi\" b =  string[] ,x"));
    EXPECT_EQ(reason("Bvolume = uint8,22"), saidOf("a = string[],A;Bvolume = uint8,22"));
    EXPECT_EQ(reason("vb = map<int:int>,"),
              saidOf("a = map<string:string>,1,k,1,vb = map<int:int>,"));
    EXPECT_EQ(reason("YESb = YesNo,NO"), saidOf("a = YesNo,YESb = YesNo,NO"));
    EXPECT_EQ(reason("zoom = int8,3"), saidOf("a = string,\"say\"zoom = int8,3"));
    EXPECT_EQ(reason("zoom = int8,3"), saidOf("a = string,say\"zoom = int8,3"));
    EXPECT_EQ(Said{}, saidOf("a = string,b\\=int8,3"));
    EXPECT_EQ(Said{}, saidOf("a = string,dazoom = more,3"));
    EXPECT_EQ(Said{}, saidOf("a = string,dazoom = int8"));
    EXPECT_EQ(Said{}, saidOf("a = string,= int8,5"));
    EXPECT_EQ(Said{}, saidOf("a = string,\"say zoom = int8,3\""));
    EXPECT_EQ(Said{}, saidOf("a = string,\"a \\\"zoom = int8,3\""));
}

TEST_F(T8settingsSwallowed, LineIsToldOfBesidesADoubtfulKey) {
    EXPECT_EQ((Said{"1 changed: x/;a has run into what looks like another setting, \"b = int8,3\"",
                    "1 doubtful: x/;a is a setting"}),
              saidOf(";a = string,b = int8,3"));
}

TEST_F(T8settingsSwallowed, TextThatIsMeantSoIsTakenAsTheMessageSays) {
    putFile("[menu]\nlanguage = string,say \"x\", b = int8,3\n");
    EXPECT_THAT(
        run({"seal", file_}).err,
        HasSubstr("; if it is meant so: language = string,\"say \\\"x\\\", b = int8,3\"\n"));
    putFile("[menu]\nlanguage = string,\"say \\\"x\\\", b = int8,3\"\n");
    EXPECT_EQ(0, run({"seal", file_}).exitCode);
    expectSound();
    EXPECT_EQ("say \"x\", b = int8,3\n", run({"get", "settings/menu/language"}).out);
}

TEST_F(T8settingsSwallowed, SectionAtTheEndOfANumberIsNotMendedByItsOwnSetting) {
    putFile("[menu]\ntimeout = int8,22[timer]\nsleep = int8,30\n");
    expectRefused("settings/menu/timeout",
                  ":3: settings/menu/timeout has run into what looks like the section [timer], so "
                  "the settings below it are read into section \"menu\"; write that on a line of "
                  "its own; if it is no section: int8 would not keep \"22[timer]\", it would make "
                  "\"22\" of it; int8 takes whole numbers from -128 to 127");
    put("settings/settings.ini.bad", bytesOf("settings/settings.ini"));
    EXPECT_EQ(1, run({"recover", file_, "--from", "bad", "--yes"}).exitCode);
    put("settings/settings.ini.bad",
        "#name = settings\n[menu]\nlanguage = string,da\ntimeout = int8,22[timer]\n"
        "sleep = int8,30\n");
    const ToolRun recovered = run({"recover", file_, "--from", "bad", "--yes"});
    EXPECT_THAT(recovered.out + recovered.err,
                HasSubstr(".bad:5: sleep: its section is not known, as line 4 opens none; "));
    EXPECT_EQ(5, recovered.exitCode);
    EXPECT_THAT(bytesOf("settings/settings.ini"),
                StartsWith("#name = settings\n[menu]\nlanguage = string,da\n#crc32 = "));
}

TEST_F(T8settingsSwallowed, SectionInATextIsToldByTheSectionsOfTheDefaults) {
    const std::string finding =
        ":3: settings/menu/language has run into what looks like the section [timer], so the "
        "settings below it are read into section \"menu\"; write that on a line of its own; if it "
        "is meant so: language = string,\"da[timer]\"";
    putFile("[menu]\nlanguage = string,da[timer]\nother = int8,1\nsleep = int8,30\n");
    expectRefused("settings/menu/language", finding);
    put("../settings.ini", bytesOf("settings/settings.ini"));
    putFile("[menu]\nlanguage = string,en\n");
    EXPECT_EQ(1, run({"load", dump_}).exitCode);
    for (const std::string sound :
         {"[menu]\nlanguage = string,\"da[timer]\"\nsleep = int8,30\n",
          "[menu]\nlanguage = string,da[timer]\n",
          "[menu]\nlanguage = string,da[timer]\n[timer]\nsleep = int8,30\n"}) {
        putFile(sound);
        EXPECT_EQ(0, run({"seal", file_}).exitCode) << sound;
        expectSound();
        EXPECT_EQ("da[timer]\n", run({"get", "settings/menu/language"}).out);
    }
    // Of another section nobody knows, but for settings that are strange or given above.
    putFile("[menu]\nlanguage = string,da[home]\ntimeout = int8,30\n");
    EXPECT_EQ(0, run({"set", "settings/menu/language", "en"}).exitCode);
    for (const std::string below : {"other = int8,1\n", "language = string,fi\n"}) {
        putFile("[menu]\nlanguage = string,da[home]\n" + below);
        expectRefused("settings/menu/timeout",
                      ":3: settings/menu/language has run into what looks like the section [home], "
                      "so the settings below it are read into section \"menu\"; write that on a "
                      "line of its own; if it is meant so: language = string,\"da[home]\"");
    }
}

// A list or a map has no quotes of its own around it.
TEST_F(T8settingsSwallowed, WhatNoQuotesCanTellIsMeantSoWhenItIsSealedByForce) {
    for (const std::string line :
         {"list = string[],a;b[timer]", "map = map<string:string>,1,k,7,[timer]"}) {
        putFile("[menu]\n" + line + "\ntimeout = int8,5\n");
        const std::string name = "settings/menu/" + line.substr(0, line.find(' '));
        expectRefused(
            "settings/menu/timeout",
            ":3: " + name +
                " has run into what looks like the section [timer], so the settings below "
                "it are read into section \"menu\"; write that on a line of its own; if "
                "it is meant so: t8settings seal " +
                file_ + " --force");
        EXPECT_EQ(0, run({"seal", file_, "--force"}).exitCode);
        EXPECT_EQ(0, run({"set", "settings/menu/timeout", "6"}).exitCode);
        expectSound();
    }
}

TEST_F(T8settingsSwallowed, KeyThatTheDefaultsHaveIsMeantSo) {
    put("qel-default-settings/settings.ini",
        "#name = settings\n[menu]\ngain[timer] = int8,0\ntimeout = int8,0\n[timer]\nsleep = "
        "int8,0\n");
    putFile("[menu]\ngain[timer] = int8,5\ntimeout = int8,3\n");
    EXPECT_EQ(0, run({"set", "settings/menu/timeout", "6"}).exitCode);
    EXPECT_EQ("5\n", run({"get", "settings/menu/gain[timer]"}).out);
}

TEST_F(T8settingsSwallowed, FileFromElsewhereIsJudgedByTheSectionsOfTheStoreThatLoadsIt) {
    put("settings/settings.ini", "#name = settings\n#crc32 = false\n");
    for (const std::string line :
         {"language = string,da[timer]", "language = string,datimer]", "#timer]"}) {
        put("../settings.ini",
            "#name = settings\n[menu]\n" + line + "\ntimeout = int8,5\n#crc32 = false\n");
        expectNothingChanges({"load", dump_},
                             dump_ +
                                 ":4: timeout: its section is not known, as line 3 opens none; "
                                 "mend that line and run this once more");
    }
    put("../settings.ini",
        "#name = settings\n[menu]\nlanguage = string,\"da[timer]\"\ntimeout = int8,5\n");
    EXPECT_EQ("2 changed, 0 the same\n", run({"load", dump_}).out);
}

// A section that is lost whole leaves settings behind that are given twice.
TEST_F(T8settingsSwallowed, SettingThatIsGivenTwiceIsToldBeforeASaveDropsIt) {
    putFile("[menu]\ntimeout = int8,5\ntimeout = int8,6\n");
    const ToolRun set = run({"set", "settings/menu/language", "da"});
    EXPECT_EQ("t8settings: warning: " + file_ +
                  ":3: settings/menu/timeout is given once more in line 4, which counts; this save "
                  "drops it\n",
              set.err);
    EXPECT_EQ(0, set.exitCode);
    EXPECT_EQ("6\n", run({"get", "settings/menu/timeout"}).out);
}

// Another text below, with or without a bracket, takes nothing back, nor does a setting that has
// its place in both sections.
TEST_F(T8settingsSwallowed, SectionInATextKeepsCommandsFromSavingWhateverStandsBelow) {
    put("qel-default-settings/settings.ini",
        "#name = settings\n[menu]\nlanguage = string,en\ntimeout = int8,30\nwake = string,\n"
        "[timer]\nsleep = int8,0\nwake = string,06:00\n[t[i]mer]\n");
    for (const std::string line :
         {"language = string,da[timer]", "language = string,datimer]",
          "language = string,[timer ]x", "language = string,d[t[i]mer]",
          "language = string,C:\\timer]", "language = string,say \\\"[timer]",
          "list = string[],a;b[timer]", "x[timer]sleep = int8,1"}) {
        const std::string key = line.substr(0, line.find(" ="));
        for (const std::string below :
             {"timeout = int8,5\n", "wake = string,07:00\ntimeout = int8,5\n",
              "title = string,y[z]\ntimeout = int8,5\n",
              "timeout = int8,5\nwake = string,[x]\nsleep = int8,5\n"}) {
            putFile("[menu]\n" + line + "\n" + below);
            const auto before = everything();
            for (const auto& command :
                 {std::vector<std::string>{"set", "settings/menu/timeout", "7"},
                  {"reset", "settings/menu/timeout"},
                  {"seal", file_}}) {
                const ToolRun refused = run(command);
                EXPECT_THAT(refused.err, HasSubstr("t8settings: " + file_ + ":3: settings/menu/" +
                                                   key + " has run into what looks like "))
                    << line << below;
                EXPECT_EQ(1, refused.exitCode);
                EXPECT_EQ(before, everything());
            }
        }
    }
}

// Who seals a file by force vouches for the texts in it, but not for one that no type takes.
TEST_F(T8settingsSwallowed, SectionInATextThatNoTypeTakesIsToldInASealedFileToo) {
    put("qel-default-settings/settings.ini",
        "#name = settings\n[menu]\nlanguage = string,en\nwake = string,\n[timer]\n"
        "wake = string,06:00\n");
    const auto setAfterForce = [this](const std::string& line) {
        putFile("[menu]\n" + line + "\nwake = string,07:00\n");
        EXPECT_EQ(0, run({"seal", "--force", file_}).exitCode) << line;
        return run({"set", "settings/menu/wake", "8"});
    };
    for (const std::string line :
         {"language = strin,da[timer]", "language = strin[timer],da", "language = int8,3timer]"}) {
        const ToolRun refused = setAfterForce(line);
        EXPECT_THAT(refused.err, HasSubstr(":3: settings/menu/language has run into what looks "))
            << line;
        EXPECT_EQ(1, refused.exitCode) << line;
    }
    EXPECT_EQ(0, setAfterForce("language = string,da[timer]").exitCode);
}

TEST_F(T8settingsSwallowed, SectionWithItsSettingBehindItTakesTheSettingsBelowToo) {
    const std::string below = "wake = string,07:00\ntune = string,abc\n";
    for (const std::string line :
         {"timeout = int8,22 [timer] sleep = int8,30", "timeout = int8,22[timer]sleep = int8,30",
          "language = string,da [timer] list = string[],a;b",
          "language = string,da [timer] sleep = int8,3 list = string[],a;[]"}) {
        put("settings/settings.ini", "#name = settings\n#crc32 = false\n");
        put("settings/settings.ini.bad", "#name = settings\n[menu]\n" + line + "\n" + below);
        const ToolRun recovered = run({"recover", file_, "--from", "bad", "--yes"});
        for (const std::string stray : {".bad:4: wake", ".bad:5: tune"}) {
            EXPECT_THAT(recovered.out + recovered.err,
                        HasSubstr(stray + ": its section is not known, as line 3 opens none; "))
                << line;
        }
        EXPECT_EQ("#name = settings\n#crc32 = false\n", bytesOf("settings/settings.ini"));
    }
    putFile("[menu]\ntimeout = int8,22 [timer] sleep = int8,30\n" + below);
    expectRefused(
        "settings/menu/timeout",
        ":3: settings/menu/timeout has run into what looks like the section [timer], so "
        "the settings below it are read into section \"menu\"; write that on a line of "
        "its own; if it is no section: int8 would not keep \"22 [timer] sleep = int8,30\", "
        "it would make \"22\" of it; int8 takes whole numbers from -128 to 127");
}

TEST_F(T8settingsSwallowed, WhatStandsBehindAClosingQuoteIsNoPartOfTheText) {
    const std::string lines = "[menu]\nlanguage = string,\"a, b\" [own]\na = int8,4\n";
    const std::string advised = "language = string,\"\\\"a, b\\\" [own]\"";
    putFile(lines);
    expectRefused("settings/menu/timeout",
                  ":3: settings/menu/language has run into what looks like the section [own], so "
                  "the settings below it are read into section \"menu\"; write that on a line of "
                  "its own; if it is meant so: " +
                      advised);
    put("settings/settings.ini.bad", "#name = settings\n" + lines + "[timer]\nsleep = int8,5\n");
    const ToolRun recovered = run({"recover", file_, "--from", "bad", "--yes"});
    EXPECT_THAT(recovered.out + recovered.err,
                HasSubstr(".bad:4: a: its section is not known, as line 3 opens none; "));
    EXPECT_EQ(5, recovered.exitCode);
    EXPECT_THAT(bytesOf("settings/settings.ini"),
                StartsWith("#name = settings\n[menu]\n[timer]\nsleep = int8,5\n#crc32 = "));
    std::filesystem::remove(path("settings/settings.ini.bad"));
    putFile("[menu]\n" + advised + "\na = int8,4\n");
    EXPECT_EQ(0, run({"seal", file_}).exitCode);
    expectSound();
    EXPECT_EQ("\"a, b\" [own]\n", run({"get", "settings/menu/language"}).out);
}

TEST_F(T8settingsSwallowed, TextGoesOnBehindAClosingQuoteInNoSave) {
    const auto reason = [](const std::string& what) {
        return Said{"1 changed: x/a goes on behind a closing quote, \"" + what + "\""};
    };
    EXPECT_EQ(reason("[own]"), saidOf("a = string,\"a, b\" [own]"));
    EXPECT_EQ(reason("c"), saidOf("a = string,\"a, b\"c"));
    EXPECT_EQ(Said{}, saidOf("a = string,\"a, b\""));
    EXPECT_EQ(Said{}, saidOf("a = string,say \"hi\" there"));
    EXPECT_EQ(Said{}, saidOf("a = string,\"say \"hi\" there\""));
    EXPECT_EQ(Said{}, saidOf("a = string,x,\"hi\" there"));
    EXPECT_EQ(Said{}, saidOf("a = string,\"a, b"));
    EXPECT_EQ(Said{}, saidOf("a = string,\\\"a\\\" b"));
    EXPECT_EQ(Said{}, saidOf("a = string[],\"a;b\";\"c\""));
    put("settings/x.ini", "a = string,\"a, b\"c\n");
    EXPECT_EQ(1, run({"seal", path("settings/x.ini")}).exitCode);
    EXPECT_EQ(0, run({"seal", "--force", path("settings/x.ini")}).exitCode);
    EXPECT_THAT(run({"verify", path("settings/x.ini")}).out,
                HasSubstr(":1: x/a goes on behind a closing quote, \"c\"; write that on a line of "
                          "its own; if it is meant so: a = string,\"\\\"a, b\\\"c\"\n"));
}

TEST_F(T8settingsSwallowed, SectionAndSettingOnOneLineAreLost) {
    for (const std::string line :
         {"[timer]sleep = int8,30", "[timer sleep = int8,30", "[timer sleep = int8,30]"}) {
        putFile("[menu]\ntimeout = int8,22\n" + line + "\n");
        expectRefused("settings/menu/timeout",
                      ":4: a section and a setting stand on one line, so that neither is read; "
                      "write the section and the setting on lines of their own");
        put("../settings.ini", bytesOf("settings/settings.ini"));
        expectNothingChanges({"load", dump_},
                             dump_ +
                                 ":4: a section and a setting stand on one line, so that "
                                 "neither is read; write the section and the setting on lines "
                                 "of their own");
    }
    putFile("[menu]\ntimeout = int8,22\n[timer]\nsleep = int8,30\n");
    EXPECT_EQ(0, run({"set", "settings/menu/timeout", "7"}).exitCode);
}

TEST_F(T8settingsSwallowed, NameThatHasRunIntoTheNextLineKeepsCommandsFromSaving) {
    const std::string file = path("settings/x.ini");
    for (const auto& [name, finding] : std::vector<std::pair<std::string, std::string>>{
             {"x[agc]",
              ":1: looks like a section and opens none, so the settings below it have no section; "
              "write [NAME], on a line of its own"},
             {"x#savepolicy = async",
              ":1: #name has run into what looks like another line, \"#savepolicy = async\"; write "
              "that on a line of its own"},
             {"x#readonly",
              ":1: #name has run into what looks like another line, \"#readonly\"; write that on a "
              "line of its own"},
             {"xlow = short,-31",
              ":1: #name has run into what looks like another line, \"xlow = short,-31\"; write "
              "that on a line of its own"}}) {
        put("settings/x.ini", "#name = " + name + "\nhigh = short,-27\n#crc32 = false\n");
        expectNothingChanges({"set", name + "/high", "5"}, file + finding);
        expectNothingChanges({"seal", file}, file + finding);
    }
}

TEST_F(T8settingsSwallowed, SavePolicyMayHaveRunIntoASetting) {
    put("settings/settings.ini",
        "#name = settings\n#savepolicy = asyncbass = int8,3\n[timer]\nsleep = int8,3\n"
        "#crc32 = false\n");
    expectRefused("settings/timer/sleep",
                  ":2: #savepolicy has run into what looks like another line, \"asyncbass = "
                  "int8,3\"; write that on a line of its own");
}

// What the library has saved is what somebody has set.
TEST_F(T8settingsSwallowed, TextOfASaveIsNeverDoubtedWhateverItsBytes) {
    put("settings/settings.ini",
        "#name = settings\n[menu]\nlanguage = string,en\nlist = string[],a\n"
        "map = map<string:string>,1,k,1,v\nsleep = int8,1\n#crc32 = false\n");
    ASSERT_EQ(0, run({"seal", file_}).exitCode);
    const std::vector<std::pair<std::string, std::vector<std::string>>> kTexts = {
        {"settings/menu/language",
         {"da timeout = int8,45", "\"da\" timeout = int8,45", "timeout=int8", "da[timer]",
          "\"[timer]", "[timer]", "06:45#crc32 = 123", "#name = x", "\\timeout = int8,4",
          "a;b = int,1", ";x", "\" = int8,", "a\" [b]", "\"x\" y", "\"x, y\" z", "\"a, b\" [own]",
          "\"", "\"\"x", "\\\"a\\\" b"}},
        {"settings/menu/list",
         {"a;\"timeout = int8,45\"", "x = int;[timer]", "a;b[timer]", "\\\"x = int;#crc32 = 1",
          "\\\"a\\\" [b]", "x;\"a;\\\"b\\\" [own]\";y"}},
        {"settings/menu/map",
         {"1,k,7,x = int,1,l,1,y", "7,x = int,1,v", "1,k,7,[timer]", "1,k,7,\\\"[b] =,1,l,1,a"}}};
    int number = 0;
    for (const auto& [name, texts] : kTexts) {
        for (const std::string& text : texts) {
            const ToolRun set = run({"set", name, text});
            ASSERT_EQ("", set.err) << text;
            expectSound();
            ++number;
            const ToolRun other = run({"set", "settings/timer/sleep", std::to_string(number)});
            EXPECT_EQ("", other.err) << text;
            EXPECT_EQ(0, run({"seal", file_}).exitCode);
            const ToolRun dumped = run({"dump", name});
            put("../settings.ini", dumped.out);
            EXPECT_EQ("0 changed, 1 the same\n", run({"load", dump_}).out) << text;
        }
    }
}

TEST_F(T8settingsSwallowed, LongLinesTakeNoLongTime) {
    std::string defaults = "#name = settings\n[a]\n";
    for (int i = 0; i < 20000; ++i) {
        defaults += "k" + std::to_string(i) + " = int,1\n";
    }
    put("qel-default-settings/settings.ini", defaults);
    std::string known;
    std::string unknown;
    std::string missing;
    for (int i = 0; i < 20000; ++i) {
        known += "x=int,1 ";
        unknown += "x=int9,1 ";
        missing += "xk1=int,";
    }
    putFile("[a]\ns = string," + known + "\nt = string," + unknown + "\nu = string," +
            std::string(400000, '=') + "\nv = string," + std::string(400000, '#') +
            "\nw = string," + std::string(400000, '=') + "int,]\nx = string," +
            std::string(400000 / testsupport::kTimesLess, ']') + '\n' + std::string(200000, '#') +
            known + "\n# " + missing + '\n');
    const rlimit seconds = {10, 10};
    EXPECT_EQ(5, run({"verify", file_}, {}, [&] { setrlimit(RLIMIT_CPU, &seconds); }).exitCode);
}

}  // namespace
