// One text of each registered type that must never be read or written differently, and its borders.

#include <gtest/gtest.h>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "Files.h"
#include "LogCapture.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "types/ApplicationTypes.h"

namespace {

using namespace Qel::Settings;

/// A type's lines in the test's data: "golden", "empty", "short" and "surplus" to what follows.
struct Golden {
    std::string type;
    std::map<std::string, std::string> lines;
};

std::vector<Golden> goldens() {
    std::vector<Golden> found;
    std::istringstream data(testsupport::readFile(T8_TEST_DATA_DIR "/types/golden-texts.txt"));
    for (std::string line; std::getline(data, line);) {
        if (line.front() == '#') {
            continue;
        }
        if (line.front() != ' ') {
            found.push_back({line, {}});
            continue;
        }
        std::istringstream words(line);
        std::string key;
        words >> key;
        constexpr std::size_t kColumn = 12;
        found.back().lines[key] = line.size() > kColumn ? line.substr(kColumn) : "";
    }
    return found;
}

class TypesGoldenText : public testing::Test {
protected:
    TypesGoldenText() { registerApplicationTypes(factory_); }

    /// What a value that was read from `text` is written as, "refused" when there is none.
    std::string rewritten(const std::string& type, const std::string& text) {
        const auto holder = factory_.create(type, "a/name", text);
        if (!holder) {
            return "refused";
        }
        EXPECT_EQ(holder->name(), "a/name");
        EXPECT_EQ(factory_.typeAsString(holder), type);
        return factory_.valueAsString(holder);
    }

    /// That the text behind `key` is read as the line says: "text => what it is written as".
    void expectReadAs(const Golden& golden, const std::string& key) {
        const std::string& line = golden.lines.at(key);
        const std::size_t arrow = line.find(" => ");
        ASSERT_NE(arrow, std::string::npos) << line;
        const std::string text = line.substr(0, arrow);
        const std::string expected = line.substr(arrow + 4);
        EXPECT_NE(text, golden.lines.at("golden"));
        EXPECT_EQ(rewritten(golden.type, text),
                  expected == "golden" ? golden.lines.at("golden") : expected)
            << golden.type << " " << text;
    }

    SettingFactory factory_;
    const std::vector<Golden> goldens_ = goldens();
};

TEST_F(TypesGoldenText, EveryTypeOfAnApplicationHasItsLines) {
    std::set<std::string> expected;
    for (const ApplicationType& type : applicationTypes()) {
        expected.insert(type.name);
    }
    std::set<std::string> found;
    for (const Golden& golden : goldens_) {
        found.insert(golden.type);
        EXPECT_EQ(golden.lines.size(), 4U) << golden.type;
    }
    EXPECT_EQ(goldens_.size(), found.size()) << "one stands there twice";
    EXPECT_EQ(found, expected);
}

TEST_F(TypesGoldenText, TheGoldenTextIsWrittenAsItWasRead) {
    for (const Golden& golden : goldens_) {
        const std::string& text = golden.lines.at("golden");
        EXPECT_EQ(rewritten(golden.type, text), text) << golden.type;
    }
}

TEST_F(TypesGoldenText, AnEmptyTextGivesTheDefaultOfTheType) {
    for (const Golden& golden : goldens_) {
        EXPECT_EQ(rewritten(golden.type, ""), golden.lines.at("empty")) << golden.type;
    }
}

TEST_F(TypesGoldenText, TooFewFieldsCostTheValueOrTheElementThatLacksThem) {
    const testsupport::LogCapture log(0);
    for (const Golden& golden : goldens_) {
        expectReadAs(golden, "short");
    }
    EXPECT_TRUE(log.entries().empty()) << log.dump();
}

TEST_F(TypesGoldenText, SurplusFieldsAreIgnoredWhereThereAreFields) {
    for (const Golden& golden : goldens_) {
        expectReadAs(golden, "surplus");
    }
}

}  // namespace
