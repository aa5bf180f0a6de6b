#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Sanitized.h"
#include "ToolRun.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;
using testsupport::ToolRun;

class T8settingsSet : public testsupport::ToolTest {
protected:
    T8settingsSet() {
        put("qel-default-settings/settings.ini",
            "#name = settings\n[sound]\nbass = int8,-2\nname = string,x\n");
    }

    static constexpr const char* kBass = "settings/sound/bass";

    /// Exit code 4, nothing shown, nothing written.
    void expectRefused(const ToolRun& set, const std::string& text) const {
        EXPECT_EQ("", set.out);
        EXPECT_THAT(set.err, StartsWith("t8settings: " + text));
        EXPECT_EQ(4, set.exitCode);
        EXPECT_TRUE(std::filesystem::is_empty(path("settings")));
    }

    /// Exit code 1 and the library's reason.
    static void expectNotSaved(const ToolRun& set, const std::string& reason) {
        EXPECT_EQ("", set.out);
        EXPECT_THAT(set.err, StartsWith("t8settings: settings/sound/bass could not be saved:\n"));
        EXPECT_THAT(set.err, HasSubstr("\nt8settings: " + reason + "\n"));
        EXPECT_EQ(1, set.exitCode);
    }
};

TEST_F(T8settingsSet, ChangeIsInTheFileWhenItIsShown) {
    const ToolRun set = run({"set", kBass, "5"});
    EXPECT_EQ("settings/sound/bass\tint8\t5\n", set.out);
    EXPECT_EQ("", set.err);
    EXPECT_EQ(0, set.exitCode);
    EXPECT_THAT(bytesOf("settings/settings.ini"),
                StartsWith("#name = settings\n#savepolicy = eachchange\n"
                           "[sound]\nbass = int8,5\nname = string,x\n#crc32 = "));
    EXPECT_FALSE(testsupport::exists(path("settings/settings.ini.tmp")));
    EXPECT_EQ("5\n", run({"get", kBass}).out);
}

// The old values are still in the copy, which is read in its place.
TEST_F(T8settingsSet, FileThatMayNotBeReadIsNotCalledNewAfterAFailure) {
    run({"set", kBass, "5"});
    const std::string file = path("settings/settings.ini");
    put("settings/settings.ini.tmp", bytesOf("settings/settings.ini"));
    if (geteuid() == 0) {
        std::filesystem::permissions(dir_.path(), std::filesystem::perms(0755));
    }
    std::filesystem::permissions(path("settings"), std::filesystem::perms(0777));
    std::filesystem::permissions(file + ".tmp", std::filesystem::perms(0666));
    std::filesystem::permissions(file, std::filesystem::perms(0));
    const ToolRun set = run({"set", kBass, "6"}, {}, [] {
        if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(126);
    });
    // Root may read every file, so the tool runs as nobody, who cannot start it from a checkout
    // below a private directory.
    if (set.exitCode == 127) {
        GTEST_SKIP() << "nobody but root may run the tool where it lies";
    }
    EXPECT_THAT(set.err, testing::EndsWith("\nt8settings: settings is as it was\n"));
    EXPECT_EQ(1, set.exitCode);
    EXPECT_THAT(bytesOf("settings/settings.ini.tmp"), HasSubstr("\nbass = int8,5\n"));
}

TEST_F(T8settingsSet, NormalisedFormIsShown) {
    EXPECT_EQ("settings/sound/bass\tint8\t7\n", run({"set", kBass, "+007"}).out);
    const ToolRun set = run({"set", kBass, " 8", "--json"});
    EXPECT_EQ(nlohmann::json::parse(R"({"name": "settings/sound/bass", "type": "int8",
                                        "text": "8", "storage": "settings"})"),
              nlohmann::json::parse(set.out));
    EXPECT_EQ(0, set.exitCode);
}

TEST_F(T8settingsSet, NegativeNumberNeedsNoMark) {
    EXPECT_EQ("settings/sound/bass\tint8\t-7\n", run({"set", kBass, "-7"}).out);
}

