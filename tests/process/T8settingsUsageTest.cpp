#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "ToolRun.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using testsupport::ToolRun;

const char* const kRealMarker = "/tmp/settings-reset-to-default-in-progress.tmp";

class T8settingsUsage : public testsupport::ToolTest {
protected:
    T8settingsUsage() {
        put("qel-default-settings/settings.ini", "#name = settings\n[sound]\nbass = int8,-2\n");
    }

    /// Exit code 2, nothing on standard output, this text in front on standard error.
    static void expectBadUsage(const ToolRun& run, const std::string& text) {
        EXPECT_EQ("", run.out);
        EXPECT_THAT(run.err, StartsWith("t8settings: " + text));
        EXPECT_EQ(2, run.exitCode);
    }
};

TEST_F(T8settingsUsage, FlagTakesNoValue) {
    for (const char* const word : {"--json=false", "--json=", "--json=3"}) {
        const ToolRun refused = run({"list", word});
        EXPECT_EQ("t8settings: --json takes no value\n", refused.err) << word;
        EXPECT_EQ(2, refused.exitCode) << word;
    }
    EXPECT_EQ("t8settings: --changed takes no value\n", run({"list", "--changed=3"}).err);
    EXPECT_EQ("t8settings: --all takes no value\n", run({"reset", "--all=false"}).err);
}

TEST_F(T8settingsUsage, ShortFlagForHelpStandsAlone) {
    for (const auto& words :
         {std::vector<std::string>{"list", "-h=3"}, {"list", "-h="}, {"-h=false", "list"}}) {
        expectBadUsage(run(words), "-h takes no value\n");
    }
    expectBadUsage(run({"set", "settings/sound/bass", "-hello"}),
                   "no such option of set: \"-hello\"\nt8settings: an argument that begins with "
                   "\"-\" comes after \"--\", as in: t8settings set -- NAME TEXT\n");
    expectBadUsage(run({"-hx"}), "no such option: \"-hx\"\n");
    EXPECT_EQ(0, run({"list", "-h"}).exitCode);
    EXPECT_EQ(1, run({"diff", "A", "B"}).exitCode);
    EXPECT_EQ(3, run({"get", "--", "-hx"}).exitCode);
}

TEST_F(T8settingsUsage, HelpGoesToStandardOutputAndListsCommandsAndExitCodes) {
    const ToolRun help = runBare({"--help"});
    for (const char* const piece :
         {"Usage: t8settings ",
          "--base DIR",
          "--marker PATH",
          "--json",
          "--version",
          "T8SETTINGS_BASE",
          "T8SETTINGS_MARKER",
          "\n  list ",
          "\n  get ",
          "\n  describe ",
          "\n  diff ",
          "\n  dump ",
          "\n  load ",
          "--file FILE",
          "\n  set ",
          "\n  reset ",
          "\n  info ",
          "\n  types ",
          "\n  verify ",
          "\n  seal ",
          "\n  recover ",
          "\n  watch ",
          "\nExit codes: 0 done, 1 failed, 2 bad usage, 3 no such setting or type,\n"
          "4 refused, 5 not all is sound, or not all is the same\n"}) {
        EXPECT_THAT(help.out, HasSubstr(piece));
    }
    EXPECT_EQ("", help.err);
    EXPECT_EQ(0, help.exitCode);
}

TEST_F(T8settingsUsage, EveryHelpFitsAScreen) {
    for (const char* const command :
         {"", "list", "get", "describe", "diff", "dump", "load", "set", "reset", "info", "types",
          "verify", "seal", "recover", "watch"}) {
        const ToolRun help = *command == '\0' ? runBare({"--help"}) : runBare({command, "--help"});
        std::istringstream lines(help.out);
        std::string line;
        int count = 0;
        while (std::getline(lines, line)) {
            EXPECT_LE(line.size(), 80U) << line;
            ++count;
        }
        EXPECT_GT(count, 5) << command;
        EXPECT_LE(count, *command == '\0' ? 30 : 24) << command;
        EXPECT_EQ(0, help.exitCode) << command;
    }
}

