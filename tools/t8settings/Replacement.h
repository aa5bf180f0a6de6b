#ifndef T8SETTINGS_REPLACEMENT_H
#define T8SETTINGS_REPLACEMENT_H

#include <cstdint>
#include <string>

#include "Files.h"
#include "files/DirectoryLock.h"

namespace t8settings {

/// A settings file's new text.
struct Replacement {
    const FileGroup& group;   ///< as it is, read under the lock
    const std::string& text;  ///< all before the line feed in front of the CRC line
    /// The file whose permissions and owner the settings file gets if it is not there.
    const std::string& like;
};

/// Puts the text and a right CRC line in place of the file, as every save does: at every moment
/// there is one whole text that a load finds. The file keeps its permissions. `lock` is held on its
/// directory. Returns the CRC. Throws `Failure` when the disk does not give it back.
std::uint32_t replace(const Replacement& replacement,
                      const Qel::Settings::files::DirectoryLock& lock);

/// A name beside `path` that nothing has yet, for the file as it was.
std::string nameToKeep(const std::string& path);

/// Whether a file's name is one that `nameToKeep` gives.
bool isKept(const std::string& path);

/// A file as it was, before it is replaced.
struct KeptFile {
    std::string path;
    std::string name;  ///< what it is kept as
    bool isMoved = false;
};

/// Makes a copy of the file, which then can be replaced, or moves it if it cannot be read. Throws
/// `Failure`, with nothing changed, when that is not possible.
void keep(KeptFile& file, const Qel::Settings::files::DirectoryLock& lock);

/// After a failure: what was moved goes back to its place, unless something lies there. Returns
/// what there is to say of the file, in one line; nothing when it is as it was.
std::string putBack(const KeptFile& file);

}  // namespace t8settings

#endif
