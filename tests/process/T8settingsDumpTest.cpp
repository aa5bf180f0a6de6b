// All settings written out and read back.

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>

#include "DumpFixture.h"
#include "Qel/Settings/T8SettingsManager.h"
#include "Sanitized.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;
using testsupport::ToolRun;
using Json = nlohmann::json;

/// All bytes, in an order that no file trims.
std::string allBytes() {
    std::string bytes = "x";
    for (int byte = 0; byte < 256; ++byte) bytes += static_cast<char>(byte);
    return bytes + "x";
}

class T8settingsDump : public testsupport::DumpTest {};

TEST_F(T8settingsDump, IniTextHasALineForEachSetting) {
    const ToolRun dump = run({"dump"});
    EXPECT_EQ(
        "a/s/bass = int8,-2\n"
        "a/s/title = string,\"x, y\"\n"
        "a/s/top = long long,1\n"
        "b/t\xC3\xBCr \xFF = string,x\n"
        "product/model = string,T8\n",
        dump.out);
    EXPECT_EQ("", dump.err);
    EXPECT_EQ(0, dump.exitCode);
    EXPECT_EQ(dump.out, run({"dump", "--ini"}).out);
    EXPECT_EQ("a/s/title = string,\"x, y\"\na/s/top = long long,1\n", run({"dump", "a/s/t"}).out);
    EXPECT_EQ("a/s/bass = int8,-2\n", run({"dump", "*ass"}).out);
    EXPECT_EQ(2, run({"dump", "--ini", "--json"}).exitCode);
}

TEST_F(T8settingsDump, PatternThatMatchesNothingIsAFailure) {
    for (const std::string pattern : {"a/s/basss", "a/s/b?sss"}) {
        const ToolRun dump = run({"dump", pattern});
        EXPECT_EQ("", dump.out);
        EXPECT_THAT(dump.err, StartsWith("t8settings: no setting"));
        EXPECT_THAT(dump.err, HasSubstr("did you mean a/s/bass?\n"));
        EXPECT_EQ(3, dump.exitCode);
        EXPECT_EQ(3, run({"dump", "--json", pattern}).exitCode);
    }
    EXPECT_EQ(run({"dump"}).out, run({"dump", ""}).out);
}

TEST_F(T8settingsDump, JsonIsWhatListShows) {
    EXPECT_EQ(run({"list", "--json"}).out, run({"dump", "--json"}).out);
    EXPECT_EQ(run({"list", "a/s/t", "--json"}).out, run({"dump", "a/s/t", "--json"}).out);
}

TEST_F(T8settingsDump, LoadedAgainItChangesNothing) {
    for (const char* const form : {"--ini", "--json"}) {
        const std::string dump = run({"dump", form}).out;
        expectChanged(load(dump), 0, 5);
        EXPECT_EQ(dump, run({"dump", form}).out);
        EXPECT_TRUE(std::filesystem::is_empty(path("settings")));
    }
}

