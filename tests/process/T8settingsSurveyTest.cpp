// Where values come from: --origin, --changed, --file and describe, none of which loads a file.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>

#include "Sanitized.h"
#include "ToolRun.h"

namespace {

using testing::HasSubstr;
using testsupport::ToolRun;
using Json = nlohmann::json;

class T8settingsSurvey : public testsupport::ToolTest {
protected:
    T8settingsSurvey() {
        put("qel-default-settings/s.ini",
            "#name = s\n[a]\nfresh = int,1\nmoved = int64,2\nsame = string,\"x,y\"\nwider = "
            "int8,4\n");
        put("settings/s.ini",
            "#name = s\n#savepolicy = async\n[a]\nmine = YesNo,YES\nmoved = int64,20\n"
            "same = string,\"x,y\"\nt\xC3\xBCr \xFF = string,\xFE\nwider = int,4\n#crc32 = "
            "false\n");
        put("qel-default-calibration_data/panel.ini", "#name = panel\n#readonly\nhours = long,7\n");
        put("qel-default-settings/product.xml", "<product><model value=\"T8\"/></product>");
    }

    /// A file that a load would set aside.
    void damage() const { put("settings/s.ini", "#name = s\n[a]\nmoved = int64,20\n#crc32 = 1\n"); }

    std::string warning(const std::string& why, const std::string& outcome) const {
        return "t8settings: warning: " + path("settings/s.ini") + ": " + why + "; " + outcome +
               "\n";
    }
};

TEST_F(T8settingsSurvey, GetTellsTheFileThatAValueComesFrom) {
    const std::string defaults = "defaultsFile\t" + path("qel-default-settings/");
    EXPECT_EQ(defaults + "s.ini\n", run({"get", "s/a/fresh", "--origin"}).out);
    EXPECT_EQ(defaults + "product.xml\n", run({"get", "product/model", "--origin"}).out);
    const ToolRun get = run({"get", "s/a/same", "--origin"});
    EXPECT_EQ("readWriteFile\t" + path("settings/s.ini") + "\n", get.out);
    EXPECT_EQ("", get.err);
    EXPECT_EQ(0, get.exitCode);
    EXPECT_EQ(Json::parse(run({"get", "s/a/same", "--origin", "--json"}).out),
              Json({{"name", "s/a/same"},
                    {"type", "string"},
                    {"text", "x,y"},
                    {"storage", "s"},
                    {"origin", "readWriteFile"},
                    {"file", path("settings/s.ini")}}));
}

TEST_F(T8settingsSurvey, NameThatNoFileHasIsUnset) {
    const ToolRun get = run({"get", "s/a/sam", "--origin"});
    EXPECT_EQ("unset\n", get.out);
    EXPECT_EQ(
        "t8settings: no such setting: \"s/a/sam\"\n"
        "t8settings: did you mean s/a/same?\n",
        get.err);
    EXPECT_EQ(3, get.exitCode);
    EXPECT_EQ(Json({{"origin", "unset"}}),
              Json::parse(run({"get", "s/a/sam", "--origin", "--json"}).out));
    EXPECT_EQ(2, run({"get", "s/a/same", "--origin", "--type"}).exitCode);
}

TEST_F(T8settingsSurvey, TemporaryCopyThatALoadWouldTakeIsTheFile) {
    put("settings/s.ini.tmp", "#name = s\n[a]\nmoved = int64,30\n#crc32 = false\n");
    EXPECT_EQ("readWriteFile\t" + path("settings/s.ini.tmp") + "\n",
              run({"get", "s/a/moved", "--origin"}).out);
    EXPECT_TRUE(testsupport::exists(path("settings/s.ini.tmp")));
}

TEST_F(T8settingsSurvey, ListHasTheOriginInAColumnOfItsOwn) {
    EXPECT_EQ(
        "panel/hours\tlong\t7\tdefaultsFile\n"
        "product/model\tstring\tT8\tdefaultsFile\n"
        "s/a/fresh\tint\t1\tdefaultsFile\n"
        "s/a/mine\tYesNo\tYES\treadWriteFile\n"
        "s/a/moved\tlong long\t20\treadWriteFile\n"
        "s/a/same\tstring\tx,y\treadWriteFile\n"
        "s/a/t\xC3\xBCr \xFF\tstring\t\xFE\treadWriteFile\n"
        "s/a/wider\tint\t4\treadWriteFile\n",
        run({"list", "--origin"}).out);
    const Json last = Json::parse(run({"list", "s/a/t*", "--origin", "--json"}).out).at(0);
    EXPECT_EQ("readWriteFile", last.at("origin"));
    EXPECT_EQ("732f612f74c3bc7220ff", last.at("nameBytes"));
    EXPECT_EQ("fe", last.at("textBytes"));
}

TEST_F(T8settingsSurvey, ChangedIsWhatHasAnotherValueOrTypeThanItsDefaultOrNoDefault) {
    const ToolRun list = run({"list", "--changed"});
    EXPECT_EQ(
        "s/a/mine\tYesNo\tYES\ns/a/moved\tlong long\t20\n"
        "s/a/t\xC3\xBCr \xFF\tstring\t\xFE\ns/a/wider\tint\t4\n",
        list.out);
    EXPECT_EQ(0, list.exitCode);
    EXPECT_EQ("s/a/moved\tlong long\t20\treadWriteFile\n",
              run({"list", "s/*/mo*", "--changed", "--origin"}).out);
    // That nothing has changed is no slip in the pattern.
    const ToolRun none = run({"list", "s/a/s*", "--changed"});
    EXPECT_EQ("", none.out + none.err);
    EXPECT_EQ(0, none.exitCode);
    EXPECT_EQ(3, run({"list", "s/b*", "--changed"}).exitCode);
}

TEST_F(T8settingsSurvey, FileThatALoadWouldSetAsideIsPassedOverAndStays) {
    damage();
    const std::string before = bytesOf("settings/s.ini");
    for (const auto& words : {std::vector<std::string>{"get", "s/a/moved", "--origin"},
                              {"list", "--origin"},
                              {"list", "--changed"},
                              {"describe", "s/a/moved"},
                              {"diff"},
                              {"dump"}}) {
        const ToolRun shown = run(words);
        EXPECT_EQ(warning("its CRC is wrong", "the next program to load it sets it aside as " +
                                                  path("settings/s.ini.bad")),
                  shown.err)
            << words.front();
        EXPECT_EQ(5, shown.exitCode) << words.front();
        EXPECT_EQ(before, bytesOf("settings/s.ini")) << words.front();
        EXPECT_FALSE(testsupport::exists(path("settings/s.ini.bad"))) << words.front();
    }
    EXPECT_EQ(5, runBare({"diff", base_, base_}).exitCode);
    EXPECT_EQ(3, run({"get", "s/a/none", "--origin"}).exitCode);
    EXPECT_EQ(0, run({"get", "s/a/moved"}).exitCode);
    put("settings/s.ini", before);
    EXPECT_EQ("", run({"list", "--changed"}).out);
    EXPECT_EQ("defaultsFile\t" + path("qel-default-settings/s.ini") + "\n",
              run({"get", "s/a/moved", "--origin"}).out);
}

TEST_F(T8settingsSurvey, DirectoryWithoutSettingsFilesIsNoSoundStore) {
    for (const auto& words : {std::vector<std::string>{"dump"},
                              {"diff"},
                              {"diff", dir_.path(), dir_.path()},
                              {"list", "--changed"},
                              {"describe", "s/a/same"},
                              {"get", "s/a/same", "--origin"},
                              {"verify"}}) {
        const ToolRun shown = runBare(words, {{"T8SETTINGS_BASE", dir_.path()}});
        EXPECT_EQ(words.front() == "verify" ? "0 files, nothing to verify\n"
                  : words.front() == "get"  ? "unset\n"
                                            : "",
                  shown.out);
        EXPECT_THAT(shown.err,
                    testing::StartsWith("t8settings: no settings files below \"" + dir_.path()));
        EXPECT_EQ(1, shown.exitCode) << words.front();
    }
    damage();
    EXPECT_EQ(1, runBare({"diff", base_, path("settings")}).exitCode);
}

TEST_F(T8settingsSurvey, SettingsAreThoseThatALoadGives) {
    put("qel-default-settings/odd.ini",
        "#name = odd one\n\n  [ a b ]\nx=int,1\nx = int,2\nbad = int\nwat = wat,1\n[]\n y =  "
        "string,  z  \n"
        "= int,3\nrole = YesNo,MAYBE\n# crc32 = 1\nlist = string[],a;\n");
    put("settings/odd.ini", "[a b]\nx = float32,1.5\n#crc32 = false\n");
    put("settings/own.ini", "v = int8,300\n#crc32 = false\n");
    put("qel-default-settings/late.ini", "a = int,1\n#name = late\n");
    put("settings/product.xml",
        "<product><model>&#10;x </model><size type=\"int\">3</size></product>");
    const std::string surveyed = run({"list", "--origin", "--json"}).out;
    Json plain = Json::parse(surveyed);
    for (Json& setting : plain) {
        setting.erase("origin");
        setting.erase("file");
    }
    EXPECT_EQ(14U, plain.size());
    EXPECT_EQ(Json::parse(run({"list", "--json"}).out), plain);
}

TEST_F(T8settingsSurvey, DescribeTellsAll) {
    const ToolRun describe = run({"describe", "s/a/moved"});
    EXPECT_EQ(
        "name\ts/a/moved\n"
        "type\tlong long\n"
        "takes\twhole numbers from -9223372036854775808 to 9223372036854775807\n"
        "value\t20\n"
        "default\t2\n"
        "origin\treadWriteFile " +
            path("settings/s.ini") +
            "\n"
            "storage\ts\n"
            "defaults file\t" +
            path("qel-default-settings/s.ini") +
            "\n"
            "read/write file\t" +
            path("settings/s.ini") +
            "\n"
            "save policy\tasync\n"
            "read-only\tno\n"
            "survives reset\tno\n",
        describe.out);
    EXPECT_EQ("", describe.err);
    EXPECT_EQ(0, describe.exitCode);
}

TEST_F(T8settingsSurvey, DescribeHasPermittedTextsAndOtherDefaults) {
    EXPECT_THAT(
        run({"describe", "s/a/mine"}).out,
        testing::AllOf(HasSubstr("\ntakes\tNO, YES, or the number of any value, from 0 to "),
                       HasSubstr("\ndefault\tnone\n")));
    EXPECT_THAT(run({"describe", "s/a/wider"}).out, HasSubstr("\ndefault\tint8,4\n"));
    EXPECT_THAT(run({"describe", "panel/hours"}).out,
                HasSubstr("\nread/write file\tnone\nsave policy\tthe program's\nread-only\tyes\n"
                          "survives reset\tyes\n"));
    const ToolRun unknown = run({"describe", "s/a/sam"});
    EXPECT_EQ("", unknown.out);
    EXPECT_THAT(unknown.err, HasSubstr("did you mean s/a/same?"));
    EXPECT_EQ(3, unknown.exitCode);
}

TEST_F(T8settingsSurvey, DescribeAsJsonHasTheMembersOfGetAndInfo) {
    EXPECT_EQ(Json({{"name", "s/a/wider"},
                    {"type", "int"},
                    {"text", "4"},
                    {"storage", "s"},
                    {"takes", "whole numbers from -2147483648 to 2147483647"},
                    {"defaultType", "int8"},
                    {"defaultText", "4"},
                    {"origin", "readWriteFile"},
                    {"file", path("settings/s.ini")},
                    {"defaultsFile", path("qel-default-settings/s.ini")},
                    {"readWriteFile", path("settings/s.ini")},
                    {"savePolicy", "async"},
                    {"readonly", false},
                    {"survivesReset", false}}),
              Json::parse(run({"describe", "s/a/wider", "--json"}).out));
    const Json mine = Json::parse(run({"describe", "s/a/mine", "--json"}).out);
    EXPECT_EQ(nullptr, mine.at("defaultType"));
    EXPECT_EQ(nullptr, mine.at("defaultText"));
    const Json model = Json::parse(run({"describe", "product/model", "--json"}).out);
    EXPECT_EQ(nullptr, model.at("readWriteFile"));
    EXPECT_EQ(nullptr, model.at("savePolicy"));
    EXPECT_EQ(true, model.at("readonly"));
}

TEST_F(T8settingsSurvey, SingleFileIsReadInPlaceOfTheDirectory) {
    const std::string file = path("settings/s.ini");
    const ToolRun list = runBare({"--file", file, "list", "s/a/m"}, {{"T8SETTINGS_BASE", base_}});
    EXPECT_EQ("s/a/mine\tYesNo\tYES\ns/a/moved\tlong long\t20\n", list.out);
    EXPECT_EQ("", list.err);
    EXPECT_EQ("20\n", runBare({"get", "s/a/moved", "--file", file}).out);
    EXPECT_EQ("s/a/moved = long long,20\n", runBare({"dump", "s/a/moved", "--file", file}).out);
    EXPECT_THAT(
        runBare({"describe", "s/a/moved", "--file", file}).out,
        testing::AllOf(HasSubstr("\ndefault\tnot known\norigin\treadWriteFile " + file + "\n"),
                       HasSubstr("\ndefaults file\tnot known\nread/write file\t" + file + "\n")));
    EXPECT_THAT(
        runBare({"describe", "product/model", "--file", path("qel-default-settings/product.xml")})
            .out,
        HasSubstr("\nread/write file\tnot known\n"));
    EXPECT_EQ(
        "T8\n",
        runBare({"get", "product/model", "--file", path("qel-default-settings/product.xml")}).out);
    const ToolRun unknown = runBare({"get", "s/a/fresh", "--file", file});
    EXPECT_EQ(3, unknown.exitCode);
}

TEST_F(T8settingsSurvey, SingleFileIsShownAlthoughALoadWouldSetItAside) {
    damage();
    const ToolRun get = runBare({"get", "s/a/moved", "--file", path("settings/s.ini")});
    EXPECT_EQ("20\n", get.out);
    EXPECT_EQ(warning("its CRC is wrong", "no program that loads it takes these settings"),
              get.err);
    for (const auto& words : {std::vector<std::string>{"get", "s/a/moved"},
                              {"get", "s/a/moved", "--origin"},
                              {"describe", "s/a/moved"},
                              {"list"},
                              {"dump"}}) {
        std::vector<std::string> all = words;
        all.insert(all.end(), {"--file", path("settings/s.ini")});
        EXPECT_EQ(5, runBare(all).exitCode) << words.front();
    }
    EXPECT_EQ(5, runBare({"diff", path("settings/s.ini"), path("settings/s.ini")}).exitCode);
    EXPECT_FALSE(testsupport::exists(path("settings/s.ini.bad")));
}

TEST_F(T8settingsSurvey, WhatASingleFileDoesNotTellIsNotKnown) {
    EXPECT_THAT(runBare({"describe", "s/a/moved", "--file", path("settings/s.ini")}).out,
                HasSubstr("\nsave policy\tasync\nread-only\tnot known\nsurvives reset\tno\n"));
    put("calibration_data/panel.ini", "#name = panel\nhours = long,8\n#crc32 = false\n");
    const std::vector<std::string> describe = {"--json", "describe", "panel/hours", "--file"};
    const auto jsonOf = [&](const std::string& file) {
        std::vector<std::string> words = describe;
        words.push_back(file);
        return Json::parse(runBare(words).out);
    };
    const Json panel = jsonOf(path("calibration_data/panel.ini"));
    EXPECT_EQ(true, panel.at("survivesReset"));
    EXPECT_EQ(nullptr, panel.at("readonly"));
    const Json byDefault = jsonOf(path("qel-default-calibration_data/panel.ini"));
    EXPECT_EQ(true, byDefault.at("survivesReset"));
    EXPECT_EQ(true, byDefault.at("readonly"));
    put("panel.ini", "#name = panel\nhours = long,8\n#crc32 = false\n");
    EXPECT_EQ(nullptr, jsonOf(path("panel.ini")).at("survivesReset"));
    EXPECT_THAT(runBare({"describe", "panel/hours", "--file", path("panel.ini")}).out,
                HasSubstr("\nsave policy\tnot known\nread-only\tnot known\nsurvives reset\tnot "
                          "known\n"));
}

TEST_F(T8settingsSurvey, SingleFileThatCannotBeReadIsAFailure) {
    const ToolRun none = runBare({"list", "--file", path("none.ini")});
    EXPECT_EQ("", none.out);
    EXPECT_EQ("t8settings: \"" + path("none.ini") + "\" cannot be read: there is no such file\n",
              none.err);
    EXPECT_EQ(1, none.exitCode);
    EXPECT_EQ("t8settings: \"" + base_ + "\" cannot be read: Is a directory\n",
              runBare({"list", "--file", base_}).err);
    put("x.xml", "<a>");
    EXPECT_EQ("t8settings: \"" + path("x.xml") +
                  "\" cannot be read: no readable well-formed XML document\n",
              runBare({"list", "--file", path("x.xml")}).err);
    EXPECT_EQ("t8settings: \"" + path("y.xml") + "\" cannot be read: No such file or directory\n",
              runBare({"list", "--file", path("y.xml")}).err);
}

TEST_F(T8settingsSurvey, SingleFileIsForReadingAlone) {
    const std::string file = path("settings/s.ini");
    const std::string before = bytesOf("settings/s.ini");
    for (const auto& words : {std::vector<std::string>{"set", "s/a/moved", "1"},
                              {"reset", "s/a/moved"},
                              {"reset", "--all", "--yes"},
                              {"load", file},
                              {"info"},
                              {"types"},
                              {"diff"}}) {
        std::vector<std::string> all = words;
        all.insert(all.end(), {"--file", file, "--marker", marker_});
        const ToolRun refused = runBare(all);
        EXPECT_EQ("t8settings: " + words.front() + " takes no --file\nt8settings: see t8settings " +
                      words.front() + " --help\n",
                  refused.err);
        EXPECT_EQ(2, refused.exitCode);
    }
    EXPECT_EQ(before, bytesOf("settings/s.ini"));
    EXPECT_EQ(2, runBare({"list", "--file", file, "--base", base_}).exitCode);
    EXPECT_EQ(2, runBare({"list", "--file", ""}).exitCode);
}

TEST_F(T8settingsSurvey, HundredThousandSettingsAreSurveyed) {
    std::string file = "#name = many\n";
    constexpr int kEnd = 100000 + 100000 / static_cast<int>(testsupport::kTimesLess);
    for (int i = 100000; i < kEnd; ++i) file += "k" + std::to_string(i) + " = int,1\n";
    put("qel-default-settings/many.ini", file);
    put("settings/many.ini", "#name = many\nk110000 = int,2\n#crc32 = false\n");
    EXPECT_EQ("many/k110000\tint\t2\n", run({"list", "many/", "--changed"}).out);
    EXPECT_EQ("readWriteFile\t" + path("settings/many.ini") + "\n",
              run({"get", "many/k110000", "--origin"}).out);
}

}  // namespace
