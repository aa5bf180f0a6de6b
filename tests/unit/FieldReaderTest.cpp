#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

#include "text/Escaping.h"
#include "text/FieldReader.h"

namespace {

using Qel::Settings::text::appendEscaped;
using Qel::Settings::text::FieldReader;
using Qel::Settings::text::unescape;
using testing::ElementsAre;
using testing::IsEmpty;

using Strings = std::vector<std::string>;

/// All fields of the text.
Strings fields(const std::string& text) {
    FieldReader reader(text);
    Strings found;
    for (std::string field; reader.next(field);) {
        found.push_back(field);
    }
    return found;
}

/// The fields as strings, as a record takes them.
Strings strings(const std::string& text) {
    Strings found = fields(text);
    for (std::string& field : found) {
        field = unescape(field);
    }
    return found;
}

std::string written(const Strings& values) {
    std::string text;
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (i > 0) {
            text += ',';
        }
        appendEscaped(text, values[i]);
    }
    return text;
}

TEST(FieldReader, CommasSeparate) {
    EXPECT_THAT(fields("a,b,c"), ElementsAre("a", "b", "c"));
    EXPECT_THAT(fields("a"), ElementsAre("a"));
    EXPECT_THAT(fields(" a ,b;c"), ElementsAre(" a ", "b;c"));
}

TEST(FieldReader, AnEmptyTextHasNoField) {
    EXPECT_THAT(fields(""), IsEmpty());
}

TEST(FieldReader, AnEmptyFieldCountsAlsoBehindTheLastComma) {
    EXPECT_THAT(fields(","), ElementsAre("", ""));
    EXPECT_THAT(fields("a,"), ElementsAre("a", ""));
    EXPECT_THAT(fields(",,a"), ElementsAre("", "", "a"));
    EXPECT_THAT(fields("\"\""), ElementsAre(""));
}

TEST(FieldReader, ACommaWithinQuotesDoesNotSeparate) {
    EXPECT_THAT(fields("\"a,b\",c"), ElementsAre("a,b", "c"));
    EXPECT_THAT(fields("a\"b,c\"d,e"), ElementsAre("ab,cd", "e"));
    EXPECT_THAT(fields("\"a\"\"b,\",c"), ElementsAre("ab,", "c"));
}

TEST(FieldReader, AQuoteThatIsNotClosedRunsToTheEnd) {
    EXPECT_THAT(fields("a,\"b,c"), ElementsAre("a", "b,c"));
    EXPECT_THAT(fields("a,\""), ElementsAre("a", ""));
}

TEST(FieldReader, ACommaBehindABackslashDoesNotSeparateAndLosesIt) {
    EXPECT_THAT(fields("a\\,b,c"), ElementsAre("a,b", "c"));
    EXPECT_THAT(fields("\"a\\,b\",c"), ElementsAre("a,b", "c"));
}

TEST(FieldReader, OtherEscapesAreLeftToWhoeverTakesTheField) {
    EXPECT_THAT(fields("a\\\"b,c"), ElementsAre("a\\\"b", "c"));
    EXPECT_THAT(fields("a\\\\,b"), ElementsAre("a\\\\", "b"));
    EXPECT_THAT(fields("\\n\\0\\t"), ElementsAre("\\n\\0\\t"));
    EXPECT_THAT(fields("\"\\\",\",c"), ElementsAre("\\\",", "c"));
}

TEST(FieldReader, AnUnknownEscapeKeepsItsBackslash) {
    EXPECT_THAT(fields("\\q,C:\\x"), ElementsAre("\\q", "C:\\x"));
    EXPECT_THAT(strings("\\q,C:\\x"), ElementsAre("\\q", "C:\\x"));
}

TEST(FieldReader, ABackslashAtTheEndIsKept) {
    EXPECT_THAT(fields("a,b\\"), ElementsAre("a", "b\\"));
    EXPECT_THAT(fields("\\"), ElementsAre("\\"));
    EXPECT_THAT(fields("\"a\\"), ElementsAre("a\\"));
    EXPECT_THAT(strings("a,b\\"), ElementsAre("a", "b"));
}

TEST(FieldReader, TheRestIsWhatNobodyHasTaken) {
    FieldReader reader("\"a,b\",c,3,x;y");
    EXPECT_EQ(reader.rest(), "\"a,b\",c,3,x;y");
    std::string field = "old";
    ASSERT_TRUE(reader.next(field));
    EXPECT_EQ(field, "a,b");
    EXPECT_EQ(reader.rest(), "c,3,x;y");
    ASSERT_TRUE(reader.next(field));
    EXPECT_EQ(reader.rest(), "3,x;y");
}

TEST(FieldReader, BehindTheLastFieldThereIsNoRest) {
    FieldReader reader("a,b");
    std::string field;
    ASSERT_TRUE(reader.next(field));
    ASSERT_TRUE(reader.next(field));
    EXPECT_EQ(field, "b");
    EXPECT_EQ(reader.rest(), "");
    EXPECT_FALSE(reader.next(field));
    EXPECT_EQ(field, "");
    EXPECT_FALSE(reader.next(field));
}

TEST(FieldReader, WhatTheWriterMadeComesBackEqual) {
    const std::string special = ",;\"\\\n\r\t\a\b\v\f 0nabfrtv";
    std::mt19937 random(2024);
    const auto below = [&](std::size_t limit) {
        return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random);
    };
    for (int round = 0; round < 20000; ++round) {
        Strings values(2 + below(4));
        for (std::string& value : values) {
            for (std::size_t n = below(9); n > 0; --n) {
                value +=
                    below(2) == 0 ? special[below(special.size())] : static_cast<char>(below(256));
            }
        }
        const std::string text = written(values);
        ASSERT_EQ(strings(text), values) << text;
    }
}

}  // namespace
