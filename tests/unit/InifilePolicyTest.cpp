#include <gtest/gtest.h>
#include <string>

#include "IniStorageFixture.h"
#include "Qel/Settings/SettingsStorageFileAsyncSaver.h"
#include "SystemCommands.h"

namespace {

using Qel::Settings::SettingsStorageFileAsyncSaver;
using testsupport::IniStorageFixture;
using testsupport::readFile;
using testsupport::withCrc;

class InifilePolicy : public IniStorageFixture {
protected:
    bool load(SavePolicy constructed, const std::string& lines) {
        buildDefaults("#name = settings\n" + lines);
        return reopen(constructed);
    }

    std::size_t registrations() const {
        return log_.count(2, "Qel::Settings", "src/SettingsStorageFileAsyncSaver",
                          "SettingsStorageFileAsyncSaver::registerStorage( settings )");
    }

    std::size_t unregistrations() const {
        return log_.count(2, "Qel::Settings", "src/SettingsStorageFileAsyncSaver",
                          "SettingsStorageFileAsyncSaver::unregisterStorage( settings )");
    }
};

TEST_F(InifilePolicy, TheFilesLineWinsOverTheConstructor) {
    const struct {
        const char* line;
        SavePolicy expected;
    } rows[] = {{"#savepolicy = async", Storage::Save_async},
                {"#savepolicy=eachchange", Storage::Save_onEachChange},
                {" # savepolicy = ondemand\r", Storage::Save_onDemand}};
    for (const auto& row : rows) {
        for (const SavePolicy constructed : {Storage::Save_unspecified, Storage::Save_onDemand,
                                             Storage::Save_onEachChange, Storage::Save_async}) {
            ASSERT_TRUE(load(constructed, row.line));
            EXPECT_EQ(storage_->savePolicy(), row.expected) << row.line << constructed;
        }
    }
}

TEST_F(InifilePolicy, OtherValuesAndKeysAreIgnored) {
    for (const char* const line :
         {"", "#savepolicy", "#savepolicy =", "#savepolicy = Async", "#savepolicy = onDemand",
          "#savepolicy = unspecified", "#savepolicy = 3", "#savepolicy = async,",
          "#Savepolicy = async", "#save policy = async", "#savepolicy = async async"}) {
        ASSERT_TRUE(load(Storage::Save_onEachChange, line));
        EXPECT_EQ(storage_->savePolicy(), Storage::Save_onEachChange) << line;
        ASSERT_TRUE(load(Storage::Save_unspecified, line));
        EXPECT_EQ(storage_->savePolicy(), Storage::Save_unspecified) << line;
    }
    EXPECT_EQ(errInfo(), "");
    EXPECT_EQ(registrations(), 0U);
}

TEST_F(InifilePolicy, OfSeveralLinesTheLastCounts) {
    ASSERT_TRUE(
        load(Storage::Save_onDemand, "#savepolicy = async\na = int,1\n#savepolicy = eachchange\n"));
    EXPECT_EQ(storage_->savePolicy(), Storage::Save_onEachChange);
}

TEST_F(InifilePolicy, TheReadWriteFileWinsOverTheDefaults) {
    buildDefaults("#name = settings\n#savepolicy = async\n");
    build("#name = settings\n#savepolicy = ondemand");
    ASSERT_TRUE(reopen(Storage::Save_onEachChange));
    EXPECT_EQ(storage_->savePolicy(), Storage::Save_onDemand);
}

TEST_F(InifilePolicy, AnAsyncLineRegistersTheStorageWithTheSaver) {
    ASSERT_TRUE(load(Storage::Save_onDemand, "#savepolicy = async"));
    EXPECT_NE(SettingsStorageFileAsyncSaver::instance(), nullptr);
    EXPECT_EQ(registrations(), 1U) << log_.dump();
}

TEST_F(InifilePolicy, AStorageThatIsAsyncAlreadyIsNotRegisteredAgain) {
    ASSERT_TRUE(load(Storage::Save_async, "#savepolicy = async\n#savepolicy = async\n"));
    ASSERT_TRUE(storage_->loadFile(defaults_));
    EXPECT_EQ(registrations(), 1U) << log_.dump();
    EXPECT_EQ(unregistrations(), 0U) << log_.dump();
}

TEST_F(InifilePolicy, ALineOfAnotherPolicyUnregistersTheStorage) {
    for (const char* const line : {"#savepolicy = ondemand", "#savepolicy = eachchange"}) {
        storage_.reset();
        log_.clear();
        ASSERT_TRUE(load(Storage::Save_async, line));
        EXPECT_EQ(registrations(), 1U) << line << log_.dump();
        EXPECT_EQ(unregistrations(), 1U) << line << log_.dump();
        storage_->changed("settings/a");
        SettingsStorageFileAsyncSaver::instance()->stop();
        EXPECT_EQ(SettingsStorageFileAsyncSaver::instance()->getNextStorage(), nullptr) << line;
    }
}

TEST_F(InifilePolicy, APolicyThatWasNeverAsyncHasNothingToUnregister) {
    ASSERT_TRUE(load(Storage::Save_onDemand, "#savepolicy = eachchange"));
    EXPECT_EQ(unregistrations(), 0U);
    EXPECT_EQ(registrations(), 0U);
}

TEST_F(InifilePolicy, ASavedFileCarriesThePolicyOfItsWriter) {
    ASSERT_TRUE(load(Storage::Save_onDemand, "a = int,1\n#savepolicy = eachchange\n"));
    setting("settings/a")->setValue(2);
    EXPECT_EQ(readFile(rw_), withCrc("#name = settings\n#savepolicy = eachchange\n[]\na = int,2"));
    defaults_.clear();
    ASSERT_TRUE(reopen(Storage::Save_async));
    EXPECT_EQ(storage_->savePolicy(), Storage::Save_onEachChange);
}

TEST_F(InifilePolicy, AResetToDefaultsOfAnotherPolicyLeavesTheSaver) {
    buildDefaults("#name = settings\n#savepolicy = ondemand\na = int,1\n");
    build("#name = settings\n#savepolicy = async\na = int,2");
    ASSERT_TRUE(reopen());
    EXPECT_EQ(storage_->savePolicy(), Storage::Save_async);
    EXPECT_TRUE(storage_->resetToDefaults());
    EXPECT_EQ(storage_->savePolicy(), Storage::Save_onDemand);
    EXPECT_EQ(unregistrations(), 1U) << log_.dump();
    EXPECT_EQ(readFile(rw_), withCrc("#name = settings\n#savepolicy = ondemand\n[]\na = int,1"));
}

}  // namespace
