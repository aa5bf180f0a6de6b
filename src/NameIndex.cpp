#include "NameIndex.h"

#include <algorithm>
#include <utility>

#include "Qel/Settings/SettingHolder.h"

namespace Qel {
namespace Settings {

namespace {

// Small, since it is kept when the first file brings more.
constexpr std::size_t kFirstSize = 16;

// A third of the slots stays free, so that a search ends after two or three of them.
constexpr std::size_t slotsFor(std::size_t count) {
    return count + count / 2 + 1;
}

}  // namespace

NameIndex::NameIndex() : current_(nullptr) {
    growTo(kFirstSize);
}

NameIndex::~NameIndex() = default;

NameIndex::Slot& NameIndex::slotOf(Table& table, std::string_view name) const {
    const std::size_t mask = table.slots.size() - 1;
    std::size_t at = hash_(name) & mask;
    for (;; at = (at + 1) & mask) {
        const HolderPtr* const found = table.slots[at].load(std::memory_order_acquire);
        if (found == nullptr || (*found)->name() == name) {
            return table.slots[at];
        }
    }
}

NameIndex::HolderPtr NameIndex::find(std::string_view name) const {
    Table& table = *current_.load(std::memory_order_acquire);
    const HolderPtr* const found = slotOf(table, name).load(std::memory_order_acquire);
    return found == nullptr ? HolderPtr() : *found;
}

void NameIndex::put(HolderPtr holder) {
    reserve(1);
    Slot& slot = slotOf(*current_.load(std::memory_order_relaxed), holder->name());
    HolderPtr& place = holders_[filled_++];
    place = std::move(holder);
    if (slot.load(std::memory_order_relaxed) == nullptr) {
        ++count_;
    }
    slot.store(&place, std::memory_order_release);
}

void NameIndex::reserve(std::size_t more) {
    growFor(count_ + more);
    if (holders_.size() < filled_ + more) {
        holders_.resize(filled_ + more);
    }
}

void NameIndex::growFor(std::size_t count) {
    std::size_t size = current_.load(std::memory_order_relaxed)->slots.size();
    if (slotsFor(count) <= size) {
        return;
    }
    while (size < slotsFor(count)) {
        size *= 2;
    }
    // Storages come one after another, and every table that became too small is kept.
    growTo(count_ == 0 ? size : 2 * size);
}

void NameIndex::growTo(std::size_t slots) {
    tables_.push_back(std::make_unique<Table>(slots));
    Table& grown = *tables_.back();
    if (const Table* const old = current_.load(std::memory_order_relaxed)) {
        for (const Slot& slot : old->slots) {
            if (const HolderPtr* const holder = slot.load(std::memory_order_relaxed)) {
                slotOf(grown, (*holder)->name()).store(holder, std::memory_order_relaxed);
            }
        }
    }
    current_.store(&grown, std::memory_order_release);
}

std::vector<NameIndex::HolderPtr> NameIndex::sorted() const {
    std::vector<HolderPtr> all;
    all.reserve(count_);
    for (const Slot& slot : current_.load(std::memory_order_relaxed)->slots) {
        if (const HolderPtr* const holder = slot.load(std::memory_order_relaxed)) {
            all.push_back(*holder);
        }
    }
    std::sort(all.begin(), all.end(), [](const HolderPtr& left, const HolderPtr& right) {
        return left->name() < right->name();
    });
    return all;
}

}  // namespace Settings
}  // namespace Qel
