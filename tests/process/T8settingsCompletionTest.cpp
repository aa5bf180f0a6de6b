#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <string>
#include <vector>

#include "ToolRun.h"

namespace {

using testing::HasSubstr;
using testsupport::exists;
using testsupport::readFile;
using testsupport::ToolRun;
using testsupport::writeFile;

const char* const kScripts = T8_TEST_DATA_DIR "/../../tools/t8settings/completion";

/// What ends a word for bash unless somebody has changed it.
const char* const kWordBreaks = " \t\n\"'><=;|&(:";

class T8settingsCompletion : public testsupport::ToolTest {
protected:
    T8settingsCompletion() {
        put("qel-default-settings/settings.ini",
            "#name = settings\n[sound]\nbalance = int8,0\nbass = int8,-2\nloud = bool,true\n"
            "[general]\nlanguage = string,en\n[tv]\nscope = CinemaScopeSetting,\n");
        put("qel-default-settings/odd.ini",
            "[a b]\nk$ey \"x\" = string,found\nbl\xc3\xa5 = int8,1\nhost:port = int8,77\n");
        put("settings/settings.ini",
            "#name = settings\n[sound]\nbass = int8,5\n[]\n#crc32 = false\n");
    }

    /// What may come after `typed` in bash.
    std::string answer(const std::string& typed,
                       const std::map<std::string, std::string>& environment = {}) const {
        const ToolRun asked = run({"complete", "bash", typed, kWordBreaks}, environment);
        EXPECT_EQ("", asked.err);
        EXPECT_EQ(0, asked.exitCode);
        return asked.out;
    }
};

TEST_F(T8settingsCompletion, CommandsComeFirst) {
    EXPECT_EQ("words\ntypes\n", answer("t8settings ty"));
    EXPECT_THAT(answer("t8settings "), HasSubstr("\nlist\nget\ndescribe\n"));
    EXPECT_THAT(answer("t8settings "), testing::Not(HasSubstr("complete")));
    EXPECT_EQ("words\n", answer("t8settings frobnicate "));
    EXPECT_EQ("words\ntypes\n", answer("/usr/bin/t8settings --json ty"));
    EXPECT_EQ("words\nhelp\n", answer("t8settings he"));
    EXPECT_EQ("words\nset\nseal\n", answer("t8settings help se"));
    EXPECT_EQ("words\n", answer("t8settings help set se"));
}

TEST_F(T8settingsCompletion, OptionsAreThoseOfTheCommandAndOfAll) {
    EXPECT_EQ("words\n--base\n--file\n--help\n--json\n--marker\n--version\n",
              answer("t8settings --"));
    EXPECT_EQ("words\n--all\n--base\n--force\n--help\n--json\n--marker\n--version\n--yes\n",
              answer("t8settings reset -"));
    EXPECT_EQ("words\n", answer("t8settings set settings/general/language -- --"));
}

TEST_F(T8settingsCompletion, ValuesOfOptionsArePathsOrWords) {
    EXPECT_EQ("path\n", answer("t8settings --base "));
    EXPECT_EQ("path\n", answer("t8settings list --marker=x"));
    EXPECT_EQ("path\n", answer("t8settings recover "));
    EXPECT_EQ("words\ntmp\nbad\ntmp.new\n", answer("t8settings recover --from "));
    EXPECT_EQ("words\nbad\n", answer("t8settings recover --from=b"));
    EXPECT_EQ("words\n", answer("t8settings watch --count "));
    EXPECT_EQ("words\n", answer("t8settings watch --none="));
}

TEST_F(T8settingsCompletion, NothingFollowsALineWithoutABlank) {
    EXPECT_EQ("words\n", answer("t8settings"));
    EXPECT_EQ("words\n", answer(""));
}

TEST_F(T8settingsCompletion, ExclamationMarkIsNeverBareForTheHistory) {
    put("qel-default-settings/loud.ini", "a!b = int8,1\n");
    EXPECT_EQ("words\nloud/a\"'!'\"b\n", answer("t8settings get \"loud/a"));
    EXPECT_EQ("words\nloud/a\\!b\n", answer("t8settings get loud/a"));
}

TEST_F(T8settingsCompletion, NamesGoFromSlashToSlash) {
    EXPECT_EQ("parts\nodd/\nsettings/\n", answer("t8settings get "));
    EXPECT_EQ("parts\nsettings/general/\nsettings/sound/\nsettings/tv/\n",
              answer("t8settings list settings/"));
    EXPECT_EQ("words\nsettings/sound/balance\nsettings/sound/bass\n",
              answer("t8settings --json set settings/sound/ba"));
    EXPECT_EQ("words\n", answer("t8settings get settings/sound/bass "));
    EXPECT_EQ("words\n", answer("t8settings info "));
}

TEST_F(T8settingsCompletion, NamesAreThoseBelowTheBaseDirectoryOfTheLine) {
    std::filesystem::create_directories(dir_.file("other/settings"));
    writeFile(dir_.file("other/settings/x.ini"), "y = int8,1\n#crc32 = false\n");
    for (const std::string& said : {"--base=" + dir_.file("other"), "--base " + dir_.file("other"),
                                    std::string("--base ~/other")}) {
        EXPECT_EQ("parts\nx/\n", answer("t8settings " + said + " get ", {{"HOME", dir_.path()}}))
            << said;
    }
}

TEST_F(T8settingsCompletion, TextsOfATypeWithFewAreAllOffered) {
    EXPECT_EQ("words\nfalse\ntrue\n", answer("t8settings set settings/sound/loud "));
    EXPECT_EQ("words\nPQ_CINEMASCOPE_ENABLED\n",
              answer("t8settings set settings/tv/scope PQ_CINEMASCOPE_E"));
}

TEST_F(T8settingsCompletion, OfOtherTypesTheTextOfNowIsOffered) {
    EXPECT_EQ("words\n5\n", answer("t8settings set settings/sound/bass "));
    EXPECT_EQ("words\nfound\n", answer("t8settings set odd/a\\ b/k\\$ey\\ \\\"x\\\" f"));
    EXPECT_EQ("words\n", answer("t8settings set no/such/setting "));
}

TEST_F(T8settingsCompletion, TypesAreOfferedToTheCommandForTypes) {
    EXPECT_EQ("words\nCinemaScopeSetting\n", answer("t8settings types CinemaS"));
}

TEST_F(T8settingsCompletion, TypesOfFieldsAloneAreOfferedToo) {
    EXPECT_EQ("words\nSourcePK\n", answer("t8settings types SourceP"));
}

TEST_F(T8settingsCompletion, SingleFileTakesThePlaceOfTheBaseDirectory) {
    put("lone.ini", "#name = lone\nx = int8,1\n#crc32 = 7\n");
    for (const std::string said : {"--file=", "--file "}) {
        EXPECT_EQ("parts\nlone/\n", answer("t8settings " + said + path("lone.ini") + " get "));
    }
    EXPECT_EQ("words\n--file\n", answer("t8settings list --f"));
    EXPECT_EQ("words\n", answer("t8settings set --f"));
}

TEST_F(T8settingsCompletion, OnlyWhatIsThereIsOfferedToBePutBack) {
    put("settings/settings.ini.bad", "");
    put("settings/settings.ini.bad.7", "");
    EXPECT_EQ("words\nbad\nbad.7\n",
              answer("t8settings recover " + path("settings/settings.ini") + " --from "));
}

TEST_F(T8settingsCompletion, WordsAreQuotedAsTheyAreBegun) {
    const std::string rest = "odd/a b/k$ey \"x\"";
    EXPECT_EQ("parts\nodd/a\\ b/\n", answer("t8settings get odd/"));
    EXPECT_EQ("words\nodd/a\\ b/k\\$ey\\ \\\"x\\\"\n", answer("t8settings get odd/a\\ b/k"));
    EXPECT_EQ("words\nodd/a b/k\\$ey \\\"x\\\"\"\n", answer("t8settings get \"odd/a b/k"));
    EXPECT_EQ("words\nodd/a b/k$ey \"x\"\n", answer("t8settings get 'odd/a b/k"));
    EXPECT_EQ("words\nodd/a\\ b/bl\xc3\xa5\n", answer("t8settings get odd/a\\ b/b"));
}

TEST_F(T8settingsCompletion, OnlyWhatTheLineEditorReplacesIsGiven) {
    EXPECT_EQ("words\nport\n", answer("t8settings get odd/a\\ b/host:"));
    EXPECT_EQ("words\nodd/a\\ b/host:port\n", answer("t8settings get odd/a\\ b/h"));
    EXPECT_EQ("words\nodd/a b/host:port\n", answer("t8settings get \"odd/a b/host:p"));
    EXPECT_EQ("words\n/host:port\n", answer("t8settings get \"odd/a b\"/host\\:p"));
}

TEST_F(T8settingsCompletion, AsksInTheWordsOfZshToo) {
    EXPECT_EQ("parts\nsettings/\t\n", run({"complete", "zsh", "get", "se"}).out);
    EXPECT_EQ("words\nodd/a b/host:port\tint8\n",
              run({"complete", "zsh", "--json", "get", "odd/a b/h"}).out);
    EXPECT_EQ("words\ninfo\tShow the storages, their files and what could not be loaded\n",
              run({"complete", "zsh", "i"}).out);
}

TEST_F(T8settingsCompletion, FailuresAreSilent) {
    EXPECT_EQ("", answer("t8settings get ", {{"T8SETTINGS_BASE", dir_.file("none")}}));
    for (const auto& question : std::vector<std::vector<std::string>>{
             {"complete"}, {"complete", "fish", "x"}, {"complete", "bash"}}) {
        const ToolRun asked = run(question);
        EXPECT_EQ("", asked.out + asked.err);
        EXPECT_EQ(0, asked.exitCode);
    }
    EXPECT_EQ("words\n", runBare({"complete", "zsh", "get", ""}).out);
}

TEST_F(T8settingsCompletion, DamagedFilesStayWhereTheyAre) {
    const std::string damaged = "bass = int8,5\n#crc32 = 1\n";
    put("settings/settings.ini", damaged);
    put("settings/odd.ini.tmp", "torn");
    EXPECT_EQ("words\n-2\n", answer("t8settings set settings/sound/bass "));
    EXPECT_EQ(damaged, bytesOf("settings/settings.ini"));
    EXPECT_EQ("torn", bytesOf("settings/odd.ini.tmp"));
    EXPECT_FALSE(exists(path("settings/settings.ini.bad")));
}

TEST_F(T8settingsCompletion, BashTakesTheAnswerAsItsReply) {
    writeFile(dir_.file("script"), std::string("source '") + kScripts +
                                       "/t8settings.bash'\n"
                                       "COMP_LINE='t8settings get odd/a\\ b/host:po rest'\n"
                                       "COMP_POINT=$((${#COMP_LINE} - 5))\n"
                                       "COMP_WORDS=(t8settings get 'odd/a\\ b/host' : po rest)\n"
                                       "COMP_CWORD=4\n"
                                       "COMP_WORDBREAKS=$' \\t\\n\"\\'><=;|&(:'\n"
                                       "_t8settings '" T8_TOOL
                                       "' po :\n"
                                       "printf '<%s>' \"${#COMPREPLY[@]}\" \"${COMPREPLY[@]}\"\n"
                                       "complete -p t8settings\n");
    ASSERT_EQ(0, system(("T8SETTINGS_BASE='" + base_ + "' bash -u '" + dir_.file("script") +
                         "' >'" + dir_.file("out") + "' 2>&1")
                            .c_str()));
    EXPECT_EQ("<1><port>complete -F _t8settings t8settings\n", readFile(dir_.file("out")));
}

/// An interactive shell on a terminal.
class Shell {
public:
    Shell(const std::vector<std::string>& command,
          const std::map<std::string, std::string>& environment) {
        child_ = forkpty(&terminal_, nullptr, nullptr, nullptr);
        if (child_ == 0) {
            for (const auto& entry : environment)
                setenv(entry.first.c_str(), entry.second.c_str(), 1);
            std::vector<char*> words;
            for (const std::string& word : command)
                words.push_back(const_cast<char*>(word.c_str()));
            words.push_back(nullptr);
            execvp(words[0], words.data());
            _exit(127);
        }
    }
    ~Shell() {
        close(terminal_);
        kill(child_, SIGKILL);
        testsupport::exitCodeOf(child_);
    }
    Shell(const Shell&) = delete;
    Shell& operator=(const Shell&) = delete;

