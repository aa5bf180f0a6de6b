#include <boost/smart_ptr/make_shared.hpp>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "FileCalls.h"
#include "Files.h"
#include "LogCapture.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingsManager.h"
#include "StatHook.h"
#include "StubFileStorage.h"
#include "StubStorage.h"
#include "TempDir.h"

namespace {

using namespace Qel::Settings;
using testing::ElementsAre;
using testing::IsEmpty;
using testsupport::exists;
using testsupport::LogCapture;
using testsupport::StatHook;
using testsupport::StubFileStorage;
using testsupport::StubStorage;
using testsupport::TempDir;
using testsupport::writeFile;

/// A manager with the storages "c", "a", "b" in this order and a marker path where nothing lies.
class ResetToDefault : public testing::Test {
protected:
    ResetToDefault() {
        SettingsManager::setResetToDefaultsMarker(marker_);
        for (const auto& storage : {c_, a_, b_}) {
            storage->duringReset = [this, name = storage->name()] { resets_.push_back(name); };
            EXPECT_TRUE(manager_.registerStorage(storage));
        }
    }
    ~ResetToDefault() override {
        StatHook::instance().reset();
        SettingsManager::setResetToDefaultsMarker("");
    }

    std::size_t logged(int level, const std::string& text) const {
        return log_.count(level, "Qel::Settings", "src/SettingsManager", text);
    }
    std::size_t joinsLogged() const {
        return logged(2,
                      "SettingsManager::getSettingsOperationMode(): SOM_ResettingToDefault - other "
                      "process created " +
                          marker_);
    }
    std::size_t failuresLogged(const std::string& marker) const {
        return logged(4, "Unable to create reset-to-default marker file: " + marker);
    }

