#ifndef T8SETTINGS_CHANGES_H
#define T8SETTINGS_CHANGES_H

#include <boost/any.hpp>
#include <cstddef>
#include <string>
#include <vector>

#include "Store.h"

namespace t8settings {

/// What a setting becomes.
struct Change {
    SettingPtr setting;
    boost::any value;
    std::string typeAndText;  ///< type name, "," and text, in the form of the files
    /// Somebody set it: the file is to say it even if the setting has this value already, be it by
    /// its default. Of others that have their values already a save mends misread lines alone.
    bool evenIfSame = false;
};

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
std::size_t changeAndSave(const Store& store, const std::vector<Change>& changes);

}  // namespace t8settings

#endif
