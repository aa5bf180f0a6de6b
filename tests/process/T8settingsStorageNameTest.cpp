// Storages that are not called as their files are.

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>

#include "ToolRun.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using testsupport::ToolRun;
using Json = nlohmann::json;

class T8settingsStorageName : public testsupport::ToolTest {
protected:
    T8settingsStorageName() {
        put("qel-default-settings/a.ini", "#name = xyz\n[s]\nbass = int8,3\ntreble = int8,4\n");
    }

    void putOwn(const std::string& lines) const { put("settings/a.ini", lines + kUnchecked); }

    static constexpr const char* kUnchecked = "#crc32 = false\n";
    std::string own_ = path("settings/a.ini");
};

TEST_F(T8settingsStorageName, OfTheDefaultsFileCountsInAFileThatSaysNone) {
    putOwn("[s]\nbass = int8,300\n");
    const std::string finding =
        own_ + ":2: xyz/s/bass: int8 would not keep \"300\", it would make \"44\" of it; ";
    EXPECT_THAT(run({"verify"}).out, HasSubstr("\n" + finding));
    EXPECT_THAT(run({"verify", own_}).out, HasSubstr("\n" + finding));
    EXPECT_THAT(run({"seal", own_}).err, HasSubstr(finding));
    EXPECT_EQ("xyz/s/bass\tint8\t44\n", run({"list", "--file", own_}).out);
}

TEST_F(T8settingsStorageName, OfTheFileItselfCountsWhereNoDefaultsSayAnother) {
    const std::string lines = "[s]\nbass = int8,300\n";
    put("settings/b.ini", lines + kUnchecked);
    put("b.ini", lines + kUnchecked);
    put("qel-default-settings/c.ini", lines);
    for (const char* const name : {"settings/b.ini", "b.ini", "qel-default-settings/c.ini"}) {
        const std::string storage(1, std::string(name).at(std::string(name).size() - 5));
        EXPECT_EQ(storage + "/s/bass\tint8\t44\n", run({"list", "--file", path(name)}).out);
    }
}

TEST_F(T8settingsStorageName, OfAWholeCopyOfTheDefaultsCountsAsALoadTakesIt) {
    put("qel-default-settings/a.ini.tmp",
        std::string("#name = copy\n[s]\nbass = int8,3\n") + kUnchecked);
    putOwn("[s]\nbass = int8,5\n");
    EXPECT_EQ("copy/s/bass\tint8\t5\n", run({"list"}).out);
    EXPECT_EQ("copy/s/bass\tint8\t5\n", run({"list", "--file", own_}).out);
}

TEST_F(T8settingsStorageName, LineThatIsNotKeptIsMendedBySettingIt) {
    putOwn("[s]\nbass = int8,300\n");
    const ToolRun set = run({"set", "xyz/s/bass", "5"});
    EXPECT_EQ("xyz/s/bass\tint8\t5\n", set.out);
    EXPECT_EQ(0, set.exitCode) << set.err;
}

TEST_F(T8settingsStorageName, LineThatSwallowsAnotherIsSeen) {
    putOwn("[s]\nbass = int8,5treble = int8,30\n");
    EXPECT_THAT(run({"verify", own_}).out,
                HasSubstr("xyz/s/bass has run into what looks like another setting"));
}

TEST_F(T8settingsStorageName, FileThatSaysNoneIsLoadedAndMissesNothingInRecovery) {
    putOwn("[s]\nbass = int8,5\ntreble = int8,6\n");
    EXPECT_EQ("0 changed, 2 the same\n", run({"load", own_}).out);
    put("settings/a.ini.bad", "[s]\nbass = int8,7\ntreble = int8,8\n#crc32 = 1\n");
    EXPECT_THAT(run({"recover", own_}).out, HasSubstr("\nxyz/s/bass\tint8,5\tint8,7\n"));
    const ToolRun recovered = run({"recover", own_, "--from", "bad", "--yes"});
    EXPECT_THAT(recovered.out + recovered.err, Not(HasSubstr("does not come back")));
    EXPECT_EQ("7\n", run({"get", "xyz/s/bass"}).out);
}

TEST_F(T8settingsStorageName, IsThatOfTheStoreInADumpAlthoughTheFilesCallItDifferently) {
    putOwn("#name = own\n[s]\nbass = int8,5\n");
    put("qel-default-settings/x.xml", "<first><model value=\"T8\"/></first>");
    put("settings/x.xml", "<second><number value=\"9\"/></second>");
    const Json loaded = Json::parse(run({"list", "--json"}).out);
    EXPECT_EQ(5u, loaded.size());
    const ToolRun dumped = run({"dump", "--json"});
    EXPECT_EQ(loaded, Json::parse(dumped.out));
    put("dump", dumped.out);
    const ToolRun load = run({"load", path("dump")});
    EXPECT_EQ("0 changed, 5 the same\n", load.out);
    EXPECT_EQ("", load.err);
    EXPECT_EQ("own", Json::parse(run({"describe", "xyz/s/bass", "--json"}).out).at("storage"));
}

}  // namespace
