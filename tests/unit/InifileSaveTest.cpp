#include <boost/make_shared.hpp>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "CommaLocale.h"
#include "IniStorageFixture.h"
#include "SystemCommands.h"

namespace {

using namespace Qel::Settings;
using testsupport::exists;
using testsupport::IniStorageFixture;
using testsupport::readFile;
using testsupport::withCrc;
using testsupport::writeFile;
using SignedByte = signed char;

class InifileSave : public IniStorageFixture {
protected:
    /// The file as a save makes it.
    std::string saved() {
        EXPECT_TRUE(storage_->saveFile(rw_)) << log_.dump();
        return readFile(rw_);
    }

    std::string unchanged() const {
        return "SettingStorageInifile::saveFile( '" + rw_ +
               "' ): unchanged CRC; not writing to disk";
    }
};

TEST_F(InifileSave, TheWorkedExampleIsWrittenByteForByte) {
    buildDefaults("#name = settings\n[sound]\n");
    ASSERT_TRUE(reopen(Storage::Save_async));
    add("settings/sound/treble", SignedByte{3});
    add("settings/sound/bass", SignedByte{-2});
    EXPECT_EQ(saved(), readFile(T8_TEST_DATA_DIR "/ini/example.ini"));
    EXPECT_EQ(storage_->crc32(), 1168239953U);
}

TEST_F(InifileSave, ASaveTellsItsSteps) {
    buildDefaults("#name = settings\n[sound]\n");
    ASSERT_TRUE(reopen(Storage::Save_async));
    add("settings/sound/treble", SignedByte{3});
    add("settings/sound/bass", SignedByte{-2});
    log_.clear();
    saved();
    EXPECT_EQ(messagesOf("src/SettingsStorageInifile"),
              (std::vector<std::string>{"2 SettingStorageInifile::saveFile( '" + rw_ + "' )",
                                        "2 SettingStorageInifile::saveFile( '" + rw_ +
                                            "' ): done, crc32=1168239953 (0x45A1ED51)"}));
    EXPECT_EQ(logged(2, "SettingStorageInifile::saveFile( '" + rw_ + "' )"), 1U);
    log_.clear();
    EXPECT_TRUE(storage_->saveFile(rw_));
    EXPECT_EQ(messagesOf("src/SettingsStorageInifile"),
              (std::vector<std::string>{"2 SettingStorageInifile::saveFile( '" + rw_ + "' )",
                                        "2 " + unchanged()}));
    EXPECT_EQ(logged(2, unchanged()), 1U);
}

TEST_F(InifileSave, AFileOfEveryTypeIsWrittenBackByteForByte) {
    // The names that are registered last for a type are the ones that are written.
    const std::map<std::string, std::string> writtenAs = {
        {" = int16,", " = short,"},     {" = int16[],", " = short[],"},
        {" = int32,", " = int,"},       {" = int32[],", " = int[],"},
        {" = int64,", " = long long,"}, {" = int64[],", " = long long[],"}};
    std::size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(T8_TEST_DATA_DIR "/ini/types")) {
        std::string text = readFile(entry.path());
        buildDefaults(text);
        ASSERT_TRUE(reopen(Storage::Save_unspecified)) << entry.path();
        EXPECT_EQ(errInfo(), "") << entry.path();
        text.resize(text.rfind("\n#crc32"));
        for (const auto& alias : writtenAs) {
            for (std::size_t at = text.find(alias.first); at != std::string::npos;
                 at = text.find(alias.first)) {
                text.replace(at, alias.first.size(), alias.second);
            }
        }
        EXPECT_EQ(saved(), withCrc(text)) << entry.path();
        std::filesystem::remove(rw_);
        ++files;
    }
    EXPECT_EQ(files, types_->typeNames().size());
}

TEST_F(InifileSave, TheProcessesLocaleDoesNotShowInTheFile) {
    const testsupport::CommaLocale locale;
    ASSERT_TRUE(reopen(Storage::Save_unspecified));
    add("settings/i", 1234567);
    add("settings/f", 0.5);
    add("settings/v", std::vector<bool>{true, false});
    EXPECT_EQ(
        saved(),
        withCrc("#name = settings\n[]\nf = float64,0.5\ni = int,1234567\nv = bool[],true;false"));
    ASSERT_TRUE(reopen());
    EXPECT_EQ(setting("settings/i")->getValue<int>(), 1234567);
    EXPECT_EQ(setting("settings/f")->getValue<double>(), 0.5);
}