TEST_F(T8settingsUsage, VersionNeedsNoBaseDirectory) {
    EXPECT_EQ("t8settings 1.0.0\n", runBare({"--version"}).out);
    const ToolRun json = runBare({"--json", "--version"});
    EXPECT_EQ(nlohmann::json({{"version", "1.0.0"}}), nlohmann::json::parse(json.out));
    EXPECT_EQ(0, json.exitCode);
}

TEST_F(T8settingsUsage, BaseDirectoryMustBeSaid) {
    for (const char* const command : {"list", "info"}) {
        expectBadUsage(runBare({command}),
                       "no base directory: say --base DIR or set T8SETTINGS_BASE\n");
    }
}

TEST_F(T8settingsUsage, OptionsStandBeforeOrAfterTheCommand) {
    const std::string listed = "settings/sound/bass\tint8\t-2\n";
    EXPECT_EQ(listed, runBare({"--base", base_, "--marker", marker_, "list"}).out);
    EXPECT_EQ(listed, runBare({"list", "--marker=" + marker_, "--base=" + base_}).out);
    EXPECT_EQ(listed, runBare({"--base", base_ + "/", "list"}).out);
}

TEST_F(T8settingsUsage, OptionWinsOverTheEnvironment) {
    const ToolRun list = runBare({"--base", base_, "list"}, {{"T8SETTINGS_BASE", "/nowhere"}});
    EXPECT_EQ("settings/sound/bass\tint8\t-2\n", list.out);
    EXPECT_EQ(0, list.exitCode);
}

TEST_F(T8settingsUsage, EmptyWordsDoNotStandForDefaults) {
    expectBadUsage(runBare({"--base", "", "list"}), "--base is empty\n");
    expectBadUsage(runBare({"list"}, {{"T8SETTINGS_BASE", ""}}), "T8SETTINGS_BASE is empty\n");
    expectBadUsage(runBare({"--base", base_, "--marker", "", "list"}), "--marker is empty\n");
    expectBadUsage(runBare({"--base", base_, "list"}, {{"T8SETTINGS_MARKER", ""}}),
                   "T8SETTINGS_MARKER is empty\n");
}

TEST_F(T8settingsUsage, MarkerThatIsADirectoryIsBadUsage) {
    const std::string file = path("settings/settings.ini");
    const std::string is = "\"" + base_ +
                           "/\" is a directory, and a marker is a file; did you mean " + base_ +
                           "/reset.tmp?\n";
    for (const std::vector<std::string>& command :
         std::vector<std::vector<std::string>>{{"list"},
                                               {"get", "settings/sound/bass"},
                                               {"describe", "settings/sound/bass"},
                                               {"diff"},
                                               {"dump"},
                                               {"load", file},
                                               {"set", "settings/sound/bass", "1"},
                                               {"reset", "settings/sound/bass"},
                                               {"reset", "--all", "--yes"},
                                               {"info"},
                                               {"watch"},
                                               {"verify"},
                                               {"seal", file},
                                               {"recover", file}}) {
        std::vector<std::string> words = command;
        expectBadUsage(run(words, {{"T8SETTINGS_MARKER", base_ + "/"}}), "T8SETTINGS_MARKER " + is);
        words.insert(words.end(), {"--marker", base_ + "/"});
        expectBadUsage(run(words), "--marker " + is);
    }
    const std::string defaults = path("qel-default-settings/settings.ini");
    for (std::vector<std::string> words :
         {std::vector<std::string>{"types"}, {"verify", defaults}, {"diff", defaults, defaults}}) {
        EXPECT_EQ(0, run(words, {{"T8SETTINGS_MARKER", base_}}).exitCode);
        words.insert(words.end(), {"--marker", base_ + "/"});
        expectBadUsage(run(words), "--marker " + is);
    }
}

