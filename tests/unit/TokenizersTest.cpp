#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "Qel/Settings/StrConv.h"

namespace {

using Qel::Settings::StrConv::arrayFromStringtokenizer;
using Qel::Settings::StrConv::lengthItemTokenizer;
using testing::ElementsAre;

std::vector<std::string> fieldsOf(const std::string& text) {
    std::vector<std::string> fields;
    std::string token = "left over";
    std::string::const_iterator it = text.begin();
    while (arrayFromStringtokenizer(it, text.end(), token)) fields.push_back(token);
    EXPECT_EQ(token, "");
    EXPECT_TRUE(it == text.end());
    return fields;
}

struct Item {
    bool found;
    std::string token;
    std::string rest;
};

bool operator==(const Item& a, const Item& b) {
    return a.found == b.found && a.token == b.token && a.rest == b.rest;
}

void PrintTo(const Item& item, std::ostream* out) {
    *out << item.found << " \"" << item.token << "\" before \"" << item.rest << '"';
}

Item itemOf(const std::string& text) {
    Item item{false, "left over", ""};
    std::string::const_iterator it = text.begin();
    item.found = lengthItemTokenizer(it, text.end(), item.token);
    item.rest.assign(it, text.end());
    return item;
}

TEST(Tokenizers, AnEmptyFieldCountsAndTheEndDoesNot) {
    EXPECT_THAT(fieldsOf(""), ElementsAre());
    EXPECT_THAT(fieldsOf(";"), ElementsAre(""));
    EXPECT_THAT(fieldsOf(";;"), ElementsAre("", ""));
    EXPECT_THAT(fieldsOf("1;;2"), ElementsAre("1", "", "2"));
    EXPECT_THAT(fieldsOf("1;2;"), ElementsAre("1", "2"));
    EXPECT_THAT(fieldsOf("a b,c"), ElementsAre("a b,c"));
}

TEST(Tokenizers, ASeparatorInQuotesOrBehindABackslashBelongsToItsField) {
    EXPECT_THAT(fieldsOf("a;\"b;c\";d"), ElementsAre("a", "\"b;c\"", "d"));
    EXPECT_THAT(fieldsOf("a\\;b;c"), ElementsAre("a\\;b", "c"));
    EXPECT_THAT(fieldsOf("x\"y;z"), ElementsAre("x\"y;z"));
    EXPECT_THAT(fieldsOf("\\\\;b"), ElementsAre("\\\\", "b"));
    EXPECT_THAT(fieldsOf("a\\"), ElementsAre("a\\"));
}

TEST(Tokenizers, AnEscapedQuoteDoesNotOpenQuotes) {
    EXPECT_THAT(fieldsOf("say \\\"x;y\\\""), ElementsAre("say \\\"x", "y\\\""));
    EXPECT_THAT(fieldsOf("\"a\\\";b\";c"), ElementsAre("\"a\\\";b\"", "c"));
}

TEST(Tokenizers, TheIteratorStandsBehindTheSeparator) {
    const std::string text = "ab;cd";
    std::string token;
    std::string::const_iterator it = text.begin();
    ASSERT_TRUE(arrayFromStringtokenizer(it, text.end(), token));
    EXPECT_EQ(it - text.begin(), 3);
    EXPECT_EQ(token, "ab");
    ASSERT_TRUE(arrayFromStringtokenizer(it, text.end(), token));
    EXPECT_TRUE(it == text.end());
    EXPECT_EQ(token, "cd");
}

TEST(Tokenizers, AnItemIsTakenByItsLength) {
    EXPECT_EQ(itemOf("3,abc"), (Item{true, "abc", ""}));
    EXPECT_EQ(itemOf("3,abcdef"), (Item{true, "abc", "def"}));
    EXPECT_EQ(itemOf("5,a,;\"b,1,x"), (Item{true, "a,;\"b", ",1,x"}));
    EXPECT_EQ(itemOf("003,abc,"), (Item{true, "abc", ","}));
    EXPECT_EQ(itemOf("12,twelve bytes,"), (Item{true, "twelve bytes", ","}));
    EXPECT_EQ(itemOf(std::string("2,\0\n", 4)), (Item{true, std::string("\0\n", 2), ""}));
}

TEST(Tokenizers, AnItemThatIsMalformedOrCutShortIsRefused) {
    EXPECT_EQ(itemOf(""), (Item{false, "", ""}));
    EXPECT_EQ(itemOf("x"), (Item{false, "", "x"}));
    EXPECT_EQ(itemOf(",a"), (Item{false, "", ",a"}));
    EXPECT_EQ(itemOf("-1,a"), (Item{false, "", "-1,a"}));
    EXPECT_EQ(itemOf(" 1,a"), (Item{false, "", " 1,a"}));
    EXPECT_EQ(itemOf("3"), (Item{false, "", ""}));
    EXPECT_EQ(itemOf("3,"), (Item{false, "", ""}));
    EXPECT_EQ(itemOf("3;abc"), (Item{false, "", ";abc"}));
    EXPECT_EQ(itemOf("3,ab"), (Item{false, "ab", ""}));
}

TEST(Tokenizers, AnItemOfLengthZeroIsRefused) {
    EXPECT_EQ(itemOf("0,"), (Item{false, "", ","}));
    EXPECT_EQ(itemOf("0,x"), (Item{false, "", ",x"}));
    EXPECT_EQ(itemOf("000,x"), (Item{false, "", ",x"}));
}

TEST(Tokenizers, AnAbsurdLengthTakesWhatThereIs) {
    EXPECT_EQ(itemOf("99999999999999999999,a"), (Item{false, "a", ""}));
    EXPECT_EQ(itemOf(std::string(1000, '9') + ",abc"), (Item{false, "abc", ""}));
    EXPECT_EQ(itemOf("18446744073709551617,a"), (Item{false, "a", ""}));
    EXPECT_EQ(itemOf("4294967297,a"), (Item{false, "a", ""}));
}

}  // namespace
