// How a read/write file is loaded, and what becomes of one that cannot be used: the second look at
// it, the name under which it is set aside, and what is kept before a save overwrites it.

#include <cerrno>
#include <exception>
#include <new>
#include <system_error>
#include <utility>

#include "Log.h"
#include "Qel/Settings/SettingStorageFileBase.h"
#include "files/DamagedFile.h"
#include "files/Descriptor.h"
#include "files/DirectoryLock.h"
#include "files/FileStatus.h"

QEL_LOG_CONTEXT("Qel::Settings", "src/SettingsStorageFileBase");

namespace Qel {
namespace Settings {

namespace {

/// It can be read but not be used, and could not be set aside either.
constexpr char kDamaged[] = "damaged";
/// It may be whole: this process could not read it, or not be sure that nobody was writing it.
constexpr char kUnread[] = "unread";

}  // namespace

bool SettingStorageFileBase::readWriteFileExists() {
    if (files::statusAt(rwFilename_)) {
        return true;
    }
    if (files::mayBeThere(errno)) {
        const std::string reason = std::generic_category().message(errno);
        QEL_LOG(kError, "'%s' cannot be looked at, the defaults stand: %s", rwFilename_.c_str(),
                reason.c_str());
        letFileStand(kUnread);
    }
    return false;
}

bool SettingStorageFileBase::loadReadWriteFile() {
    try {
        return !readWriteFileExists() || loadOrRecoverReadWriteFile();
    } catch (const std::exception& e) {
        // A shortage of memory outside of the load.
        letFileStand(kUnread);
        QEL_LOG(kError, "Error loading '%s' (threw exception, r/w): %s", rwFilename_.c_str(),
                e.what());
    }
    return true;
}

bool SettingStorageFileBase::loadOrRecoverReadWriteFile() {
    const std::string errInfoBefore = currentErrInfo();
    try {
        if (readWriteFileLoads()) {
            return true;
        }
    } catch (const std::exception&) {
        // Told below, if the second look finds the same.
    }
    return recoverReadWriteFile(errInfoBefore);
}

bool SettingStorageFileBase::readWriteFileLoads() {
    unread_ = false;
    fileUnread_ = false;
    if (!loadFile(rwFilename_)) {
        return false;
    }
    // A copy that was not read may hold newer values, the last that a save has called durable.
    standing_ = unread_ ? Standing{kUnread, -1, 0} : Standing{};
    return true;
}

// A writer that could not get the directory's lock in time may have been at work under the first
// load. Before a file is set aside it is read once more with every writer shut out.
bool SettingStorageFileBase::recoverReadWriteFile(const std::string& errInfoBefore) {
    const files::DirectoryLock lock(files::directoryOf(rwFilename_),
                                    files::DirectoryLock::Mode::kExclusive);
    clearErrInfo();
    appendErrInfo(errInfoBefore);
    try {
        if (readWriteFileLoads()) {
            return true;
        }
        QEL_LOG(kError, "Error loading '%s' (returned false, r/w, renamed to *.bad).",
                rwFilename_.c_str());
    } catch (const std::exception& e) {
        // A shortage of memory says nothing about the file.
        unread_ = unread_ || dynamic_cast<const std::bad_alloc*>(&e) != nullptr;
        QEL_LOG(kError, "Error loading '%s' (threw exception, r/w, renamed to *.bad): %s",
                rwFilename_.c_str(), e.what());
    }
    if (unread_ || lock.missed()) {
        // Set aside, it would leave an unread copy alone, which nobody looks for then, or be whole
        // itself; and what looks damaged may be half of what somebody else is writing.
        letFileStand(kUnread);
    } else {
        setAsideReadWriteFile(lock);
    }
    return true;
}

void SettingStorageFileBase::setAsideReadWriteFile(const files::DirectoryLock& directory) {
    const std::string setAside = rwFilename_ + ".bad";
    if (!files::setAsideFile(rwFilename_, setAside, directory)) {
        const int error = errno;
        QEL_LOG(kError, "Failed to rename file to '%s', errno=%d", setAside.c_str(), error);
        if (error != ENOENT) {
            letFileStand(fileUnread_ ? kUnread : kDamaged);
        }
    }
}

void SettingStorageFileBase::letFileStand(const char* state) {
    standing_ = {state, -1, -1};
    QEL_LOG(kWarning, "'%s' stays where it is; a save would copy it first.", rwFilename_.c_str());
}

// The copy comes first: it may be the only whole text, and only a file beside it makes a load look
// for it. What is kept is not kept again when the rest fails: the saver tries for ever, and each
// try would take another name.
bool SettingStorageFileBase::damagedFileIsKept(const std::string& path, const std::string& copy,
                                               const files::DirectoryLock& directory) {
    Standing& standing = standing_;
    if (standing.state == nullptr || path != rwFilename_) {
        return true;
    }
    if (!keep(copy, standing.copyError) || !keep(path, standing.fileError)) {
        return false;
    }
    const bool anyKept = standing.copyError == 0 || standing.fileError == 0;
    if (anyKept && !directory.syncDirectory()) {
        const std::string reason = std::generic_category().message(errno);
        const bool mayBeWhole = standing.state == kUnread;
        QEL_LOG(kError, "'%s'%s: the %s file there is kept, but not safe on the disk: %s",
                path.c_str(), mayBeWhole ? " is not saved, a later save tries again" : "",
                standing.state, reason.c_str());
        if (mayBeWhole) {
            return false;
        }
    }
    if (standing.copyError == 0 && standing.fileError == 0) {
        standing = {};
    }
    return true;
}

// An unread file may be whole and all that there is of the user's values, so none is overwritten
// that is not kept. A damaged one is kept for a person to look at; its values are lost in any case,
// and a storage that did not save for its sake would lose all that come after them too. What passes
// by itself, a shortage of descriptors or memory, would fail the save as well: the next one keeps
// it.
bool SettingStorageFileBase::keep(const std::string& path, int& error) {
    if (error == 0) {
        return true;
    }
    std::string kept;
    error = files::keepDamagedFile(path, kept) ? 0 : errno;
    if (!kept.empty()) {
        QEL_LOG(kWarning, "The %s file '%s' is kept as '%s'.", standing_.state, path.c_str(),
                kept.c_str());
    }
    if (error == 0 || (standing_.state == kDamaged && !files::passesByItself(error))) {
        return true;
    }
    const std::string reason = std::generic_category().message(error);
    QEL_LOG(kError,
            "'%s' is not saved, a later save tries again: the %s file there can neither be set "
            "aside nor copied: %s",
            path.c_str(), standing_.state, reason.c_str());
    return false;
}

bool SettingStorageFileBase::copyIsNotKept(const std::string& path) const {
    const int error = standing_.copyError;
    return path == rwFilename_ && error > 0 && error != ENOSPC && error != EDQUOT;
}

// What could not be kept is lost now, not before: a save that fails earlier may be followed by one
// that can keep it. What lies there from now on is the library's own text and not to be kept.
void SettingStorageFileBase::damagedFileIsOverwritten(const std::string& path,
                                                      const std::string& overwritten) {
    if (path != rwFilename_ || standing_.state == nullptr) {
        return;
    }
    const char* const state = standing_.state;
    const int error =
        std::exchange(overwritten == path ? standing_.fileError : standing_.copyError, 0);
    if (standing_.copyError == 0 && standing_.fileError == 0) {
        standing_ = {};
    }
    try {
        if (error != 0) {
            const std::string reason = std::generic_category().message(error);
            QEL_LOG(kError,
                    "'%s' is lost and written afresh: the %s file there can neither be set aside "
                    "nor copied: %s",
                    overwritten.c_str(), state, reason.c_str());
        }
    } catch (const std::bad_alloc&) {
        // The new text is still to be written.
    }
}

}  // namespace Settings
}  // namespace Qel
