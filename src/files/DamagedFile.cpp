#include "files/DamagedFile.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

#include "files/Descriptor.h"
#include "files/DirectoryLock.h"
#include "files/FileStatus.h"
#include "files/Sync.h"

namespace Qel {
namespace Settings {
namespace files {

namespace {

constexpr int kMostCopies = 100;

std::string nameOfCopy(const std::string& path, int number) {
    return path + ".bad" + (number == 0 ? "" : "." + std::to_string(number));
}

/// Creates the first of the names that is free. Whatever lies at another one, a directory, a link,
/// somebody else's file, is none of ours.
Descriptor createCopy(const std::string& path, mode_t permissions, std::string& name) {
    Descriptor copy;
    for (int number = 0; number < kMostCopies && !copy.isOpen(); ++number) {
        name = nameOfCopy(path, number);
        copy = openFile(name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, permissions);
        if (!copy.isOpen() && errno != EEXIST) {
            break;
        }
    }
    return copy;
}

/// Piece by piece: what is damaged may be of any size.
bool copyContent(const Descriptor& from, const Descriptor& to) {
    std::array<char, 16384> piece;
    for (;;) {
        const ssize_t count = ::read(from.number(), piece.data(), piece.size());
        if (count == 0) {
            return true;
        }
        const bool interrupted = count < 0 && errno == EINTR;
        if (!interrupted &&
            (count < 0 || !writeAll(to, {piece.data(), static_cast<std::size_t>(count)}))) {
            return false;
        }
    }
}

}  // namespace

bool keepDamagedFile(const std::string& path, const DirectoryLock& directory, std::string& kept) {
    kept.clear();
    const Descriptor damaged = openFile(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
    if (!damaged.isOpen()) {
        return errno == ENOENT;
    }
    const std::optional<FileStatus> status = statusOf(damaged);
    if (!status) {
        return false;
    }
    if (!status->isRegular) {
        return true;
    }
    std::string name;
    Descriptor copy = createCopy(path, status->permissions, name);
    if (!copy.isOpen()) {
        return false;
    }
    if (copyContent(damaged, copy) && syncData(copy) && copy.close() && directory.syncDirectory()) {
        kept = name;
        return true;
    }
    const int reason = errno;
    ::unlink(name.c_str());
    errno = reason;
    return false;
}

bool moveDamagedFile(const std::string& path, const DirectoryLock& directory, std::string& kept) {
    kept.clear();
    for (int number = 0; number < kMostCopies; ++number) {
        const std::string name = nameOfCopy(path, number);
        if (statusOfEntryAt(name)) {
            errno = EEXIST;
            continue;
        }
        if (errno != ENOENT || std::rename(path.c_str(), name.c_str()) != 0 ||
            !directory.syncDirectory()) {
            return false;
        }
        kept = name;
        return true;
    }
    return false;
}

}  // namespace files
}  // namespace Settings
}  // namespace Qel
