#include <boost/crc.hpp>
#include <cstddef>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <string_view>

#include "text/Crc32.h"

namespace {

using Qel::Settings::text::crc32;

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

}  // namespace
