#include <gtest/gtest.h>
#include <stdexcept>
#include <string>

#include "FileStorageFixture.h"

namespace {

using namespace Qel::Settings;
using testsupport::FileStorageFixture;
using testsupport::StubFileStorage;

const char* const kAfterReset =
    "Trying to store a file after reset have been called!! Note, this is ok if we are shutting "
    "down to do a reset to defaults.\n";

class FileStorageReset : public FileStorageFixture {
protected:
    FileStorageReset() {
        EXPECT_TRUE(init());
        a_ = add("settings/a");
        callsBefore_ = storage_->calls().size();
        log_.clear();
    }

    /// Loads and saves since the storage was initialised.
    Calls callsOfReset() const {
        const Calls calls = storage_->calls();
        return Calls(calls.begin() + static_cast<std::ptrdiff_t>(callsBefore_), calls.end());
    }

    void expectSavesRefused() {
        for (int i = 0; i < 2; ++i) {
            log_.clear();
            const Calls before = storage_->calls();
            EXPECT_FALSE(storage_->save());
            EXPECT_EQ(storage_->calls(), before);
            EXPECT_EQ(logged(5, kAfterReset), 1U);
            EXPECT_EQ(log_.entries().size(), 1U) << log_.dump();
            storage_->changed("settings/a");
        }
    }

    Holder a_;
    std::size_t callsBefore_ = 0;
};

TEST_F(FileStorageReset, LoadsTheDefaultsAndWritesThemOverTheReadWriteFile) {
    EXPECT_TRUE(storage_->resetToDefaults());
    EXPECT_EQ(callsOfReset(), (Calls{"load " + defaults_, "save " + rw_}));
    EXPECT_TRUE(storage_->resetCalled());
    EXPECT_TRUE(log_.entries().empty()) << log_.dump();
}

TEST_F(FileStorageReset, TheResultIsThatOfTheWriteWhateverTheLoadGave) {
    for (const bool loaded : {false, true}) {
        for (const bool saved : {false, true}) {
            create();
            storage_->onLoad = [&](const std::string&) { return loaded; };
            storage_->onSave = [&](const std::string&) { return saved; };
            EXPECT_EQ(storage_->resetToDefaults(), saved) << loaded << saved;
            EXPECT_EQ(storage_->calls(), (Calls{"load " + defaults_, "save " + rw_}));
            EXPECT_TRUE(storage_->resetCalled());
        }
    }
}

TEST_F(FileStorageReset, DefaultsThatCannotBeReadAreAnErrorInTheLog) {
    storage_->onLoad = [](const std::string&) { return false; };
    EXPECT_TRUE(storage_->resetToDefaults());
    EXPECT_EQ(logged(5, "Error loading '" + defaults_ +
                            "' for a reset to defaults, keeping the present values."),
              1U)
        << log_.dump();
}

TEST_F(FileStorageReset, AStorageWithoutDefaultsWritesItsPresentValues) {
    create("", rw_);
    storage_->onLoad = [](const std::string&) { return false; };
    log_.clear();
    EXPECT_TRUE(storage_->resetToDefaults());
    EXPECT_EQ(storage_->calls(), (Calls{"load ", "save " + rw_}));
    EXPECT_TRUE(log_.entries().empty()) << log_.dump();
}

TEST_F(FileStorageReset, WritesInTheModeThatKeepsEverybodyElseFromSaving) {
    manager_.setSettingsOperationMode(SOM_ResettingToDefault);
    log_.clear();
    bool mayWrite = false;
    storage_->onSave = [&](const std::string&) {
        mayWrite = storage_->mayStillWrite();
        return mayWrite;
    };
    EXPECT_TRUE(storage_->resetToDefaults());
    EXPECT_TRUE(mayWrite);
    EXPECT_TRUE(log_.entries().empty()) << log_.dump();
}

TEST_F(FileStorageReset, AReadOnlyStorageTouchesNoFileButRefusesSavesToo) {
    storage_->readonly(true);
    EXPECT_TRUE(storage_->resetToDefaults());
    EXPECT_EQ(callsOfReset(), Calls{});
    EXPECT_TRUE(storage_->resetCalled());
    storage_->readonly(false);
    expectSavesRefused();
}

TEST_F(FileStorageReset, NothingIsSavedAfterwards) {
    EXPECT_TRUE(storage_->resetToDefaults());
    expectSavesRefused();
}

TEST_F(FileStorageReset, NothingIsSavedAfterAResetThatFailed) {
    storage_->onSave = [](const std::string&) { return false; };
    EXPECT_FALSE(storage_->resetToDefaults());
    storage_->onSave = nullptr;
    expectSavesRefused();
}

TEST_F(FileStorageReset, NothingIsSavedAfterSavesWereRefused) {
    storage_->refuseSaves();
    EXPECT_EQ(callsOfReset(), Calls{});
    expectSavesRefused();
}

TEST_F(FileStorageReset, ChangesAreTakenAfterwardsAndNotWritten) {
    create(StubFileStorage::Save_onEachChange);
    a_ = add("settings/a");
    EXPECT_TRUE(storage_->resetToDefaults());
    EXPECT_TRUE(a_->setValue(1));
    EXPECT_EQ(a_->getValue<int>(), 1);
    EXPECT_EQ(logged(5, kAfterReset), 1U);
    EXPECT_EQ(storage_->calls(), (Calls{"load " + defaults_, "save " + rw_}));
}

TEST_F(FileStorageReset, LeavesTheStorageCleanWhenTheDefaultsAreWritten) {
    a_->setValue(1);
    EXPECT_TRUE(storage_->resetToDefaults());
    EXPECT_FALSE(storage_->dirty());
}

TEST_F(FileStorageReset, LeavesTheStorageDirtyWhenTheyAreNot) {
    a_->setValue(1);
    storage_->onSave = [](const std::string&) { return false; };
    EXPECT_FALSE(storage_->resetToDefaults());
    EXPECT_TRUE(storage_->dirty());
}

TEST_F(FileStorageReset, AChangeDuringTheWriteKeepsTheStorageDirty) {
    storage_->onSave = [this](const std::string&) { return a_->setValue(1); };
    EXPECT_TRUE(storage_->resetToDefaults());
    EXPECT_TRUE(storage_->dirty());
}

TEST_F(FileStorageReset, AnExceptionPassesAndTheStorageCountsAsReset) {
    storage_->onLoad = [](const std::string&) -> bool { throw std::runtime_error("no sense"); };
    EXPECT_THROW(storage_->resetToDefaults(), std::runtime_error);
    EXPECT_EQ(callsOfReset(), Calls{"load " + defaults_});
    EXPECT_TRUE(storage_->resetCalled());
    expectSavesRefused();
}

TEST_F(FileStorageReset, TheErrorTextBeginsAnewWithTheLoad) {
    storage_->appendErrInfo("old");
    storage_->onLoad = [this](const std::string&) {
        EXPECT_EQ(*storage_->errInfo(), "");
        storage_->appendErrInfo("new");
        return true;
    };
    EXPECT_TRUE(storage_->resetToDefaults());
    EXPECT_EQ(*storage_->errInfo(), "new");
}

TEST_F(FileStorageReset, SettingsThatTheDefaultsLackStay) {
    storage_->onLoad = [this](const std::string&) {
        add("settings/b", 2);
        return true;
    };
    EXPECT_TRUE(storage_->resetToDefaults());
    EXPECT_EQ(storage_->querySetting("settings/a"), a_);
    EXPECT_EQ(storage_->querySetting("settings/b")->getValue<int>(), 2);
}

}  // namespace