TEST_F(T8settingsSet, TextWithADashInFrontComesAfterADoubleDash) {
    EXPECT_EQ(2, run({"set", "settings/sound/name", "-v"}).exitCode);
    EXPECT_EQ("settings/sound/name\tstring\t-v\n",
              run({"set", "settings/sound/name", "--", "-v"}).out);
}

TEST_F(T8settingsSet, ValueThatIsThereAlreadyIsWrittenOnce) {
    EXPECT_EQ(0, run({"set", kBass, "5"}).exitCode);
    const auto written = std::filesystem::last_write_time(path("settings/settings.ini"));
    EXPECT_EQ(0, run({"set", kBass, "5"}).exitCode);
    EXPECT_EQ(written, std::filesystem::last_write_time(path("settings/settings.ini")));
}

TEST_F(T8settingsSet, StoragesOfEveryPolicyAreSaved) {
    for (const std::string policy : {"ondemand", "eachchange", "async"}) {
        put("settings/p.ini",
            "#name = p\n#savepolicy = " + policy + "\n[]\nv = int,1\n#crc32 = false\n");
        EXPECT_EQ("p/v\tint\t2\n", run({"set", "p/v", "2"}).out) << policy;
        EXPECT_THAT(bytesOf("settings/p.ini"),
                    StartsWith("#name = p\n#savepolicy = " + policy + "\n[]\nv = int,2\n#crc32 = "))
            << policy;
    }
}

TEST_F(T8settingsSet, TypeOfTheSettingStays) {
    put("qel-default-settings/t.ini", "#name = t\nv = int16,1\nw = string,1\n");
    EXPECT_EQ("t/v\tshort\t2\n", run({"set", "t/v", "2"}).out);
    EXPECT_EQ("t/w\tstring\t2\n", run({"set", "t/w", "2"}).out);
}

TEST_F(T8settingsSet, UnknownSettingIsNotCreated) {
    const ToolRun set = run({"set", "settings/sound/base", "1"});
    EXPECT_EQ("", set.out);
    EXPECT_EQ(
        "t8settings: no such setting: \"settings/sound/base\"\n"
        "t8settings: did you mean settings/sound/bass?\n",
        set.err);
    EXPECT_EQ(3, set.exitCode);
    EXPECT_TRUE(std::filesystem::is_empty(path("settings")));
}

TEST_F(T8settingsSet, RefusedTextIsExplained) {
    const ToolRun set = run({"set", kBass, "300", "--json"});
    EXPECT_EQ("", set.out);
    EXPECT_EQ(
        "t8settings: settings/sound/bass is unchanged: int8 would not keep \"300\", it would make "
        "\"44\" of it\n"
        "t8settings: int8 takes whole numbers from -128 to 127\n",
        set.err);
    EXPECT_EQ(1, set.exitCode);
    EXPECT_TRUE(std::filesystem::is_empty(path("settings")));
}

TEST_F(T8settingsSet, XmlSettingsAreReadOnly) {
    put("qel-default-settings/product.xml", "<product><model value=\"T8\"/></product>");
    expectRefused(run({"set", "product/model", "T9"}),
                  "product/model is read-only: product RO def=");
}

TEST_F(T8settingsSet, ReadonlyLineOfAFileHolds) {
    put("qel-default-settings/r.ini", "#name = r\n#readonly\nv = int,1\n");
    expectRefused(run({"set", "r/v", "2"}), "r/v is read-only: r RO def=");
}

TEST_F(T8settingsSet, NothingIsChangedWhileAResetIsInProgress) {
    testsupport::writeFile(marker_, "");
    expectRefused(run({"set", kBass, "5"}), "a reset to defaults is in progress, " + marker_ +
                                                " exists: nothing is saved until the restart\n");
    EXPECT_EQ("-2\n", run({"get", kBass}).out);
}

TEST_F(T8settingsSet, ModeIsAskedBeforeTheTextIsJudged) {
    testsupport::writeFile(marker_, "");
    expectRefused(run({"set", kBass, "300"}), "a reset to defaults is in progress");
}

