#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>

#include "ToolRun.h"

namespace {

using testsupport::ToolRun;
using Json = nlohmann::json;

class T8settingsRead : public testsupport::ToolTest {
protected:
    T8settingsRead() {
        put("qel-default-settings/settings.ini",
            "#name = settings\n"
            "[sound]\n"
            "bass = int8,-2\n"
            "treble = int8,3\n"
            "[menu]\n"
            "title = string,\"one, two\"\n"
            "steps = string,one\\ntwo\\\\n\n"
            "order = string[],a;\"b;c\"\n");
        put("qel-default-calibration_data/panel.ini", "#name = panel\nhours = long,7\n");
        put("qel-default-settings/product.xml", "<product><model value=\"T8\"/></product>");
    }
};

TEST_F(T8settingsRead, ListShowsNameTypeAndTextOfEverySetting) {
    const ToolRun list = run({"list"});
    EXPECT_EQ(
        "panel/hours\tlong\t7\n"
        "product/model\tstring\tT8\n"
        "settings/menu/order\tstring[]\ta;\"b;c\"\n"
        "settings/menu/steps\tstring\tone\\ntwo\\n\n"
        "settings/menu/title\tstring\tone, two\n"
        "settings/sound/bass\tint8\t-2\n"
        "settings/sound/treble\tint8\t3\n",
        list.out);
    EXPECT_EQ("", list.err);
    EXPECT_EQ(0, list.exitCode);
}

TEST_F(T8settingsRead, ListStandsInColumnsOnATerminal) {
    put("qel-default-settings/s.ini", "#name = s\nlong name = int,1\nx\ty = string,a\n");
    EXPECT_EQ(
        "s/long name  int     1\r\n"
        "s/x\\ty       string  a\r\n",
        runOnTerminal({"list", "s/"}).out);
}

TEST_F(T8settingsRead, PrefixIsOfBytesAndNotOfPaths) {
    EXPECT_EQ("settings/sound/bass\tint8\t-2\n", run({"list", "settings/sound/b"}).out);
}

TEST_F(T8settingsRead, PrefixWithoutSettingsIsAnEmptyListAndSaysSo) {
    const ToolRun list = run({"list", "sound/"});
    EXPECT_EQ("", list.out);
    EXPECT_EQ(
        "t8settings: no setting's name begins with \"sound/\"\n"
        "t8settings: did you mean settings/sound/bass or settings/sound/treble?\n",
        list.err);
    EXPECT_EQ(0, list.exitCode);
    EXPECT_EQ("[]\n", run({"list", "sound/", "--json"}).out);
}

TEST_F(T8settingsRead, ListAsJsonHasAnObjectForEachSetting) {
    const ToolRun list = run({"list", "settings/sound/", "--json"});
    EXPECT_EQ(Json::parse(R"([
        {"name": "settings/sound/bass", "type": "int8", "text": "-2", "storage": "settings"},
        {"name": "settings/sound/treble", "type": "int8", "text": "3", "storage": "settings"}])"),
              Json::parse(list.out));
    EXPECT_EQ("", list.err);
    EXPECT_EQ(0, list.exitCode);
}

TEST_F(T8settingsRead, GetShowsTheTextAlone) {
    const ToolRun get = run({"get", "settings/sound/bass"});
    EXPECT_EQ("-2\n", get.out);
    EXPECT_EQ("", get.err);
    EXPECT_EQ(0, get.exitCode);
}

TEST_F(T8settingsRead, GetShowsTheTypeAloneWhenAsked) {
    const ToolRun get = run({"get", "--type", "settings/menu/order"});
    EXPECT_EQ("string[]\n", get.out);
    EXPECT_EQ("", get.err);
    EXPECT_EQ(0, get.exitCode);
    EXPECT_EQ(run({"get", "settings/menu/order", "--json"}).out,
              run({"get", "--type", "settings/menu/order", "--json"}).out);
    EXPECT_EQ(3, run({"get", "settings/menu", "--type"}).exitCode);
}

TEST_F(T8settingsRead, GetShowsAStringAsItIsAndOtherTypesAsInTheFile) {
    EXPECT_EQ("one, two\n", run({"get", "settings/menu/title"}).out);
    EXPECT_EQ("one\ntwo\\n\n", run({"get", "settings/menu/steps"}).out);
    EXPECT_EQ("a;\"b;c\"\n", run({"get", "settings/menu/order"}).out);
}

TEST_F(T8settingsRead, GetAsJsonTellsTypeAndStorage) {
    const ToolRun get = run({"--json", "get", "settings/menu/steps"});
    EXPECT_EQ(Json::parse(R"({"name": "settings/menu/steps", "type": "string",
                              "text": "one\ntwo\\n", "storage": "settings"})"),
              Json::parse(get.out));
}

TEST_F(T8settingsRead, UnknownNameIsToldWithTheLikeliestNames) {
    const ToolRun get = run({"get", "settings/sound/bas", "--json"});
    EXPECT_EQ("", get.out);
    EXPECT_EQ(
        "t8settings: no such setting: \"settings/sound/bas\"\n"
        "t8settings: did you mean settings/sound/bass?\n",
        get.err);
    EXPECT_EQ(3, get.exitCode);
}

TEST_F(T8settingsRead, LastPartOfANameIsEnoughForTheHint) {
    const ToolRun get = run({"get", "treble"});
    EXPECT_EQ(
        "t8settings: no such setting: \"treble\"\n"
        "t8settings: did you mean settings/sound/treble?\n",
        get.err);
    EXPECT_EQ(3, get.exitCode);
}

