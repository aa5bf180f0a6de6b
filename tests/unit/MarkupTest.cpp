#include <gtest/gtest.h>
#include <string>

#include "text/Markup.h"
#include "text/XmlEncoding.h"

using Qel::Settings::text::hasOverlongTag;
using Qel::Settings::text::hasUnreadEncoding;
using Qel::Settings::text::kMostPartsOfATag;

namespace {

std::string repeated(std::size_t count, const std::string& text) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) {
        all += text;
    }
    return all;
}

/// The text in units of so many bytes.
std::string inUnits(std::size_t unit, bool bigEndian, const std::string& text) {
    std::string wide;
    for (const char c : text) {
        std::string bytes(unit, '\0');
        bytes[bigEndian ? unit - 1 : 0] = c;
        wide += bytes;
    }
    return wide;
}

/// In UTF-16 with a mark; "^" stands for a letter one of whose bytes is "<", "~" for one with ">".
std::string inUtf16(bool bigEndian, const std::string& text) {
    std::string wide = inUnits(2, bigEndian, '^' + text);
    for (std::size_t at = 0; at < wide.size(); at += 2) {
        char& low = wide[at + (bigEndian ? 1 : 0)];
        char& high = wide[at + (bigEndian ? 0 : 1)];
        if (low == '^' || low == '~') {
            high = low == '^' ? '<' : '>';
            low = 'A';
        }
    }
    return wide.replace(0, 2, bigEndian ? "\xFE\xFF" : "\xFF\xFE");
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
    const std::string tooMany = repeated(kTooMany, "b='1' ");
    for (const bool bigEndian : {false, true}) {
        EXPECT_TRUE(hasOverlongTag(inUtf16(bigEndian, "<a " + tooMany + "/>")));
        EXPECT_FALSE(hasOverlongTag(inUtf16(bigEndian, "<!--" + tooMany + "--><a/>")));
        const std::string document = "<?xml version='1.0'?><a " + tooMany + "/>";
        EXPECT_TRUE(hasOverlongTag(inUnits(2, bigEndian, document)));
        EXPECT_TRUE(hasOverlongTag(inUnits(4, bigEndian, document)));
    }
}

TEST(Markup, ByteOfAWideLetterIsNoBracket) {
    for (const bool bigEndian : {false, true}) {
        SCOPED_TRACE(bigEndian);
        for (const char* name : {"~", "a~", "^", "a^~"}) {
            EXPECT_TRUE(hasOverlongTag(inUtf16(
                bigEndian, "<" + std::string(name) + " " + repeated(kTooMany, "b='^' ") + "/>")));
            EXPECT_TRUE(hasOverlongTag(
                inUtf16(bigEndian, "<!DOCTYPE a [<!ATTLIST " + std::string(name) + " b (c" +
                                       repeated(kTooMany, "|^~") + ") #IMPLIED>]><a/>")));
        }
        EXPECT_FALSE(
            hasOverlongTag(inUtf16(bigEndian, "<a>^" + repeated(kTooMany, "'^' |") + "</a>")));
    }
}

// libxml2 believes the declaration, and goes over to the other order where it ends.
TEST(Markup, ByteOrderMayChangeInTheMidstOfADocument) {
    const std::string document = inUtf16(true, "<?xml version='1.0' encoding='UTF-16LE'?>") +
                                 inUnits(2, false, "<a " + repeated(kTooMany, "b='1' ") + "/>");
    EXPECT_FALSE(hasUnreadEncoding(document));
    EXPECT_TRUE(hasOverlongTag(document));
}

std::string declaring(const std::string& encoding) {
    return "<?xml version='1.0' encoding='" + encoding + "'?><a/>";
}

TEST(XmlEncoding, OfMarkupThatStandsAsInAsciiIsRead) {
    for (const char* name :
         {"UTF-8", "utf-8", "US-ASCII", "ISO-8859-1", "iso-8859-15", "windows-1252", "CP1251",
          "KOI8-R", "IBM850", "EUC-JP", "GB18030", "Big5-HKSCS", "Shift_JIS"}) {
        EXPECT_FALSE(hasUnreadEncoding(declaring(name))) << name;
    }
    for (const char* document :
         {"", "<", "<?xml", "<?xml?>", "<a/>", "<?xml version='1.0'?><a encoding='UTF-7'/>",
          "<a encoding='UTF-7'/>", "<?xml-note encoding='UTF-7'?><a/>", "<?xml encoding",
          "<?xml encoding=''?>", "\xEF\xBB\xBF<a/>"}) {
        EXPECT_FALSE(hasUnreadEncoding(document)) << document;
    }
}

TEST(XmlEncoding, ThatHidesMarkupIsNotRead) {
    for (const char* name :
         {"UTF-7", "utf-7", "ISO-2022-JP", "ISO-2022-KR", "HZ", "JOHAB", "IBM037", "EBCDIC-US",
          "UTF-16LE", "UTF-16BE", "UCS-2", "ISO-10646-UCS-2", "UTF-32", "UCS-4", "what"}) {
        EXPECT_TRUE(hasUnreadEncoding(declaring(name))) << name;
        EXPECT_TRUE(hasUnreadEncoding("\xEF\xBB\xBF" + declaring(name))) << name;
    }
    EXPECT_TRUE(hasUnreadEncoding("<?xml\n" + std::string(9000, ' ') + "encoding \t= \"UTF-7\""));
    EXPECT_TRUE(hasUnreadEncoding("<?xml version='1.0 encoding='UTF-7'"));
    EXPECT_TRUE(hasUnreadEncoding("\x4C\x6F\xA7\x94\x93"));
}

TEST(XmlEncoding, MayBeDeclaredAsAnotherOfTheSameUnitsOnly) {
    for (const bool bigEndian : {false, true}) {
        for (const char* name : {"UTF-16", "UTF-16LE", "utf-16be", "ISO-10646-UCS-2", "UTF-8"}) {
            EXPECT_FALSE(hasUnreadEncoding(inUtf16(bigEndian, declaring(name)))) << name;
        }
        for (const char* name : {"ISO-8859-1", "UTF-7", "UTF-32", "UCS-4"}) {
            EXPECT_TRUE(hasUnreadEncoding(inUtf16(bigEndian, declaring(name)))) << name;
            EXPECT_TRUE(hasUnreadEncoding(inUnits(2, bigEndian, declaring(name)))) << name;
        }
        EXPECT_FALSE(hasUnreadEncoding(inUnits(4, bigEndian, declaring("UCS-4"))));
        EXPECT_TRUE(hasUnreadEncoding(inUnits(4, bigEndian, declaring("UTF-16LE"))));
    }
}

TEST(Markup, BytesOfAnyKindAreNoTag) {
    for (const char* text : {"", "<", "<<", "<!", "<!<", ">", "\"", "<'"}) {
        EXPECT_FALSE(hasOverlongTag(text)) << text;
    }
    EXPECT_FALSE(hasOverlongTag(std::string("<\0", 2)));
}

}  // namespace
