// examples/tv is what people copy from: its files must load as they stand and be what the library
// itself writes.

#include <boost/shared_ptr.hpp>
#include <filesystem>
#include <gmock/gmock.h>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "Files.h"
#include "LogCapture.h"
#include "MarkdownPage.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageInterface.h"
#include "Qel/Settings/SettingsManager.h"
#include "Qel/Settings/T8SettingsManager.h"
#include "TempDir.h"
#include "text/IniGrammar.h"

using namespace Qel::Settings;
using testsupport::LogCapture;
using testsupport::readFile;
using testsupport::TempDir;

namespace {

namespace fs = std::filesystem;
using Storage = boost::shared_ptr<SettingStorageInterface>;
using Holder = boost::shared_ptr<SettingHolder>;
using Texts = std::map<std::string, std::string>;

/// A setting as a file's line shows it.
struct Line {
    std::string file;
    std::string name;
    std::string type;
    std::string text;
};

/// Those of one ini file. Unlike the library it takes "[]" for what a writer means by it.
std::vector<Line> settingLines(const std::string& file, const std::string& contents) {
    const text::WhiteSpace whiteSpace;
    std::vector<Line> found;
    std::string storage;
    std::string section;
    std::istringstream in(contents);
    for (std::string bytes; std::getline(in, bytes);) {
        const text::IniLine line = text::parseLine(whiteSpace.trim(bytes), whiteSpace);
        if (line.kind == text::IniLine::Kind::Header && line.key == "name") {
            storage = std::string(line.value) + "/";
        } else if (line.kind == text::IniLine::Kind::Section) {
            section = std::string(line.key) + "/";
        } else if (line.kind == text::IniLine::Kind::SkippedSection) {
            section.clear();
        } else if (line.kind == text::IniLine::Kind::Setting) {
            found.push_back({file, storage + section + std::string(line.key),
                             std::string(line.type), std::string(line.value)});
        }
    }
    return found;
}

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

    /// Makes every writable storage that `wanted` accepts write its file, with the values it has.
    template <class Wanted>
    void rewrite(Wanted wanted) const {
        manager().forEachStorage([&](const Storage& storage) {
            if (!storage->readonly() && wanted(*storage)) {
                changeAndChangeBack(*storage);
            }
        });
    }

    /// Some setting, to the value of an empty text and back: what has not changed is not written.
    void changeAndChangeBack(const SettingStorageInterface& storage) const {
        const auto types = manager().factory();
        for (const auto& setting : storage.settingsSet()) {
            const Holder& holder = setting.second;
            const Holder empty = types->create(types->typeAsString(holder), "", "");
            if (types->valueAsString(empty) != types->valueAsString(holder)) {
                const boost::any value = holder->value();
                EXPECT_TRUE(holder->setValue(empty->value())) << holder->name();
                EXPECT_TRUE(holder->setValue(value)) << holder->name();
                return;
            }
        }
        ADD_FAILURE() << "nothing to change in " << storage.name();
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

    std::vector<Line> iniLines() const {
        std::vector<Line> lines;
        for (const auto& file : files()) {
            if (fs::path(file.first).extension() == ".ini") {
                const std::vector<Line> more = settingLines(file.first, file.second);
                lines.insert(lines.end(), more.begin(), more.end());
            }
        }
        return lines;
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

TEST_F(ExampleTv, EveryLineIsASettingInTheTextThatTheLibraryWrites) {
    const auto types = manager().factory();
    std::set<std::string> shown;
    for (const Line& line : iniLines()) {
        shown.insert(line.name);
        const Holder read = types->create(line.type, line.name, line.text);
        ASSERT_TRUE(read) << line.file << ": " << line.name;
        EXPECT_EQ(types->valueAsString(read), line.text) << line.file << ": " << line.name;
    }
    std::set<std::string> loaded;
    manager().forEachStorage([&](const Storage& storage) {
        for (const auto& setting : storage->settingsSet()) {
            // Only the XML file's settings are read-only, and they have no lines.
            if (!storage->readonly()) {
                loaded.insert(setting.first);
            }
        }
    });
    EXPECT_EQ(shown, loaded);
}

TEST_F(ExampleTv, EveryRegisteredTypeHasASettingInADefaultsFile) {
    std::set<std::string> missing;
    for (const TypeDescription& type : describeTypes()) {
        missing.insert(type.name);
    }
    for (const Line& line : iniLines()) {
        if (line.file.rfind("qel-default-", 0) == 0) {
            missing.erase(line.type);
        }
    }
    const auto types = manager().factory();
    manager().forEachStorage([&](const Storage& storage) {
        // Only the XML file's settings are read-only, and they have no lines.
        for (const auto& setting : storage->settingsSet()) {
            if (storage->readonly()) {
                missing.erase(types->typeAsString(setting.second));
            }
        }
    });
    EXPECT_THAT(missing, testing::IsEmpty());
}

TEST_F(ExampleTv, ReadWriteFilesAreWhatTheLibraryWrites) {
    const Texts before = files();
    rewrite(
        [](const SettingStorageInterface& storage) { return fs::exists(*storage.rwFilename()); });
    Texts after = files();
    EXPECT_EQ(after.size(), before.size());
    for (const auto& file : before) {
        EXPECT_EQ(after[file.first], file.second) << file.first;
    }
}

TEST_F(ExampleTv, EverySettingComesBackFromTheFilesThatTheLibraryWrites) {
    const Texts before = settings();
    const std::size_t filesBefore = files().size();
    rewrite([](const SettingStorageInterface&) { return true; });
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