TEST_F(T8settingsSet, FailureToWriteIsToldWithTheLibrarysReason) {
    std::filesystem::create_directory(path("settings/settings.ini.tmp"));
    const std::string file = path("settings/settings.ini");
    const std::string reason = "'" + file + ".tmp' could not be written";
    expectNotSaved(run({"set", kBass, "5"}), reason);
    // Silencing the log silences no reason.
    expectNotSaved(run({"set", kBass, "5"}, {{"QLOG", "9"}}), reason);
    EXPECT_FALSE(testsupport::exists(file));
    EXPECT_EQ("-2\n", run({"get", kBass}).out);
}

TEST_F(T8settingsSet, FailureToWriteInTheBackgroundIsNotLeftToTheBackground) {
    put("settings/settings.ini",
        "#name = settings\n#savepolicy = async\n[sound]\nbass = int8,1\n#crc32 = false\n");
    std::filesystem::create_directory(path("settings/settings.ini.tmp"));
    const std::string before = bytesOf("settings/settings.ini");
    const std::string file = path("settings/settings.ini");
    expectNotSaved(run({"set", kBass, "5"}), "'" + file + ".tmp' could not be written");
    EXPECT_EQ(before, bytesOf("settings/settings.ini"));
}

TEST_F(T8settingsSet, FullDiskKeepsTheOldValue) {
    EXPECT_EQ(0, run({"set", kBass, "5"}).exitCode);
    const ToolRun set = run({"set", kBass, "6"}, {}, fullDisk);
    EXPECT_EQ("", set.out);
    EXPECT_THAT(set.err, StartsWith("t8settings: settings/sound/bass could not be saved:\n"));
    EXPECT_EQ(1, set.exitCode);
    EXPECT_EQ("5\n", run({"get", kBass}).out);
}

TEST_F(T8settingsSet, ReadOnlyDirectoryIsReadAndNothingElse) {
    using std::filesystem::perms;
    EXPECT_EQ(0, run({"set", kBass, "5"}).exitCode);
    const std::string before = bytesOf("settings/settings.ini");
    put("dump", "settings/sound/bass = int8,6\n");
    std::filesystem::permissions(path("settings"), perms::owner_read | perms::owner_exec);
    for (const auto& words :
         {std::vector<std::string>{"set", kBass, "6"}, {"load", path("dump")}, {"reset", kBass}}) {
        expectNotSaved(run(words, {}, ordinaryUser), "'" + path("settings/settings.ini.tmp") +
                                                         "' could not be written\n"
                                                         "t8settings: '" +
                                                         path("settings/settings.ini") +
                                                         "' is not saved: Permission denied");
    }
    const ToolRun list = run({"list"}, {}, ordinaryUser);
    std::filesystem::permissions(path("settings"), perms::owner_all);
    EXPECT_EQ("settings/sound/bass\tint8\t5\nsettings/sound/name\tstring\tx\n", list.out);
    EXPECT_EQ("", list.err);
    EXPECT_EQ(0, list.exitCode);
    EXPECT_EQ(before, bytesOf("settings/settings.ini"));
    const std::filesystem::directory_iterator entries(path("settings"));
    EXPECT_EQ(1, std::distance(begin(entries), end(entries)));
}

// A setting without a section that sorts after a section is read back into that section.
class T8settingsSetOdd : public T8settingsSet {
protected:
    T8settingsSetOdd() {
        put("qel-default-settings/odd.ini", "#name = odd\nzeta = int,1\n[sound]\nbass = int,1\n");
    }

    void expectUnchanged(const ToolRun& set, const std::string& harm,
                         const std::string& storage = "odd") const {
        EXPECT_EQ("", set.out);
        EXPECT_EQ("t8settings: " + storage + " cannot be saved as it is meant:\nt8settings: " +
                      harm + "\nt8settings: nothing was changed\n",
                  set.err);
        EXPECT_EQ(1, set.exitCode);
    }