    TempDir dir_;
    std::string marker_ = dir_.file("mark%s");
    LogCapture log_;
    SettingsManager manager_;
    boost::shared_ptr<StubStorage> a_ = boost::make_shared<StubStorage>("a");
    boost::shared_ptr<StubStorage> b_ = boost::make_shared<StubStorage>("b");
    boost::shared_ptr<StubStorage> c_ = boost::make_shared<StubStorage>("c");
    std::vector<std::string> resets_;
};

TEST_F(ResetToDefault, WithoutAMarkerPathGivesZeroAndResetsNothing) {
    SettingsManager::setResetToDefaultsMarker("");
    EXPECT_EQ(0, manager_.resetToDefault());
    EXPECT_EQ(SOM_Normal, manager_.getSettingsOperationMode());
    EXPECT_THAT(resets_, IsEmpty());
    EXPECT_THAT(log_.entries(), IsEmpty()) << log_.dump();
}

TEST_F(ResetToDefault, WithTheMarkerPresentGivesOneAndResetsNothing) {
    writeFile(marker_, "");
    EXPECT_EQ(1, manager_.resetToDefault());
    EXPECT_EQ(SOM_ResettingToDefault, manager_.getSettingsOperationMode());
    EXPECT_THAT(resets_, IsEmpty());
    EXPECT_EQ(1U, joinsLogged()) << log_.dump();
    EXPECT_EQ(1U, log_.entries().size()) << log_.dump();
}

TEST_F(ResetToDefault, WhileAResetIsUnderWayGivesOneAndResetsNothing) {
    manager_.setSettingsOperationMode(SOM_ResettingToDefault);
    EXPECT_EQ(1, manager_.resetToDefault());
    EXPECT_THAT(resets_, IsEmpty());
    EXPECT_FALSE(exists(marker_));
}

TEST_F(ResetToDefault, SuccessGivesOneAndTheSecondCallTwo) {
    EXPECT_EQ(1, manager_.resetToDefault());
    EXPECT_EQ(SOM_ResetDone, manager_.getSettingsOperationMode());
    EXPECT_EQ(2, manager_.resetToDefault());
    EXPECT_THAT(resets_, ElementsAre("a", "b", "c"));
}

TEST_F(ResetToDefault, SuccessLogsBothTransitionsAndTakesItsOwnMarkerForItsOwn) {
    ASSERT_EQ(1, manager_.resetToDefault());
    EXPECT_EQ(1U, logged(2, "SettingsManager::setSettingsOperationMode(): 0 ==> 1")) << log_.dump();
    EXPECT_EQ(1U, logged(2, "SettingsManager::setSettingsOperationMode(): 1 ==> 2")) << log_.dump();
    EXPECT_EQ(2U, log_.entries().size()) << log_.dump();
}

TEST_F(ResetToDefault, ModeIsOneWhileTheStoragesAreReset) {
    std::vector<SettingsOperationMode> modes;
    for (const auto& storage : {a_, c_}) {
        storage->duringReset = [&] { modes.push_back(manager_.getSettingsOperationMode()); };
    }
    ASSERT_EQ(1, manager_.resetToDefault());
    EXPECT_THAT(modes, ElementsAre(SOM_ResettingToDefault, SOM_ResettingToDefault));
}

TEST_F(ResetToDefault, MarkerIsAnEmptyFileForEverybodyAndStays) {
    const mode_t previousMask = umask(022);
    ASSERT_EQ(1, manager_.resetToDefault());
    umask(previousMask);
    struct stat status;
    ASSERT_EQ(0, lstat(marker_.c_str(), &status));
    EXPECT_TRUE(S_ISREG(status.st_mode));
    EXPECT_EQ(0644U, status.st_mode & 0777U);
    EXPECT_EQ(0, status.st_size);
}

TEST_F(ResetToDefault, MarkerIsClosedAgain) {
    const auto openFiles = [] {
        using std::filesystem::directory_iterator;
        return std::distance(directory_iterator("/proc/self/fd"), directory_iterator());
    };
    const auto before = openFiles();
    ASSERT_EQ(1, manager_.resetToDefault());
    EXPECT_EQ(before, openFiles());
}

TEST_F(ResetToDefault, MarkerIsNotLeftOpenForAChildProcess) {
    const testsupport::FileCalls calls(dir_.path());
    ASSERT_EQ(1, manager_.resetToDefault());
    EXPECT_EQ(1U, calls.count("create mark%s"));
    EXPECT_TRUE(calls.allClosedOnExec());
}

TEST_F(ResetToDefault, MarkerOutlivesTheManager) {
    {
        SettingsManager manager;
        ASSERT_EQ(1, manager.resetToDefault());
    }
    EXPECT_TRUE(exists(marker_));
}

TEST_F(ResetToDefault, SurvivorsAreLeftAlone) {
    b_->surviveResetToDefaults(true);
    EXPECT_EQ(1, manager_.resetToDefault());
    EXPECT_THAT(resets_, ElementsAre("a", "c"));
}

TEST_F(ResetToDefault, MarkerThatAnotherProcessCreatesAMomentEarlierDoesNotStopTheReset) {
    StatHook& hook = StatHook::instance();
    hook.path = marker_;
    hook.then = [&] {
        if (hook.calls == 1) {
            writeFile(marker_, "theirs");
        }
    };
    EXPECT_EQ(1, manager_.resetToDefault());
    EXPECT_EQ(SOM_ResetDone, manager_.getSettingsOperationMode());
    EXPECT_THAT(resets_, ElementsAre("a", "b", "c"));
    EXPECT_EQ(1U, failuresLogged(marker_)) << log_.dump();
    EXPECT_EQ(1U, joinsLogged()) << log_.dump();
    EXPECT_EQ("theirs", testsupport::readFile(marker_));
}

TEST_F(ResetToDefault, MarkerThatCannotBeCreatedGivesZeroAndResetsNothing) {
    const std::string marker = dir_.file("absent/marker");
    SettingsManager::setResetToDefaultsMarker(marker);
    EXPECT_EQ(0, manager_.resetToDefault());
    EXPECT_EQ(SOM_Normal, manager_.getSettingsOperationMode());
    EXPECT_THAT(resets_, IsEmpty());
    EXPECT_EQ(1U, failuresLogged(marker)) << log_.dump();
    EXPECT_EQ(1U, log_.entries().size()) << log_.dump();
}

TEST_F(ResetToDefault, LinkThatSomebodyLaidAtTheMarkersPathIsNotFollowed) {
    std::filesystem::create_symlink(dir_.file("target"), marker_);
    EXPECT_EQ(0, manager_.resetToDefault());
    EXPECT_EQ(1U, failuresLogged(marker_)) << log_.dump();
    EXPECT_FALSE(exists(dir_.file("target")));
    EXPECT_THAT(resets_, IsEmpty());
}

TEST_F(ResetToDefault, StorageThatThrowsEndsTheWalkAndTheModeStaysOne) {
    b_->duringReset = [] { throw std::runtime_error("flash is gone"); };
    try {
        manager_.resetToDefault();
        FAIL() << "nothing was thrown";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ("flash is gone", e.what());
    }
    EXPECT_THAT(resets_, ElementsAre("a"));
    EXPECT_EQ(SOM_ResettingToDefault, manager_.getSettingsOperationMode());
    EXPECT_EQ(1, manager_.resetToDefault());
    EXPECT_THAT(resets_, ElementsAre("a"));
}

TEST_F(ResetToDefault, StorageThatFailsDoesNotStopTheWalk) {
    a_->resetResult = false;
    b_->resetResult = false;
    EXPECT_EQ(1, manager_.resetToDefault());
    EXPECT_THAT(resets_, ElementsAre("a", "b", "c"));
    EXPECT_EQ(SOM_ResetDone, manager_.getSettingsOperationMode());
}

TEST_F(ResetToDefault, DefaultStorageIsNotResetUnlessItIsRegistered) {
    const auto rest = boost::make_shared<StubStorage>("rest");
    manager_.defaultStorage(rest);
    EXPECT_EQ(1, manager_.resetToDefault());
    EXPECT_EQ(0, rest->resets);
}

TEST_F(ResetToDefault, HappensWithInformationSwitchedOffToo) {
    qlog::setDefaultThreshold(5);
    EXPECT_EQ(1, manager_.resetToDefault());
    EXPECT_THAT(resets_, ElementsAre("a", "b", "c"));
    EXPECT_THAT(log_.entries(), IsEmpty()) << log_.dump();
}

TEST_F(ResetToDefault, ReplacedStorageIsNotResetButSavesNoMore) {
    SettingsManager manager;
    const auto replaced = boost::make_shared<StubFileStorage>("files", "", dir_.file("absent"));
    const auto survivor = boost::make_shared<StubFileStorage>("kept", "", dir_.file("absent"));
    survivor->surviveResetToDefaults(true);
    for (const auto& storage : {replaced, survivor}) {
        ASSERT_TRUE(manager.registerStorage(storage));
        const auto setting = boost::make_shared<SettingHolder>(storage->name() + "/x", 1);
        ASSERT_TRUE(storage->registerSetting(setting));
        ASSERT_TRUE(manager.registerStorage(boost::make_shared<StubStorage>(storage->name())));
        ASSERT_TRUE(setting->setValue(2));
    }
    ASSERT_EQ(1, manager.resetToDefault());
    EXPECT_FALSE(replaced->save());
    EXPECT_THAT(replaced->calls(), IsEmpty());
    EXPECT_TRUE(survivor->save());
    EXPECT_THAT(survivor->calls(), ElementsAre("save " + dir_.file("absent")));
}

}  // namespace
