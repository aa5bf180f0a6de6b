// Locks: each holder's value is guarded by one mutex of a process-wide pool, chosen by the holder's
// address, so that a holder stays thin. A pool mutex is held while a value is copied or swapped and
// for nothing else: no callback, no destructor of a value, no other lock comes inside it.
//
// The link to the storage is an atomic pointer. A change pins it by counting itself before it reads
// the pointer; a storage that dies swaps the pointer first and then waits for the count, so a
// change meets either the living storage or none.

#include "Qel/Settings/SettingHolder.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <sched.h>
#include <time.h>

#include "Qel/Settings/SettingChangeCallback.h"

namespace Qel {
namespace Settings {

namespace {

constexpr std::size_t kPoolSize = 64;

struct alignas(64) ValueLock {
    std::mutex mutex;
};

// A std::mutex needs neither construction nor destruction at run time here, so settings may be used
// before main and after it.
std::array<ValueLock, kPoolSize> valueLocks;

std::mutex& valueLockOf(const SettingHolder* holder) {
    // Holders come from the heap: the low bits of their addresses are all alike.
    const auto address = reinterpret_cast<std::uintptr_t>(holder);
    return valueLocks[(address / alignof(ValueLock) + address / 16) % kPoolSize].mutex;
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
        : change_{holder, innermostChange}, underWay_(underWay) {
        underWay_.fetch_add(1);
        innermostChange = &change_;
    }
    ~ChangeScope() {
        innermostChange = change_.outer;
        underWay_.fetch_sub(1);
    }
    ChangeScope(const ChangeScope&) = delete;
    ChangeScope& operator=(const ChangeScope&) = delete;

private:
    Change change_;
    std::atomic<int>& underWay_;
};

}  // namespace

SettingHolder::SettingHolder(std::string name, boost::any value)
    : name_(std::move(name)), callback_(nullptr), changesUnderWay_(0) {
    value_.swap(value);
}

SettingHolder::~SettingHolder() = default;

boost::any SettingHolder::value() const {
    const std::lock_guard<std::mutex> lock(valueLockOf(this));
    return value_;
}

const std::type_info& SettingHolder::type() const {
    const std::lock_guard<std::mutex> lock(valueLockOf(this));
    return value_.type();
}

bool SettingHolder::setValue(const boost::any& value) {
    if (callback_.load() == &refusingCallback()) {
        // Not counted: a storage that dies waits for the changes that it knows, not for all that
        // others go on trying.
        return false;
    }
    boost::any exchanged(value);
    const ChangeScope scope(this, changesUnderWay_);
    SettingChangeCallback* const owner = callback_.load();
    if (owner != nullptr && !owner->changing(name_)) {
        return false;
    }
    {
        const std::lock_guard<std::mutex> lock(valueLockOf(this));
        value_.swap(exchanged);
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

void SettingHolder::orphan(SettingChangeCallback& owner) {
    SettingChangeCallback* expected = &owner;
    if (!callback_.compare_exchange_strong(expected, &refusingCallback())) {
        return;
    }
    // A change of this very thread cannot end before this call does. Others end by themselves, and
    // storages die rarely: looking again after a moment is all the waiting that is needed.
    const int ownChanges = changesOfThisThread(this);
    while (changesUnderWay_.load() > ownChanges) {
        const timespec moment = {0, 1000000};
        nanosleep(&moment, nullptr);
    }
}

std::string SettingHolder::stringOf(const char* text, std::size_t capacity) {
    return std::string(text, strnlen(text, capacity));
}

std::string SettingHolder::stringOf(const char* text) {
    return text == nullptr ? std::string() : std::string(text);
}

}  // namespace Settings
}  // namespace Qel
