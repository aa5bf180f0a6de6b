#ifndef QEL_SETTINGS_SETTINGSBYNAME_H
#define QEL_SETTINGS_SETTINGSBYNAME_H

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <string>
#include <vector>

#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageInterface.h"

namespace Qel {
namespace Settings {

/// The settings of a storage, in order of their names.
///
/// Files are written in that order, so what a file brings is appended to a plain row, which is a
/// third of a map's size and soon found in. The first setting out of order, and anybody who asks
/// for the map, turns the row into one for good.
///
/// For one thread at a time.
class SettingsByName {
public:
    using HolderPtr = boost::shared_ptr<SettingHolder>;

    /// Makes room for settings that are to come in order, the first of their storage.
    void reserve(std::size_t count);

    /// Makes room for `holder` under its name and gives the place: what is there already or null.
    /// Valid until the next call.
    HolderPtr& placeOf(const HolderPtr& holder);

    /// Gives up the place that the call before has made.
    void dropPlaceOf(const std::string& name);

    /// The setting of exactly this name; empty when there is none.
    HolderPtr find(const std::string& name) const;

    std::vector<HolderPtr> all() const;

    /// Calls `visit` for each setting.
    template <class Visitor>
    void forEach(Visitor visit) const {
        for (const HolderPtr& holder : row_) {
            visit(holder);
        }
        for (const auto& entry : map_) {
            visit(entry.second);
        }
    }

    /// The same settings as a map, now and from here on.
    const SettingsSet& asMap();

    /// All settings, which are no longer here then.
    std::vector<HolderPtr> takeAll();

private:
    using Row = std::vector<HolderPtr>;

    Row row_;
    SettingsSet map_;
    bool isMap_ = false;
};

}  // namespace Settings
}  // namespace Qel

#endif
