#include <gtest/gtest.h>
#include <string>

#include "text/Markup.h"
#include "text/XmlEncoding.h"

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

TEST(XmlEncoding, IsTakenFromTheDeclaration) {
    using Qel::Settings::text::declaredEncoding;
    EXPECT_EQ("UTF-7", declaredEncoding("<?xml version='1.0' encoding='utf-7'?><a/>"));
    EXPECT_EQ("UTF-7", declaredEncoding("\xEF\xBB\xBF<?xml version='1.0' encoding=\"UTF-7\"?>"));
    EXPECT_EQ("UTF-7", declaredEncoding("<?xml\n" + std::string(9000, ' ') +
                                        "encoding \t= \"UTF-7\" standalone='yes'?><a/>"));
    EXPECT_EQ("UTF-7", declaredEncoding("<?xml version='1.0 encoding='UTF-7'"));
    for (const char* document :
         {"", "<", "<?xml", "<?xml?>", "<a/>", "<?xml version='1.0'?><a encoding='UTF-7'/>",
          "<a encoding='UTF-7'/>", "<?xml-note encoding='UTF-7'?><a/>", "<?xml encoding",
          "<?xml encoding=''?>", "\xEF\xBB\xBF<a/>"}) {
        EXPECT_EQ("", declaredEncoding(document)) << document;
    }
}

TEST(XmlEncoding, OfMarkupThatStandsAsInAsciiIsKnown) {
    using Qel::Settings::text::isEncodingOf;
    for (const char* name : {"UTF-8", "US-ASCII", "ISO-8859-1", "ISO-8859-15", "WINDOWS-1252",
                             "CP1251", "KOI8-R", "IBM850", "EUC-JP", "BIG5-HKSCS", "SHIFT_JIS"}) {
        EXPECT_TRUE(isEncodingOf(name, 1)) << name;
    }
    for (const char* name : {"UTF-7", "ISO-2022-JP", "HZ", "JOHAB", "IBM037", "EBCDIC-US",
                             "UTF-16LE", "UCS-2", "UTF-32", "UCS-4", "WHAT"}) {
        EXPECT_FALSE(isEncodingOf(name, 1)) << name;
    }
}

TEST(Markup, BytesOfAnyKindAreNoTag) {
    for (const char* text : {"", "<", "<<", "<!", "<!<", ">", "\"", "<'"}) {
        EXPECT_FALSE(hasOverlongTag(text)) << text;
    }
    EXPECT_FALSE(hasOverlongTag(std::string("<\0", 2)));
}

}  // namespace
