#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "FileCalls.h"
#include "Files.h"
#include "LogCapture.h"
#include "OperationMode.h"
#include "Qel/Settings/SettingsManager.h"
#include "StatHook.h"
#include "TempDir.h"
#include "Threads.h"
#include "qlog/QlogControl.h"

namespace {

using namespace Qel::Settings;
using testing::IsEmpty;
using testsupport::LogCapture;
using testsupport::StatHook;
using testsupport::TempDir;
using testsupport::WatchedThread;
using testsupport::writeFile;

static_assert(SOM_Normal == 0 && SOM_ResettingToDefault == 1 && SOM_ResetDone == 2,
              "the numbers stand in the log");
static_assert(sizeof(SettingsOperationMode) == sizeof(int), "the mode is held as an int");

/// A manager, a marker path where nothing lies yet, and a count of the looks at it.
class OperationModeTest : public testing::Test {
protected:
    OperationModeTest() {
        SettingsManager::setResetToDefaultsMarker(marker_);
        StatHook::instance().path = marker_;
    }
    ~OperationModeTest() override {
        StatHook::instance().reset();
        SettingsManager::setResetToDefaultsMarker("");
    }

    static int looks() { return StatHook::instance().calls; }

    static std::size_t logged(const LogCapture& log, const std::string& text) {
        return log.count(2, "Qel::Settings", "src/SettingsManager", text);
    }

