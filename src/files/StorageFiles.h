#ifndef QEL_SETTINGS_FILES_STORAGEFILES_H
#define QEL_SETTINGS_FILES_STORAGEFILES_H

#include <array>
#include <string>
#include <vector>

namespace Qel {
namespace Settings {
namespace files {

/// The two directories that the files of some storages lie in.
struct StorageDirectory {
    std::string defaults;
    std::string readWrite;
    bool survivesReset;
};

/// Those of the settings and those of the calibration data below `location`, which ends in "/".
std::array<StorageDirectory, 2> storageDirectories(const std::string& location);

/// The files of one storage.
struct StorageFiles {
    std::string fileName;   ///< the same in both directories, with its suffix
    std::string defaults;   ///< path; empty when there is none
    std::string readWrite;  ///< path; the file need not be there
    bool survivesReset;

    bool isXml() const;

    /// What the storage is called unless a file says otherwise.
    std::string storageName() const;
};

/// All storages that have a file in one of the directories, by the names of their files. A
/// directory that is not there has none; one that cannot be read is logged as an error.
std::vector<StorageFiles> storageFilesIn(const StorageDirectory& directory);

}  // namespace files
}  // namespace Settings
}  // namespace Qel

#endif