TEST_F(InifileSave, EveryPolicyButTheUnspecifiedOneHasItsLine) {
    const struct {
        SavePolicy policy;
        const char* line;
    } rows[] = {{Storage::Save_unspecified, ""},
                {Storage::Save_onDemand, "\n#savepolicy = ondemand"},
                {Storage::Save_onEachChange, "\n#savepolicy = eachchange"},
                {Storage::Save_async, "\n#savepolicy = async"}};
    for (const auto& row : rows) {
        create(row.policy);
        storage_->init(&manager_, nullptr);
        EXPECT_EQ(saved(), withCrc(std::string("#name = settings") + row.line)) << row.policy;
        std::filesystem::remove(rw_);
    }
}

TEST_F(InifileSave, SettingsAreWrittenInByteWiseOrderOfTheirNames) {
    ASSERT_TRUE(reopen(Storage::Save_unspecified));
    for (const char* const name : {"b", "B", "a", "\xC3\xA4", "a b", "0"}) {
        add(std::string("settings/") + name, 1);
    }
    EXPECT_EQ(saved(), withCrc("#name = settings\n[]\n0 = int,1\nB = int,1\na = int,1\n"
                               "a b = int,1\nb = int,1\n\xC3\xA4 = int,1"));
}

TEST_F(InifileSave, TheNameIsTheOneThatTheFileGave) {
    buildDefaults("#name = tv\na = int,1\n");
    ASSERT_TRUE(reopen(Storage::Save_unspecified));
    EXPECT_EQ(saved(), withCrc("#name = tv\n[]\na = int,1"));
}

TEST_F(InifileSave, TwoSavesWithoutAChangeWriteOnce) {
    build("#name = settings\n#savepolicy = ondemand\n[]\na = int,1");
    ASSERT_TRUE(reopen());
    setting("settings/a")->setValue(2);
    EXPECT_TRUE(storage_->save());
    const std::string bytes = readFile(rw_);
    writeFile(rw_, "somebody else's");
    setting("settings/a")->setValue(2);
    EXPECT_TRUE(storage_->save());
    EXPECT_FALSE(storage_->dirty());
    EXPECT_EQ(readFile(rw_), "somebody else's");
    EXPECT_EQ(logged(2, unchanged()), 1U);
    setting("settings/a")->setValue(3);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), withCrc("#name = settings\n#savepolicy = ondemand\n[]\na = int,3"));
    EXPECT_NE(readFile(rw_), bytes);
}

TEST_F(InifileSave, WhatWasJustLoadedIsUnchanged) {
    build("#name = settings\n#savepolicy = ondemand\n[]\na = int,1");
    ASSERT_TRUE(reopen());
    EXPECT_TRUE(storage_->saveFile(rw_));
    EXPECT_EQ(logged(2, unchanged()), 1U);
}

TEST_F(InifileSave, AFileWrittenByHandIsBroughtIntoForm) {
    build("  #name=settings\n\n# comment\n#savepolicy=ondemand\n[ s ]\n\nb=int32, 2\n a =string,x");
    ASSERT_TRUE(reopen());
    EXPECT_EQ(saved(), withCrc("#name = settings\n#savepolicy = ondemand\n[s]\na = string,x\n"
                               "b = int,2"));
}

TEST_F(InifileSave, TheCrcIsThatOfTheTextLastReadOrWritten) {
    create();
    EXPECT_EQ(storage_->crc32(), 0U);
    ASSERT_TRUE(storage_->init(&manager_, nullptr));
    EXPECT_EQ(storage_->crc32(), 0U);
    const std::string bytes = saved();
    EXPECT_EQ(bytes, "#name = settings\n#savepolicy = ondemand\n#crc32 = " +
                         std::to_string(storage_->crc32()) + "\n");
    ASSERT_TRUE(reopen());
    EXPECT_EQ(bytes, "#name = settings\n#savepolicy = ondemand\n#crc32 = " +
                         std::to_string(storage_->crc32()) + "\n");
}

TEST_F(InifileSave, OnlyTheFileIsLeftBehind) {
    ASSERT_TRUE(reopen());
    saved();
    const std::filesystem::directory_iterator files(dir_.path());
    EXPECT_EQ(std::distance(begin(files), end(files)), 1);
    EXPECT_TRUE(exists(rw_));
}

