#ifndef TESTS_SUPPORT_PRODUCTFIXTURE_H
#define TESTS_SUPPORT_PRODUCTFIXTURE_H

#include <boost/shared_ptr.hpp>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Files.h"
#include "LogCapture.h"
#include "Qel/Settings/SettingStorageInterface.h"
#include "Qel/Settings/SettingsManager.h"
#include "Qel/Settings/T8SettingsManager.h"
#include "TempDir.h"

namespace testsupport {

/// A scratch base directory, and a manager that the product's set-up brings up from what a test has
/// put there. Every log message of the test is recorded.
class ProductFixture : public testing::Test {
protected:
    ProductFixture() { useLocation(dir_.path()); }

    ~ProductFixture() override {
        manager_.reset();
        Qel::Settings::SettingsManager::location("/");
        Qel::Settings::SettingsManager::setResetToDefaultsMarker("");
    }

    /// The location, and with it the four directories, from here on.
    void useLocation(const std::string& directory) {
        Qel::Settings::SettingsManager::location(directory);
        base_ = directory + "/";
        defaults_ = base_ + "qel-default-settings";
        settings_ = base_ + "settings";
        calibrationDefaults_ = base_ + "qel-default-calibration_data";
        calibration_ = base_ + "calibration_data";
    }

    /// Makes the file and, when need be, the directory.
    static void put(const std::string& directory, const std::string& name,
                    const std::string& bytes) {
        std::filesystem::create_directories(directory);
        writeFile(directory + "/" + name, bytes);
    }

    /// A file of one setting, "value", that opts out of the CRC.
    static void putIni(const std::string& directory, const std::string& name, int value = 1) {
        put(directory, name, "value = int32," + std::to_string(value) + "\n#crc32 = false\n");
    }

    /// Runs the set-up on a fresh manager; gives its result.
    unsigned int bringUp() {
        manager_ = std::make_unique<Qel::Settings::SettingsManager>();
        const unsigned int result = Qel::Settings::initDefaultSettingsManager(*manager_);
        markerOfSetUp_ =
            Qel::Settings::SettingsManager::setResetToDefaultsMarker(dir_.file("marker"));
        return result;
    }

    std::vector<std::string> storageNames() const {
        std::vector<std::string> names;
        manager_->forEachStorage([&](const auto& storage) { names.push_back(storage->name()); });
        return names;
    }

    boost::shared_ptr<Qel::Settings::SettingStorageInterface> storage(
        const std::string& name) const {
        boost::shared_ptr<Qel::Settings::SettingStorageInterface> found;
        manager_->forEachStorage([&](const auto& storage) {
            if (storage->name() == name) {
                found = storage;
            }
        });
        if (!found) {
            throw std::runtime_error("no storage " + name);
        }
        return found;
    }

    /// Level and text of each message of the set-up, in order.
    std::vector<std::string> report() const {
        std::vector<std::string> lines;
        for (const LogEntry& entry : log_.entries()) {
            if (entry.source == "src/T8SettingsManager") {
                EXPECT_EQ("Qel::Settings", entry.context);
                lines.push_back(std::to_string(entry.level) + " " + entry.text);
            }
        }
        return lines;
    }

    LogCapture log_;
    TempDir dir_;
    std::string base_;  ///< ends in "/"
    std::string defaults_;
    std::string settings_;
    std::string calibrationDefaults_;
    std::string calibration_;
    std::string markerOfSetUp_;
    std::unique_ptr<Qel::Settings::SettingsManager> manager_;
};

}  // namespace testsupport

#endif
