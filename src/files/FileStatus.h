#ifndef QEL_SETTINGS_FILES_FILESTATUS_H
#define QEL_SETTINGS_FILES_FILESTATUS_H

#include <cstdint>
#include <optional>
#include <string>
#include <sys/types.h>

namespace Qel {
namespace Settings {
namespace files {

class Descriptor;

/// What the system says of a file, without its times. The C library's `stat` gives these as well,
/// and where its times have 32 bits it knows nothing of a file that was read or written past
/// January 2038. A television that was told a wrong time is enough for such a file.
struct FileStatus {
    bool isRegular;
    bool isDirectory;
    mode_t permissions;  ///< the nine bits for owner, group and others
    uid_t owner;
    gid_t group;
    std::uint64_t size;    ///< bytes
    std::uint64_t device;  ///< together with `inode` as no other file has it
    std::uint64_t inode;
    std::uint64_t names;  ///< how many entries, in whatever directories, show it
};

/// Of what lies at `path`, links followed. When nothing is known, errno says why.
std::optional<FileStatus> statusAt(const std::string& path);

/// As `statusAt`, but of a link itself.
std::optional<FileStatus> statusOfEntryAt(const std::string& path);

/// Whether something may lie where the system told nothing, for the reason `error`.
bool mayBeThere(int error);

/// Whether two paths are entries of one file, a link counted as itself.
bool areOneFile(const std::string& path, const std::string& other);
bool areOneFile(const FileStatus& one, const FileStatus& two);

/// Of an open file.
std::optional<FileStatus> statusOf(const Descriptor& file);

}  // namespace files
}  // namespace Settings
}  // namespace Qel

#endif
