#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>

#include "ToolRun.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using testsupport::ToolRun;

const char* const kRealMarker = "/tmp/settings-reset-to-default-in-progress.tmp";

class T8settingsReset : public testsupport::ToolTest {
protected:
    T8settingsReset() : realMarkerBefore_(testsupport::exists(kRealMarker)) {
        put("qel-default-settings/settings.ini", "#name = settings\n[sound]\nbass = int8,-2\n");
        put("qel-default-calibration_data/panel.ini", "#name = panel\nhours = long,0\n");
        put("qel-default-settings/product.xml", "<product><model value=\"T8\"/></product>");
        put("settings/user.ini", "#name = user\n[v]\nv = int,1\n#crc32 = false\n");
        EXPECT_EQ(0, run({"set", "settings/sound/bass", "5"}).exitCode);
        EXPECT_EQ(0, run({"set", "panel/hours", "7"}).exitCode);
    }

    void SetUp() override { demandOwnMarker(); }

    ~T8settingsReset() override { EXPECT_EQ(realMarkerBefore_, testsupport::exists(kRealMarker)); }

    void expectReset(bool reset) const {
        EXPECT_EQ(reset, testsupport::exists(marker_));
        EXPECT_EQ(reset ? "-2\n" : "5\n", run({"get", "settings/sound/bass"}).out);
        EXPECT_EQ("7\n", run({"get", "panel/hours"}).out);
        EXPECT_EQ("1\n", run({"get", "user/v/v"}).out);
    }

    std::string report() const {
        return "panel: kept, it survives a reset\n"
               "product: kept, it is read-only\n"
               "settings: reset to its defaults\n"
               "user: kept, it has no defaults file\n"
               "The marker " +
               marker_ + " stays until the restart; until then no process saves settings.\n";
    }

private:
    bool realMarkerBefore_;
};

TEST_F(T8settingsReset, DefaultsComeBackAndCalibrationSurvives) {
    const ToolRun reset = run({"reset", "--all", "--yes"});
    EXPECT_EQ(report(), reset.out);
    EXPECT_EQ("", reset.err);
    EXPECT_EQ(0, reset.exitCode);
    expectReset(true);
    EXPECT_THAT(bytesOf("settings/settings.ini"), HasSubstr("\nbass = int8,-2\n"));
}

TEST_F(T8settingsReset, JsonTellsEachStoragesFate) {
    const ToolRun reset = run({"reset", "--all", "--yes", "--json"});
    EXPECT_EQ(nlohmann::json({{"storages",
                               {{{"name", "panel"}, {"fate", "survives"}},
                                {{"name", "product"}, {"fate", "readonly"}},
                                {{"name", "settings"}, {"fate", "reset"}},
                                {{"name", "user"}, {"fate", "withoutDefaults"}}}},
                              {"findings", nlohmann::json::array()},
                              {"marker", marker_}}),
              nlohmann::json::parse(reset.out));
    EXPECT_EQ(0, reset.exitCode);
}

TEST_F(T8settingsReset, SettingsWithoutADefaultAreNamedAsTheyStay) {
    put("qel-default-settings/user.ini", "#name = user\n[v]\nw = int,0\n");
    put("settings/user.ini", "#name = user\n[v]\nv = int,1\nw = int,1\n#crc32 = false\n");
    EXPECT_THAT(run({"reset", "--all", "--yes"}).out,
                HasSubstr("\nuser: reset to its defaults, but 1 setting has none and keeps its "
                          "value: user/v/v\n"));
    expectReset(true);
    std::filesystem::remove(marker_);
    put("settings/user.ini",
        "#name = user\n[v]\n\xC3 = int,1\na = int,1\nb = int,1\nv = int,1\n#crc32 = false\n");
    EXPECT_THAT(run({"reset", "--all", "--yes"}).out,
                HasSubstr("\nuser: reset to its defaults, but 4 settings have none and keep their "
                          "values: user/v/a, user/v/b, user/v/v and 1 more\n"));
    std::filesystem::remove(marker_);
    const auto json = nlohmann::json::parse(run({"reset", "--all", "--yes", "--json"}).out);
    EXPECT_EQ(nlohmann::json::parse(R"([{"name": "user/v/a"}, {"name": "user/v/b"},
                                        {"name": "user/v/v"}, {"name": "user/v/\uFFFD",
                                         "nameBytes": "757365722f762fc3"}])"),
              json.at("storages").at(3).at("kept"));
}

