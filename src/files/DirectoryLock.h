#ifndef QEL_SETTINGS_FILES_DIRECTORYLOCK_H
#define QEL_SETTINGS_FILES_DIRECTORYLOCK_H

#include <chrono>
#include <string>

#include "files/Descriptor.h"

namespace Qel {
namespace Settings {
namespace files {

/// An advisory lock on a directory of settings files, for as long as the object lives: writers hold
/// it exclusively over a whole save, loaders shared over a whole load, across processes and
/// threads. It is laid on the directory itself, so no lock file is left behind.
///
/// It is a help, no guarantee: when it cannot be had in time, or because descriptors, memory or
/// locks are short, the work goes on without it and a warning is logged. A television must come up
/// although some process hangs with the lock in hand. But a disk that is busy may hold a writer up
/// for seconds, so whoever would write under it, or take its file for damaged, is more patient than
/// who only wants to read.
///
/// A thread that holds a directory exclusively may lock it again, in any mode. Objects nest like
/// scopes and stay on the thread that made them.
class DirectoryLock {
public:
    enum class Mode { kShared, kExclusive };

    DirectoryLock(std::string directory, Mode mode);
    ~DirectoryLock();
    DirectoryLock(const DirectoryLock&) = delete;
    DirectoryLock& operator=(const DirectoryLock&) = delete;

    /// Whether the lock is held, here or by an outer scope of this thread.
    bool held() const { return held_; }

    /// Whether the lock could not be had this time although the directory has one: somebody else
    /// had it for too long, or descriptors, memory or locks were short. Somebody may be at work
    /// there. False where there are no locks at all.
    bool missed() const { return missed_; }

    /// Makes new, renamed and deleted entries of the directory durable. True also where the file
    /// system has no such thing, and for a directory that this process may not read. After a
    /// failure errno says why.
    bool syncDirectory() const;

private:
    const DirectoryLock* outerExclusiveLock() const;
    bool acquire();
    bool tryToLock(bool& worthWaiting) const;

    std::string directory_;
    Mode mode_;
    Descriptor descriptor_;
    const DirectoryLock* outer_;  // next lock of this thread, seen from the innermost
    const DirectoryLock* lender_;
    bool missed_ = false;
    bool held_;
};

/// How long to wait for a directory, set here once for the product; tests shorten it.
struct DirectoryLockWait {
    std::chrono::milliseconds shared{2000};
    std::chrono::milliseconds exclusive{10000};
    std::chrono::milliseconds poll{3};
    /// After a vain wait the directory is asked but not waited for again for so long, in that mode.
    /// That descriptors, memory or locks are short is told again after so long.
    std::chrono::milliseconds penalty{10000};
};
extern DirectoryLockWait directoryLockWait;

}  // namespace files
}  // namespace Settings
}  // namespace Qel

#endif
