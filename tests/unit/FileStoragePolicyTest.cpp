#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "FileStorageFixture.h"
#include "Qel/Settings/SettingsStorageFileAsyncSaver.h"
#include "SystemCommands.h"

namespace {

using namespace Qel::Settings;
using testsupport::FileStorageFixture;
using testsupport::StubFileStorage;

static_assert(StubFileStorage::Save_unspecified == 0, "part of the files' meaning");
static_assert(StubFileStorage::Save_onDemand == 1, "part of the files' meaning");
static_assert(StubFileStorage::Save_onEachChange == 2, "part of the files' meaning");
static_assert(StubFileStorage::Save_async == 3, "part of the files' meaning");
static_assert(sizeof(StubFileStorage::SavePolicy) == 4, "a 32-bit value");

const char* const kRegistered = "SettingsStorageFileAsyncSaver::registerStorage( settings )";
const char* const kUnregistered = "SettingsStorageFileAsyncSaver::unregisterStorage( settings )";

class FileStoragePolicy : public FileStorageFixture {};

TEST_F(FileStoragePolicy, AllButTheAsyncPolicyAreKeptWithoutASaver) {
    for (const SavePolicy policy :
         {StubFileStorage::Save_unspecified, StubFileStorage::Save_onDemand,
          StubFileStorage::Save_onEachChange}) {
        create(policy);
        EXPECT_EQ(storage_->savePolicy(), policy);
        storage_.reset();
    }
    EXPECT_TRUE(log_.entries().empty()) << log_.dump();
}

TEST_F(FileStoragePolicy, TheAsyncPolicyStartsTheSaverAndRegistersTheStorage) {
    create(StubFileStorage::Save_async);
    EXPECT_EQ(storage_->savePolicy(), StubFileStorage::Save_async);
    EXPECT_NE(SettingsStorageFileAsyncSaver::instance(), nullptr);
    EXPECT_EQ(loggedBySaver("SettingsStorageFileAsyncSaver::start()"), 1U) << log_.dump();
    EXPECT_EQ(loggedBySaver(kRegistered), 1U) << log_.dump();
}

TEST_F(FileStoragePolicy, AnAsyncStorageUnregistersAtItsEnd) {
    create(StubFileStorage::Save_async);
    EXPECT_EQ(loggedBySaver(kUnregistered), 0U);
    storage_.reset();
    EXPECT_EQ(loggedBySaver(kUnregistered), 1U) << log_.dump();
    EXPECT_EQ(SettingsStorageFileAsyncSaver::instance()->getNextStorage(), nullptr);
}

TEST_F(FileStoragePolicy, OnlyAnAsyncStorageUnregistersAtItsEnd) {
    create(StubFileStorage::Save_async);
    storage_->savePolicy(StubFileStorage::Save_onDemand);
    EXPECT_EQ(loggedBySaver(kUnregistered), 1U) << log_.dump();
    storage_.reset();
    create(StubFileStorage::Save_onEachChange);
    storage_.reset();
    EXPECT_EQ(loggedBySaver(kUnregistered), 1U) << log_.dump();
}

TEST_F(FileStoragePolicy, ChangingToTheSamePolicyChangesNothing) {
    create(StubFileStorage::Save_async);
    storage_->savePolicy(StubFileStorage::Save_async);
    EXPECT_EQ(loggedBySaver(kRegistered), 1U) << log_.dump();
    EXPECT_EQ(loggedBySaver(kUnregistered), 0U) << log_.dump();
}

TEST_F(FileStoragePolicy, ADirtyAsyncStorageIsFoundByTheSaver) {
    create(StubFileStorage::Save_async);
    SettingsStorageFileAsyncSaver* const saver = SettingsStorageFileAsyncSaver::instance();
    saver->stop();
    EXPECT_EQ(saver->getNextStorage(), nullptr);
    add("settings/a")->setValue(1);
    EXPECT_EQ(storage_->calls(), Calls{});
    EXPECT_TRUE(saver->saveNextStorage());
    EXPECT_EQ(storage_->calls(), Calls{"save " + rw_});
    EXPECT_FALSE(storage_->dirty());
}

TEST_F(FileStoragePolicy, NoStorageSavesAtItsEnd) {
    for (const SavePolicy policy :
         {StubFileStorage::Save_unspecified, StubFileStorage::Save_onDemand,
          StubFileStorage::Save_onEachChange, StubFileStorage::Save_async}) {
        create(policy);
        if (auto* const saver = SettingsStorageFileAsyncSaver::instance()) {
            saver->stop();
        }
        bool changed = false;
        bool savedLate = false;
        storage_->onSave = [&](const std::string&) {
            savedLate = changed;
            return false;
        };
        EXPECT_TRUE(add("settings/a")->setValue(1));
        EXPECT_TRUE(storage_->dirty());
        changed = true;
        storage_.reset();
        EXPECT_FALSE(savedLate) << policy;
    }
}

}  // namespace
