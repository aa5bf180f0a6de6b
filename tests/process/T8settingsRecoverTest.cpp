#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>

#include "RecoverFixture.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;
using testsupport::kNew;
using testsupport::kOld;
using testsupport::ToolRun;
using Json = nlohmann::json;

class T8settingsRecover : public testsupport::RecoverTest {};

TEST_F(T8settingsRecover, StatesAndDifferencesAreShown) {
    putFile(kOld);
    putTmp(kNew);
    putBad("#name = settings\n[sound]\nbass = int8,300\n");
    const ToolRun shown = recover();
    EXPECT_EQ(
        file_ + ": CRC right, 2 settings\n" + file_ + ".tmp: CRC right, 3 settings\n" + file_ +
            ".bad: no CRC line, 1 setting\n" + file_ +
            ".bad:3: settings/sound/bass: int8 would not keep \"300\", it would make \"44\" of "
            "it; int8 takes whole numbers from -128 to 127\nA load takes " +
            file_ +
            ".tmp.\nsetting\tfile\ttmp\tbad\n"
            "settings/sound/bass\tint8,1\tint8,5\tint8,300 (stays behind)\n"
            "settings/sound/name\t-\tstring,x\t-\n"
            "settings/sound/treble\tint8,2\tint8,2\t-\nTo go on with " +
            file_ + ".tmp: t8settings recover " + file_ + " --from tmp\nTo keep " + file_ +
            " instead, when its lines are as they should be: mv " + file_ + ".tmp " + file_ +
            ".tmp.before-recover && t8settings seal " + file_ + "\nNothing of " + file_ +
            ".bad can be put back; when nobody needs it, delete it.\n",
        shown.out);
    EXPECT_EQ("", shown.err);
    EXPECT_EQ(5, shown.exitCode);
}

// After most loads that have set a file aside there is none.
TEST_F(T8settingsRecover, CommandForEachFileThatLiesBesideIsShown) {
    const auto command = [this](const std::string& word) {
        return ": t8settings recover " + file_ + " --from " + word +
               "; when nobody needs it, delete it.\n";
    };
    putBad("#name = settings\n[sound]\nbass = int8,3\n");
    EXPECT_THAT(recover().out, testing::EndsWith("\nTo put back what can be read of " + file_ +
                                                 ".bad" + command("bad")));
    putTmp(kOld);
    EXPECT_THAT(
        recover().out,
        testing::EndsWith("\nTo put back " + file_ + ".tmp" + command("tmp") +
                          "To put back what can be read of " + file_ + ".bad" + command("bad")));
    EXPECT_EQ(5, recover({"--from", "bad", "--yes"}).exitCode);
    EXPECT_THAT(bytes(), testing::HasSubstr("\nbass = int8,3\n"));
    // Nothing of a blank file is to be kept.
    std::filesystem::remove(file_ + ".bad");
    putFile("");
    putTmp(kOld);
    EXPECT_THAT(recover().out,
                testing::EndsWith("\nTo go on with " + file_ + ".tmp: t8settings recover " + file_ +
                                  " --from tmp\n"));
    // A copy that no program can load is read in place of the file all the same.
    putFile("#name = settings\n[sound]\nbass = int8,5\n");
    putTmp("[sound]\nbass = int8,7\n#name = settings\n#crc32 = false\n");
    EXPECT_THAT(recover().out,
                testing::HasSubstr("\nWhen its lines are as they should be: mv " + file_ + ".tmp " +
                                   file_ + ".tmp.before-recover.2 && t8settings seal " + file_ +
                                   "\nTo go by the defaults: mv " + file_ + " " + file_ +
                                   ".before-recover && mv " + file_ + ".tmp " + file_ +
                                   ".tmp.before-recover.2\n"));
    putFile("");
    putBad("");
    std::filesystem::remove(file_ + ".tmp");
    EXPECT_THAT(recover().out,
                testing::EndsWith("\nTo go by the defaults: mv " + file_ + " " + file_ +
                                  ".before-recover\nNothing of " + file_ +
                                  ".bad can be put back; when nobody needs it, delete it.\n"));
}

