#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "Qel/Settings/T8SettingsManager.h"
#include "ToolRun.h"

namespace {

using testsupport::ToolRun;
using Json = nlohmann::json;

class T8settingsTypes : public testsupport::ToolTest {
protected:
    ToolRun types(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "types");
        return runBare(arguments);
    }

    void expectShown(const std::string& type, const std::string& lines) const {
        const ToolRun shown = types({type});
        EXPECT_EQ(lines, shown.out);
        EXPECT_EQ("", shown.err);
        EXPECT_EQ(0, shown.exitCode);
    }

    void expectJson(const std::string& type, const char* json) const {
        const ToolRun shown = types({"--json", type});
        EXPECT_EQ(Json::parse(json), Json::parse(shown.out));
        EXPECT_EQ("", shown.err);
        EXPECT_EQ(0, shown.exitCode);
    }
};

std::string line(const std::string& text) {
    return "    " + text.substr(0, text.find_last_not_of(' ') + 1) + "\n";
}

/// A type as tests/data/types/descriptions.txt says it.
std::string rendered(const Json& type) {
    const std::string kind = type.at("kind");
    std::string text = type.at("emptyText");
    text = text == std::string(1, '\0') ? "\\0" : text;
    const std::map<std::string, std::string> endings = {
        {"array", " of " + type.value("elementType", "none") + text},
        {"map", " from " + type.value("keyType", "none") + " to " +
                    type.value("elementType", "none") + text}};
    const auto ending = endings.find(kind);
    std::string lines =
        std::string(type.at("name")) + "\n" +
        line(kind + (ending == endings.end() ? ", empty text: " + text : ending->second));
    for (const Json& row : type.value("enumerators", Json::array())) {
        lines += line(std::string(row.at("text")) + " " + row.at("value").dump());
    }
    for (const Json& field : type.value("fields", Json::array())) {
        lines += line(std::string(field.at("name")) + " " + std::string(field.at("type")) + " " +
                      std::string(field.at("defaultText")));
    }
    return lines;
}

TEST_F(T8settingsTypes, EveryRegisteredTypeIsListedOnceWithItsKind) {
    const ToolRun list = types({});
    EXPECT_EQ("", list.err);
    EXPECT_EQ(0, list.exitCode);
    std::vector<std::pair<std::string, std::string>> kinds;
    std::istringstream lines(list.out);
    for (std::string line; std::getline(lines, line);) {
        ASSERT_EQ(2, std::count(line.begin(), line.end(), '\t')) << line;
        const std::size_t kind = line.find('\t') + 1;
        const std::size_t summary = line.find('\t', kind) + 1;
        kinds.emplace_back(line.substr(0, kind - 1), line.substr(kind, summary - kind - 1));
        EXPECT_LT(summary, line.size()) << line;
    }
    using Kind = Qel::Settings::TypeDescription::Kind;
    const std::map<Kind, std::string> words = {{Kind::kScalar, "scalar"},
                                               {Kind::kEnumeration, "enumeration"},
                                               {Kind::kRecord, "record"},
                                               {Kind::kArray, "array"},
                                               {Kind::kMap, "map"}};
    std::vector<std::pair<std::string, std::string>> registered;
    for (const auto& type : Qel::Settings::describeTypes()) {
        registered.emplace_back(type.name, words.at(type.kind));
    }
    EXPECT_EQ(registered, kinds);
}

TEST_F(T8settingsTypes, LineOfAListSaysWhatTheTypeIsMadeOf) {
    const std::string list = "\n" + types({}).out;
    for (const char* const line :
         {"uint8\tscalar\twhole numbers from 0 to 255", "uint8[]\tarray\tof uint8",
          "PowerSavingMode\tenumeration\t4 texts", "DisplaySetup\trecord\t5 fields",
          "RecentVideoItem[]\tarray\tof RecentVideoItem",
          "map<int:string>\tmap\tfrom int to string",
          "map<std::string:RecentListDmrItemMetadata>\tmap\t"
          "from string to RecentListDmrItemMetadata",
          "map<qel::ui::common::SourcePK:QelNetSourceVer2>\tmap\t"
          "from uint32 to QelNetSourceVer2"}) {
        EXPECT_THAT(list, testing::HasSubstr(std::string("\n") + line + "\n"));
    }
}

TEST_F(T8settingsTypes, ListStandsInColumnsOnATerminal) {
    const std::string shown = runOnTerminal({"types", "DvrLedState"}).out;
    EXPECT_EQ(
        "DvrLedState   enumeration  2 texts\r\n"
        "DWUS_LED_OFF  0            the empty text\r\n"
        "DWUS_LED_ON   1\r\n",
        shown);
    EXPECT_THAT(
        runOnTerminal({"types"}).out,
        testing::HasSubstr("\nDisplaySetup                                     record       "
                           "5 fields\r\n"));
}

