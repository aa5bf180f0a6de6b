#ifndef QEL_SETTINGS_FILES_SAFEWRITE_H
#define QEL_SETTINGS_FILES_SAFEWRITE_H

#include <functional>
#include <string>

namespace Qel {
namespace Settings {
namespace files {

class DirectoryLock;

enum class WriteResult {
    kDone,
    kCopyFailed,  ///< the file is untouched and no new copy lies beside it
    kFileFailed   ///< what a load would find is not known; it is whole, the old text or the new
};

struct SafeWrite {
    const std::string& file;
    const std::string& copy;
    const std::string& data;
    /// The copy that lies there already may be the only whole text there is, or is worth a look, so
    /// it is not overwritten but replaced in one step when the new text is whole.
    bool copyIsPrecious;
    /// Wait for the disk between the steps; without it the order of the steps holds for a crash of
    /// the process only.
    bool durable;
    /// Called with the path of the copy, then of the file, each time as soon as what lay there is
    /// gone from it.
    std::function<void(const std::string& path)> overwritten = {};
};

/// Writes the copy, then the file, then deletes the copy: at every moment at least one of the two
/// is whole on the disk. A file that is kept under another name is replaced, any other is written
/// to in its place. Data that could not be read back, being too large, is not written. `directory`
/// is the lock on the directory of both. After a failure errno says why.
WriteResult writeThroughCopy(const SafeWrite& write, const DirectoryLock& directory);

/// Makes a copy that an interrupted write has left as safe as a finished one: its data, and the
/// entries of the directory. False when the disk reports a failure.
bool settleCopy(const std::string& copy, const DirectoryLock& directory);

}  // namespace files
}  // namespace Settings
}  // namespace Qel

#endif
