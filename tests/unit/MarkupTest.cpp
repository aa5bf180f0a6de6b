#include <gtest/gtest.h>
#include <string>

#include "text/Markup.h"

using Qel::Settings::text::hasOverlongTag;
using Qel::Settings::text::kMostPartsOfATag;

namespace {

std::string repeated(std::size_t count, const std::string& text) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

std::string inUtf16(const std::string& text) {
    std::string wide;
    for (const char c : text) {
        wide += c;
        wide += '\0';
    }
    return wide;
}

constexpr std::size_t kTooMany = kMostPartsOfATag + 1;

TEST(Markup, TagMayHaveAThousandAttributesAndNoMore) {
    EXPECT_FALSE(hasOverlongTag("<a " + repeated(kMostPartsOfATag, "b='1'\n") + "/>"));
    EXPECT_TRUE(hasOverlongTag("<a " + repeated(kTooMany, "b='1'\n") + "/>"));
    EXPECT_TRUE(hasOverlongTag("<c/><b><a " + repeated(kTooMany, "b=\"'\" ") + "/></b>"));
    EXPECT_TRUE(hasOverlongTag("<a " + repeated(kTooMany, "b='1' ")));
}

TEST(Markup, DeclarationMayHaveAThousandValuesAndNoMore) {
    const std::string start = "<!DOCTYPE a [<!ATTLIST a b (c";
    const std::string end = ") #IMPLIED>]><a/>";
    EXPECT_FALSE(hasOverlongTag(start + repeated(kMostPartsOfATag, "|d") + end));
    EXPECT_TRUE(hasOverlongTag(start + repeated(kTooMany, "|d") + end));
}

TEST(Markup, EndOfATagInAValueIsNotTheEndOfTheTag) {
    EXPECT_TRUE(hasOverlongTag("<a " + repeated(kTooMany, "b='>' ") + "/>"));
}

TEST(Markup, WhatStandsInAValueDoesNotCount) {
    EXPECT_FALSE(hasOverlongTag("<a b='" + repeated(kTooMany, "\"|") + "'/>"));
}

TEST(Markup, TextCommentsAndSectionsMayHoldAnything) {
    const std::string much = repeated(kTooMany, "|'x' ");
    EXPECT_FALSE(hasOverlongTag("<a>" + much + "</a>" + much));
    EXPECT_FALSE(hasOverlongTag("<!--" + much + "--><a/>"));
    EXPECT_FALSE(hasOverlongTag("<a><![CDATA[" + much + "]]></a>"));
    EXPECT_FALSE(hasOverlongTag("<?p " + much + "?><a/>"));
}

TEST(Markup, ManyTagsAreNoLongTag) {
    EXPECT_FALSE(hasOverlongTag(repeated(kTooMany, "<a b='1'>")));
}

TEST(Markup, WideCharactersAreSeenThrough) {
    EXPECT_TRUE(hasOverlongTag(inUtf16("<a " + repeated(kTooMany, "b='1' ") + "/>")));
    EXPECT_TRUE(hasOverlongTag('\0' + inUtf16("<a " + repeated(kTooMany, "b='1' ") + "/>")));
    EXPECT_FALSE(hasOverlongTag(inUtf16("<!--" + repeated(kTooMany, "|") + "--><a/>")));
}

TEST(Markup, BytesOfAnyKindAreNoTag) {
    for (const char* text : {"", "<", "<<", "<!", "<!<", ">", "\"", "<'"}) {
        EXPECT_FALSE(hasOverlongTag(text)) << text;
    }
    EXPECT_FALSE(hasOverlongTag(std::string("<\0", 2)));
}

}  // namespace
