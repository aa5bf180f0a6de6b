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

#include "Qel/Settings/T8SettingsManager.h"
#include "Sanitized.h"
#include "ToolRun.h"

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

class T8settingsDump : public testsupport::ToolTest {
protected:
    T8settingsDump() {
        put("qel-default-settings/a.ini",
            "#name = a\n#savepolicy = eachchange\n[s]\nbass = int8,-2\ntitle = string,\"x, y\"\n"
            "top = int64,1\n");
        put("qel-default-settings/b.ini", "#name = b\nt\xC3\xBCr \xFF = string,x\n");
        put("qel-default-settings/product.xml", "<product><model value=\"T8\"/></product>");
    }

    ToolRun load(const std::string& dump) const {
        put("dump", dump);
        return run({"load", path("dump")});
    }

    /// That this dump changes nothing for these reasons, each at its place.
    void expectRefused(const std::string& dump, const std::string& reasons) const {
        const std::string before = run({"list"}).out;
        const ToolRun refused = load(dump);
        EXPECT_EQ("", refused.out) << dump;
        std::string expected;
        std::istringstream lines(reasons);
        for (std::string line; std::getline(lines, line);) {
            const bool hasPlace = line.front() == ':';
            expected += "t8settings: " + (hasPlace ? path("dump") : "") + line + "\n";
        }
        EXPECT_EQ(expected + "t8settings: nothing was changed\n", refused.err) << dump;
        EXPECT_EQ(1, refused.exitCode) << dump;
        EXPECT_EQ(before, run({"list"}).out) << dump;
    }

    void expectChanged(const ToolRun& load, int changed, int same) const {
        EXPECT_EQ(std::to_string(changed) + " changed, " + std::to_string(same) + " the same\n",
                  load.out);
        EXPECT_EQ("", load.err);
        EXPECT_EQ(0, load.exitCode);
    }
};

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
                  ":4: lines after the CRC line are not read; move them above it\n");
}

TEST_F(T8settingsDump, LinesThatALoadReadsAsSomethingElseAreRefused) {
    expectRefused(
        "#name = a\n[s]\nbass = int8,7\n[picture\ntop = int64,3\n[]\ntitle = string,x\n"
        "#crc32 = false\n",
        ":5: top: its section is not known, as line 4 opens none\n"
        ":7: title: its section is not known, as line 6 opens none\n");
    expectRefused("a/s/bass = int8,7\n[a/s\ntop = int64,3\n",
                  ":3: top: its section is not known, as line 2 opens none\n");
    expectChanged(load("#\n[]\na/s/bass = int8,7\n"), 1, 0);
    expectRefused("[s]\nbass = int8,6\n#name = a\n#crc32 = false\n",
                  ":3: #name is not the first line; move it to the top: as it is, no program can "
                  "load the file\n");
    expectRefused("a/s/bass = int8,6\na/s/top = int64,12",
                  ":2: the last line may be cut short, as no line feed ends it\n");
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
        ": [1].texts: is no member of a setting\n"
        "did you mean text?\n"
        ": [1].extra: is no member of a setting\n"
        ": [1].a\\nb: is no member of a setting\n"
        ": [2]: is no object\n"
        ": [3]: is no object\n");
}

TEST_F(T8settingsDump, WhatIsNoDumpIsCalledWhatItIs) {
    const std::string empty =
        ":1: is empty, as it is when a dump fails; a dump that is to change nothing is []\n";
    expectRefused("", empty);
    expectRefused("\n \n", empty);
    for (const char* const json :
         {"null", "\"x\"", "\"x\"\n", " -1.5\n", "true", "{\"name\": \"a\"}"}) {
        expectRefused(json, ": is no array of settings\n");
    }
    expectRefused("\xEF\xBB\xBF[]",
                  ":1: begins with a byte order mark (BOM); save it as UTF-8 without one\n");
    expectRefused(
        "\xEF\xBB\xBF"
        "a/s/bass = int8,5\n",
        ":1: begins with a byte order mark (BOM); save it as UTF-8 without one\n");
    expectRefused("<?xml version=\"1.0\"?>\n<x/>\n", ":1: is XML, which load does not take\n");
    EXPECT_EQ("t8settings: " + path("qel-default-settings/product.xml") +
                  ":1: is XML; what load takes is written by: t8settings --file " +
                  path("qel-default-settings/product.xml") +
                  " dump\nt8settings: nothing was changed\n",
              run({"load", path("qel-default-settings/product.xml")}).err);
    put("qel-default-settings/<.ini", "x = string,y\n");
    put("qel-default-settings/\".ini", "x = string,y\n");
    expectChanged(load("</x = string,\"z,z\"\n"), 1, 0);
    expectChanged(load("\"/x = string,z\"\n"), 1, 0);
}

