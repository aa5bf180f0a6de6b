#include "Changes.h"

#include <Qel/Settings/SettingHolder.h>
#include <Qel/Settings/SettingStorageInifile.h>
#include <algorithm>
#include <boost/make_shared.hpp>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <iterator>
#include <map>
#include <numeric>
#include <optional>
#include <set>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "EndDeferred.h"
#include "Exit.h"
#include "FileOnDisk.h"
#include "Files.h"
#include "Foresight.h"
#include "Lasting.h"
#include "LibraryLog.h"
#include "LoadOutcome.h"
#include "Progress.h"
#include "Recovery.h"
#include "Terminal.h"
#include "TextOfValue.h"
#include "files/WholeFile.h"

namespace t8settings {

namespace {

using Changes = std::vector<Change>;
using Qel::Settings::SettingHolder;
using Qel::Settings::SettingStorageFileBase;

/// The user hears of these with what they cost, or not at all when nothing.
const std::vector<std::string> kToldByTheWarnings = {
    "has no section and will load under the one before it in the file",
    "and will load under its name"};

Failure notSaved(const Changes& changes, const std::string& why) {
    const std::string what = changes.size() == 1 ? changes.front().setting->name()
                                                 : counted(changes.size(), "setting") + " of " +
                                                       storageOf(changes.front().setting).name();
    return {ExitCode::kFailed, what + " could not be saved" + (why.empty() ? "" : ":\n" + why)};
}

/// A storage may save inside each change. So that it saves once, all but the last setting are
/// replaced, which a storage takes for no change.
void apply(const Changes& changes) {
    SettingStorageFileBase& storage = storageOf(changes.front().setting);
    for (auto change = changes.begin(); change + 1 != changes.end(); ++change) {
        storage.registerSetting(
            boost::make_shared<SettingHolder>(change->setting->name(), change->value));
    }
    const std::string& last = changes.back().setting->name();
    const SettingPtr setting = storage.querySetting(last);
    if (!setting->setValue(changes.back().value)) {
        throw Failure(ExitCode::kRefused, last + " refuses the change");
    }
}

std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += (text.empty() ? "" : "\n") + line;
    }
    return text;
}

/// The storage's settings as they are meant to be.
SettingTexts textsAfter(const Store& store, const Changes& changes) {
    SettingTexts texts = textsOf(storageOf(changes.front().setting), store.factory());
    for (const Change& change : changes) {
        texts[change.setting->name()] = change.typeAndText;
    }
    return texts;
}

/// What is refused here need not be taken back, which is more than a save could do: it would write
/// the storage in the same way. Gives what else the save does.
std::vector<std::string> demandThatASaveKeepsAll(const Store& store, const Changes& changes) {
    SettingStorageFileBase& storage = storageOf(changes.front().setting);
    // What is amiss in its files was told when the store came up.
    LibraryLog::instance().hold();
    const Foresight foresight = foreseen(storage, textsAfter(store, changes), store.factory());
    LibraryLog::instance().take();
    if (!foresight.losses.empty()) {
        std::string losses;
        for (const Loss& loss : foresight.losses) {
            losses += textOf(loss) + "\n";
        }
        throw Failure(ExitCode::kFailed, storage.name() + " cannot be saved as it is meant:\n" +
                                             losses + "nothing was changed");
    }
    return foresight.added;
}

std::set<std::string> namesOf(const Changes& changes) {
    std::set<std::string> names;
    for (const Change& change : changes) {
        names.insert(change.setting->name());
    }
    return names;
}

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
    const SettingLines said = settingsOf(*taken);
    return std::all_of(changes.begin(), changes.end(), [&said](const Change& change) {
        const auto found = said.find(change.setting->name());
        return found != said.end() && found->second == change.typeAndText;
    });
}

