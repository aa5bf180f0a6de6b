#ifndef QEL_SETTINGS_FILES_DAMAGEDFILE_H
#define QEL_SETTINGS_FILES_DAMAGEDFILE_H

#include <string>

namespace Qel {
namespace Settings {
namespace files {

class DirectoryLock;

/// Keeps the content of a damaged or unread file that is about to be overwritten: copies it, with
/// its owner, group and permissions, to the first free one of "PATH.bad", "PATH.bad.1" up to
/// "PATH.bad.99". What has other names, cannot be read or cannot be copied, as the disk is full,
/// say, is given that name besides its own; where that is impossible, what has other names is
/// copied and what cannot be read gets it in place of its own. Replaces nothing, whoever else takes
/// names at that moment.
///
/// `kept` is the new path, "" when no plain file lies at `path`, which is no failure. The content
/// is on the disk then, but not the entry that shows it: the caller syncs the directory before it
/// overwrites anything. False when the content is not kept; errno says why, and the file is as it
/// was.
bool keepDamagedFile(const std::string& path, std::string& kept);

/// Whether one of those names is another one of what lies at `path`: it would be written through.
bool isKept(const std::string& path);

/// Renames the file at `path` to `name`, over what lies there. `directory` is the lock on the
/// directory of both. False when that fails; errno says why.
bool setAsideFile(const std::string& path, const std::string& name, const DirectoryLock& directory);

}  // namespace files
}  // namespace Settings
}  // namespace Qel

#endif
