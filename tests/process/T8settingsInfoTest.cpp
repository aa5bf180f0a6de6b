#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <sys/stat.h>

#include "ToolRun.h"

namespace {

using testing::HasSubstr;
using testsupport::ToolRun;
using Json = nlohmann::json;

class T8settingsInfo : public testsupport::ToolTest {
protected:
    Json infoAsJson() const {
        const ToolRun info = run({"info", "--json"});
        EXPECT_EQ(0, info.exitCode);
        return Json::parse(info.out);
    }
};

TEST_F(T8settingsInfo, BaseIsShownWithoutSlashesAtItsEnd) {
    const std::string shown = run({"info"}).out;
    for (const std::string& base : {base_ + "/", base_ + "///"}) {
        EXPECT_EQ(shown, run({"--base", base, "info"}).out);
    }
}

TEST_F(T8settingsInfo, EveryStorageIsShownAsTheLibraryDescribesIt) {
    put("qel-default-settings/settings.ini", "#name = settings\nbass = int8,-2\n");
    put("calibration_data/panel.ini", "#name = panel\nhours = long,0\n#crc32 = false\n");
    const ToolRun info = run({"info"});
    EXPECT_EQ("base " + base_ + "\nmarker " + marker_ +
                  "\npanel RW def=(No filename) rw=" + path("calibration_data/panel.ini") +
                  " savePolicy=Save_onEachChange\nsettings RW def=" +
                  path("qel-default-settings/settings.ini") +
                  " rw=" + path("settings/settings.ini") + " savePolicy=Save_onEachChange\n",
              info.out);
    EXPECT_EQ("", info.err);
    EXPECT_EQ(0, info.exitCode);
}

TEST_F(T8settingsInfo, JsonHasEveryFact) {
    put("qel-default-settings/product.xml",
        "<product><model value=\"T8\"/><size value=\"1\"/></product>");
    put("calibration_data/panel.ini",
        "#name = panel\n#savepolicy = ondemand\nhours = long,0\n#crc32 = false\n");
    const std::string panel = path("calibration_data/panel.ini");
    const std::string product = path("qel-default-settings/product.xml");
    EXPECT_EQ(
        Json({{"base", base_},
              {"marker", marker_},
              {"resetInProgress", false},
              {"storages",
               {{{"name", "panel"},
                 {"info", "panel RW def=(No filename) rw=" + panel + " savePolicy=Save_onDemand"},
                 {"readonly", false},
                 {"defaultsFile", nullptr},
                 {"readWriteFile", panel},
                 {"savePolicy", "onDemand"},
                 {"survivesReset", true},
                 {"settings", 1},
                 {"errors", Json::array()}},
                {{"name", "product"},
                 {"info", "product RO def=" + product + " rw=" + path("settings/product.xml") +
                              " savePolicy=Save_onDemand"},
                 {"readonly", true},
                 {"defaultsFile", product},
                 {"readWriteFile", nullptr},
                 {"savePolicy", "onDemand"},
                 {"survivesReset", false},
                 {"settings", 2},
                 {"errors", Json::array()}}}},
              {"failedFiles", Json::array()},
              {"replaced", Json::array()}}),
        infoAsJson());
}

TEST_F(T8settingsInfo, PoliciesAreNamed) {
    put("qel-default-settings/a.ini", "#name = a\n#savepolicy = async\n");
    put("qel-default-settings/b.ini", "#name = b\n#savepolicy = eachchange\n");
    const Json storages = infoAsJson().at("storages");
    EXPECT_EQ("async", storages.at(0).at("savePolicy"));
    EXPECT_EQ("onEachChange", storages.at(1).at("savePolicy"));
}

TEST_F(T8settingsInfo, ResetInProgressIsShown) {
    testsupport::writeFile(marker_, "");
    EXPECT_THAT(run({"info"}).out, HasSubstr("marker " + marker_ +
                                             ": a reset to defaults is in progress, nothing is "
                                             "saved\n"));
    EXPECT_EQ(true, infoAsJson().at("resetInProgress"));
}

TEST_F(T8settingsInfo, RejectedLinesAreShownWithTheirStorage) {
    put("qel-default-settings/a.ini", "#name = a\ngood = int,1\nno comma = int\nw = wat,1\n");
    const ToolRun info = run({"info"});
    EXPECT_THAT(info.out, HasSubstr("\n  error: no comma = int\n  error: w = wat,1\n"));
    EXPECT_THAT(info.err, HasSubstr("t8settings: error: failed to load "
                                    "'no comma = int'\n"));
    EXPECT_EQ(0, info.exitCode);
    const Json storage = infoAsJson().at("storages").at(0);
    EXPECT_EQ(Json({"no comma = int", "w = wat,1"}), storage.at("errors"));
    EXPECT_EQ(1, storage.at("settings"));
}

TEST_F(T8settingsInfo, BytesOfRejectedLinesAreInJsonToo) {
    put("qel-default-settings/a.ini", "#name = a\n\xFF = int\nw = wat,1\n");
    const Json storage = infoAsJson().at("storages").at(0);
    EXPECT_EQ(Json({"\xEF\xBF\xBD = int", "w = wat,1"}), storage.at("errors"));
    EXPECT_EQ(Json({"ff203d20696e74", "77203d207761742c31"}), storage.at("errorsBytes"));
}

TEST_F(T8settingsInfo, FilesThatCouldNotBeLoadedAreNamedWithTheReason) {
    put("qel-default-settings/late.ini", "[a]\n#name = late\n");
    std::filesystem::create_directory(path("qel-default-settings/x.ini"));
    put("qel-default-settings/y.xml", "<y>");
    const std::string reason = "the storage of '" + path("settings/late.ini") +
                               "' cannot be loaded: #name must be first line in ini-file.";
    const std::string unreadable =
        "'" + path("qel-default-settings/x.ini") + "' cannot be read: Is a directory";
    const std::string broken = "'" + path("qel-default-settings/y.xml") +
                               "' cannot be loaded: no readable well-formed XML document";
    EXPECT_THAT(run({"info"}).out, HasSubstr("\nNOT LOADED late.ini\n  error: " + reason +
                                             "\nNOT LOADED x.ini\n  error: " + unreadable +
                                             "\nNOT LOADED y.xml\n  error: " + broken + "\n"));
    EXPECT_EQ(Json({{{"name", "late.ini"}, {"errors", {reason}}},
                    {{"name", "x.ini"}, {"errors", {unreadable}}},
                    {{"name", "y.xml"}, {"errors", {broken}}}}),
              infoAsJson().at("failedFiles"));
}

TEST_F(T8settingsInfo, ReasonOfALineComesWithTheFileThatFailsLater) {
    put("qel-default-settings/late.ini", "no comma = int\n#name = late\n");
    const Json failed = infoAsJson().at("failedFiles").at(0);
    EXPECT_EQ("late.ini", failed.at("name"));
    EXPECT_EQ("no comma = int", failed.at("errors").at(0));
    EXPECT_EQ(2U, failed.at("errors").size());
}

TEST_F(T8settingsInfo, FailedFilesAreNamedAlthoughTheLogIsSilenced) {
    put("qel-default-settings/late.ini", "[a]\n#name = late\n");
    const ToolRun info = run({"info"}, {{"QLOG", "9"}});
    EXPECT_THAT(info.out, HasSubstr("\nNOT LOADED late.ini\n"));
    EXPECT_EQ("", info.err);
}

TEST_F(T8settingsInfo, DirectoryThatIsNamedLikeAFileIsSetAside) {
    std::filesystem::create_directory(path("settings/x.ini"));
    put("qel-default-settings/settings.ini", "#name = settings\nbass = int8,-2\n");
    const ToolRun list = run({"list"});
    EXPECT_EQ("settings/bass\tint8\t-2\n", list.out);
    EXPECT_THAT(list.err, HasSubstr("t8settings: error: '" + path("settings/x.ini") +
                                    "' cannot be used and is to become '" + path("settings/x.ini") +
                                    ".bad'\n"));
    EXPECT_EQ(0, list.exitCode);
    EXPECT_TRUE(std::filesystem::is_directory(path("settings/x.ini.bad")));
}

TEST_F(T8settingsInfo, WhatIsNoPlainFileIsCalledSo) {
    const std::string pipe = path("settings/pipe.ini");
    ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
    EXPECT_THAT(run({"info"}).err, HasSubstr("'" + pipe + "' cannot be read: no plain file"));
}

TEST_F(T8settingsInfo, QuoteInAPathKeepsNoMessageFromBeingPlain) {
    put("settings/my 'x'.ini", "#name = x\na = int,1\n#crc32 = 1\n");
    EXPECT_THAT(run({"info"}).err, HasSubstr("error: '" + path("settings/my 'x'.ini") +
                                             "': wrong CRC: the text has "));
}

TEST_F(T8settingsInfo, DirectoryOfAStoreIsNoBaseDirectory) {
    EXPECT_THAT(run({"--base", path("settings"), "list"}).err,
                HasSubstr("; did you mean --base " + base_ + "?\n"));
}

TEST_F(T8settingsInfo, HelpTakesOneCommand) {
    const ToolRun help = runBare({"help", "get", "set"});
    EXPECT_EQ("t8settings: help takes one command\nt8settings: see t8settings --help\n", help.err);
    EXPECT_EQ(2, help.exitCode);
}

/// A store with background saving and, first in PATH, commands that leave a trace.
class T8settingsFlush : public testsupport::ToolTest {
protected:
    T8settingsFlush() {
        put("settings/a.ini", "#name = a\n#savepolicy = async\n[s]\nv = int,1\n#crc32 = false\n");
        std::filesystem::create_directory(dir_.file("bin"));
        for (const std::string command : {"sync", "flash"}) {
            const std::string script = dir_.file("bin/" + command);
            testsupport::writeFile(
                script, "#!/bin/sh\necho " + command + " $* >>'" + dir_.file("trace") + "'\n");
            std::filesystem::permissions(script, std::filesystem::perms::owner_all);
        }
    }

    int exitCodeOf(const std::vector<std::string>& arguments) const {
        return run(arguments, {{"PATH", dir_.file("bin") + ":" + getenv("PATH")}}).exitCode;
    }
};

TEST_F(T8settingsFlush, CommandsThatChangeNothingLeaveTheFlashMemoryAlone) {
    EXPECT_EQ(0, exitCodeOf({"list"}));
    EXPECT_EQ(0, exitCodeOf({"get", "a/s/v"}));
    EXPECT_EQ(0, exitCodeOf({"info", "--json"}));
    EXPECT_EQ(3, exitCodeOf({"get", "a/s/w"}));
    EXPECT_EQ(1, exitCodeOf({"set", "a/s/v", "x"}));
    EXPECT_EQ(2, exitCodeOf({"reset", "--all"}));
    EXPECT_FALSE(testsupport::exists(dir_.file("trace")));
}

TEST_F(T8settingsFlush, ChangeEndsAsInAnApplication) {
    EXPECT_EQ(0, exitCodeOf({"set", "a/s/v", "2"}));
    EXPECT_EQ("sync\nflash flushcache\n", testsupport::readFile(dir_.file("trace")));
}

}  // namespace
