// examples/tv is what people copy from: its files must load as they stand and be what the library
// itself writes.

#include <boost/shared_ptr.hpp>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string>

#include "Files.h"
#include "LogCapture.h"
#include "MarkdownPage.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageInterface.h"
#include "Qel/Settings/SettingsManager.h"
#include "Qel/Settings/T8SettingsManager.h"
#include "TempDir.h"

using namespace Qel::Settings;
using testsupport::LogCapture;
using testsupport::readFile;
using testsupport::TempDir;

namespace {

namespace fs = std::filesystem;
using Storage = boost::shared_ptr<SettingStorageInterface>;
using Holder = boost::shared_ptr<SettingHolder>;
using Texts = std::map<std::string, std::string>;

class ExampleTv : public testing::Test {
protected:
    ExampleTv() {
        fs::copy(testsupport::sourceFile("examples/tv"), base(), fs::copy_options::recursive);
        SettingsManager::location(base());
        manager();
    }

    std::string base() const { return directory.file("tv"); }

    SettingsManager& manager() const {
        SettingsManager& made = *T8SettingsManager();
        SettingsManager::setResetToDefaultsMarker(directory.file("marker"));
        return made;
    }

    /// Makes every writable storage that `wanted` accepts save itself, without a change of value.
    template <class Wanted>
    void touch(Wanted wanted) const {
        manager().forEachStorage([&](const Storage& storage) {
            if (!storage->readonly() && wanted(*storage)) {
                const Holder holder = storage->settingsSet().begin()->second;
                EXPECT_TRUE(holder->setValue(holder->value())) << holder->name();
            }
        });
    }

    Texts settings() const {
        Texts texts;
        const auto types = manager().factory();
        manager().forEachSetting([&](const Holder& holder) {
            texts[holder->name()] =
                types->typeAsString(holder) + "," + types->valueAsString(holder);
        });
        return texts;
    }

    /// Path below the base directory to contents, of every file there.
    Texts files() const {
        Texts contents;
        for (const auto& entry : fs::recursive_directory_iterator(base())) {
            if (entry.is_regular_file()) {
                contents[fs::relative(entry.path(), base()).string()] = readFile(entry.path());
            }
        }
        return contents;
    }

    /// Each name once, although defaults and read/write file share it.
    std::set<std::string> fileNames() const {
        std::set<std::string> names;
        for (const auto& file : files()) {
            names.insert(fs::path(file.first).filename().string());
        }
        return names;
    }

    LogCapture log{4};
    TempDir directory;
};

TEST_F(ExampleTv, EveryFileLoadsWithoutARejectedLine) {
    std::size_t storages = 0;
    manager().forEachStorage([&](const Storage& storage) {
        ++storages;
        EXPECT_FALSE(storage->settingsSet().empty()) << storage->info();
        EXPECT_EQ(*storage->errInfo(), "") << storage->info();
    });
    EXPECT_EQ(storages, fileNames().size());
    EXPECT_TRUE(log.entries().empty()) << log.dump();
}

TEST_F(ExampleTv, ReadWriteFilesAreWhatTheLibraryWrites) {
    const Texts before = files();
    touch([](const SettingStorageInterface& storage) { return fs::exists(*storage.rwFilename()); });
    EXPECT_EQ(files(), before);
}

TEST_F(ExampleTv, EverySettingComesBackFromTheFilesThatTheLibraryWrites) {
    const Texts before = settings();
    const std::size_t filesBefore = files().size();
    touch([](const SettingStorageInterface&) { return true; });
    EXPECT_GT(files().size(), filesBefore) << "some had no read/write file yet";
    SettingsManager::reloadSettings();
    EXPECT_EQ(settings(), before);
}

TEST_F(ExampleTv, AResetBringsTheDefaultsAndSparesTheCalibration) {
    const Texts before = settings();
    EXPECT_EQ(before.at("settings/general/language"), "string,da");
    ASSERT_EQ(manager().resetToDefault(), 1);
    SettingsManager::reloadSettings();
    const Texts after = settings();
    EXPECT_EQ(after.at("settings/general/language"), "string,en");
    EXPECT_EQ(after.at("tuning/favourites/sport"), "uint16[],");
    for (const char* name :
         {"whitebalance/cool/blue", "panel/hours/lit", "frontend/crystal/offset"}) {
        EXPECT_EQ(after.at(name), before.at(name));
    }
    EXPECT_EQ(before.at("whitebalance/cool/blue"), "float32,1.09");
}

}  // namespace
