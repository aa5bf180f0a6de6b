#include <boost/crc.hpp>
#include <cstddef>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <string_view>

#include "text/Crc32.h"
#include "text/CrcCheck.h"

namespace {

using Qel::Settings::text::crc32;
using Qel::Settings::text::CrcCheck;

TEST(Crc32, TheNineDigitsGiveTheStandardCheckValue) {
    EXPECT_EQ(crc32("123456789"), 0xCBF43926U);
    EXPECT_EQ(crc32(""), 0U);
    EXPECT_EQ(crc32(std::string_view("\0", 1)), 0xD202EF8DU);
    EXPECT_EQ(crc32("\xFF\xFF\xFF\xFF"), 0xFFFFFFFFU);
}

TEST(Crc32, ASettingsFileHasTheDocumentedCheckValue) {
    EXPECT_EQ(crc32("#name = settings\n"
                    "#savepolicy = async\n"
                    "[sound]\n"
                    "bass = int8,-2\n"
                    "treble = int8,3"),
              1168239953U);
}

TEST(Crc32, AnyBytesGiveTheStandardCrc) {
    std::mt19937 random(3);
    std::uniform_int_distribution<int> byte(0, 255);
    for (std::size_t length = 0; length < 600; ++length) {
        std::string data(length, '\0');
        for (char& c : data) c = static_cast<char>(byte(random));
        boost::crc_32_type standard;
        standard.process_bytes(data.data(), data.size());
        ASSERT_EQ(crc32(data), standard.checksum()) << length;
    }
}

const std::string kText = "#name = a\nb = int,1";

TEST(CrcCheck, LineThatWasAppendedPasses) {
    std::string data = kText;
    Qel::Settings::text::appendCrcLine(data, crc32(kText));
    EXPECT_EQ(kText + "\n#crc32 = " + std::to_string(crc32(kText)) + "\n", data);
    const CrcCheck check(data);
    EXPECT_TRUE(check.hasLine());
    EXPECT_TRUE(check.passes());
    EXPECT_FALSE(check.isOff());
    EXPECT_EQ(kText.size(), check.textSize);
    EXPECT_EQ(crc32(kText), check.computed);
    EXPECT_EQ(crc32(kText), check.read);
}

TEST(CrcCheck, TextWithoutALineOfItsOwnIsNotChecked) {
    for (const std::string data : {"", "#crc32 = 0\n", "a = int,1\n #crc32 = 0\n"}) {
        const CrcCheck check(data);
        EXPECT_FALSE(check.hasLine()) << data;
        EXPECT_FALSE(check.passes()) << data;
        EXPECT_FALSE(check.isOff()) << data;
    }
}

TEST(CrcCheck, LastLineCounts) {
    const std::string first = kText + "\n#crc32 = false";
    const std::string data = first + "\n#crc32 = 12\n";
    const CrcCheck check(data);
    EXPECT_EQ(first.size(), check.textSize);
    EXPECT_EQ(crc32(first), check.computed);
    EXPECT_EQ(12U, check.read);
    EXPECT_FALSE(check.passes());
}

TEST(CrcCheck, WordFalseSwitchesTheCheckOff) {
    const std::string off = kText + "\n#crc32 = false\n";
    EXPECT_TRUE(CrcCheck(off).isOff());
    EXPECT_TRUE(CrcCheck(off).passes());
    const std::string other = kText + "\n#crc32 = False\n";
    EXPECT_FALSE(CrcCheck(other).isOff());
    EXPECT_FALSE(CrcCheck(other).passes());
}

TEST(CrcCheck, NumberWithoutTheLineFeedBehindItIsCut) {
    const std::string data = kText + "\n#crc32 = 123";
    EXPECT_EQ(12U, CrcCheck(data).read);
}

}  // namespace