TEST_F(T8settingsRecover, CopyThatIsTheSameCanBePutInThePlaceOfTheFile) {
    putFile(kOld);
    putTmp(kOld);
    EXPECT_THAT(recover().out,
                testing::EndsWith(".tmp.\nNo setting differs.\nTo go on with " + file_ +
                                  ".tmp: t8settings recover " + file_ + " --from tmp\n"));
    EXPECT_EQ(0, recover({"--from", "tmp", "--yes"}).exitCode);
    EXPECT_EQ(0, recover().exitCode);
}

TEST_F(T8settingsRecover, WhatLiesBesideADefaultsFileIsPutBackByHandAndReplacesNothing) {
    const std::string file = path("qel-default-settings/settings.ini");
    const std::string copy = file + ".tmp";
    const auto byHand = [](const std::string& of) {
        return "What is needed of " + of +
               " has to be copied by hand; when nobody needs it, delete it.\n";
    };
    const std::string badByHand = byHand(file + ".bad");
    put("qel-default-settings/settings.ini", "[sound]\nbass = int8,1\n#name = settings\n");
    put("qel-default-settings/settings.ini.bad", kOld);
    EXPECT_THAT(run({"recover", file}).out,
                testing::EndsWith("settings/sound/treble\t-\tint8,2\n" + badByHand));
    put("qel-default-settings/settings.ini.tmp", "#name = settings\n[sound]\nbass = int8,9\nto");
    EXPECT_THAT(run({"recover", file}).out, testing::EndsWith("\n" + byHand(copy) + badByHand));
    put("qel-default-settings/settings.ini.tmp", kOld);
    const std::string goOn =
        "mv " + file + " " + file + ".before-recover && mv " + copy + " " + file;
    EXPECT_THAT(run({"recover", file}).out,
                testing::EndsWith("\nTo go on with " + copy + ": " + goOn + "\nTo keep " + file +
                                  " instead, when its lines are as they should be: mv " + copy +
                                  " " + copy + ".before-recover\n" + badByHand));
    EXPECT_EQ(0, std::system(goOn.c_str()));
    EXPECT_EQ(kOld, testsupport::readFile(file));
    // A copy that no program can load is read in place of the file all the same.
    put("qel-default-settings/settings.ini.tmp",
        "[sound]\nbass = int8,7\n#name = settings\n#crc32 = false\n");
    EXPECT_THAT(run({"recover", file}).out,
                testing::HasSubstr("\nWhen its lines are as they should be: mv " + copy + " " +
                                   copy + ".before-recover\n"));
    std::filesystem::remove(copy);
    std::filesystem::remove(file);
    std::filesystem::create_directory(file);
    EXPECT_THAT(run({"recover", file}).out,
                testing::EndsWith("\n" + file + " is a directory: move it away.\n" + badByHand));
}

TEST_F(T8settingsRecover, DirectoryIsNotSetAsideInThePlaceOfAFile) {
    std::filesystem::create_directory(file_);
    EXPECT_THAT(run({"verify"}).out, testing::HasSubstr(" sets it aside as " + file_ + ".bad;"));
    putBad(kOld);
    EXPECT_THAT(recover().out,
                testing::HasSubstr("A load takes none of them, and leaves them where they are.\n"));
    EXPECT_THAT(run({"verify"}).out, testing::HasSubstr(" leaves it there and goes by the "));
    EXPECT_THAT(run({"list"}).err, testing::HasSubstr("' stays where it is; "));
    EXPECT_TRUE(std::filesystem::is_directory(file_));
    std::filesystem::remove(file_ + ".bad");
    EXPECT_THAT(run({"list"}).err, testing::HasSubstr("' cannot be used and is to become '"));
    EXPECT_TRUE(std::filesystem::is_directory(file_ + ".bad"));
}

