#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>

#include "ToolRun.h"

namespace {

using testsupport::ToolRun;
using Json = nlohmann::json;

class T8settingsDiff : public testsupport::ToolTest {
protected:
    T8settingsDiff() {
        put("qel-default-settings/s.ini",
            "#name = s\n[a]\nequal = int,1\nfresh = int,1\nvalue = string,\nwider = int8,4\n");
    }

    void change() const {
        put("settings/s.ini",
            "#name = s\n[a]\nequal = int,1\nmine = string,x\ty\nvalue = string,\xFF\nwider = "
            "int,4\n"
            "#crc32 = false\n");
    }
};

TEST_F(T8settingsDiff, NothingIsShownWhenAllIsAsByDefault) {
    put("settings/s.ini", "#name = s\n[a]\nequal = int32,01\n#crc32 = false\n");
    for (const bool json : {false, true}) {
        const ToolRun diff = json ? run({"diff", "--json"}) : run({"diff"});
        EXPECT_EQ(json ? "[]\n" : "", diff.out);
        EXPECT_EQ("", diff.err);
        EXPECT_EQ(0, diff.exitCode);
    }
}

TEST_F(T8settingsDiff, DefaultAndValueOfWhatDiffersAreShown) {
    change();
    const ToolRun diff = run({"diff"});
    EXPECT_EQ(
        "s/a/mine\t(unset)\tx\\ty\n"
        "s/a/value\t\t\xFF\n"
        "s/a/wider\tint8,4\tint,4\n",
        diff.out);
    EXPECT_EQ("", diff.err);
    EXPECT_EQ(5, diff.exitCode);
}

TEST_F(T8settingsDiff, JsonHasBothSidesWhole) {
    change();
    const ToolRun diff = run({"diff", "--json"});
    EXPECT_EQ(
        Json({{{"name", "s/a/mine"},
               {"left", nullptr},
               {"right", {{"type", "string"}, {"text", "x\ty"}}}},
              {{"name", "s/a/value"},
               {"left", {{"type", "string"}, {"text", ""}}},
               {"right", {{"type", "string"}, {"text", "\xEF\xBF\xBD"}, {"textBytes", "ff"}}}},
              {{"name", "s/a/wider"},
               {"left", {{"type", "int8"}, {"text", "4"}}},
               {"right", {{"type", "int"}, {"text", "4"}}}}}),
        Json::parse(diff.out));
    EXPECT_EQ(5, diff.exitCode);
}

TEST_F(T8settingsDiff, TwoStoresAreComparedByTheValuesInForce) {
    const std::string before = dir_.file("before");
    std::filesystem::copy(base_, before, std::filesystem::copy_options::recursive);
    EXPECT_EQ(0, runBare({"diff", before, base_}).exitCode);
    change();
    const ToolRun diff = runBare({"diff", before, base_});
    EXPECT_EQ(
        "s/a/mine\t(unset)\tx\\ty\n"
        "s/a/value\t\t\xFF\n"
        "s/a/wider\tint8,4\tint,4\n",
        diff.out);
    EXPECT_EQ("", diff.err);
    EXPECT_EQ(5, diff.exitCode);
    EXPECT_EQ(
        "s/a/mine\tx\\ty\t(unset)\n"
        "s/a/value\t\xFF\t\n"
        "s/a/wider\tint,4\tint8,4\n",
        runBare({"diff", base_, before}).out);
}

TEST_F(T8settingsDiff, FilesAreComparedByWhatStandsInThem) {
    change();
    const ToolRun diff =
        runBare({"diff", path("qel-default-settings/s.ini"), path("settings/s.ini")});
    EXPECT_EQ(
        "s/a/fresh\t1\t(unset)\n"
        "s/a/mine\t(unset)\tx\\ty\n"
        "s/a/value\t\t\xFF\n"
        "s/a/wider\tint8,4\tint,4\n",
        diff.out);
    EXPECT_EQ(5, diff.exitCode);
    EXPECT_EQ("s/a/fresh\t(unset)\t1\n", runBare({"diff", path("settings/s.ini"), base_}).out);
}

TEST_F(T8settingsDiff, SidesHaveColoursOnATerminal) {
    put("settings/s.ini", "#name = s\n[a]\nvalue = string,x\n#crc32 = false\n");
    EXPECT_EQ("\x1B[1ms/a/value\x1B[0m    \x1B[32mx\x1B[0m\r\n",
              runOnTerminal({"diff"}, "", {{"TERM", "linux"}}).out);
    EXPECT_EQ("s/a/value    x\r\n", runOnTerminal({"diff"}).out);
}

TEST_F(T8settingsDiff, WhatCannotBeComparedIsAFailure) {
    const ToolRun none = runBare({"diff", base_, dir_.file("none")});
    EXPECT_EQ("", none.out);
    EXPECT_EQ("t8settings: \"" + dir_.file("none") + "\" cannot be read: there is no such file\n",
              none.err);
    EXPECT_EQ(1, none.exitCode);
    for (const auto& words : {std::vector<std::string>{"diff", base_}, {"diff", "a", "b", "c"}}) {
        EXPECT_EQ(2, runBare(words).exitCode);
    }
    EXPECT_EQ("t8settings: say both A and B, or neither\nt8settings: see t8settings diff --help\n",
              runBare({"diff", base_}).err);
    EXPECT_EQ(2, runBare({"diff"}).exitCode);
}

TEST_F(T8settingsDiff, DumpsAreComparedByWhatTheySay) {
    put("qel-default-settings/t.ini",
        "#name = t\nlike = string,\"k = int8,5\"\nlist = string[],\"a,b\";c\n"
        "text = string,\"x, y\"\n");
    put("tv.json", run({"dump", "--json"}).out);
    put("tv.ini", run({"dump"}).out);
    put("sound", "# of mine\ns/a/equal = int,2\n");
    for (const char* const dump : {"tv.json", "tv.ini"}) {
        const ToolRun diff = runBare({"diff", path(dump), base_});
        EXPECT_EQ("", diff.out);
        EXPECT_EQ("", diff.err);
        EXPECT_EQ(0, diff.exitCode);
        EXPECT_THAT(runBare({"diff", path("sound"), path(dump)}).out,
                    testing::StartsWith("s/a/equal\t2\t1\ns/a/fresh\t(unset)\t1\n"));
    }
    put("empty.json", "[]\n");
    EXPECT_EQ("s/a/equal\t2\t(unset)\n", runBare({"diff", path("sound"), path("empty.json")}).out);
}

TEST_F(T8settingsDiff, FileOfAStorageIsNoDumpHoweverItsNamesLook) {
    const std::string lines = "a/equal = int,2\n";
    put("qel-default-settings/s.ini", lines);
    put("named", "#name = s\n" + lines);
    put("checked", lines + "#crc32 = false\n");
    put("sections", lines + "[b]\nc/d = int,1\n");
    put("short", lines + "c = int,1\n");
    for (const auto& [name, storage] :
         std::vector<std::pair<std::string, std::string>>{{"qel-default-settings/s.ini", "s"},
                                                          {"named", "s"},
                                                          {"checked", "checked"},
                                                          {"sections", "sections"},
                                                          {"short", "short"}}) {
        EXPECT_THAT(run({"list", "--file", path(name)}).out,
                    testing::StartsWith(storage + "/a/equal\tint\t2\n"));
    }
}

TEST_F(T8settingsDiff, DumpOutOfFormIsAFailure) {
    put("cut.json", "[{\"name\": \"s/a\"");
    put("twice", "s/a = int,1\ns/a = int,2\n");
    const ToolRun cut = runBare({"diff", path("cut.json"), base_});
    EXPECT_EQ("", cut.out);
    EXPECT_THAT(cut.err, testing::StartsWith("t8settings: " + path("cut.json") + ":1: "));
    EXPECT_EQ(1, cut.exitCode);
    EXPECT_EQ("t8settings: " + path("twice") + ":2: s/a has a value already\n",
              runBare({"diff", base_, path("twice")}).err);
}

TEST_F(T8settingsDiff, DumpThatWasCutShortIsNoFileWhateverItsTextsLookLike) {
    const std::string entry = "\"name\": \"s/a\",\n\"type\": \"string\",\n\"text\": \"a = int8,3";
    for (const std::string& cut : {"[{" + entry, "[{" + entry + "\n", "[\n{\n" + entry + "\",\n",
                                   "{\"settings\": [{" + entry + "\"}, tru"}) {
        put("cut.json", cut);
        const ToolRun diff = runBare({"diff", path("cut.json"), base_});
        EXPECT_EQ("", diff.out);
        EXPECT_THAT(diff.err, testing::HasSubstr(": syntax error"));
        EXPECT_EQ(1, diff.exitCode);
    }
    for (const std::string start : {"[a]\n", "[]\n", "[{]\n", "[\"a\"]\n", "{"}) {
        put("s.ini", start + "equal = int,2\n");
        EXPECT_THAT(runBare({"diff", path("s.ini"), base_}).out, testing::HasSubstr("equal\t2\t"))
            << start;
    }
}

TEST_F(T8settingsDiff, DumpIsNoFileInPlaceOfADirectory) {
    put("tv.json", run({"dump", "--json"}).out);
    put("tv.ini", run({"dump"}).out);
    for (const std::string dump : {"tv.json", "tv.ini"}) {
        for (const auto& words :
             {std::vector<std::string>{"list"}, {"get", "s/a/equal"}, {"dump"}}) {
            std::vector<std::string> all = words;
            all.insert(all.end(), {"--file", path(dump)});
            const ToolRun refused = runBare(all);
            EXPECT_EQ("", refused.out);
            EXPECT_EQ("t8settings: \"" + path(dump) +
                          "\" is a dump and no settings file: load takes it, and diff compares it "
                          "with a store, a file or another dump\n",
                      refused.err);
            EXPECT_EQ(1, refused.exitCode);
        }
    }
}

TEST_F(T8settingsDiff, EmptyWordsAreBadUsage) {
    for (const auto& words :
         {std::vector<std::string>{"diff", "", ""}, {"diff", base_, ""}, {"diff", "", base_}}) {
        EXPECT_EQ(2, run(words).exitCode);
    }
}

}  // namespace
