#ifndef T8SETTINGS_STOREDSETTINGS_H
#define T8SETTINGS_STOREDSETTINGS_H

#include <map>
#include <string>

#include "Files.h"

namespace t8settings {

/// A setting as the files have it.
struct StoredSetting {
    std::string type;
    std::string fileText;  ///< the text of its value in the form of the files, as a save writes it
    std::string storage;

    bool operator==(const StoredSetting& other) const {
        return type == other.type && fileText == other.fileText && storage == other.storage;
    }
};

/// By their names.
using StoredSettings = std::map<std::string, StoredSetting>;

/// What a process that starts now would find in the files of one storage.
struct StoredStorage {
    StoredSettings settings;
    /// Whether there is a read/write file.
    bool hasReadWrite = false;
    /// Why a load could not use one of the files, such as "its CRC is wrong", and which; empty when
    /// both are good. The settings are then those of the other one.
    std::string problem;
};

/// Reads the files under the directory's lock, as a load does, but changes nothing about them and
/// says nothing, whatever they hold.
StoredStorage storedIn(const StorageFiles& files);

/// The settings of all storages below the base directory, read in the same way. Throws `Failure`
/// when the directory cannot be read.
StoredSettings settingsBelow(const std::string& base);

}  // namespace t8settings

#endif
