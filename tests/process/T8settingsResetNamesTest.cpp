// Single settings go back to their defaults.

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "ToolRun.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;
using testsupport::ToolRun;

class T8settingsResetNames : public testsupport::ToolTest {
protected:
    T8settingsResetNames() {
        put("qel-default-settings/a.ini",
            "#name = a\n[s]\none = int,1\nt\xC3\xBCr \xFF = string,x\ntwo = int8,2\n");
        put("qel-default-settings/b.ini", "#name = b\n[s]\none = string,1\n");
        put("qel-default-settings/product.xml", "<product><model value=\"T8\"/></product>");
        put("settings/a.ini",
            "#name = a\n#savepolicy = eachchange\n[s]\nmine = int,7\none = int,10\n"
            "t\xC3\xBCr \xFF = string,y\ntwo = int,20\n#crc32 = false\n");
        put("settings/b.ini", "#name = b\n[s]\none = string,10\n#crc32 = false\n");
    }

    std::string shown() const { return run({"list", "?/*"}).out; }

    /// Nothing on standard output, nothing changed.
    void expectNothingChanged(const ToolRun& reset, int exitCode, const std::string& text) const {
        EXPECT_EQ("", reset.out);
        EXPECT_THAT(reset.err, StartsWith("t8settings: " + text));
        EXPECT_EQ(exitCode, reset.exitCode);
        EXPECT_EQ(before_, shown());
        EXPECT_THAT(bytesOf("settings/a.ini"), HasSubstr("#crc32 = false\n"));
    }

    const std::string before_ =
        "a/s/mine\tint\t7\na/s/one\tint\t10\na/s/two\tint\t20\na/s/t\xC3\xBCr "
        "\xFF\tstring\ty\nb/s/one\tstring\t10\n";
};

TEST_F(T8settingsResetNames, TheyGetTheValuesAndTypesOfTheDefaultsFiles) {
    ASSERT_EQ(before_, shown());
    const ToolRun reset = run({"reset", "a/s/two", "b/s/one", "a/s/t\xC3\xBCr \xFF", "a/s/two"});
    EXPECT_EQ("a/s/two\tint8\t2\nb/s/one\tstring\t1\na/s/t\xC3\xBCr \xFF\tstring\tx\n", reset.out);
    EXPECT_EQ("", reset.err);
    EXPECT_EQ(0, reset.exitCode);
    EXPECT_EQ(
        "a/s/mine\tint\t7\na/s/one\tint\t10\na/s/two\tint8\t2\na/s/t\xC3\xBCr \xFF\tstring\tx\n"
        "b/s/one\tstring\t1\n",
        shown());
    EXPECT_FALSE(testsupport::exists(marker_));
}

TEST_F(T8settingsResetNames, JsonIsAnArrayOfTheSettings) {
    const ToolRun reset = run({"reset", "b/s/one", "--json"});
    EXPECT_EQ(nlohmann::json::parse(R"([{"name": "b/s/one", "type": "string", "text": "1",
                                         "storage": "b"}])"),
              nlohmann::json::parse(reset.out));
    EXPECT_EQ(0, reset.exitCode);
}

TEST_F(T8settingsResetNames, WhatHasItsDefaultIsNotWritten) {
    std::filesystem::remove(path("settings/b.ini"));
    EXPECT_EQ("b/s/one\tstring\t1\n", run({"reset", "b/s/one"}).out);
    EXPECT_FALSE(testsupport::exists(path("settings/b.ini")));
}

TEST_F(T8settingsResetNames, AllNamesAreLookedUpFirst) {
    expectNothingChanged(run({"reset", "a/s/two", "a/s/twoo"}), 3,
                         "no such setting: \"a/s/twoo\"\nt8settings: did you mean a/s/two?\n");
    expectNothingChanged(run({"reset", "a/s/two", "product/model"}), 4,
                         "product/model is read-only: product RO def=");
    expectNothingChanged(
        run({"reset", "a/s/two", "a/s/mine"}), 4,
        "a/s/mine has no default to go back to: a RW def=" + path("qel-default-settings/a.ini"));
    std::filesystem::remove(path("qel-default-settings/b.ini"));
    expectNothingChanged(run({"reset", "a/s/two", "b/s/one"}), 4,
                         "b/s/one has no default to go back to: b RW def=(No filename)");
    testsupport::writeFile(marker_, "");
    expectNothingChanged(run({"reset", "a/s/two"}), 4, "a reset to defaults is in progress, ");
}

TEST_F(T8settingsResetNames, DefaultThatIsReadAsSomethingElseIsNotGoneBackTo) {
    put("qel-default-settings/a.ini", "#name = a\n[s]\none = int,1\ntwo = int8,999\n");
    for (const std::string& file : {bytesOf("settings/a.ini"), std::string()}) {
        if (file.empty()) std::filesystem::remove(path("settings/a.ini"));
        const ToolRun reset = run({"reset", "a/s/one", "a/s/two"});
        EXPECT_EQ("", reset.out);
        EXPECT_THAT(reset.err,
                    testing::EndsWith(
                        "t8settings: a/s/two is unchanged, as its default is not what it says:\n"
                        "t8settings: " +
                        path("qel-default-settings/a.ini") +
                        ":4: int8 would not keep \"999\", it would make \"-25\" of it; int8 takes "
                        "whole numbers from -128 to 127\n"
                        "t8settings: mend that line, or: t8settings set a/s/two TEXT\n"));
        EXPECT_EQ(1, reset.exitCode);
        EXPECT_EQ(!file.empty(), testsupport::exists(path("settings/a.ini")));
    }
    EXPECT_EQ(0, run({"set", "a/s/two", "7"}).exitCode);
    EXPECT_EQ("a/s/one\tint\t1\n", run({"reset", "a/s/one"}).out);
    put("qel-default-settings/a.ini", "#name = a\n[s]\none = int,1\ntwo = int8,99\n");
    EXPECT_EQ("a/s/two\tint8\t99\n", run({"reset", "a/s/two"}).out);
}

TEST_F(T8settingsResetNames, FullDiskChangesNothing) {
    expectNothingChanged(run({"reset", "a/s/one", "a/s/two"}, {}, fullDisk), 1,
                         "2 settings of a could not be saved:\n");
}

TEST_F(T8settingsResetNames, DirectoryThatCannotBeWrittenChangesNothing) {
    std::filesystem::create_directory(path("settings/a.ini.tmp"));
    expectNothingChanged(run({"reset", "a/s/one"}), 1, "a/s/one could not be saved:\n");
}

TEST_F(T8settingsResetNames, WhatWasSavedBeforeAFailureIsTakenBack) {
    std::filesystem::create_directory(path("settings/b.ini.tmp"));
    const ToolRun reset = run({"reset", "b/s/one", "a/s/one", "a/s/two"});
    EXPECT_EQ("", reset.out);
    EXPECT_THAT(reset.err, StartsWith("t8settings: b/s/one could not be saved:\n"));
    EXPECT_THAT(reset.err, testing::EndsWith("\nt8settings: a is as it was\n"));
    EXPECT_EQ(1, reset.exitCode);
    EXPECT_EQ(before_, shown());
}

TEST_F(T8settingsResetNames, NobodyIsAsked) {
    EXPECT_EQ("b/s/one  string  1\r\n", runOnTerminal({"reset", "b/s/one"}).out);
}

}  // namespace
