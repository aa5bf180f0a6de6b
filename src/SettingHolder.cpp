// Locks: each holder's value is guarded by a lock of its own, one word beside the reference count
// that its reader has just touched; a lock shared by several holders would be a second cache line
// to move between processors. It is held while a value is copied or swapped and for nothing else:
// no callback, no destructor of a value, no other lock comes inside it.
//
// The link to the storage is an atomic pointer. A change pins it by counting itself before it reads
// the pointer; a storage that dies swaps the pointer first and then waits for the count, so a
// change meets either the living storage or none.

#include "Qel/Settings/SettingHolder.h"

#include <cstring>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include "Qel/Settings/SettingChangeCallback.h"

namespace Qel {
namespace Settings {

namespace {

void futex(std::atomic<int>& word, int operation, int value) {
    static_assert(sizeof word == sizeof(int), "the kernel looks at an int");
    ::syscall(SYS_futex, &word, operation | FUTEX_PRIVATE_FLAG, value, nullptr, nullptr, 0);
}

/// Stands in for the storage of a setting that has outlived it.
class RefusingCallback : public SettingChangeCallback {
public:
    bool changing(std::string) override { return false; }
};

SettingChangeCallback& refusingCallback() {
    static auto* const immortal = new RefusingCallback;
    return *immortal;
}

/// One change that this thread has under way; a callback may change further settings, so they nest.
struct Change {
    const SettingHolder* holder;
    const Change* outer;
};

thread_local const Change* innermostChange = nullptr;

int changesOfThisThread(const SettingHolder* holder) {
    int count = 0;
    for (const Change* change = innermostChange; change != nullptr; change = change->outer) {
        count += change->holder == holder ? 1 : 0;
    }
    return count;
}

class ChangeScope {
public:
    ChangeScope(const SettingHolder* holder, std::atomic<int>& underWay)
        : innermost_(innermostChange), change_{holder, innermost_}, underWay_(underWay) {
        underWay_.fetch_add(1);
        innermost_ = &change_;
    }
    ~ChangeScope() {
        innermost_ = change_.outer;
        underWay_.fetch_sub(1);
    }
    ChangeScope(const ChangeScope&) = delete;
    ChangeScope& operator=(const ChangeScope&) = delete;

private:
    const Change*& innermost_;  // asked for once: finding a thread's own data takes a call
    Change change_;
    std::atomic<int>& underWay_;
};

}  // namespace

void SettingHolder::waitFor(std::atomic<int>& lock) {
    while (lock.exchange(kAwaited, std::memory_order_acquire) != kFree) {
        futex(lock, FUTEX_WAIT, kAwaited);
    }
}

void SettingHolder::wakeWaiterOf(std::atomic<int>& lock) {
    futex(lock, FUTEX_WAKE, 1);
}

boost::any SettingHolder::value() const {
    const ValueLock lock(*this);
    return value_;
}

const std::type_info& SettingHolder::type() const {
    const ValueLock lock(*this);
    return value_.type();
}

bool SettingHolder::setValue(boost::any&& value) {
    if (callback_.load() == &refusingCallback()) {
        // Not counted: a storage that dies waits for the changes that it knows, not for all that
        // others go on trying.
        return false;
    }
    const ChangeScope scope(this, changesUnderWay_);
    SettingChangeCallback* const owner = callback_.load();
    if (owner != nullptr && !owner->changing(name_)) {
        return false;
    }
    {
        const ValueLock lock(*this);
        value_.swap(value);
    }
    if (owner != nullptr) {
        owner->changed(name_);
    }
    return true;
}

SettingChangeCallback* SettingHolder::callback() const {
    return callback_.load();
}

bool SettingHolder::bind(SettingChangeCallback& owner) {
    SettingChangeCallback* none = nullptr;
    return callback_.compare_exchange_strong(none, &owner);
}

bool SettingHolder::orphan(SettingChangeCallback& owner, bool waits) {
    SettingChangeCallback* expected = &owner;
    if (!callback_.compare_exchange_strong(expected, &refusingCallback()) &&
        expected != &refusingCallback()) {
        return true;
    }
    // A change of this very thread cannot end before this call does. Others end by themselves, and
    // storages die rarely: looking again after a moment is all the waiting that is needed.
    const int ownChanges = changesOfThisThread(this);
    while (changesUnderWay_.load() > ownChanges) {
        if (!waits) {
            return false;
        }
        const timespec moment = {0, 1000000};
        nanosleep(&moment, nullptr);
    }
    return true;
}

std::string SettingHolder::stringOf(const char* text, std::size_t capacity) {
    return std::string(text, strnlen(text, capacity));
}

std::string SettingHolder::stringOf(const char* text) {
    return text == nullptr ? std::string() : std::string(text);
}

}  // namespace Settings
}  // namespace Qel
