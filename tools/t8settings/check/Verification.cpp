#include "check/Verification.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <memory>
#include <unistd.h>
#include <utility>

#include "check/WaysOut.h"
#include "console/Progress.h"
#include "console/Shell.h"
#include "console/Terminal.h"
#include "files/FileStatus.h"
#include "store/LoadOutcome.h"
#include "store/Replacement.h"
#include "store/XmlFile.h"

namespace t8settings {

namespace {

/// Names in the directory, in order; a directory that is not there has none. `error` is the errno
/// of a reading that ended too early, or 0.
std::vector<std::string> entriesOf(const std::string& path, int& error) {
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(::opendir(path.c_str()), &::closedir);
    error = 0;
    std::vector<std::string> names;
    while (directory) {
        errno = 0;
        const dirent* const entry = ::readdir(directory.get());
        if (entry == nullptr) {
            error = errno;
            break;
        }
        names.emplace_back(entry->d_name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

/// No command mends XML, which no program writes.
std::string remedyForXml(const XmlFile& file, const std::string& path) {
    if (!file.unreadable.empty() || fileBeside(path)) {
        return "";
    }
    return roleOf(path) == IniFile::Role::kReadWrite
               ? "mend it; or to go by the defaults: " + commandToMoveAway(path)
               : "mend it";
}

}  // namespace

void Verification::verifyBelow(const std::string& base) {
    const std::vector<StorageFiles> storages = storagesInSight(base);
    for (const StorageFiles& storage : storages) {
        known_.insert(storage.defaults);
        known_.insert(storage.readWrite);
    }
    Progress progress("verifying file", storages.size());
    for (const StorageFiles& storage : storages) {
        progress.begin(storage.fileName);
        verifyStorage(storage);
    }
    for (FileFinding& clash : nameClashesBelow(base)) {
        findings_.push_back(std::move(clash));
    }
    noteMissingDefaults(base, storages);
    for (const auto& directory :
         Qel::Settings::files::storageDirectories(endsWith(base, "/") ? base : base + "/")) {
        verifyDirectory(directory.defaults);
        verifyDirectory(directory.readWrite);
    }
}

void Verification::verifyFile(const std::string& path) {
    if (!isThere(path) && !canRead(Qel::Settings::files::directoryOf(path))) {
        return;
    }
    const std::string unusual = whyNoPlainFile(path);
    if (!unusual.empty()) {
        const std::string base = isDirectory(path) ? baseMeantBy(path) : "";
        const bool isInTheWay = isIni(path) && survivesReset(path).has_value();
        add(path, Harm::kUnreadable, unusual,
            !base.empty() ? "did you mean --base " + shellPath(base) + "?"
            : isInTheWay  ? kMoveAway
                          : "");
        return;
    }
    if (!isPlainFile(path) && errno == ENOENT) {
        if (!addIfDangling(path)) {
            add(path, Harm::kUnreadable, "not there", "");
        }
    }
    if (holdsXml(path)) {
        verifyXml(path, path);
    } else if (fileBeside(path)) {
        const IniFile file = iniFileUnderLock(path);
        addFile(file);
        for (const FileFinding& finding : findingsIn(file)) {
            findings_.push_back(finding);
        }
    } else {
        verifyGroup(groupAt(path));
    }
    if (!fileBeside(path)) {
        for (FileFinding& clash : clashes_.take(path)) {
            findings_.push_back(std::move(clash));
        }
    }
}

void Verification::verifyStorage(const StorageFiles& storage) {
    if (!storage.isXml()) {
        verifyIni(storage);
        return;
    }
    for (const std::string& path : {storage.defaults, storage.readWrite}) {
        if (!path.empty() && canRead(Qel::Settings::files::directoryOf(path))) {
            verifyXml(storage.readWrite, path);
        }
    }
}

void Verification::verifyIni(const StorageFiles& storage) {
    std::string path;
    std::set<std::string> names;
    for (const std::string& file : {storage.defaults, storage.readWrite}) {
        if (file.empty()) {
            continue;
        }
        if (!canRead(Qel::Settings::files::directoryOf(file))) {
            continue;
        }
        addIfDangling(file);
        const FileGroup group = groupAt(file);
        verifyGroup(group);
        const IniFile* const taken = takenByLoad(group);
        if (taken == nullptr) {
            continue;
        }
        path = taken->path();
        for (const auto& setting : settingsByName(*taken)) {
            names.insert(setting.first);
        }
    }
    noteNames(storage.readWrite, path, names);
    noteMissingDirectory(storage);
}

void Verification::noteMissingDirectory(const StorageFiles& storage) {
    const std::string directory = Qel::Settings::files::directoryOf(storage.readWrite);
    if (!isThere(directory) && !defaultsOf(storage).readonly()) {
        missing_[directory] = Qel::Settings::files::directoryOf(storage.defaults);
    }
}

void Verification::noteMissingDefaults(const std::string& base,
                                       const std::vector<StorageFiles>& storages) {
    for (const auto& directory :
         Qel::Settings::files::storageDirectories(endsWith(base, "/") ? base : base + "/")) {
        const auto isOfIt = [&directory](const StorageFiles& storage) {
            return Qel::Settings::files::directoryOf(storage.readWrite) == directory.readWrite;
        };
        if (!mayBeThere(directory.defaults) &&
            std::any_of(storages.begin(), storages.end(), isOfIt)) {
            missingDefaults_[directory.defaults] = directory.readWrite;
        }
    }
}

void Verification::verifyGroup(const FileGroup& group) {
    for (const IniFile* const file : {&group.file, &group.copy, &group.newCopy, &group.setAside}) {
        addFile(*file);
    }
    for (const IniFile& file : group.setAsideLater) {
        addFile(file);
    }
    for (const FileFinding& finding : findingsIn(group)) {
        findings_.push_back(finding);
    }
}

void Verification::verifyXml(const std::string& storage, const std::string& path) {
    if (isThere(setAsideOf(path))) {
        add(setAsideOf(path), Harm::kLost,
            "set aside by a load that could not use it, and never read",
            "mend it and give it its name back; or delete it");
    }
    if (!isThere(path)) {
        return;
    }
    const XmlFile file(path);
    files_.push_back({path, "xml", file.settings.size()});
    if (!file.error.empty()) {
        const bool isLoaded = roleOf(path) == IniFile::Role::kReadWrite && !fileBeside(path);
        add(path, file.unreadable.empty() ? Harm::kUnusable : Harm::kUnreadable,
            file.error + (isLoaded ? "; " + fateOfXml(path) : ""), remedyForXml(file, path));
    }
    for (const std::string& rejected : file.rejected) {
        add(path, Harm::kLost, rejected, "t8settings types shows all types");
    }
    std::set<std::string> names;
    for (const SettingPtr& setting : file.settings) {
        names.insert(setting->name());
    }
    noteNames(storage, path, names);
}

bool Verification::canRead(const std::string& directory) {
    const auto known = canRead_.emplace(directory, true);
    const std::string error = known.second ? whyUnreadable(directory) : "";
    if (!error.empty()) {
        add(directory, Harm::kUnreadable, "the directory cannot be read: " + error, "");
        known.first->second = false;
    }
    return known.first->second;
}

void Verification::verifyDirectory(const std::string& path) {
    if (!canRead(path)) {
        return;
    }
    int error = 0;
    for (const std::string& name : entriesOf(path, error)) {
        verifyEntry(std::string(path).append("/").append(name));
    }
    if (error != 0) {
        add(path, Harm::kUnreadable, std::strerror(error), "");
    }
}

void Verification::verifyEntry(const std::string& path) {
    const std::string file = fileBeside(path).value_or(path);
    if (known_.count(file) != 0 || (file == path && isDirectory(path))) {
        return;
    }
    // Files beside one that is not there; the first of them speaks for all.
    if (file != path && isIni(file)) {
        known_.insert(file);
        verifyGroup(groupAt(file));
    } else if (path == setAsideOf(file) && isXml(file)) {
        known_.insert(file);
        verifyXml(file, file);
    } else if (isKept(path)) {
        kept_.push_back(path);
    } else if (!isTargetOfALink(path)) {
        add(path, Harm::kIgnored,
            isIni(path) || isXml(path) ? "ignored, as its name begins with \".\""
                                       : "ignored, as its name ends in neither .ini nor .xml",
            "");
    }
}

bool Verification::isTargetOfALink(const std::string& path) const {
    using Qel::Settings::files::statusAt;
    const auto target = statusAt(path);
    return target && std::any_of(known_.begin(), known_.end(), [&target](const std::string& file) {
               const auto status = statusAt(file);
               return status && areOneFile(*status, *target);
           });
}

bool Verification::addIfDangling(const std::string& path) {
    const bool isDangling = isThere(path) && !mayBeThere(path);
    if (isDangling) {
        add(path, Harm::kUnreadable, "is a link that leads nowhere", "mend the link, or remove it");
    }
    return isDangling;
}

void Verification::noteNames(const std::string& storage, const std::string& path,
                             const std::set<std::string>& names) {
    std::map<std::string, std::vector<std::string>> shared;
    for (const std::string& name : names) {
        const Place& other = placeOfName_.emplace(name, Place{storage, path}).first->second;
        if (other.storage != storage) {
            shared[other.storage].push_back(name);
        }
    }
    for (const auto& [other, common] : shared) {
        add(path, Harm::kChanged,
            std::to_string(common.size()) + " of its settings are in " +
                placeOfName_[common.front()].path + " too, such as " + common.front() +
                ": those that are loaded last count",
            "give its storage a #name of its own");
    }
}

void Verification::addFile(const IniFile& file) {
    if (file.state() != FileState::kMissing) {
        files_.push_back({file.path(), wordOf(file), settingsByName(file).size()});
    }
}

void Verification::add(const std::string& path, Harm harm, const std::string& reason,
                       const std::string& remedy) {
    findings_.push_back({path, {0, harm, reason, remedy}});
}

}  // namespace t8settings
