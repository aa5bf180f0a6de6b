// Which settings `list` shows, and how it looks on a terminal.

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>

#include "Sanitized.h"
#include "ToolRun.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using testsupport::ToolRun;

class T8settingsList : public testsupport::ToolTest {
protected:
    T8settingsList() {
        put("qel-default-settings/s.ini",
            "#name = s\n[a]\nb1 = int,1\nb2 = int,2\nc = int,3\nx y = int,4\n[b]\n"
            "k[1] = int,5\nt\xC3\xBCr = int,6\n\xFF* = int,7\n");
    }

    /// The values of the settings that the pattern matches.
    std::string valuesOf(const std::string& pattern) const {
        const ToolRun list = run({"list", pattern, "--json"});
        EXPECT_EQ(0, list.exitCode) << pattern;
        EXPECT_EQ("", list.err) << pattern;
        std::string values;
        for (const auto& setting : nlohmann::json::parse(list.out)) {
            values += setting.at("text").get<std::string>();
        }
        return values;
    }
};

TEST_F(T8settingsList, PatternMatchesWholeNames) {
    EXPECT_EQ("12", valuesOf("s/a/b?"));
    EXPECT_EQ("12", valuesOf("s/a/b*"));
    EXPECT_EQ("2", valuesOf("*2"));
    EXPECT_EQ("12", valuesOf("*/b?"));
    EXPECT_EQ("1234567", valuesOf("*"));
    EXPECT_EQ("4", valuesOf("s/a/x y*"));
    EXPECT_EQ("567", valuesOf("s?b?*"));
    EXPECT_EQ("1234567", valuesOf("**s*/*"));
}

TEST_F(T8settingsList, SetsTakeOneByte) {
    EXPECT_EQ("12", valuesOf("s/a/b[12]"));
    EXPECT_EQ("12", valuesOf("s/a/[a-b]*"));
    EXPECT_EQ("34", valuesOf("s/a/[!a-b]*"));
    EXPECT_EQ("5", valuesOf("s/b/k[[]1[]]"));
    EXPECT_EQ("7", valuesOf("s/b/?[*]"));
    EXPECT_EQ("2", valuesOf("s/a/b[2-]"));
}

TEST_F(T8settingsList, BytesAbove127AreBytesLikeOthers) {
    EXPECT_EQ("6", valuesOf("s/b/t\xC3\xBC?"));
    EXPECT_EQ("6", valuesOf("s/b/t??r"));
    EXPECT_EQ("7", valuesOf("s/b/[\xF0-\xFF]?"));
    EXPECT_EQ("7", valuesOf("s/b/\xFF"));
}

TEST_F(T8settingsList, BracketThatNothingClosesMakesNoPattern) {
    EXPECT_EQ("5", valuesOf("s/b/k["));
    const ToolRun list = run({"list", "s/q["});
    EXPECT_EQ("", list.out);
    EXPECT_EQ("t8settings: no setting's name begins with \"s/q[\"\n", list.err);
    EXPECT_EQ(0, list.exitCode);
}

TEST_F(T8settingsList, PatternThatMatchesNothingIsToldWithTheLikeliestNames) {
    const ToolRun list = run({"list", "s/a/B[12]x"});
    EXPECT_EQ("", list.out);
    EXPECT_EQ(
        "t8settings: no setting matches \"s/a/B[12]x\"\n"
        "t8settings: did you mean s/a/b1 or s/a/b2?\n",
        list.err);
    EXPECT_EQ(3, list.exitCode);
    const ToolRun json = run({"list", "a/b*", "--json"});
    EXPECT_EQ("[]\n", json.out);
    EXPECT_EQ(
        "t8settings: no setting matches \"a/b*\"\n"
        "t8settings: did you mean s/a/b1 or s/a/b2?\n",
        json.err);
    EXPECT_EQ(3, json.exitCode);
    EXPECT_EQ("t8settings: no setting matches \"nothing*alike\"\n",
              run({"list", "nothing*alike"}).err);
}

TEST_F(T8settingsList, PatternThatWouldTakeForeverInAnotherMatcherDoesNot) {
    put("qel-default-settings/long.ini", "#name = long\n" + std::string(3000, 'a') + " = int,1\n");
    std::string pattern;
    for (int i = 0; i < 40; ++i) pattern += "*a";
    EXPECT_EQ(3, run({"list", pattern + "*b"}).exitCode);
}

TEST_F(T8settingsList, ColumnsCountCharactersAndNotBytes) {
    EXPECT_EQ(
        "s/b/k[1]  int  5\r\n"
        "s/b/t\xC3\xBCr   int  6\r\n"
        "s/b/\xFF*    int  7\r\n",
        runOnTerminal({"list", "s/b/"}).out);
}

TEST_F(T8settingsList, ColoursAreForTerminalsThatTakeThem) {
    const std::string coloured = "\x1B[1ms/a/c\x1B[0m  \x1B[36mint\x1B[0m  3\r\n";
    EXPECT_EQ(coloured, runOnTerminal({"list", "s/a/c"}, "", {{"TERM", "xterm"}}).out);
    EXPECT_EQ(coloured,
              runOnTerminal({"list", "s/a/c"}, "", {{"TERM", "xterm"}, {"NO_COLOR", ""}}).out);
    EXPECT_EQ("s/a/c\tint\t3\n", run({"list", "s/a/c"}, {{"TERM", "xterm"}}).out);
    const std::string plain = "s/a/c  int  3\r\n";
    EXPECT_EQ(plain, runOnTerminal({"list", "s/a/c"}).out);
    EXPECT_EQ(plain, runOnTerminal({"list", "s/a/c"}, "", {{"TERM", "dumb"}}).out);
    for (const char* const any : {"1", "0", "no"}) {
        EXPECT_EQ(plain,
                  runOnTerminal({"list", "s/a/c"}, "", {{"TERM", "xterm"}, {"NO_COLOR", any}}).out);
    }
    EXPECT_THAT(runOnTerminal({"list", "--json"}, "", {{"TERM", "xterm"}}).out,
                Not(HasSubstr("\x1B")));
}

TEST_F(T8settingsList, HundredThousandSettingsAreListedAndFound) {
    constexpr int kEnd = 100000 + 100000 / static_cast<int>(testsupport::kTimesLess);
    std::string file = "#name = many\n";
    for (int i = 100000; i < kEnd; ++i) file += "k" + std::to_string(i) + " = int,1\n";
    put("qel-default-settings/many.ini", file);
    const ToolRun list = run({"list", "many/"});
    EXPECT_EQ(kEnd - 100000, std::count(list.out.begin(), list.out.end(), '\n'));
    EXPECT_EQ("many/k112345\tint\t1\n", run({"list", "many/*12345"}).out);
    EXPECT_EQ("1\n", run({"get", "many/k" + std::to_string(kEnd - 1)}).out);
    EXPECT_EQ(3, run({"list", "many/*x*y"}).exitCode);
    const ToolRun unknown = run({"get", "many/k1123456"});
    EXPECT_THAT(unknown.err, HasSubstr("did you mean many/k112345"));
    EXPECT_EQ(3, unknown.exitCode);
}

}  // namespace
