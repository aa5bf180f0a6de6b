// Dumps that are refused, and loads that fail in the middle.

#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/file.h>
#include <thread>

#include "DumpFixture.h"
#include "Sanitized.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;
using testsupport::ToolRun;

class T8settingsLoad : public testsupport::DumpTest {};

TEST_F(T8settingsLoad, DamagedFileOfTheStoreItselfStaysWhereItIs) {
    const std::string damaged = "#name = a\n[s]\nbass = int8,6\n#crc32 = 1\n";
    put("settings/a.ini", damaged);
    const std::string file = path("settings/a.ini");
    const ToolRun refused = run({"load", file});
    EXPECT_THAT(refused.err, StartsWith("t8settings: " + file + ":4: wrong CRC: "));
    EXPECT_THAT(refused.err, testing::EndsWith("\nt8settings: nothing was changed\n"));
    EXPECT_EQ(1, refused.exitCode);
    EXPECT_EQ(damaged, bytesOf("settings/a.ini"));
    EXPECT_FALSE(testsupport::exists(file + ".bad"));
}

TEST_F(T8settingsLoad, LineAfterTheCrcLineIsTheFaultAndNotTheCrc) {
    const ToolRun refused = load("#name = a\n[s]\n#crc32 = false\nbass = int8,6\n");
    EXPECT_EQ("t8settings: " + path("dump") +
                  ":3: lines after the CRC line are not read; move them above it, each below its "
                  "[section]\n"
                  "t8settings: nothing was changed\n",
              refused.err);
    EXPECT_EQ(1, refused.exitCode);
}

TEST_F(T8settingsLoad, FileOfTheStoreItselfThatNoLoadTakesStaysWhereItIs) {
    const std::string edited = "#name = a\n[s]\nbass = int8,6\n";
    put("settings/a.ini", edited);
    const std::string file = path("settings/a.ini");
    const ToolRun refused = run({"load", path("settings/../settings/a.ini")});
    EXPECT_EQ("t8settings: " + path("settings/../settings/a.ini") +
                  ": is a file of the store itself, and is not taken as it is: no CRC line; when "
                  "its lines are as they should be: t8settings seal " +
                  path("settings/../settings/a.ini") + "\nt8settings: nothing was changed\n",
              refused.err);
    EXPECT_EQ(1, refused.exitCode);
    std::filesystem::create_symlink(file, path("link"));
    EXPECT_EQ(1, run({"load", path("link")}).exitCode);
    EXPECT_EQ(edited, bytesOf("settings/a.ini"));
    EXPECT_FALSE(testsupport::exists(file + ".bad"));
    put("settings/a.ini", edited + "#crc32 = false\n");
    expectChanged(run({"load", file}), 0, 1);
}

TEST_F(T8settingsLoad, DumpThatADamagedFileIsToBeSetAsideOverStaysWhereItIs) {
    const std::string damaged = "#name = a\n[s]\nbass = int8,6\n";
    const std::string dump = "#name = a\n[s]\nbass = int8,7\n#crc32 = false\n";
    put("settings/a.ini", damaged);
    put("settings/a.ini.bad", dump);
    const std::string file = path("settings/a.ini");
    const ToolRun refused = run({"load", file + ".bad"});
    EXPECT_EQ("t8settings: " + file + ".bad: would be lost, as " + file +
                  " is about to be set aside under its name; first of all: t8settings recover " +
                  file + "\nt8settings: nothing was changed\n",
              refused.err);
    EXPECT_EQ(1, refused.exitCode);
    EXPECT_EQ(dump, bytesOf("settings/a.ini.bad"));
    EXPECT_EQ(damaged, bytesOf("settings/a.ini"));
    put("settings/a.ini", damaged + "#crc32 = false\n");
    expectChanged(run({"load", file + ".bad"}), 1, 0);
}

// Its own CRC is right, and no seal would help.
TEST_F(T8settingsLoad, CopyThatNoProgramCanLoadIsTheFaultAndNotTheFile) {
    const std::string file = path("settings/a.ini");
    const auto expectCopyTold = [&] {
        put("settings/a.ini", "#name = a\n[s]\nbass = int8,6\n#crc32 = false\n");
        put("settings/a.ini.tmp", "[s]\nbass = int8,7\n#name = a\n#crc32 = false\n");
        const ToolRun refused = run({"load", file});
        EXPECT_EQ(
            "t8settings: " + file + ": is a file of the store itself, and no program can load " +
                file +
                ".tmp, which is read in its place; first of all move that one away, or put it "
                "in order: t8settings recover " +
                file + " --from tmp\nt8settings: nothing was changed\n",
            refused.err);
        EXPECT_EQ(1, refused.exitCode);
    };
    expectCopyTold();
    std::filesystem::rename(file + ".tmp", dir_.file("away"));
    expectChanged(run({"load", file}), 0, 1);
    expectCopyTold();
    EXPECT_EQ(5, run({"recover", file, "--from", "tmp", "--yes"}).exitCode);
    expectChanged(run({"load", file}), 0, 1);
    EXPECT_EQ("7\n", run({"get", "a/s/bass"}).out);
}