TEST_F(T8settingsUsage, OptionWithNothingBehindItsEqualsSignTakesNoOtherWord) {
    expectBadUsage(run({"--marker=", "--json", "info"}), "--marker is empty\n");
    expectBadUsage(runBare({"--base=", base_, "list"}), "--base is empty\n");
    expectBadUsage(run({"list", "--file=", "settings/sound"}), "--file is empty\n");
    expectBadUsage(run({"recover", "--from=", "bad", path("settings/settings.ini")}),
                   "--from is empty\n");
    expectBadUsage(run({"watch", "--count=", "1"}), "--count is empty\n");
    EXPECT_EQ(3, run({"get", "--", "--base="}).exitCode);
    EXPECT_EQ(0, run({"complete", "zsh", "list", "--base="}).exitCode);
    expectBadUsage(run({"list", "--frobnicate="}), "no such option of list: \"--frobnicate\"\n");
}

TEST_F(T8settingsUsage, EmptyWordIsNoName) {
    for (const auto& words : {std::vector<std::string>{"get", ""},
                              {"get", "", "--origin"},
                              {"describe", ""},
                              {"set", "", "5"},
                              {"reset", ""},
                              {"reset", "settings/sound/bass", ""},
                              {"types", ""}}) {
        expectBadUsage(run(words), "NAME is empty\n");
    }
    expectBadUsage(run({"load", ""}), "FILE is empty\n");
    EXPECT_EQ("settings/sound/bass\tint8\t-2\n", run({"list", ""}).out);
}

TEST_F(T8settingsUsage, OptionIsNoValueOfTheOptionBeforeIt) {
    expectBadUsage(run({"--marker", "--json", "info"}), "--marker lacks its value\n");
    expectBadUsage(run({"list", "--base", "--file=x"}), "--base lacks its value\n");
    expectBadUsage(run({"watch", "--count", "--", "x"}), "--count lacks its value\n");
    expectBadUsage(run({"list", "--base"}), "--base lacks its value\n");
    expectBadUsage(run({"--count", "--json", "watch"}), "--count lacks its value\n");
    put("--json", "v = int,1\n");
    EXPECT_EQ("--json/v\tint\t1\n", run({"list", "--file=" + path("--json")}).out);
}

TEST_F(T8settingsUsage, WordsInBracketsAreOneWord) {
    for (const auto& words :
         {std::vector<std::string>{"reset", "[settings/sound/bass,settings/sound/bass]"},
          {"set", "[settings/sound/bass]", "1"}}) {
        const ToolRun refused = run(words);
        EXPECT_THAT(refused.err, StartsWith("t8settings: no such setting: \"" + words[1] + "\"\n"));
        EXPECT_EQ(3, refused.exitCode);
    }
    EXPECT_THAT(run({"verify", "[x,y]", "a"}).out, StartsWith("[x,y]: "));
    EXPECT_EQ("settings/sound/bass\tint8\t-2\n", run({"reset", "--", "settings/sound/bass"}).out);
}

TEST_F(T8settingsUsage, HelpIsACommandToo) {
    EXPECT_EQ(runBare({"--help"}).out, runBare({"help"}).out);
    EXPECT_EQ(runBare({"set", "--help"}).out, runBare({"help", "set"}).out);
    for (const char* const command : {"help", "complete"}) {
        EXPECT_EQ(runBare({command, "--help"}).out, runBare({"help", command}).out) << command;
    }
    EXPECT_EQ(runBare({"--help"}).out, runBare({"help", "--json"}).out);
    EXPECT_EQ(runBare({"set", "--help"}).out,
              runBare({"--base", "x", "help", "--json", "set"}).out);
    expectBadUsage(runBare({"help", "lst"}),
                   "no such command: \"lst\"\nt8settings: did you mean list?\n");
}