TEST_F(T8settingsTypes, ScalarTellsWhatItTakes) {
    expectShown("int8", "int8\tscalar\twhole numbers from -128 to 127\n");
    expectShown("bool", "bool\tscalar\ttrue and false, or 1 and 0\n");
    expectShown("string",
                "string\tscalar\tany text, with blanks at its ends only when it holds \",\" or "
                "\";\"\n");
    expectShown("char",
                "char\tscalar\tone character of one byte, no blank or other white space, or none "
                "for the byte 0\n");
    // A name that is only read.
    expectShown("int16", "int16\tscalar\twhole numbers from -32768 to 32767\n");
    expectShown("long", "long\tscalar\twhole numbers from " +
                            std::to_string(std::numeric_limits<long>::min()) + " to " +
                            std::to_string(std::numeric_limits<long>::max()) + "\n");
    expectJson("uint8", R"({"name": "uint8", "kind": "scalar", "emptyText": "0",
                            "takes": "whole numbers from 0 to 255"})");
}

TEST_F(T8settingsTypes, EnumerationHasItsTextsAndNumbersAndTheEmptyText) {
    expectShown("DisplayDurationEnum",
                "DisplayDurationEnum\tenumeration\t3 texts\n"
                "DISPLAY_DURATION_2_SECOND\t2000\n"
                "DISPLAY_DURATION_4_SECOND\t4000\tthe empty text\n"
                "DISPLAY_DURATION_8_SECOND\t8000\n");
    expectJson("YesNo", R"({"name": "YesNo", "kind": "enumeration", "emptyText": "NO",
                            "enumerators": [{"text": "NO", "value": 0},
                                            {"text": "YES", "value": 1}]})");
}

TEST_F(T8settingsTypes, RecordHasItsFieldsInOrder) {
    expectShown("DisplaySetup",
                "DisplaySetup\trecord\t5 fields\n"
                "number1\tuint8\t"
                "255\n"
                "number2\tuint8\t"
                "255\n"
                "number3\tuint8\t"
                "255\n"
                "number4\tuint8\t"
                "255\n"
                "cinemaScope\tCinemaScopeSetting\tPQ_CINEMASCOPE_INVALID\n");
    expectJson("ZuvSpeakerInfo",
               R"({"name": "ZuvSpeakerInfo", "kind": "record", "emptyText": "0,",
                   "fields": [{"name": "number", "type": "int", "defaultText": "0"},
                              {"name": "text", "type": "string", "defaultText": ""}]})");
}

TEST_F(T8settingsTypes, CollectionHasItsElementsAndTheirFields) {
    expectShown("string[]", "string[]\tarray\tof string\n");
    expectShown("RecentVideoItem[]",
                "RecentVideoItem[]\tarray\tof RecentVideoItem\ntext\tstring\t\nnumber\tint\t0\n");
    expectShown(
        "map<qel::ui::common::SourcePK:QelNetSourceVer3>",
        "map<qel::ui::common::SourcePK:QelNetSourceVer3>\tmap\t"
        "from uint32 to QelNetSourceVer3\n"
        "text1\tstring\t\ntext2\tstring\t\ntext3\tstring\t\ntext4\tstring\t\n"
        "category\tSourceCategory\tSOURCE_CATEGORY_TV\n"
        "list\tstring[]\t0,\tthe length of the list's text, \",\" and the strings with \";\" "
        "between them\n");
    expectJson("int[]", R"({"name": "int[]", "kind": "array", "emptyText": "",
                            "elementType": "int"})");
    expectJson("map<int:string>", R"({"name": "map<int:string>", "kind": "map", "emptyText": "",
                                      "keyType": "int", "elementType": "string"})");
    expectJson("RecentVideoItem[]",
               R"({"name": "RecentVideoItem[]", "kind": "array", "emptyText": "",
                   "elementType": "RecentVideoItem",
                   "fields": [{"name": "text", "type": "string", "defaultText": ""},
                              {"name": "number", "type": "int", "defaultText": "0"}]})");
}

