#include <filesystem>
#include <gtest/gtest.h>
#include <string>

#include "ProcessFixture.h"

namespace {

/// What the end of a process does to its settings, and what it must not do.
class ProcessEnd : public testsupport::ProcessFixture {};

TEST_F(ProcessEnd, ReturnFromMainFlushesTheSaverOnce) {
    const auto child = start(kMain);
    EXPECT_EQ("yes", child->ask("set tv/volume 2"));
    EXPECT_EQ("yes", child->ask("set panel/gamma 3"));
    EXPECT_EQ(0, child->finish());
    EXPECT_TRUE(onDisk("settings/tv", "volume = int,2"));
    EXPECT_TRUE(onDisk("calibration_data/panel", "gamma = int,3"));
    EXPECT_EQ(kFlush, commands());
}

TEST_F(ProcessEnd, CallOfExitFlushesTheSaverOnce) {
    const auto child = start(kMain);
    EXPECT_EQ("yes", child->ask("set tv/volume 2"));
    child->tell("exit");
    EXPECT_EQ(0, child->finish());
    EXPECT_TRUE(onDisk("settings/tv", "volume = int,2"));
    EXPECT_EQ(kFlush, commands());
}

TEST_F(ProcessEnd, SaversEndIsLoggedAfterItsThreads) {
    environment_["QLOG"] = "2";
    const auto child = start(kMain);
    EXPECT_EQ(0, child->finish());
    const std::string source = "2 Qel::Settings src/SettingsStorageFileAsyncSaver:";
    const std::string logged = errors();
    const std::size_t stop = logged.find("SettingsStorageFileAsyncSaver::stop()\n");
    const std::size_t thread =
        logged.find("SettingsStorageFileAsyncSaver::threadFunc(): terminated\n");
    const std::size_t end =
        logged.find("SettingsStorageFileAsyncSaver::~SettingsStorageFileAsyncSaver()\n");
    ASSERT_NE(std::string::npos, end) << logged;
    EXPECT_LT(stop, thread);
    EXPECT_LT(thread, end);
    const std::size_t lineStart = logged.rfind('\n', end) + 1;
    EXPECT_EQ(source, logged.substr(lineStart, source.size()));
}

TEST_F(ProcessEnd, FlushSavesAtOnceAndTheEndFlushesAgain) {
    const auto child = start(kMain);
    EXPECT_EQ("yes", child->ask("set tv/volume 2"));
    EXPECT_EQ("done", child->ask("flush"));
    EXPECT_TRUE(onDisk("settings/tv", "volume = int,2"));
    EXPECT_EQ(kFlush, commands());
    EXPECT_EQ("yes", child->ask("set tv/volume 3"));
    EXPECT_EQ(0, child->finish());
    EXPECT_TRUE(onDisk("settings/tv", "volume = int,3"));
    EXPECT_EQ(std::string(kFlush) + kFlush, commands());
}

// A directory where the file should be: what a full or read-only flash does to a save.
TEST_F(ProcessEnd, StorageThatCannotBeSavedDoesNotHoldItUp) {
    const auto child = start(kMain);
    std::filesystem::create_directory(dir_.file("settings/tv.ini"));
    EXPECT_EQ("yes", child->ask("set tv/volume 2"));
    EXPECT_EQ("yes", child->ask("set panel/gamma 3"));
    EXPECT_EQ("no", child->ask("save tv"));
    EXPECT_EQ("done", child->ask("flush"));
    EXPECT_EQ("yes", child->ask("dirty tv"));
    EXPECT_EQ("no", child->ask("dirty panel"));
    EXPECT_EQ(0, child->finish());
    EXPECT_TRUE(onDisk("calibration_data/panel", "gamma = int,3"));
    EXPECT_NE(std::string::npos,
              contentsOf(dir_.file("settings/tv.ini.tmp")).find("\nvolume = int,2\n"));
    EXPECT_EQ(std::string(kFlush) + kFlush, commands());
    EXPECT_NE(std::string::npos, errors().find("Failed to save storage tv\n"));
}

TEST_F(ProcessEnd, StorageReleasedAfterMainIsFlushedBeforeAndDiesQuietly) {
    const auto child = run("SaverEndProgram", {"release-after-main", dir_.file("tv.ini")});
    EXPECT_EQ(0, child->finish()) << errors();
    EXPECT_EQ("released\n", child->rest());
    EXPECT_TRUE(onDisk("tv", "volume = int,2"));
    EXPECT_EQ(kFlush, commands());
    EXPECT_EQ("", errors());
}

TEST_F(ProcessEnd, StorageMadeAfterTheSaversEndStillSaves) {
    const auto child = run("SaverEndProgram", {"make-after-main", dir_.file("tv.ini")});
    EXPECT_EQ(0, child->finish()) << errors();
    EXPECT_EQ("saved\n", child->rest());
    EXPECT_TRUE(onDisk("tv", "volume = int,2"));
    EXPECT_EQ("", errors());
}

TEST_F(ProcessEnd, SaverThatIsAtItsEndIsNotStartedAgain) {
    const auto child = run("SaverEndProgram", {"start-after-main", "-"});
    EXPECT_EQ(0, child->finish()) << errors();
    EXPECT_EQ("not started\n", child->rest());
}

TEST_F(ProcessEnd, CrashOnTheSaversThreadReachesTheApplicationsHandler) {
    const auto child = run("SaverEndProgram", {"crash-in-save", "-"});
    EXPECT_EQ("handler called", child->answer()) << errors();
    EXPECT_EQ(4, child->finish());
}

TEST_F(ProcessEnd, ExitFromASaveOfTheSaverEnds) {
    for (const char* const scenario : {"exit-in-save", "exit-in-last-save", "exit-in-flush"}) {
        const auto child = run("SaverEndProgram", {scenario, "-"});
        EXPECT_EQ(3, child->finish()) << scenario << errors();
    }
}

TEST_F(ProcessEnd, ForkedChildSavesNothingAndLeavesTheParentAlone) {
    const auto child = run("SaverEndProgram", {"fork", dir_.file("tv.ini")});
    EXPECT_EQ("child exited 0", child->answer()) << errors();
    EXPECT_EQ("child's change not saved", child->answer());
    EXPECT_EQ(0, child->finish());
    EXPECT_TRUE(onDisk("tv", "volume = int,2"));
    EXPECT_EQ(kFlush, commands());
}

TEST_F(ProcessEnd, ChildForkedInTheMiddleOfASaveEndsToo) {
    const auto child = run("SaverEndProgram", {"fork-during-save", "-"});
    EXPECT_EQ("child exited 0", child->answer()) << errors();
    EXPECT_EQ(0, child->finish());
    EXPECT_EQ(std::string(kFlush) + kFlush, commands()) << "once before the fork, once after";
}

TEST_F(ProcessEnd, TerminationSignalGoesToTheApplicationsThread) {
    const auto child = run("SaverEndProgram", {"termination", dir_.file("tv.ini")});
    EXPECT_EQ("main thread took 15", child->answer());
    EXPECT_EQ(0, child->finish());
}

}  // namespace
