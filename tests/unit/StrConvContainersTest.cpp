#include <boost/any.hpp>
#include <boost/smart_ptr/make_shared.hpp>
#include <climits>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

#include "Qel/Settings/StrConv.h"

namespace {

using namespace Qel::Settings;
using StrConv::arrayFromString;
using StrConv::arrayToString;
using StrConv::mapFromString;
using StrConv::mapToString;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

using IntToInt = std::map<int, int>;
using IntToString = std::map<int, std::string>;
using StringToString = std::map<std::string, std::string>;

template <class T>
void expectArray(const std::vector<T>& values, const std::string& text) {
    EXPECT_EQ(arrayToString(values), text);
    EXPECT_EQ(arrayFromString<T>(text), values) << text;
    const auto holder = load_array_x<T>("a", text);
    EXPECT_EQ(holder->template getValue<std::vector<T>>(), values) << text;
    EXPECT_EQ(save_array_x<T>(holder), text);
}

template <class K, class V>
void expectMap(const std::map<K, V>& map, const std::string& text) {
    EXPECT_EQ(mapToString(map), text);
    EXPECT_EQ((mapFromString<K, V>(text)), map) << text;
    const auto holder = load_map_x<K, V>("a", text);
    EXPECT_EQ((holder->template getValue<std::map<K, V>>()), map) << text;
    EXPECT_EQ((save_map_x<K, V>(holder)), text);
}

TEST(StrConvArray, ElementsAreJoinedBySemicolons) {
    expectArray<unsigned short>({1, 2, 300}, "1;2;300");
    expectArray<int>({}, "");
    expectArray<int>({-7}, "-7");
    expectArray<bool>({true, false}, "true;false");
    expectArray<std::string>({"a", "b;c", "say \"x\""}, R"(a;"b;c";say \"x\")");
    expectArray<std::string>({"", "a"}, ";a");
    expectArray<std::string>({"C:\\", "x"}, "C:\\\\;x");
    expectArray<char>({'a', ' ', '\n', ','}, "a; ;\n;,");
    expectArray<unsigned char>({65, 0, 255}, "65;0;255");
    expectArray<signed char>({65, -128}, "65;-128");
    expectArray<unsigned int>({UINT_MAX, 0}, "4294967295;0");
    expectArray<long>({LONG_MAX, -1}, std::to_string(LONG_MAX) + ";-1");
    expectArray<long long>({LLONG_MIN}, "-9223372036854775808");
    expectArray<unsigned long long>({ULLONG_MAX}, "18446744073709551615");
    expectArray<float>({0.1F, 1e-7F}, "0.1;1e-07");
    expectArray<double>({0.5, -3}, "0.5;-3");
}

TEST(StrConvArray, AnEmptyFieldIsAnElement) {
    EXPECT_THAT(arrayFromString<int>("1;;2"), ElementsAre(1, 0, 2));
    EXPECT_THAT(arrayFromString<int>("1;2;"), ElementsAre(1, 2));
    EXPECT_THAT(arrayFromString<int>(";"), ElementsAre(0));
    EXPECT_THAT(arrayFromString<int>(""), IsEmpty());
    EXPECT_THAT(arrayFromString<bool>("1;;"), ElementsAre(true, false));
    EXPECT_THAT(arrayFromString<char>("ab;;c"), ElementsAre('a', '\0', 'c'));
    EXPECT_THAT(arrayFromString<std::string>(";"), ElementsAre(""));
}

TEST(StrConvArray, ElementsAreReadAsTheirScalarsAre) {
    EXPECT_THAT(arrayFromString<unsigned char>("300; -1 ;x"), ElementsAre(44, 255, 0));
    EXPECT_THAT(arrayFromString<short>("99999999999;+5"), ElementsAre(-1, 5));
    EXPECT_THAT(arrayFromString<bool>("TRUE;yes;2"), ElementsAre(true, false, true));
    EXPECT_THAT(arrayFromString<std::string>("\"a\";\"b,;\";c\\;d;e\\"),
                ElementsAre("a", "b,;", "c\\;d", "e"));
}

TEST(StrConvArray, AnEmptyStringAtTheEndIsLost) {
    EXPECT_EQ(arrayToString<std::string>({"a", ""}), "a;");
    EXPECT_THAT(arrayFromString<std::string>("a;"), ElementsAre("a"));
    EXPECT_EQ(arrayToString<std::string>({""}), "");
    EXPECT_THAT(arrayFromString<std::string>(""), IsEmpty());
}

TEST(StrConvArray, CharactersThatTheArrayFormUsesAreLost) {
    EXPECT_EQ(arrayToString<char>({'a', ';', 'b'}), "a;;;b");
    EXPECT_THAT(arrayFromString<char>("a;;;b"), ElementsAre('a', '\0', '\0', 'b'));
    EXPECT_THAT(arrayFromString<char>(arrayToString<char>({'"', 'a', 'b'})), ElementsAre('"'));
    EXPECT_THAT(arrayFromString<char>(arrayToString<char>({'\\', 'a', 'b'})),
                ElementsAre('\\', 'b'));
}

TEST(StrConvArray, TheIteratorTypeCanBeNamed) {
    using Iter = std::vector<int>::const_iterator;
    const std::vector<int> values = {1, 2};
    EXPECT_EQ((arrayToString<int, Iter>(values)), "1;2");
    const auto holder = boost::make_shared<SettingHolder>("a", boost::any(values));
    EXPECT_EQ((save_array_x<int, Iter>(holder)), "1;2");
}

TEST(StrConvMap, KeyAndValueArePrefixedWithTheirLength) {
    expectMap(IntToInt{{1, 10}, {22, -5}}, "1,1,2,10,2,22,2,-5");
    expectMap(IntToString{{7, "a,b"}}, "1,7,5,\"a,b\"");
    expectMap(StringToString{{"k", "v"}, {"name", "x y"}}, "1,k,1,v,4,name,3,x y");
    expectMap(IntToInt{}, "");
    expectMap(IntToInt{{INT_MIN, INT_MAX}}, "11,-2147483648,10,2147483647");
    expectMap(StringToString{{"a\n\"", ",;1,2"}}, R"(5,a\n\",7,",;1,2")");
    expectMap(std::map<unsigned int, bool>{{UINT_MAX, true}}, "10,4294967295,4,true");
}

TEST(StrConvMap, EntriesAreInKeyOrder) {
    EXPECT_EQ(mapToString(IntToInt{{5, 1}, {-5, 2}, {0, 3}}), "2,-5,1,2,1,0,1,3,1,5,1,1");
}

TEST(StrConvMap, ARepeatedKeyKeepsTheLaterValue) {
    EXPECT_THAT((mapFromString<int, int>("1,1,1,2,1,1,1,3")), ElementsAre(Pair(1, 3)));
    EXPECT_THAT((mapFromString<int, std::string>("1,1,1,a,2,01,1,b")), ElementsAre(Pair(1, "b")));
}

TEST(StrConvMap, ReadingStopsAtTheFirstMalformedItem) {
    const auto firstTwo = ElementsAre(Pair(1, 2), Pair(3, 4));
    const std::string two = "1,1,1,2,1,3,1,4";
    for (const char* third : {",x,5,1,6", ",1,5,x,6", ",0,5,1,6", ",1,5,9,6", ",1,5;1,6", ",1,5",
                              ",1,5,", ",1,5,1", ",1,5,1,", ",1", ",,", ",-1,5,1,6"}) {
        EXPECT_THAT((mapFromString<int, int>(two + third)), firstTwo) << third;
    }
}

TEST(StrConvMap, AWrongSeparatorEndsTheMapAndACommaMayEndTheText) {
    EXPECT_THAT((mapFromString<int, int>("1,1,1,2;1,3,1,4")), ElementsAre(Pair(1, 2)));
    EXPECT_THAT((mapFromString<int, int>("1,1,1,2 ,1,3,1,4")), ElementsAre(Pair(1, 2)));
    EXPECT_THAT((mapFromString<int, int>("1,1,1,21,3,1,4")), ElementsAre(Pair(1, 2)));
    EXPECT_THAT((mapFromString<int, int>("1,1;1,2")), IsEmpty());
    EXPECT_THAT((mapFromString<int, int>("1,11,2")), IsEmpty());
    EXPECT_THAT((mapFromString<int, int>("1,1,1,2,")), ElementsAre(Pair(1, 2)));
}

TEST(StrConvMap, TextIsConvertedWithoutChecks) {
    EXPECT_THAT((mapFromString<int, int>("1,x,2, 7")), ElementsAre(Pair(0, 7)));
    EXPECT_THAT((mapFromString<int, int>("11,99999999999,12,-99999999999")),
                ElementsAre(Pair(INT_MAX, INT_MIN)));
    EXPECT_THAT((mapFromString<std::string, std::string>("3,\"k\",2,\\n")),
                ElementsAre(Pair("k", "\n")));
}

TEST(StrConvMap, AnEmptyStringEndsTheMap) {
    EXPECT_EQ(mapToString(IntToString{{1, ""}}), "1,1,0,");
    EXPECT_THAT((mapFromString<int, std::string>("1,1,0,")), IsEmpty());
    const IntToString map = {{1, "a"}, {2, ""}, {3, "c"}};
    EXPECT_EQ(mapToString(map), "1,1,1,a,1,2,0,,1,3,1,c");
    EXPECT_THAT((mapFromString<int, std::string>(mapToString(map))), ElementsAre(Pair(1, "a")));
    const StringToString emptyKey = {{"", "a"}, {"b", "c"}};
    EXPECT_EQ(mapToString(emptyKey), "0,,1,a,1,b,1,c");
    EXPECT_THAT((mapFromString<std::string, std::string>(mapToString(emptyKey))), IsEmpty());
}

}  // namespace