    void putFile(const std::string& settings) const {
        put("settings/odd.ini", "#name = odd\n" + settings + "#crc32 = false\n");
    }

    static constexpr const char* kWhy =
        " is read as odd/sound/zeta, as it has no section and sorts after one that has; give it a "
        "section";
    static constexpr const char* kInDefaultsToo = ", in the defaults file too";
    static std::string moved(const std::string& back, const std::string& wanted) {
        return "odd/zeta comes back as \"int," + back + "\" in place of \"int," + wanted +
               "\": it" + kWhy + kInDefaultsToo;
    }
};

TEST_F(T8settingsSetOdd, SettingThatTheFileWouldNotGiveBackIsRefused) {
    expectUnchanged(run({"set", "odd/zeta", "2"}), moved("1", "2"));
    EXPECT_TRUE(std::filesystem::is_empty(path("settings")));
}

// The setting itself comes back from the defaults, as it came before.
TEST_F(T8settingsSetOdd, SettingThatASaveOnlyAddsIsAWarning) {
    const ToolRun set = run({"set", "odd/sound/bass", "2"});
    EXPECT_EQ("odd/sound/bass\tint\t2\n", set.out);
    EXPECT_EQ(std::string("t8settings: warning: a save adds odd/sound/zeta: odd/zeta") + kWhy +
                  kInDefaultsToo + "\n",
              set.err);
    EXPECT_EQ(0, set.exitCode);
    EXPECT_EQ("odd/sound/bass\tint\t2\nodd/sound/zeta\tint\t1\nodd/zeta\tint\t1\n",
              run({"list", "odd/"}).out);
}

TEST_F(T8settingsSetOdd, SettingThatTheSaveWouldCostItsValueIsNamed) {
    putFile("zeta = int,5\n[sound]\nbass = int,1\n");
    const std::string before = bytesOf("settings/odd.ini");
    expectUnchanged(run({"set", "odd/sound/bass", "3"}), moved("1", "5"));
    std::filesystem::remove(path("qel-default-settings/odd.ini"));
    expectUnchanged(run({"set", "odd/sound/bass", "3"}),
                    std::string("odd/zeta comes back as nothing in place of \"int,5\": it") + kWhy);
    EXPECT_EQ(before, bytesOf("settings/odd.ini"));
    EXPECT_EQ("5\n", run({"get", "odd/zeta"}).out);
}

TEST_F(T8settingsSetOdd, StoreThatGivesItBackSoAlreadyCanBeChanged) {
    putFile("[sound]\nbass = int,1\nzeta = int,1\n");
    const ToolRun set = run({"set", "odd/sound/bass", "3"});
    EXPECT_EQ("odd/sound/bass\tint\t3\n", set.out);
    EXPECT_EQ("", set.err);
    EXPECT_EQ("odd/sound/bass\tint\t3\nodd/sound/zeta\tint\t1\nodd/zeta\tint\t1\n",
              run({"list", "odd/"}).out);
    // Both have one line to come back from.
    expectUnchanged(run({"set", "odd/sound/zeta", "4"}),
                    std::string("odd/sound/zeta comes back as \"int,1\" in place of \"int,4\": "
                                "odd/zeta") +
                        kWhy + kInDefaultsToo);
}

TEST_F(T8settingsSetOdd, SettingsThatKeepTheStoragesOldNameAreNamed) {
    put("settings/odd.ini", "#name = even\n[sound]\nbass = int,1\n#crc32 = false\n");
    const std::string why = ", as its files give the storage two names; give both the same #name\n";
    expectUnchanged(
        run({"set", "odd/zeta", "4"}),
        "odd/zeta comes back as \"int,1\" in place of \"int,4\": it is read as even/odd/zeta" +
            why.substr(0, why.size() - 1),
        "even");
    const ToolRun set = run({"set", "even/sound/bass", "3"});
    EXPECT_EQ("even/sound/bass\tint\t3\n", set.out);
    EXPECT_THAT(
        set.err,
        testing::EndsWith(
            "t8settings: warning: a save adds even/odd/sound/bass: odd/sound/bass is read as "
            "even/odd/sound/bass" +
            why +
            "t8settings: warning: a save adds even/odd/zeta: odd/zeta is read as even/odd/zeta" +
            why));
}

