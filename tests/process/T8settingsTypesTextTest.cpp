// What becomes of the texts that somebody sets a value of the television's own types to.

#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

#include "Qel/Settings/T8SettingsManager.h"
#include "SetText.h"

namespace {

using testsupport::refused;
using testsupport::ToolRun;
using testsupport::unreadable;

class T8settingsTypesText : public testsupport::SetTextTest {};

TEST_F(T8settingsTypesText, EnumerationTakesItsTextsAndNumbers) {
    check("PowerSavingMode", "PQ_POWER_SAVING_OFF",
          {{"PQ_POWER_SAVING_HIGH", "PQ_POWER_SAVING_HIGH"},
           {"2", "PQ_POWER_SAVING_MEDIUM"},
           {"003", "PQ_POWER_SAVING_HIGH"},
           {" PQ_POWER_SAVING_OFF ", "PQ_POWER_SAVING_OFF"},
           {"99", "99"},
           {"2147483647", "2147483647"},
           unreadable("pq_power_saving_high"),
           unreadable("PQ_POWER_SAVING_HIG"),
           unreadable("-1"),
           unreadable("+1"),
           refused("2147483648", "2147483647"),
           refused("3abc", "PQ_POWER_SAVING_HIGH"),
           refused("3.0", "PQ_POWER_SAVING_HIGH"),
           refused("", "PQ_POWER_SAVING_INVALID")});
    // Its empty text stands for what is no zero.
    check("SourceType", "STB", {{"UNCLASSIFIED", "UNCLASSIFIED"}, refused("", "UNCLASSIFIED")});
}

TEST_F(T8settingsTypesText, FieldsOfARecordAreJudgedOneByOne) {
    const std::string initial = "10,20,30,40,PQ_CINEMASCOPE_ENABLED";
    check("DisplaySetup", initial,
          {{"1,2,3,255,PQ_CINEMASCOPE_DISABLED", "1,2,3,255,PQ_CINEMASCOPE_DISABLED"},
           {"007, +8,\"9\",-0,2", "7,8,9,0,PQ_CINEMASCOPE_ENABLED"},
           {"1,2,3,4,77", "1,2,3,4,77"},
           unreadable("1,2,3,4"),
           refused("1,2,3,4,1,5", "1,2,3,4,PQ_CINEMASCOPE_DISABLED"),
           refused("1,2,3,4,1,", "1,2,3,4,PQ_CINEMASCOPE_DISABLED"),
           refused("", "255,255,255,255,PQ_CINEMASCOPE_INVALID"),
           refused("300,2,3,4,1", "44,2,3,4,PQ_CINEMASCOPE_DISABLED"),
           refused("-1,2,3,4,1", "255,2,3,4,PQ_CINEMASCOPE_DISABLED"),
           refused("1,,3,4,1", "1,0,3,4,PQ_CINEMASCOPE_DISABLED"),
           refused("1,2,x,4,1", "1,2,0,4,PQ_CINEMASCOPE_DISABLED"),
           refused("1,2,3,4,", "1,2,3,4,PQ_CINEMASCOPE_INVALID"),
           refused("1,2,3,4,pq_cinemascope_enabled", "1,2,3,4,PQ_CINEMASCOPE_INVALID"),
           refused("1,2,3,4,-2", "1,2,3,4,PQ_CINEMASCOPE_INVALID"),
           refused("1,2,3,4, 2", "1,2,3,4,PQ_CINEMASCOPE_INVALID")});
    // What the empty text stands for comes out all the same.
    check("DisplaySetup", initial,
          {{"1,2,3,4,0", "1,2,3,4,PQ_CINEMASCOPE_INVALID"},
           {"1,2,3,4,0 ", "1,2,3,4,PQ_CINEMASCOPE_INVALID"},
           refused("1,2,3,4, 0", "1,2,3,4,PQ_CINEMASCOPE_INVALID"),
           refused("1,2,3,4,-0", "1,2,3,4,PQ_CINEMASCOPE_INVALID"),
           refused("1,2,3,4,+0", "1,2,3,4,PQ_CINEMASCOPE_INVALID"),
           refused("1,2,3,4,\"0 x\"", "1,2,3,4,PQ_CINEMASCOPE_INVALID"),
           refused("1,2,3,4, PQ_CINEMASCOPE_INVALID", "1,2,3,4,PQ_CINEMASCOPE_INVALID"),
           refused("1,2,3,4,\"PQ_CINEMASCOPE_INVALID \"", "1,2,3,4,PQ_CINEMASCOPE_INVALID")});
    check("TunerStatus", "true,true,true,true",
          {{"TRUE,False,1,0", "true,false,true,false"},
           refused("true,true,true,2", "true,true,true,true"),
           refused("true,yes,true,true", "true,false,true,true"),
           refused("true, true,true,true", "true,false,true,true")});
    check("QuickOnPeriodsData", "1,2,0000000",
          {{"-1,+2,1010101", "-1,2,1010101"},
           refused("1,2,101", "1,2,0000101"),
           refused("1,2,10101010", "1,2,1010101"),
           refused("1,2,x", "1,2,0000000"),
           refused("1,2147483648,0000000", "1,2147483647,0000000")});
    check("UserListItem", "1,a,2,3,4",
          {{"-9223372036854775808,,0,0,9223372036854775807",
            "-9223372036854775808,,0,0,9223372036854775807"},
           refused("9223372036854775808,a,2,3,4", "9223372036854775807,a,2,3,4")});
}

TEST_F(T8settingsTypesText, BlanksAtTheEndsOfTheWholeAreCutOffAsInAFile) {
    check(
        "PowerSavingMode", "PQ_POWER_SAVING_OFF",
        {{"\tPQ_POWER_SAVING_HIGH\n", "PQ_POWER_SAVING_HIGH"}, {" 2 ", "PQ_POWER_SAVING_MEDIUM"}});
    check("TunerStatus", "true,true,true,true",
          {{" false,true,true,false ", "false,true,true,false"}});
    check("AdvancedSetup", "0,0,0",
          {{"\t1,2,PQ_POWER_SAVING_HIGH ",
            "PQ_JUDDER_CANCELLATION_MODE_ADAPTIVE,PQ_ROOM_ADAPTION_ENABLED,PQ_POWER_SAVING_HIGH"}});
}

TEST_F(T8settingsTypesText, BlanksWithinARecordAreTakenWhereTheTypeReadsPastThem) {
    check("QuickOnPeriodsData", "0,0,0000000",
          {{"1 ,\t2, 1010101", "1,2,1010101"}, {"1, 2 ,\"1010101 \"", "1,2,1010101"}});
    check("TunerStatus", "true,true,true,true",
          {{"true, 0,1 , 1 ", "true,false,true,true"},
           {"true, false ,true,true", "true,false,true,true"},
           refused("true, true,true,true", "true,false,true,true"),
           refused("true,true ,true,true", "true,false,true,true"),
           refused("true,true,true,\" true\"", "true,true,true,false")});
    const std::string judder = "PQ_JUDDER_CANCELLATION_MODE_ADAPTIVE,";
    const std::string invalid = judder + "PQ_ROOM_ADAPTION_INVALID,PQ_POWER_SAVING_HIGH";
    check("AdvancedSetup", "0,0,0",
          {{"1,2 ,3", judder + "PQ_ROOM_ADAPTION_ENABLED,PQ_POWER_SAVING_HIGH"},
           refused("1, 2,3", invalid),
           refused("1, PQ_ROOM_ADAPTION_BASIC,3", invalid),
           refused("1,PQ_ROOM_ADAPTION_BASIC ,3", invalid)});
    check("bool[]", "true",
          {{"0; 1 ;1", "false;true;true"}, refused("0;true ;1", "false;false;true")});
    check("map<int:int>", "", {{"2, 1,2,2 ,1,3,2, 4", "1,1,1,2,1,3,1,4"}, refused("1,1,2,2 ", "")});
}

TEST_F(T8settingsTypesText, StringsOfARecordAreInTheFormOfTheFiles) {
    check("RecentVideoItem", "x,1",
          {{"a b,1", "a b,1"},
           {"\"a,b;c\",1", "\"a,b;c\",1"},
           {"a\\,b,1", "\"a,b\",1"},
           {"\"a\",1", "a,1"},
           {",1", ",1"},
           {"say \\\"hi\\\",1", "say \\\"hi\\\",1"},
           {"\"\\\"a\\\"\",1", "\\\"a\\\",1"},
           {"C:\\\\new\\n,1", "C:\\\\new\\n,1"},
           {"\"a\\,b\",1", "\"a,b\",1"},
           {"a\\\\;b,1", "\"a\\\\;b\",1"},
           {"a;b,1", "\"a;b\",1"},
           refused("a\\qb,1", "a\\\\qb,1"),
           refused("a\\;b,1", "\"a\\\\;b\",1"),
           refused("\"a\\;b\",1", "\"a\\\\;b\",1"),
           refused(" a,1", "a,1"),
           refused("a\"b\"c,1", "abc,1"),
           unreadable("a\"b,1"),
           unreadable("a\\,1")});
    check("ZuvSpeakerInfo", "1,x",
          {{"1,", "1,"},
           {"1,\" a,b \"", "1,\" a,b \""},
           refused("1,a ", "1,a"),
           refused("1,a\\", "1,a"),
           refused("1,a\nb", "1,a")});
}

TEST_F(T8settingsTypesText, RecordsOfAnArrayAreComplete) {
    check("RecentVideoItem[]", "x,1",
          {{"a,1;\"b;c\",02", "a,1;\"b;c\",2"},
           {"", ""},
           refused("a,1;b;c,3", "a,1;c,3"),
           refused("a,1;b,2,c", "a,1;b,2"),
           refused("a,1;b,x", "a,1;b,0"),
           refused("a,1;", "a,1"),
           refused("a,1;;b,2", "a,1;b,2"),
           refused("b;c,3", "c,3"),
           refused(" a,1", "a,1")});
}

TEST_F(T8settingsTypesText, RecordsOfAMapAreCompleteAndTheirKeysAreThereOnce) {
    check("map<int:DvbSatelliteProviderItem>", "",
          {{"1,7,15,1,2,3,4,5,6,7,8", "1,7,15,1,2,3,4,5,6,7,8"},
           {"1,7,16,01,2,3,4,5,6,7,8,2,-5,15,0,0,0,0,0,0,0,0",
            "2,-5,15,0,0,0,0,0,0,0,0,1,7,15,1,2,3,4,5,6,7,8"},
           {"", ""},
           refused("1,7,13,1,2,3,4,5,6,7", ""),
           refused("1,7,17,1,2,3,4,5,6,7,8,9", "1,7,15,1,2,3,4,5,6,7,8"),
           refused("1,7,15,1,2,3,4,5,6,7,x", "1,7,15,1,2,3,4,5,6,7,0"),
           refused("1,x,15,1,2,3,4,5,6,7,8", "1,0,15,1,2,3,4,5,6,7,8"),
           refused("1,7,15,1,2,3,4,5,6,7,8,1,7,15,0,0,0,0,0,0,0,0", "1,7,15,1,2,3,4,5,6,7,8"),
           refused("1,7,15,1,2,3,4,5,6,7,8,", "1,7,15,1,2,3,4,5,6,7,8"),
           refused("1,7,19,1,2,3,4,5,6,7,8", "")});
    check("map<qel::ui::common::SourcePK:QelNetSourceVer3>", "",
          {{"1,7,15,a,b,c,d,2,3,x;y", "1,7,35,a,b,c,d,SOURCE_CATEGORY_RADIO,3,x;y"},
           {"1,7,13,a,b,c,d,3,x;y", "1,7,35,a,b,c,d,SOURCE_CATEGORY_MUSIC,3,x;y"},
           {"1,7,12,a,b,c,d,9,0,", "1,7,12,a,b,c,d,9,0,"},
           {"1,7,10,a,b,c,d,9,", "1,7,12,a,b,c,d,9,0,"},
           refused("1,7,15,a,b,c,d,9,4,x;y", "1,7,15,a,b,c,d,9,3,x;y"),
           refused("1,7,15,a,b,c,d,9,2,x;y", "1,7,13,a,b,c,d,9,1,x"),
           refused("1,7,14,a,b,c,d,9,2,x;", "1,7,13,a,b,c,d,9,1,x"),
           refused("1,7,9,a,b,c,d,9", "1,7,12,a,b,c,d,9,0,"),
           refused("1,7,12,a,b,c,d,x,0,", "1,7,29,a,b,c,d,SOURCE_CATEGORY_TV,0,"),
           refused("2,-1,12,a,b,c,d,9,0,", "10,4294967295,12,a,b,c,d,9,0,")});
}

const std::string kString =
    "string takes text with \\\" for a quote, \\\\ for a backslash and \\n for a line feed, in "
    "quotes "
    "when it holds \",\" or \";\", and no blanks at the ends of the whole";

const std::string kMap =
    "map<int:string> takes the length of each key, the key, the length of its value and the value, "
    "with \",\" between them all, such as 1,7,3,100 for a key 7 with the value 100; no length is "
    "0, "
    "and each key is there once";

/// The second line of a refusal.
class T8settingsRefusal : public testsupport::ToolTest {
protected:
    void expectTold(const std::string& type, const std::string& text,
                    const std::string& told) const {
        put("qel-default-settings/t.ini", "#name = t\nv = " + type + ",\n");
        const ToolRun set = run({"set", "t/v", "--", text});
        EXPECT_EQ("t8settings: " + told, set.err.substr(set.err.find('\n') + 1)) << text;
        EXPECT_EQ(1, set.exitCode);
        EXPECT_TRUE(std::filesystem::is_empty(path("settings"))) << text;
    }
};

TEST_F(T8settingsRefusal, ListsTheTextsOfAnEnumeration) {
    put("qel-default-settings/t.ini", "#name = t\nv = YesNo,NO\n");
    const ToolRun set = run({"set", "t/v", "maybe"});
    EXPECT_EQ("", set.out);
    EXPECT_EQ(
        "t8settings: t/v is unchanged: YesNo would not keep \"maybe\", it cannot be read\n"
        "t8settings: YesNo takes NO, YES, or the number of any value, from 0 to 2147483647\n",
        set.err);
    EXPECT_EQ(1, set.exitCode);
}

TEST_F(T8settingsRefusal, NamesTheFieldItsTypeAndWhatItTakes) {
    expectTold("DisplaySetup", "1,2,300,4,0",
               "field 3, number3: uint8 takes whole numbers from 0 to 255\n");
    expectTold("IntegratedDevice", "a,b,nobody",
               "field 3, role: Role takes INTEGRATED_MASTER, INTEGRATED_SLAVE, STANDALONE, "
               "BORROW_SOURCES, or the number of any value, from 0 to 2147483647, with no blanks "
               "around it\n");
    expectTold("QuickOnPeriodsData", "1,2,3",
               "field 3, flags: flags takes seven times 0 or 1, the highest flag first\n");
    expectTold("TunerStatus", "true,yes,true,true",
               "field 2, flag2: bool takes true and false, with no blanks around them, or 1 and "
               "0\n");
}

TEST_F(T8settingsRefusal, TellsWhatIsWrongWithAString) {
    const std::string takes = "; " + kString + "\n";
    expectTold("RecentVideoItem", "a\"b\"c,1",
               "field 1, text: a quote within it has no backslash" + takes);
    expectTold("string[]", "a;b\\", "element 2: nothing follows the backslash at its end" + takes);
    expectTold("RecentVideoItem", "a\\qb,1",
               "field 1, text: \\q is no escape here: write \\\\q for both characters" + takes);
    expectTold(
        "RecentVideoItem[]", "a,1;b\\;c,1",
        "element 2, field 1, text: \\; is no escape here: write \\\\; for both characters, or "
        "; with the string in quotes" +
            takes);
    expectTold("string[]", "a;b\\,c",
               "element 2: \\, is no escape here: write \\\\, for both characters, or , with the "
               "string in quotes" +
                   takes);
    expectTold(
        "map<int:string>", "1,7,3,\\\xC3\xA9",
        "value of 7: \\\xC3\xA9 is no escape here: write \\\\\xC3\xA9 for both characters" + takes);
    expectTold("map<string:string>", "2,\\k,1,v",
               "key \\k: \\k is no escape here: write \\\\k for both characters" + takes);
}

TEST_F(T8settingsRefusal, NamesTheBlanksAndTheLineFeedThatAFileDoesNotKeep) {
    const std::string blanks = "; a file cuts off the blanks at the ends of the text\n";
    const std::string lineFeed = "; a file ends the text at its first line feed\n";
    const std::string string =
        "string takes any text, with blanks at its ends only when it holds \",\" or \";\"";
    const std::string character =
        "char takes one character of one byte, no blank or other white space, or none for the byte "
        "0";
    expectTold("string", " x", string + blanks);
    expectTold("char", " ", character + blanks);
    expectTold("char", "\n", character + lineFeed);
    // In the file the quotes are gone.
    expectTold("ZuvSpeakerInfo", "1,\" x \"", "field 2, text: " + kString + blanks);
    expectTold("RecentVideoItem", " a,1", "field 1, text: " + kString + blanks);
    expectTold("string[]", "a;b ", "element 2: " + kString + blanks);
    expectTold("string[]", "a;b\nc", "element 2: " + kString + lineFeed);
    expectTold("map<int:string>", "1,7,2,x ", kMap + blanks);
    // They are not what is wrong here.
    expectTold("uint8", "300 ", "uint8 takes whole numbers from 0 to 255\n");
    expectTold(
        "string[]", "a; \\q ",
        "element 2: \\q is no escape here: write \\\\q for both characters; " + kString + "\n");
}

TEST_F(T8settingsRefusal, TellsHowManyFieldsThereAre) {
    expectTold("RecentVideoItem", "a",
               "RecentVideoItem takes 2 fields with \",\" between them: text, number; the text has "
               "1\n");
    expectTold("RecentVideoItem[]", "a,1;b,2,3",
               "element 2: RecentVideoItem takes 2 fields with \",\" between them: text, number; "
               "the text has 3\n");
}

TEST_F(T8settingsRefusal, NamesTheElementOrTheKey) {
    expectTold("uint8[]", "7;300", "element 2: uint8 takes whole numbers from 0 to 255\n");
    expectTold("RecentVideoItem[]", "a,1;b,x",
               "element 2, field 2, number: int takes whole numbers from -2147483648 to "
               "2147483647\n");
    expectTold("string[]", "a;",
               "string[] takes any number of elements with \";\" between them, the last one not "
               "empty\n");
    const std::string sources = "map<qel::ui::common::SourcePK:QelNetSourceVer3>";
    expectTold(sources, "2,-1,12,a,b,c,d,1,0,",
               "key -1: uint32 takes whole numbers from 0 to 4294967295\n");
    expectTold(sources, "1,7,15,a,b,c,d,1,4,x;y",
               "value of 7, field 6, list: string[] as a field takes the length of the list's "
               "text, \",\" and the strings with \";\" between them\n");
    expectTold("char[]", "ab;c",
               "element 1: char takes one character of one byte, no \";\", a quote or a backslash "
               "only at the end of the whole and white space only within it, or none for the byte "
               "0\n");
}

TEST_F(T8settingsRefusal, NamesTheEntryOfAMapThatIsMalformed) {
    const auto expectWrong = [&](const std::string& text, const std::string& what) {
        expectTold("map<int:string>", text, what + "; " + kMap + "\n");
    };
    const std::string length = "its length is missing, or 0, or more than what is left";
    expectWrong("x", "entry 1, key: " + length);
    expectWrong("1,7,2,ab,9,8,1,c", "entry 2, key: " + length);
    expectWrong("1,7,2,ab,1,8,2,c", "entry 2, value of 8: " + length);
    expectWrong("1,7,2,ab,1,8,0,", "entry 2, value of 8: " + length);
    expectWrong("1,7,2,ab,1,8", "entry 2, value of 8: it is missing");
    expectWrong("1,7,1,ab", "entry 1, value of 7: more follows than its length says");
    expectWrong("1,70,1,a", "entry 1, key: more follows than its length says");
    expectWrong("1,7,2,ab,", "entry 1, value of 7: nothing follows the \",\" after it");
    expectWrong("1,7,1,a,2,07,1,b", "entry 2, key: it is there already");
    expectTold("map<string:string>", "3,a\nb,1,",
               "entry 1, value of a\\nb: " + length + "; " + "map<string:string>" +
                   kMap.substr(kMap.find(' ')) + "\n");
}

TEST_F(T8settingsTypesText, EveryRegisteredTypeIsSetAndComesBack) {
    struct Setting {
        std::string name;
        std::string type;
        std::string text;
    };
    std::vector<Setting> settings;
    std::string defaults = "#name = t\n[v]\n";
    std::istringstream lines(testsupport::readFile(T8_TEST_DATA_DIR "/types/all-types.ini"));
    for (std::string line; std::getline(lines, line);) {
        const std::size_t type = line.find(" = ") + 3;
        if (line.find(',', type) == std::string::npos) {
            continue;
        }
        const std::size_t text = line.find(',', type) + 1;
        const std::string name = "t/v/" + std::to_string(settings.size());
        settings.push_back({name, line.substr(type, text - type - 1), line.substr(text)});
        const bool isNumber =
            settings.back().text.find_first_not_of("-.0123456789") == std::string::npos;
        defaults +=
            name.substr(4) + " = " + settings.back().type + "," + (isNumber ? "0" : "") + "\n";
    }
    put("qel-default-settings/t.ini", defaults);
    ASSERT_EQ(Qel::Settings::describeTypes().size(), settings.size());
    for (const Setting& setting : settings) {
        // The file holds a string escaped.
        const std::string text = setting.type == "string" ? "a,b" : setting.text;
        const ToolRun set = run({"set", setting.name, "--", text});
        EXPECT_EQ("", set.err) << setting.type;
        EXPECT_EQ(0, set.exitCode) << setting.type;
        EXPECT_EQ(text + "\n", run({"get", setting.name}).out) << setting.type;
    }
}

}  // namespace
