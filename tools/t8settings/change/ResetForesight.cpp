#include "change/ResetForesight.h"

#include <Qel/Settings/SettingStorageInifile.h>
#include <algorithm>
#include <exception>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string_view>

#include "change/FileOnDisk.h"
#include "change/Foresight.h"
#include "change/ReplacedLines.h"
#include "check/Lasting.h"
#include "store/Files.h"
#include "store/LibraryLog.h"
#include "store/LoadOutcome.h"

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

/// Under which a load begins.
std::string nameBefore(const SettingStorageInifile& storage) {
    const std::string& defaults = *storage.filename();
    return defaults.empty() ? storage.name() : std::filesystem::path(defaults).stem().string();
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

/// The files of a storage that a reset writes.
struct Written {
    explicit Written(const SettingStorageInifile& storage) : group(groupAt(*storage.rwFilename())) {
        if (!storage.filename()->empty()) {
            defaults = groupAt(*storage.filename());
        }
    }

    const IniFile* defaultsTaken() const { return defaults ? takenByLoad(*defaults) : nullptr; }

    FileGroup group;
    std::optional<FileGroup> defaults;
};

std::vector<Loss> namesLost(const SettingStorageInifile& storage, const FactoryPtr& factory) {
    SettingStorageInifile after(nameBefore(storage), *storage.filename(), *storage.rwFilename(),
                                factory, SettingStorageInifile::Save_onDemand);
    loadAndReset(after);
    std::vector<Loss> losses = foreseen(after, textsOf(after, factory), factory).losses;
    losses.erase(std::remove_if(losses.begin(), losses.end(),
                                [](const Loss& loss) { return !loss.isOfName; }),
                 losses.end());
    return losses;
}

/// Gives whether any of them is to be mended in the read/write file.
bool addRenamed(const std::vector<Loss>& losses, const Written& files, ResetForesight& all) {
    const auto places = placesIn({files.defaultsTaken(), takenByLoad(files.group)});
    bool isOfDefaults = true;
    for (const Loss& loss : losses) {
        const auto found = places.find(loss.name);
        const Place place = found == places.end() ? Place{&files.group.file, 0} : found->second;
        isOfDefaults = isOfDefaults && place.file == files.defaultsTaken();
        all.renamed.push_back(
            {place.file->path(), {place.line, Harm::kMoved, loss.reason, loss.remedy}});
    }
    return !isOfDefaults;
}

/// A television that lost its power before its first save was done must not be kept from a reset
/// by a copy that holds nothing but what the reset replaces.
bool isReplaced(const IniFile& copy, const std::set<std::string>& byDefault) {
    const auto own = settingsByName(copy);
    return std::all_of(own.begin(), own.end(), [&byDefault](const auto& setting) {
        return byDefault.count(setting.first) != 0;
    });
}

std::vector<FileFinding> damageIn(const FileGroup& group, const std::set<std::string>& byDefault,
                                  const FactoryPtr& factory) {
    const IniFile* const taken = takenByLoad(group);
    if (taken == nullptr && isReplaced(group.copy, byDefault)) {
        return {};
    }
    std::vector<FileFinding> damage = lastingBySave(group, byDefault, factory).stopping;
    if (taken != nullptr && !damage.empty()) {
        const ReplacedLines replaced(*taken, byDefault, factory);
        damage.erase(std::remove_if(damage.begin(), damage.end(),
                                    [&replaced](const FileFinding& finding) {
                                        return replaced.has(finding.finding);
                                    }),
                     damage.end());
    }
    return damage;
}

std::set<std::string> defaultsOf(const SettingStorageInifile& storage, const FactoryPtr& factory) {
    std::set<std::string> names;
    if (!storage.filename()->empty()) {
        for (const auto& setting : FileOnDisk(storage, *storage.filename(), factory).settings()) {
            names.insert(setting.first);
        }
    }
    return names;
}

void add(const SettingStorageInifile& storage, const FactoryPtr& factory, ResetForesight& all) {
    const Written files(storage);
    const bool isToBeMended = addRenamed(namesLost(storage, factory), files, all);
    const auto damaged = damageIn(files.group, defaultsOf(storage, factory), factory);
    if (isToBeMended || !damaged.empty()) {
        all.remedies.push_back(
            remedyForLasting(files.group, isToBeMended ? std::vector<FileFinding>() : damaged));
    }
    all.damaged.insert(all.damaged.end(), damaged.begin(), damaged.end());
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