TEST_F(T8settingsUsage, AdviceCanBePasted) {
    put("qel-default-settings/odd.ini", "#name = odd\n[a b]\nk = int,1\n[-x]\nk = int,1\n");
    put("qel-default-settings/-y.ini", "[z]\nk = int,1\n");
    EXPECT_EQ("t8settings: no such setting: \"odd/a b/j\"\nt8settings: did you mean 'odd/a b/k'?\n",
              run({"get", "odd/a b/j"}).err);
    EXPECT_THAT(runBare({"--base", base_, "--marker", marker_, "get", "odd/a b"}).err,
                HasSubstr("begin so: t8settings --base " + base_ + " --marker " + marker_ +
                          " list 'odd/a b/'\n"));
    EXPECT_THAT(run({"get", "--", "-y/z"}).err, HasSubstr("begin so: t8settings list -- -y/z/\n"));
    EXPECT_THAT(run({"get", "--", "-y/z/q"}).err,
                HasSubstr("\nt8settings: did you mean -- -y/z/k?\n"));
    EXPECT_THAT(run({"list", "--", "-y/q*"}).err, Not(HasSubstr("mean -y")));
    put("qel-default-settings/torn.ini", "#name = torn\n[\xC3]\nit's \\ = int,1\n");
    const std::string torn = run({"get", "torn/\xC3"}).err;
    EXPECT_EQ(
        "t8settings: no such setting: \"torn/\\xC3\"\n"
        "t8settings: there are names that begin so: t8settings list $'torn/\\xC3/'\n",
        torn);
    EXPECT_THAT(run({"get", "it's \\"}).err,
                HasSubstr("did you mean $'torn/\\xC3/it\\'s \\\\'?\n"));
    put("qel-default-settings/glob.ini", "[a[1]*?]\nk = int,1\n");
    EXPECT_THAT(run({"get", "glob/a[1]*?"}).err,
                HasSubstr("begin so: t8settings list 'glob/a[[]1][*][?]/*'\n"));
    EXPECT_EQ("glob/a[1]*?/k\tint\t1\n", run({"list", "glob/a[[]1][*][?]/*"}).out);
    put("settings/settings.ini", "#name = settings\n");
    EXPECT_THAT(runBare({"--marker", marker_, "verify", path("settings/settings.ini")}).out,
                HasSubstr("t8settings --marker " + marker_ + " recover " +
                          path("settings/settings.ini") + "\n"));
}

TEST_F(T8settingsUsage, OptionOfACommandComesAfterIt) {
    expectBadUsage(run({"--origin", "get", "settings/sound/bass"}), "--origin comes after get\n");
    expectBadUsage(run({"--yes", "reset", "--all"}), "--yes comes after reset\n");
}

TEST_F(T8settingsUsage, NumberIsWrittenInDigitsAlone) {
    const std::string most = std::to_string(std::numeric_limits<unsigned long>::max());
    for (const std::string number :
         {"x", "0", "-1", "+1", " 1", "1 ", "1.5", "1e2", "010", "0x2", "1_0", "1'0",
          "-18446744073709551614", "18446744073709551616", "99999999999999999999"}) {
        for (const auto& words : {std::vector<std::string>{"watch", "--count", number},
                                  {"watch", "--count=" + number}}) {
            expectBadUsage(run(words), "--count: takes a number from 1 to " + most +
                                           ", in digits alone: \"" + number + "\"\n");
        }
    }
    for (const std::string number : {"", "x", "-1", "00", "2147483648", "99999999999999999999"}) {
        expectBadUsage(run({"list"}, {{"T8SETTINGS_PROGRESS", number}}),
                       "T8SETTINGS_PROGRESS: takes a number from 0 to 2147483647, in digits "
                       "alone: \"" +
                           number + "\"\n");
    }
    EXPECT_EQ(0, run({"list"}, {{"T8SETTINGS_PROGRESS", "2147483647"}}).exitCode);
    EXPECT_EQ(0, run({"types"}, {{"T8SETTINGS_PROGRESS", "x"}}).exitCode);
}

TEST_F(T8settingsUsage, BeginningOfNamesIsNoNameButAPattern) {
    EXPECT_EQ(
        "t8settings: no such setting: \"settings/sound\"\n"
        "t8settings: there are names that begin so: t8settings list settings/sound/\n",
        run({"get", "settings/sound"}).err);
}

