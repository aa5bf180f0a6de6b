#include <climits>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <locale>
#include <random>
#include <sstream>
#include <stdlib.h>
#include <string>
#include <vector>

#include "CommaLocale.h"
#include "Files.h"
#include "TempDir.h"
#include "text/Numbers.h"

namespace {

using namespace Qel::Settings;

template <class Value>
struct Reading {
    std::string text;
    Value value;
};

template <class Integer>
void expectReadings(const std::vector<Reading<Integer>>& readings) {
    for (const auto& reading : readings) {
        EXPECT_EQ(text::parseInteger<Integer>(reading.text), reading.value) << reading.text;
    }
}

std::string written(double value) {
    std::string out;
    text::appendDouble(out, value);
    return out;
}

std::string streamed(double value) {
    std::ostringstream stream;
    stream.imbue(std::locale::classic());
    stream << value;
    return stream.str();
}

double doubleOfBits(std::uint64_t bits) {
    double value;
    static_assert(sizeof value == sizeof bits, "a double has 64 bits");
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

/// Text in which white space, signs, digits and other bytes are all likely.
std::string randomNumberText(std::mt19937& random) {
    static const char kBytes[] = " \t\n\v\f\r+-0123456789012345678901234567890123456789x.";
    std::uniform_int_distribution<std::size_t> byte(0, sizeof kBytes - 2);
    std::uniform_int_distribution<int> length(0, 24);
    std::string text;
    for (int left = length(random); left > 0; --left) text += kBytes[byte(random)];
    return text;
}

TEST(Numbers, ReadingStopsAtTheFirstByteThatDoesNotFit) {
    expectReadings<int>({{" +12x", 12},
                         {"x", 0},
                         {"", 0},
                         {"0x10", 0},
                         {"012", 12},
                         {"-7", -7},
                         {"+-7", 0},
                         {"- 7", 0},
                         {"-", 0},
                         {"+", 0},
                         {"1.9", 1},
                         {"1 2", 1},
                         {"1,234", 1},
                         {"00000000000000000000042", 42},
                         {std::string("5\0006", 3), 5},
                         {"\xD9\xA3", 0}});
}

TEST(Numbers, SignedNumbersAreHeldToThirtyTwoBits) {
    expectReadings<int>({{"2147483647", INT_MAX},
                         {"2147483648", INT_MAX},
                         {"99999999999", INT_MAX},
                         {"-2147483647", -INT_MAX},
                         {"-2147483648", INT_MIN},
                         {"-2147483649", INT_MIN},
                         {"-99999999999", INT_MIN},
                         {"18446744073709551617", INT_MAX},
                         {"-18446744073709551617", INT_MIN},
                         {"4294967297", INT_MAX}});
}

TEST(Numbers, UnsignedNumbersAreNegatedWithinThirtyTwoBitsWhenTheDigitsFit) {
    expectReadings<unsigned int>({{"4294967295", 4294967295U},
                                  {"4294967296", 4294967295U},
                                  {"99999999999", 4294967295U},
                                  {"-1", 4294967295U},
                                  {"-5", 4294967291U},
                                  {"-4294967295", 1U},
                                  {"-4294967296", 4294967295U},
                                  {"-0", 0U},
                                  {"-18446744073709551615", 4294967295U},
                                  {"  -2", 4294967294U}});
}

TEST(Numbers, LongLongNumbersAreHeldToSixtyFourBits) {
    expectReadings<long long>({{"9223372036854775807", LLONG_MAX},
                               {"9223372036854775808", LLONG_MAX},
                               {"-9223372036854775808", LLONG_MIN},
                               {"-9223372036854775809", LLONG_MIN},
                               {"2147483648", 2147483648LL},
                               {"-99999999999999999999999", LLONG_MIN}});
    expectReadings<unsigned long long>({{"18446744073709551615", ULLONG_MAX},
                                        {"18446744073709551616", ULLONG_MAX},
                                        {"-1", ULLONG_MAX},
                                        {"-18446744073709551615", 1ULL},
                                        {"-18446744073709551616", ULLONG_MAX},
                                        {"4294967296", 4294967296ULL}});
}

TEST(Numbers, LongLongNumbersAgreeWithTheCLibrary) {
    std::mt19937 random(20);
    for (int i = 0; i < 200000; ++i) {
        const std::string text = randomNumberText(random);
        const char* const chars = text.c_str();
        ASSERT_EQ(text::parseInteger<long long>(text), std::strtoll(chars, nullptr, 10)) << text;
        ASSERT_EQ(text::parseInteger<unsigned long long>(text), std::strtoull(chars, nullptr, 10))
            << text;
        if (sizeof(long) == sizeof(int)) {
            ASSERT_EQ(text::parseInteger<int>(text), std::strtol(chars, nullptr, 10)) << text;
            ASSERT_EQ(text::parseInteger<unsigned int>(text), std::strtoul(chars, nullptr, 10))
                << text;
            ASSERT_EQ(text::parseUnsignedOfAnyBase(text), std::strtoul(chars, nullptr, 0)) << text;
        }
    }
}

TEST(Numbers, SixBytesCountAsLeadingWhiteSpace) {
    const std::string kWhite = " \t\n\v\f\r";
    for (int byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        if ((c >= '0' && c <= '9') || c == '+' || c == '-') continue;
        const bool white = kWhite.find(c) != std::string::npos;
        EXPECT_EQ(text::parseInteger<int>(std::string(1, c) + "7"), white ? 7 : 0) << byte;
    }
}

TEST(Numbers, TheBaseIsTakenFromThePrefix) {
    const std::vector<Reading<unsigned int>> readings = {{"0x45A2", 0x45A2},
                                                         {"0X45a2", 0x45A2},
                                                         {"017", 15},
                                                         {"08", 0},
                                                         {"17", 17},
                                                         {"0", 0},
                                                         {"", 0},
                                                         {"0x", 0},
                                                         {"0xg", 0},
                                                         {"0x0", 0},
                                                         {"-0x1", UINT_MAX},
                                                         {"  +0x1F", 31},
                                                         {"00x5", 0},
                                                         {"0xFFFFFFFF", UINT_MAX},
                                                         {"0x100000000", UINT_MAX},
                                                         {"037777777777", UINT_MAX},
                                                         {"040000000000", UINT_MAX},
                                                         {"4294967296", UINT_MAX},
                                                         {"3421780262", 3421780262U},
                                                         {"false", 0},
                                                         {"0xCBF43926\r", 0xCBF43926U}};
    for (const auto& reading : readings) {
        EXPECT_EQ(text::parseUnsignedOfAnyBase(reading.text), reading.value) << reading.text;
    }
}

TEST(Numbers, FloatingPointNumbersAreReadWithADecimalPoint) {
    EXPECT_EQ(text::parseDouble("0.5"), 0.5);
    EXPECT_EQ(text::parseDouble(" \t-1.25e2x"), -125.0);
    EXPECT_EQ(text::parseDouble("0,5"), 0.0);
    EXPECT_EQ(text::parseDouble(""), 0.0);
    EXPECT_EQ(text::parseDouble("x"), 0.0);
    EXPECT_EQ(text::parseDouble("0x1p4"), 16.0);
    EXPECT_EQ(text::parseDouble("1e400"), std::numeric_limits<double>::infinity());
    EXPECT_EQ(text::parseDouble("-inf"), -std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isnan(text::parseDouble("nan")));
    EXPECT_EQ(text::parseDouble(std::string("1\0002", 3)), 1.0);
    EXPECT_EQ(text::parseDouble(std::string_view("12345").substr(0, 2)), 12.0);
}

TEST(Numbers, FloatingPointNumbersAreReadToTheLastBitAsTheCLibraryDoes) {
    std::mt19937 random(1);
    static const char kBytes[] = "01234567890123456789.";
    std::uniform_int_distribution<std::size_t> byte(0, sizeof kBytes - 2);
    std::vector<std::string> texts = {".",  "-",   "-.",    "5.",  ".5",
                                      "-0", "+0.", "1.2.3", "--1", "1-"};
    for (int i = 0; i < 100000; ++i) {
        std::string number = i % 4 == 0 ? "-" : "";
        for (int left = i % 18; left >= 0; --left) number += kBytes[byte(random)];
        texts.push_back(number);
    }
    for (const std::string& number : texts) {
        const double read = text::parseDouble(number);
        const double expected = std::strtod(number.c_str(), nullptr);
        ASSERT_EQ(std::memcmp(&read, &expected, sizeof read), 0) << number;
    }
}

TEST(Numbers, AFloatIsTheNearestOne) {
    EXPECT_EQ(text::parseFloat("0.1"), 0.1F);
    EXPECT_EQ(text::parseFloat("16777217"), 16777216.0F);
    EXPECT_EQ(text::parseFloat("1e39"), std::numeric_limits<float>::infinity());
    EXPECT_EQ(text::parseFloat("1e-60"), 0.0F);
}

TEST(Numbers, TruthIsTheWordInAnyCaseOrANumberThatIsNotZero) {
    for (const char* text : {"true", "TRUE", "True", "tRuE", "1", "2", "-1", "3x", " 4", "+1"}) {
        EXPECT_TRUE(text::parseBool(text)) << text;
    }
    for (const char* text : {"false", "", "0", "on", "yes", "truex", "tru", " true", "true ", "00",
                             "x1", "TRU\xC5", "0.9"}) {
        EXPECT_FALSE(text::parseBool(text)) << text;
    }
}

TEST(Numbers, IntegersAreWrittenInDecimal) {
    std::string out = "a=";
    text::appendSigned(out, LLONG_MIN);
    text::appendSigned(out, 0);
    text::appendUnsigned(out, ULLONG_MAX);
    text::appendBool(out, true);
    text::appendBool(out, false);
    EXPECT_EQ(out, "a=-9223372036854775808018446744073709551615truefalse");
}

TEST(Numbers, FloatingPointNumbersAreWrittenWithSixDigits) {
    EXPECT_EQ(written(0.1), "0.1");
    EXPECT_EQ(written(1234567), "1.23457e+06");
    EXPECT_EQ(written(1e-7), "1e-07");
    EXPECT_EQ(written(3.14159265358979), "3.14159");
    EXPECT_EQ(written(0.123456789), "0.123457");
    EXPECT_EQ(written(0), "0");
    EXPECT_EQ(written(-0.0), "-0");
    EXPECT_EQ(written(100000), "100000");
    EXPECT_EQ(written(999999.5), "1e+06");
    EXPECT_EQ(written(0.0001), "0.0001");
    EXPECT_EQ(written(0.00001), "1e-05");
    EXPECT_EQ(written(static_cast<double>(0.1F)), "0.1");
    EXPECT_EQ(written(std::numeric_limits<double>::max()), "1.79769e+308");
    EXPECT_EQ(written(std::numeric_limits<double>::denorm_min()), "4.94066e-324");
    EXPECT_EQ(written(std::numeric_limits<double>::infinity()), "inf");
    EXPECT_EQ(written(-std::numeric_limits<double>::infinity()), "-inf");
    EXPECT_EQ(written(std::numeric_limits<double>::quiet_NaN()), "nan");
}

TEST(Numbers, FloatingPointNumbersAreWrittenAsADefaultStreamWritesThem) {
    std::mt19937_64 random(6);
    std::uniform_real_distribution<double> usual(-2e6, 2e6);
    for (int i = 0; i < 50000; ++i) {
        const double value = doubleOfBits(random());
        ASSERT_EQ(written(value), streamed(value));
        const double usualValue = usual(random);
        ASSERT_EQ(written(usualValue), streamed(usualValue));
    }
}

void expectNumbersOfTheCLocale() {
    EXPECT_EQ(written(1234.5), "1234.5");
    EXPECT_EQ(text::parseDouble("1234.5"), 1234.5);
    EXPECT_EQ(text::parseFloat("0.5"), 0.5F);
    EXPECT_EQ(text::parseInteger<int>("1.234.567"), 1);
    EXPECT_TRUE(text::parseBool("true"));
    EXPECT_FALSE(text::parseBool("wahr"));
    std::string out;
    text::appendSigned(out, -1234567);
    text::appendUnsigned(out, 7654321);
    text::appendBool(out, true);
    EXPECT_EQ(out, "-12345677654321true");
}

TEST(Numbers, TheProcessesCxxLocaleChangesNothing) {
    const testsupport::CommaLocale locale;
    std::ostringstream proof;
    proof << 1234567.5 << ' ' << std::boolalpha << true;
    ASSERT_EQ(proof.str(), "1,23457e+06 wahr");
    expectNumbersOfTheCLocale();
}

/// Makes a C locale with a decimal comma the process's own, since hardly a machine has one
/// installed. False where locales cannot be compiled.
bool setCommaCLocale(const testsupport::TempDir& directory) {
    testsupport::writeFile(directory.file("source"),
                           "LC_NUMERIC\ndecimal_point \",\"\nthousands_sep \".\"\n"
                           "grouping 3;3\nEND LC_NUMERIC\n");
    const std::string command = "localedef -c -i " + directory.file("source") + " -f UTF-8 " +
                                directory.file("comma") + " >/dev/null 2>&1";
    // It reports the categories that the source leaves out as a failure and makes the locale.
    static_cast<void>(std::system(command.c_str()));
    setenv("LOCPATH", directory.path().c_str(), 1);
    return std::setlocale(LC_NUMERIC, "comma") != nullptr;
}

TEST(Numbers, TheProcessesCLocaleChangesNothing) {
    const testsupport::TempDir directory;
    // The locale is made with the C library's own command. Where that lacks its sources (package
    // "locales") there is no locale with a decimal comma to set, and nothing to be seen.
    if (!setCommaCLocale(directory)) GTEST_SKIP() << "localedef cannot make a locale here";
    EXPECT_EQ(std::strtod("0,5", nullptr), 0.5);
    expectNumbersOfTheCLocale();
    std::setlocale(LC_NUMERIC, "C");
}

}  // namespace