TEST_F(T8settingsLoad, DumpThatDamagedXmlIsToBeSetAsideOverStaysWhereItIs) {
    const std::string file = path("settings/product.xml");
    const std::string dump = "a/s/bass = int8,7\n";
    const std::string elsewhere =
        "; move it elsewhere and load it from there\nt8settings: nothing was changed\n";
    put("settings/product.xml", "<bad");
    put("settings/product.xml.bad", dump);
    const ToolRun refused = run({"load", file + ".bad"});
    EXPECT_EQ("t8settings: " + file + ".bad: would be lost, as " + file +
                  " is about to be set aside under its name" + elsewhere,
              refused.err);
    EXPECT_EQ(1, refused.exitCode);
    EXPECT_EQ(dump, bytesOf("settings/product.xml.bad"));
    EXPECT_EQ("<bad", bytesOf("settings/product.xml"));
    put("settings/product.xml", dump);
    EXPECT_EQ("t8settings: " + file +
                  ": is a file of the store itself, and is not taken as it is: no readable "
                  "well-formed XML document" +
                  elsewhere,
              run({"load", file}).err);
    EXPECT_EQ(dump, bytesOf("settings/product.xml"));
    std::filesystem::rename(file, dir_.file("elsewhere"));
    expectChanged(run({"load", dir_.file("elsewhere")}), 1, 0);
}

TEST_F(T8settingsLoad, FileOfTheStoreItselfOnStandardInputStaysWhereItIs) {
    const std::string edited = "#name = a\n[s]\nbass = int8,6\n";
    const std::string file = path("settings/a.ini");
    const auto loadFrom = [this](const std::string& dump) {
        return run({"load", "-"}, {}, [&dump] { redirect(dump, O_RDONLY, STDIN_FILENO); });
    };
    put("settings/a.ini", edited);
    const ToolRun refused = loadFrom(file);
    EXPECT_EQ(
        "t8settings: standard input: is a file of the store itself, and is not taken as it is: no "
        "CRC line; when its lines are as they should be: t8settings seal " +
            file + "\nt8settings: nothing was changed\n",
        refused.err);
    EXPECT_EQ(1, refused.exitCode);
    put("settings/a.ini.bad", edited);
    EXPECT_EQ("t8settings: standard input: would be lost, as " + file +
                  " is about to be set aside under its name; first of all: t8settings recover " +
                  file + "\nt8settings: nothing was changed\n",
              loadFrom(file + ".bad").err);
    EXPECT_EQ(edited, bytesOf("settings/a.ini"));
    EXPECT_EQ(edited, bytesOf("settings/a.ini.bad"));
    put("settings/a.ini", edited + "#crc32 = false\n");
    expectChanged(loadFrom(file), 0, 1);
}

TEST_F(T8settingsLoad, TextInWhichNoSettingIsToBeFoundIsRefused) {
    const std::string none = ":1: has no setting in it; a dump that is to change nothing is []\n";
    expectRefused("# a comment\n", none);
    expectRefused("[a]\n", none);
    expectRefused("#crc32 = false\n", none);
    expectRefused(std::string("\xFF\xFE[\0", 4),
                  ":1: is UTF-16; save it as UTF-8 without a byte order mark (BOM)\n");
}

TEST_F(T8settingsLoad, TextThatContradictsTheBytesBesideItIsRefused) {
    ASSERT_EQ(0, run({"set", "a/s/title", "caf\xE9"}).exitCode);
    const std::string dump = run({"--json", "dump", "a/s/title"}).out;
    expectChanged(load(dump), 0, 1);
    const std::string text = "caf\xEF\xBF\xBD";
    std::string edited = dump;
    edited.replace(edited.find(text), text.size(), "Kitchen");
    expectRefused(edited, ": [0].text: contradicts textBytes; change both, or leave one out\n");
    edited.replace(edited.find("636166e9"), 8, "4b69746368656e");
    expectChanged(load(edited), 1, 0);
    EXPECT_EQ("Kitchen\n", run({"get", "a/s/title"}).out);
}

TEST_F(T8settingsLoad, SettingOfAnotherStorageThanTheDumpSaysIsRefused) {
    const std::string head = R"([{"name": "a/s/bass", "type": "int8", "text": "5", "storage": ")";
    expectRefused(head + "b\"}]",
                  ": [0]: a/s/bass is unchanged: its storage is \"a\" and not \"b\"\n");
    expectChanged(load(head + "a\"}]"), 1, 0);
}