TEST_F(T8settingsSetOdd, SettingThatASaveLeavesOutOrCallsOtherwiseIsNamed) {
    putFile("[sound]\nloud/#k = int,1\nloud/ k = int,2\n[sound/loud]\nbass = int,1\n");
    const ToolRun set = run({"set", "odd/sound/loud/bass", "3"});
    EXPECT_EQ(
        "t8settings: odd cannot be saved as it is meant:\n"
        "t8settings: odd/sound/loud/ k comes back as nothing in place of \"int,2\": it is read as "
        "odd/sound/loud/k, as white space at the ends of a key is cut off; take it out of the "
        "name\n"
        "t8settings: odd/sound/loud/#k comes back as nothing in place of \"int,1\": it is left "
        "out, "
        "as its key would read as a header or section; begin the key with another character\n"
        "t8settings: nothing was changed\n",
        set.err);
    EXPECT_EQ(1, set.exitCode);
}

TEST_F(T8settingsSetOdd, SettingOfALongerStorageNameKeepsItsOwn) {
    put("qel-default-settings/odd.ini", "#name = a\nk = int,1\n");
    put("settings/odd.ini", "#name = a/b\nk = int,1\n#crc32 = false\n");
    const ToolRun set = run({"set", "a/b/k", "3"});
    EXPECT_EQ("a/b/k\tint\t3\n", set.out);
    EXPECT_THAT(set.err, testing::EndsWith("t8settings: warning: a save adds a/b/a/k: a/k is read "
                                           "as a/b/a/k, as its files give the "
                                           "storage two names; give both the same #name\n"));
    EXPECT_EQ("a/b/a/k\tint\t1\na/b/k\tint\t3\na/k\tint\t1\n", run({"list", "a/"}).out);
}

TEST_F(T8settingsSetOdd, OldNameThatBeginsTheNewOneIsNoSectionOfIt) {
    put("qel-default-settings/odd.ini", "#name = a\nk = int,1\n");
    put("settings/odd.ini", "#name = a/b\nz = int,5\n[s]\nq = int,1\n#crc32 = false\n");
    expectUnchanged(
        run({"set", "a/b/s/q", "3"}),
        "a/b/z comes back as nothing in place of \"int,5\": it is read as a/b/s/z, as it "
        "has no section and sorts after one that has; give it a section",
        "a/b");
}

TEST_F(T8settingsSet, DefaultsAreReadUnderTheNameOfTheirOwnFile) {
    put("qel-default-settings/sound.ini", "[a]\nb = int,1\nc = int,2\n");
    put("settings/sound.ini", "#name = tone\n[a]\nb = int,5\n#crc32 = false\n");
    const ToolRun none = run({"reset", "tone/a/b"});
    EXPECT_THAT(none.err, StartsWith("t8settings: tone/a/b has no default to go back to: "));
    EXPECT_EQ(4, none.exitCode);
    const ToolRun set = run({"set", "tone/a/b", "6"});
    EXPECT_EQ("tone/a/b\tint\t6\n", set.out);
    EXPECT_EQ(0, set.exitCode);
    EXPECT_EQ("sound/a/b\tint\t1\n", run({"reset", "sound/a/b"}).out);
}

// A value that a hand has written in quotes keeps its blank until the next save.
TEST_F(T8settingsSetOdd, ValueThatDoesNotLastIsToldAndCanBeReplaced) {
    put("qel-default-settings/odd.ini", "#name = odd\nbass = int,1\ntitle = string,\"Hello \"\n");
    expectUnchanged(
        run({"set", "odd/bass", "2"}),
        "odd/title comes back as \"string,Hello\" in place of \"string,Hello \": set it "
        "to a text that lasts; load does so with several at once");
    EXPECT_EQ(0, run({"set", "odd/title", "Hello"}).exitCode);
    EXPECT_EQ(0, run({"set", "odd/bass", "2"}).exitCode);
    EXPECT_EQ("2\n", run({"get", "odd/bass"}).out);
}

