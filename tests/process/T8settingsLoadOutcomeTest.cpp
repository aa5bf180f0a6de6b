// What the commands say that a load does, and what it does, where a file cannot be taken or read.

#include <chrono>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "ToolRun.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;
using testsupport::ToolRun;

class T8settingsLoadOutcome : public testsupport::ToolTest {
protected:
    T8settingsLoadOutcome() {
        put("qel-default-settings/s.ini", "#name = s\n[a]\nfresh = int,1\nmoved = int64,2\n");
        put("settings/s.ini", kMoved);
    }

    const std::string kMoved = "#name = s\n[a]\nmoved = int64,20\n#crc32 = false\n";
    const std::string file_ = path("settings/s.ini");
};

TEST_F(T8settingsLoadOutcome, FileThatWasSetAsideBeforeComesFirst) {
    put("settings/s.ini.bad", kMoved);
    put("settings/s.ini", "#name = s\n#crc32 = 1\n");
    const std::string recover = "t8settings recover " + file_;
    EXPECT_EQ(file_ +
                  ":2: wrong CRC: the text has 2154063472, its CRC line says 1; the next program "
                  "to load it sets it aside as " +
                  file_ + ".bad, in place of the one that is there; first of all: " + recover +
                  "; after a hand edit: t8settings seal " + file_ + "\n" + file_ +
                  ".bad: set aside by a load, or kept by a save, that could not use it, and never "
                  "read; " +
                  recover + " shows what it holds; or delete it\n2 files, 2 findings\n",
              run({"verify", file_}).out);
}

TEST_F(T8settingsLoadOutcome, CopyThatCannotBeReadKeepsADamagedFileInItsPlace) {
    put("settings/s.ini", "damaged");
    put("settings/s.ini.tmp", kMoved);
    std::filesystem::permissions(file_ + ".tmp", std::filesystem::perms::none);
    const std::string stays =
        "; the next program to load it leaves it there and goes by the defaults";
    EXPECT_THAT(run({"verify", file_}, {}, ordinaryUser).out,
                StartsWith(file_ + ": no CRC line" + stays + "; "));
    EXPECT_THAT(run({"recover", file_}, {}, ordinaryUser).out,
                HasSubstr("\nA load takes none of them, and leaves them where they are.\n"));
    const ToolRun origin = run({"list", "--origin"}, {}, ordinaryUser);
    EXPECT_EQ("t8settings: warning: " + file_ + ": it has no CRC line" + stays + "\n", origin.err);
    EXPECT_EQ(5, origin.exitCode);
    run({"list"}, {}, ordinaryUser);
    EXPECT_EQ("damaged", bytesOf("settings/s.ini"));
}

TEST_F(T8settingsLoadOutcome, CopyThatFailsTheLoadIsNotTakenForGood) {
    put("settings/s.ini.tmp", "a = int,1\n#name = s\n#crc32 = false\n");
    EXPECT_THAT(run({"verify", file_}).out,
                HasSubstr(file_ + ".tmp: read in place of " + file_ +
                          ", and no program can load it; t8settings recover " + file_ + "\n"));
    EXPECT_THAT(run({"recover", file_}).out, HasSubstr("\nA load takes none of them, and sets " +
                                                       file_ + " aside as " + file_ + ".bad.\n"));
    run({"list"});
    EXPECT_TRUE(testsupport::exists(file_ + ".bad"));
}

TEST_F(T8settingsLoadOutcome, CopyThatCannotBeTakenIsNotTakenForTheFile) {
    const std::string read = "; '" + file_ + "' is read in its place\n";
    put("settings/s.ini.tmp", "#name = s\n#crc32 = 1\n");
    const ToolRun wrong = run({"get", "s/a/moved"});
    EXPECT_EQ("t8settings: error: '" + file_ +
                  ".tmp': wrong CRC: the text has 2154063472, its CRC line says 1" + read,
              wrong.err);
    EXPECT_EQ("20\n", wrong.out);
    put("settings/s.ini.tmp", "#name = s\n");
    EXPECT_EQ("t8settings: error: '" + file_ + ".tmp': no CRC line" + read,
              run({"get", "s/a/moved"}).err);
}