TEST_F(T8settingsDump, EveryTypeAndEveryByteComesBack) {
    std::string file = "#name = types\n[v]\n";
    std::size_t count = 0;
    for (const Json& type : Json::parse(runBare({"types", "--json"}).out)) {
        file += "k" + std::to_string(100 + count++) + " = " + type.at("name").get<std::string>() +
                "," + type.at("emptyText").get<std::string>() + "\n";
    }
    EXPECT_EQ(Qel::Settings::describeTypes().size(), count);
    std::filesystem::remove_all(base_);
    std::filesystem::copy(T8_TEST_DATA_DIR "/../../examples/tv", base_,
                          std::filesystem::copy_options::recursive);
    put("qel-default-settings/types.ini", file + "bytes = string,\n");
    const std::string bytes = allBytes();
    Json json = {{{"name", "types/v/bytes"}, {"type", "string"}, {"textBytes", ""}}};
    for (const char c : bytes) {
        char digits[3];
        snprintf(digits, sizeof digits, "%02x", static_cast<unsigned char>(c));
        json[0]["textBytes"] = json[0]["textBytes"].get<std::string>() + digits;
    }
    expectChanged(load(json.dump()), 1, 0);
    EXPECT_EQ(bytes + "\n", run({"get", "types/v/bytes"}).out);
    const auto settings = static_cast<int>(Json::parse(run({"dump", "--json"}).out).size());
    const std::string changed = dir_.file("changed");
    std::filesystem::copy(base_, changed, std::filesystem::copy_options::recursive);
    for (const char* const form : {"--ini", "--json"}) {
        const ToolRun dump = run({"dump", form});
        EXPECT_EQ("", dump.err);
        EXPECT_EQ(0, run({"reset", "types/v/bytes", "settings/sound/bass", "media/recent/list",
                          "tuning/satellite/provider"})
                         .exitCode);
        expectChanged(load(dump.out), 4, settings - 4);
        EXPECT_EQ(dump.out, run({"dump", form}).out);
        EXPECT_EQ(0, runBare({"diff", changed, base_}).exitCode);
    }
}

TEST_F(T8settingsDump, WhatNoLineOfIniTextHoldsIsLeftOutAndTold) {
    put("qel-default-settings/x.xml",
        "<x><a value=\" b \"/><c type=\"char\" value=\"&#10;\"/></x>");
    const ToolRun dump = run({"dump", "x/"});
    EXPECT_EQ("", dump.out);
    EXPECT_EQ(
        "t8settings: x/a is left out, no line of ini text holds it; --json does\n"
        "t8settings: x/c is left out, no line of ini text holds it; --json does\n",
        dump.err);
    EXPECT_EQ(1, dump.exitCode);
    expectChanged(load(run({"dump", "x/", "--json"}).out), 0, 2);
}

TEST_F(T8settingsDump, ChangesAreSavedOncePerStorage) {
    const ToolRun loaded = run({"load", "-"}, {{"QLOG", "2"}}, [this] {
        put("in",
            "a/s/bass = int8,5\n# a comment\n\n[a]\ns/title = string,new\n[a/s]\ntop = long "
            "long,1\n");
        redirect(path("in"), O_RDONLY, STDIN_FILENO);
    });
    EXPECT_EQ("2 changed, 1 the same\n", loaded.out);
    EXPECT_EQ(0, loaded.exitCode);
    EXPECT_EQ("5\n", run({"get", "a/s/bass"}).out);
    EXPECT_EQ("new\n", run({"get", "a/s/title"}).out);
    std::size_t changes = 0;
    for (std::size_t at = 0; (at = loaded.err.find("::changed( ", at)) != std::string::npos; ++at) {
        ++changes;
    }
    EXPECT_EQ(1U, changes) << loaded.err;
}

TEST_F(T8settingsDump, WhatOthersSaveWhileTheDumpIsOnItsWayStays) {
    const std::string fifo = dir_.file("fifo");
    ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
    // The fifo opens when the tool does, which is as far as it may get.
    const std::string writer = "(exec >'" + fifo + "'; " T8_TOOL " --base '" + base_ +
                               "' --marker '" + marker_ +
                               "' set a/s/bass 5 >/dev/null; echo a/s/title = string,y) &";
    ASSERT_EQ(0, std::system(writer.c_str()));
    expectChanged(run({"load", fifo}), 1, 0);
    EXPECT_EQ("5\n", run({"get", "a/s/bass"}).out);
    EXPECT_EQ("y\n", run({"get", "a/s/title"}).out);
}

TEST_F(T8settingsDump, FileOfAStorageIsTakenToo) {
    expectChanged(load("#name = a\n#savepolicy = async\n[s]\nbass = int8,7\n#crc32 = false\n"), 1,
                  0);
    EXPECT_EQ("7\n", run({"get", "a/s/bass"}).out);
    EXPECT_EQ(Json({{"changed", 0}, {"same", 1}}),
              Json::parse(run({"load", path("dump"), "--json"}).out));
    // As a file of defaults, which needs no CRC line.
    expectChanged(load("#name = a\n[s]\nbass = int8,8\n"), 1, 0);
    expectChanged(run({"load", path("qel-default-settings/a.ini")}), 1, 2);
    EXPECT_EQ("-2\n", run({"get", "a/s/bass"}).out);
}

