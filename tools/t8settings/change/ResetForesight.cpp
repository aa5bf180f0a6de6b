#include "change/ResetForesight.h"

#include <Qel/Settings/SettingStorageInifile.h>
#include <algorithm>
#include <exception>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include "change/FileOnDisk.h"
#include "change/Foresight.h"
#include "check/Lasting.h"
#include "console/Shell.h"
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

using Names = std::set<std::string>;

/// The losses of settings that the defaults do not replace.
std::vector<Loss> notReplaced(std::vector<Loss> losses, const Names& byDefault) {
    losses.erase(std::remove_if(losses.begin(), losses.end(),
                                [&byDefault](const Loss& loss) {
                                    return !loss.isOfName && byDefault.count(loss.name) != 0;
                                }),
                 losses.end());
    return losses;
}

/// "; so are 2 more" behind the first of several.
std::string andMore(std::size_t count, const char* so) {
    return count < 2 ? "" : std::string("; ") + so + " " + std::to_string(count - 1) + " more";
}

/// Gives whether any of them is to be mended in the read/write file. All settings that this one
/// gives under another storage's name lose it for one reason, which its first line has.
bool addChanged(std::vector<Loss> losses, const std::string& root, const Written& files,
                std::vector<FileFinding>& changed) {
    const IniFile* const taken = takenByLoad(files.group);
    bool isToBeMended = false;
    if (taken != nullptr && taken->saysItsName()) {
        const auto others = std::stable_partition(
            losses.begin(), losses.end(),
            [&root](const Loss& loss) { return loss.name.compare(0, root.size(), root) == 0; });
        const auto count = static_cast<std::size_t>(losses.end() - others);
        if (count != 0) {
            changed.push_back({taken->path(),
                               {taken->lines().front().number, Harm::kMoved,
                                others->reason + andMore(count, "so do"), others->remedy}});
            losses.erase(others, losses.end());
            isToBeMended = true;
        }
    }
    const auto places = placesIn({files.defaultsTaken(), taken});
    for (const Loss& loss : losses) {
        const auto found = places.find(loss.name);
        const Place place = found == places.end() ? Place{&files.group.file, 0} : found->second;
        isToBeMended = isToBeMended || place.file != files.defaultsTaken();
        changed.push_back({place.file->path(),
                           {place.line, loss.isOfName ? Harm::kMoved : Harm::kChanged, loss.reason,
                            loss.remedy}});
    }
    return isToBeMended;
}

/// A load may have read some settings of a file before it came to what made it set the file aside;
/// they are in the store, and a reset would keep them, where no next load finds them.
std::optional<FileFinding> ofFileSetAside(const SettingStorageInifile& storage,
                                          const SettingStorageInifile& after,
                                          const FactoryPtr& factory) {
    const SettingTexts there = textsOf(after, factory);
    std::vector<std::string> names;
    for (const auto& setting : textsOf(storage, factory)) {
        if (there.count(setting.first) == 0) {
            names.push_back(setting.first);
        }
    }
    if (names.empty()) {
        return std::nullopt;
    }
    const std::string& path = *storage.rwFilename();
    return FileFinding{path,
                       {0, Harm::kLost,
                        "could not be used and has been set aside just now, but " + names.front() +
                            " has been read of it" + andMore(names.size(), "so have"),
                        commandOn("recover", path) + " shows what there is"}};
}

/// A television that lost its power before its first save was done must not be kept from a reset
/// by a copy that holds nothing but what the reset replaces.
bool isReplaced(const IniFile& copy, const Names& byDefault, const FactoryPtr& factory) {
    const auto own = settingsByName(copy);
    const auto findings = findingsInLinesOf(copy, factory);
    return std::all_of(
               own.begin(), own.end(),
               [&byDefault](const auto& setting) { return byDefault.count(setting.first) != 0; }) &&
           std::none_of(findings.begin(), findings.end(),
                        [](const FileFinding& finding) { return isGrave(finding.finding.harm); });
}

Lasting damageIn(const FileGroup& group, const Names& byDefault, const FactoryPtr& factory) {
    if (takenByLoad(group) == nullptr && isReplaced(group.copy, byDefault, factory)) {
        return {};
    }
    return lastingBySave(group, byDefault, factory);
}

Names defaultsOf(const SettingStorageInifile& storage, const FactoryPtr& factory) {
    Names names;
    if (!storage.filename()->empty()) {
        for (const auto& setting : FileOnDisk(storage, *storage.filename(), factory).settings()) {
            names.insert(setting.first);
        }
    }
    return names;
}

ResetForesight foreseenOf(const StoragePtr& storage, const FactoryPtr& factory) {
    const auto& file = dynamic_cast<const SettingStorageInifile&>(*storage);
    const Written files(file);
    const Names byDefault = defaultsOf(file, factory);
    SettingStorageInifile after(nameBefore(file), *file.filename(), *file.rwFilename(), factory,
                                SettingStorageInifile::Save_onDemand);
    loadAndReset(after);
    const Foresight save = foreseen(after, textsOf(after, factory), factory);
    ResetForesight foresight{storage, {}, {}, {}, ""};
    const bool isToBeMended = addChanged(notReplaced(save.losses, byDefault), after.name() + "/",
                                         files, foresight.changed);
    Lasting damage = damageIn(files.group, byDefault, factory);
    if (isToBeMended || !damage.stopping.empty()) {
        foresight.remedy = remedyForLasting(
            files.group, isToBeMended ? std::vector<FileFinding>() : damage.stopping);
    }
    foresight.damaged = std::move(damage.stopping);
    foresight.told = std::move(damage.told);
    for (const auto& told : {hiddenBySave(files.group, factory, save.withoutLine),
                             lastingOfDefaults(files.group, {}, factory)}) {
        foresight.told.insert(foresight.told.end(), told.begin(), told.end());
    }
    if (foresight.changed.empty()) {
        for (const std::string& added : save.added) {
            foresight.told.push_back({files.group.file.path(), {0, Harm::kMoved, added, ""}});
        }
    }
    if (auto setAside = ofFileSetAside(file, after, factory)) {
        foresight.damaged.push_back(std::move(*setAside));
    }
    return foresight;
}

}  // namespace

std::vector<ResetForesight> foreseenOfReset(const std::vector<StoragePtr>& storages,
                                            const FactoryPtr& factory) {
    const LibraryMessagesDropped dropped;
    std::vector<ResetForesight> all;
    for (const StoragePtr& storage : storages) {
        if (dynamic_cast<const SettingStorageInifile*>(storage.get()) == nullptr) {
            continue;
        }
        ResetForesight foresight = foreseenOf(storage, factory);
        if (!foresight.damaged.empty() || !foresight.changed.empty() || !foresight.told.empty()) {
            all.push_back(std::move(foresight));
        }
    }
    return all;
}

}  // namespace t8settings
