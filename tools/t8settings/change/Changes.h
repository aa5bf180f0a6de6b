#ifndef T8SETTINGS_CHANGES_H
#define T8SETTINGS_CHANGES_H

#include <cstddef>
#include <vector>

#include "change/Change.h"
#include "store/Store.h"

namespace t8settings {

/// Throws `Failure` for a setting that takes no changes.
void demandWritable(const SettingPtr& setting);

/// Throws `Failure` for settings of a read/write file that this user may not read: what they seem
/// to have here is not what others get.
void demandSeen(const std::vector<SettingPtr>& settings);

/// Makes the changes and saves them, each storage once and whatever its policy, until the disk
/// gives them back. Throws `Failure` when one storage fails; what it and others have written is
/// saved once more then with the old values, and the failure tells of each storage whether that
/// went well. Nothing is changed when a save would cost another setting of its storage its value or
/// name, or hide that something is wrong with the storage's file. Signals that end the process do
/// so before or afterwards; from then on a broken pipe does not. The changed settings are to be
/// looked up anew. Gives the number of settings that were to be saved.
std::size_t changeAndSave(const Store& store, const Changes& changes);

}  // namespace t8settings

#endif
