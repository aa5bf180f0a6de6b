#include "store/LoadOutcome.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "console/Shell.h"
#include "files/Descriptor.h"
#include "files/FileStatus.h"
#include "store/LibraryLog.h"

namespace t8settings {

namespace {

bool isDirectoryItself(const std::string& path) {
    const auto status = Qel::Settings::files::statusOfEntryAt(path);
    return status && status->isDirectory;
}

/// What is a directory takes the place of no file, nor the other way round.
bool mayTakePlaceAside(const std::string& path) {
    const std::string aside = setAsideOf(path);
    return !isDirectoryItself(aside) && !(isDirectoryItself(path) && isThere(aside));
}

bool mayBeSetAside(const FileGroup& group) {
    const std::string& path = group.file.path();
    return !group.copy.mayBeReadLater() && !isHidden(path) && mayTakePlaceAside(path);
}

/// Others may read what this user may not.
std::string whoLoads(const std::string& path) {
    return mayNotBeRead(path) ? "a program that may not read it either"
                              : "the next program to load it";
}

/// Whether this user sees that the file is there, and has nothing to read in its place.
bool isUnread(const StorageFiles& storage) {
    return mayNotBeRead(storage.readWrite) && !isHidden(storage.readWrite) &&
           (storage.isXml() || takenByLoad(groupAt(storage.readWrite)) == nullptr);
}

bool mayRenameIn(const std::string& directory) {
    return ::faccessat(AT_FDCWD, directory.c_str(), W_OK | X_OK, AT_EACCESS) == 0;
}

/// Whether a load by this user could give the file another name.
bool mayBeRenamed(const StorageFiles& storage) {
    return mayRenameIn(Qel::Settings::files::directoryOf(storage.readWrite)) &&
           (storage.isXml() ? mayTakePlaceAside(storage.readWrite)
                            : loadOutcomeOf(groupAt(storage.readWrite)) == LoadOutcome::kSetAside);
}

/// What becomes of a file that no load takes. Who may not read it is as this user is.
std::string fateOfUntaken(const std::string& path, bool stays) {
    const bool mayNotRename =
        mayNotBeRead(path) && !mayRenameIn(Qel::Settings::files::directoryOf(path));
    return whoLoads(path) + (stays || mayNotRename ? " leaves it there and goes by the defaults"
                                                   : " sets it aside as " + placeAsideOf(path));
}

}  // namespace

LoadOutcome loadOutcomeOf(const FileGroup& group) {
    if (group.file.state() == FileState::kMissing) {
        return LoadOutcome::kNotLookedFor;
    }
    // A copy that passes its check is taken, and nothing else is tried when its lines fail.
    const IniFile& candidate = group.copy.accepted() ? group.copy : group.file;
    if (candidate.accepted() && candidate.misplacedName() == nullptr) {
        return &candidate == &group.copy ? LoadOutcome::kTakesCopy : LoadOutcome::kTakesFile;
    }
    if (group.file.role() == IniFile::Role::kDefaults) {
        return LoadOutcome::kNotLoaded;
    }
    return mayBeSetAside(group) ? LoadOutcome::kSetAside : LoadOutcome::kStays;
}

const IniFile* takenByLoad(const FileGroup& group) {
    const LoadOutcome outcome = loadOutcomeOf(group);
    return outcome == LoadOutcome::kTakesCopy   ? &group.copy
           : outcome == LoadOutcome::kTakesFile ? &group.file
                                                : nullptr;
}

std::string placeAsideOf(const std::string& path) {
    const std::string place = setAsideOf(path);
    return place + (isThere(place) ? ", in place of the one that is there" : "");
}

std::string fateOf(const FileGroup& group) {
    const LoadOutcome outcome = loadOutcomeOf(group);
    switch (outcome) {
        case LoadOutcome::kNotLoaded:
            return "none of its settings come up";
        case LoadOutcome::kTakesCopy:
            return group.copy.path() + " is read in its place";
        default:
            return fateOfUntaken(group.file.path(), outcome == LoadOutcome::kStays);
    }
}

std::string fateOfXml(const std::string& path) {
    return fateOfUntaken(path, isHidden(path) || !mayTakePlaceAside(path));
}

bool mayNotBeRead(const std::string& path) {
    return ::faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) != 0 && errno == EACCES;
}

void demandReadableFiles(const std::string& base) {
    const LibraryMessagesDropped dropped;
    for (const StorageFiles& storage : storagesBelow(base)) {
        if (isUnread(storage) && mayBeRenamed(storage)) {
            throw Failure(ExitCode::kFailed,
                          storage.readWrite + " cannot be read: " + std::strerror(EACCES) +
                              "\nnothing was loaded, as that would set it aside as damaged; be a "
                              "user who may read it, or see what else is there: " +
                              commandOnStore("list --origin"));
        }
    }
}

ExitCode codeOfLookAt(const std::string& base) {
    const LibraryMessagesDropped dropped;
    std::vector<StorageFiles> storages = storagesBelow(base);
    const auto isSeen = [](const StorageFiles& storage) {
        return !isHidden(storage.readWrite) && !isUnread(storage);
    };
    const bool canReadAll = directoriesOutOfSight(base).empty() &&
                            std::all_of(storages.begin(), storages.end(), isSeen);
    return canReadAll ? ExitCode::kDone : ExitCode::kFindings;
}

}  // namespace t8settings
