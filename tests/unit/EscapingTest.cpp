#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

#include "Qel/Settings/StrConv.h"
#include "text/Escaping.h"

namespace {

using Qel::Settings::StrConv::escapeString;
using Qel::Settings::StrConv::unescapeString;

struct Example {
    std::string value;
    std::string text;
};

std::string randomBytes(std::mt19937& random, const std::string& favourites) {
    std::uniform_int_distribution<int> length(0, 20);
    std::uniform_int_distribution<int> byte(0, 255);
    std::uniform_int_distribution<std::size_t> favourite(0, favourites.size() - 1);
    std::string bytes;
    for (int left = length(random); left > 0; --left) {
        const bool fromFavourites = byte(random) < 128;
        bytes += fromFavourites ? favourites[favourite(random)] : static_cast<char>(byte(random));
    }
    return bytes;
}

TEST(Escaping, ExamplesAreWrittenAndReadBack) {
    const std::vector<Example> examples = {{"abc", "abc"},
                                           {"a,b", "\"a,b\""},
                                           {"x;y", "\"x;y\""},
                                           {R"(say "hi")", R"(say \"hi\")"},
                                           {R"(C:\dir)", R"(C:\\dir)"},
                                           {"one\ntwo", "one\\ntwo"},
                                           {"\t,", R"("\t,")"},
                                           {"", ""},
                                           {",", "\",\""},
                                           {"a,b;c,d", "\"a,b;c,d\""},
                                           {R"("a,b")", R"("\"a,b\"")"},
                                           {" a = b # c ", " a = b # c "},
                                           {"\\", "\\\\"},
                                           {R"("")", R"(\"\")"}};
    for (const Example& example : examples) {
        EXPECT_EQ(escapeString(example.value), example.text);
        EXPECT_EQ(unescapeString(example.text), example.value);
    }
}

TEST(Escaping, EveryByteIsWrittenAsItsTableSays) {
    const std::vector<Example> escaped = {{std::string(1, '\0'), "\\0"},
                                          {"\x07", "\\a"},
                                          {"\x08", "\\b"},
                                          {"\x09", "\\t"},
                                          {"\x0A", "\\n"},
                                          {"\x0B", "\\v"},
                                          {"\x0C", "\\f"},
                                          {"\x0D", "\\r"},
                                          {"\"", "\\\""},
                                          {"\\", "\\\\"},
                                          {",", "\",\""},
                                          {";", "\";\""}};
    for (int byte = 0; byte < 256; ++byte) {
        const std::string value(1, static_cast<char>(byte));
        std::string expected = value;
        for (const Example& example : escaped) {
            if (example.value == value) expected = example.text;
        }
        EXPECT_EQ(escapeString(value), expected) << byte;
        EXPECT_EQ(unescapeString(expected), value) << byte;
    }
}

TEST(Escaping, EveryStringComesBackAsItWas) {
    std::mt19937 random(1);
    for (int i = 0; i < 100000; ++i) {
        const std::string value = randomBytes(random, ",;\"\\\t\r\n n0a");
        ASSERT_EQ(unescapeString(escapeString(value)), value);
    }
}

TEST(Escaping, EscapedTextIsAppended) {
    std::string out = "key = string,";
    Qel::Settings::text::appendEscaped(out, "a;b");
    Qel::Settings::text::appendEscaped(out, "\n");
    EXPECT_EQ(out, "key = string,\"a;b\"\\n");
}

TEST(Escaping, EnclosingQuotesWrittenByHandAreDropped) {
    EXPECT_EQ(unescapeString("\"abc\""), "abc");
    EXPECT_EQ(unescapeString("\"\""), "");
    EXPECT_EQ(unescapeString("\"\"x\"\""), "\"x\"");
    EXPECT_EQ(unescapeString("\""), "\"");
    EXPECT_EQ(unescapeString("\"abc"), "\"abc");
    EXPECT_EQ(unescapeString("abc\""), "abc\"");
    EXPECT_EQ(unescapeString("a\"b\"c"), "a\"b\"c");
}

TEST(Escaping, AnUnknownEscapeStaysAsItIs) {
    EXPECT_EQ(unescapeString("\\x"), "\\x");
    EXPECT_EQ(unescapeString("a\\qb"), "a\\qb");
    EXPECT_EQ(unescapeString("\\,\\;"), "\\,\\;");
    EXPECT_EQ(unescapeString("\\N\\T"), "\\N\\T");
    EXPECT_EQ(unescapeString("\\\xFF"), "\\\xFF");
    EXPECT_EQ(unescapeString(std::string("\\\0", 2)), std::string("\\\0", 2));
}

TEST(Escaping, OnlyTheTenLettersOfTheTableAreEscapes) {
    const std::string kLetters = "\"0\\abfnrtv";
    const std::string kBytes("\"\0\\\a\b\f\n\r\t\v", 10);
    for (int byte = 0; byte < 256; ++byte) {
        const std::string text = {'\\', static_cast<char>(byte)};
        const std::size_t at = kLetters.find(static_cast<char>(byte));
        const std::string expected = at == std::string::npos ? text : std::string(1, kBytes[at]);
        EXPECT_EQ(unescapeString(text), expected) << byte;
    }
}

TEST(Escaping, ABackslashAtTheEndIsDropped) {
    EXPECT_EQ(unescapeString("abc\\"), "abc");
    EXPECT_EQ(unescapeString("\\"), "");
    EXPECT_EQ(unescapeString("\\\\\\"), "\\");
    EXPECT_EQ(unescapeString("\"abc\\\""), "abc");
}

}  // namespace
