#ifndef TESTS_SUPPORT_FILESTORAGEFIXTURE_H
#define TESTS_SUPPORT_FILESTORAGEFIXTURE_H

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "Files.h"
#include "LogCapture.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingsManager.h"
#include "StubFileStorage.h"
#include "TempDir.h"

namespace testsupport {

/// A storage without a format, called "settings", with the paths of both files and a manager. The
/// files are not there until a test makes them. Every log message is recorded.
class FileStorageFixture : public testing::Test {
protected:
    using Calls = std::vector<std::string>;
    using Holder = boost::shared_ptr<Qel::Settings::SettingHolder>;
    using SavePolicy = StubFileStorage::SavePolicy;

    FileStorageFixture() { create(); }

    /// A new storage in place of the former one.
    void create(SavePolicy policy = StubFileStorage::Save_onDemand) {
        create(defaults_, rw_, policy);
    }
    void create(const std::string& filename, const std::string& rwFilename,
                SavePolicy policy = StubFileStorage::Save_onDemand) {
        storage_ = boost::make_shared<StubFileStorage>("settings", filename, rwFilename, policy);
    }

    bool init() {
        return storage_->init(&manager_, boost::shared_ptr<Qel::Settings::SettingFactory>());
    }

    static Holder holder(const std::string& name, int value = 0) {
        return boost::make_shared<Qel::Settings::SettingHolder>(name, value);
    }

    /// Gives the storage a setting.
    Holder add(const std::string& name, int value = 0) {
        const Holder added = holder(name, value);
        EXPECT_TRUE(storage_->registerSetting(added)) << name;
        return added;
    }

    /// How often the file storage base logged exactly this.
    std::size_t logged(int level, const std::string& text) const {
        return log_.count(level, "Qel::Settings", "src/SettingsStorageFileBase", text);
    }

    /// How often the background saver logged exactly this.
    std::size_t loggedBySaver(const std::string& text) const {
        return log_.count(2, "Qel::Settings", "src/SettingsStorageFileAsyncSaver", text);
    }

    LogCapture log_;
    TempDir dir_;
    std::string defaults_ = dir_.file("defaults.ini");
    std::string rw_ = dir_.file("rw.ini");
    std::string bad_ = rw_ + ".bad";
    Qel::Settings::SettingsManager manager_;
    boost::shared_ptr<StubFileStorage> storage_;
};

}  // namespace testsupport

#endif
