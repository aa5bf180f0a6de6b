#include "files/DirectoryLock.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <map>
#include <mutex>
#include <optional>
#include <sys/file.h>
#include <system_error>
#include <time.h>
#include <utility>

#include "Log.h"
#include "files/Sync.h"

QEL_LOG_CONTEXT("Qel::Settings", "src/files/DirectoryLock");

namespace Qel {
namespace Settings {
namespace files {

DirectoryLockWait directoryLockWait;

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kLongestPoll = 10;  // polls

thread_local const DirectoryLock* innermostLock = nullptr;

/// Directories whose lock could not be had, and until when nothing more is made of it: they are not
/// waited for again in that mode, or, without a mode, a shortage is not told again. A vain wait for
/// reading does not spare the longer one of a writer.
class Penalties {
public:
    using Mode = std::optional<DirectoryLock::Mode>;

    bool applies(const std::string& directory, Mode mode) {
        const std::lock_guard<std::mutex> lock(mutex_);
        const auto found = until_.find({directory, mode});
        if (found == until_.end()) {
            return false;
        }
        if (Clock::now() < found->second) {
            return true;
        }
        until_.erase(found);
        return false;
    }

    void impose(const std::string& directory, Mode mode) {
        const std::lock_guard<std::mutex> lock(mutex_);
        until_[{directory, mode}] = Clock::now() + directoryLockWait.penalty;
    }

private:
    std::mutex mutex_;
    std::map<std::pair<std::string, Mode>, Clock::time_point> until_;
};

Penalties& penalties() {
    static auto* const immortal = new Penalties;
    return *immortal;
}

/// The time that counts as waited. A poll that took much longer says that this process was stopped
/// or got no time, and so perhaps did the one that has the lock.
Clock::duration pausePolling() {
    const Clock::time_point start = Clock::now();
    const auto poll = std::chrono::duration_cast<std::chrono::nanoseconds>(directoryLockWait.poll);
    timespec pause = {};
    pause.tv_nsec = static_cast<long>(poll.count());
    while (::nanosleep(&pause, &pause) != 0 && errno == EINTR) {
    }
    return std::min<Clock::duration>(Clock::now() - start, kLongestPoll * poll);
}

/// To be called when the lock could not be had, with errno as that left it: whether it may be there
/// the next time. That is worth a warning; a directory that is not there, may not be read or knows
/// no locks is not.
bool isShortage(const std::string& directory) {
    static constexpr std::array<int, 4> kShortages = {EMFILE, ENFILE, ENOMEM, ENOLCK};
    const int error = errno;
    if (std::find(kShortages.begin(), kShortages.end(), error) == kShortages.end()) {
        return false;
    }
    if (penalties().applies(directory, std::nullopt)) {
        return true;
    }
    penalties().impose(directory, std::nullopt);
    const std::string reason = std::generic_category().message(error);
    QEL_LOG(kWarning, "Directory '%s' cannot be locked, going on without the lock: %s",
            directory.c_str(), reason.c_str());
    return true;
}

}  // namespace

DirectoryLock::DirectoryLock(std::string directory, Mode mode)
    : directory_(std::move(directory)),
      mode_(mode),
      outer_(innermostLock),
      lender_(outerExclusiveLock()),
      held_(lender_ != nullptr) {
    if (lender_ == nullptr) {
        descriptor_ = openFile(directory_, O_RDONLY | O_DIRECTORY);
        if (descriptor_.isOpen()) {
            held_ = acquire();
        } else {
            missed_ = isShortage(directory_);
        }
    }
    innermostLock = this;
}

DirectoryLock::~DirectoryLock() {
    innermostLock = outer_;
    if (descriptor_.isOpen()) {
        // Closing does not unlock while a child that was forked meanwhile shares the descriptor.
        ::flock(descriptor_.number(), LOCK_UN);
    }
}

bool DirectoryLock::syncDirectory() const {
    const DirectoryLock& owner = lender_ != nullptr ? *lender_ : *this;
    if (owner.descriptor_.isOpen()) {
        return syncMetadata(owner.descriptor_);
    }
    // What was short when the lock was made may be there now. A directory that may be written but
    // not read cannot be synced; there the entries are as durable as the file system makes them by
    // itself.
    const Descriptor again = openFile(directory_, O_RDONLY | O_DIRECTORY);
    return again.isOpen() ? syncMetadata(again) : errno == EACCES;
}

const DirectoryLock* DirectoryLock::outerExclusiveLock() const {
    for (const DirectoryLock* lock = outer_; lock != nullptr; lock = lock->outer_) {
        // A second descriptor would wait for the first, that is, the thread for itself.
        if (lock->lender_ == nullptr && lock->held_ && lock->mode_ == Mode::kExclusive &&
            lock->directory_ == directory_) {
            return lock;
        }
    }
    return nullptr;
}

bool DirectoryLock::acquire() {
    Clock::duration patience =
        mode_ == Mode::kExclusive ? directoryLockWait.exclusive : directoryLockWait.shared;
    bool worthWaiting = true;
    while (!tryToLock(worthWaiting)) {
        missed_ = worthWaiting || isShortage(directory_);
        if (!worthWaiting || penalties().applies(directory_, mode_)) {
            return false;
        }
        if (patience <= Clock::duration::zero()) {
            penalties().impose(directory_, mode_);
            QEL_LOG(kWarning,
                    "Directory '%s' is locked by another process or thread for too long; going on "
                    "without the lock.",
                    directory_.c_str());
            return false;
        }
        // Asking again and again, instead of queueing, keeps the wait bounded without a signal.
        patience -= pausePolling();
    }
    missed_ = false;
    return true;
}

bool DirectoryLock::tryToLock(bool& worthWaiting) const {
    const int operation = mode_ == Mode::kExclusive ? LOCK_EX : LOCK_SH;
    if (::flock(descriptor_.number(), operation | LOCK_NB) == 0) {
        return true;
    }
    // Everything else says that the file system has no locks, or none left.
    worthWaiting = errno == EWOULDBLOCK || errno == EINTR;
    return false;
}

}  // namespace files
}  // namespace Settings
}  // namespace Qel