TEST_F(T8settingsRead, HintNamesAllThatAreEquallyLikely) {
    EXPECT_EQ(
        "t8settings: no such setting: \"SETTINGS/menu/titels\"\n"
        "t8settings: did you mean settings/menu/title?\n",
        run({"get", "SETTINGS/menu/titels"}).err);
    put("qel-default-settings/s.ini",
        "#name = s\nab = int,1\nac = int,1\nad = int,1\nae = int,1\n");
    EXPECT_EQ(
        "t8settings: no such setting: \"s/ax\"\n"
        "t8settings: did you mean s/ab or s/ac or s/ad?\n",
        run({"get", "s/ax"}).err);
}

TEST_F(T8settingsRead, NameLikeNoOtherGetsNoHint) {
    const ToolRun get = run({"get", "x\ny"});
    EXPECT_EQ("t8settings: no such setting: \"x\\ny\"\n", get.err);
    EXPECT_EQ(3, get.exitCode);
}

TEST_F(T8settingsRead, NamesAndTextsOfAnyBytesComeOutAsTheyAre) {
    put("qel-default-settings/odd.ini",
        "#name = odd\nt\xC3\xBCr weit = string,\xFF\x1B[1m\nc = char,\x07\nt\tb = int,1\n");
    EXPECT_EQ("\xFF\x1B[1m\n", run({"get", "odd/t\xC3\xBCr weit"}).out);
    EXPECT_EQ("\x07\n", run({"get", "odd/c"}).out);
    EXPECT_EQ("1\n", run({"get", "odd/t\tb"}).out);
}

TEST_F(T8settingsRead, ListKeepsControlBytesFromTheLines) {
    put("qel-default-settings/odd.ini", "#name = odd\nt\tb = string,\xFF\x1B[1m\x7F\n");
    EXPECT_EQ("odd/t\\tb\tstring\t\xFF\\x1B[1m\\x7F\n", run({"list", "odd/"}).out);
}

TEST_F(T8settingsRead, JsonIsUtf8AndHasTheExactBytesInHexadecimal) {
    put("qel-default-settings/odd.ini",
        "#name = odd\na = string,\x9B[2J\xC2\x9B\xC2\xA0\xE2\x82\x9B\xC3\x9F\x80\xA0\n");
    EXPECT_EQ("odd/a\tstring\t\\x9B[2J\\xC2\\x9B\xC2\xA0\xE2\x82\x9B\xC3\x9F\\x80\xA0\n",
              run({"list", "odd/"}).out);
    put("qel-default-settings/odd.ini", "#name = odd\nn\xFF = string,a\xFE\x1B\n");
    const ToolRun get = run({"get", "odd/n\xFF", "--json"});
    EXPECT_EQ(Json({{"name", "odd/n\xEF\xBF\xBD"},
                    {"nameBytes", "6f64642f6eff"},
                    {"type", "string"},
                    {"text", "a\xEF\xBF\xBD\x1B"},
                    {"textBytes", "61fe1b"},
                    {"storage", "odd"}}),
              Json::parse(get.out));
    EXPECT_EQ(Json::parse(get.out), Json::parse(run({"list", "odd/", "--json"}).out).at(0));
}

TEST_F(T8settingsRead, SpecialCharacterOfUtf8NeedsNoSecondForm) {
    put("qel-default-settings/odd.ini", "#name = odd\nt\xC3\xBCr = string,\xE2\x82\xAC\n");
    const ToolRun get = run({"get", "odd/t\xC3\xBCr", "--json"});
    EXPECT_EQ(Json({{"name", "odd/t\xC3\xBCr"},
                    {"type", "string"},
                    {"text", "\xE2\x82\xAC"},
                    {"storage", "odd"}}),
              Json::parse(get.out));
}

TEST_F(T8settingsRead, ReadingLeavesTheDirectoryAsItWas) {
    for (const char* const command : {"list", "info"}) {
        EXPECT_EQ(0, run({command}).exitCode);
    }
    EXPECT_TRUE(std::filesystem::is_empty(path("settings")));
    EXPECT_TRUE(std::filesystem::is_empty(path("calibration_data")));
    EXPECT_FALSE(testsupport::exists(marker_));
}

TEST_F(T8settingsRead, DamagedFileIsSetAsideAndToldAndTheDefaultsAreShown) {
    put("settings/settings.ini", "#name = settings\n[sound]\nbass = int8,9\n#crc32 = 1\n");
    const ToolRun get = run({"get", "settings/sound/bass"});
    EXPECT_EQ("-2\n", get.out);
    const std::string file = path("settings/settings.ini");
    EXPECT_EQ(
        "t8settings: error: '" + file +
            "': wrong CRC: the text has 3099192683, its CRC line says 1\nt8settings: error: '" +
            file + "' cannot be used and is to become '" + file + ".bad'\n",
        get.err);
    EXPECT_EQ(0, get.exitCode);
    EXPECT_TRUE(testsupport::exists(path("settings/settings.ini.bad")));
}

TEST_F(T8settingsRead, LogLevelsOfTheEnvironmentHold) {
    put("settings/settings.ini", "#name = settings\n");
    EXPECT_EQ("", run({"get", "panel/hours"}, {{"QLOG", "6"}}).err);
    const ToolRun verbose = run({"get", "panel/hours"}, {{"QLOG", "Qel::Settings=2"}});
    EXPECT_THAT(verbose.err, testing::HasSubstr("t8settings: trace: Storages loaded:\n"));
    EXPECT_EQ("7\n", verbose.out);
}

TEST_F(T8settingsRead, OutputThatCannotBeWrittenIsAFailure) {
    const ToolRun list = run({"list"}, {}, [] { redirect("/dev/full", O_WRONLY, STDOUT_FILENO); });
    EXPECT_EQ("t8settings: cannot write to standard output: No space left on device\n", list.err);
    EXPECT_EQ(1, list.exitCode);
}

}  // namespace