TEST_F(T8settingsRecover, FileThatIsSoundAndAloneExitsWith0) {
    putFile(kOld);
    EXPECT_EQ(0, recover().exitCode);
    EXPECT_EQ(0, recover({"--json"}).exitCode);
    putBad(kOld);
    EXPECT_EQ(5, recover().exitCode);
    std::filesystem::remove(file_ + ".bad");
    putFile("#name = settings\n[sound]\nbass = int8,300\n#crc32 = 3982689638\n");
    EXPECT_EQ(5, recover({"--json"}).exitCode);
    putFile("torn");
    EXPECT_EQ(5, recover().exitCode);
}

TEST_F(T8settingsRecover, JsonHasTheSame) {
    putFile("torn");
    putBad(kOld);
    EXPECT_EQ(Json({{"file", file_},
                    {"taken", nullptr},
                    {"files",
                     {{{"kind", "file"},
                       {"file", file_},
                       {"state", "noCrc"},
                       {"settings", 0},
                       {"findings",
                        {{{"file", file_},
                          {"line", 1},
                          {"harm", "lost"},
                          {"reason", "no \"=\" after the key"},
                          {"remedy", "a setting is written KEY = TYPE,VALUE, a comment # TEXT"}},
                         {{"file", file_},
                          {"line", 1},
                          {"harm", "lost"},
                          {"reason", "the last line may be cut short, as no line feed ends it"},
                          {"remedy", "complete it, and end it with a line feed"}}}}},
                      {{"kind", "bad"},
                       {"file", file_ + ".bad"},
                       {"state", "sealed"},
                       {"settings", 2},
                       {"findings", Json::array()}}}},
                    {"differences",
                     {{{"name", "settings/sound/bass"},
                       {"texts", {{"file", nullptr}, {"bad", "int8,1"}}},
                       {"staysBehind", Json::array()}},
                      {{"name", "settings/sound/treble"},
                       {"texts", {{"file", nullptr}, {"bad", "int8,2"}}},
                       {"staysBehind", Json::array()}}}}}),
              Json::parse(recover({"--json"}).out));
    EXPECT_EQ("torn", bytes());
    EXPECT_EQ(kOld, bytes(".bad"));
}

TEST_F(T8settingsRecover, WhatALoadWouldDoIsSaid) {
    putFile(kOld);
    EXPECT_EQ(
        file_ + ": CRC right, 2 settings\nA load takes " + file_ + ".\nNothing lies beside it.\n",
        recover().out);
    putBad(kOld);
    EXPECT_THAT(recover().out, HasSubstr("\nNo setting differs.\n"));
    putFile("torn");
    EXPECT_THAT(recover().out,
                HasSubstr("\nA load takes none of them, and sets " + file_ + " aside as " + file_ +
                          ".bad, in place of the one that is there.\n"));
    std::filesystem::remove(file_ + ".bad");
    EXPECT_THAT(recover().out, HasSubstr(" aside as " + file_ + ".bad.\n"));
    putBad(kOld);
    putFile("bass = int8,1\n#name = settings\n#crc32 = false\n");
    EXPECT_THAT(recover().out, HasSubstr("\nA load takes none of them, and sets " + file_));
    EXPECT_EQ(nullptr, Json::parse(recover({"--json"}).out).at("taken"));
    put("qel-default-settings/settings.ini", "bass = int8,1\n#name = settings\n");
    EXPECT_THAT(run({"recover", path("qel-default-settings/settings.ini")}).out,
                HasSubstr("\nA load takes none of them.\n"));
    std::filesystem::remove(path("qel-default-settings/settings.ini"));
    std::filesystem::remove(file_);
    EXPECT_THAT(recover().out, AllOf(StartsWith(file_ + ": not there\n"),
                                     HasSubstr("\nA load takes none of them.\n")));
}

TEST_F(T8settingsRecover, FileThatIsDamagedAndAloneComesWithWhatToDo) {
    putFile("#name = settings\n[sound]\nbass = int8,1\n");
    EXPECT_THAT(recover().out,
                HasSubstr("\nNothing lies beside it.\nWhen its lines are as they should be: "
                          "t8settings seal " +
                          file_ + "\nOtherwise, to put back what can be read of it: mv " + file_ +
                          " " + file_ + ".bad; t8settings recover " + file_ + " --from bad\n"));
    std::filesystem::rename(file_, file_ + ".bad");
    EXPECT_EQ(file_ +
                  ".bad: its names cannot be checked, as there is no defaults file: storage "
                  "\"settings\"; see that they are right\n" +
                  file_ + ": 1 setting from " + file_ + ".bad, CRC 3059901785\n",
              recover({"--from", "bad", "--yes"}).out);
}