/// All are of one storage. Of settings that have their values already those that somebody set or
/// whose lines are misread, unless the file needs no save for them.
Changes worthSaving(const Store& store, const Changes& changes) {
    const FileGroup group = groupAt(*storageOf(changes.front().setting).rwFilename());
    const Texts same = textsOfSame(store, changes);
    const auto mended = isSaidOtherwise(same, group)
                            ? mendedBySave(group, namesOf(changes), store.factory())
                            : std::set<std::string>();
    Changes worth;
    for (const Change& change : changes) {
        const std::string& name = change.setting->name();
        if (same.count(name) == 0 || change.evenIfSame || mended.count(name) != 0) {
            worth.push_back(change);
        }
    }
    const bool areSame = std::all_of(worth.begin(), worth.end(), [&same](const Change& change) {
        return same.count(change.setting->name()) != 0;
    });
    return areSame && isSaidAlready(worth, group) ? Changes() : worth;
}

using ByStorage = std::map<std::pair<std::string, const SettingStorageFileBase*>, Changes>;

/// What is worth saving, each storage in its turn.
ByStorage toSave(const Store& store, const Changes& changes) {
    ByStorage byStorage;
    for (const Change& change : changes) {
        const SettingStorageFileBase& storage = storageOf(change.setting);
        byStorage[{storage.name(), &storage}].push_back(change);
    }
    for (auto ofStorage = byStorage.begin(); ofStorage != byStorage.end();) {
        Changes& worth = ofStorage->second;
        worth = worthSaving(store, worth);
        ofStorage = worth.empty() ? byStorage.erase(ofStorage) : std::next(ofStorage);
    }
    return byStorage;
}

/// Verify tells of it as long as it lies there. Afterwards nobody could. Gives what else would be
/// told no more.
std::vector<FileFinding> demandThatASaveHidesNothing(const Store& store, const Changes& changes) {
    const SettingStorageFileBase& storage = storageOf(changes.front().setting);
    const FileGroup group = groupAt(*storage.rwFilename());
    Lasting lasting = lastingBySave(group, namesOf(changes), store.factory());
    if (!lasting.stopping.empty()) {
        const std::string remedy = remedyForLasting(group, lasting.stopping);
        throw Failure(ExitCode::kFailed, linesOf(lasting.stopping) +
                                             "nothing was changed, as a save of " + storage.name() +
                                             " would make that last" +
                                             (remedy.empty() ? "" : "\n" + remedy));
    }
    for (FileFinding& finding : hiddenBySave(group, store.factory())) {
        lasting.told.push_back(std::move(finding));
    }
    return std::move(lasting.told);
}

void demandOnDisk(const Store& store, const Changes& changes) {
    const SettingStorageFileBase& storage = storageOf(changes.front().setting);
    const FileOnDisk file(storage, *storage.rwFilename(), store.factory());
    const SettingTexts onDisk = file.settings();
    for (const Change& change : changes) {
        const auto found = onDisk.find(change.setting->name());
        if (found == onDisk.end() || found->second != change.typeAndText) {
            throw notSaved({change}, *storage.rwFilename() + " does not give it back");
        }
    }
}

/// All changes are of one storage.
void changeAndSaveOne(const Store& store, const Changes& changes) {
    SettingStorageFileBase& storage = storageOf(changes.front().setting);
    LibraryLog::instance().hold();
    apply(changes);
    const bool saved = storage.save();
    if (storage.dirty()) {
        // A reset that began in between is no failure to save, and looks like none.
        store.demandNormalMode();
    }
    if (!saved || storage.dirty()) {
        throw notSaved(changes, reasons(LibraryLog::instance().takeAndHoldOn()));
    }
    demandOnDisk(store, changes);
    LibraryLog::instance().release();
}