    TempDir dir_;
    std::string marker_ = dir_.file("mark%d");
    std::string joined_ =
        "SettingsManager::getSettingsOperationMode(): SOM_ResettingToDefault - other process "
        "created " +
        marker_;
    SettingsManager manager_;
};

TEST_F(OperationModeTest, IsNormalAtFirst) {
    EXPECT_EQ(SOM_Normal, manager_.getSettingsOperationMode());
}

TEST_F(OperationModeTest, EachTransitionIsLoggedWithBothNumbers) {
    LogCapture log;
    const std::string head = "SettingsManager::setSettingsOperationMode(): ";
    EXPECT_TRUE(manager_.setSettingsOperationMode(SOM_ResettingToDefault));
    EXPECT_EQ(1U, logged(log, head + "0 ==> 1")) << log.dump();
    EXPECT_TRUE(manager_.setSettingsOperationMode(SOM_ResetDone));
    EXPECT_EQ(1U, logged(log, head + "1 ==> 2")) << log.dump();
    EXPECT_TRUE(manager_.setSettingsOperationMode(SOM_Normal));
    EXPECT_EQ(1U, logged(log, head + "2 ==> 0")) << log.dump();
    EXPECT_EQ(3U, log.entries().size()) << log.dump();
}

TEST_F(OperationModeTest, SettingTheModeThatIsInForceLogsNothing) {
    LogCapture log;
    EXPECT_TRUE(manager_.setSettingsOperationMode(SOM_Normal));
    EXPECT_TRUE(manager_.setSettingsOperationMode(SOM_ResetDone));
    log.clear();
    EXPECT_TRUE(manager_.setSettingsOperationMode(SOM_ResetDone));
    EXPECT_EQ(SOM_ResetDone, manager_.getSettingsOperationMode());
    EXPECT_THAT(log.entries(), IsEmpty()) << log.dump();
}

TEST_F(OperationModeTest, TransitionIsLoggedBeforeTheModeChanges) {
    SettingsOperationMode atLogTime = SOM_ResetDone;
    LogCapture log;
    qlog::setSink([&](const qlog::Record&) { atLogTime = manager_.getSettingsOperationMode(); });
    manager_.setSettingsOperationMode(SOM_ResettingToDefault);
    EXPECT_EQ(SOM_Normal, atLogTime);
    EXPECT_EQ(SOM_ResettingToDefault, manager_.getSettingsOperationMode());
}

TEST_F(OperationModeTest, ModeChangesWithoutAWordWhenInformationIsSwitchedOff) {
    LogCapture log(4);
    EXPECT_TRUE(manager_.setSettingsOperationMode(SOM_ResetDone));
    EXPECT_EQ(SOM_ResetDone, manager_.getSettingsOperationMode());
    manager_.setSettingsOperationMode(SOM_Normal);
    writeFile(marker_, "");
    EXPECT_EQ(SOM_ResettingToDefault, manager_.getSettingsOperationMode());
    EXPECT_THAT(log.entries(), IsEmpty()) << log.dump();
}

TEST_F(OperationModeTest, NormalModeLooksForTheMarkerAtEveryQuery) {
    LogCapture log;
    for (int query = 1; query <= 3; ++query) {
        EXPECT_EQ(SOM_Normal, manager_.getSettingsOperationMode());
        EXPECT_EQ(query, looks());
    }
    EXPECT_THAT(log.entries(), IsEmpty()) << log.dump();
}

TEST_F(OperationModeTest, WithoutAMarkerPathNobodyLooks) {
    writeFile(marker_, "");
    SettingsManager::setResetToDefaultsMarker("");
    StatHook::instance().reset();
    EXPECT_EQ(SOM_Normal, manager_.getSettingsOperationMode());
    EXPECT_EQ(0, looks());
    SettingsManager::setResetToDefaultsMarker(marker_);
    EXPECT_EQ(SOM_ResettingToDefault, manager_.getSettingsOperationMode());
    EXPECT_EQ(1, looks());
}

TEST_F(OperationModeTest, MarkerOfAnotherProcessIsLoggedWithItsPathAndWithoutATransition) {
    LogCapture log;
    writeFile(marker_, "");
    EXPECT_EQ(SOM_ResettingToDefault, manager_.getSettingsOperationMode());
    EXPECT_EQ(1U, logged(log, joined_)) << log.dump();
    EXPECT_EQ(1U, log.entries().size()) << log.dump();
}

TEST_F(OperationModeTest, AnythingAtTheMarkersPathIsAMarker) {
    ASSERT_TRUE(std::filesystem::create_directory(marker_));
    EXPECT_EQ(SOM_ResettingToDefault, manager_.getSettingsOperationMode());
}

TEST_F(OperationModeTest, ModeThatIsNotNormalNeverLooksAgain) {
    writeFile(marker_, "");
    EXPECT_EQ(SOM_ResettingToDefault, manager_.getSettingsOperationMode());
    EXPECT_EQ(1, looks());
    std::filesystem::remove(marker_);
    EXPECT_EQ(SOM_ResettingToDefault, manager_.getSettingsOperationMode());
    manager_.setSettingsOperationMode(SOM_ResetDone);
    EXPECT_EQ(SOM_ResetDone, manager_.getSettingsOperationMode());
    EXPECT_EQ(1, looks());
}

TEST_F(OperationModeTest, NormalModeThatWasSetLooksAgain) {
    writeFile(marker_, "");
    manager_.setSettingsOperationMode(SOM_ResetDone);
    manager_.setSettingsOperationMode(SOM_Normal);
    EXPECT_EQ(SOM_ResettingToDefault, manager_.getSettingsOperationMode());
}

TEST_F(OperationModeTest, LateAnswerAboutTheMarkerDoesNotUndoAResetThatIsDone) {
    writeFile(marker_, "");
    std::unique_ptr<WatchedThread> resetting;
    StatHook::instance().then = [&] {
        resetting = std::make_unique<WatchedThread>(
            [&] { manager_.setSettingsOperationMode(SOM_ResetDone); });
        resetting->untilHeldUpOrDone();
    };
    manager_.getSettingsOperationMode();
    ASSERT_NE(nullptr, resetting);
    resetting->join();
    EXPECT_EQ(SOM_ResetDone, manager_.getSettingsOperationMode());
}

// The query has seen the normal mode and waits for the reset to be over: what it saw no longer
// holds.
TEST_F(OperationModeTest, QueryThatWaitedForTheEndOfAResetLeavesItAtThat) {
    writeFile(marker_, "");
    LogCapture log;
    std::unique_ptr<WatchedThread> query;
    SettingsOperationMode answer = SOM_Normal;
    qlog::setSink([&](const qlog::Record& record) {
        EXPECT_EQ(joined_.find(record.text), std::string::npos);
        if (query == nullptr) {
            query = std::make_unique<WatchedThread>(
                [&] { answer = manager_.getSettingsOperationMode(); });
            query->untilHeldUpOrDone();
            EXPECT_FALSE(query->done());
        }
    });
    manager_.setSettingsOperationMode(SOM_ResetDone);
    ASSERT_NE(nullptr, query);
    query->join();
    EXPECT_EQ(SOM_ResetDone, answer);
    EXPECT_EQ(SOM_ResetDone, manager_.getSettingsOperationMode());
    EXPECT_EQ(0, looks());
}

// The marker is there, the mode not changed yet.
TEST_F(OperationModeTest, OwnMarkerIsNotTakenForAnotherProcesses) {
    LogCapture log;
    std::unique_ptr<WatchedThread> query;
    SettingsOperationMode answer = SOM_Normal;
    testsupport::FileCalls calls(dir_.path());
    calls.observe([&](const testsupport::FileEffect& effect) {
        ASSERT_EQ("create mark%d", effect.call);
        query =
            std::make_unique<WatchedThread>([&] { answer = manager_.getSettingsOperationMode(); });
        query->untilHeldUpOrDone();
        calls.observe(nullptr);
    });
    EXPECT_EQ(1, manager_.resetToDefault());
    ASSERT_NE(nullptr, query);
    query->join();
    EXPECT_NE(SOM_Normal, answer);
    EXPECT_EQ(0U, logged(log, joined_)) << log.dump();
    EXPECT_EQ(1U, logged(log, "SettingsManager::setSettingsOperationMode(): 0 ==> 1"))
        << log.dump();
}

TEST_F(OperationModeTest, MarkerIsReportedOnceHoweverManyThreadsAsk) {
    LogCapture log;
    writeFile(marker_, "");
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back(
            [&] { EXPECT_EQ(SOM_ResettingToDefault, manager_.getSettingsOperationMode()); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(1U, logged(log, joined_)) << log.dump();
}

TEST_F(OperationModeTest, NewManagerStartsNormalAndJoinsTheResetAtItsFirstQuery) {
    writeFile(marker_, "");
    ASSERT_EQ(SOM_ResettingToDefault, manager_.getSettingsOperationMode());
    SettingsManager next;
    LogCapture log;
    EXPECT_TRUE(next.setSettingsOperationMode(SOM_Normal));
    EXPECT_THAT(log.entries(), IsEmpty()) << "it was not in normal mode: " << log.dump();
    EXPECT_EQ(SOM_ResettingToDefault, next.getSettingsOperationMode());
    EXPECT_EQ(1U, logged(log, joined_)) << log.dump();
}

}  // namespace