TEST_F(InifileSave, TheFirstChangeMakesTheFile) {
    buildDefaults("#name = settings\na = int,1\nb = int,2\n");
    ASSERT_TRUE(reopen(Storage::Save_onEachChange));
    EXPECT_FALSE(exists(rw_));
    setting("settings/a")->setValue(10);
    EXPECT_EQ(readFile(rw_),
              withCrc("#name = settings\n#savepolicy = eachchange\n[]\na = int,10\nb = int,2"));
    ASSERT_TRUE(reopen());
    check({"settings/a = int,10", "settings/b = int,2"});
}

TEST_F(InifileSave, AValueOfAnUnregisteredTypeHasNoText) {
    struct Unregistered {};
    ASSERT_TRUE(reopen(Storage::Save_unspecified));
    add("settings/a", Unregistered());
    add("settings/b", 1);
    add("settings/c", boost::any());
    EXPECT_EQ(saved(), withCrc("#name = settings\n[]\na = ,\nb = int,1\nc = ,"));
}

/// A setting whose text is asked for changes at that moment, as another thread might change it.
struct Restless {};
boost::shared_ptr<SettingHolder> restlessSetting;

TEST_F(InifileSave, TypeAndTextAreThoseOfOneAndTheSameValue) {
    types_->registerType(typeid(Restless), "restless", nullptr,
                         [](boost::shared_ptr<SettingHolder> holder) -> std::string {
                             EXPECT_TRUE(restlessSetting->setValue(1));
                             return holder->type() == typeid(Restless) ? "text" : "torn";
                         });
    ASSERT_TRUE(reopen(Storage::Save_unspecified));
    add("settings/a", Restless());
    restlessSetting = setting("settings/a");
    EXPECT_EQ(saved(), withCrc("#name = settings\n[]\na = restless,text"));
    EXPECT_TRUE(storage_->dirty());
    EXPECT_EQ(saved(), withCrc("#name = settings\n[]\na = int,1"));
    restlessSetting.reset();
}

TEST_F(InifileSave, ATypeThatCannotBeWrittenFailsTheSaveAndNothingElse) {
    types_->registerType(
        typeid(float), "fragile", nullptr,
        [](boost::shared_ptr<SettingHolder>) -> std::string { throw std::runtime_error("50%s"); });
    build("#name = settings\n#savepolicy = eachchange\n[]\na = int,1");
    const std::string bytes = readFile(rw_);
    ASSERT_TRUE(reopen());
    add("settings/fragile", 1.5F);
    EXPECT_TRUE(setting("settings/a")->setValue(2));
    EXPECT_EQ(setting("settings/a")->getValue<int>(), 2);
    EXPECT_TRUE(storage_->dirty());
    EXPECT_FALSE(storage_->save());
    EXPECT_EQ(readFile(rw_), bytes);
    EXPECT_FALSE(exists(copy_));
    EXPECT_EQ(logged(5, "SettingStorageInifile::saveFile( '" + rw_ + "' ): caught 50%s"), 2U)
        << log_.dump();
}

TEST_F(InifileSave, ATypeThatThrowsNoExceptionClassFailsTheSaveToo) {
    types_->registerType(typeid(float), "fragile", nullptr,
                         [](boost::shared_ptr<SettingHolder>) -> std::string { throw 5; });
    ASSERT_TRUE(reopen());
    add("settings/a", 1.5F);
    EXPECT_FALSE(storage_->saveFile(rw_));
    EXPECT_FALSE(exists(rw_));
    EXPECT_EQ(logged(5, "SettingStorageInifile::saveFile( '" + rw_ + "' ): caught exception"), 1U)
        << log_.dump();
}

TEST_F(InifileSave, ASaveFunctionForAnotherTypeFailsTheSaveToo) {
    types_->registerType(typeid(float), "float32", nullptr, save_x<int>);
    ASSERT_TRUE(reopen());
    add("settings/a", 1.5F);
    EXPECT_FALSE(storage_->saveFile(rw_));
    EXPECT_FALSE(exists(rw_));
    EXPECT_EQ(logged(5, "SettingStorageInifile::saveFile( '" + rw_ +
                            "' ): caught boost::bad_any_cast: failed conversion using "
                            "boost::any_cast"),
              1U)
        << log_.dump();
}