TEST_F(T8settingsRecover, WhatMayNotBeReadIsToldInOneLine) {
    using std::filesystem::perms;
    putFile(kOld);
    std::filesystem::permissions(file_, perms::none);
    const ToolRun unread = run({"recover", file_}, {}, ordinaryUser);
    EXPECT_EQ(file_ + ": cannot be read: Permission denied\nYou may not read " + file_ +
                  "; what a load by a user who may makes of it is not known.\n"
                  "Nothing lies beside it.\n",
              unread.out);
    EXPECT_EQ(5, unread.exitCode);
    for (const perms mode : {perms::none, perms::owner_read}) {
        std::filesystem::permissions(path("settings"), mode);
        const ToolRun hidden = run({"recover", file_}, {}, ordinaryUser);
        const ToolRun back = run({"recover", file_, "--from", "bad", "--yes"}, {}, ordinaryUser);
        std::filesystem::permissions(path("settings"), perms::owner_all);
        EXPECT_EQ("", hidden.out);
        EXPECT_EQ("t8settings: " + file_ + " cannot be looked at: Permission denied\n", hidden.err);
        EXPECT_EQ(1, hidden.exitCode);
        EXPECT_EQ(hidden.err, back.err);
    }
}

TEST_F(T8settingsRecover, SetAsideFileIsPutBackWholeWithItsPermissions) {
    putBad(kOld);
    ASSERT_EQ(0, chmod((file_ + ".bad").c_str(), 0660));
    const ToolRun recovered = recover({"--from", "bad", "--yes"});
    EXPECT_EQ(file_ + ": 2 settings from " + file_ + ".bad, CRC 1325194012\n", recovered.out);
    EXPECT_EQ("", recovered.err);
    EXPECT_EQ(0, recovered.exitCode);
    EXPECT_EQ(kOld, bytes());
    EXPECT_EQ(kOld, bytes(".bad"));
    EXPECT_FALSE(isThere(".tmp"));
    struct stat status;
    ASSERT_EQ(0, stat(file_.c_str(), &status));
    EXPECT_EQ(0660U, status.st_mode & 0777U);
}

TEST_F(T8settingsRecover, ReplacedFilesAreKeptUnderNamesThatAreTold) {
    putFile("torn");
    ASSERT_EQ(0, chmod(file_.c_str(), 0600));
    putTmp(kNew);
    putBad(kOld);
    put("settings/settings.ini.before-recover", "an earlier one");
    const ToolRun recovered = recover({"--from", "bad", "--yes"});
    EXPECT_EQ(file_ + ": 2 settings from " + file_ + ".bad, CRC 1325194012\n" + file_ +
                  ".before-recover.2: " + file_ + " as it was\n" + file_ +
                  ".tmp.before-recover: " + file_ + ".tmp as it was\n",
              recovered.out);
    EXPECT_EQ(0, recovered.exitCode);
    EXPECT_EQ(kOld, bytes());
    EXPECT_FALSE(isThere(".tmp"));
    EXPECT_FALSE(isThere(".tmp.new"));
    EXPECT_EQ("an earlier one", bytes(".before-recover"));
    EXPECT_EQ("torn", bytes(".before-recover.2"));
    EXPECT_EQ(kNew, bytes(".tmp.before-recover"));
    struct stat status;
    ASSERT_EQ(0, stat((file_ + ".before-recover.2").c_str(), &status));
    EXPECT_EQ(0600U, status.st_mode & 0777U);
    EXPECT_EQ("1\n", run({"get", "settings/sound/bass"}).out);
}

