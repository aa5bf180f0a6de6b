#ifndef QEL_SETTINGS_FILES_WHOLEFILE_H
#define QEL_SETTINGS_FILES_WHOLEFILE_H

#include <cstddef>
#include <string>

namespace Qel {
namespace Settings {
namespace files {

/// The most that a settings file may hold, in bytes. A file beyond it is no settings file, and
/// reading it would cost a television its memory.
constexpr std::size_t kLargestFile = std::size_t{64} * 1024 * 1024;

/// Reads the whole of a regular file into `data`. False, and `data` empty, when there is none at
/// `path` or it cannot be read to its end or is too large. A pipe, device or directory is no
/// settings file and does not hold the caller up.
bool readWholeFile(const std::string& path, std::string& data);

/// Whether what could not be read for this reason, an errno, may be a settings file all the same.
bool mayBeReadLater(int error);

}  // namespace files
}  // namespace Settings
}  // namespace Qel

#endif
