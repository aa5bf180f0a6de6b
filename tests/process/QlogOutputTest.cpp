#include <gtest/gtest.h>
#include <stdio.h>
#include <string>

namespace {

/// What QlogProgram writes to standard error. The environment is read once in a process, so that
/// only a process of its own shows what comes of it.
std::string stderrOf(const std::string& scenario, const std::string& environment) {
    const std::string command = "env -u QLOG -u QLOG_TO " + environment +
                                " '" T8_TEST_PROGRAM_DIR "/QlogProgram' " + scenario +
                                " 2>&1 >/dev/null";
    FILE* const pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        return "cannot run " + command;
    }
    std::string output;
    for (int byte = fgetc(pipe); byte != EOF; byte = fgetc(pipe)) {
        output += static_cast<char>(byte);
    }
    EXPECT_EQ(0, pclose(pipe)) << command;
    return output;
}

TEST(QlogOutput, WarningsGoToStandardErrorWithoutTheEnvironment) {
    EXPECT_EQ(
        "4 Qel::Settings src/A:1: four\n"
        "4 settings.inifile src/A:1: four\n",
        stderrOf("levels", ""));
}

TEST(QlogOutput, BareNumberIsForAllContexts) {
    EXPECT_EQ(
        "2 Qel::Settings src/A:1: two\n"
        "4 Qel::Settings src/A:1: four\n"
        "2 settings.inifile src/A:1: two\n"
        "4 settings.inifile src/A:1: four\n",
        stderrOf("levels", "QLOG=2"));
}

TEST(QlogOutput, EnvironmentSetsThresholdsByName) {
    EXPECT_EQ(
        "2 Qel::Settings src/A:1: two\n"
        "4 Qel::Settings src/A:1: four\n",
        stderrOf("levels", "QLOG=Qel::Settings=2,settings.inifile=5"));
}

TEST(QlogOutput, NameAndDefaultMix) {
    EXPECT_EQ(
        "2 settings.inifile src/A:1: two\n"
        "4 settings.inifile src/A:1: four\n",
        stderrOf("levels", "QLOG=5,settings.inifile=2"));
}

TEST(QlogOutput, MalformedPiecesAreReportedOnceAndSkipped) {
    EXPECT_EQ(
        "QLOG: \"x\" is neither NAME=LEVEL nor LEVEL, ignored\n"
        "QLOG: \"=3\" is neither NAME=LEVEL nor LEVEL, ignored\n"
        "QLOG: \"a=2b\" is neither NAME=LEVEL nor LEVEL, ignored\n"
        "QLOG: \"\" is neither NAME=LEVEL nor LEVEL, ignored\n"
        "QLOG: \"a=99999999999\" is neither NAME=LEVEL nor LEVEL, ignored\n"
        "QLOG_TO: \"printer\" is neither stderr nor syslog, ignored\n"
        "4 settings.inifile src/A:1: four\n",
        stderrOf("levels", "QLOG_TO=printer QLOG=x,=3,a=2b,,a=99999999999,Qel::Settings=5"));
}

TEST(QlogOutput, SyslogLeavesStandardErrorAlone) {
    EXPECT_EQ("", stderrOf("levels", "QLOG_TO=syslog"));
}

TEST(QlogOutput, TextIsWrittenAsItIsWithOneNewline) {
    EXPECT_EQ(
        "5 c s:1: newline\n"
        "5 c s:2: two\nlines\n"
        "5 c s:3: tab\tescape\x1b end%\n"
        "5 c :4: \n",
        stderrOf("awkward", ""));
}

TEST(QlogOutput, StaticDestructorsCanLog) {
    EXPECT_EQ("5 late s:1: bye\n", stderrOf("destruction", ""));
}

TEST(QlogOutput, LinesOfThreadsDoNotMix) {
    std::string expected;
    for (int i = 0; i < 200; ++i) {
        expected += "5 c s:1: " + std::string(3000, 'x') + "\n";
    }
    EXPECT_EQ(expected, stderrOf("threads", ""));
}

}  // namespace