TEST_F(T8settingsDump, DamagedFileOfAStorageIsRefused) {
    const std::string remedy =
        "; write \"#crc32 = false\" in its place to have the others taken as they are\n";
    const std::string text = "#name = a\n[s]\nbass = int8,";
    expectChanged(load(text + "7\n#crc32 = 3079123813\n"), 1, 0);
    expectRefused(text + "6\n#crc32 = 3079123813\n",
                  ":4: wrong CRC: the text has 3229647859, its CRC line says 3079123813" + remedy);
    expectRefused(text + "7\n#crc32 = 3079123813",
                  ":4: wrong CRC: the line feed after the CRC line is missing" + remedy);
    expectRefused(text + "6\n#crc32 = 3229647859\n\ntop = int64,3\n",
                  ":4: lines after the CRC line are not read; move them above it, each below its "
                  "[section]\n");
}

TEST_F(T8settingsDump, LinesThatALoadReadsAsSomethingElseAreRefused) {
    expectRefused(
        "#name = a\n[s]\nbass = int8,7\n[picture\ntop = int64,3\n[]\ntitle = string,x\n"
        "#crc32 = false\n",
        ":5: top: its section is not known, as line 4 opens none; mend that line and run this once "
        "more\n"
        ":7: title: its section is not known, as line 6 opens none; mend that line and run this "
        "once more\n");
    expectRefused("a/s/bass = int8,7\n[a/s\ntop = int64,3\n",
                  ":3: top: its section is not known, as line 2 opens none; mend that line and run "
                  "this once more\n");
    expectChanged(load("#\n[]\na/s/bass = int8,7\n"), 1, 0);
    expectRefused("[s]\nbass = int8,6\n#name = a\n#crc32 = false\n",
                  ":3: #name is not the first line; move it to the top: as it is, no program can "
                  "load the file\n");
    expectRefused("a/s/bass = int8,6\na/s/top = int64,12",
                  ":2: the last line may be cut short, as no line feed ends it; complete it, and "
                  "end it with a "
                  "line feed\n");
}

TEST_F(T8settingsDump, FileOfAStorageWithoutANameIsCalledAsTheFileIs) {
    put("a.ini.bad", "[s]\nbass = int8,7\n#crc32 = false\n");
    expectChanged(run({"load", path("a.ini.bad")}), 1, 0);
    EXPECT_EQ("7\n", run({"get", "a/s/bass"}).out);
    put("a.ini.bad", "[s]\nbass = int8,7\n#crc32 = 1\n");
    EXPECT_THAT(run({"load", path("a.ini.bad")}).err,
                HasSubstr("; write \"#crc32 = false\" in its place to have the others taken"));
    put("a.ini.bad", "[s]\nbass = int8,6\n#crc32 = false\n");
    expectChanged(run({"load", path("a.ini.bad")}), 1, 0);
    EXPECT_EQ("6\n", run({"get", "a/s/bass"}).out);
    const ToolRun input =
        run({"load", "-"}, {}, [this] { redirect(path("a.ini.bad"), O_RDONLY, STDIN_FILENO); });
    EXPECT_EQ(
        "t8settings: standard input:1: no #name tells which storage it is of; load the file by its "
        "own name\nt8settings: nothing was changed\n",
        input.err);
    EXPECT_EQ(1, input.exitCode);
}

