#ifndef QEL_SETTINGS_SETTINGHOLDER_H
#define QEL_SETTINGS_SETTINGHOLDER_H

#include <atomic>
#include <boost/any.hpp>
#include <cstddef>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "Qel/Settings/Export.h"

namespace Qel {
namespace Settings {

class SettingChangeCallback;

/// One setting: its name, its value and the storage that is asked and told about changes.
///
/// Promise: any thread may read and change the value while another reads, changes or saves it; a
/// reader gets one value or the other as a whole. A change is asked for, made, then reported, on
/// the changing thread and in this order.
///
/// No promise: two changes made at the same moment are reported in no particular order, and the
/// value may have changed again by the time that a caller looks at its copy.
///
/// Holders live in `boost::shared_ptr<SettingHolder>` only. One that outlives its storage refuses
/// every further change, since nobody is left to save it.
class QEL_SETTINGS_EXPORT SettingHolder {
    template <class T>
    static constexpr bool kIsCString =
        std::is_same<T, const char*>::value || std::is_same<T, char*>::value;
    template <class P>
    using IfCString = std::enable_if_t<kIsCString<P>, int>;
    template <class T>
    using UnlessCString = std::enable_if_t<!kIsCString<T>, int>;

public:
    /// A holder of no storage yet. `name` is the whole path, such as "settings/sound/bass".
    SettingHolder(std::string name, boost::any value) : name_(std::move(name)) {
        value_.swap(value);
    }

    /// A text literal or character array is kept as the `std::string` up to its first NUL: a plain
    /// pointer in a value would be a type that no file can hold.
    template <std::size_t N>
    SettingHolder(std::string name, const char (&text)[N])
        : SettingHolder(std::move(name), boost::any(stringOf(text, N))) {}

    /// The same for a pointer to NUL-terminated text; a null pointer gives the empty string.
    template <class P, IfCString<P> = 0>
    SettingHolder(std::string name, P text)
        : SettingHolder(std::move(name), boost::any(stringOf(text))) {}

    SettingHolder(const SettingHolder&) = delete;
    SettingHolder& operator=(const SettingHolder&) = delete;
    ~SettingHolder() = default;

    const std::string& name() const { return name_; }

    /// A copy of the value; empty when the holder was made without one.
    boost::any value() const;

    /// A copy of the value as a `T`. Throws `boost::bad_any_cast` when it is of another type; types
    /// are compared by name, so that a value made in another shared object is recognised.
    template <class T>
    T getValue() const {
        const ValueLock lock(*this);
        return boost::any_cast<const T&>(value_);
    }

    /// The value's run-time type; `void` for an empty value.
    const std::type_info& type() const;

    /// Changes the value: asks the storage, replaces the value, tells the storage. False, and
    /// nothing changed, when the storage refuses. An equal value counts as a change too.
    ///
    /// The new value may be of another type, and the setting then is of that type in the file as
    /// well; `setValueKeepingType` guards against that slip.
    bool setValue(const boost::any& value) { return setValue(boost::any(value)); }
    bool setValue(boost::any&& value);

    template <std::size_t N>
    bool setValue(const char (&text)[N]) {
        return setValue(boost::any(stringOf(text, N)));
    }

    template <class P, IfCString<P> = 0>
    bool setValue(P text) {
        return setValue(boost::any(stringOf(text)));
    }

    /// `setValue` that refuses (false) a `T` other than the type of the present value.
    template <class T, UnlessCString<T> = 0>
    bool setValueKeepingType(const T& value) {
        return boost::any(value).type() == type() && setValue(boost::any(value));
    }

    template <std::size_t N>
    bool setValueKeepingType(const char (&text)[N]) {
        return setValueKeepingType(stringOf(text, N));
    }

    template <class P, IfCString<P> = 0>
    bool setValueKeepingType(P text) {
        return setValueKeepingType(stringOf(text));
    }

    /// The storage that the setting belongs to; null until there is one.
    SettingChangeCallback* callback() const;

    /// Makes `owner` the setting's storage. False, and nothing changed, when it has one already: a
    /// setting belongs to one storage for life.
    bool bind(SettingChangeCallback& owner);

    /// Called by the storage that is about to die: from here on every change is refused. Waits for
    /// changes that other threads have under way in `owner`; with `waits` false it does not, and
    /// gives false while there are any. Another call waits for the same. Nothing happens when the
    /// setting belongs to somebody else.
    bool orphan(SettingChangeCallback& owner, bool waits = true);

private:
    friend class SettingFactory;

    /// Held while the value is copied, exchanged or, by the library's own code, written as text,
    /// and for nothing else.
    class ValueLock {
    public:
        explicit ValueLock(const SettingHolder& holder) : word_(holder.valueLock_) {
            int expected = kFree;
            if (!word_.compare_exchange_strong(expected, kTaken, std::memory_order_acquire)) {
                waitFor(word_);
            }
        }
        ~ValueLock() {
            if (word_.exchange(kFree, std::memory_order_release) == kAwaited) {
                wakeWaiterOf(word_);
            }
        }
        ValueLock(const ValueLock&) = delete;
        ValueLock& operator=(const ValueLock&) = delete;

    private:
        std::atomic<int>& word_;
    };

    template <class Function>
    auto readValue(Function read) const {
        const ValueLock lock(*this);
        return read(value_);
    }

    static std::string stringOf(const char* text, std::size_t capacity);
    static std::string stringOf(const char* text);

    // States of a value's lock. A std::mutex would make a holder half as large again.
    static constexpr int kFree = 0;
    static constexpr int kTaken = 1;
    static constexpr int kAwaited = 2;  // taken, and somebody sleeps until it is free

    static void waitFor(std::atomic<int>& lock);
    static void wakeWaiterOf(std::atomic<int>& lock);

    std::string name_;
    boost::any value_;
    std::atomic<SettingChangeCallback*> callback_{nullptr};
    std::atomic<int> changesUnderWay_{0};
    mutable std::atomic<int> valueLock_{kFree};
};

}  // namespace Settings
}  // namespace Qel

#endif
