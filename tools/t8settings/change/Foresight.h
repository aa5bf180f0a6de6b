#ifndef T8SETTINGS_FORESIGHT_H
#define T8SETTINGS_FORESIGHT_H

#include <map>
#include <set>
#include <string>
#include <vector>

#include "store/Store.h"

namespace t8settings {

/// Type name, "," and text of settings in the form of the files, by their names.
using SettingTexts = std::map<std::string, std::string>;

/// All settings of a storage as it holds them.
SettingTexts textsOf(const Qel::Settings::SettingStorageFileBase& storage,
                     const FactoryPtr& factory);

/// A setting that would be missing or have another text.
struct Loss {
    std::string name;
    std::string reason;  ///< what becomes of it, for people
    std::string remedy;
    bool isOfName;  ///< its name does not come back, or another one comes back under it
};

/// One line for people.
std::string textOf(const Loss& loss);

/// What a load would give after a save, against what was saved.
struct Foresight {
    std::vector<Loss> losses;
    std::vector<std::string> added;     ///< settings that come up besides, and were nobody's
    std::set<std::string> withoutLine;  ///< names under which no line of the file would be read
};

/// What would become of the settings of the storage if `texts` were these settings, were saved, and
/// were loaded again. A save writes all settings of a storage, so one that nobody meant to change
/// may be among them. What a load gives otherwise already is no harm of the save.
Foresight foreseen(const Qel::Settings::SettingStorageFileBase& storage, const SettingTexts& texts,
                   const FactoryPtr& factory);

}  // namespace t8settings

#endif