TEST_F(InifileSave, WithoutAFactoryNothingIsWritten) {
    types_.reset();
    build("#name = settings\n[]\na = int,1");
    const std::string bytes = readFile(rw_);
    ASSERT_TRUE(reopen());
    EXPECT_FALSE(storage_->saveFile(rw_));
    EXPECT_EQ(readFile(rw_), bytes);
    EXPECT_EQ(logged(5,
                     "SettingStorageInifile: storage 'settings' is not saved: it has no factory, "
                     "or a line feed in its name"),
              1U)
        << log_.dump();
}

TEST_F(InifileSave, AReadOnlyStorageIsNotSaved) {
    build("#name = settings\n#readonly\n[]\na = int,1");
    ASSERT_TRUE(reopen());
    storage_->changed("settings/a");
    EXPECT_FALSE(storage_->save());
    EXPECT_EQ(loggedByBase(5, "Trying to store a readonly file!!"), 1U);
}

TEST_F(InifileSave, ANewSettingReachesTheFileWithTheNextSave) {
    build("#name = settings\n#savepolicy = ondemand\n[]\na = int,1");
    ASSERT_TRUE(reopen());
    add("settings/b", 2);
    const std::string before = readFile(rw_);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), before);
    setting("settings/a")->setValue(1);
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_),
              withCrc("#name = settings\n#savepolicy = ondemand\n[]\na = int,1\nb = int,2"));
}

TEST_F(InifileSave, TheCopysPathIsThePathAndASuffix) {
    EXPECT_EQ(SettingStorageInifile::getTempFilename("x.ini"), "x.ini.tmp");
    EXPECT_EQ(SettingStorageInifile::getTempFilename("/a/b"), "/a/b.tmp");
    EXPECT_EQ(SettingStorageInifile::getTempFilename(""), ".tmp");
}

TEST_F(InifileSave, AFactoryGivenAtConstructionWinsOverTheManagers) {
    SettingStorageInifile without("settings", "", rw_, Storage::Save_onDemand);
    EXPECT_FALSE(without.factory());
    const auto managers = boost::make_shared<SettingFactory>();
    ASSERT_TRUE(without.init(&manager_, managers));
    EXPECT_EQ(without.factory(), managers);
    SettingStorageInifile with("settings", "", rw_, types_, Storage::Save_unspecified);
    EXPECT_EQ(with.factory(), types_);
    EXPECT_EQ(with.savePolicy(), Storage::Save_unspecified);
    ASSERT_TRUE(with.init(&manager_, managers));
    EXPECT_EQ(with.factory(), types_);
}

TEST_F(InifileSave, WriteIniFileWritesTheTextAsItIs) {
    create();
    EXPECT_TRUE(storage_->writeIniFile(rw_, "no \0 format"));
    EXPECT_EQ(readFile(rw_), "no ");
    EXPECT_TRUE(storage_->writeIniFile(rw_, ""));
    EXPECT_EQ(readFile(rw_), "");
    EXPECT_EQ(storage_->crc32(), 0U);
}

// The earlier one's link to the storage is for life: it is asked and told, and has no place in the
// file any more.
TEST_F(InifileSave, AReplacedSettingTakesChangesThatTheFileDoesNotFollow) {
    build("#name = settings\n#savepolicy = ondemand\n[]\na = int,1");
    create();
    ASSERT_TRUE(manager_.registerStorage(storage_));
    const auto earlier = setting("settings/a");
    ASSERT_TRUE(storage_->loadFile(rw_));
    EXPECT_NE(setting("settings/a"), earlier);
    EXPECT_EQ(manager_.setting("settings/a"), earlier);
    EXPECT_TRUE(earlier->setValue(2));
    EXPECT_TRUE(storage_->dirty());
    EXPECT_TRUE(storage_->save());
    EXPECT_EQ(readFile(rw_), withCrc("#name = settings\n#savepolicy = ondemand\n[]\na = int,1"));
    const auto registered = boost::make_shared<SettingHolder>("settings/a", 3);
    manager_.registerSetting(registered);
    EXPECT_EQ(manager_.setting("settings/a"), registered);
    EXPECT_EQ(setting("settings/a"), registered);
}

}  // namespace
