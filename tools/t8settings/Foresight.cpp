#include "Foresight.h"

#include <Qel/Settings/SettingStorageInifile.h>
#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

#include "FileOnDisk.h"
#include "Sections.h"
#include "Terminal.h"
#include "TextOfValue.h"

namespace t8settings {

namespace {

using Qel::Settings::SettingStorageFileBase;
using Qel::Settings::SettingStorageInifile;

struct NewName {
    std::string name;
    const char* why;
};

/// What a load of a file gives.
struct Loaded {
    SettingTexts texts;
    std::map<std::string, NewName> newNames;  ///< of settings that come under another name
};

constexpr const char* kWithoutSection = "it has no section and sorts after one that has";
constexpr const char* kOfAnotherStorage = "its files give the storage two names";

std::set<std::string> sectionsOf(const SettingStorageFileBase& storage) {
    const auto* const file = dynamic_cast<const SettingStorageInifile*>(&storage);
    const auto sections = file == nullptr ? std::vector<std::string>() : file->sections();
    return {sections.begin(), sections.end()};
}

std::string pathOf(const std::string& name) {
    return name.substr(0, name.rfind('/') + 1);
}

/// A save writes the settings in the order of their names, and no line ends a section. A name that
/// does not begin with the storage's own, which the storage had before, becomes a part of one that
/// does.
Loaded foreseen(const SettingStorageFileBase& storage, const SettingTexts& texts,
                const FactoryPtr& factory) {
    const std::string root = storage.name() + "/";
    std::set<std::string> sections = sectionsOf(storage);
    sections.erase(root);
    Loaded loaded;
    std::string section = root;
    for (const auto& [name, text] : texts) {
        const bool isOwn = name.compare(0, root.size(), root) == 0;
        const std::string own = isOwn ? sectionOf(name, sections) : pathOf(root + name);
        const std::string given = !isOwn        ? root + name
                                  : own.empty() ? section + name.substr(root.size())
                                                : name;
        section = own.empty() ? section : own;
        const std::size_t comma = text.find(',');
        const auto back =
            readFromFile(factory, text.substr(0, comma), given, text.substr(comma + 1));
        if (back) {
            loaded.texts.insert_or_assign(given, *back);
        }
        if (given != name) {
            loaded.newNames.emplace(name,
                                    NewName{given, isOwn ? kWithoutSection : kOfAnotherStorage});
        }
    }
    return loaded;
}

/// A load takes the defaults first; they are looked into when something is missing.
void addDefaults(const SettingStorageFileBase& storage, const SettingTexts& wanted,
                 const FactoryPtr& factory, SettingTexts& loaded) {
    const bool isWhole = std::all_of(wanted.begin(), wanted.end(), [&loaded](const auto& setting) {
        return loaded.count(setting.first) != 0;
    });
    if (isWhole || storage.filename() == nullptr || storage.filename()->empty()) {
        return;
    }
    FileOnDisk defaults(storage, *storage.filename(), factory);
    const SettingTexts byDefault = defaults.settings();
    loaded.insert(byDefault.begin(), byDefault.end());
}

std::string textIn(const SettingTexts& texts, const std::string& name) {
    const auto found = texts.find(name);
    return found == texts.end() ? "nothing" : inQuotes(found->second);
}

std::set<std::string> namesOfDifferences(const SettingTexts& one, const SettingTexts& other) {
    std::vector<std::pair<std::string, std::string>> differences;
    std::set_symmetric_difference(one.begin(), one.end(), other.begin(), other.end(),
                                  std::back_inserter(differences));
    std::set<std::string> names;
    for (const auto& difference : differences) {
        names.insert(difference.first);
    }
    return names;
}

std::vector<std::string> harmOf(const SettingTexts& wanted, const Loaded& loaded) {
    std::set<std::string> others = namesOfDifferences(wanted, loaded.texts);
    std::vector<std::string> harm;
    for (const auto& [name, newName] : loaded.newNames) {
        const bool isMissed = others.erase(name) != 0;
        if (others.erase(newName.name) != 0 || isMissed) {
            harm.push_back(name + " is read as " + newName.name + ": " + newName.why);
        }
    }
    for (const std::string& name : others) {
        harm.push_back(name + " comes back as " + textIn(loaded.texts, name) + " in place of " +
                       textIn(wanted, name));
    }
    return harm;
}

std::vector<std::string> harmOf(const SettingStorageFileBase& storage, const SettingTexts& wanted,
                                const FactoryPtr& factory, Loaded loaded) {
    addDefaults(storage, wanted, factory, loaded.texts);
    return harmOf(wanted, loaded);
}

}  // namespace

SettingTexts textsOf(const SettingStorageFileBase& storage, const FactoryPtr& factory) {
    SettingTexts texts;
    for (const SettingPtr& setting : storage.snapshot()) {
        texts.emplace(setting->name(),
                      factory->typeAsString(setting) + "," + factory->valueAsString(setting));
    }
    return texts;
}

std::vector<std::string> harmOfSaving(const SettingStorageFileBase& storage,
                                      const SettingTexts& texts, const FactoryPtr& factory) {
    return harmOf(storage, texts, factory, foreseen(storage, texts, factory));
}

std::vector<std::string> harmOnDisk(const SettingStorageFileBase& storage,
                                    const SettingTexts& onDisk, const SettingTexts& texts,
                                    const FactoryPtr& factory) {
    return harmOf(storage, texts, factory, {onDisk, {}});
}

}  // namespace t8settings
