// Files that were read or written past January 2038 are files like others to the tool too.

#include <gtest/gtest.h>
#include <string>

#include "LateTimes.h"
#include "ToolRun.h"

namespace {

using testsupport::dateTo2040;
using testsupport::ToolRun;

class T8settingsLateTimes : public testsupport::ToolTest {
protected:
    void SetUp() override {
        put("qel-default-settings/settings.ini", "#name = settings\n[sound]\nbass = int8,-2\n");
        put("settings/settings.ini",
            "#name = settings\n#savepolicy = async\n[sound]\nbass = int8,-2\ntreble = int8,3\n"
            "#crc32 = 1168239953\n");
        for (const char* const name : {"qel-default-settings/settings.ini", "settings/settings.ini",
                                       "qel-default-settings", "settings", ""}) {
            if (!dateTo2040(path(name))) {
                GTEST_SKIP() << "the file system has no times past January 2038";
            }
        }
    }
};

TEST_F(T8settingsLateTimes, SettingsAreThoseOfTheReadWriteFile) {
    EXPECT_EQ("3\n", run({"get", "settings/sound/treble"}).out);
    const ToolRun diff = runBare({"diff", base_, path("qel-default-settings/settings.ini")});
    EXPECT_NE(std::string::npos, diff.out.find("settings/sound/treble")) << diff.out << diff.err;
}

TEST_F(T8settingsLateTimes, FilesAreVerifiedAndDirectoriesKnown) {
    const ToolRun verify = run({"verify"});
    EXPECT_EQ(0, verify.exitCode) << verify.out << verify.err;
    EXPECT_NE(std::string::npos, verify.out.find("2 files")) << verify.out;
    const ToolRun directory = run({"verify", path("settings")});
    EXPECT_NE(std::string::npos, directory.out.find("is a directory")) << directory.out;
}

TEST_F(T8settingsLateTimes, SettingIsSet) {
    EXPECT_EQ(0, run({"set", "settings/sound/treble", "4"}).exitCode);
    EXPECT_NE(std::string::npos, bytesOf("settings/settings.ini").find("treble = int8,4\n"));
}

TEST_F(T8settingsLateTimes, MarkerIsSeen) {
    testsupport::writeFile(marker_, "");
    ASSERT_TRUE(dateTo2040(marker_));
    const ToolRun set = run({"set", "settings/sound/treble", "4"});
    EXPECT_EQ(4, set.exitCode) << set.out << set.err;
    EXPECT_NE(std::string::npos, set.err.find("a reset to defaults is in progress")) << set.err;
}

}  // namespace
