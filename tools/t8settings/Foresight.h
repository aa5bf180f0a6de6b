#ifndef T8SETTINGS_FORESIGHT_H
#define T8SETTINGS_FORESIGHT_H

#include <map>
#include <string>
#include <vector>

#include "Store.h"

namespace t8settings {

/// Type name, "," and text of settings in the form of the files, by their names.
using SettingTexts = std::map<std::string, std::string>;

/// All settings of a storage as it holds them.
SettingTexts textsOf(const Qel::Settings::SettingStorageFileBase& storage,
                     const FactoryPtr& factory);

/// What would become, against what is meant, of settings of the storage if `texts` were its
/// settings, were saved, and were loaded again: a line for each, empty when all would come back. A
/// save writes all settings of a storage, so one that nobody meant to change may be among them.
/// What a load gives otherwise already is no harm of the save.
std::vector<std::string> harmOfSaving(const Qel::Settings::SettingStorageFileBase& storage,
                                      const SettingTexts& texts, const FactoryPtr& factory);

/// The same of a file in which it was saved, and which gives `onDisk`.
std::vector<std::string> harmOnDisk(const Qel::Settings::SettingStorageFileBase& storage,
                                    const SettingTexts& onDisk, const SettingTexts& texts,
                                    const FactoryPtr& factory);

}  // namespace t8settings

#endif