TEST_F(T8settingsLoad, WhatIsNoDumpIsCalledWhatItIs) {
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

TEST_F(T8settingsLoad, WhileAResetIsInProgressNothingIsLoaded) {
    testsupport::writeFile(marker_, "");
    const ToolRun refused = load("a/s/bass = int8,5\n");
    EXPECT_EQ("t8settings: a reset to defaults is in progress, " + marker_ +
                  " exists: nothing is saved until the restart\n",
              refused.err);
    EXPECT_EQ(4, refused.exitCode);
}

TEST_F(T8settingsLoad, FileThatCannotBeReadIsAFailure) {
    const ToolRun none = run({"load", path("none")});
    EXPECT_EQ("", none.out);
    EXPECT_EQ("t8settings: \"" + path("none") + "\" cannot be read: No such file or directory\n",
              none.err);
    EXPECT_EQ(1, none.exitCode);
    EXPECT_EQ("t8settings: \"" + base_ + "\" cannot be read: Is a directory\n",
              run({"load", base_}).err);
    EXPECT_EQ(2, run({"load"}).exitCode);
}

TEST_F(T8settingsLoad, DumpMayLieAmongTheDefaults) {
    put("qel-default-settings/dump", "a/s/bass = int8,7\n");
    expectChanged(run({"load", path("qel-default-settings/dump")}), 1, 0);
    EXPECT_EQ("7\n", run({"get", "a/s/bass"}).out);
    put("qel-default-settings/dump", "a/s/bass = int8,6");
    EXPECT_EQ(1, run({"load", path("qel-default-settings/dump")}).exitCode);
}

TEST_F(T8settingsLoad, DumpWithoutAnEndIsRefused) {
    const ToolRun endless = run({"load", "/dev/zero"});
    EXPECT_EQ("t8settings: \"/dev/zero\" is larger than 64 MiB, which is too large for a dump\n",
              endless.err);
    EXPECT_EQ(1, endless.exitCode);
}

TEST_F(T8settingsLoad, FullDiskChangesNothing) {
    put("dump", "a/s/bass = int8,5\nb/t\xC3\xBCr \xFF = string,y\n");
    const ToolRun full = run({"load", path("dump")}, {}, fullDisk);
    EXPECT_EQ("", full.out);
    EXPECT_THAT(full.err, StartsWith("t8settings: a/s/bass could not be saved:\n"));
    EXPECT_EQ(1, full.exitCode);
    EXPECT_EQ("-2\n", run({"get", "a/s/bass"}).out);
}

TEST_F(T8settingsLoad, StorageThatCannotBeSavedTakesTheOthersBack) {
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

TEST_F(T8settingsLoad, WhatASaveWouldNotKeepIsRefusedForAllStorages) {
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
class T8settingsLoadOfTwo : public T8settingsLoad {
protected:
    T8settingsLoadOfTwo() {
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

TEST_F(T8settingsLoadOfTwo, SignalInBetweenEndsTheLoadWhenBothAreSaved) {
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

TEST_F(T8settingsLoadOfTwo, MessagesThatNobodyReadsAnyMoreEndNothing) {
    int ends[2];
    ASSERT_EQ(0, pipe2(ends, O_CLOEXEC));
    // A pipe that is full would hold the tool up.
    ASSERT_LT(0, fcntl(ends[1], F_SETPIPE_SZ, 1 << 20));
    EXPECT_EQ(0, exitCodeWith([&](pid_t) { close(ends[0]); }, ends[1]));
    close(ends[1]);
    expectSaved();
}

TEST_F(T8settingsLoadOfTwo, StorageThatCannotBeTakenBackIsTold) {
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

// Of several programs that save, the last one wins; a failure is no reason to be the last one.
TEST_F(T8settingsLoadOfTwo, StorageThatSomebodyElseHasSavedSinceIsNotTakenBack) {
    const std::string err = dir_.file("told");
    const int file = open(err.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    std::string theirs;
    EXPECT_EQ(1, exitCodeWith(
                     [&](pid_t) {
                         EXPECT_EQ(0, run({"set", "a/s/title", "theirs"}).exitCode);
                         theirs = bytesOf("settings/a.ini");
                         std::filesystem::create_directory(path("calibration_data/panel.ini.tmp"));
                     },
                     file));
    close(file);
    EXPECT_THAT(
        testsupport::readFile(err),
        testing::EndsWith("\nt8settings: a: another program has written " + path("settings/a.ini") +
                          " meanwhile, so it stays as it is\n"
                          "t8settings: a/s/bass is \"int8,5\" there\n"
                          "t8settings: to change it all the same, run this once more\n"));
    EXPECT_EQ(theirs, bytesOf("settings/a.ini"));
    std::filesystem::remove(path("calibration_data/panel.ini.tmp"));
    EXPECT_EQ(0, run({"load", path("dump")}).exitCode);
    expectSaved();
    EXPECT_EQ("theirs\n", run({"get", "a/s/title"}).out);
}

TEST_F(T8settingsLoad, HundredThousandSettingsAreLoaded) {
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