TEST_F(T8settingsLoadOutcome, WhatMayNotBeLookedAtIsNotTakenForMissing) {
    using std::filesystem::perms;
    const std::string directory = path("settings");
    // Of what may not be there at all nothing more is said.
    const std::string unread = "t8settings: warning: " + directory +
                               ": the directory cannot be read: Permission denied; what lies in it "
                               "may be left out here\n";
    for (const perms allowed : {perms::none, perms::owner_read}) {
        std::filesystem::permissions(directory, allowed);
        for (const auto& words : {std::vector<std::string>{"get", "s/a/moved", "--origin"},
                                  {"list", "--origin"},
                                  {"list", "--changed"},
                                  {"describe", "s/a/moved"},
                                  {"diff"},
                                  {"dump"},
                                  {"get", "s/a/moved"},
                                  {"list"},
                                  {"info"}}) {
            const ToolRun shown = run(words, {}, ordinaryUser);
            EXPECT_EQ(unread, shown.err) << words.front();
            EXPECT_EQ(5, shown.exitCode) << words.front();
        }
        std::filesystem::permissions(directory, perms::owner_all);
    }
    EXPECT_EQ(0, run({"list"}, {}, ordinaryUser).exitCode);
    // What may be read is, and told of as ever.
    put("settings/s.ini", "#name = s\n#crc32 = 1\n");
    std::filesystem::permissions(directory, perms::owner_write | perms::owner_exec);
    const ToolRun listed = run({"list"}, {}, ordinaryUser);
    std::filesystem::permissions(directory, perms::owner_all);
    EXPECT_THAT(listed.err, StartsWith(unread + "t8settings: error: '" + file_ + "': wrong CRC: "));
}

TEST_F(T8settingsLoadOutcome, DirectoryOfDefaultsThatMayNotBeLookedIntoIsToldOnce) {
    using std::filesystem::perms;
    const std::string directory = path("qel-default-settings");
    const std::string told = directory + ": the directory cannot be read: Permission denied";
    put("qel-default-settings/s.ini", "#name = s\n[a]\nv = int,1\n");
    put("qel-default-settings/t.ini", "#name = t\n[a]\nv = int,1\n");
    put("qel-default-settings/u.xml", "<u><v value=\"1\"/></u>");
    for (const perms allowed : {perms::none, perms::owner_read}) {
        std::filesystem::permissions(directory, allowed);
        for (const char* const command : {"list", "info", "diff", "dump"}) {
            EXPECT_EQ("t8settings: warning: " + told + "; what lies in it may be left out here\n",
                      run({command}, {}, ordinaryUser).err)
                << command;
        }
        const ToolRun verify = run({"verify"}, {}, ordinaryUser);
        EXPECT_EQ("", verify.err);
        EXPECT_THAT(verify.out, HasSubstr(told + "\n"));
        std::filesystem::permissions(directory, perms::owner_all);
    }
}

TEST_F(T8settingsLoadOutcome, DirectoryThatCannotBeReadIsOneFindingOfVerify) {
    const std::string directory = path("settings");
    std::filesystem::permissions(directory, std::filesystem::perms::none);
    const ToolRun verify = run({"verify"}, {}, ordinaryUser);
    const ToolRun one = run({"verify", file_}, {}, ordinaryUser);
    std::filesystem::permissions(directory, std::filesystem::perms::owner_all);
    const std::string finding = directory + ": the directory cannot be read: Permission denied\n";
    EXPECT_THAT(verify.out, testing::AllOf(HasSubstr(finding), HasSubstr(", 1 finding\n")));
    EXPECT_EQ(1, verify.exitCode);
    EXPECT_EQ(finding + "0 files, 1 finding\n", one.out);
}

