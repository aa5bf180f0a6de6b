#include <filesystem>
#include <gtest/gtest.h>
#include <string>

#include "ProcessFixture.h"

namespace {

/// The name that a process is called by decides how it saves files that say nothing of it.
class ProcessName : public testsupport::ProcessFixture {
protected:
    std::string infoOf(const std::string& storage, const std::string& directory,
                       const std::string& policy) const {
        const std::string file = "/" + storage + ".ini";
        return storage + " RW def=" + dir_.file("qel-default-" + directory) + file +
               " rw=" + dir_.file(directory) + file + " savePolicy=" + policy;
    }
};

TEST_F(ProcessName, MainApplicationSavesInTheBackgroundItsCalibrationToo) {
    const auto child = start(kMain);
    EXPECT_EQ(infoOf("tv", "settings", "Save_async"), child->ask("info tv"));
    EXPECT_EQ(infoOf("panel", "calibration_data", "Save_async"), child->ask("info panel"));
    EXPECT_EQ("rests", child->ask("rest"));
    EXPECT_EQ("1", child->ask("threads"));
    EXPECT_EQ("yes", child->ask("set tv/volume 2"));
    EXPECT_EQ(0, child->finish());
}

TEST_F(ProcessName, CopiedExecutableIsTheMainApplicationByItsName) {
    std::filesystem::copy_file(T8_TEST_PROGRAM_DIR "/SettingsProgram", dir_.file("bin/") + kMain);
    const auto child = start(kMain);
    EXPECT_EQ(infoOf("tv", "settings", "Save_async"), child->ask("info tv"));
    EXPECT_EQ(0, child->finish());
}

class OtherProcessName : public ProcessName, public testing::WithParamInterface<const char*> {};

TEST_P(OtherProcessName, SavesAtEachChangeWithoutAThread) {
    const auto child = start(GetParam());
    EXPECT_EQ(infoOf("tv", "settings", "Save_onEachChange"), child->ask("info tv"));
    EXPECT_EQ(infoOf("panel", "calibration_data", "Save_onEachChange"), child->ask("info panel"));
    EXPECT_EQ("yes", child->ask("set tv/volume 2"));
    EXPECT_TRUE(onDisk("settings/tv", "volume = int,2"));
    EXPECT_EQ("yes", child->ask("set panel/gamma 3"));
    EXPECT_TRUE(onDisk("calibration_data/panel", "gamma = int,3"));
    EXPECT_EQ("0", child->ask("threads"));
    EXPECT_EQ("done", child->ask("flush"));
    EXPECT_EQ(0, child->finish());
    EXPECT_EQ("", commands());
}

INSTANTIATE_TEST_SUITE_P(Names, OtherProcessName,
                         testing::Values("QelVisionMainApplication2", "qelvisionmainapplication",
                                         "QelVisionMainApplicatio", "aQelVisionMainApplication"),
                         [](const auto& name) { return std::string(name.param); });

}  // namespace