TEST_F(T8settingsDump, EverythingIsCheckedBeforeAnythingIsChanged) {
    expectRefused(
        "a/s/bass = int8,300\n"
        "a/s/title = string,fine\n"
        "\n"
        "rubbish\n"
        "a/s/titel = string,x\n"
        "a/s/top = int8,1\n"
        "product/model = string,T9\n"
        "a/s/title = string,twice\n"
        "b/t\xC3\xBCr \xFF = wat,x\n",
        ":1: a/s/bass is unchanged: int8 would not keep \"300\", it would make \"44\" of it\n"
        "int8 takes whole numbers from -128 to 127\n"
        ":4: \"rubbish\" is no setting, which is written NAME = TYPE,TEXT\n"
        ":5: no such setting: \"a/s/titel\"\n"
        "did you mean a/s/title?\n"
        ":6: a/s/top is unchanged: its type is long long and not int8\n"
        ":7: product/model is read-only: product RO def=" +
            path("qel-default-settings/product.xml") + " rw=" + path("settings/product.xml") +
            " savePolicy=Save_onDemand\n"
            ":8: a/s/title has a value already, at " +
            path("dump") +
            ":2\n"
            ":9: no such type: \"wat\"\n");
}

TEST_F(T8settingsDump, ProblemsOfJsonAreToldWithTheMembersPath) {
    expectRefused(
        R"([{"name": "a/s/bass", "type": "int8", "text": "3"},
            {"name": "a/s/title", "type": "string", "text": 3},
            {"name": "a/s/title", "type": "string"},
            {"nameBytes": "6g", "type": "string", "text": ""},
            7,
            {"name": "a/s/bass", "type": "int8", "text": "x"},
            {"name": "a/s/top", "type": "int64", "text": "2.0"}])",
        ": [1].text: is no string\n"
        ": [2].text: is missing\n"
        ": [3].nameBytes: is not in hexadecimal\n"
        ": [4]: is no object\n"
        ": [5]: a/s/bass has a value already, at " +
            path("dump") +
            ": [0]\n"
            ": [6]: a/s/top is unchanged: long long would not keep \"2.0\", it would make \"2\" of "
            "it\n"
            "long long takes whole numbers from -9223372036854775808 to 9223372036854775807\n");
    expectRefused("[{\"name\":\n \"a\",}]",
                  ":2: syntax error while parsing object key - unexpected '}'; expected string "
                  "literal\n");
    expectChanged(load(" [ ] \n"), 0, 0);
    expectRefused("[1,2]", ": [0]: is no object\n: [1]: is no object\n");
    expectRefused("[\"x\"]\n", ": [0]: is no object\n");
    expectRefused("[{\"type\": \"int\"},\n {\"name\": 1e999}]",
                  ":2: number overflow parsing '1e999'\n");
    expectChanged(load("[a]\ns/bass = int8,-2\n"), 0, 1);
}

TEST_F(T8settingsDump, MembersThatJsonHasTwiceOrThatNobodyKnowsAreRefused) {
    expectRefused(
        "[{\"name\":\"a/s/bass\",\"type\":\"int8\",\"text\":\"5\",\n"
        "  \"name\":\"a/s/title\"},\n"
        " {\"name\":\"a/s/bass\",\"type\":\"int8\",\"storage\":{\"x\":1,\"x\":2},\n"
        "  \"text\":\"5\", \"texts\": \"6\", \"extra\": 1, \"a\\nb\": 2},\n"
        " [{\"k\":1,\"k\":2}],7,\n"
        " {\"name\":\"a/s/top\",\"na\\u006De\":\"a/s/top\",\"type\":\"long long\",\"text\":\"1\"}]",
        ":2: [0].name: is there a second time\n"
        ":6: [4].name: is there a second time\n"
        ": [0]: a/s/title is unchanged: its type is string and not int8\n"
        ": [1].storage: is no string\n"
        ": [1].texts: is no member of a setting\n"
        "did you mean text?\n"
        ": [1].extra: is no member of a setting\n"
        ": [1].a\\nb: is no member of a setting\n"
        ": [2]: is no object\n"
        ": [3]: is no object\n");
}

}  // namespace
