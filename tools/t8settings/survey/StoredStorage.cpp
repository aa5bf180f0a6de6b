#include "survey/StoredStorage.h"

#include "store/LibraryLog.h"
#include "survey/SurveyedFile.h"

namespace t8settings {

namespace {

/// Puts the file's settings over those that are there, and its name for the storage in place of
/// theirs; false when a load could not use it.
bool take(StoredStorage& storage, const SurveyedFile& file) {
    if (!file.error.empty()) {
        storage.problem = file.path + ": " + file.error;
        return false;
    }
    for (const auto& setting : file.settings) {
        storage.settings.insert_or_assign(setting.first, setting.second);
    }
    for (auto& setting : storage.settings) {
        setting.second.storage = file.storage;
    }
    return true;
}

StoredStorage read(const StorageFiles& files) {
    StoredStorage storage;
    std::string name = files.storageName();
    storage.hasReadWrite = isThere(files.readWrite) || isHidden(files.readWrite);
    if (!files.defaults.empty()) {
        const SurveyedFile defaults =
            files.isXml() ? surveyed(XmlFile(files.defaults)) : surveyed(defaultsOf(files));
        if (!take(storage, defaults)) {
            return storage;
        }
        name = defaults.storage;
    }
    if (storage.hasReadWrite) {
        take(storage, files.isXml() ? surveyed(XmlFile(files.readWrite))
                                    : surveyed(readWriteOf(files, name)));
    }
    return storage;
}

}  // namespace

StoredStorage storedIn(const StorageFiles& files) {
    // What the library says of the files is said by `problem`.
    const LibraryMessagesDropped dropped;
    return read(files);
}

StoredSettings settingsBelow(const std::string& base) {
    StoredSettings all;
    for (const StorageFiles& files : storagesBelow(base)) {
        for (const auto& setting : storedIn(files).settings) {
            all.insert_or_assign(setting.first, setting.second);
        }
    }
    return all;
}

}  // namespace t8settings