    /// Types the line and its end; gives all that is shown until `awaited` is.
    std::string type(const std::string& line, const std::string& awaited) {
        const std::string keys = line + "\r";
        EXPECT_EQ(static_cast<ssize_t>(keys.size()), write(terminal_, keys.data(), keys.size()));
        return showing(awaited);
    }

    /// Without it once half a minute has passed.
    std::string showing(const std::string& awaited) {
        std::string shown;
        char byte = 0;
        pollfd readable = {terminal_, POLLIN, 0};
        while (shown.find(awaited) == std::string::npos && poll(&readable, 1, 30000) == 1 &&
               read(terminal_, &byte, 1) == 1) {
            shown += byte;
        }
        return shown;
    }

private:
    int terminal_ = -1;
    pid_t child_;
};

class T8settingsCompletionInShell : public T8settingsCompletion {
protected:
    T8settingsCompletionInShell() {
        const char* const path = getenv("PATH");
        const std::string tool = T8_TOOL;
        environment_ = {
            {"PATH", tool.substr(0, tool.rfind('/')) + ":" + (path == nullptr ? "" : path)},
            {"T8SETTINGS_BASE", base_},
            {"T8SETTINGS_MARKER", marker_},
            {"HOME", dir_.path()},
            {"TERM", "dumb"},
            {"INPUTRC", "/dev/null"},
            {"PS1", "> "}};
    }