TEST_F(T8settingsSet, ValueThatTheFileDoesNotGiveBackIsNotSaved) {
    const ToolRun set = run({"set", kBass, "5"}, {}, [] {
        umask(0777);
        ordinaryUser();
    });
    EXPECT_EQ("t8settings: settings/sound/bass could not be saved:\nt8settings: " +
                  path("settings/settings.ini") + " does not give it back\n",
              set.err);
    EXPECT_EQ(1, set.exitCode);
}

TEST_F(T8settingsSet, NoFileGetsTheNumberOfAClosedDescriptor) {
    const auto closeAll = [] {
        for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) close(descriptor);
    };
    EXPECT_EQ(1, run({"set", kBass, "5"}, {}, closeAll).exitCode);
    EXPECT_EQ("5\n", run({"get", kBass}).out);
    for (const char* const command : {"list", "set"}) {
        const auto words = *command == 'l' ? std::vector<std::string>{"list"}
                                           : std::vector<std::string>{"set", kBass, "6"};
        const ToolRun closed = run(words, {}, [] { close(STDOUT_FILENO); });
        EXPECT_THAT(closed.err, StartsWith("t8settings: cannot write to standard output: Bad file "
                                           "descriptor\n"));
        EXPECT_EQ(1, closed.exitCode);
    }
    const ToolRun load = run({"load", "-"}, {}, [] { close(STDIN_FILENO); });
    EXPECT_EQ("t8settings: standard input cannot be read: Bad file descriptor\n", load.err);
    EXPECT_EQ(1, load.exitCode);
}

TEST_F(T8settingsSet, UnwritableOutputIsAFailureThatTellsWhatIsDoneAllTheSame) {
    ASSERT_NO_FATAL_FAILURE(demandOwnMarker());
    const std::string file = path("settings/settings.ini");
    put("dump", "settings/sound/bass = int8,6\n");
    const auto expectTold = [this](const std::vector<std::string>& words, const std::string& done) {
        const ToolRun told = run(words, {}, [] { redirect("/dev/full", O_WRONLY, STDOUT_FILENO); });
        EXPECT_EQ("t8settings: cannot write to standard output: No space left on device\n" +
                      (done.empty() ? "" : "t8settings: " + done + " all the same\n"),
                  told.err);
        EXPECT_EQ(1, told.exitCode);
    };
    expectTold({"set", kBass, "5"}, "settings/sound/bass is saved");
    EXPECT_EQ("5\n", run({"get", kBass}).out);
    expectTold({"load", path("dump")}, "what the dump changes is saved");
    EXPECT_EQ("6\n", run({"get", kBass}).out);
    expectTold({"load", path("dump")}, "");
    testsupport::writeFile(file + ".bad", testsupport::readFile(file));
    expectTold({"reset", kBass}, "what differed from its default is saved");
    EXPECT_EQ("-2\n", run({"get", kBass}).out);
    expectTold({"reset", kBass}, "");
    expectTold({"recover", file}, "");
    expectTold({"recover", file, "--from", "bad", "--yes"},
               file + " has what was in " + file + ".bad");
    EXPECT_EQ("6\n", run({"get", kBass}).out);
    expectTold({"seal", file}, "");
    testsupport::writeFile(file, "#name = settings\n[sound]\nbass = int8,7\n");
    expectTold({"seal", file}, file + " is sealed");
    EXPECT_EQ("7\n", run({"get", kBass}).out);
    expectTold({"reset", "--all", "--yes"}, "the store is reset and " + marker_ + " is there");
    EXPECT_EQ("-2\n", run({"get", kBass}).out);
}