TEST_F(T8settingsRecover, CopyIsPutInPlaceOfTheFile) {
    putFile(kOld);
    putTmp(kNew);
    const ToolRun recovered = recover({"--from", "tmp", "--yes", "--json"});
    EXPECT_EQ(Json({{"file", file_},
                    {"from", file_ + ".tmp"},
                    {"settings", 3},
                    {"crc", 622713224U},
                    {"kept", {{{"file", file_}, {"as", file_ + ".before-recover"}}}},
                    {"leftOut", Json::array()}}),
              Json::parse(recovered.out));
    EXPECT_EQ(0, recovered.exitCode);
    EXPECT_EQ(kNew, bytes());
    EXPECT_FALSE(isThere(".tmp"));
    EXPECT_EQ(kOld, bytes(".before-recover"));
}

TEST_F(T8settingsRecover, CopyThatNoProgramLooksForComesToItsPlace) {
    putTmp(kNew);
    EXPECT_EQ(0, recover({"--from", "tmp", "--yes"}).exitCode);
    EXPECT_EQ(kNew, bytes());
    EXPECT_FALSE(isThere(".tmp"));
    EXPECT_FALSE(isThere(".tmp.before-recover"));
}

TEST_F(T8settingsRecover, OfAWholeFileValuesAreKeptAsTheyAre) {
    putBad("#name = settings\n[sound]\nbass = int8,300\nslip\n#crc32 = false\n");
    const ToolRun recovered = recover({"--from", "bad", "--yes", "--json"});
    EXPECT_EQ(1U, Json::parse(recovered.out).at("leftOut").size());
    EXPECT_EQ(5, recovered.exitCode);
    EXPECT_EQ(
        "t8settings: warning: " + file_ +
            ":3: settings/sound/bass: int8 would not keep \"300\", it would make \"44\" of it; "
            "int8 takes whole numbers from -128 to 127\n",
        recovered.err);
    EXPECT_THAT(bytes(), StartsWith("#name = settings\n[sound]\nbass = int8,300\n#crc32 = "));
}

TEST_F(T8settingsRecover, FileWithNothingToPutBackChangesNothing) {
    putFile(kOld);
    putBad("rubbish\n");
    const ToolRun refused = recover({"--from", "bad", "--yes"});
    EXPECT_EQ("", refused.out);
    EXPECT_THAT(refused.err, HasSubstr("\nt8settings: " + file_ +
                                       ".bad has no setting that could be put back\n"));
    EXPECT_EQ(1, refused.exitCode);
    EXPECT_EQ(kOld, bytes());
    EXPECT_FALSE(isThere(".before-recover"));
}

TEST_F(T8settingsRecover, PersonIsAskedAndMayRefuse) {
    putFile(kOld);
    putBad(kNew);
    const ToolRun refused = runOnTerminal({"recover", file_, "--from", "bad"}, "n\n");
    EXPECT_THAT(refused.out,
                AllOf(HasSubstr("Put 3 settings from " + file_ + ".bad in the place of " + file_ +
                                "? " + file_ + " is kept as " + file_ + ".before-recover. [y/N] "),
                      HasSubstr("t8settings: nothing was changed\r\n")));
    EXPECT_EQ(1, refused.exitCode);
    EXPECT_EQ(kOld, bytes());
    const ToolRun ended = runOnTerminal({"recover", file_, "--from", "bad"}, "\x03");
    EXPECT_THAT(ended.out, HasSubstr("\r\nt8settings: nothing was changed\r\n"));
    EXPECT_EQ(-SIGINT, ended.exitCode);
    EXPECT_EQ(kOld, bytes());
    EXPECT_EQ(0, runOnTerminal({"recover", file_, "--from", "bad"}, "y\n").exitCode);
    EXPECT_EQ(kNew, bytes());
}

TEST_F(T8settingsRecover, WhatAnotherProgramHasWrittenMeanwhileIsNotReplaced) {
    putFile("torn");
    putBad(kOld);
    const ToolRun refused =
        runOnTerminal({"recover", file_, "--from", "bad"}, "y\n", {}, [this] { putFile(kNew); });
    EXPECT_THAT(refused.out, HasSubstr("t8settings: nothing was changed: another program has "
                                       "written to " +
                                       file_ + " meanwhile\r\n"));
    EXPECT_EQ(1, refused.exitCode);
    EXPECT_EQ(kNew, bytes());
    EXPECT_FALSE(isThere(".before-recover"));
}

