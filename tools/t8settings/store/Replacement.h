#ifndef T8SETTINGS_REPLACEMENT_H
#define T8SETTINGS_REPLACEMENT_H

#include <cstdint>
#include <string>
#include <vector>

#include "console/Json.h"
#include "files/DirectoryLock.h"
#include "store/Files.h"

namespace t8settings {

/// A settings file's new text.
struct Replacement {
    const FileGroup& group;   ///< as it is, read under the lock
    const std::string& text;  ///< all before the line feed in front of the CRC line
    /// The file whose permissions and owner the settings file gets if it is not there.
    const std::string& like;
};

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

/// Keeps these files, by copies or, of what cannot be read, by moving it, and then replaces. After
/// a failure all that can be is as it was, and `Failure` tells the rest.
std::uint32_t replaceKeeping(std::vector<KeptFile>& kept, const Replacement& replacement,
                             const Qel::Settings::files::DirectoryLock& lock);

/// One line for each that tells its new name, and the same as JSON: `file` and `as`.
std::string linesOf(const std::vector<KeptFile>& files);
Json jsonOf(const std::vector<KeptFile>& files);

}  // namespace t8settings

#endif
