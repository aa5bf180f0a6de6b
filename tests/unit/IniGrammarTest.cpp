#include <gtest/gtest.h>
#include <locale>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "text/IniGrammar.h"

namespace {

using Qel::Settings::text::IniLine;
using Qel::Settings::text::IniWalk;
using Qel::Settings::text::parseLine;
using Qel::Settings::text::splitHeader;
using Qel::Settings::text::WhiteSpace;
using Kind = IniLine::Kind;

struct Expected {
    std::string line;
    Kind kind;
    std::string key;
    std::string type;
    std::string value;
};

void expectParts(const IniLine& parts, const Expected& expected) {
    EXPECT_EQ(static_cast<int>(parts.kind), static_cast<int>(expected.kind)) << expected.line;
    EXPECT_EQ(parts.key, expected.key) << expected.line;
    EXPECT_EQ(parts.type, expected.type) << expected.line;
    EXPECT_EQ(parts.value, expected.value) << expected.line;
}

void expectLines(const std::vector<Expected>& lines) {
    const WhiteSpace whiteSpace;
    for (const Expected& expected : lines) {
        expectParts(parseLine(whiteSpace.trim(expected.line), whiteSpace), expected);
    }
}

TEST(IniGrammar, ALineOfWhiteSpaceIsBlank) {
    expectLines({{"", Kind::Blank, "", "", ""}, {" \t\r", Kind::Blank, "", "", ""}});
}

TEST(IniGrammar, AHeaderIsSplitAtItsFirstEquals) {
    expectLines({{"#name = settings", Kind::Header, "name", "", "settings"},
                 {"#savepolicy=async\r", Kind::Header, "savepolicy", "", "async"},
                 {"  # crc32 =\t1168239953 ", Kind::Header, "crc32", "", "1168239953"},
                 {"#a = b = c", Kind::Header, "a", "", "b = c"},
                 {"#a =", Kind::Header, "a", "", ""},
                 {"#= b", Kind::Header, "", "", "b"},
                 {"## a = b", Kind::Header, "# a", "", "b"},
                 {"#name = a,b", Kind::Header, "name", "", "a,b"}});
}

TEST(IniGrammar, AHeaderWithoutEqualsIsAllKey) {
    expectLines({{"#readonly", Kind::Header, "readonly", "", ""},
                 {"#  a comment, as people write it ", Kind::Header,
                  "a comment, as people write it", "", ""},
                 {"#", Kind::Header, "", "", ""}});
}

TEST(IniGrammar, AHeaderNeedsNoTrimmingFirst) {
    const WhiteSpace whiteSpace;
    expectParts(splitHeader("#crc32 = 0x45A2 \r", whiteSpace),
                {"", Kind::Header, "crc32", "", "0x45A2"});
}

TEST(IniGrammar, ASectionIsTheTrimmedTextInItsBrackets) {
    expectLines({{"[sound]", Kind::Section, "sound", "", ""},
                 {" [ sound ] ", Kind::Section, "sound", "", ""},
                 {"[a/b c]", Kind::Section, "a/b c", "", ""},
                 {"[a = int,1]", Kind::Section, "a = int,1", "", ""},
                 {"[[a]]", Kind::Section, "[a]", "", ""}});
}

TEST(IniGrammar, ASectionWithoutNameOrClosingBracketIsSkipped) {
    expectLines({{"[]", Kind::SkippedSection, "", "", ""},
                 {"[ ]", Kind::SkippedSection, "", "", ""},
                 {"[abc", Kind::SkippedSection, "", "", ""},
                 {"[", Kind::SkippedSection, "", "", ""},
                 {"[abc] x", Kind::SkippedSection, "", "", ""},
                 {"[a = int,1", Kind::SkippedSection, "", "", ""}});
}

TEST(IniGrammar, ASettingIsSplitAtItsFirstEqualsAndTheCommaAfterIt) {
    expectLines(
        {{"bass = int8,-2", Kind::Setting, "bass", "int8", "-2"},
         {"bass=int8,-2", Kind::Setting, "bass", "int8", "-2"},
         {"\ta b \t=  map<int:string> , 1,7 \r", Kind::Setting, "a b", "map<int:string>", "1,7"},
         {"k = string,a=b,c", Kind::Setting, "k", "string", "a=b,c"},
         {"k = a=b,c", Kind::Setting, "k", "a=b", "c"},
         {"a,b = int,1", Kind::Setting, "a,b", "int", "1"},
         {"k = string,", Kind::Setting, "k", "string", ""},
         {"=,", Kind::Setting, "", "", ""},
         {"a#b = string,#c", Kind::Setting, "a#b", "string", "#c"},
         {"a]= string,[b]", Kind::Setting, "a]", "string", "[b]"}});
}

TEST(IniGrammar, ALineThatLacksEqualsOrTheCommaAfterItIsMalformed) {
    expectLines({{"a,b = int", Kind::Malformed, "", "", ""},
                 {"bass", Kind::Malformed, "", "", ""},
                 {"bass = int8", Kind::Malformed, "", "", ""},
                 {"bass, int8", Kind::Malformed, "", "", ""},
                 {"=", Kind::Malformed, "", "", ""},
                 {"]", Kind::Malformed, "", "", ""}});
}

TEST(IniGrammar, TheSixWhiteBytesAreTrimmed) {
    const WhiteSpace whiteSpace;
    for (int byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        const bool white = std::string(" \t\n\v\f\r").find(c) != std::string::npos;
        const std::string text = {c, 'x', c};
        EXPECT_EQ(whiteSpace.trim(text), white ? "x" : text) << byte;
    }
    EXPECT_EQ(whiteSpace.trim(" a \t b "), "a \t b");
}

TEST(IniGrammar, TrimmedTextIsAViewOfTheSameBytes) {
    const std::string line = "  ab ";
    const WhiteSpace whiteSpace;
    EXPECT_EQ(whiteSpace.trim(line).data(), line.data() + 2);
}

/// Calls "_" and the byte 0xA0 white, as a Latin-1 locale does with the latter.
class OddSpace : public std::ctype<char> {
public:
    OddSpace() : std::ctype<char>(table()) {}

private:
    static const mask* table() {
        static std::vector<mask> masks(classic_table(), classic_table() + table_size);
        masks['_'] = space;
        masks[0xA0] = space;
        return masks.data();
    }
};

TEST(IniGrammar, WhiteSpaceIsTheLocalesAsFarAsItIsAscii) {
    const std::locale previous =
        std::locale::global(std::locale(std::locale::classic(), new OddSpace));
    const WhiteSpace odd;
    std::locale::global(previous);
    EXPECT_EQ(odd.trim("_ a_b _"), "a_b");
    EXPECT_EQ(odd.trim("voil\xC3\xA0"), "voil\xC3\xA0");
    EXPECT_EQ(odd.trim("\xA0x"), "\xA0x");
    EXPECT_EQ(WhiteSpace().trim("_x_"), "_x_");
}

/// Number and text of each line; "!" before the first one.
std::vector<std::string> walked(const std::string& text) {
    std::vector<std::string> lines;
    IniWalk walk(text);
    while (walk.next()) {
        lines.push_back((walk.isFirst() ? "!" : "") + std::to_string(walk.number()) + ":" +
                        std::string(walk.whole()));
    }
    return lines;
}

TEST(IniWalk, BlankLinesAreCountedAndPassedOver) {
    EXPECT_EQ(walked(" \n\n# a \r\n\n[b]\nc = int,1"),
              (std::vector<std::string>{"!3:# a", "5:[b]", "6:c = int,1"}));
    EXPECT_EQ(walked(""), std::vector<std::string>());
    EXPECT_EQ(walked("\n \n"), std::vector<std::string>());
}

TEST(IniWalk, LineIsTakenApart) {
    IniWalk walk("[s]\n  a = int , 1 \n");
    ASSERT_TRUE(walk.next());
    expectParts(walk.line(), {"[s]", Kind::Section, "s", "", ""});
    ASSERT_TRUE(walk.next());
    expectParts(walk.line(), {"  a = int , 1 ", Kind::Setting, "a", "int", "1"});
    EXPECT_FALSE(walk.next());
    EXPECT_FALSE(walk.next());
}

}  // namespace
