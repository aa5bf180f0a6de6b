#ifndef TESTS_SUPPORT_INISTORAGEFIXTURE_H
#define TESTS_SUPPORT_INISTORAGEFIXTURE_H

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <gtest/gtest.h>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "Files.h"
#include "LogCapture.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageInifile.h"
#include "Qel/Settings/SettingsManager.h"
#include "Qel/Settings/StrConv.h"
#include "TempDir.h"
#include "text/Crc32.h"

namespace testsupport {

/// `text` as a settings file: with the line that holds its CRC.
inline std::string withCrc(const std::string& text) {
    return text + "\n#crc32 = " + std::to_string(Qel::Settings::text::crc32(text)) + "\n";
}

/// The built-in types and the generic maps, as the product has them.
inline boost::shared_ptr<Qel::Settings::SettingFactory> productTypes() {
    using namespace Qel::Settings;
    auto types = boost::make_shared<SettingFactory>();
    types->registerType(typeid(std::map<int, int>), "map<int:int>", load_map_x<int, int>,
                        save_map_x<int, int>);
    types->registerType(typeid(std::map<int, std::string>), "map<int:string>",
                        load_map_x<int, std::string>, save_map_x<int, std::string>);
    types->registerType(typeid(std::map<std::string, std::string>), "map<string:string>",
                        load_map_x<std::string, std::string>, save_map_x<std::string, std::string>);
    return types;
}

/// A directory with the files of one ini storage called "settings", and the storage that reads
/// them: build the files, corrupt them, reopen the storage, check what it holds.
///
/// Every log message of the test is recorded.
class IniStorageFixture : public testing::Test {
protected:
    using Storage = Qel::Settings::SettingStorageInifile;
    using SavePolicy = Qel::Settings::SettingStorageFileBase::SavePolicy;

    /// Makes the read/write file, with its CRC line.
    void build(const std::string& text) { writeFile(rw_, withCrc(text)); }

    /// Makes the temporary copy as an interrupted save leaves it.
    void buildCopy(const std::string& text) { writeFile(copy_, withCrc(text)); }

    void buildDefaults(const std::string& text) {
        defaults_ = dir_.file("defaults.ini");
        writeFile(defaults_, text);
    }

    /// Inverts the lowest bit of one byte.
    static void corrupt(const std::string& path, std::size_t offset) {
        std::string bytes = readFile(path);
        bytes.at(offset) = static_cast<char>(bytes.at(offset) ^ 1);
        writeFile(path, bytes);
    }

    /// A new storage in place of the former one, not loaded yet.
    Storage& create(SavePolicy policy = Storage::Save_onDemand) {
        storage_.reset();
        storage_ = boost::make_shared<Storage>("settings", defaults_, rw_, types_, policy);
        return *storage_;
    }

    /// A new storage that loads its files, as the manager does it at start-up.
    bool reopen(SavePolicy policy = Storage::Save_onDemand) {
        return create(policy).init(&manager_, nullptr);
    }

    /// Every setting as "name = type,text", in order of the names.
    static std::vector<std::string> settingsOf(const Storage& storage) {
        std::vector<std::string> lines;
        for (const auto& entry : storage.settingsSet()) {
            lines.push_back(entry.first + " = " + storage.factory()->typeAsString(entry.second) +
                            "," + storage.factory()->valueAsString(entry.second));
        }
        return lines;
    }

    /// That the storage holds these settings and no others.
    void check(const std::vector<std::string>& expected) const {
        EXPECT_EQ(settingsOf(*storage_), expected) << log_.dump();
    }

    boost::shared_ptr<Qel::Settings::SettingHolder> setting(const std::string& name) const {
        const auto holder = storage_->querySetting(name);
        if (!holder) {
            throw std::runtime_error("no setting " + name);
        }
        return holder;
    }

    template <class T>
    void add(const std::string& name, const T& value) {
        const auto holder = boost::make_shared<Qel::Settings::SettingHolder>(name, value);
        ASSERT_TRUE(storage_->registerSetting(holder)) << name;
    }

    std::string errInfo() const { return *storage_->errInfo(); }

    /// How often the ini storage logged exactly this.
    std::size_t logged(int level, const std::string& text) const {
        return log_.count(level, "settings.inifile", "src/SettingsStorageInifile", text);
    }

    /// How often the file storage base logged exactly this.
    std::size_t loggedByBase(int level, const std::string& text) const {
        return log_.count(level, "Qel::Settings", "src/SettingsStorageFileBase", text);
    }

    /// The texts of all messages of one source, each after its level and a blank.
    std::vector<std::string> messagesOf(const std::string& source) const {
        std::vector<std::string> texts;
        for (const LogEntry& entry : log_.entries()) {
            if (entry.source == source) {
                texts.push_back(std::to_string(entry.level) + " " + entry.text);
            }
        }
        return texts;
    }

    LogCapture log_;
    TempDir dir_;
    std::string defaults_;  ///< "" until `buildDefaults`
    std::string rw_ = dir_.file("rw.ini");
    std::string copy_ = rw_ + ".tmp";
    std::string bad_ = rw_ + ".bad";
    Qel::Settings::SettingsManager manager_;
    boost::shared_ptr<Qel::Settings::SettingFactory> types_ = productTypes();
    boost::shared_ptr<Storage> storage_;
};

}  // namespace testsupport

#endif
