#include "change/WorthSaving.h"

#include <algorithm>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>

#include "check/Lasting.h"
#include "check/Recovery.h"
#include "store/LoadOutcome.h"
#include "values/TextOfValue.h"

namespace t8settings {

namespace {

/// Texts of settings in the form of the files, by their names.
using Texts = std::unordered_map<std::string_view, std::string_view>;

/// Those of the settings that have them already.
Texts textsOfSame(const Store& store, const Changes& changes) {
    Texts texts;
    for (const Change& change : changes) {
        if (change.typeAndText == typeAndTextOf(change.setting, store.factory())) {
            texts.emplace(change.setting->name(), change.typeAndText);
        }
    }
    return texts;
}

/// Whether a line of the file in force says one of them in other words, be they right or wrong.
bool isSaidOtherwise(const Texts& texts, const FileGroup& group) {
    const IniFile* const taken = takenByLoad(group);
    return taken != nullptr && std::any_of(taken->lines().begin(), taken->lines().end(),
                                           [&texts](const IniFile::Line& line) {
                                               const auto text = texts.find(line.name);
                                               return text != texts.end() &&
                                                      line.type + "," + line.value != text->second;
                                           });
}

/// Whether a file with a right CRC says all of it in the form of a save.
bool isSaidAlready(const Changes& changes, const FileGroup& group) {
    const IniFile* const taken = takenByLoad(group);
    if (taken != &group.file || taken->state() != FileState::kSealed) {
        return false;
    }
    const SettingTexts said = settingsOf(*taken);
    return std::all_of(changes.begin(), changes.end(),
                       [&said](const Change& change) { return isSaidBy(said, change); });
}

}  // namespace

Changes worthSaving(const Store& store, const Changes& changes) {
    const FileGroup group = groupAt(*storageOf(changes.front().setting).rwFilename());
    const Texts same = textsOfSame(store, changes);
    const auto misread = isSaidOtherwise(same, group) ? lastingNames(group, store.factory())
                                                      : std::set<std::string>();
    Changes worth;
    for (const Change& change : changes) {
        const std::string& name = change.setting->name();
        if (same.count(name) == 0 || change.evenIfSame || misread.count(name) != 0) {
            worth.push_back(change);
        }
    }
    const bool areSame = std::all_of(worth.begin(), worth.end(), [&same](const Change& change) {
        return same.count(change.setting->name()) != 0;
    });
    return areSame && isSaidAlready(worth, group) ? Changes() : worth;
}

}  // namespace t8settings