// The caches are flushed at the end of a process that has changed something.
TEST_F(T8settingsSet, ChangeIsFlushedAlsoWhenNobodyReadsOrItIsTakenBack) {
    put("settings/p.ini", "#name = p\n#savepolicy = async\nv = int,1\n#crc32 = false\n");
    put("settings/q.ini", "#name = q\nv = int,1\n#crc32 = false\n");
    put("dump", "p/v = int,7\nq/v = int,7\n");
    const std::string flushed = dir_.file("flushed");
    testsupport::writeFile(dir_.file("flash"), "#!/bin/sh\necho \"$@\" >>'" + flushed + "'\n");
    std::filesystem::permissions(dir_.file("flash"), std::filesystem::perms::owner_all);
    const std::map<std::string, std::string> environment = {
        {"PATH", dir_.path() + ":/usr/bin:/bin"}};

    EXPECT_EQ(0, run({"get", "p/v"}, environment).exitCode);
    EXPECT_FALSE(testsupport::exists(flushed));

    const ToolRun unread = run({"set", "p/v", "2"}, environment, [] {
        int ends[2];
        if (pipe(ends) != 0 || dup2(ends[1], STDOUT_FILENO) < 0) _exit(126);
        close(ends[0]);
        close(ends[1]);
    });
    EXPECT_EQ(
        "t8settings: cannot write to standard output: Broken pipe\n"
        "t8settings: p/v is saved all the same\n",
        unread.err);
    EXPECT_EQ(1, unread.exitCode);
    EXPECT_EQ("flushcache\n", testsupport::readFile(flushed));

    std::filesystem::create_directory(path("settings/q.ini.tmp"));
    const ToolRun failed = run({"load", path("dump")}, environment);
    EXPECT_THAT(failed.err, testing::EndsWith("\nt8settings: p is as it was\n"));
    EXPECT_EQ(1, failed.exitCode);
    EXPECT_EQ("flushcache\nflushcache\n", testsupport::readFile(flushed));
}

TEST_F(T8settingsSet, CopyThatAFailedSaveLeavesIsTold) {
    put("settings/p.ini", "#name = p\nv = int,1\n#crc32 = false\n");
    const std::string file = path("settings/p.ini");
    ASSERT_EQ(0, chmod(file.c_str(), 0444));
    const ToolRun failed = run({"set", "p/v", "2"}, {}, ordinaryUser);
    EXPECT_THAT(failed.err, testing::EndsWith("\nt8settings: p has its old values again, in " +
                                              file + ".tmp, which is read in place of " + file +
                                              " until a save can write that\n"));
    EXPECT_EQ(1, failed.exitCode);
    EXPECT_TRUE(testsupport::exists(file + ".tmp"));
    EXPECT_EQ("1\n", run({"get", "p/v"}).out);
}

TEST_F(T8settingsSet, NamesOfAnyBytesCanBeSet) {
    put("qel-default-settings/odd.ini", "#name = odd\nt\xC3\xBCr \xFF = string,x\n");
    EXPECT_EQ("odd/t\xC3\xBCr \xFF\tstring\t\xFE\n",
              run({"set", "odd/t\xC3\xBCr \xFF", "\xFE"}).out);
    EXPECT_EQ("\xFE\n", run({"get", "odd/t\xC3\xBCr \xFF"}).out);
}

// Time that is square in the name's length would be minutes.
TEST_F(T8settingsSet, NameOfVeryManySlashesTakesNoTime) {
    std::string name;
    for (std::size_t i = 0; i < (1 << 20) / testsupport::kTimesLess; ++i) name += "a/";
    put("qel-default-settings/long.ini", "#name = long\n[b]\nb = int,1\n" + name + "k = int,1\n");
    const auto fewSeconds = [] {
        const rlimit seconds = {20, 20};
        setrlimit(RLIMIT_CPU, &seconds);
    };
    EXPECT_EQ(0, run({"verify"}, {}, fewSeconds).exitCode);
    EXPECT_EQ(0, run({"set", "long/b/b", "2"}, {}, fewSeconds).exitCode);
}

}  // namespace