bool areOnDisk(const Store& store, const Changes& changes) {
    try {
        demandOnDisk(store, changes);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

/// What a load would read of a storage's own file and of its copy, byte by byte; of one that cannot
/// be read nothing.
struct FilesThen {
    explicit FilesThen(const SettingStorageFileBase& storage)
        : file(bytesOf(*storage.rwFilename())), copy(bytesOf(copyOf(*storage.rwFilename()))) {}

    bool operator==(const FilesThen& other) const {
        return file == other.file && copy == other.copy;
    }

    std::optional<std::string> file;
    std::optional<std::string> copy;

private:
    static std::optional<std::string> bytesOf(const std::string& path) {
        std::string bytes;
        return Qel::Settings::files::readWholeFile(path, bytes) ? std::optional(bytes)
                                                                : std::nullopt;
    }
};

/// A storage before its changes, and what takes them back.
struct Before {
    Before(const Store& store, const Changes& changes)
        : storage(storageOf(changes.front().setting)), files(storage) {
        for (const Change& change : changes) {
            opposite.push_back({change.setting, change.setting->value(),
                                typeAndTextOf(change.setting, store.factory())});
        }
    }

    SettingStorageFileBase& storage;
    FilesThen files;
    Changes opposite;
};

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
    return before.storage.name() + ": another program has written " + file +
           " meanwhile, so it stays as it is" +
           (lines.empty() ? ", with the old values" : "\n" + joined(lines)) +
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
    return before.files.file
               ? name + " is as it was"
               : name + " has its old values again, in " + file + ", which was not there before";
}

/// Takes the storages back, the last one first, and gives what to tell of it.
Failure takenBack(const Store& store, const std::vector<Before>& befores, ExitCode code,
                  std::string text) {
    for (auto before = befores.rbegin(); before != befores.rend(); ++before) {
        text += takenBack(store, *before);
    }
    return {code, text};
}

}  // namespace

void demandWritable(const SettingPtr& setting) {
    const SettingStorageFileBase& storage = storageOf(setting);
    if (storage.readonly()) {
        throw Failure(ExitCode::kRefused, setting->name() + " is read-only: " + storage.info());
    }
}

void demandSeen(const std::vector<SettingPtr>& settings) {
    std::set<std::string> files;
    for (const SettingPtr& setting : settings) {
        const SettingStorageFileBase& storage = storageOf(setting);
        const std::string file = storage.readonly() ? "" : *storage.rwFilename();
        if (!files.insert(file).second || !mayNotBeRead(file)) {
            continue;
        }
        const FileGroup group = groupAt(file);
        if (takenByLoad(group) == nullptr) {
            throw Failure(ExitCode::kFailed, file + " cannot be read: " + std::strerror(EACCES) +
                                                 "\nnothing was changed, as nobody knows what " +
                                                 setting->name() +
                                                 " is there; be a user who may read it");
        }
    }
}

std::size_t changeAndSave(const Store& store, const Changes& changes) {
    const ByStorage byStorage = toSave(store, changes);
    std::vector<std::string> warnings;
    for (const auto& ofStorage : byStorage) {
        for (const FileFinding& finding : demandThatASaveHidesNothing(store, ofStorage.second)) {
            warnings.push_back(textOf(finding));
        }
        for (const std::string& added : demandThatASaveKeepsAll(store, ofStorage.second)) {
            warnings.push_back(added);
        }
    }
    const LibraryMessagePassedOver passedOver(kToldByTheWarnings);
    // Nobody may read the messages any more.
    std::signal(SIGPIPE, SIG_IGN);
    const EndDeferred endDeferred;
    std::vector<Before> befores;
    try {
        Progress progress("saving storage", byStorage.size());
        for (const auto& ofStorage : byStorage) {
            progress.begin(ofStorage.first.first);
            befores.emplace_back(store, ofStorage.second);
            changeAndSaveOne(store, ofStorage.second);
        }
        for (const std::string& warning : warnings) {
            complain("warning: " + warning);
        }
    } catch (const std::exception& error) {
        const auto* const known = dynamic_cast<const Failure*>(&error);
        const Failure failure =
            takenBack(store, befores, known == nullptr ? ExitCode::kFailed : known->code(),
                      error.what())
                .withChanges();
        if (endDeferred.isEnding()) {
            complain(failure.what());
        }
        throw failure;
    }
    return std::accumulate(
        byStorage.begin(), byStorage.end(), std::size_t{0},
        [](std::size_t sum, const auto& ofStorage) { return sum + ofStorage.second.size(); });
}

}  // namespace t8settings
