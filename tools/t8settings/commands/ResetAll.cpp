#include "commands/ResetAll.h"

#include <algorithm>
#include <cstddef>

#include "change/FileOnDisk.h"
#include "change/Foresight.h"
#include "change/ResetForesight.h"
#include "check/NameClash.h"
#include "console/Json.h"
#include "console/Question.h"
#include "console/Shell.h"
#include "console/Terminal.h"
#include "files/FileStatus.h"
#include "store/LibraryLog.h"

namespace t8settings {

namespace {

using Qel::Settings::SettingStorageInifile;

/// What a reset does to a storage.
struct Fate {
    const char* word;   ///< in JSON
    const char* words;  ///< for people
};

constexpr Fate kReset = {"reset", "reset to its defaults"};
constexpr Fate kSurvives = {"survives", "kept, it survives a reset"};
constexpr Fate kReadonly = {"readonly", "kept, it is read-only"};
constexpr Fate kWithoutDefaults = {"withoutDefaults", "kept, it has no defaults file"};
constexpr Fate kWithEmptyDefaults = {"withoutDefaults",
                                     "kept, its defaults file has no setting in it"};
constexpr Fate kFailed = {"failed", "could NOT be reset"};

/// In the library's errors on settings that do not keep their names: told in the result, unless the
/// defaults give them back.
constexpr const char* kToldInTheResult = "will load under";

/// What the storage goes back to.
SettingTexts defaultsFor(const Store& store, const StoragePtr& storage) {
    const auto* const file = dynamic_cast<const SettingStorageInifile*>(storage.get());
    if (file == nullptr) {
        return {};
    }
    // What is amiss in the file was told when the store came up.
    const LibraryMessagesDropped dropped;
    return FileOnDisk(*file, *file->filename(), store.factory()).settings();
}

const Fate& fateBefore(const Store& store, const StoragePtr& storage) {
    const std::string* const defaults = storage->filename();
    return storage->surviveResetToDefaults()          ? kSurvives
           : storage->readonly()                      ? kReadonly
           : defaults == nullptr || defaults->empty() ? kWithoutDefaults
           : defaultsFor(store, storage).empty()      ? kWithEmptyDefaults
                                                      : kReset;
}

/// The CRC that a storage knows is that of what it wrote last, and 0 when a write failed.
bool isWritten(const Store& store, const StoragePtr& storage) {
    const auto* const file = dynamic_cast<const SettingStorageInifile*>(storage.get());
    return file != nullptr && file->crc32() != 0 &&
           file->crc32() == FileOnDisk(*file, *file->rwFilename(), store.factory()).crc32();
}

const Fate& fateAfter(const Store& store, const StoragePtr& storage) {
    const Fate& fate = fateBefore(store, storage);
    return &fate == &kReset && !isWritten(store, storage) ? kFailed : fate;
}

/// Names of settings that a reset leaves as they are, since the defaults have none of them.
std::vector<std::string> namesWithoutDefault(const Store& store, const StoragePtr& storage) {
    const auto& file = dynamic_cast<const SettingStorageInifile&>(*storage);
    const SettingTexts defaults = defaultsFor(store, storage);
    std::vector<std::string> names;
    for (const auto& setting : FileOnDisk(file, *file.rwFilename(), store.factory()).settings()) {
        if (defaults.count(setting.first) == 0) {
            names.push_back(setting.first);
        }
    }
    return names;
}

/// For people.
std::string exceptFor(const std::vector<std::string>& names) {
    constexpr std::size_t kMost = 3;
    if (names.empty()) {
        return "";
    }
    std::string text = ", but " + counted(names.size(), "setting") +
                       (names.size() == 1 ? " has none and keeps its value: "
                                          : " have none and keep their values: ");
    for (std::size_t i = 0; i < std::min(names.size(), kMost); ++i) {
        text += (i == 0 ? "" : ", ") + names[i];
    }
    return text +
           (names.size() > kMost ? " and " + std::to_string(names.size() - kMost) + " more" : "");
}

template <typename Predicate>
std::vector<StoragePtr> storagesThat(const Store& store, Predicate&& isOne) {
    std::vector<StoragePtr> storages;
    for (const StoragePtr& storage : store.storages()) {
        if (isOne(fateBefore(store, storage))) {
            storages.push_back(storage);
        }
    }
    return storages;
}

std::vector<StoragePtr> resettable(const Store& store) {
    return storagesThat(store, [](const Fate& fate) { return &fate == &kReset; });
}

/// A reset writes those as well that have nothing to go back to.
std::vector<StoragePtr> writtenByReset(const Store& store) {
    return storagesThat(
        store, [](const Fate& fate) { return &fate != &kSurvives && &fate != &kReadonly; });
}

void demandSomethingToReset(const Store& store, const std::vector<StoragePtr>& resettable) {
    if (resettable.empty()) {
        // The marker alone would keep every process from saving, for nothing.
        throw Failure(ExitCode::kFailed,
                      "nothing was reset: no storage below " + store.base() +
                          " has a defaults file with settings that a reset goes back to");
    }
}

void demandConfirmation(const Store& store, const std::vector<StoragePtr>& resettable) {
    demandYes("Reset " + counted(resettable.size(), "storage") + " below " + store.base() +
                  " to the defaults? " + store.marker() +
                  " then keeps every process from saving until the restart.",
              "nothing was reset");
}

using Foresights = std::vector<ResetForesight>;

/// All that keeps a storage from a reset.
std::vector<FileFinding> costIn(const ResetForesight& foresight) {
    std::vector<FileFinding> cost = foresight.damaged;
    cost.insert(cost.end(), foresight.changed.begin(), foresight.changed.end());
    return cost;
}

/// A reset keeps what the defaults do not have, and afterwards nothing would tell what it was
/// called, nor what stood in lines that no load takes.
void demandThatNothingIsHidden(const Foresights& foresights) {
    std::string findings;
    std::string remedies;
    for (const ResetForesight& foresight : foresights) {
        findings += linesOf(costIn(foresight));
        remedies += foresight.remedy.empty() ? "" : foresight.remedy + "\n";
    }
    if (!findings.empty()) {
        throw Failure(ExitCode::kFailed,
                      findings + "nothing was reset\n" + remedies + "--force resets all the same");
    }
}

/// What nobody is kept from a reset by, and all else for who forces it and is asked.
void warn(const Foresights& foresights, const ResetOptions& options) {
    for (const ResetForesight& foresight : foresights) {
        std::vector<FileFinding> findings = foresight.told;
        if (!options.confirmed) {
            const std::vector<FileFinding> cost = costIn(foresight);
            findings.insert(findings.end(), cost.begin(), cost.end());
        }
        for (const FileFinding& finding : findings) {
            complain("warning: " + textOf(finding));
        }
    }
}

void resetStore(const Store& store) {
    store.manager().resetToDefault();
    const auto mode = store.manager().getSettingsOperationMode();
    if (mode == Qel::Settings::SOM_ResettingToDefault) {
        store.demandNormalMode();
    }
    if (mode == Qel::Settings::SOM_Normal) {
        throw Failure(ExitCode::kFailed,
                      "nothing was reset: the marker " + store.marker() + " cannot be created");
    }
}

std::string markerStays(const Store& store) {
    return "The marker " + visible(store.marker()) +
           " stays until the restart; until then no process saves settings.\n";
}

/// A reset goes by storages, and so passes these over; the person must know.
void addReplaced(const std::vector<ReplacedStorage>& replaced, Result& result, Json& json) {
    for (const ReplacedStorage& storage : replaced) {
        result.code = ExitCode::kFailed;
        Json row;
        addBytes(row, "name", storage.name);
        addBytes(row, "file", storage.file);
        row["fate"] = "replaced";
        json.push_back(row);
        result.output += visible(storage.file + ": NOT reset, " + storage.by + " has its name " +
                                 inQuotes(storage.name)) +
                         " and takes its place; " + remedyFor(storage) + "\n";
    }
}

/// What a reset that was forced has cost. The lines and what could be done are those of files that
/// it has replaced; one that could not be written still has all.
std::vector<FileFinding> costOf(const Store& store, const Foresights& foresights) {
    std::vector<FileFinding> all;
    for (const ResetForesight& foresight : foresights) {
        if (!isWritten(store, foresight.storage)) {
            continue;
        }
        for (const FileFinding& line : foresight.damaged) {
            all.push_back(line);
            if (line.finding.line != 0) {
                all.back().finding.reason.insert(
                    0, "what was line " + std::to_string(line.finding.line) + ": ");
            }
        }
        all.insert(all.end(), foresight.changed.begin(), foresight.changed.end());
    }
    for (FileFinding& finding : all) {
        finding.finding.line = 0;
        finding.finding.remedy.clear();
    }
    return all;
}

void addCost(const std::vector<FileFinding>& cost, Result& result, Json& json) {
    if (!cost.empty() && result.code == ExitCode::kDone) {
        result.code = ExitCode::kFindings;
    }
    result.output += linesOf(cost);
    json = jsonOf(cost);
}

struct Seen {
    std::vector<ReplacedStorage> replaced;
    Foresights foresights;
};

Result report(const Store& store, Format format, const Seen& seen) {
    Result result;
    result.changed = true;
    bool anyReset = false;
    Json storages = Json::array();
    for (const StoragePtr& storage : store.storages()) {
        const Fate& fate = fateAfter(store, storage);
        if (&fate == &kFailed) {
            result.code = ExitCode::kFailed;
        }
        anyReset = anyReset || &fate == &kReset;
        Json row;
        addBytes(row, "name", storage->name());
        row["fate"] = fate.word;
        const std::vector<std::string> kept =
            &fate == &kReset ? namesWithoutDefault(store, storage) : std::vector<std::string>();
        for (const std::string& name : kept) {
            Json setting;
            addBytes(setting, "name", name);
            row["kept"].push_back(setting);
        }
        storages.push_back(row);
        result.output += visible(storage->name() + ": " + fate.words + exceptFor(kept)) + "\n";
    }
    // Its settings are not in the store, so nothing could be reset; the person must know.
    for (const Store::FailedFile& file : store.failedFiles()) {
        result.code = ExitCode::kFailed;
        Json row;
        addBytes(row, "file", file.name);
        row["fate"] = "notLoaded";
        storages.push_back(row);
        result.output += visible(file.name) + ": not reset, it could not be loaded\n";
    }
    addReplaced(seen.replaced, result, storages);
    Json findings;
    addCost(costOf(store, seen.foresights), result, findings);
    if (!anyReset) {
        complain("nothing was reset, and yet no process saves settings while the marker " +
                 store.marker() +
                 " is there:\nrestart or remove it, when what kept the files from being written is "
                 "mended");
    }
    result.deed = anyReset ? "the store is reset and " + store.marker() + " is there" : "";
    result.output += anyReset ? markerStays(store) : "";
    if (format == Format::kJson) {
        Json json = {{"storages", storages}, {"findings", findings}};
        addBytes(json, "marker", store.marker());
        result.output = textOfJson(json);
    }
    return result;
}

bool isMachinesDirectory(const std::string& base) {
    const auto status = Qel::Settings::files::statusAt(base);
    const auto machines = Qel::Settings::files::statusAt("/");
    return status && machines && status->device == machines->device &&
           status->inode == machines->inode;
}

}  // namespace

void demandMarkerFor(const Location& location) {
    if (location.marker.empty() && !isMachinesDirectory(location.base)) {
        throw Failure(
            ExitCode::kUsage,
            "reset --all below " + inQuotes(location.base) +
                " needs a marker of its own: the machine's would keep all its processes "
                "from saving\nadd --marker " +
                shellPath(location.base + (location.base.back() == '/' ? "" : "/") + "reset.tmp") +
                " or set T8SETTINGS_MARKER");
    }
}

Result resetAll(const Store& store, Format format, const ResetOptions& options) {
    store.demandNormalMode();
    if (!options.confirmed && !canAsk()) {
        throw Failure(ExitCode::kUsage,
                      "reset --all needs --yes where nobody can be asked; nothing was reset");
    }
    const std::vector<StoragePtr> storages = resettable(store);
    demandSomethingToReset(store, storages);
    const Foresights foresights = foreseenOfReset(writtenByReset(store), store.factory());
    if (!options.forced) {
        demandThatNothingIsHidden(foresights);
    }
    warn(foresights, options);
    if (!options.confirmed) {
        demandConfirmation(store, storages);
    }
    const auto replaced = storagesReplacedBelow(store.base());
    LibraryLog::instance().passOver({kToldInTheResult});
    resetStore(store);
    return report(store, format, {replaced, foresights});
}

}  // namespace t8settings
