#ifndef QEL_SETTINGS_FILES_WHOLEFILE_H
#define QEL_SETTINGS_FILES_WHOLEFILE_H

#include <string>

namespace Qel {
namespace Settings {
namespace files {

/// Reads the whole of a regular file into `data`. False, and `data` empty, when there is none at
/// `path` or it cannot be read to its end. A pipe, device or directory is no settings file and does
/// not hold the caller up.
bool readWholeFile(const std::string& path, std::string& data);

}  // namespace files
}  // namespace Settings
}  // namespace Qel

#endif
