// A reset of the whole store keeps what the defaults do not have, though not always its name, and
// not what stands in damaged lines.

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "ToolRun.h"

namespace {

using testing::HasSubstr;
using testsupport::ToolRun;

const std::string kWithoutSection =
    "user/z comes back as nothing in place of \"int,5\": it is read as user/v/z, as it has no "
    "section and sorts after one that has";
const std::string kOfTwoNames =
    "new/v/v comes back as nothing in place of \"int,5\": it is read as user/new/v/v, as its files "
    "give the storage two names";

class T8settingsResetRenames : public testsupport::ToolTest {
protected:
    T8settingsResetRenames() { putDefaults("[aa]\nq = int,1\n[v]\nv = int,0\n"); }

    void SetUp() override { demandOwnMarker(); }

    void putDefaults(const std::string& lines) const {
        put("qel-default-settings/user.ini", "#name = user\n" + lines);
    }

    /// Sealed, so that what is advised is needed in full.
    void putFile(const std::string& text) const {
        put("settings/user.ini", text + "#crc32 = false\n");
        EXPECT_EQ(0, run({"seal", "--force", file_}).exitCode);
    }

    ToolRun reset(std::vector<std::string> options = {}) const {
        options.insert(options.begin(), {"reset", "--all", "--yes"});
        return run(options);
    }

    /// Exit code 1, this finding and the ways out, no marker, and the file as it was.
    void expectRefused(const std::string& finding) const {
        const std::string before = bytesOf("settings/user.ini");
        const ToolRun refused = reset();
        EXPECT_EQ("", refused.out);
        EXPECT_EQ("t8settings: " + file_ + finding +
                      "\nt8settings: nothing was reset\nt8settings: mend these lines, then: "
                      "t8settings seal " +
                      file_ + "\nt8settings: --force resets all the same\n",
                  refused.err);
        EXPECT_EQ(1, refused.exitCode);
        EXPECT_FALSE(testsupport::exists(marker_));
        EXPECT_EQ(before, bytesOf("settings/user.ini"));
    }

    /// Exit code 0, and this is what a load gives afterwards.
    void expectReset(const std::string& list) const {
        const ToolRun done = reset();
        EXPECT_THAT(done.out, HasSubstr("user: reset to its defaults"));
        EXPECT_EQ(0, done.exitCode) << done.err;
        std::filesystem::remove(marker_);
        EXPECT_EQ(list, run({"list"}).out);
    }

