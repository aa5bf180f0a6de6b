#ifndef T8SETTINGS_CHANGE_H
#define T8SETTINGS_CHANGE_H

#include <boost/any.hpp>
#include <set>
#include <string>
#include <vector>

#include "change/Foresight.h"
#include "store/Store.h"

namespace t8settings {

/// What a setting becomes.
struct Change {
    SettingPtr setting;
    boost::any value;
    std::string typeAndText;  ///< type name, "," and text, in the form of the files
    /// Somebody set it: the file is to say it even if the setting has this value already, be it by
    /// its default. Of others that have their values already only those are saved whose lines are
    /// misread.
    bool evenIfSame = false;
};

using Changes = std::vector<Change>;

/// Of the settings that change.
std::set<std::string> namesOf(const Changes& changes);

/// Whether `texts` have the setting as the change is to make it.
bool isSaidBy(const SettingTexts& texts, const Change& change);

}  // namespace t8settings

#endif
