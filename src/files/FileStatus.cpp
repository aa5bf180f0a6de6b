#include "files/FileStatus.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

#include "files/Descriptor.h"

namespace Qel {
namespace Settings {
namespace files {

namespace {

constexpr unsigned int kMask =
    STATX_TYPE | STATX_MODE | STATX_NLINK | STATX_UID | STATX_GID | STATX_SIZE | STATX_INO;
constexpr mode_t kPermissionBits = 0777;

// Its times have 64 bits on every processor, and the C library helps out where the kernel does not
// have the call.
std::optional<FileStatus> query(int directory, const char* path, int flags) {
    struct statx status;
    if (::statx(directory, path, flags | AT_NO_AUTOMOUNT, kMask, &status) != 0) {
        return std::nullopt;
    }
    const mode_t mode = status.stx_mode;
    const std::uint64_t major = status.stx_dev_major;
    return FileStatus{S_ISREG(mode),
                      S_ISDIR(mode),
                      mode & kPermissionBits,
                      status.stx_uid,
                      status.stx_gid,
                      status.stx_size,
                      major << 32U | status.stx_dev_minor,
                      status.stx_ino,
                      status.stx_nlink};
}

}  // namespace

std::optional<FileStatus> statusAt(const std::string& path) {
    return query(AT_FDCWD, path.c_str(), 0);
}

std::optional<FileStatus> statusOfEntryAt(const std::string& path) {
    return query(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW);
}

bool mayBeThere(int error) {
    return error != ENOENT && error != ENOTDIR;
}

bool areOneFile(const std::string& path, const std::string& other) {
    const std::optional<FileStatus> one = statusOfEntryAt(path);
    const std::optional<FileStatus> two = statusOfEntryAt(other);
    return one && two && areOneFile(*one, *two);
}

bool areOneFile(const FileStatus& one, const FileStatus& two) {
    return one.device == two.device && one.inode == two.inode;
}

std::optional<FileStatus> statusOf(const Descriptor& file) {
    return query(file.number(), "", AT_EMPTY_PATH);
}

}  // namespace files
}  // namespace Settings
}  // namespace Qel