TEST_F(T8settingsRecover, NothingIsAskedWhereNobodyIsThere) {
    putBad(kNew);
    const ToolRun refused = recover({"--from", "bad"});
    EXPECT_EQ(
        "t8settings: recover --from needs --yes where nobody can be asked; nothing was "
        "changed\n",
        refused.err);
    EXPECT_EQ(2, refused.exitCode);
    EXPECT_FALSE(isThere(""));
}

TEST_F(T8settingsRecover, ResetInProgressKeepsTheFilesAsTheyAre) {
    putBad(kNew);
    testsupport::writeFile(marker_, "");
    EXPECT_EQ(5, recover().exitCode);
    const ToolRun refused = recover({"--from", "bad", "--yes"});
    EXPECT_THAT(refused.err, StartsWith("t8settings: a reset to defaults is in progress"));
    EXPECT_EQ(4, refused.exitCode);
    EXPECT_FALSE(isThere(""));
}

TEST_F(T8settingsRecover, UnreadableFileIsMovedOutOfTheWay) {
    std::filesystem::create_directory(file_);
    putBad(kOld);
    const ToolRun recovered = recover({"--from", "bad", "--yes"});
    EXPECT_EQ(0, recovered.exitCode) << recovered.err;
    EXPECT_EQ(kOld, bytes());
    EXPECT_TRUE(std::filesystem::is_directory(file_ + ".before-recover"));
}

TEST_F(T8settingsRecover, FullDiskLosesNothing) {
    putFile(kOld);
    putBad(kNew);
    const ToolRun failed = run({"recover", file_, "--from", "bad", "--yes"}, {}, [] {
        const rlimit few = {50, 50};
        setrlimit(RLIMIT_FSIZE, &few);
        signal(SIGXFSZ, SIG_IGN);
    });
    EXPECT_EQ("", failed.out);
    EXPECT_EQ(1, failed.exitCode);
    EXPECT_EQ(kOld, bytes());
    EXPECT_EQ(kNew, bytes(".bad"));
    EXPECT_FALSE(isThere(".before-recover"));
    EXPECT_FALSE(isThere(".tmp"));
}

TEST_F(T8settingsRecover, FullDiskLeavesAnUnreadableFileInItsPlace) {
    std::filesystem::create_directory(file_);
    putBad(kNew);
    const ToolRun failed =
        run({"recover", file_, "--from", "bad", "--yes"}, {}, [] { fullDisk(); });
    EXPECT_EQ(1, failed.exitCode);
    EXPECT_TRUE(std::filesystem::is_directory(file_));
    EXPECT_FALSE(isThere(".before-recover"));
    EXPECT_FALSE(isThere(".tmp"));
}

TEST_F(T8settingsRecover, CopyOnItsWayIsKeptAndCanBePutBack) {
    putFile("torn");
    putTmp(kNew);
    put("settings/settings.ini.tmp.new", kOld);
    const ToolRun recovered = recover({"--from", "tmp", "--yes"});
    EXPECT_THAT(recovered.out, HasSubstr("\n" + file_ + ".tmp.new.before-recover: " + file_ +
                                         ".tmp.new as it was\n"));
    EXPECT_EQ(0, recovered.exitCode);
    EXPECT_EQ(kNew, bytes());
    EXPECT_EQ(kOld, bytes(".tmp.new.before-recover"));
    put("settings/settings.ini.tmp.new", kOld);
    EXPECT_EQ(0, recover({"--from", "tmp.new", "--yes"}).exitCode);
    EXPECT_EQ(kOld, bytes());
}

TEST_F(T8settingsRecover, FileSetAsideLaterIsShownAndPutBack) {
    putFile(kOld);
    put("settings/settings.ini.bad.1", kNew);
    EXPECT_THAT(recover().out, HasSubstr("\nsetting\tfile\tbad.1\n"));
    EXPECT_EQ(0, recover({"--from", "bad.1", "--yes"}).exitCode);
    EXPECT_EQ(kNew, bytes());
    EXPECT_EQ("t8settings: " + file_ + ".bad.2: not there\n",
              recover({"--from", "bad.2", "--yes"}).err);
    for (const char* const word : {"bad.100", "bad.01", "bad.", "x.bad", ""}) {
        EXPECT_EQ(2, recover({"--from", word, "--yes"}).exitCode) << word;
    }
}

