#ifndef QEL_SETTINGS_FILES_DAMAGEDFILE_H
#define QEL_SETTINGS_FILES_DAMAGEDFILE_H

#include <string>

namespace Qel {
namespace Settings {
namespace files {

class DirectoryLock;

/// Keeps the content of a damaged file that is about to be overwritten: copies it, with its
/// permissions, to the first free one of "PATH.bad", "PATH.bad.1" up to "PATH.bad.99". Replaces
/// nothing, and leaves the file itself alone. When it returns the copy is on the disk.
///
/// `directory` is the lock on the directory of both. `kept` is the copy's path, "" when no plain
/// file lies at `path`, which is no failure. False when the content is not safe; errno says why.
bool keepDamagedFile(const std::string& path, const DirectoryLock& directory, std::string& kept);

/// The same for what cannot be read: renames it to the first of these names that is free. To be
/// called under the lock only, since another process could take the name at that moment.
bool moveDamagedFile(const std::string& path, const DirectoryLock& directory, std::string& kept);

}  // namespace files
}  // namespace Settings
}  // namespace Qel

#endif