TEST_F(T8settingsUsage, BaseAndSingleFileExcludeEachOther) {
    const std::string file = path("qel-default-settings/settings.ini");
    expectBadUsage(runBare({"--file", file, "--base", base_, "list"}),
                   "say either --base or --file\n");
    expectBadUsage(runBare({"--file", "", "list"}), "--file is empty\n");
    expectBadUsage(runBare({"--file", file, "list", "--changed"}), "--changed takes no --file: ");
}

TEST_F(T8settingsUsage, BaseDirectoryThatIsNotThereIsAFailure) {
    const ToolRun list = runBare({"--base", dir_.file("none"), "list"});
    EXPECT_EQ("", list.out);
    EXPECT_EQ(
        "t8settings: base directory \"" + dir_.file("none") + "\": No such file or directory\n",
        list.err);
    EXPECT_EQ(1, list.exitCode);
}

TEST_F(T8settingsUsage, BaseDirectoryThatIsAFileIsAFailure) {
    put("file", "");
    const ToolRun list = runBare({"--base", path("file"), "list"});
    EXPECT_EQ("", list.out);
    EXPECT_EQ("t8settings: base directory \"" + path("file") + "\": Not a directory\n", list.err);
    EXPECT_EQ(1, list.exitCode);
}

TEST_F(T8settingsUsage, DirectoryWithoutSettingsFilesIsRemarkedUpon) {
    const ToolRun list = runBare({"--base", dir_.path(), "--json", "list"});
    EXPECT_EQ("[]\n", list.out);
    EXPECT_THAT(list.err,
                StartsWith("t8settings: no settings files below \"" + dir_.path() + "\"; "));
    EXPECT_EQ(0, list.exitCode);
}

TEST_F(T8settingsUsage, WrongCommandLinesExitWith2AndPointToTheHelp) {
    const std::string all = "t8settings: see t8settings --help\n";
    const std::string commands =
        "t8settings: the commands are list, get, describe, diff, dump, load, set, reset, info, "
        "types, verify, seal, recover, watch, help\n";
    const ToolRun none = run({});
    expectBadUsage(none, "no command\n" + commands + all);
    expectBadUsage(run({"--base", "list"}),
                   "no command: --base has taken \"list\" for its value\n" + all);
    expectBadUsage(run({"frobnicate"}), "no such command: \"frobnicate\"\n" + commands + all);
    expectBadUsage(run({"lst"}),
                   "no such command: \"lst\"\nt8settings: did you mean list?\n" + all);
    expectBadUsage(run({"Say \"\\n\", it's"}), "no such command: 'Say \"\\n\", it'\\''s'\n");
    const ToolRun option = run({"list", "--frobnicate"});
    expectBadUsage(option, "");
    EXPECT_THAT(option.err, HasSubstr("--frobnicate"));
    expectBadUsage(run({"get"}), "NAME is required\nt8settings: see t8settings get --help\n");
    expectBadUsage(run({"set", "settings/sound/bass"}),
                   "TEXT is required\nt8settings: see t8settings set --help\n");
    expectBadUsage(run({"set", "settings/sound/bass", "1", "2"}), "");
    for (const auto& words :
         {std::vector<std::string>{"reset"}, {"reset", "--all", "settings/sound/bass"}}) {
        expectBadUsage(run(words),
                       "say either NAME or --all\n"
                       "t8settings: see t8settings reset --help\n");
    }
    expectBadUsage(run({"get", "settings/sound/bass", "list"}), "");
}