TEST_F(T8settingsLoadOutcome, FileThatWatchMayNotLookAtAnyMoreHasNotGone) {
    const std::string out = dir_.file("watched");
    const std::string err = dir_.file("said");
    const pid_t watch = fork();
    if (watch == 0) {
        redirect(out, O_WRONLY | O_CREAT, STDOUT_FILENO);
        redirect(err, O_WRONLY | O_CREAT, STDERR_FILENO);
        ordinaryUser();
        testsupport::becomeTool({"--base", base_, "--marker", marker_, "watch"}, {});
    }
    const auto waitFor = [&](const std::string& words) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (std::chrono::steady_clock::now() < end &&
               !(testsupport::exists(err) && testsupport::exists(out) &&
                 (testsupport::readFile(err).find(words) != std::string::npos ||
                  !testsupport::readFile(out).empty()))) {
            std::this_thread::yield();
        }
    };
    waitFor("watching");
    std::filesystem::permissions(path("settings"), std::filesystem::perms::none);
    put("qel-default-settings/s.ini", bytesOf("qel-default-settings/s.ini"));
    waitFor("what was known of it stands until it changes");
    kill(watch, SIGTERM);
    EXPECT_EQ(0, testsupport::exitCodeOf(watch));
    std::filesystem::permissions(path("settings"), std::filesystem::perms::owner_all);
    EXPECT_EQ("", testsupport::readFile(out));
    EXPECT_THAT(testsupport::readFile(err),
                HasSubstr("t8settings: warning: " + file_ +
                          ": it cannot be read: Permission denied; what was known of it stands "
                          "until it changes\n"));
}

TEST_F(T8settingsLoadOutcome, FileOfAnotherUserIsNotToldToBeDamaged) {
    put("settings/x.xml", "<x><a>1</a></x>");
    for (const std::string name : {"settings/s.ini", "settings/x.xml"}) {
        std::filesystem::permissions(path(name), std::filesystem::perms::none);
        const ToolRun verify = run({"verify", path(name)}, {}, ordinaryUser);
        EXPECT_THAT(verify.out, HasSubstr("; a program that may not read it either sets it aside "
                                          "as " +
                                          path(name) + ".bad\n"));
        EXPECT_EQ(1, verify.exitCode);
    }
}

TEST_F(T8settingsLoadOutcome, FileOfAnotherUserIsNotSetAside) {
    const std::string before = bytesOf("settings/s.ini");
    put("settings/x.xml", "<x><a>1</a></x>");
    for (const std::string name : {"settings/s.ini", "settings/x.xml"}) {
        std::filesystem::permissions(path(name), std::filesystem::perms::none);
        for (const auto& words : {std::vector<std::string>{"get", "s/a/moved"},
                                  {"list"},
                                  {"info"},
                                  {"set", "s/a/moved", "3"},
                                  {"reset", "s/a/moved"}}) {
            const ToolRun refused = run(words, {}, ordinaryUser);
            EXPECT_EQ("", refused.out);
            EXPECT_EQ("t8settings: " + path(name) +
                          " cannot be read: Permission denied\nt8settings: nothing was loaded, as "
                          "that would set it aside as damaged; be a user who may read it, or see "
                          "what else is there: t8settings list --origin\n",
                      refused.err);
            EXPECT_EQ(1, refused.exitCode) << words.front();
            EXPECT_FALSE(testsupport::exists(path(name + ".bad"))) << words.front();
        }
        EXPECT_EQ(5, run({"list", "--origin"}, {}, ordinaryUser).exitCode);
        std::filesystem::permissions(path(name), std::filesystem::perms::owner_all);
    }
    EXPECT_EQ(before, bytesOf("settings/s.ini"));
    // A good copy is read in its place, and it stays.
    std::filesystem::permissions(path("settings/s.ini"), std::filesystem::perms::none);
    put("settings/s.ini.tmp", before);
    EXPECT_EQ("20\n", run({"get", "s/a/moved"}, {}, ordinaryUser).out);
}

TEST_F(T8settingsLoadOutcome, DirectoryThatMayNotBeLookedIntoShowsInTheExitCode) {
    for (const std::vector<std::string>& words : {std::vector<std::string>{"list"}, {"info"}}) {
        std::filesystem::permissions(path("calibration_data"), std::filesystem::perms::none);
        const ToolRun shown = run(words, {}, ordinaryUser);
        std::filesystem::permissions(path("calibration_data"), std::filesystem::perms::owner_all);
        EXPECT_EQ(5, shown.exitCode) << words.front();
        EXPECT_EQ(0, run(words).exitCode) << words.front();
    }
}

