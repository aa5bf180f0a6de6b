#include <boost/smart_ptr/make_shared.hpp>
#include <boost/smart_ptr/weak_ptr.hpp>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>

#include "ProductFixture.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "qlog/QlogControl.h"

namespace {

using namespace Qel::Settings;
using testing::ElementsAre;
using testing::IsEmpty;
using testsupport::exists;

const std::string kMarker = "/tmp/settings-reset-to-default-in-progress.tmp";

class ProductSetup : public testsupport::ProductFixture {
protected:
    std::string headline() const {
        return "2 T8SettingsManager::initDefaultSettingManager(): settings[ " + defaults_ + ", " +
               settings_ + "] calibdata[ " + calibrationDefaults_ + ", " + calibration_ + "]";
    }
};

TEST_F(ProductSetup, WithoutAnyDirectoryGivesNoStoragesAndReportsTheHeadingsOnly) {
    EXPECT_EQ(0U, bringUp());
    EXPECT_THAT(storageNames(), IsEmpty());
    manager_->forEachSetting([](const auto&) { ADD_FAILURE() << "a setting"; });
    EXPECT_THAT(report(), ElementsAre(headline(), "2 Settings available:", "2 Storages loaded:"))
        << log_.dump();
    EXPECT_THAT(dir_.path(), testing::Truly([](const std::string& path) {
                    return std::filesystem::is_empty(path);
                }))
        << "the set-up makes no directories";
}

TEST_F(ProductSetup, WithEmptyDirectoriesIsTheSameAsWithout) {
    for (const std::string& directory :
         {defaults_, settings_, calibrationDefaults_, calibration_}) {
        std::filesystem::create_directory(directory);
    }
    EXPECT_EQ(0U, bringUp());
    EXPECT_THAT(storageNames(), IsEmpty());
    EXPECT_THAT(report(), ElementsAre(headline(), "2 Settings available:", "2 Storages loaded:"))
        << log_.dump();
}

TEST_F(ProductSetup, ReadsTheFourDirectoriesBelowTheLocation) {
    putIni(dir_.file("qel-default-settings"), "a.ini", 1);
    putIni(dir_.file("settings"), "b.ini", 2);
    putIni(dir_.file("qel-default-calibration_data"), "c.ini", 3);
    putIni(dir_.file("calibration_data"), "d.ini", 4);
    bringUp();
    EXPECT_THAT(storageNames(), ElementsAre("a", "b", "c", "d"));
    EXPECT_EQ(1, manager_->setting("a/value")->getValue<int>());
    EXPECT_EQ(2, manager_->setting("b/value")->getValue<int>());
    EXPECT_EQ(3, manager_->setting("c/value")->getValue<int>());
    EXPECT_EQ(4, manager_->setting("d/value")->getValue<int>());
}

TEST_F(ProductSetup, SetsTheMarkerOfTheWholeDevice) {
    bringUp();
    EXPECT_EQ(kMarker, markerOfSetUp_);
}

TEST_F(ProductSetup, MarkerIsSetBeforeAnyStorageLoads) {
    putIni(defaults_, "sound.ini");
    std::map<std::string, std::string> markerAtFirstMessageOf;
    qlog::setSink([&](const qlog::Record& record) {
        const std::string marker = SettingsManager::setResetToDefaultsMarker("");
        SettingsManager::setResetToDefaultsMarker(marker);
        markerAtFirstMessageOf.emplace(record.source, marker);
    });
    bringUp();
    qlog::setSink(nullptr);
    EXPECT_EQ(kMarker, markerAtFirstMessageOf["src/SettingsStorageInifile"]);
    EXPECT_EQ(kMarker, markerAtFirstMessageOf["src/T8SettingsManager"]);
}

TEST_F(ProductSetup, CalibrationSurvivesAResetAndSettingsDoNot) {
    for (const std::string& directory : {defaults_, settings_}) {
        putIni(directory, "plain.ini");
        putIni(directory,
               "only-in-" + std::filesystem::path(directory).filename().string() + ".ini");
        put(directory, "plain.xml", "<plainXml/>");
    }
    for (const std::string& directory : {calibrationDefaults_, calibration_}) {
        putIni(directory, "calibrated.ini");
        put(directory, "calibrated.xml", "<calibratedXml/>");
    }
    bringUp();
    std::map<std::string, bool> survives;
    manager_->forEachStorage([&](const auto& storage) {
        survives[storage->name()] = storage->surviveResetToDefaults();
    });
    const std::map<std::string, bool> expected = {{"plain", false},
                                                  {"only-in-qel-default-settings", false},
                                                  {"only-in-settings", false},
                                                  {"plainXml", false},
                                                  {"calibrated", true},
                                                  {"calibratedXml", true}};
    EXPECT_EQ(expected, survives);
}

TEST_F(ProductSetup, ResetBringsTheDefaultsBackAndSparesTheCalibration) {
    putIni(defaults_, "sound.ini", 1);
    putIni(settings_, "sound.ini", 2);
    putIni(calibrationDefaults_, "white.ini", 1);
    putIni(calibration_, "white.ini", 2);
    bringUp();
    EXPECT_EQ(1, manager_->resetToDefault());
    EXPECT_TRUE(exists(dir_.file("marker")));
    SettingsManager::setResetToDefaultsMarker("");
    bringUp();
    EXPECT_EQ(1, manager_->setting("sound/value")->getValue<int>());
    EXPECT_EQ(2, manager_->setting("white/value")->getValue<int>());
}

TEST_F(ProductSetup, ResetLeavesTheSettingsThatClientsSeeUntilTheRestart) {
    putIni(defaults_, "sound.ini", 1);
    putIni(settings_, "sound.ini", 2);
    bringUp();
    const auto seen = manager_->setting("sound/value");
    ASSERT_EQ(1, manager_->resetToDefault());
    EXPECT_EQ(seen, manager_->setting("sound/value"));
    EXPECT_EQ(2, seen->getValue<int>());
    EXPECT_EQ(1, storage("sound")->querySetting("sound/value")->getValue<int>());
}

TEST_F(ProductSetup, InstallsItsFactoryWithTheApplicationTypesAndDropsTheFormerOne) {
    manager_ = std::make_unique<SettingsManager>();
    auto former = boost::make_shared<SettingFactory>();
    const boost::weak_ptr<SettingFactory> watched = former;
    manager_->factory(former);
    former.reset();
    initDefaultSettingsManager(*manager_);
    SettingsManager::setResetToDefaultsMarker("");
    EXPECT_TRUE(watched.expired());
    const auto types = manager_->factory();
    ASSERT_NE(nullptr, types);
    for (const char* const type :
         {"string", "map<int:int>", "map<int:string>", "map<string:string>"}) {
        EXPECT_NE(nullptr, types->create(type, "x", "")) << type;
    }
}

TEST_F(ProductSetup, FactoryOutlivesItsReplacementInTheManager) {
    bringUp();
    const boost::weak_ptr<SettingFactory> types = manager_->factory();
    manager_->factory(nullptr);
    EXPECT_FALSE(types.expired());
    manager_.reset();
    EXPECT_FALSE(types.expired());
}

TEST_F(ProductSetup, EachManagerGetsAFactoryOfItsOwn) {
    bringUp();
    const auto first = manager_->factory();
    bringUp();
    EXPECT_NE(first, manager_->factory());
}

TEST_F(ProductSetup, BringsTheDefaultInstanceUp) {
    putIni(defaults_, "sound.ini", 7);
    SettingsManager* const manager = T8SettingsManager();
    EXPECT_EQ(kMarker, SettingsManager::setResetToDefaultsMarker(dir_.file("marker")));
    ASSERT_NE(nullptr, manager);
    EXPECT_EQ(manager, SettingsManager::defaultInstance());
    EXPECT_EQ(manager, T8SettingsManager());
    EXPECT_EQ(7, manager->setting("sound/value")->getValue<int>());
}

TEST_F(ProductSetup, ReloadingReadsTheChangedFilesIntoNewSettings) {
    putIni(defaults_, "sound.ini", 1);
    const auto before = T8SettingsManager()->setting("sound/value");
    putIni(settings_, "sound.ini", 2);
    putIni(settings_, "added.ini", 3);
    EXPECT_EQ(1, before->getValue<int>());
    SettingsManager::reloadSettings();
    SettingsManager* const manager = T8SettingsManager();
    SettingsManager::setResetToDefaultsMarker(dir_.file("marker"));
    const auto after = manager->setting("sound/value");
    EXPECT_NE(before, after);
    EXPECT_EQ(1, before->getValue<int>());
    EXPECT_EQ(2, after->getValue<int>());
    EXPECT_EQ(3, manager->setting("added/value")->getValue<int>());
    EXPECT_FALSE(before->setValue(9));
    EXPECT_TRUE(after->setValue(9));
}

TEST_F(ProductSetup, XmlStorageIsFiledUnderTheRootElementOfItsDocument) {
    put(defaults_, "any.xml", "<tv><sound><bass type=\"int\" value=\"3\"/></sound></tv>");
    bringUp();
    EXPECT_THAT(storageNames(), ElementsAre("tv"));
    EXPECT_EQ(3, manager_->setting("tv/sound/bass")->getValue<int>());
    EXPECT_THROW(manager_->registerSetting(boost::make_shared<SettingHolder>("tv/x", 1)),
                 std::runtime_error);
}

TEST_F(ProductSetup, XmlStorageWithoutARootRefusesEverySettingThatNobodyElseClaims) {
    put(settings_, "empty.xml", "");
    putIni(defaults_, "sound.ini");
    bringUp();
    ASSERT_THAT(storageNames(), ElementsAre("", "sound"));
    try {
        manager_->registerSetting(boost::make_shared<SettingHolder>("picture/x", 1));
        FAIL() << "nothing was thrown";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ("Setting storage is readonly.", e.what());
    }
    manager_->registerSetting(boost::make_shared<SettingHolder>("sound/x", 1));
    EXPECT_TRUE(exists(settings_ + "/empty.xml.bad"));
}

TEST_F(ProductSetup, TwoStoragesOfOneNameBothKeepTheirSettings) {
    put(defaults_, "same.ini", "a = int32,1\n");
    put(calibrationDefaults_, "same.ini", "b = int32,2\n");
    bringUp();
    EXPECT_THAT(storageNames(), ElementsAre("same"));
    EXPECT_EQ(calibrationDefaults_ + "/same.ini", *storage("same")->filename());
    const auto ofTheReplaced = manager_->setting("same/a");
    ASSERT_NE(nullptr, ofTheReplaced);
    ASSERT_NE(nullptr, manager_->setting("same/b"));
    std::filesystem::create_directory(settings_);
    EXPECT_TRUE(ofTheReplaced->setValue(5));
    EXPECT_TRUE(exists(settings_ + "/same.ini"));
}

}  // namespace
