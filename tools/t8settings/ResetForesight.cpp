#include "ResetForesight.h"

#include <Qel/Settings/SettingStorageInifile.h>
#include <algorithm>
#include <exception>
#include <filesystem>
#include <map>
#include <string_view>

#include "Files.h"
#include "Foresight.h"
#include "Lasting.h"
#include "LibraryLog.h"
#include "LoadOutcome.h"

namespace t8settings {

namespace {

using Qel::Settings::SettingStorageInifile;

/// Goes the way of a storage that is reset: what the files give, and over it the defaults once
/// more, with the name that these give it.
void loadAndReset(SettingStorageInifile& storage) {
    const std::string defaults = *storage.filename();
    for (const std::string& path : {defaults, *storage.rwFilename(), defaults}) {
        try {
            storage.loadFile(path);
        } catch (const std::exception&) {
            // Whoever came up with the store knows why, and goes by the other file.
            continue;
        }
    }
}

struct Place {
    const IniFile* file;
    std::size_t line;
};

/// The lines that give settings their values, by the names of these: the last ones of the files
/// that a load takes, one after the other.
std::map<std::string_view, Place> placesIn(const std::vector<const IniFile*>& files) {
    std::map<std::string_view, Place> places;
    for (const IniFile* const file : files) {
        if (file == nullptr) {
            continue;
        }
        for (const auto& setting : settingsByName(*file)) {
            places[setting.second->name] = {file, setting.second->number};
        }
    }
    return places;
}

void addRenamed(const std::vector<Loss>& losses, const SettingStorageInifile& storage,
                ResetForesight& all) {
    const FileGroup defaults = groupAt(*storage.filename());
    const FileGroup group = groupAt(*storage.rwFilename());
    const auto places = placesIn({takenByLoad(defaults), takenByLoad(group)});
    bool isOfDefaults = true;
    for (const Loss& loss : losses) {
        const auto found = places.find(loss.name);
        const Place place = found == places.end() ? Place{&group.file, 0} : found->second;
        isOfDefaults = isOfDefaults && place.file == takenByLoad(defaults);
        all.renamed.push_back(
            {place.file->path(), {place.line, Harm::kMoved, loss.reason, loss.remedy}});
    }
    if (!isOfDefaults) {
        all.remedies.push_back(remedyForLasting(group, {}));
    }
}

void add(const SettingStorageInifile& storage, const FactoryPtr& factory, ResetForesight& all) {
    SettingStorageInifile after(std::filesystem::path(*storage.filename()).stem().string(),
                                *storage.filename(), *storage.rwFilename(), factory,
                                SettingStorageInifile::Save_onDemand);
    loadAndReset(after);
    std::vector<Loss> losses = foreseen(after, textsOf(after, factory), factory).losses;
    losses.erase(std::remove_if(losses.begin(), losses.end(),
                                [](const Loss& loss) { return !loss.isOfName; }),
                 losses.end());
    if (!losses.empty()) {
        addRenamed(losses, storage, all);
    }
}

}  // namespace

ResetForesight foreseenOfReset(const std::vector<StoragePtr>& storages, const FactoryPtr& factory) {
    const LibraryMessagesDropped dropped;
    ResetForesight all;
    for (const StoragePtr& storage : storages) {
        if (const auto* const file = dynamic_cast<const SettingStorageInifile*>(storage.get())) {
            add(*file, factory, all);
        }
    }
    return all;
}

}  // namespace t8settings
