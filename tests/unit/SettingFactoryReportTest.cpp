#include <algorithm>
#include <cstddef>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iostream>
#include <locale>
#include <map>
#include <sstream>
#include <string>
#include <typeinfo>
#include <vector>

#include "CommaLocale.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/StrConv.h"

namespace {

using namespace Qel::Settings;
using testing::Contains;

/// What a factory reports, taken apart into its lines.
struct Report {
    std::string text;
    std::vector<std::string> types;
    std::vector<std::string> functions;
};

Report reportOf(const SettingFactory& factory) {
    Report report;
    testing::internal::CaptureStdout();
    factory.debugReport();
    report.text = testing::internal::GetCapturedStdout();
    std::istringstream lines(report.text);
    std::vector<std::string>* section = nullptr;
    for (std::string line; std::getline(lines, line);) {
        if (line == "\tm_typeInfo2typeId[] =") section = &report.types;
        if (line == "\tm_settingFactory[] =") section = &report.functions;
        if (section != nullptr && line.rfind("\t\t", 0) == 0) section->push_back(line);
    }
    return report;
}

std::string functionLine(const std::string& name, LoadFn load, SaveFn save) {
    return "\t\t" + name + " : (" + std::to_string(reinterpret_cast<long>(load)) + ", " +
           std::to_string(reinterpret_cast<long>(save)) + ")";
}

std::string typeLine(const std::string& name, const std::type_info& type) {
    return "\t\t" + name + " : " + type.name();
}

TEST(SettingFactoryReport, AFreshFactoryHasThirtyFourNamesOfTwentyEightTypes) {
    const Report report = reportOf(SettingFactory());
    EXPECT_EQ(report.types.size(), 28U);
    EXPECT_EQ(report.functions.size(), 34U);
}

TEST(SettingFactoryReport, TheThreeHeadsStandBeforeTheirLists) {
    const Report report = reportOf(SettingFactory());
    std::string expected = "SettingFactory::debugReport()\n\tm_typeInfo2typeId[] =\n";
    for (const std::string& line : report.types) expected += line + "\n";
    expected += "\n\tm_settingFactory[] =\n";
    for (const std::string& line : report.functions) expected += line + "\n";
    EXPECT_EQ(report.text, expected);
}

TEST(SettingFactoryReport, TypesAreListedWithTheNameThatTheyAreWrittenUnder) {
    const Report report = reportOf(SettingFactory());
    for (const std::string& line :
         {typeLine("short", typeid(short)), typeLine("int", typeid(int)),
          typeLine("long", typeid(long)), typeLine("long long", typeid(long long)),
          typeLine("int[]", typeid(std::vector<int>)), typeLine("string", typeid(std::string))}) {
        EXPECT_EQ(std::count(report.types.begin(), report.types.end(), line), 1) << line;
    }
}

TEST(SettingFactoryReport, TypesAreListedInTheOrderOfTheirTypeNames) {
    std::vector<std::string> names;
    for (const std::string& line : reportOf(SettingFactory()).types) {
        names.push_back(line.substr(line.find(" : ") + 3));
    }
    EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
}

TEST(SettingFactoryReport, FunctionsAreListedByNameWithTheirAddressesInDecimal) {
    SettingFactory factory;
    factory.registerType(typeid(void), "a nothing", nullptr, nullptr);
    const Report report = reportOf(factory);
    ASSERT_EQ(report.functions.size(), 35U);
    EXPECT_EQ(report.functions.front(), functionLine("a nothing", nullptr, nullptr));
    EXPECT_EQ(report.functions.front(), "\t\ta nothing : (0, 0)");
    EXPECT_THAT(report.functions, Contains(functionLine("int", &load_x<int>, &save_x<int>)));
    std::vector<std::string> names;
    for (const std::string& line : report.functions) {
        names.push_back(line.substr(2, line.find(" : ") - 2));
    }
    EXPECT_EQ(names, factory.typeNames());
}

TEST(SettingFactoryReport, AliasesShareTheirFunctions) {
    std::map<std::string, std::string> functions;
    for (const std::string& line : reportOf(SettingFactory()).functions) {
        const std::size_t colon = line.find(" : ");
        functions[line.substr(2, colon - 2)] = line.substr(colon + 3);
    }
    EXPECT_EQ(functions["int16"], functions["short"]);
    EXPECT_EQ(functions["int16[]"], functions["short[]"]);
    EXPECT_EQ(functions["int32"], functions["int"]);
    EXPECT_EQ(functions["int32[]"], functions["int[]"]);
    EXPECT_EQ(functions["int64"], functions["long long"]);
    EXPECT_EQ(functions["int64[]"], functions["long long[]"]);
    EXPECT_NE(functions["long"], functions["int"]);
    EXPECT_NE(functions["long"], functions["long long"]);
}

TEST(SettingFactoryReport, TheLocaleOfTheOutputDoesNotGroupAddresses) {
    const SettingFactory factory;
    const std::string usual = reportOf(factory).text;
    const testsupport::CommaLocale comma;
    const std::locale previous = std::cout.imbue(std::locale());
    const std::string grouped = reportOf(factory).text;
    std::cout.imbue(previous);
    EXPECT_EQ(grouped, usual);
}

}  // namespace
