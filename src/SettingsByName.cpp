#include "SettingsByName.h"

#include <algorithm>

namespace Qel {
namespace Settings {

namespace {

template <class Row>
auto lowerBound(Row& row, const std::string& name) {
    return std::lower_bound(row.begin(), row.end(), name,
                            [](const SettingsByName::HolderPtr& holder, const std::string& wanted) {
                                return holder->name() < wanted;
                            });
}

}  // namespace

void SettingsByName::reserve(std::size_t count) {
    if (!isMap_ && row_.empty()) {
        row_.reserve(count);
    }
}

SettingsByName::HolderPtr& SettingsByName::placeOf(const HolderPtr& holder) {
    const std::string& name = holder->name();
    if (!isMap_) {
        if (row_.empty() || row_.back()->name() < name) {
            return row_.emplace_back();
        }
        const auto found = lowerBound(row_, name);
        if ((*found)->name() == name) {
            return *found;
        }
        asMap();
    }
    return map_[name];
}

void SettingsByName::dropPlaceOf(const std::string& name) {
    if (!isMap_) {
        row_.pop_back();
    } else {
        map_.erase(name);
    }
}

SettingsByName::HolderPtr SettingsByName::find(const std::string& name) const {
    if (!isMap_) {
        const auto found = lowerBound(row_, name);
        return found == row_.end() || (*found)->name() != name ? HolderPtr() : *found;
    }
    const auto found = map_.find(name);
    return found == map_.end() ? HolderPtr() : found->second;
}

std::vector<SettingsByName::HolderPtr> SettingsByName::all() const {
    std::vector<HolderPtr> holders;
    holders.reserve(row_.size() + map_.size());
    forEach([&holders](const HolderPtr& holder) { holders.push_back(holder); });
    return holders;
}

const SettingsSet& SettingsByName::asMap() {
    if (!isMap_) {
        // Memory may run out on the way; then the row is still all there is.
        SettingsSet map;
        for (const HolderPtr& holder : row_) {
            map.emplace_hint(map.end(), holder->name(), holder);
        }
        map_.swap(map);
        isMap_ = true;
        Row().swap(row_);
    }
    return map_;
}

std::vector<SettingsByName::HolderPtr> SettingsByName::takeAll() {
    std::vector<HolderPtr> holders = all();
    row_.clear();
    map_.clear();
    return holders;
}

}  // namespace Settings
}  // namespace Qel
