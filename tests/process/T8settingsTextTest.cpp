#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

#include "SetText.h"

namespace {

using testsupport::Case;
using testsupport::refused;

class T8settingsText : public testsupport::SetTextTest {};

/// Texts of a whole number's limits, one beyond them, and what no whole number looks like.
template <class T>
std::vector<Case> wholeNumbers(const std::string& belowBecomes, const std::string& below,
                               const std::string& above, const std::string& aboveBecomes) {
    return {{std::to_string(std::numeric_limits<T>::min()),
             std::to_string(std::numeric_limits<T>::min())},
            {std::to_string(std::numeric_limits<T>::max()),
             std::to_string(std::numeric_limits<T>::max())},
            {"5", "5"},
            {"+6", "6"},
            {"007", "7"},
            {" 8", "8"},
            {"9\t", "9"},
            {"-0", "0"},
            refused(below, belowBecomes),
            refused(above, aboveBecomes),
            refused("", "0"),
            refused("abc", "0"),
            refused("5x", "5"),
            refused("0x10", "0"),
            refused("1e2", "1"),
            refused("5.0", "5"),
            refused("1 2", "1"),
            refused("+", "0")};
}

TEST_F(T8settingsText, UnsignedNumbersStayWithinTheirLimits) {
    check("uint8", "1", wholeNumbers<unsigned char>("255", "-1", "300", "44"));
    check("uint16", "1", wholeNumbers<unsigned short>("65535", "-1", "65536", "0"));
    check("uint32", "1",
          wholeNumbers<unsigned int>("4294967295", "-1", "4294967296", "4294967295"));
    check("uint64", "1",
          wholeNumbers<unsigned long long>("18446744073709551615", "-1", "18446744073709551616",
                                           "18446744073709551615"));
}

TEST_F(T8settingsText, SignedNumbersStayWithinTheirLimits) {
    check("int8", "1", wholeNumbers<signed char>("127", "-129", "128", "-128"));
    check("short", "1", wholeNumbers<short>("32767", "-32769", "32768", "-32768"));
    check("int", "1", wholeNumbers<int>("-2147483648", "-2147483649", "99999999999", "2147483647"));
    check("long long", "1",
          wholeNumbers<long long>("-9223372036854775808", "-9223372036854775809",
                                  "9223372036854775808", "9223372036854775807"));
}

TEST_F(T8settingsText, LongIsAsWideAsTheMachines) {
    const std::string least = std::to_string(std::numeric_limits<long>::min());
    const std::string most = std::to_string(std::numeric_limits<long>::max());
    check("long", "1", wholeNumbers<long>(least, least + "0", most + "0", most));
}

TEST_F(T8settingsText, SixDigitsOfAFloatAreKeptAndMoreAreRefused) {
    const std::vector<Case> cases = {
        {"1.50", "1.5"},
        {"0.1", "0.1"},
        {".5", "0.5"},
        {"5.", "5"},
        {"+2", "2"},
        {" 3 ", "3"},
        {"1e-7", "1e-07"},
        {"1E3", "1000"},
        {"1000000", "1e+06"},
        {"100000", "100000"},
        {"0.000", "0"},
        {"-0", "-0"},
        {"-1.25", "-1.25"},
        {"123456", "123456"},
        {"0.123456", "0.123456"},
        {"inf", "inf"},
        {"-INFINITY", "-inf"},
        {"NaN", "nan"},
        refused("3.14159265", "3.14159"),
        refused("1234567", "1.23457e+06"),
        refused("1e400", "inf"),
        refused("1e-400", "0"),
        refused("", "0"),
        refused("abc", "0"),
        refused("1,5", "1"),
        refused("1.5e", "1.5"),
        refused("0x10", "16"),
        refused("1.5.2", "1.5"),
        refused("--1", "0"),
    };
    check("float32", "1", cases);
    check("float64", "1", cases);
}

TEST_F(T8settingsText, FloatsOfBothWidthsHaveTheirOwnLimits) {
    check("float32", "1", {{"3e38", "3e+38"}, refused("1e39", "inf"), refused("1e-50", "0")});
    check("float64", "1",
          {{"1e39", "1e+39"}, {"1e-50", "1e-50"}, refused("5e-324", "4.94066e-324")});
}

TEST_F(T8settingsText, TruthIsSaidInFourWays) {
    check("bool", "true",
          {{"false", "false"},
           {"TRUE", "true"},
           {"False", "false"},
           {"1", "true"},
           {"0", "false"},
           {" true ", "true"},
           refused("maybe", "false"),
           refused("yes", "false"),
           refused("on", "false"),
           refused("2", "true"),
           refused("-1", "true"),
           refused("truely", "false"),
           refused("", "false")});
}

TEST_F(T8settingsText, CharacterIsOneByteThatALineCanEndWith) {
    check("char", "x",
          {{"A", "A"},
           {";", ";"},
           {"\"", "\""},
           {"\\", "\\"},
           {"\xE9", "\xE9"},
           {"", std::string(1, '\0')},
           refused("ab", "a"),
           refused("\xC3\xA9", "\\xC3"),
           refused(" ", std::string(1, '\0')),
           refused("\n", std::string(1, '\0')),
           refused("\t", std::string(1, '\0'))});
}

TEST_F(T8settingsText, StringIsTheTextItself) {
    std::string allBytes = "x";
    for (int byte = 1; byte < 256; ++byte) {
        allBytes += static_cast<char>(byte);
    }
    check("string", "x",
          {{"", ""},
           {"a b", "a b"},
           {"a,b", "a,b"},
           {" a;b ", " a;b "},
           {"\"quoted\"", "\"quoted\""},
           {"\"", "\""},
           {"C:\\new\\", "C:\\new\\"},
           {"one\ntwo\n", "one\ntwo\n"},
           {"\tx\t", "\tx\t"},
           {"#x = [y]", "#x = [y]"},
           {"-", "-"},
           {"--json", "--json"},
           {"{}", "{}"},
           {"[a,b]", "[a,b]"},
           {"list", "list"},
           {"++", "++"},
           {allBytes, allBytes},
           refused(" a", "a"),
           refused("a ", "a"),
           refused("  ", "")});
}

TEST_F(T8settingsText, ElementsOfANumberArrayAreJudgedOneByOne) {
    check("uint8[]", "1",
          {{"1;2;255", "1;2;255"},
           {"", ""},
           {"+1; 02", "1;2"},
           refused("1;300", "1;44"),
           refused("1;;2", "1;0;2"),
           refused("1;2;", "1;2"),
           refused(";", "0"),
           refused("1,2", "1"),
           refused("1;x", "1;0")});
    check("float64[]", "1", {{"1.50;2e0", "1.5;2"}, refused("1;0.1234567", "1;0.123457")});
    check("bool[]", "true",
          {{"TRUE;0;1", "true;false;true"}, refused("false; true", "false;false")});
}

TEST_F(T8settingsText, EveryNumberTypeHasAnArray) {
    for (const char* const type : {"uint16[]", "uint32[]", "uint64[]", "int8[]", "short[]", "int[]",
                                   "long[]", "long long[]", "float32[]"}) {
        check(type, "1", {{"3;+4", "3;4"}, refused("3;x", "3;0")});
    }
}

TEST_F(T8settingsText, CharactersOfAnArrayMustComeBack) {
    check("char[]", "a",
          {{"a;b", "a;b"},
           {"a; ;b", "a; ;b"},
           {"a;\"", "a;\""},
           refused("ab;c", "a;c"),
           refused("a; ", "a"),
           refused(" ;a", std::string("\0;a", 3)),
           refused("a;\\;b", "a;\\"),
           refused("a;\";b", "a;\""),
           refused("a;b;", "a;b"),
           refused("a;\n;b", "a")});
}

TEST_F(T8settingsText, StringsOfAnArrayAreInTheFormOfTheFiles) {
    check("string[]", "a",
          {{"a;b c", "a;b c"},
           {"\"a\";b", "a;b"},
           {"a;\"b;c\"", "a;\"b;c\""},
           {"a;\"b,c\"", "a;\"b,c\""},
           {"a;;b", "a;;b"},
           {"a\\tb;x", "a\\tb;x"},
           {"a\tb", "a\\tb"},
           {"\\\\q\\\\;;\\\\\\\"", "\\\\q\\\\;;\\\\\\\""},
           {"", ""},
           refused("a\\qb", "a\\\\qb"),
           refused("a\\;b", "\"a\\\\;b\""),
           refused("a\\,b", "\"a\\\\,b\""),
           refused("\"a\\;b\"", "\"a\\\\;b\""),
           refused("a;", "a"),
           refused("a;\"\"", "a"),
           refused("\"\"", ""),
           refused(" a;b", "a;b"),
           refused("a;b ", "a;b"),
           refused("a\"b;c", "\"a\\\"b;c\""),
           refused("a;b\\", "a;b"),
           refused("a\nb;c", "a")});
}

TEST_F(T8settingsText, MapsAreInTheFormOfTheFilesAndComplete) {
    check("map<int:int>", "",
          {{"1,1,2,10,2,22,2,-5", "1,1,2,10,2,22,2,-5"},
           {"2,22,2,-5,1,1,2,10", "1,1,2,10,2,22,2,-5"},
           {"2,01,2,+5", "1,1,1,5"},
           {"", ""},
           refused("1,1,2,10,", "1,1,2,10"),
           refused("1,1,2,10,2,22,2,x", "1,1,2,10"),
           refused("1,1,1,1,1,1,1,2", "1,1,1,2"),
           refused("1,1,1,x", "1,1,1,0"),
           refused("1,1,10,9999999999", "1,1,10,2147483647"),
           refused("1=1", "")});
    check("map<int:string>", "",
          {{"1,7,5,\"a,b\"", "1,7,5,\"a,b\""},
           {"1,7,3,a,b", "1,7,5,\"a,b\""},
           {"1,7,3,\"a\"", "1,7,1,a"},
           refused("1,1,0,", ""),
           refused("1,1,1,a,1,2,0,", "1,1,1,a"),
           refused("1,1,2,\"\"", "1,1,0,"),
           refused("1,7,2,a\\", "1,7,1,a"),
           refused("1,7,3,ab ", "")});
    check("map<string:string>", "",
          {{"1,k,1,v,4,name,3,x y", "1,k,1,v,4,name,3,x y"},
           refused("1,k,1,v,1,k,1,w", "1,k,1,w"),
           refused("2,\"\",1,v", "0,,1,v"),
           refused("1,k,2,v ", "")});
}

}  // namespace
