#include "change/TakingBack.h"

#include <Qel/Settings/SettingStorageInifile.h>
#include <algorithm>
#include <cstddef>
#include <exception>

#include "change/FileOnDisk.h"
#include "change/Foresight.h"
#include "change/StorageSave.h"
#include "console/Terminal.h"
#include "files/WholeFile.h"
#include "store/Files.h"
#include "store/LoadOutcome.h"
#include "values/TextOfValue.h"

namespace t8settings {

namespace {

using Qel::Settings::SettingStorageFileBase;

std::optional<std::string> bytesOf(const std::string& path) {
    std::string bytes;
    return Qel::Settings::files::readWholeFile(path, bytes) ? std::optional(bytes) : std::nullopt;
}

/// Whether a load would read what the last save of this process has left. The CRC of that text is
/// not known when a save failed half-way, but what was meant; a name that it only adds was
/// nobody's.
bool holdsOwnSave(const Store& store, const SettingStorageFileBase& storage, const IniFile& taken) {
    const auto* const ini = dynamic_cast<const Qel::Settings::SettingStorageInifile*>(&storage);
    if (ini == nullptr || taken.state() != FileState::kSealed || taken.hasMoreAfterCrcLine()) {
        return false;
    }
    if (ini->crc32() != 0) {
        return ini->crc32() == taken.computedCrc();
    }
    const SettingTexts meant = textsOf(storage, store.factory());
    const SettingTexts onDisk =
        FileOnDisk(storage, *storage.rwFilename(), store.factory()).settings();
    return std::all_of(onDisk.begin(), onDisk.end(), [&meant](const auto& setting) {
        const auto found = meant.find(setting.first);
        return found == meant.end() || found->second == setting.second;
    });
}

/// What somebody else's save has left of the settings that were to change: those that have not
/// their old values.
std::string leftByOthers(const Store& store, const Before& before) {
    constexpr std::size_t kMost = 10;
    const std::string& file = *before.storage.rwFilename();
    const SettingTexts onDisk = FileOnDisk(before.storage, file, store.factory()).settings();
    std::vector<std::string> lines;
    for (const Change& change : before.opposite) {
        const auto found = onDisk.find(change.setting->name());
        if (found == onDisk.end() || found->second != change.typeAndText) {
            lines.push_back(change.setting->name() + " is " +
                            (found == onDisk.end() ? "not" : inQuotes(found->second)) + " there");
        }
    }
    const std::size_t more = lines.size() - std::min(lines.size(), kMost);
    lines.resize(lines.size() - more);
    if (more != 0) {
        lines.push_back("and " + std::to_string(more) + " more have not their old values there");
    }
    std::string left;
    for (const std::string& line : lines) {
        left += "\n" + line;
    }
    return before.storage.name() + ": another program has written " + file +
           " meanwhile, so it stays as it is" + (left.empty() ? ", with the old values" : left) +
           "\nto change it all the same, run this once more";
}

/// What there is to be told of it; nothing of files that are untouched.
std::string takenBack(const Store& store, const Before& before) {
    if (before.files == FilesThen(before.storage)) {
        return "";
    }
    const FileGroup group = groupAt(*before.storage.rwFilename());
    const IniFile* const taken = takenByLoad(group);
    const std::string name = "\n" + before.storage.name();
    if (taken == nullptr) {
        return name + ": no program can read " + group.file.path() + " as it is now; it stays so";
    }
    if (!holdsOwnSave(store, before.storage, *taken)) {
        return "\n" + leftByOthers(store, before);
    }
    try {
        changeAndSaveOne(store, before.opposite);
    } catch (const std::exception& failure) {
        if (!areOnDisk(store, before.opposite)) {
            return name + " STAYS CHANGED: " + failure.what();
        }
    }
    const std::string& file = *before.storage.rwFilename();
    if (!before.files.copy && iniFileAt(copyOf(file)).accepted()) {
        return name + " has its old values again, in " + copyOf(file) +
               ", which is read in place of " + file + " until a save can write that";
    }
    return before.files.hasFile
               ? name + " is as it was"
               : name + " has its old values again, in " + file + ", which was not there before";
}

}  // namespace

FilesThen::FilesThen(const SettingStorageFileBase& storage)
    : file(bytesOf(*storage.rwFilename())),
      copy(bytesOf(copyOf(*storage.rwFilename()))),
      hasFile(mayBeThere(*storage.rwFilename())) {}

Before::Before(const Store& store, const Changes& changes)
    : storage(storageOf(changes.front().setting)), files(storage) {
    for (const Change& change : changes) {
        opposite.push_back({change.setting, change.setting->value(),
                            typeAndTextOf(change.setting, store.factory())});
    }
}

Failure takenBack(const Store& store, const std::vector<Before>& befores, ExitCode code,
                  std::string text) {
    for (auto before = befores.rbegin(); before != befores.rend(); ++before) {
        text += takenBack(store, *before);
    }
    return {code, text};
}

}  // namespace t8settings
