#include <boost/make_shared.hpp>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>

#include "Files.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageInifile.h"
#include "Qel/Settings/SettingsManager.h"
#include "Qel/Settings/T8SettingsManager.h"
#include "SaverFixture.h"
#include "TempDir.h"

namespace {

std::string defaultsFile;
std::string readWriteFile;
bool setUpFails = false;

}  // namespace

namespace Qel {
namespace Settings {

// In place of the product's, so that one can fail half-way.
unsigned int initDefaultSettingsManager(SettingsManager& manager) {
    manager.registerStorage(boost::make_shared<SettingStorageInifile>(
        "tv", defaultsFile, readWriteFile, SettingStorageInifile::Save_async));
    if (setUpFails) {
        throw std::runtime_error("set-up failed");
    }
    return 0;
}

}  // namespace Settings
}  // namespace Qel

namespace {

using Qel::Settings::SettingsManager;

class AsyncSaverFailedSetUp : public testsupport::SaverFixture {};

// Otherwise two storages would write one file, each with values of its own.
TEST_F(AsyncSaverFailedSetUp, NextSetUpSavesInTheBackgroundWithoutTheStoragesOfTheFailedOne) {
    const testsupport::TempDir dir;
    defaultsFile = dir.file("defaults.ini");
    readWriteFile = dir.file("tv.ini");
    testsupport::writeFile(defaultsFile, "#name = tv\nvolume = int,1\n");
    setUpFails = true;
    EXPECT_THROW(SettingsManager::defaultInstance(), std::runtime_error);
    ASSERT_NE(nullptr, SettingsManager::existingInstance());
    SettingsManager::existingInstance()->setting("tv/volume")->setValue(5);

    setUpFails = false;
    SettingsManager* const manager = SettingsManager::defaultInstance();
    EXPECT_EQ(2u, logged(2, "SettingsStorageFileAsyncSaver::registerStorage( tv )"));
    EXPECT_EQ(1u, logged(2, "SettingsStorageFileAsyncSaver::unregisterStorage( tv )"));
    ASSERT_TRUE(log_.waitFor("SettingsStorageFileAsyncSaver::threadFunc(): starting", 2));
    EXPECT_EQ(1u, testsupport::saverThreads().size());
    ASSERT_TRUE(manager->setting("tv/volume")->setValue(6));
    SettingsManager::flushAllSettings();
    EXPECT_NE(std::string::npos, testsupport::readFile(readWriteFile).find("\nvolume = int,6\n"));
    EXPECT_EQ(nullptr, saver().getNextStorage());
    SettingsManager::reloadSettings();
}

}  // namespace
