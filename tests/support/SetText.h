#ifndef TESTS_SUPPORT_SETTEXT_H
#define TESTS_SUPPORT_SETTEXT_H

#include <cstddef>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "Sanitized.h"
#include "ToolRun.h"

namespace testsupport {

/// What becomes of a text that somebody sets.
struct Case {
    std::string text;
    std::string result;  ///< what `get` shows then or, of a refused text, what `set` says of it
    bool accepted = true;
};

/// As the tool quotes a text in a message.
inline std::string inQuotes(const std::string& text) {
    const bool hasQuotes = text.find('"') != std::string::npos;
    std::string quoted;
    for (const char c : text) {
        quoted += c == '\0' ? "\\x00" : c == '\'' && hasQuotes ? "'\\''" : std::string(1, c);
    }
    return hasQuotes ? "'" + quoted + "'" : '"' + quoted + '"';
}

inline Case refused(const std::string& text, const std::string& wouldBe) {
    return {text, " " + inQuotes(wouldBe) + " ", false};
}

inline Case unreadable(const std::string& text) {
    return {text, " would not keep " + inQuotes(text) + ", it cannot be read\n", false};
}

class SetTextTest : public ToolTest {
protected:
    /// Tries the texts, one after the other, on a setting of the type that starts with the text
    /// `initial`.
    void check(const std::string& type, const std::string& initial,
               const std::vector<Case>& cases) {
        const std::string line = "value = " + type + "," + initial + "\n";
        std::filesystem::remove(path("settings/t.ini"));
        put("qel-default-settings/t.ini", "#name = t\n[v]\n" + line);
        std::string shown = run({"get", "t/v/value"}).out;
        for (const Case& one : cases) {
            if (turn_++ % kTimesLess != 0) {
                continue;
            }
            SCOPED_TRACE(type + " <" + one.text + ">");
            const ToolRun set = run({"set", "t/v/value", "--", one.text});
            if (one.accepted) {
                EXPECT_EQ("", set.err);
                EXPECT_EQ(0, set.exitCode);
                shown = one.result + "\n";
            } else {
                expectRefused(set, type, one.result);
            }
            EXPECT_EQ(shown, run({"get", "t/v/value"}).out);
        }
    }

private:
    static void expectRefused(const ToolRun& set, const std::string& type, const std::string& why) {
        EXPECT_EQ("", set.out);
        EXPECT_EQ(1, set.exitCode);
        EXPECT_THAT(set.err, testing::HasSubstr("t8settings: t/v/value is unchanged: " + type +
                                                " would not keep "));
        EXPECT_THAT(set.err, testing::HasSubstr(why));
        EXPECT_THAT(set.err, testing::AnyOf(testing::HasSubstr("\nt8settings: " + type + " takes "),
                                            testing::ContainsRegex(
                                                "\nt8settings: (element|entry|key|value of|field) "
                                                "[^:]*: .* takes ")));
    }

    std::size_t turn_ = 0;
};

}  // namespace testsupport

#endif