TEST_F(T8settingsReset, DefaultsFileWithoutASettingIsNoneToGoBackTo) {
    for (const std::string& nothing : {std::string(), std::string(600, '\0')}) {
        put("qel-default-settings/user.ini", nothing);
        EXPECT_THAT(
            run({"verify"}).out,
            HasSubstr(path("qel-default-settings/user.ini") + ": no" +
                      (nothing.empty() ? "thing" : " setting") +
                      " is in it, so no setting of its storage can be reset; put it back as it was "
                      "delivered, or delete it\n"));
        const ToolRun reset = run({"reset", "--all", "--yes"});
        EXPECT_THAT(reset.out, HasSubstr("\nuser: kept, its defaults file has no setting in it\n"));
        EXPECT_EQ(0, reset.exitCode);
        expectReset(true);
        std::filesystem::remove(marker_);
        const ToolRun json = run({"reset", "--all", "--yes", "--json"});
        EXPECT_EQ("withoutDefaults",
                  nlohmann::json::parse(json.out).at("storages").at(3).at("fate"));
        std::filesystem::remove(marker_);
    }
}

TEST_F(T8settingsReset, UntilTheMarkerGoesNothingIsSavedOrResetAgain) {
    EXPECT_EQ(0, run({"reset", "--all", "--yes"}).exitCode);
    for (const ToolRun& refused :
         {run({"set", "settings/sound/bass", "1"}), run({"set", "panel/hours", "1"}),
          run({"reset", "--all", "--yes"}), run({"reset", "--all"})}) {
        EXPECT_EQ("", refused.out);
        EXPECT_EQ("t8settings: a reset to defaults is in progress, " + marker_ +
                      " exists: nothing is saved until the restart\n",
                  refused.err);
        EXPECT_EQ(4, refused.exitCode);
    }
    expectReset(true);
    std::filesystem::remove(marker_);
    EXPECT_EQ(0, run({"set", "settings/sound/bass", "1"}).exitCode);
}

// The parser makes nothing of brackets with nothing between them.
TEST_F(T8settingsReset, NameInEmptyBracketsBesideAllIsBadUsage) {
    const ToolRun reset = run({"reset", "--all", "--yes", "[]"});
    EXPECT_EQ("", reset.out);
    EXPECT_EQ("t8settings: say either NAME or --all\nt8settings: see t8settings reset --help\n",
              reset.err);
    EXPECT_EQ(2, reset.exitCode);
    expectReset(false);
}

TEST_F(T8settingsReset, WhereNobodyCanBeAskedItIsRefused) {
    const ToolRun reset = run({"reset", "--all"});
    EXPECT_EQ("", reset.out);
    EXPECT_EQ("t8settings: reset --all needs --yes where nobody can be asked; nothing was reset\n",
              reset.err);
    EXPECT_EQ(2, reset.exitCode);
    expectReset(false);
}

// No storage here has defaults, so that not even a tool without this rule would get as far as to
// the machine's marker.
TEST_F(T8settingsReset, ScratchDirectoryNeedsAMarkerOfItsOwn) {
    std::filesystem::remove_all(path("qel-default-settings"));
    std::filesystem::remove_all(path("qel-default-calibration_data"));
    put("settings/torn.ini", "#name = torn\nv = int,1\n");
    for (const std::string& base : {base_, base_ + "/"}) {
        const ToolRun reset = runBare({"--base", base, "reset", "--all", "--yes"});
        EXPECT_EQ("", reset.out);
        EXPECT_EQ("t8settings: reset --all below \"" + base_ +
                      "\" needs a marker of its own: the machine's would keep all its processes "
                      "from saving\nt8settings: add --marker " +
                      base_ + "/reset.tmp or set T8SETTINGS_MARKER\n",
                  reset.err);
        EXPECT_EQ(2, reset.exitCode);
    }
    EXPECT_TRUE(testsupport::exists(path("settings/torn.ini"))) << "nothing was loaded";
}

TEST_F(T8settingsReset, YesOnATerminalResets) {
    for (const char* const answer : {"y\n", "yes\n", "Y\n", "YES\n", "Yes\n"}) {
        const ToolRun reset = runOnTerminal({"reset", "--all"}, answer);
        EXPECT_THAT(reset.out,
                    StartsWith("Reset 1 storage below " + base_ + " to the defaults? " + marker_ +
                               " then keeps every process from saving until the "
                               "restart. [y/N] "));
        EXPECT_THAT(reset.out, HasSubstr("settings: reset to its defaults\r\n"));
        EXPECT_EQ(0, reset.exitCode);
        expectReset(true);
        std::filesystem::remove(marker_);
        EXPECT_EQ(0, run({"set", "settings/sound/bass", "5"}).exitCode);
    }
}

TEST_F(T8settingsReset, AnythingElseOnATerminalDoesNot) {
    for (const char* const answer : {"n\n", "\n", "yesterday\n", "\x04"}) {
        const ToolRun reset = runOnTerminal({"reset", "--all"}, answer);
        EXPECT_THAT(reset.out, HasSubstr("t8settings: nothing was reset\r\n"));
        EXPECT_EQ(1, reset.exitCode);
        expectReset(false);
    }
}

