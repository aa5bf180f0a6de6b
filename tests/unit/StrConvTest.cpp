#include <boost/any.hpp>
#include <boost/smart_ptr/make_shared.hpp>
#include <climits>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "CommaLocale.h"
#include "Qel/Settings/StrConv.h"

namespace {

using namespace Qel::Settings;

template <class T>
T loaded(const std::string& text) {
    return load_x<T>("a/b", text)->template getValue<T>();
}

template <class T>
std::string saved(const T& value) {
    return save_x<T>(boost::make_shared<SettingHolder>("a/b", boost::any(value)));
}

template <class T>
struct Example {
    T value;
    std::string text;
};

/// Both directions.
template <class T>
void expectForms(const std::vector<Example<T>>& examples) {
    for (const Example<T>& example : examples) {
        EXPECT_EQ(saved<T>(example.value), example.text);
        EXPECT_EQ(loaded<T>(example.text), example.value) << example.text;
    }
}

/// Text that is read and would not be written.
template <class T>
void expectReadings(const std::vector<Example<T>>& examples) {
    for (const Example<T>& example : examples) {
        EXPECT_EQ(loaded<T>(example.text), example.value) << example.text;
    }
}

TEST(StrConv, AStringIsEscaped) {
    expectForms<std::string>({{"abc", "abc"},
                              {"a,b", "\"a,b\""},
                              {"one\ntwo", "one\\ntwo"},
                              {R"(say "hi")", R"(say \"hi\")"},
                              {"", ""}});
    expectReadings<std::string>({{"abc", "\"abc\""}, {"a\\x", "a\\x"}, {"a", "a\\"}});
}

TEST(StrConv, AnUnsignedByteIsWrittenAsANumber) {
    expectForms<unsigned char>({{65, "65"}, {0, "0"}, {255, "255"}});
    expectReadings<unsigned char>({{44, "300"},
                                   {255, "-1"},
                                   {0, "256"},
                                   {255, "4294967295"},
                                   {255, "4294967297"},
                                   {251, "-5"},
                                   {0, "A"}});
}

TEST(StrConv, ASignedByteIsWrittenAsANumber) {
    expectForms<signed char>({{65, "65"}, {-128, "-128"}, {127, "127"}});
    expectReadings<signed char>({{-128, "128"}, {-1, "255"}, {-1, "99999999999"}, {0, "-256"}});
}

TEST(StrConv, SixteenBitNumbersAreCutFromThirtyTwoBits) {
    expectForms<unsigned short>({{0, "0"}, {65535, "65535"}});
    expectReadings<unsigned short>({{0, "65536"}, {65535, "-1"}, {65535, "99999999999"}});
    expectForms<short>({{-32768, "-32768"}, {32767, "32767"}});
    expectReadings<short>({{-32768, "32768"}, {-1, "99999999999"}, {0, "-99999999999"}});
}

TEST(StrConv, ThirtyTwoBitNumbersAreHeldToTheirRange) {
    expectForms<unsigned int>({{0, "0"}, {UINT_MAX, "4294967295"}});
    expectReadings<unsigned int>({{UINT_MAX, "-1"},
                                  {UINT_MAX, "4294967296"},
                                  {4294967291U, "-5"},
                                  {1, "-4294967295"},
                                  {UINT_MAX, "-4294967296"}});
    expectForms<int>({{INT_MIN, "-2147483648"}, {INT_MAX, "2147483647"}});
    expectReadings<int>({{INT_MAX, "2147483648"},
                         {INT_MAX, "99999999999"},
                         {INT_MIN, "-99999999999"},
                         {12, " +12x"},
                         {0, "x"},
                         {0, "0x10"},
                         {12, "012"},
                         {0, ""}});
}

TEST(StrConv, SixtyFourBitNumbersAreHeldToTheirRange) {
    expectForms<unsigned long long>({{ULLONG_MAX, "18446744073709551615"}, {0, "0"}});
    expectReadings<unsigned long long>({{ULLONG_MAX, "-1"}, {ULLONG_MAX, "18446744073709551616"}});
    expectForms<long long>(
        {{LLONG_MIN, "-9223372036854775808"}, {LLONG_MAX, "9223372036854775807"}});
    expectReadings<long long>({{LLONG_MAX, "9223372036854775808"}, {4294967296, "4294967296"}});
}

TEST(StrConv, ALongIsAsWideAsTheHostsLong) {
    std::ostringstream longest;
    longest << LONG_MAX << ' ' << LONG_MIN;
    EXPECT_EQ(saved<long>(LONG_MAX) + " " + saved<long>(LONG_MIN), longest.str());
    expectForms<long>({{LONG_MAX, saved<long>(LONG_MAX)}, {LONG_MIN, saved<long>(LONG_MIN)}});
    expectReadings<long>({{LONG_MAX, "9223372036854775808"}, {LONG_MIN, "-9223372036854775809"}});
    expectReadings<unsigned long>({{ULONG_MAX, "-1"}, {ULONG_MAX, "18446744073709551616"}});
}

TEST(StrConv, FloatingPointNumbersKeepSixDigits) {
    expectForms<float>({{0.1F, "0.1"}, {1e-7F, "1e-07"}, {-2.5F, "-2.5"}});
    EXPECT_EQ(saved<float>(1234567.0F), "1.23457e+06");
    EXPECT_EQ(loaded<float>("1.23457e+06"), 1234570.0F);
    expectForms<double>({{0.1, "0.1"}, {1e-7, "1e-07"}, {1e300, "1e+300"}});
    EXPECT_EQ(saved<double>(0.123456789), "0.123457");
    EXPECT_EQ(saved<double>(3.14159265358979), "3.14159");
    expectReadings<double>({{0.5, " 0.5x"}, {0.0, "0,5"}, {0.0, ""}});
}

TEST(StrConv, InfinityIsKeptAndNotANumberToo) {
    const float infinity = std::numeric_limits<float>::infinity();
    expectForms<float>({{infinity, "inf"}, {-infinity, "-inf"}});
    EXPECT_EQ(saved<double>(std::numeric_limits<double>::quiet_NaN()), "nan");
    EXPECT_TRUE(std::isnan(loaded<double>("nan")));
    EXPECT_TRUE(std::isnan(loaded<float>("nan")));
}

TEST(StrConv, ABoolIsAWord) {
    expectForms<bool>({{true, "true"}, {false, "false"}});
    expectReadings<bool>({{true, "TRUE"},
                          {true, "True"},
                          {true, "tRuE"},
                          {true, "1"},
                          {true, "2"},
                          {true, "-1"},
                          {true, "3x"},
                          {false, "on"},
                          {false, "yes"},
                          {false, ""},
                          {false, "0"}});
}

TEST(StrConv, ACharIsOneRawByte) {
    expectForms<char>(
        {{65, "A"}, {',', ","}, {'"', "\""}, {'\\', "\\"}, {'\n', "\n"}, {'\xFF', "\xFF"}});
    EXPECT_EQ(saved<char>('\0'), std::string(1, '\0'));
    expectReadings<char>({{'\0', ""}, {'\\', "\\n"}, {'6', "65"}, {'"', "\"a\""}});
}

TEST(StrConv, ALoadedSettingHasItsNameAndNoStorage) {
    const auto scalar = load_x<int>("s/scalar", "1");
    const auto array = load_array_x<int>("s/array", "1");
    const auto map = load_map_x<int, int>("s/map", "1,1,1,2");
    EXPECT_EQ(scalar->name(), "s/scalar");
    EXPECT_EQ(array->name(), "s/array");
    EXPECT_EQ(map->name(), "s/map");
    for (const auto& holder : {scalar, array, map}) EXPECT_EQ(holder->callback(), nullptr);
}

TEST(StrConv, SavingAValueOfAnotherTypeThrows) {
    struct Other {};
    const auto other = boost::make_shared<SettingHolder>("a", boost::any(Other()));
    EXPECT_THROW(save_x<int>(other), boost::bad_any_cast);
    EXPECT_THROW(save_x<std::string>(other), boost::bad_any_cast);
    EXPECT_THROW(save_array_x<int>(other), boost::bad_any_cast);
    EXPECT_THROW((save_map_x<int, int>(other)), boost::bad_any_cast);
    const auto number = boost::make_shared<SettingHolder>("a", boost::any(1));
    EXPECT_THROW(save_x<long>(number), boost::bad_any_cast);
    EXPECT_THROW(save_x<unsigned int>(number), boost::bad_any_cast);
    const auto empty = boost::make_shared<SettingHolder>("a", boost::any());
    EXPECT_THROW(save_x<int>(empty), boost::bad_any_cast);
}

TEST(StrConv, TheProcessesLocaleChangesNoText) {
    const testsupport::CommaLocale locale;
    EXPECT_EQ(saved<int>(1234567), "1234567");
    EXPECT_EQ(saved<double>(1234.5), "1234.5");
    EXPECT_EQ(saved<bool>(true), "true");
    EXPECT_EQ(StrConv::arrayToString<float>({1234.5F, 0.5F}), "1234.5;0.5");
    EXPECT_EQ((StrConv::mapToString<int, std::string>({{1234567, std::string(1234, 'x')}})),
              "7,1234567,1234," + std::string(1234, 'x'));
    EXPECT_EQ(loaded<double>("1234.5"), 1234.5);
    EXPECT_EQ(loaded<int>("1.234"), 1);
    EXPECT_FALSE(loaded<bool>("wahr"));
}

}  // namespace
