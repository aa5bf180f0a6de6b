// The order that keeps one whole text on the disk, whatever moment the power goes:
//
//   1. the copy is written and synced, then its directory entry: from here on the new text is safe;
//   2. the file is truncated, written and synced; a new file's directory entry too: now the new
//      text is in the place where it belongs;
//   3. the copy is deleted. Should the deletion not reach the disk, the copy comes back with the
//      text that the file holds as well.
//
// A whole copy that is left from an interrupted save may be the only whole text, its file having
// been torn by that interruption. It is never truncated: the new text is written aside and renamed
// onto it. So it is with a damaged one that could not be kept for a person to look at.

#include "files/SafeWrite.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "files/DamagedFile.h"
#include "files/Descriptor.h"
#include "files/DirectoryLock.h"
#include "files/FileStatus.h"
#include "files/Sync.h"
#include "files/WholeFile.h"

namespace Qel {
namespace Settings {
namespace files {

namespace {

constexpr mode_t kNewFilePermissions = 0666;  // less the umask
constexpr mode_t kPrivatePermissions = 0600;

/// A pipe without a reader would hold the open up; O_NONBLOCK makes it fail instead.
Descriptor openTruncated(const std::string& path, mode_t permissions, int more = 0) {
    return openFile(path, O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_NOCTTY | more, permissions);
}

/// The file that the copy stands for.
struct Original {
    explicit Original(const std::string& path) {
        std::optional<FileStatus> status = statusOfEntryAt(path);
        isKnown = status || !mayBeThere(errno);
        hasOtherNames = status && status->names > 1;
        if (status && !status->isRegular) {
            status = statusAt(path);
        }
        if (status) {
            exists = true;
            mayExist = true;
            // Nobody recovers from a copy that nobody can read.
            access = {status->permissions | S_IRUSR, status->owner, status->group};
        } else if (errno != ENOENT) {
            // It may be private.
            access.permissions = kPrivatePermissions;
            mayExist = true;
        }
    }

