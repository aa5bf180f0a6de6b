#include "store/Store.h"

#include <Qel/Settings/SettingChangeCallback.h>
#include <Qel/Settings/T8SettingsManager.h>
#include <algorithm>

#include "console/Exit.h"
#include "console/Nearest.h"
#include "console/Terminal.h"
#include "store/Files.h"
#include "store/LibraryLog.h"
#include "store/LibraryWords.h"
#include "store/LoadOutcome.h"
#include "store/SetUp.h"

namespace t8settings {

namespace {

using Qel::Settings::SettingsManager;

/// The library tells of each file that may be in such a directory; one line does for all.
std::vector<std::string> complainOfUnreadBelow(const std::string& base) {
    const auto unread = directoriesOutOfSight(base);
    complainOfUnread(unread);
    std::vector<std::string> told;
    for (const auto& [directory, reason] : unread) {
        told.push_back("Directory '" + directory + "'");
        if (isHidden(directory + "/.")) {
            told.push_back("'" + directory + "/");
        }
    }
    for (const StorageFiles& storage : storagesInSight(base)) {
        if (isOutOfSight(storage.defaults)) {
            told.push_back("FAILED to register storage for " + storage.fileName + ",");
        }
    }
    return told;
}

SettingsManager& bringUp(const Location& location) {
    demandReadableDirectory(location.base);
    demandReadableFiles(location.base);
    SettingsManager::location(location.base);
    LibraryLog::instance().passOver(complainOfUnreadBelow(location.base));
    SettingsManager& manager = *Qel::Settings::T8SettingsManager();
    LibraryLog::instance().passOver({});
    if (!location.marker.empty()) {
        SettingsManager::setResetToDefaultsMarker(location.marker);
        // The background saver, if a file asked for it, may have met the machine's own marker while
        // the files were loading; that one says nothing about this base directory.
        manager.setSettingsOperationMode(Qel::Settings::SOM_Normal);
    }
    return manager;
}

/// The library tells the marker's path only to who sets it.
std::string currentMarker() {
    std::string marker = SettingsManager::setResetToDefaultsMarker("");
    SettingsManager::setResetToDefaultsMarker(marker);
    return marker;
}

std::vector<std::string> errorsOf(const std::string& fileName, const std::string& errInfo,
                                  const std::vector<LibraryLog::Message>& messages) {
    std::vector<std::string> errors = splitLines(errInfo);
    for (const LibraryLog::Message& message : messages) {
        if (message.level >= LibraryLog::kError &&
            message.text.find("/" + fileName + "'") != std::string::npos) {
            errors.push_back(inPlainWords(message.text));
        }
    }
    return errors;
}

/// The set-up tells of the files that it leaves out in its log and nowhere else.
std::vector<Store::FailedFile> filesLeftOut(const std::vector<LibraryLog::Message>& messages) {
    const std::string announcement = "FAILED to register storage for ";
    const std::string withReason = ", errInfo: ";
    const std::string withoutReason = ", no errInfo";
    std::vector<Store::FailedFile> files;
    for (const LibraryLog::Message& message : messages) {
        if (message.text.compare(0, announcement.size(), announcement) != 0) {
            continue;
        }
        const std::string rest = message.text.substr(announcement.size());
        const std::size_t reason = rest.find(withReason);
        const bool hasReason = reason != std::string::npos;
        const std::string name = rest.substr(0, hasReason ? reason : rest.rfind(withoutReason));
        const std::string errInfo = hasReason ? rest.substr(reason + withReason.size()) : "";
        files.push_back({name, errorsOf(name, errInfo, messages)});
    }
    return files;
}

}  // namespace

Store::Store(const Location& location)
    : manager_(bringUp(location)),
      base_(location.base),
      marker_(currentMarker()),
      factory_(static_cast<const SettingsManager&>(manager_).factory()),
      failedFiles_(filesLeftOut(LibraryLog::instance().take())) {
    if (storages().empty() && failedFiles_.empty()) {
        complainOfNoFiles(location.base);
    }
}

SettingPtr Store::find(const std::string& name) const {
    SettingPtr setting = manager_.setting(name);
    if (setting) {
        return setting;
    }
    std::vector<std::string> names;
    for (const SettingPtr& known : settings()) {
        names.push_back(known->name());
    }
    throw noSuch("setting", name, names);
}

std::vector<SettingPtr> Store::settings() const {
    std::vector<SettingPtr> all;
    manager_.forEachSetting([&](const SettingPtr& setting) { all.push_back(setting); });
    return all;
}

std::vector<StoragePtr> Store::storages() const {
    std::vector<StoragePtr> all;
    manager_.forEachStorage([&](const StoragePtr& storage) { all.push_back(storage); });
    return all;
}

void Store::demandNormalMode() const {
    if (manager_.getSettingsOperationMode() != Qel::Settings::SOM_Normal) {
        throw resetInProgress(marker_);
    }
}

Qel::Settings::SettingStorageFileBase& storageOf(const SettingPtr& setting) {
    return dynamic_cast<Qel::Settings::SettingStorageFileBase&>(*setting->callback());
}

}  // namespace t8settings