TEST_F(T8settingsDump, WhileAResetIsInProgressNothingIsLoaded) {
    testsupport::writeFile(marker_, "");
    const ToolRun refused = load("a/s/bass = int8,5\n");
    EXPECT_EQ("t8settings: a reset to defaults is in progress, " + marker_ +
                  " exists: nothing is saved until the restart\n",
              refused.err);
    EXPECT_EQ(4, refused.exitCode);
}

TEST_F(T8settingsDump, FileThatCannotBeReadIsAFailure) {
    const ToolRun none = run({"load", path("none")});
    EXPECT_EQ("", none.out);
    EXPECT_EQ("t8settings: \"" + path("none") + "\" cannot be read: No such file or directory\n",
              none.err);
    EXPECT_EQ(1, none.exitCode);
    EXPECT_EQ("t8settings: \"" + base_ + "\" cannot be read: Is a directory\n",
              run({"load", base_}).err);
    EXPECT_EQ(2, run({"load"}).exitCode);
}

TEST_F(T8settingsDump, DumpMayLieAmongTheDefaults) {
    put("qel-default-settings/dump", "a/s/bass = int8,7\n");
    expectChanged(run({"load", path("qel-default-settings/dump")}), 1, 0);
    EXPECT_EQ("7\n", run({"get", "a/s/bass"}).out);
    put("qel-default-settings/dump", "a/s/bass = int8,6");
    EXPECT_EQ(1, run({"load", path("qel-default-settings/dump")}).exitCode);
}

TEST_F(T8settingsDump, DumpWithoutAnEndIsRefused) {
    const ToolRun endless = run({"load", "/dev/zero"});
    EXPECT_EQ("t8settings: \"/dev/zero\" is larger than 64 MiB, which is too large for a dump\n",
              endless.err);
    EXPECT_EQ(1, endless.exitCode);
}

TEST_F(T8settingsDump, FullDiskChangesNothing) {
    put("dump", "a/s/bass = int8,5\nb/t\xC3\xBCr \xFF = string,y\n");
    const ToolRun full = run({"load", path("dump")}, {}, fullDisk);
    EXPECT_EQ("", full.out);
    EXPECT_THAT(full.err, StartsWith("t8settings: a/s/bass could not be saved:\n"));
    EXPECT_EQ(1, full.exitCode);
    EXPECT_EQ("-2\n", run({"get", "a/s/bass"}).out);
}

TEST_F(T8settingsDump, StorageThatCannotBeSavedTakesTheOthersBack) {
    std::filesystem::create_directory(path("settings/b.ini.tmp"));
    const ToolRun failed =
        load("a/s/bass = int8,5\na/s/top = int64,5\nb/t\xC3\xBCr \xFF = string,y\n");
    EXPECT_EQ("", failed.out);
    EXPECT_THAT(failed.err, StartsWith("t8settings: b/t\xC3\xBCr \\xFF could not be saved:\n"));
    EXPECT_THAT(failed.err,
                testing::EndsWith("\nt8settings: a has its old values again, in " +
                                  path("settings/a.ini") + ", which was not there before\n"));
    EXPECT_EQ(1, failed.exitCode);
    EXPECT_EQ("a/s/bass = int8,-2\na/s/title = string,\"x, y\"\na/s/top = long long,1\n",
              run({"dump", "a/"}).out);
}

TEST_F(T8settingsDump, WhatASaveWouldNotKeepIsRefusedForAllStorages) {
    put("settings/a.ini", "#name = a\n[s]\nbass = int8,3\n#crc32 = false\n");
    put("qel-default-settings/c.ini", "#name = c\nz = int,1\n[x]\nb = int,2\n");
    const std::string before = bytesOf("settings/a.ini");
    const ToolRun failed = load("a/s/bass = int8,5\nc/z = int,7\n");
    EXPECT_EQ("", failed.out);
    EXPECT_EQ(
        "t8settings: c cannot be saved as it is meant:\n"
        "t8settings: c/z comes back as \"int,1\" in place of \"int,7\": it is read as c/x/z, as it "
        "has no section and sorts after one that has; give it a section, in the defaults file "
        "too\n"
        "t8settings: nothing was changed\n",
        failed.err);
    EXPECT_EQ(1, failed.exitCode);
    EXPECT_EQ(before, bytesOf("settings/a.ini"));
    EXPECT_FALSE(testsupport::exists(path("settings/c.ini")));
}

