#include "survey/Survey.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "console/Nearest.h"
#include "console/Progress.h"
#include "console/Terminal.h"
#include "store/LoadOutcome.h"
#include "store/XmlFile.h"
#include "survey/DumpedSettings.h"

namespace t8settings {

namespace {

using SharedFacts = std::shared_ptr<const StorageFacts>;

void tell(const SurveyedFile& file, const std::string& outcome) {
    complain("warning: " + file.path + ": " + file.error + "; " + outcome);
}

/// What becomes of the settings of one file. `defaults` is null for a storage without any.
void addSettings(Facts& facts, const SurveyedFile& file, const SurveyedFile* defaults,
                 const SharedFacts& storage) {
    for (const auto& [name, record] : file.settings) {
        SettingFacts setting = {record, file.path, &file == defaults, std::nullopt, storage};
        if (defaults != nullptr) {
            const auto known = defaults->settings.find(name);
            setting.byDefault = known == defaults->settings.end()
                                    ? std::nullopt
                                    : std::optional<Record>(known->second);
        }
        facts.insert_or_assign(name, setting);
    }
}

void addTo(StorageFacts& facts, const SurveyedFile& file) {
    facts.readonly = facts.readonly || file.readonly;
    if (!file.savePolicy.empty()) {
        facts.savePolicy = file.savePolicy;
    }
    if (facts.readonly) {
        facts.readWriteFile.clear();
    }
}

/// The read/write file of a storage that its defaults file, if there is one, calls `name`; nothing
/// when there is none, or a load would not take it.
std::optional<SurveyedFile> readWriteFile(const StorageFiles& files, const std::string& name,
                                          ExitCode& code) {
    if (!mayBeThere(files.readWrite) || isOutOfSight(files.readWrite)) {
        return std::nullopt;
    }
    SurveyedFile file =
        files.isXml() ? surveyed(XmlFile(files.readWrite)) : surveyed(readWriteOf(files, name));
    if (!file.error.empty()) {
        tell(file, files.isXml() ? fateOfXml(files.readWrite) : fateOf(groupAt(files.readWrite)));
        code = ExitCode::kFindings;
        return std::nullopt;
    }
    return file;
}

/// Whatever its files call it, a storage has the name that a load comes to last.
void nameStorage(SurveyedFile& file, const std::string& name) {
    file.storage = name;
    for (auto& setting : file.settings) {
        setting.second.storage = name;
    }
}

void addStorage(Facts& facts, const StorageFiles& files) {
    StorageFacts storage;
    storage.defaultsFile = files.defaults;
    storage.readWriteFile = files.readWrite;
    storage.survivesReset = files.survivesReset;
    SurveyedFile defaults;
    defaults.storage = files.storageName();
    const bool hasDefaults = !files.defaults.empty();
    if (hasDefaults) {
        defaults = files.isXml() ? surveyed(XmlFile(files.defaults)) : surveyed(defaultsOf(files));
        if (!defaults.error.empty()) {
            if (!isOutOfSight(files.defaults)) {
                tell(defaults, "no program can load the storage");
            }
            facts.code = ExitCode::kFindings;
            return;
        }
        addTo(storage, defaults);
    }
    const std::optional<SurveyedFile> readWrite =
        readWriteFile(files, defaults.storage, facts.code);
    if (readWrite) {
        addTo(storage, *readWrite);
        nameStorage(defaults, readWrite->storage);
    }
    const auto shared = std::make_shared<const StorageFacts>(storage);
    addSettings(facts, defaults, &defaults, shared);
    if (readWrite) {
        addSettings(facts, *readWrite, hasDefaults ? &defaults : nullptr, shared);
    }
}

Facts surveyOfBase(const std::string& base) {
    Facts facts;
    const std::vector<StorageFiles> storages = storagesInSight(base);
    const auto unread = directoriesOutOfSight(base);
    complainOfUnread(unread);
    if (!unread.empty()) {
        facts.code = ExitCode::kFindings;
    }
    if (storages.empty()) {
        complainOfNoFiles(base);
        facts.code = ExitCode::kFailed;
    }
    Progress progress("reading file", storages.size());
    for (const StorageFiles& files : storages) {
        progress.begin(files.fileName);
        addStorage(facts, files);
    }
    return facts;
}

Failure unreadable(const std::string& path, const std::string& reason) {
    return {ExitCode::kFailed, inQuotes(path) + " cannot be read: " + reason};
}

SurveyedFile readableXml(const std::string& path) {
    const XmlFile file(path);
    if (!file.error.empty()) {
        throw unreadable(path, file.unreadable.empty() ? file.error : file.unreadable);
    }
    return surveyed(file);
}

IniFile readableIni(const std::string& path) {
    IniFile file = iniFileUnderLock(path);
    if (file.state() <= FileState::kTooLarge) {
        throw unreadable(path, file.error().empty() ? surveyed(file).error : file.error());
    }
    return file;
}

Facts surveyOfFile(const std::string& path, const SurveyedFile& file) {
    const bool isDefaults = roleOf(path) == IniFile::Role::kDefaults;
    StorageFacts storage;
    (isDefaults ? storage.defaultsFile : storage.readWriteFile) = path;
    storage.isWhole = false;
    storage.survivesReset = survivesReset(path);
    addTo(storage, file);
    Facts facts;
    if (!file.error.empty()) {
        tell(file, "no program that loads it takes these settings");
        facts.code = ExitCode::kFindings;
    }
    addSettings(facts, file, isDefaults ? &file : nullptr,
                std::make_shared<const StorageFacts>(storage));
    return facts;
}

Facts noDump(const IniFile& dump) {
    throw Failure(ExitCode::kFailed, inQuotes(dump.path()) +
                                         " is a dump and no settings file: load takes it, and "
                                         "diff compares it with a store, a file or another dump");
}

Facts surveyOfDump(const IniFile& dump) {
    SurveyedFile file;
    file.path = dump.path();
    file.settings = settingsInDump(dump);
    return surveyOfFile(dump.path(), file);
}

Facts surveyOfFile(const std::string& path, Facts (*ofDump)(const IniFile&)) {
    Progress progress("reading file", 1);
    progress.begin(path);
    if (holdsXml(path)) {
        return surveyOfFile(path, readableXml(path));
    }
    const IniFile file = readableIni(path);
    return isDump(file) ? ofDump(file) : surveyOfFile(path, surveyed(file));
}

}  // namespace

bool SettingFacts::differs() const {
    return !byDefault || byDefault->type != inForce.type || byDefault->text != inForce.text;
}

void addOrigin(Json& json, const SettingFacts& setting) {
    json["origin"] = setting.origin();
    addBytes(json, "file", setting.file);
}

ExitCode graver(ExitCode one, ExitCode other) {
    return one == ExitCode::kDone || other == ExitCode::kFailed ? other : one;
}

Facts survey(const Location& location) {
    return location.file.empty() ? surveyOfBase(location.base)
                                 : surveyOfFile(location.file, noDump);
}

Facts surveyAt(const std::string& path) {
    return isDirectory(path) ? surveyOfBase(path) : surveyOfFile(path, surveyOfDump);
}

std::vector<std::string> namesOf(const Facts& facts) {
    std::vector<std::string> names;
    std::transform(facts.begin(), facts.end(), std::back_inserter(names),
                   [](const Facts::value_type& one) { return one.first; });
    return names;
}

const SettingFacts& factsOn(const std::string& name, const Facts& facts) {
    const auto found = facts.find(name);
    if (found != facts.end()) {
        return found->second;
    }
    const Failure failure = noSuch("setting", name, namesOf(facts));
    throw Failure(graver(failure.code(), facts.code), failure.what());
}

}  // namespace t8settings