    /// A tab completes names that need quotes, and what stands there then is the setting's name.
    static void expectToComplete(Shell& shell) {
        ASSERT_THAT(shell.type("t8settings get od\ta\tk\t", "found\r"), HasSubstr("found\r"));
        ASSERT_THAT(shell.type("t8settings get \"odd/a b/k\t", "found\r"), HasSubstr("found\r"));
        ASSERT_THAT(shell.type("t8settings get odd/a\\ b/host:\t", "77\r"), HasSubstr("77\r"));
        ASSERT_THAT(shell.type("t8settings type\tCinemaS\t", "PQ_CINEMASCOPE_ENABLED"),
                    HasSubstr("PQ_CINEMASCOPE_ENABLED"));
        ASSERT_THAT(shell.type("t8settings help ver\t", "Usage: t8settings verify"),
                    HasSubstr("Usage: t8settings verify"));
        ASSERT_THAT(shell.type("t8settings set settings/sound/loud f\t", "false\r"),
                    HasSubstr("false\r"));
    }

    std::map<std::string, std::string> environment_;
};

TEST_F(T8settingsCompletionInShell, TabCompletesInBash) {
    Shell shell({"bash", "--norc", "--noprofile", "-i"}, environment_);
    shell.showing("> ");
    const std::string load = std::string("source '") + kScripts + "/t8settings.bash'; ";
    EXPECT_THAT(shell.type(load + "echo rea''dy", "ready\r"), HasSubstr("ready\r"));
    expectToComplete(shell);
}

TEST_F(T8settingsCompletionInShell, TabCompletesInZsh) {
    // Without the shell there is nothing to press TAB in; scripts/setup installs it.
    if (system("command -v zsh >/dev/null") != 0) {
        GTEST_SKIP() << "no zsh";
    }
    Shell shell({"zsh", "-f", "-i"}, environment_);
    shell.showing("> ");
    const std::string load =
        std::string("fpath=('") + kScripts + "' $fpath); autoload -U compinit; compinit -u -D; ";
    EXPECT_THAT(shell.type(load + "echo rea''dy", "ready\r"), HasSubstr("ready\r"));
    expectToComplete(shell);
}

}  // namespace