TEST_F(T8settingsUsage, WordsThatNothingTakesAreNamed) {
    const std::string all = "t8settings: the commands are ";
    expectBadUsage(run({""}), "no such command: \"\"\n" + all);
    expectBadUsage(run({"--Base", "tv", "list"}),
                   "no such option of list: \"--Base\"\nt8settings: did you mean --base?\n");
    expectBadUsage(run({"--Base"}),
                   "no such option: \"--Base\"\nt8settings: did you mean --base?\n");
    expectBadUsage(run({"tv", "list", "a"}), "no such command: \"tv\"\n" + all);
    expectBadUsage(run({"info", ""}),
                   "info takes no argument: \"\" is too many\n"
                   "t8settings: see t8settings info --help\n");
    expectBadUsage(run({"list", "a", "b", "c"}),
                   "list takes no more than 1 argument: \"b\" is too many\n");
    expectBadUsage(run({"set", "a", "b", "c"}),
                   "set takes no more than 2 arguments: \"c\" is too many\n");
    expectBadUsage(run({"--base", "a", "list", "--base=b"}), "--base is there more than once\n");
    expectBadUsage(run({"watch", "--count", "1", "--count", "2"}),
                   "--count is there more than once\n");
    EXPECT_EQ(0, run({"--json", "list", "--json"}).exitCode);
}

TEST_F(T8settingsUsage, HelpSaysInALineOfItsOwnWhatYesGoesWith) {
    for (const auto& [command, option] : {std::pair("reset", "--all"), {"recover", "--from"}}) {
        EXPECT_THAT(
            runBare({command, "--help"}).out,
            HasSubstr(std::string("\n  --yes          Do not ask before ") + option + "\n"));
    }
}

TEST_F(T8settingsUsage, HelpOfWhatSavesSaysThatDamageMustNotBeHidden) {
    for (const char* const command : {"set", "reset", "load"}) {
        EXPECT_THAT(runBare({command, "--help"}).out, HasSubstr("misread: a save would hide that."))
            << command;
    }
}

TEST_F(T8settingsUsage, YesIsAnAnswerToAQuestionThatIsAsked) {
    expectBadUsage(run({"reset", "--yes", "settings/sound/bass"}), "--yes requires --all\n");
    expectBadUsage(run({"reset", "--yes"}), "--yes requires --all\n");
    expectBadUsage(run({"reset", "--force", "settings/sound/bass"}), "--force requires --all\n");
    expectBadUsage(run({"recover", "--yes", path("settings/settings.ini")}),
                   "--yes requires --from\n");
}

TEST_F(T8settingsUsage, BeginningsComeBeforeWordsOfTheSameLength) {
    expectBadUsage(run({"he"}), "no such command: \"he\"\nt8settings: did you mean help?\n");
    expectBadUsage(run({"ver"}), "no such command: \"ver\"\nt8settings: did you mean verify?\n");
    EXPECT_EQ("t8settings: no such type: \"foo\"\n", run({"types", "foo"}).err);
    EXPECT_EQ("t8settings: no such type: \"bol\"\nt8settings: did you mean bool?\n",
              run({"types", "bol"}).err);
}

TEST_F(T8settingsUsage, WordThatBeginsWithAHyphenIsToldWhereItGoes) {
    const ToolRun set = run({"set", "settings/sound/bass", "-x-"});
    expectBadUsage(set, "TEXT is required\n");
    EXPECT_THAT(set.err, HasSubstr("t8settings: an argument that begins with \"-\" comes after "
                                   "\"--\", as in: t8settings set -- NAME TEXT\n"));
    EXPECT_EQ(1, run({"set", "--", "settings/sound/bass", "-x-"}).exitCode);
    EXPECT_EQ(0, run({"set", "settings/sound/bass", "-5"}).exitCode);
}

TEST_F(T8settingsUsage, OptionOfAnotherCommandIsNone) {
    const ToolRun set = run({"set", "settings/sound/bass", "--from"});
    expectBadUsage(set, "TEXT is required\n");
    EXPECT_THAT(set.err,
                HasSubstr("\nt8settings: an argument that begins with \"-\" comes after "));
    expectBadUsage(run({"set", "settings/sound/bass", "--count="}), "TEXT is required\n");
    expectBadUsage(run({"list", "--count"}), "no such option of list: \"--count\"\n");
}