TEST_F(T8settingsTypes, TypesThatOnlyFieldsHaveCanBeAskedFor) {
    expectShown("Role",
                "Role\tenumeration\t4 texts\n"
                "INTEGRATED_MASTER\t0\tthe empty text\n"
                "INTEGRATED_SLAVE\t1\n"
                "STANDALONE\t2\n"
                "BORROW_SOURCES\t3\n");
    expectShown("flags", "flags\tscalar\tseven times 0 or 1, the highest flag first\n");
    EXPECT_EQ(std::string::npos, types({}).out.find("Role\t"));
}

TEST_F(T8settingsTypes, TypesThatOnlyMapsHaveCanBeAskedFor) {
    expectJson("QelNetSourceVer2",
               R"({"name": "QelNetSourceVer2", "kind": "record", "emptyText": ",,,,0,",
                   "fields": [{"name": "text1", "type": "string", "defaultText": ""},
                              {"name": "text2", "type": "string", "defaultText": ""},
                              {"name": "text3", "type": "string", "defaultText": ""},
                              {"name": "text4", "type": "string", "defaultText": ""},
                              {"name": "list", "type": "string[]", "defaultText": "0,",
                               "takes": "the length of the list's text, \",\" and the strings with \";\" between them"}]})");
    const std::string uint32 = "uint32\tscalar\twhole numbers from 0 to 4294967295\n";
    expectShown("SourcePK", uint32);
    expectShown("qel::ui::common::SourcePK", uint32);
    expectShown("std::string", types({"string"}).out);
}

TEST_F(T8settingsTypes, EveryNameThatIsShownCanBeAskedFor) {
    std::set<std::string> names;
    for (const Json& type : Json::parse(types({"--json"}).out)) {
        const std::string name = type.at("name");
        names.insert(name);
        names.insert(type.value("elementType", name));
        if (type.contains("keyType")) {
            names.insert(std::string(type.at("keyType")));
            names.insert(name.substr(4, name.rfind(':') - 4));
        }
        for (const Json& field : type.value("fields", Json::array())) {
            names.insert(std::string(field.at("type")));
        }
    }
    for (const char* const name : {"QelNetSourceVer3", "SourceCategory", "Role", "std::string",
                                   "qel::ui::common::SourcePK"}) {
        EXPECT_EQ(1U, names.count(name)) << name;
    }
    for (const std::string& name : names) {
        const ToolRun shown = types({name});
        EXPECT_EQ("", shown.err) << name;
        EXPECT_EQ(0, shown.exitCode) << name;
    }
}

TEST_F(T8settingsTypes, JsonTellsAllThatThereIsOfEveryType) {
    std::string all;
    for (const Json& type : Json::parse(types({"--json"}).out)) {
        all += rendered(type);
    }
    const std::string golden = testsupport::readFile(T8_TEST_DATA_DIR "/types/descriptions.txt");
    EXPECT_EQ(golden.substr(golden.find("\nbool\n") + 1), all);
}

TEST_F(T8settingsTypes, UnknownNameIsToldWithTheLikeliestNames) {
    const ToolRun misspelt = types({"powersavingmode", "--json"});
    EXPECT_EQ("", misspelt.out);
    EXPECT_EQ(
        "t8settings: no such type: \"powersavingmode\"\n"
        "t8settings: did you mean PowerSavingMode?\n",
        misspelt.err);
    EXPECT_EQ(3, misspelt.exitCode);
    EXPECT_EQ(
        "t8settings: no such type: \"int9\"\n"
        "t8settings: did you mean int or int8?\n",
        types({"int9"}).err);
    const ToolRun other = types({"a\nb-nothing-alike"});
    EXPECT_EQ("t8settings: no such type: \"a\\nb-nothing-alike\"\n", other.err);
    EXPECT_EQ(3, other.exitCode);
    EXPECT_EQ("t8settings: NAME is empty\n", types({""}).err);
    EXPECT_EQ(2, types({""}).exitCode);
    EXPECT_EQ(2, types({"int", "bool"}).exitCode);
}

TEST_F(T8settingsTypes, BaseDirectoryIsNotLookedAt) {
    const std::string shown = types({"YesNo"}).out;
    put("settings/damaged.ini", "#name = damaged\nx = int,1\n#crc32 = 1\n");
    for (const std::string& base : {base_, dir_.file("none"), std::string()}) {
        const ToolRun run = types({"YesNo", "--base", base, "--marker", marker_});
        EXPECT_EQ(shown, run.out) << base;
        EXPECT_EQ("", run.err) << base;
        EXPECT_EQ(0, run.exitCode) << base;
    }
    EXPECT_EQ(shown, runBare({"types", "YesNo"}, {{"T8SETTINGS_BASE", base_}}).out);
    EXPECT_FALSE(testsupport::exists(path("settings/damaged.ini.bad")));
}

}  // namespace