TEST_F(T8settingsReset, EndAtTheQuestionIsToldToHaveChangedNothing) {
    const auto endOf = [this](const std::string& keys) {
        const ToolRun reset = runOnTerminal({"reset", "--all"}, keys);
        EXPECT_THAT(reset.out, EndsWith("\r\nt8settings: nothing was reset\r\n"));
        expectReset(false);
        return reset.exitCode;
    };
    EXPECT_EQ(-SIGINT, endOf("\x03"));
    EXPECT_EQ(-SIGINT, endOf("y\x03"));
    EXPECT_EQ(1, endOf("\x04"));
    EXPECT_EQ(1, endOf("y\x04\x04"));
}

TEST_F(T8settingsReset, NobodyIsAskedWithYes) {
    const ToolRun reset = runOnTerminal({"reset", "--all", "--yes"});
    EXPECT_THAT(reset.out, StartsWith("panel: kept"));
    EXPECT_EQ(0, reset.exitCode);
}

TEST_F(T8settingsReset, MarkerThatCannotBeCreatedLeavesAllAsItWas) {
    const ToolRun reset = run({"--marker", dir_.file("none/marker"), "reset", "--all", "--yes"});
    EXPECT_EQ("", reset.out);
    EXPECT_EQ("t8settings: warning: Unable to create reset-to-default marker file: " +
                  dir_.file("none/marker") + "\nt8settings: nothing was reset: the marker " +
                  dir_.file("none/marker") + " cannot be created\n",
              reset.err);
    EXPECT_EQ(1, reset.exitCode);
    expectReset(false);
}

TEST_F(T8settingsReset, StorageThatCannotBeWrittenIsNamed) {
    std::filesystem::create_directory(path("settings/settings.ini.tmp"));
    const ToolRun reset = run({"reset", "--all", "--yes"});
    EXPECT_THAT(reset.out, HasSubstr("settings: could NOT be reset\n"));
    EXPECT_THAT(reset.err, HasSubstr("t8settings: error: '" + path("settings/settings.ini.tmp") +
                                     "' could not be written\n"));
    EXPECT_EQ(1, reset.exitCode);
    EXPECT_THAT(bytesOf("settings/settings.ini"), HasSubstr("\nbass = int8,5\n"));
}

TEST_F(T8settingsReset, WhenNothingCouldBeResetTheMarkerIsToldOf) {
    const std::string advice =
        "t8settings: nothing was reset, and yet no process saves settings while the marker " +
        marker_ +
        " is there:\nt8settings: restart or remove it, when what kept the files from being written "
        "is mended\n";
    EXPECT_EQ(1, run({"reset", "--all", "--yes"}, {}, fullDisk).exitCode);
    EXPECT_TRUE(testsupport::exists(marker_));
    std::filesystem::remove(marker_);
    expectReset(false);
    std::filesystem::remove_all(path("settings"));
    const ToolRun reset = run({"reset", "--all", "--yes"});
    EXPECT_THAT(reset.out, HasSubstr("settings: could NOT be reset\n"));
    EXPECT_THAT(reset.err, testing::EndsWith(advice));
    EXPECT_THAT(reset.out, testing::Not(HasSubstr("stays until the restart")));
    EXPECT_EQ(1, reset.exitCode);
    EXPECT_TRUE(testsupport::exists(marker_));
}

TEST_F(T8settingsReset, WithNothingToResetNoMarkerIsLeft) {
    std::filesystem::remove(path("qel-default-settings/settings.ini"));
    const auto reset = run({"reset", "--all", "--yes"});
    EXPECT_EQ(1, reset.exitCode);
    EXPECT_EQ("", reset.out);
    EXPECT_THAT(reset.err, HasSubstr("nothing was reset: no storage below "));
    EXPECT_FALSE(testsupport::exists(marker_));
}

TEST_F(T8settingsReset, FileThatCouldNotBeLoadedIsNamed) {
    put("qel-default-settings/late.ini", "[a]\n#name = late\n");
    const auto reset = run({"reset", "--all", "--yes"});
    EXPECT_EQ(1, reset.exitCode);
    EXPECT_THAT(reset.out, HasSubstr("\nlate.ini: not reset, it could not be loaded\n"));
    expectReset(true);
}

TEST_F(T8settingsReset, FileThatCouldNotBeLoadedIsInTheJsonToo) {
    put("qel-default-settings/late.ini", "[a]\n#name = late\n");
    ASSERT_NO_FATAL_FAILURE(demandOwnMarker());
    const auto storages =
        nlohmann::json::parse(run({"reset", "--all", "--yes", "--json"}).out).at("storages");
    EXPECT_EQ(nlohmann::json({{"file", "late.ini"}, {"fate", "notLoaded"}}), storages.back());
}

TEST_F(T8settingsReset, MarkerIsAdvisedAsItIsToBeTyped) {
    const std::string base = dir_.file("it's $HOME");
    std::filesystem::create_directory(base);
    EXPECT_THAT(runBare({"--base", base, "reset", "--all", "--yes"}).err,
                HasSubstr("\nt8settings: add --marker '" + dir_.file("it'\\''s $HOME") +
                          "/reset.tmp' or set T8SETTINGS_MARKER\n"));
}

}  // namespace