TEST_F(T8settingsUsage, MisspeltOptionIsToldTheLikeliest) {
    for (const std::string option : {"--bas", "--bas=tv", "--BASE"}) {
        const ToolRun list = run({"list", option});
        expectBadUsage(list, "no such option of list: \"" + option.substr(0, option.find('=')) +
                                 "\"\nt8settings: did you mean --base?\n"
                                 "t8settings: see t8settings list --help\n");
    }
    EXPECT_THAT(run({"get", "x", "--typ"}).err, HasSubstr("did you mean --type?\n"));
}

TEST_F(T8settingsUsage, MachinesMarkerIsInForceUnlessAnotherOneIsNamed) {
    EXPECT_THAT(runBare({"--base", base_, "info"}).out,
                HasSubstr(std::string("\nmarker ") + kRealMarker));
    EXPECT_THAT(runBare({"--base", base_, "--marker", marker_, "info"}).out,
                HasSubstr("\nmarker " + marker_ + "\n"));
    EXPECT_THAT(runBare({"--base", base_, "info"}, {{"T8SETTINGS_MARKER", marker_}}).out,
                HasSubstr("\nmarker " + marker_ + "\n"));
}

/// The lines that the help offers for pasting.
std::vector<std::string> examplesIn(const std::string& help) {
    std::vector<std::string> examples;
    std::istringstream lines(help);
    std::string line;
    while (std::getline(lines, line)) {
        if (line.rfind("  t8settings ", 0) == 0) {
            examples.push_back(line.substr(2));
        }
    }
    return examples;
}

class T8settingsUsagePasted : public T8settingsUsage {
protected:
    /// Copies the demonstration's directory; the commands that take a shell there, and to the tool.
    std::string prepare() const {
        std::filesystem::create_directory(dir_.file("pasted"));
        std::filesystem::copy(T8_TEST_DATA_DIR "/../../examples/tv", dir_.file("pasted/tv"),
                              std::filesystem::copy_options::recursive);
        return "export T8SETTINGS_MARKER='" + marker_ +
               "' PATH=\"$(dirname '" T8_TOOL "'):$PATH\"; cd '" + dir_.file("pasted") + "' && ";
    }
};

TEST_F(T8settingsUsagePasted, ExamplesOfTheHelpWork) {
    ASSERT_NO_FATAL_FAILURE(demandOwnMarker());
    const std::string enter = prepare();
    for (const char* const command : {"list", "get", "describe", "diff", "dump", "load", "set",
                                      "info", "types", "verify", "seal", "recover", "reset"}) {
        const std::vector<std::string> examples = examplesIn(runBare({command, "--help"}).out);
        EXPECT_FALSE(examples.empty()) << command;
        for (const std::string& example : examples) {
            EXPECT_THAT(example, HasSubstr(std::string(" ") + command));
            const int status = system((enter + example + " >'" + dir_.file("out") + "'").c_str());
            EXPECT_EQ(command == std::string("diff") ? 5 : 0, WEXITSTATUS(status)) << example;
            EXPECT_NE("", testsupport::readFile(dir_.file("out"))) << example;
        }
    }
    EXPECT_TRUE(testsupport::exists(dir_.file("pasted/tv/reset.tmp")));
    EXPECT_FALSE(testsupport::exists(marker_));
}

TEST_F(T8settingsUsagePasted, ExampleOfWatchShowsAChange) {
    const std::vector<std::string> examples = examplesIn(runBare({"watch", "--help"}).out);
    ASSERT_EQ(1U, examples.size());
    // A watch that has ended, of whatever, is not waited for.
    const std::string script =
        "{ timeout 60 " + examples.front() +
        " --count 1 >out 2>ready & while kill -0 $! && ! grep -qs watching ready; do :; done; "
        "t8settings --base tv set settings/sound/bass 4 >set; wait $!; }";
    EXPECT_EQ(0, WEXITSTATUS(system((prepare() + script).c_str())));
    EXPECT_EQ("settings/sound/bass\tint8\t3\t4\n", testsupport::readFile(dir_.file("pasted/out")));
}

}  // namespace
