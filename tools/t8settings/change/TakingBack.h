#ifndef T8SETTINGS_TAKINGBACK_H
#define T8SETTINGS_TAKINGBACK_H

#include <optional>
#include <string>
#include <vector>

#include "change/Change.h"
#include "console/Exit.h"
#include "store/Store.h"

namespace t8settings {

/// What a load would read of a storage's own file and of its copy, byte by byte; of one that cannot
/// be read nothing.
struct FilesThen {
    explicit FilesThen(const Qel::Settings::SettingStorageFileBase& storage);

    bool operator==(const FilesThen& other) const {
        return file == other.file && copy == other.copy;
    }

    std::optional<std::string> file;
    std::optional<std::string> copy;
    bool hasFile;  ///< be it one that cannot be read
};

/// A storage before its changes, and what takes them back.
struct Before {
    /// The changes are all of one storage.
    Before(const Store& store, const Changes& changes);

    Qel::Settings::SettingStorageFileBase& storage;
    FilesThen files;
    Changes opposite;
};

/// Saves the storages once more with what they were before, the last one first, where that
/// overwrites no other program's save. Gives a failure of `code` with `text` and, for each storage
/// whose files were touched, what has become of it.
Failure takenBack(const Store& store, const std::vector<Before>& befores, ExitCode code,
                  std::string text);

}  // namespace t8settings

#endif
