#include "change/Changes.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <iterator>
#include <map>
#include <numeric>
#include <set>
#include <string>
#include <utility>

#include "change/Foresight.h"
#include "change/StorageSave.h"
#include "change/TakingBack.h"
#include "change/WorthSaving.h"
#include "check/Lasting.h"
#include "console/EndDeferred.h"
#include "console/Exit.h"
#include "console/Progress.h"
#include "console/Terminal.h"
#include "store/Files.h"
#include "store/LibraryLog.h"
#include "store/LoadOutcome.h"

namespace t8settings {

namespace {

using Qel::Settings::SettingStorageFileBase;

/// The user hears of these with what they cost, or not at all when nothing.
const std::vector<std::string> kToldByTheWarnings = {
    "has no section and will load under the one before it in the file",
    "and will load under its name"};

/// The storage's settings as they are meant to be.
SettingTexts textsAfter(const Store& store, const Changes& changes) {
    SettingTexts texts = textsOf(storageOf(changes.front().setting), store.factory());
    for (const Change& change : changes) {
        texts[change.setting->name()] = change.typeAndText;
    }
    return texts;
}

Foresight foreseenOf(const Store& store, const Changes& changes) {
    // What is amiss in the files was told when the store came up.
    LibraryLog::instance().hold();
    Foresight foresight =
        foreseen(storageOf(changes.front().setting), textsAfter(store, changes), store.factory());
    LibraryLog::instance().take();
    return foresight;
}

/// What is refused here need not be taken back, which is more than a save could do: it would write
/// the storage in the same way.
void demandThatASaveKeepsAll(const SettingStorageFileBase& storage, const Foresight& foresight) {
    if (!foresight.losses.empty()) {
        std::string losses;
        for (const Loss& loss : foresight.losses) {
            losses += textOf(loss) + "\n";
        }
        throw Failure(ExitCode::kFailed, storage.name() + " cannot be saved as it is meant:\n" +
                                             losses + "nothing was changed");
    }
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

/// Names of the settings whose texts the file or the changes give, not the defaults.
std::set<std::string> givenBy(const FileGroup& group, const Changes& changes) {
    std::set<std::string> given = namesOf(changes);
    if (const IniFile* const taken = takenByLoad(group)) {
        for (const auto& setting : settingsByName(*taken)) {
            given.insert(setting.first);
        }
    }
    return given;
}

/// Verify tells of it as long as it lies there. Afterwards nobody could. Gives what else would be
/// told no more.
std::vector<FileFinding> demandThatASaveHidesNothing(const Store& store, const Changes& changes,
                                                     const Foresight& foresight) {
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
    for (FileFinding& finding : hiddenBySave(group, store.factory(), foresight.withoutLine)) {
        lasting.told.push_back(std::move(finding));
    }
    for (FileFinding& finding :
         lastingOfDefaults(group, givenBy(group, changes), store.factory())) {
        lasting.told.push_back(std::move(finding));
    }
    return std::move(lasting.told);
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
        const Foresight foresight = foreseenOf(store, ofStorage.second);
        for (const FileFinding& finding :
             demandThatASaveHidesNothing(store, ofStorage.second, foresight)) {
            warnings.push_back(textOf(finding));
        }
        demandThatASaveKeepsAll(*ofStorage.first.second, foresight);
        warnings.insert(warnings.end(), foresight.added.begin(), foresight.added.end());
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