TEST_F(T8settingsLoadOutcome, WhatMayNotBeReadIsNotSaidToHaveItsDefaultAlready) {
    using std::filesystem::perms;
    const std::string before = bytesOf("settings/s.ini");
    put("dump", "s/a/moved = int64,2\n");
    const auto expectRefused = [this] {
        for (const auto& words : {std::vector<std::string>{"set", "s/a/moved", "2"},
                                  {"reset", "s/a/moved"},
                                  {"load", path("dump")}}) {
            const ToolRun refused = run(words, {}, ordinaryUser);
            EXPECT_EQ("", refused.out);
            EXPECT_THAT(refused.err,
                        testing::EndsWith("t8settings: " + file_ +
                                          " cannot be read: Permission denied\n"
                                          "t8settings: nothing was changed, as nobody knows what "
                                          "s/a/moved is there; be a user who may read it\n"));
            EXPECT_EQ(1, refused.exitCode) << words.front();
        }
    };
    std::filesystem::permissions(path("settings"), perms::none);
    expectRefused();
    std::filesystem::permissions(path("settings"), perms::owner_read | perms::owner_exec);
    std::filesystem::permissions(file_, perms::none);
    expectRefused();
    std::filesystem::permissions(path("settings"), perms::owner_all);
    std::filesystem::permissions(file_, perms::owner_all);
    EXPECT_EQ(before, bytesOf("settings/s.ini"));
    EXPECT_EQ("s/a/moved\tlong long\t2\n", run({"reset", "s/a/moved"}, {}, ordinaryUser).out);
}

TEST_F(T8settingsLoadOutcome, WhatElseIsThereIsShownByWhatIsAdvised) {
    put("settings/other.ini", "b = int,3\n#crc32 = false\n");
    const std::string base = dir_.file("it's \"tv\"");
    std::filesystem::create_directory_symlink(base_, base);
    std::filesystem::permissions(path("settings/s.ini"), std::filesystem::perms::none);
    const ToolRun refused =
        runBare({"info", "--marker", marker_, "--base", base}, {}, ordinaryUser);
    const std::string before = "what else is there: t8settings ";
    const std::size_t advised = refused.err.find(before);
    ASSERT_NE(std::string::npos, advised) << refused.err;
    const std::string words = refused.err.substr(advised + before.size());
    const ToolRun listed = runBare({}, {}, [&] {
        ordinaryUser();
        execl("/bin/sh", "sh", "-c", ("'" T8_TOOL "' " + words).c_str(), nullptr);
    });
    EXPECT_THAT(listed.out, HasSubstr("other/b\tint\t3\treadWriteFile\n"));
    EXPECT_EQ(5, listed.exitCode);
}

TEST_F(T8settingsLoadOutcome, FileOfAnotherUserThatCannotBeSetAsideHindersNoLoad) {
    using std::filesystem::perms;
    for (const std::string name : {"settings/s.ini", "settings/x.xml"}) {
        put(name, name == "settings/x.xml" ? "<x><a>1</a></x>" : bytesOf(name));
        std::filesystem::permissions(path(name), perms::none);
        std::filesystem::permissions(path("settings"), perms::owner_read | perms::owner_exec);
        const ToolRun get = run({"get", "s/a/moved"}, {}, ordinaryUser);
        const ToolRun list = run({"list"}, {}, ordinaryUser);
        const ToolRun info = run({"info"}, {}, ordinaryUser);
        const ToolRun origin = run({"list", "--origin"}, {}, ordinaryUser);
        std::filesystem::permissions(path("settings"), perms::owner_all);
        std::filesystem::permissions(path(name), perms::owner_all);
        EXPECT_EQ(name == "settings/x.xml" ? "20\n" : "2\n", get.out) << get.err;
        EXPECT_EQ(5, get.exitCode);
        EXPECT_EQ(5, list.exitCode);
        EXPECT_EQ(5, info.exitCode);
        EXPECT_THAT(list.err, HasSubstr("' cannot be used and is to become '" + path(name) +
                                        ".bad'\nt8settings: error: it cannot become '" +
                                        path(name) + ".bad': Permission denied\n"));
        EXPECT_THAT(origin.err, HasSubstr("; a program that may not read it either leaves it there "
                                          "and goes by the defaults\n"));
        EXPECT_TRUE(testsupport::exists(path(name)));
    }
}

}  // namespace
