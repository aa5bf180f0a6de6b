#ifndef T8SETTINGS_STORE_H
#define T8SETTINGS_STORE_H

#include <Qel/Settings/SettingFactory.h>
#include <Qel/Settings/SettingHolder.h>
#include <Qel/Settings/SettingStorageFileBase.h>
#include <Qel/Settings/SettingsManager.h>
#include <string>
#include <vector>

namespace t8settings {

using FactoryPtr = boost::shared_ptr<Qel::Settings::SettingFactory>;
using SettingPtr = boost::shared_ptr<Qel::Settings::SettingHolder>;
using StoragePtr = boost::shared_ptr<Qel::Settings::SettingStorageInterface>;

/// Where the settings are.
struct Location {
    std::string base;
    std::string marker;  ///< empty for the machine's own marker of a reset to defaults
    std::string file;    ///< a single file to read in place of the base directory; mostly empty
};

/// The settings below a base directory, brought up as an application brings them up; damaged files
/// are set aside on the way. One per process.
class Store {
public:
    /// A settings file that could not be loaded.
    struct FailedFile {
        std::string name;
        std::vector<std::string>
            errors;  ///< what the library says of it, if anything, in plain words
    };

    /// Throws `Failure`, with nothing loaded, when the base directory cannot be read, or a file
    /// that would be set aside because of that.
    explicit Store(const Location& location);

    Qel::Settings::SettingsManager& manager() const { return manager_; }
    const FactoryPtr& factory() const { return factory_; }

    /// The base directory as it was said.
    const std::string& base() const { return base_; }

    /// Path of the marker in force.
    const std::string& marker() const { return marker_; }
    const std::vector<FailedFile>& failedFiles() const { return failedFiles_; }

    /// The setting of exactly this name. Throws `Failure`, with names that may have been meant,
    /// when there is none.
    SettingPtr find(const std::string& name) const;

    /// All settings, in order of their names.
    std::vector<SettingPtr> settings() const;

    /// All storages, in order of their names.
    std::vector<StoragePtr> storages() const;

    /// Throws `Failure` while a reset to defaults is in progress.
    void demandNormalMode() const;

private:
    Qel::Settings::SettingsManager& manager_;
    std::string base_;
    std::string marker_;
    FactoryPtr factory_;
    std::vector<FailedFile> failedFiles_;
};

/// The storage that keeps the setting. Every setting of a `Store` has one.
Qel::Settings::SettingStorageFileBase& storageOf(const SettingPtr& setting);

}  // namespace t8settings

#endif
