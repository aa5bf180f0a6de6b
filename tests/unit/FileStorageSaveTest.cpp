#include <boost/make_shared.hpp>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "FileStorageFixture.h"
#include "SystemCommands.h"

namespace {

using namespace Qel::Settings;
using testsupport::FileStorageFixture;
using testsupport::StubFileStorage;

const char* const kResetInProgress = "Reset to default in progress, *not* saving settings.";
const char* const kReadonly = "Trying to store a readonly file!!";
const char* const kAfterReset =
    "Trying to store a file after reset have been called!! Note, this is ok if we are shutting "
    "down to do a reset to defaults.\n";

/// A storage with one setting and a manager.
class FileStorageSave : public FileStorageFixture {
protected:
    FileStorageSave() { given(StubFileStorage::Save_onDemand); }

    void given(SavePolicy policy) {
        create("", rw_, policy);
        EXPECT_TRUE(init());
        a_ = add("settings/a");
        log_.clear();
    }

    Calls saved() const { return Calls{"save " + rw_}; }

    Holder a_;
};

TEST_F(FileStorageSave, AChangeMarksTheStorageDirtyAndSaysSo) {
    EXPECT_FALSE(storage_->dirty());
    EXPECT_TRUE(a_->setValue(1));
    EXPECT_TRUE(storage_->dirty());
    EXPECT_EQ(logged(2, "SettingStorageFileBase::changed( settings/a ): settings dirty"), 1U);
    EXPECT_EQ(log_.entries().size(), 1U) << log_.dump();
}

TEST_F(FileStorageSave, ChangedMayBeCalledForAnyName) {
    storage_->changed("50%s");
    EXPECT_TRUE(storage_->dirty());
    EXPECT_EQ(logged(2, "SettingStorageFileBase::changed( 50%s ): settings dirty"), 1U);
}

TEST_F(FileStorageSave, AnEqualValueIsAChangeToo) {
    EXPECT_TRUE(a_->setValue(0));
    EXPECT_TRUE(storage_->dirty());
}

TEST_F(FileStorageSave, ARefusedChangeIsNone) {
    storage_->readonly(true);
    EXPECT_FALSE(a_->setValue(1));
    EXPECT_EQ(a_->getValue<int>(), 0);
    EXPECT_FALSE(storage_->dirty());
    EXPECT_TRUE(log_.entries().empty()) << log_.dump();
}

TEST_F(FileStorageSave, ANewSettingIsNoChange) {
    add("settings/b");
    EXPECT_FALSE(storage_->dirty());
}

TEST_F(FileStorageSave, OnlyThePolicyForEachChangeSavesInsideTheChange) {
    for (const SavePolicy policy :
         {StubFileStorage::Save_unspecified, StubFileStorage::Save_onDemand,
          StubFileStorage::Save_onEachChange, StubFileStorage::Save_async}) {
        given(policy);
        // The saver's thread may save an asynchronous storage as soon as it has changed.
        const auto savedInside = std::make_shared<bool>(false);
        storage_->onSave = [savedInside,
                            changing = std::this_thread::get_id()](const std::string&) {
            if (std::this_thread::get_id() == changing) {
                *savedInside = true;
            }
            return true;
        };
        EXPECT_TRUE(a_->setValue(1));
        EXPECT_EQ(*savedInside, policy == StubFileStorage::Save_onEachChange) << policy;
        if (policy != StubFileStorage::Save_async) {
            EXPECT_EQ(storage_->calls(), *savedInside ? saved() : Calls()) << policy;
            EXPECT_EQ(storage_->dirty(), !*savedInside) << policy;
        }
    }
}

TEST_F(FileStorageSave, ASaveInsideAChangeFindsTheNewValueAndTheStorageDirty) {
    given(StubFileStorage::Save_onEachChange);
    const auto thread = std::this_thread::get_id();
    int value = -1;
    bool dirty = false;
    storage_->onSave = [&](const std::string&) {
        EXPECT_EQ(std::this_thread::get_id(), thread);
        EXPECT_EQ(logged(2, "SettingStorageFileBase::changed( settings/a ): settings dirty"), 1U);
        value = a_->getValue<int>();
        dirty = storage_->dirty();
        return true;
    };
    EXPECT_TRUE(a_->setValue(7));
    EXPECT_EQ(value, 7);
    EXPECT_TRUE(dirty);
    EXPECT_FALSE(storage_->dirty());
}

TEST_F(FileStorageSave, AChangeSucceedsThoughItsSaveFails) {
    given(StubFileStorage::Save_onEachChange);
    storage_->onSave = [](const std::string&) { return false; };
    EXPECT_TRUE(a_->setValue(7));
    EXPECT_EQ(a_->getValue<int>(), 7);
    EXPECT_TRUE(storage_->dirty());
}

TEST_F(FileStorageSave, ADirtyStorageIsWrittenOnce) {
    a_->setValue(1);
    log_.clear();
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(storage_->calls(), saved());
    EXPECT_FALSE(storage_->dirty());
    EXPECT_EQ(logged(2, "SettingStorageFileBase::save(): settings, dirty 1->0"), 1U);
    EXPECT_EQ(log_.entries().size(), 1U) << log_.dump();
}

TEST_F(FileStorageSave, ACleanStorageIsNotWrittenButReportsSuccess) {
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(storage_->calls(), Calls{});
    EXPECT_EQ(logged(2, "SettingStorageFileBase::save(): settings, dirty 0->0"), 1U);
    EXPECT_EQ(log_.entries().size(), 1U) << log_.dump();
}

TEST_F(FileStorageSave, AFailedSaveLeavesTheStorageDirtyForTheNextOne) {
    a_->setValue(1);
    log_.clear();
    storage_->onSave = [](const std::string&) { return false; };
    EXPECT_FALSE(storage_->save());
    EXPECT_TRUE(storage_->dirty());
    EXPECT_TRUE(log_.entries().empty()) << log_.dump();
    storage_->onSave = nullptr;
    EXPECT_TRUE(storage_->save());
    EXPECT_FALSE(storage_->dirty());
    EXPECT_EQ(storage_->calls(), (Calls{"save " + rw_, "save " + rw_}));
}

TEST_F(FileStorageSave, ASaveThatThrowsLeavesTheStorageDirtyForTheNextOne) {
    a_->setValue(1);
    storage_->onSave = [](const std::string&) -> bool { throw std::runtime_error("no disk"); };
    EXPECT_THROW(storage_->save(), std::runtime_error);
    EXPECT_TRUE(storage_->dirty());
    storage_->onSave = nullptr;
    EXPECT_TRUE(storage_->save());
    EXPECT_FALSE(storage_->dirty());
}

TEST_F(FileStorageSave, AChangeDuringASaveIsLeftForTheNextOne) {
    a_->setValue(1);
    storage_->onSave = [this](const std::string&) {
        std::thread([this] { a_->setValue(2); }).join();
        return true;
    };
    EXPECT_TRUE(storage_->save());
    EXPECT_TRUE(storage_->dirty());
    storage_->onSave = nullptr;
    EXPECT_TRUE(storage_->save());
    EXPECT_FALSE(storage_->dirty());
    EXPECT_EQ(storage_->calls().size(), 2U);
}

TEST_F(FileStorageSave, DuringAResetNothingIsWrittenAndNothingHasFailed) {
    a_->setValue(1);
    manager_.setSettingsOperationMode(SOM_ResettingToDefault);
    log_.clear();
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(storage_->calls(), Calls{});
    EXPECT_TRUE(storage_->dirty());
    EXPECT_EQ(logged(4, kResetInProgress), 1U);
    EXPECT_EQ(log_.entries().size(), 1U) << log_.dump();
}

TEST_F(FileStorageSave, DuringAResetAChangeOfTheEachChangePolicyIsNotWritten) {
    given(StubFileStorage::Save_onEachChange);
    manager_.setSettingsOperationMode(SOM_ResettingToDefault);
    EXPECT_TRUE(a_->setValue(1));
    EXPECT_EQ(storage_->calls(), Calls{});
    EXPECT_EQ(logged(4, kResetInProgress), 1U);
}

TEST_F(FileStorageSave, TheModeIsAskedBeforeEverythingElse) {
    storage_->readonly(true);
    storage_->refuseSaves();
    manager_.setSettingsOperationMode(SOM_ResettingToDefault);
    log_.clear();
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(logged(4, kResetInProgress), 1U);
    EXPECT_EQ(log_.entries().size(), 1U) << log_.dump();
}

TEST_F(FileStorageSave, AfterAResetIsDoneTheModeRefusesNothing) {
    a_->setValue(1);
    manager_.setSettingsOperationMode(SOM_ResetDone);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(storage_->calls(), saved());
    EXPECT_FALSE(storage_->dirty());
}

TEST_F(FileStorageSave, TheModeIsAskedAtEverySave) {
    a_->setValue(1);
    manager_.setSettingsOperationMode(SOM_ResettingToDefault);
    EXPECT_TRUE(storage_->save());
    manager_.setSettingsOperationMode(SOM_Normal);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(storage_->calls(), saved());
}

TEST_F(FileStorageSave, AnotherProcessesMarkerStopsTheSave) {
    a_->setValue(1);
    const std::string previous = SettingsManager::setResetToDefaultsMarker(dir_.file("marker"));
    testsupport::writeFile(dir_.file("marker"), "");
    EXPECT_TRUE(storage_->save());
    SettingsManager::setResetToDefaultsMarker(previous);
    EXPECT_EQ(storage_->calls(), Calls{});
    EXPECT_EQ(logged(4, kResetInProgress), 1U);
}

TEST_F(FileStorageSave, AResetThatBeganMeanwhileStopsTheWriteAtTheLastMoment) {
    a_->setValue(1);
    log_.clear();
    bool mayWrite = true;
    storage_->onSave = [&](const std::string&) {
        manager_.setSettingsOperationMode(SOM_ResettingToDefault);
        mayWrite = storage_->mayStillWrite();
        return mayWrite;
    };
    EXPECT_TRUE(storage_->save());
    EXPECT_FALSE(mayWrite);
    EXPECT_TRUE(storage_->dirty());
    EXPECT_EQ(logged(4, kResetInProgress), 1U) << log_.dump();
    EXPECT_EQ(logged(2, "SettingStorageFileBase::save(): settings, dirty 1->0"), 0U);
}

TEST_F(FileStorageSave, AFailureAfterAStoppedWriteIsAFailureAgain) {
    a_->setValue(1);
    storage_->onSave = [this](const std::string&) {
        manager_.setSettingsOperationMode(SOM_ResettingToDefault);
        return storage_->mayStillWrite();
    };
    EXPECT_TRUE(storage_->save());
    manager_.setSettingsOperationMode(SOM_Normal);
    storage_->onSave = [](const std::string&) { return false; };
    EXPECT_FALSE(storage_->save());
}

TEST_F(FileStorageSave, AReadOnlyStorageRefusesCleanOrDirty) {
    for (int i = 0; i < 2; ++i) {
        storage_->readonly(true);
        log_.clear();
        EXPECT_FALSE(storage_->save());
        EXPECT_EQ(logged(5, kReadonly), 1U);
        EXPECT_EQ(log_.entries().size(), 1U) << log_.dump();
        storage_->readonly(false);
        a_->setValue(1);
    }
    EXPECT_EQ(storage_->calls(), Calls{});
    EXPECT_TRUE(storage_->dirty());
}

TEST_F(FileStorageSave, AReadOnlyStorageAfterAResetTellsBothReasons) {
    storage_->readonly(true);
    EXPECT_TRUE(storage_->resetToDefaults());
    log_.clear();
    EXPECT_FALSE(storage_->save());
    ASSERT_EQ(log_.entries().size(), 2U) << log_.dump();
    EXPECT_EQ(log_.entries()[0].text, kReadonly);
    EXPECT_EQ(log_.entries()[1].text, kAfterReset);
    EXPECT_EQ(logged(5, kReadonly), 1U);
    EXPECT_EQ(logged(5, kAfterReset), 1U);
}

TEST_F(FileStorageSave, AStorageWithoutManagerSavesAsInNormalMode) {
    create();
    a_ = add("settings/a");
    a_->setValue(1);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(storage_->calls(), saved());
}

TEST_F(FileStorageSave, AStorageThatOutlivesItsManagerRefuses) {
    auto manager = std::make_unique<SettingsManager>();
    create("", rw_);
    ASSERT_TRUE(storage_->init(manager.get(), boost::shared_ptr<SettingFactory>()));
    a_ = add("settings/a");
    a_->setValue(1);
    manager.reset();
    EXPECT_FALSE(storage_->save());
    EXPECT_EQ(storage_->calls(), Calls{});
    EXPECT_TRUE(storage_->dirty());
    EXPECT_EQ(
        logged(5, "The settings manager of storage 'settings' is gone, *not* saving settings."), 1U)
        << log_.dump();
}

TEST_F(FileStorageSave, TracesAreNotEvenFormattedWhenNobodyWantsThem) {
    qlog::setDefaultThreshold(3);
    a_->setValue(1);
    EXPECT_TRUE(storage_->save());
    EXPECT_TRUE(log_.entries().empty()) << log_.dump();
}

}  // namespace
