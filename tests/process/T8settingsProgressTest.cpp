// The line that tells how far a long piece of work has come.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "ToolRun.h"

namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::Each;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;
using testsupport::ToolRun;

constexpr std::size_t kSettings = 300;
constexpr const char* kTakenAway = "\r\x1b[K";

class T8settingsProgress : public testsupport::ToolTest {
protected:
    T8settingsProgress() {
        std::string lines;
        for (std::size_t i = 0; i < kSettings; ++i) {
            lines += "key" + std::to_string(i) + " = int8[],1;2;3;4\n";
        }
        put("settings/big.ini", "#name = big\n[a]\n" + lines + "#crc32 = false\n");
    }

    std::string shownBy(const std::vector<std::string>& words,
                        const std::string& terminal = "xterm", unsigned short columns = 0) const {
        return runOnTerminal(
                   words, "", {{"TERM", terminal}, {"T8SETTINGS_PROGRESS", "0"}}, [] {}, columns)
            .out;
    }
};

TEST_F(T8settingsProgress, VerifyTellsTheLineOfALargeFile) {
    EXPECT_THAT(shownBy({"verify"}),
                AllOf(ContainsRegex("checking line [0-9]+ of [0-9]+: " + path("settings/big.ini")),
                      HasSubstr(kTakenAway)));
}

TEST_F(T8settingsProgress, SurveyTellsTheLineOrTheFileThatItReads) {
    EXPECT_THAT(shownBy({"list", "--origin", "none"}),
                ContainsRegex("reading (line|file) [0-9]+ of [0-9]+: "));
}

TEST_F(T8settingsProgress, LoadTellsTheSettingThatItChecks) {
    std::string file = "#name = many\n";
    std::string dump;
    for (std::size_t i = 0; i < kSettings; ++i) {
        file += "k" + std::to_string(i) + " = int8[],1;2;3;4\n";
        dump += "many/k" + std::to_string(i) + " = int8[],1;2;3;+4\n";
    }
    put("qel-default-settings/many.ini", file);
    put("dump", dump);
    EXPECT_THAT(shownBy({"load", path("dump")}),
                ContainsRegex("checking setting [0-9]+ of [0-9]+: many/k"));
}

TEST_F(T8settingsProgress, RowsAreNoWiderThanTheTerminal) {
    std::string shown = shownBy({"verify"}, "xterm", 24);
    std::vector<std::string> rows;
    for (std::size_t end = shown.find(kTakenAway); end != std::string::npos;
         end = shown.find(kTakenAway)) {
        rows.push_back(shown.substr(0, end));
        shown.erase(0, end + std::string(kTakenAway).size());
    }
    EXPECT_THAT(rows, testing::Contains(HasSubstr("checking line ")));
    EXPECT_THAT(rows, Each(SizeIs(23)));
}

TEST_F(T8settingsProgress, NothingIsToldWhereItCannotBeTakenAway) {
    EXPECT_THAT(shownBy({"verify"}, "dumb"),
                Not(testing::AnyOf(HasSubstr("checking line"), HasSubstr("\x1b"))));
    EXPECT_EQ("", run({"verify"}, {{"TERM", "xterm"}}).err);
}

}  // namespace
