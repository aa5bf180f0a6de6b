#ifndef T8SETTINGS_STOREDSTORAGE_H
#define T8SETTINGS_STOREDSTORAGE_H

#include <map>
#include <string>

#include "store/Files.h"
#include "values/Records.h"

namespace t8settings {

/// By their names.
using StoredSettings = std::map<std::string, Record>;

/// What a process that starts now would find in the files of one storage.
struct StoredStorage {
    StoredSettings settings;
    /// Whether there is a read/write file, or may be one that may not be looked at.
    bool hasReadWrite = false;
    /// Which of the files a load could not use, and why; empty when all are good. A read/write file
    /// that is not leaves the defaults; defaults that are not leave nothing.
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
