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

constexpr int kMostNames = 100;
constexpr mode_t kPrivatePermissions = 0600;

enum class Copied { kDone, kNotRead, kNotWritten };

std::string nameToKeep(const std::string& path, int number) {
    return path + ".bad" + (number == 0 ? "" : "." + std::to_string(number));
}

/// Tries the names in turn. `take` gives false with EEXIST for one that is not free: whatever lies
/// there, a directory, a link, somebody else's file, is none of ours.
template <class Take>
bool takeFreeName(const std::string& path, std::string& name, Take take) {
    for (int number = 0; number < kMostNames; ++number) {
        name = nameToKeep(path, number);
        if (take()) {
            return true;
        }
        if (errno != EEXIST) {
            break;
        }
    }
    return false;
}

/// Deletes what did not come about and keeps the reason.
void takeBack(const std::string& name) {
    const int reason = errno;
    ::unlink(name.c_str());
    errno = reason;
}

/// Piece by piece: what is damaged may be of any size.
Copied copyContent(const Descriptor& from, const Descriptor& to) {
    std::array<char, 16384> piece;
    for (;;) {
        const ssize_t count = ::read(from.number(), piece.data(), piece.size());
        if (count == 0) {
            return Copied::kDone;
        }
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return Copied::kNotRead;
        }
        if (!writeAll(to, {piece.data(), static_cast<std::size_t>(count)})) {
            return Copied::kNotWritten;
        }
    }
}

/// Gives the file a second name, unless it has been given that before. Where the file system has no
/// such thing, or not for somebody else's file, one that may be moved gets the other name in place
/// of the first.
bool giveName(const std::string& name, const std::string& path, bool mayMove) {
    if (::link(path.c_str(), name.c_str()) == 0) {
        return true;
    }
    const int reason = errno;
    const bool hasIt = reason == EEXIST && areOneFile(path, name);
    errno = reason;
    return hasIt ||
           (mayMove && reason != EEXIST &&
            ::renameat2(AT_FDCWD, path.c_str(), AT_FDCWD, name.c_str(), RENAME_NOREPLACE) == 0);
}

bool keepUnderAnotherName(const std::string& path, std::string& kept, bool mayMove) {
    std::string name;
    if (takeFreeName(path, name, [&] { return giveName(name, path, mayMove); })) {
        kept = name;
        return true;
    }
    return errno == ENOENT;
}

Copied copyAside(const std::string& path, std::string& kept) {
    const Descriptor damaged = openFile(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
    const auto status = damaged.isOpen() ? statusOf(damaged) : std::nullopt;
    if (!status) {
        return errno == ENOENT ? Copied::kDone : Copied::kNotRead;
    }
    if (!status->isRegular) {
        return Copied::kDone;
    }
    // One of its other names may be the one under which it is kept.
    if (status->names > 1 && keepUnderAnotherName(path, kept, false)) {
        return Copied::kDone;
    }
    std::string name;
    Descriptor copy;
    const auto create = [&] {
        copy = openFile(name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, kPrivatePermissions);
        return copy.isOpen();
    };
    if (!takeFreeName(path, name, create)) {
        return Copied::kNotWritten;
    }
    giveAccess(copy, {status->permissions, status->owner, status->group});
    Copied copied = copyContent(damaged, copy);
    if (copied == Copied::kDone && !(syncData(copy) && copy.close())) {
        copied = Copied::kNotWritten;
    }
    if (copied == Copied::kDone) {
        kept = name;
    } else {
        takeBack(name);
    }
    return copied;
}

}  // namespace

bool keepDamagedFile(const std::string& path, std::string& kept) {
    kept.clear();
    const Copied copied = copyAside(path, kept);
    if (copied == Copied::kDone) {
        return true;
    }
    // A shortage says nothing about the file, and the save that is to follow would suffer from it
    // too. Where a copy cannot be written, the disk full, say, most likely neither can what is to
    // be saved: a file that was moved would be missing then, although it can be read.
    const int reason = errno;
    const bool isNotRead = copied == Copied::kNotRead;
    if (!passesByItself(reason) && keepUnderAnotherName(path, kept, isNotRead)) {
        return true;
    }
    errno = isNotRead ? errno : reason;
    return false;
}

bool isKept(const std::string& path) {
    const std::optional<FileStatus> file = statusOfEntryAt(path);
    if (!file) {
        return mayBeThere(errno);
    }
    for (int number = 0; number < kMostNames; ++number) {
        const std::optional<FileStatus> other = statusOfEntryAt(nameToKeep(path, number));
        // What is too long for a name has never been one.
        if (other ? areOneFile(*file, *other) : mayBeThere(errno) && errno != ENAMETOOLONG) {
            return true;
        }
    }
    return false;
}

bool setAsideFile(const std::string& path, const std::string& name,
                  const DirectoryLock& directory) {
    if (areOneFile(path, name)) {
        // A rename would do nothing and report success. Whoever gave the file the second name may
        // have died before the disk had it.
        return directory.syncDirectory() && ::unlink(path.c_str()) == 0;
    }
    return std::rename(path.c_str(), name.c_str()) == 0;
}

}  // namespace files
}  // namespace Settings
}  // namespace Qel
