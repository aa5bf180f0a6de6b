#ifndef QEL_SETTINGS_NAMEINDEX_H
#define QEL_SETTINGS_NAMEINDEX_H

#include <atomic>
#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "NameHash.h"

namespace Qel {
namespace Settings {

class SettingHolder;

/// All settings of a manager by name, for many readers and few writers.
///
/// A hash table that only ever grows, since settings are never taken out of a manager: what a
/// reader may be looking at stays where it is until the index dies. So `find` needs no lock and
/// waits for nobody; the price is that a setting that was replaced, or a table that became too
/// small, lives as long as the index.
///
/// `find` may be called by any thread at any time, all else by one thread at a time.
class NameIndex {
public:
    using HolderPtr = boost::shared_ptr<SettingHolder>;

    NameIndex();
    ~NameIndex();
    NameIndex(const NameIndex&) = delete;
    NameIndex& operator=(const NameIndex&) = delete;

    /// The setting of exactly this name; empty when there is none.
    HolderPtr find(std::string_view name) const;

    /// Files a setting under its name, in place of one of the same name. Does not throw when room
    /// was reserved for it.
    void put(HolderPtr holder);

    /// Makes room for `more` settings at once, replacing ones too.
    void reserve(std::size_t more);

    /// All settings, in order of their names.
    std::vector<HolderPtr> sorted() const;

private:
    using Slot = std::atomic<const HolderPtr*>;

    struct Table {
        explicit Table(std::size_t size) : slots(size) {}
        std::vector<Slot> slots;  ///< as many as a power of two; null where nothing is
    };

    Slot& slotOf(Table& table, std::string_view name) const;
    void growFor(std::size_t count);
    void growTo(std::size_t slots);

    const NameHash hash_;
    std::deque<HolderPtr> holders_;  ///< whose elements stay in place; replaced ones too, then room
    std::size_t filled_ = 0;         ///< of the holders
    std::vector<std::unique_ptr<Table>> tables_;
    std::atomic<Table*> current_;
    std::size_t count_ = 0;
};

}  // namespace Settings
}  // namespace Qel

#endif