    std::string file_ = path("settings/user.ini");
};

TEST_F(T8settingsResetRenames, SettingWithoutASectionThatWouldGetOneKeepsTheStoreFromAReset) {
    putFile("#name = user\nz = int,5\n[aa]\nq = int,7\n");
    expectRefused(":2: " + kWithoutSection + "; give it a section");
    putFile("#name = user\n[aa]\nz = int,5\nq = int,7\n");
    expectReset("user/aa/q\tint\t1\nuser/aa/z\tint\t5\nuser/v/v\tint\t0\n");
}

TEST_F(T8settingsResetRenames, OtherNameOfTheStorageKeepsTheStoreFromAReset) {
    putFile("#name = new\n[v]\nv = int,5\n");
    expectRefused(":1: " + kOfTwoNames + "; give both the same #name");
    putFile("#name = new\n[v]\nv = int,5\nw = int,6\nx = int,7\n");
    expectRefused(":1: " + kOfTwoNames + "; so do 2 more; give both the same #name");
    putFile("#name = user\n[v]\nv = int,5\n");
    expectReset("user/aa/q\tint\t1\nuser/v/v\tint\t0\n");
}

TEST_F(T8settingsResetRenames, PersonOnATerminalIsToldBeforeTheQuestion) {
    putFile("#name = new\n[v]\nv = int,5\n");
    const ToolRun refused = runOnTerminal({"reset", "--all"}, "y\n");
    EXPECT_THAT(refused.out, HasSubstr(kOfTwoNames));
    EXPECT_THAT(refused.out, testing::Not(HasSubstr("[y/N]")));
    EXPECT_EQ(1, refused.exitCode);
}

TEST_F(T8settingsResetRenames, ForcedResetTellsWhatItHasRenamed) {
    putFile("#name = user\nz = int,5\n[aa]\nq = int,7\n");
    const ToolRun forced = reset({"--force"});
    EXPECT_EQ(
        "user: reset to its defaults, but 1 setting has none and keeps its value: user/v/z\n" +
            file_ + ": " + kWithoutSection + "\nThe marker " + marker_ +
            " stays until the restart; until then no process saves settings.\n",
        forced.out);
    EXPECT_EQ("", forced.err);
    EXPECT_EQ(5, forced.exitCode);
    std::filesystem::remove(marker_);
    EXPECT_EQ("user/aa/q\tint\t1\nuser/v/v\tint\t0\nuser/v/z\tint\t5\n", run({"list"}).out);
}

TEST_F(T8settingsResetRenames, JsonHasWhatAForcedResetHasRenamed) {
    putFile("#name = new\n[v]\nv = int,5\n");
    const ToolRun forced = reset({"--force", "--json"});
    EXPECT_EQ(nlohmann::json({{{"file", file_},
                               {"line", nullptr},
                               {"harm", "moved"},
                               {"reason", kOfTwoNames},
                               {"remedy", ""}}}),
              nlohmann::json::parse(forced.out).at("findings"));
    EXPECT_EQ(5, forced.exitCode);
}

TEST_F(T8settingsResetRenames, StorageThatCouldNotBeResetCountsForMore) {
    putFile("#name = user\nz = int,5\n[aa]\nq = int,7\n");
    std::filesystem::create_directory(file_ + ".tmp");
    EXPECT_EQ(1, reset({"--force"}).exitCode);
}

// A save writes what the defaults have under another name; the defaults give it back all the same.
TEST_F(T8settingsResetRenames, SettingThatTheDefaultsGiveBackIsInNobodysWay) {
    putDefaults("z = int,1\n[aa]\nq = int,1\n");
    putFile("#name = user\n[aa]\nq = int,7\n");
    expectReset("user/aa/q\tint\t1\nuser/aa/z\tint\t1\nuser/z\tint\t1\n");
}

// No television must be kept from its reset by what nobody there can mend.
TEST_F(T8settingsResetRenames, DefaultThatNoSaveKeepsIsInNobodysWay) {
    putDefaults("[v]\ntitle = string,\"Hello \"\n");
    putFile("#name = user\n[v]\ntitle = string,Hi\n");
    expectReset("user/v/title\tstring\tHello\n");
}

// The library writes it as well.
TEST_F(T8settingsResetRenames, StorageWithoutDefaultsThatWouldRenameKeepsTheStoreFromAReset) {
    const std::string text = "#name = w\nn = int,5\n[b]\nc = int,2\n#crc32 = false\n";
    put("settings/w.ini", text);
    const ToolRun refused = reset();
    EXPECT_THAT(refused.err, HasSubstr(path("settings/w.ini") +
                                       ":2: w/n comes back as nothing in place of \"int,5\": it is "
                                       "read as w/b/n, as it has no section and sorts after one "
                                       "that has"));
    EXPECT_EQ(1, refused.exitCode);
    EXPECT_EQ(text, bytesOf("settings/w.ini"));
    EXPECT_FALSE(testsupport::exists(marker_));
}

TEST_F(T8settingsResetRenames, OtherNameThanInDefaultsWithoutSettingsKeepsTheStoreFromAReset) {
    const std::string text = "#name = other\n[m]\nx = int,5\n#crc32 = false\n";
    put("qel-default-settings/w.ini", "#name = w\n");
    put("settings/w.ini", text);
    const ToolRun refused = reset();
    EXPECT_THAT(
        refused.err,
        HasSubstr(path("settings/w.ini") +
                  ":1: other/m/x comes back as nothing in place of \"int,5\": it is read as "
                  "w/other/m/x, as its files give the storage two names"));
    EXPECT_EQ(1, refused.exitCode);
    EXPECT_EQ(text, bytesOf("settings/w.ini"));
}

TEST_F(T8settingsResetRenames, SoundStorageThatIsKeptIsInNobodysWay) {
    put("settings/w.ini", "#name = w\n[b]\nc = int,2\n#crc32 = false\n");
    put("qel-default-settings/e.ini", "#name = e\n");
    put("settings/e.ini", "#name = e\nn = int,5\n#crc32 = false\n");
    expectReset("e/n\tint\t5\nuser/aa/q\tint\t1\nuser/v/v\tint\t0\nw/b/c\tint\t2\n");
}

TEST_F(T8settingsResetRenames, DamagedStorageWithoutDefaultsKeepsTheStoreFromAReset) {
    const std::string text = "#name = w\n[b]\nc = int,2 d = int,7\ne = int9,5\n#crc32 = false\n";
    const std::string file = path("settings/w.ini");
    put("settings/w.ini", text);
    const ToolRun refused = reset();
    EXPECT_EQ("", refused.out);
    EXPECT_THAT(refused.err, HasSubstr(file + ":3: w/b/c has run into what looks like another "
                                              "setting, \"d = int,7\""));
    EXPECT_THAT(refused.err, HasSubstr(file + ":4: w/b/e: no such type: \"int9\""));
    EXPECT_THAT(refused.err, HasSubstr("nothing was reset\nt8settings: mend these lines, then: "
                                       "t8settings seal " +
                                       file + "\nt8settings: --force resets all the same\n"));
    EXPECT_EQ(1, refused.exitCode);
    EXPECT_EQ(text, bytesOf("settings/w.ini"));
    EXPECT_FALSE(testsupport::exists(marker_));
}

TEST_F(T8settingsResetRenames, DamagedLinesOfSettingsWithoutADefaultKeepTheStoreFromAReset) {
    put("settings/user.ini",
        "#name = user\n[v]\nextra = int,1 more = int,7\nv = int,5\n[cc\nk = int,4\n"
        "#crc32 = false\n");
    const ToolRun refused = reset();
    EXPECT_THAT(refused.err, HasSubstr(file_ + ":3: user/v/extra has run into what looks like"));
    EXPECT_THAT(refused.err, HasSubstr(file_ + ":5: section is not closed"));
    EXPECT_EQ(1, refused.exitCode);
}

TEST_F(T8settingsResetRenames, ForcedResetTellsWhichLinesAreGone) {
    put("settings/user.ini", "#name = user\n[v]\nmore = int9,7\nv = int,5\n#crc32 = false\n");
    const ToolRun forced = reset({"--force"});
    EXPECT_THAT(forced.out, HasSubstr("user: reset to its defaults\n" + file_ +
                                      ": what was line 3: user/v/more: no such type: \"int9\""));
    EXPECT_EQ(5, forced.exitCode);
}

TEST_F(T8settingsResetRenames, DamagedLinesOfSettingsWithADefaultAreInNobodysWay) {
    put("settings/user.ini", "#name = user\n[aa]\nq = int9,5\n[v]\nv = int,x\n#crc32 = false\n");
    expectReset("user/aa/q\tint\t1\nuser/v/v\tint\t0\n");
}

// Which settings a broken line was meant to be nobody can know: what looks like a default may have
// been another one.
TEST_F(T8settingsResetRenames, BrokenLinesKeepTheStoreFromAResetWhateverTheDefaultsHave) {
    putDefaults("[aa]\nq = int,1\nr = int,2\n[v]\nv = int,0\n");
    for (const char* const lines :
         {"[aa]\nq = int,5 r = int,6\n", "[aa]\nq = int,5 more = int,6\n", "[aa]\nq\nr = int\n",
          "[aa]\nq more = int 6\n", "[aa]\nmore\n", "[aa] q = int,5\n", "[aa] more = int,5\n",
          "[aa]\nq = int,5\n[v\nv = int,6\n", "[aa]\nq = int,5\n[vv\nv = int,6\n",
          "[aa]\nq = int,5\n[vv] v = int,6\n", "[aa]\nq = int,5\nv]\nv = int,6\n",
          "[aa]\nq = int,5 [vv] v = int,6\n", "[aa]\nr = int,5\nq = int,5 [v]\nv = int,6\n",
          "[aa]\nq = intown = int,5\n", "[aa]\nq = int,5own]\nx = int,6\n",
          "[aa]\nq = int,5\n[own] int,two\n"}) {
        SCOPED_TRACE(lines);
        const std::string text = "#name = user\n" + std::string(lines) + "#crc32 = false\n";
        put("settings/user.ini", text);
        const ToolRun refused = reset();
        EXPECT_THAT(refused.err, HasSubstr("t8settings: nothing was reset\nt8settings: mend these "
                                           "lines, then: t8settings seal " +
                                           file_ + "\nt8settings: --force resets all the same\n"));
        EXPECT_EQ(1, refused.exitCode);
        EXPECT_EQ(text, bytesOf("settings/user.ini"));
        EXPECT_FALSE(testsupport::exists(marker_));
    }
}

TEST_F(T8settingsResetRenames, KeptValueThatNoSaveKeepsIsInTheWayOfAReset) {
    putFile("#name = user\n[v]\nextra = string,\"abc \"\n");
    expectRefused(
        ":3: user/v/extra comes back as \"string,abc\" in place of \"string,abc \"; set it to a "
        "text that lasts; load does so with several at once");
    const ToolRun forced = reset({"--force", "--json"});
    EXPECT_EQ("changed",
              nlohmann::json::parse(forced.out).at("findings").at(0).at("harm").get<std::string>());
    EXPECT_EQ(5, forced.exitCode);
}

TEST_F(T8settingsResetRenames, MisreadKeptValueOfASealedFileIsTold) {
    putFile("#name = user\n[v]\nextra = int8,300\n");
    const ToolRun done = reset();
    EXPECT_EQ("t8settings: warning: " + file_ +
                  ":3: user/v/extra: int8 would not keep \"300\", it would make \"44\" of it; this "
                  "save makes that last\n",
              done.err);
    EXPECT_EQ(0, done.exitCode);
}

// No save writes a text that its type refuses.
TEST_F(T8settingsResetRenames, SectionInARefusedTextOfASealedFileIsInTheWayOfAReset) {
    putFile("#name = user\n[aa]\nq = int,22[own]\nx = int,5\n");
    expectRefused(
        ":3: user/aa/q has run into what looks like the section [own], so the settings below it "
        "are read into section \"aa\"; write that on a line of its own; if it is no section: int "
        "would not keep \"22[own]\", it would make \"22\" of it; int takes whole numbers from "
        "-2147483648 to 2147483647");
}

TEST_F(T8settingsResetRenames, WhatNothingTellsOfAfterwardsIsAWarning) {
    putDefaults("[aa]\nq = int,1\n[vol]\nv = int,0\nw = int,0\n");
    putFile("#name = user\n[voll]\nv = int,5\nw = int,6\n");
    const ToolRun done = reset();
    EXPECT_EQ("t8settings: warning: " + file_ + ":2: 2 settings of section \"voll\" are not in " +
                  path("qel-default-settings/user.ini") +
                  "; did you mean [vol]? after this save nothing tells of it any more\n",
              done.err);
    EXPECT_EQ(0, done.exitCode);
}

TEST_F(T8settingsResetRenames, NameThatAResetAddsIsTold) {
    putDefaults("z = int,1\n[aa]\nq = int,1\n");
    putFile("#name = user\n[aa]\nq = int,7\n");
    EXPECT_EQ("t8settings: warning: " + file_ +
                  ": a save adds user/aa/z: user/z is read as user/aa/z, as it has no section and "
                  "sorts after one that has; give it a section, in the defaults file too\n",
              reset().err);
}

TEST_F(T8settingsResetRenames, MisreadDefaultIsTold) {
    putDefaults("[v]\nv = int8,300\n");
    putFile("#name = user\n[v]\nv = int8,5\n");
    const ToolRun done = reset();
    EXPECT_EQ("t8settings: warning: " + path("qel-default-settings/user.ini") +
                  ":3: user/v/v: int8 would not keep \"300\", it would make \"44\" of it; a save "
                  "writes that into " +
                  file_ + "\n",
              done.err);
    EXPECT_EQ(0, done.exitCode);
}

// The load has read them before it came to the second name.
TEST_F(T8settingsResetRenames, SettingsOfAFileThatIsSetAsideAreInTheWayOfAReset) {
    put("settings/user.ini",
        "#name = user\nzeta = int,5\n[own]\nk = int,3\n#name = user\n#crc32 = false\n");
    const ToolRun refused = reset();
    EXPECT_THAT(refused.err,
                HasSubstr("t8settings: " + file_ +
                          ": could not be used and has been set aside just now, but user/own/k has "
                          "been read of it; so have 1 more; t8settings recover " +
                          file_ + " shows what there is\nt8settings: nothing was reset\n"));
    EXPECT_EQ(1, refused.exitCode);
    EXPECT_FALSE(testsupport::exists(marker_));
    EXPECT_THAT(bytesOf("settings/user.ini.bad"), HasSubstr("\nzeta = int,5\n"));
}

TEST_F(T8settingsResetRenames, PersonWhoForcesIsToldTheCostBeforeTheQuestion) {
    putFile("#name = new\n[v]\nv = int,5\n");
    const ToolRun asked = runOnTerminal({"reset", "--all", "--force"}, "n\n");
    EXPECT_LT(asked.out.find("warning: " + file_ + ":1: " + kOfTwoNames), asked.out.find("[y/N]"));
    EXPECT_EQ(1, asked.exitCode);
}

TEST_F(T8settingsResetRenames, FileThatCouldNotBeWrittenHasCostNothing) {
    put("settings/user.ini", "#name = user\n[v]\nmore = int9,7\nv = int,5\n#crc32 = false\n");
    std::filesystem::create_directory(file_ + ".tmp");
    const ToolRun failed = reset({"--force"});
    EXPECT_THAT(failed.out, HasSubstr("user: could NOT be reset\n"));
    EXPECT_THAT(failed.out, testing::Not(HasSubstr("what was line")));
    EXPECT_EQ(1, failed.exitCode);
}

TEST_F(T8settingsResetRenames, WholeCopyWithoutItsFileIsInTheWayOnlyOfWhatNoDefaultReplaces) {
    putFile("#name = user\n[aa]\nq = int,7\n[more]\nx = int,5\n");
    std::filesystem::rename(file_, file_ + ".tmp");
    EXPECT_THAT(reset().err, HasSubstr(file_ + ".tmp: "));
    EXPECT_FALSE(testsupport::exists(marker_));
    std::filesystem::remove(file_ + ".tmp");
    put("settings/user.ini.tmp", "#name = user\n[aa]\nq = int,7\nmore int,5\n#crc32 = false\n");
    EXPECT_THAT(reset().err, HasSubstr(file_ + ".tmp: "));
    EXPECT_FALSE(testsupport::exists(marker_));
    std::filesystem::remove(file_ + ".tmp");
    putFile("#name = user\n[aa]\nq = int,7\n");
    std::filesystem::rename(file_, file_ + ".tmp");
    expectReset("user/aa/q\tint\t1\nuser/v/v\tint\t0\n");
}

}  // namespace