// The second storage waits for its directory.
class T8settingsDumpOfTwo : public T8settingsDump {
protected:
    T8settingsDumpOfTwo() {
        put("qel-default-calibration_data/panel.ini", "#name = panel\ngamma = int,22\n");
        put("dump", "a/s/bass = int8,5\npanel/gamma = int,24\n");
    }

    /// What a load exits with when this happens between its storages. Standard error goes to the
    /// descriptor.
    int exitCodeWith(const std::function<void(pid_t tool)>& between, int err) const {
        const int directory = open(path("calibration_data").c_str(), O_RDONLY | O_CLOEXEC);
        EXPECT_EQ(0, flock(directory, LOCK_SH));
        const pid_t tool = fork();
        if (tool == 0) {
            redirect("/dev/null", O_RDWR, STDOUT_FILENO);
            dup2(err, STDERR_FILENO);
            testsupport::becomeTool(
                {"load", path("dump")},
                {{"T8SETTINGS_BASE", base_}, {"T8SETTINGS_MARKER", marker_}, {"QLOG", "2"}});
        }
        while (!testsupport::exists(path("settings/a.ini")) ||
               testsupport::exists(path("settings/a.ini.tmp"))) {
            std::this_thread::yield();
        }
        between(tool);
        close(directory);
        return testsupport::exitCodeOf(tool);
    }

    void expectSaved() const {
        EXPECT_EQ("5\n", run({"get", "a/s/bass"}).out);
        EXPECT_EQ("24\n", run({"get", "panel/gamma"}).out);
    }
};

TEST_F(T8settingsDumpOfTwo, SignalInBetweenEndsTheLoadWhenBothAreSaved) {
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        EXPECT_EQ(-signal,
                  exitCodeWith([&](pid_t tool) { EXPECT_EQ(0, kill(tool, signal)); }, nowhere));
        expectSaved();
        std::filesystem::remove(path("settings/a.ini"));
        std::filesystem::remove(path("calibration_data/panel.ini"));
    }
    close(nowhere);
}

TEST_F(T8settingsDumpOfTwo, MessagesThatNobodyReadsAnyMoreEndNothing) {
    int ends[2];
    ASSERT_EQ(0, pipe2(ends, O_CLOEXEC));
    // A pipe that is full would hold the tool up.
    ASSERT_LT(0, fcntl(ends[1], F_SETPIPE_SZ, 1 << 20));
    EXPECT_EQ(0, exitCodeWith([&](pid_t) { close(ends[0]); }, ends[1]));
    close(ends[1]);
    expectSaved();
}

TEST_F(T8settingsDumpOfTwo, StorageThatCannotBeTakenBackIsTold) {
    const std::string err = dir_.file("err");
    const int file = open(err.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const auto block = [this](pid_t) {
        std::filesystem::create_directory(path("settings/a.ini.tmp"));
        std::filesystem::create_directory(path("calibration_data/panel.ini.tmp"));
    };
    EXPECT_EQ(1, exitCodeWith(block, file));
    close(file);
    const std::string told = testsupport::readFile(err);
    EXPECT_THAT(told, HasSubstr("\nt8settings: panel/gamma could not be saved:\n"));
    EXPECT_THAT(told, HasSubstr("\nt8settings: a STAYS CHANGED: a/s/bass could not be saved:\n"));
    EXPECT_EQ("5\n", run({"get", "a/s/bass"}).out);
}

TEST_F(T8settingsDump, HundredThousandSettingsAreLoaded) {
    std::string file = "#name = many\n";
    std::string dump;
    constexpr int kEnd = 100000 + 100000 / static_cast<int>(testsupport::kTimesLess);
    for (int i = 100000; i < kEnd; ++i) {
        file += "k" + std::to_string(i) + " = int,1\n";
        dump += "many/k" + std::to_string(i) + " = int," + std::to_string(i % 2) + "\n";
    }
    put("qel-default-settings/many.ini", file);
    expectChanged(load(dump), (kEnd - 100000) / 2, (kEnd - 100000) / 2);
    EXPECT_EQ(dump, run({"dump", "many/"}).out);
    expectChanged(load(run({"dump", "--json", "many/"}).out), 0, kEnd - 100000);
}

}  // namespace