TEST_F(T8settingsRecover, CopyThatASaveHasKeptIsShownAndPutBack) {
    putFile(kOld);
    put("settings/settings.ini.tmp.bad", kNew);
    put("settings/settings.ini.tmp.bad.1", kOld);
    EXPECT_THAT(recover().out, HasSubstr("\nsetting\tfile\ttmp.bad\ttmp.bad.1\n"));
    EXPECT_EQ("tmp.bad", Json::parse(recover({"--json"}).out).at("files").at(1).at("kind"));
    for (const char* const suffix : {".tmp.bad", ".tmp.bad.1"}) {
        const ToolRun refused = run({"recover", file_ + suffix});
        EXPECT_EQ("t8settings: " + file_ + suffix + " lies beside " + file_ +
                      "; name that one: t8settings recover " + file_ + "\n",
                  refused.err);
        EXPECT_EQ(2, refused.exitCode);
    }
    EXPECT_EQ(0, recover({"--from", "tmp.bad", "--yes"}).exitCode);
    EXPECT_EQ(kNew, bytes());
    EXPECT_EQ(kNew, bytes(".tmp.bad"));
    EXPECT_EQ(0, recover({"--from", "tmp.bad.1", "--yes"}).exitCode);
    EXPECT_EQ(kOld, bytes());
    EXPECT_EQ(2, recover({"--from", "tmp.bad.100", "--yes"}).exitCode);
    EXPECT_EQ(2, recover({"--from", "tmp.new.bad", "--yes"}).exitCode);
}

TEST_F(T8settingsRecover, NothingIsWrittenWithoutTheLockOfTheDirectory) {
    putFile(kOld);
    putBad(kNew);
    std::filesystem::permissions(dir_.path(), std::filesystem::perms(0755));
    std::filesystem::permissions(file_ + ".bad", std::filesystem::perms(0644));
    std::filesystem::permissions(path("settings"), std::filesystem::perms(0733));
    const ToolRun refused = run({"recover", file_, "--from", "bad", "--yes"}, {}, [] {
        if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(126);
    });
    std::filesystem::permissions(path("settings"), std::filesystem::perms(0755));
    // Root may read every directory, so the tool runs as nobody. Nobody cannot start it from a
    // checkout below a private directory, and only root can become nobody.
    if (refused.exitCode == 127 || geteuid() != 0) {
        GTEST_SKIP() << "nobody but root may run the tool where it lies";
    }
    EXPECT_THAT(refused.err, HasSubstr("nothing was changed: the lock on " + path("settings") +
                                       " could not be had"));
    EXPECT_EQ(1, refused.exitCode);
    EXPECT_EQ(kOld, bytes());
    EXPECT_FALSE(isThere(".before-recover"));
}

TEST_F(T8settingsRecover, FullDiskLeavesAGoodCopyWhole) {
    putFile("torn");
    putTmp(kNew);
    const ToolRun failed = run({"recover", file_, "--from", "tmp", "--yes"}, {}, [] {
        const rlimit few = {50, 50};
        setrlimit(RLIMIT_FSIZE, &few);
        signal(SIGXFSZ, SIG_IGN);
    });
    EXPECT_EQ(1, failed.exitCode);
    EXPECT_EQ("torn", bytes());
    EXPECT_EQ("torn", bytes(".before-recover"));
    EXPECT_EQ(kNew, bytes(".tmp"));
}

