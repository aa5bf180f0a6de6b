#include "files/WholeFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <unistd.h>

#include "files/Descriptor.h"
#include "files/FileStatus.h"

namespace Qel {
namespace Settings {
namespace files {

namespace {

/// Bytes read into `data` from `offset` on; -1 for an error.
ssize_t readSome(const Descriptor& file, std::string& data, std::size_t offset) {
    ssize_t count = 0;
    do {
        count = ::read(file.number(), &data[offset], data.size() - offset);
    } while (count < 0 && errno == EINTR);
    return count;
}

bool readToEnd(const Descriptor& file, std::size_t expectedSize, std::string& data) {
    // One byte more than expected, so that the end shows without a second pass.
    data.resize(expectedSize + 1);
    std::size_t size = 0;
    for (;;) {
        if (size == data.size()) {
            if (size > kLargestFile) {
                errno = EFBIG;
                return false;
            }
            data.resize(2 * data.size());
        }
        const ssize_t count = readSome(file, data, size);
        if (count < 0) {
            return false;
        }
        if (count == 0) {
            data.resize(size);
            return true;
        }
        size += static_cast<std::size_t>(count);
    }
}

/// The errno that says why a file is no settings file, or 0.
int obstacleIn(const FileStatus& status) {
    if (!status.isRegular) {
        return status.isDirectory ? EISDIR : EINVAL;
    }
    return status.size > kLargestFile ? EFBIG : 0;
}

}  // namespace

bool readWholeFile(const std::string& path, std::string& data) {
    data.clear();
    const Descriptor file = openFile(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
    if (!file.isOpen()) {
        return false;
    }
    const std::optional<FileStatus> status = statusOf(file);
    if (!status) {
        return false;
    }
    if (const int obstacle = obstacleIn(*status)) {
        errno = obstacle;
        return false;
    }
    if (!readToEnd(file, static_cast<std::size_t>(status->size), data)) {
        data.clear();
        return false;
    }
    return true;
}

bool mayBeReadLater(int error) {
    static constexpr std::array<int, 8> kNoSettingsFile = {ENOENT, ENOTDIR, EISDIR, EINVAL,
                                                           EFBIG,  ELOOP,   ENXIO,  ENODEV};
    return std::find(kNoSettingsFile.begin(), kNoSettingsFile.end(), error) ==
           kNoSettingsFile.end();
}

}  // namespace files
}  // namespace Settings
}  // namespace Qel