    bool isKnown = false;  ///< whether the system tells what lies there, or that nothing does
    bool exists = false;
    bool mayExist = false;
    bool hasOtherNames = false;  ///< the link, if it is one
    Access access = {kNewFilePermissions};
};

/// Keeps the reason of a failure over the tidying up that follows it.
class ErrnoKept {
public:
    ErrnoKept() : kept_(errno) {}
    ~ErrnoKept() { errno = kept_; }
    ErrnoKept(const ErrnoKept&) = delete;
    ErrnoKept& operator=(const ErrnoKept&) = delete;

private:
    int kept_;
};

/// Sees written data through to the disk.
bool finish(Descriptor& file, bool durable) {
    return (!durable || syncData(file)) && file.close();
}

/// Takes back a copy that did not come about: whole text that failed to reach the disk must not
/// pass for a good copy at the next load. A file that was there before is not this library's to
/// delete. `syncedDirectory` is null when nobody minds if it comes back.
bool discardCopy(const std::string& path, bool existed, const DirectoryLock* syncedDirectory) {
    const ErrnoKept reason;
    if (!existed) {
        return ::unlink(path.c_str()) == 0 &&
               (syncedDirectory == nullptr || syncedDirectory->syncDirectory());
    }
    const Descriptor emptied = openFile(path, O_WRONLY | O_TRUNC | O_NONBLOCK | O_NOCTTY);
    return emptied.isOpen() && (syncedDirectory == nullptr || syncData(emptied));
}

/// Whether the leftover at `path`, of no use to anybody, has made room: its other name may be one
/// under which it is kept, and would be written through.
bool makesRoom(const std::string& path, const std::optional<FileStatus>& leftover) {
    return leftover && leftover->names > 1 && ::unlink(path.c_str()) == 0;
}

/// The same for one that may not be written, being somebody else's: no save would ever succeed.
bool makesRoomAfterRefusal(const std::string& path, const std::optional<FileStatus>& leftover) {
    const ErrnoKept reason;
    return (errno == EACCES || errno == EPERM) && leftover && leftover->isRegular &&
           ::unlink(path.c_str()) == 0;
}

void tellOverwritten(const SafeWrite& write, const std::string& path) {
    if (write.overwritten) {
        write.overwritten(path);
    }
}

struct OpenCopy {
    Descriptor file;
    bool existed;    ///< it was truncated, not made
    bool isRegular;  ///< what is none, a device, say, is not to be deleted
};

/// Opens what is to hold the new text, with the access of the original: what is private in the file
/// stays private in the copy, and whoever may read the file is to recover from the copy as well.
OpenCopy openCopy(const std::string& path, const Original& original) {
    const std::optional<FileStatus> existing = statusOfEntryAt(path);
    const bool mayBeLink = existing && !existing->isRegular;
    const auto open = [&] {
        return openTruncated(path, original.access.permissions, mayBeLink ? 0 : O_NOFOLLOW);
    };
    bool existed = existing && !makesRoom(path, existing);
    Descriptor file = open();
    if (!file.isOpen() && existed && makesRoomAfterRefusal(path, existing)) {
        existed = false;
        file = open();
    }
    const std::optional<FileStatus> opened = file.isOpen() ? statusOf(file) : std::nullopt;
    // What the system says nothing of is taken for a plain file: it must not be more open than its
    // original, nor pass for a good copy.
    const bool regular = file.isOpen() && (!opened || opened->isRegular);
    if (regular && original.mayExist) {
        Access access = original.access;
        if (mayBeLink || !opened || opened->names > 1) {
            // Where somebody's link leads is not to be given away, nor what a hard link shows that
            // has come meanwhile.
            access.owner = Access().owner;
        }
        giveAccess(file, access);
    }
    return {std::move(file), existed, regular};
}

/// Writes the copy, or the text that is to replace it. `syncedDirectory` is null when the entry of
/// `path` need not last.
WriteResult writeCopy(const std::string& path, const SafeWrite& write,
                      const DirectoryLock* syncedDirectory) {
    OpenCopy copy = openCopy(path, Original(write.file));
    if (!copy.file.isOpen()) {
        return WriteResult::kCopyFailed;
    }
    if (path == write.copy) {
        tellOverwritten(write, path);
    }
    const bool written = writeAll(copy.file, write.data);
    if (written && finish(copy.file, write.durable) &&
        (syncedDirectory == nullptr || syncedDirectory->syncDirectory())) {
        return WriteResult::kDone;
    }
    // A part of the text passes for nothing, and a full disk is not made to work for it.
    const bool gone =
        !copy.isRegular || discardCopy(path, copy.existed, written ? syncedDirectory : nullptr);
    return gone ? WriteResult::kCopyFailed : WriteResult::kFileFailed;
}

std::string asideOf(const SafeWrite& write) {
    return write.copy + ".new";
}

WriteResult replacePreciousCopy(const SafeWrite& write, const DirectoryLock& directory) {
    const std::string aside = asideOf(write);
    if (writeCopy(aside, write, nullptr) != WriteResult::kDone) {
        return WriteResult::kCopyFailed;
    }
    if (std::rename(aside.c_str(), write.copy.c_str()) != 0) {
        discardCopy(aside, false, nullptr);
        return WriteResult::kCopyFailed;
    }
    tellOverwritten(write, write.copy);
    // Past the rename the new copy is what a load finds, so a failure is not "nothing happened".
    return !write.durable || directory.syncDirectory() ? WriteResult::kDone
                                                       : WriteResult::kFileFailed;
}

WriteResult placeCopy(const SafeWrite& write, const DirectoryLock& directory) {
    return write.copyIsPrecious
               ? replacePreciousCopy(write, directory)
               : writeCopy(write.copy, write, write.durable ? &directory : nullptr);
}

/// Puts an empty file in the place of one that goes on under another name. There is always one: a
/// load looks for a copy only beside a file.
Descriptor openInPlace(const SafeWrite& write, Access access) {
    const std::string aside = asideOf(write);
    ::unlink(aside.c_str());
    access.permissions |= kPrivatePermissions;
    Descriptor file = openFile(aside, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, access.permissions);
    if (!file.isOpen()) {
        return file;
    }
    giveAccess(file, access);
    if (std::rename(aside.c_str(), write.file.c_str()) != 0) {
        discardCopy(aside, false, nullptr);
        return Descriptor();
    }
    return file;
}

bool writeFile(const SafeWrite& write, const DirectoryLock& directory) {
    const Original original(write.file);
    if (!original.isKnown) {
        // It may go on under another name, and would be written through. The copy is whole.
        return false;
    }
    const bool goesOn = original.hasOtherNames && isKept(write.file);
    Descriptor file = goesOn ? openInPlace(write, original.access)
                             : openTruncated(write.file, kNewFilePermissions);
    if (!file.isOpen()) {
        return false;
    }
    tellOverwritten(write, write.file);
    if (!writeAll(file, write.data) || !finish(file, write.durable)) {
        return false;
    }
    const bool isNew = goesOn || !original.exists;
    return !isNew || !write.durable || directory.syncDirectory();
}

}  // namespace

WriteResult writeThroughCopy(const SafeWrite& write, const DirectoryLock& directory) {
    if (write.data.size() > kLargestFile) {
        errno = EFBIG;
        return WriteResult::kCopyFailed;
    }
    const WriteResult copyPlaced = placeCopy(write, directory);
    if (copyPlaced != WriteResult::kDone) {
        return copyPlaced;
    }
    if (!writeFile(write, directory)) {
        return WriteResult::kFileFailed;
    }
    ::unlink(write.copy.c_str());
    return WriteResult::kDone;
}

bool settleCopy(const std::string& copy, const DirectoryLock& directory) {
    const Descriptor file = openFile(copy, O_RDONLY | O_NONBLOCK | O_NOCTTY);
    return file.isOpen() && syncData(file) && directory.syncDirectory();
}

}  // namespace files
}  // namespace Settings
}  // namespace Qel
