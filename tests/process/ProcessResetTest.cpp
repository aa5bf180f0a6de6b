#include <gtest/gtest.h>
#include <string>

#include "ProcessFixture.h"

namespace {

/// A reset to defaults is one process's doing and every process's concern.
class ProcessReset : public testsupport::ProcessFixture {
protected:
    static constexpr const char* kRefused = "Reset to default in progress, *not* saving settings.";
};

TEST_F(ProcessReset, OtherProcessesJoinAtTheirNextLookAndSaveNoMore) {
    const auto resetting = start(kHelper);
    const auto running = start(kHelper);
    EXPECT_EQ("yes", running->ask("set tv/volume 7"));
    EXPECT_TRUE(onDisk("settings/tv", "volume = int,7"));
    EXPECT_EQ("0", running->ask("mode"));

    EXPECT_EQ("1", resetting->ask("reset"));
    EXPECT_EQ("2", resetting->ask("mode"));
    EXPECT_EQ("2", resetting->ask("reset"));
    EXPECT_EQ("", contentsOf(marker_));
    EXPECT_TRUE(onDisk("settings/tv", "volume = int,1"));

    EXPECT_EQ("1", running->ask("mode"));
    EXPECT_EQ("yes", running->ask("set tv/volume 8"));
    EXPECT_EQ("yes", running->ask("save tv"));
    EXPECT_EQ("yes", running->ask("dirty tv"));
    EXPECT_EQ("1", running->ask("reset"));
    EXPECT_EQ(0, running->finish());

    const auto late = start(kHelper);
    EXPECT_EQ("1", late->ask("get tv/volume"));
    EXPECT_EQ("yes", late->ask("set tv/volume 9"));
    EXPECT_EQ("1", late->ask("mode"));
    EXPECT_EQ(0, late->finish());
    EXPECT_EQ(0, resetting->finish());

    EXPECT_TRUE(onDisk("settings/tv", "volume = int,1"));
    EXPECT_FALSE(testsupport::exists(dir_.file("settings/tv.ini.tmp")));
    EXPECT_TRUE(testsupport::exists(marker_));
    EXPECT_NE(std::string::npos, errors().find(kRefused));
}

TEST_F(ProcessReset, ChangesThatWaitInTheBackgroundAreNotSavedAtTheEnd) {
    const auto running = start(kMain);
    EXPECT_EQ("rests", running->ask("rest"));
    EXPECT_EQ("yes", running->ask("set tv/volume 8"));
    EXPECT_EQ("yes", running->ask("set panel/gamma 8"));
    const auto resetting = start(kHelper);
    EXPECT_EQ("1", resetting->ask("reset"));
    EXPECT_EQ(0, running->finish());
    EXPECT_TRUE(onDisk("settings/tv", "volume = int,1"));
    EXPECT_FALSE(testsupport::exists(dir_.file("calibration_data/panel.ini")));
    EXPECT_EQ(kFlush, commands());
    EXPECT_EQ(0, resetting->finish());
}

TEST_F(ProcessReset, MainApplicationThatResetsKeepsTheDefaultsThroughItsEnd) {
    const auto child = start(kMain);
    EXPECT_EQ("yes", child->ask("set tv/volume 8"));
    EXPECT_EQ("yes", child->ask("set panel/gamma 8"));
    EXPECT_EQ("done", child->ask("flush"));
    EXPECT_EQ("1", child->ask("reset"));
    EXPECT_EQ("yes", child->ask("set tv/volume 9"));
    EXPECT_EQ("no", child->ask("save tv"));
    EXPECT_EQ(0, child->finish());
    EXPECT_TRUE(onDisk("settings/tv", "volume = int,1"));
    EXPECT_TRUE(onDisk("calibration_data/panel", "gamma = int,8"));
}

}  // namespace