TEST_F(T8settingsRecover, WrongUseIsTold) {
    const ToolRun nothing = recover();
    EXPECT_EQ("t8settings: " + file_ + ": not there, and nothing lies beside it\n", nothing.err);
    EXPECT_EQ(1, nothing.exitCode);
    putFile(kOld);
    const ToolRun none = recover({"--from", "bad", "--yes"});
    EXPECT_EQ("t8settings: " + file_ + ".bad: not there\n", none.err);
    EXPECT_EQ(1, none.exitCode);
    const ToolRun beside = run({"recover", file_ + ".bad"});
    EXPECT_EQ("t8settings: " + file_ + ".bad lies beside " + file_ +
                  "; name that one: t8settings recover " + file_ + "\n",
              beside.err);
    EXPECT_EQ(2, beside.exitCode);
    EXPECT_EQ(2, recover({"--from", "elsewhere"}).exitCode);
    EXPECT_EQ(2, recover({"--yes"}).exitCode);
    EXPECT_EQ(2, run({"recover", path("settings/product.xml")}).exitCode);
    put("qel-default-settings/settings.ini", kOld);
    put("qel-default-settings/settings.ini.tmp", kNew);
    const ToolRun defaults =
        run({"recover", path("qel-default-settings/settings.ini"), "--from", "tmp", "--yes"});
    EXPECT_THAT(defaults.err, HasSubstr("is a defaults file, which nobody writes"));
    EXPECT_EQ(1, defaults.exitCode);
    EXPECT_EQ(kOld, bytesOf("qel-default-settings/settings.ini"));
}

TEST_F(T8settingsRecover, BytesOfAnyKindAreShownAndPutBack) {
    const std::string name = "settings/a b\xC3\xA9\xFF.ini";
    put(name + ".bad", "k\ty\xFF = string,\x01\xC3\xA9\n#crc32 = false\n");
    EXPECT_THAT(run({"recover", path(name)}).out,
                HasSubstr("\na b\xC3\xA9\xFF/k\\ty\xFF\t-\tstring,\\x01\xC3\xA9\n"));
    const Json difference =
        Json::parse(run({"recover", path(name), "--json"}).out).at("differences").at(0);
    EXPECT_EQ("612062c3a9ff2f6b0979ff", difference.at("nameBytes"));
    EXPECT_EQ("string,\x01\xC3\xA9", difference.at("texts").at("bad"));
    EXPECT_EQ(0, run({"recover", path(name), "--from", "bad", "--yes"}).exitCode);
    EXPECT_THAT(bytesOf(name), StartsWith("k\ty\xFF = string,\x01\xC3\xA9\n#crc32 = "));
}

TEST_F(T8settingsRecover, ReadOnlyDirectoryIsLookedAtAndLeftAlone) {
    putFile(kOld);
    putBad(kNew);
    if (geteuid() == 0) {
        std::filesystem::permissions(dir_.path(), std::filesystem::perms(0755));
    }
    std::filesystem::permissions(path("settings"), std::filesystem::perms(0555));
    const auto asNobody = [] {
        if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0)) _exit(126);
    };
    const ToolRun shown = run({"recover", file_}, {}, asNobody);
    // Root may write to every directory, so the tool runs as nobody, who cannot start it from a
    // checkout below a private directory.
    if (shown.exitCode == 127) {
        GTEST_SKIP() << "nobody but root may run the tool where it lies";
    }
    EXPECT_THAT(shown.out, HasSubstr("\nsettings/sound/bass\tint8,1\tint8,5\n"));
    EXPECT_EQ(5, shown.exitCode);
    const ToolRun refused = run({"recover", file_, "--from", "bad", "--yes"}, {}, asNobody);
    EXPECT_EQ("t8settings: " + file_ + " is unchanged, it could not be kept as " + file_ +
                  ".before-recover: Permission denied\n",
              refused.err);
    EXPECT_EQ(1, refused.exitCode);
    put("settings/settings.ini", kOld.substr(0, kOld.rfind('#')));
    const ToolRun sealed = run({"seal", file_}, {}, asNobody);
    EXPECT_EQ("t8settings: " + file_ + " is unchanged, " + file_ +
                  ".tmp could not be written: Permission denied\n",
              sealed.err);
    EXPECT_EQ(1, sealed.exitCode);
    EXPECT_EQ(5, run({"verify"}, {}, asNobody).exitCode);
    std::filesystem::permissions(path("settings"), std::filesystem::perms(0755));
}

}  // namespace
