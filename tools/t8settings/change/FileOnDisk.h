#ifndef T8SETTINGS_FILEONDISK_H
#define T8SETTINGS_FILEONDISK_H

#include <Qel/Settings/SettingStorageInifile.h>
#include <map>
#include <string>

#include "store/Store.h"

namespace t8settings {

/// A file of a storage as the next process will find it, loaded anew. It is never set aside,
/// whatever it holds.
class FileOnDisk {
public:
    /// `storage` is not read-only, and `path` that of its read/write file or of its defaults file.
    FileOnDisk(const Qel::Settings::SettingStorageFileBase& storage, const std::string& path,
               const FactoryPtr& factory);

    /// Null when the file does not give it back.
    SettingPtr find(const std::string& name);

    /// Type name, "," and text of all settings, by their names.
    std::map<std::string, std::string> settings() const;

    /// CRC of the file's text; 0 when the file is not usable.
    std::uint32_t crc32() const { return usable_ ? file_.crc32() : 0; }

private:
    Qel::Settings::SettingStorageInifile file_;
    bool usable_;
};

}  // namespace t8settings

#endif
