#include "store/Files.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <filesystem>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "console/Exit.h"
#include "console/Shell.h"
#include "console/Terminal.h"
#include "files/Descriptor.h"
#include "files/DirectoryLock.h"
#include "files/FileStatus.h"
#include "store/LibraryLog.h"

namespace t8settings {

namespace {

namespace files = Qel::Settings::files;

constexpr std::string_view kIni = ".ini";
constexpr std::string_view kCopy = ".tmp";
constexpr std::string_view kSetAside = ".bad";
constexpr std::string_view kNewCopy = ".tmp.new";
constexpr int kMostSetAsideLater = 99;

std::string lastPart(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

/// Without the number of a file that a save has kept.
std::string_view withoutNumber(std::string_view path) {
    const std::size_t dot = path.find_last_not_of("0123456789");
    const std::size_t digits = dot == std::string_view::npos ? 0 : path.size() - dot - 1;
    const bool hasNumber = (digits == 1 || digits == 2) && path[dot] == '.' &&
                           path[dot + 1] != '0' && endsWith(path.substr(0, dot), kSetAside);
    return hasNumber ? path.substr(0, dot) : path;
}

/// Adds the files that have the names of `path` set aside, from this number on.
void addSetAside(const std::string& path, const std::string& storage, int number,
                 std::vector<IniFile>& all) {
    for (; number <= kMostSetAsideLater; ++number) {
        const std::string name = setAsideOf(path, number);
        if (isThere(name)) {
            all.emplace_back(name, storage, IniFile::Role::kReadWrite);
        }
    }
}

std::vector<IniFile> setAsideLater(const std::string& path, const std::string& storage) {
    std::vector<IniFile> all;
    addSetAside(path, storage, 1, all);
    addSetAside(copyOf(path), storage, 0, all);
    return all;
}

/// Whether `path` had this end, which it has no more.
bool takeOff(std::string_view end, std::string_view& path) {
    const bool had = endsWith(path, end);
    path.remove_suffix(had ? end.size() : 0);
    return had;
}

std::string nameByPath(const std::string& path) {
    const std::string name = lastPart(fileBeside(path).value_or(path));
    return endsWith(name, kIni) ? name.substr(0, name.size() - kIni.size()) : name;
}

struct DirectoryKind {
    bool isDefaults;
    bool survivesReset;
    std::string defaults;  ///< path of the directory with the defaults
};

/// What kind of settings directory the path lies in; nothing for any other directory. The name that
/// was said counts, as a link of that name may lead to a directory of any name; the directory's own
/// where none was said, as in ".".
std::optional<DirectoryKind> directoryKindOf(const std::string& file) {
    const std::string directory = files::directoryOf(file);
    std::error_code notThere;
    const std::string own = std::filesystem::canonical(directory, notThere);
    for (const std::string& path : {directory, own}) {
        const std::string name = lastPart(path);
        for (const files::StorageDirectory& known : files::storageDirectories("")) {
            if (name == known.defaults || name == known.readWrite) {
                return DirectoryKind{name == known.defaults, known.survivesReset,
                                     path.substr(0, path.size() - name.size()) + known.defaults};
            }
        }
    }
    return std::nullopt;
}

/// What a load takes of a file and its copy; the file when it takes neither.
IniFile fileOrCopy(const std::string& path, const std::string& storage, IniFile::Role role) {
    const files::DirectoryLock lock(files::directoryOf(path), files::DirectoryLock::Mode::kShared);
    IniFile copy(copyOf(path), storage, IniFile::Role::kReadWrite);
    return copy.accepted() ? std::move(copy) : IniFile(path, storage, role);
}

/// What the storage of a file is called unless the file says another name: the defaults are loaded
/// first, and their name stands until then. The directory of defaults is locked for a moment.
std::string storageNameOf(const std::string& path) {
    const auto kind = directoryKindOf(path);
    std::string own = nameByPath(path);
    const std::string defaults = defaultsBeside(path);
    if (!kind || kind->isDefaults || !isIni(defaults) || !files::statusAt(defaults)) {
        return own;
    }
    const IniFile file = fileOrCopy(defaults, own, IniFile::Role::kDefaults);
    return file.accepted() ? file.storageName() : own;
}

}  // namespace

std::vector<StorageFiles> storagesBelow(const std::string& base) {
    demandReadableDirectory(base);
    std::vector<StorageFiles> all;
    for (const auto& directory :
         files::storageDirectories(endsWith(base, "/") ? base : base + "/")) {
        for (StorageFiles& storage : files::storageFilesIn(directory)) {
            all.push_back(std::move(storage));
        }
    }
    return all;
}

std::vector<StorageFiles> storagesInSight(const std::string& base) {
    const LibraryMessagesDropped dropped;
    return storagesBelow(base);
}

void demandReadableDirectory(const std::string& path) {
    DIR* const directory = ::opendir(path.c_str());
    if (directory == nullptr) {
        throw Failure(ExitCode::kFailed,
                      "base directory " + inQuotes(path) + ": " + std::strerror(errno));
    }
    ::closedir(directory);
}

void complainOfNoFiles(const std::string& base) {
    const std::string meant = baseMeantBy(base);
    if (!meant.empty() && meant != base) {
        complain("no settings files below " + inQuotes(base) + "; did you mean --base " +
                 shellPath(meant) + "?");
        return;
    }
    complain("no settings files below " + inQuotes(base) +
             "; they lie in its directories settings, calibration_data, qel-default-settings and "
             "qel-default-calibration_data");
}

std::string copyOf(std::string file) {
    return file.append(kCopy);
}

std::string setAsideOf(std::string file, int number) {
    file.append(kSetAside);
    return number == 0 ? file : file.append(".").append(std::to_string(number));
}

std::string newCopyOf(std::string file) {
    return file.append(kNewCopy);
}

bool endsWith(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

std::optional<std::string> fileBeside(const std::string& file) {
    std::string_view path = withoutNumber(file);
    if (takeOff(kNewCopy, path)) {
        return std::string(path);
    }
    // A copy may be set aside as well.
    const bool isSetAside = takeOff(kSetAside, path);
    const bool isCopy = takeOff(kCopy, path);
    return isSetAside || isCopy ? std::optional(std::string(path)) : std::nullopt;
}

bool isIni(const std::string& path) {
    return endsWith(path, kIni);
}

bool isXml(const std::string& path) {
    return endsWith(path, ".xml");
}

bool holdsXml(const std::string& path) {
    return isXml(fileBeside(path).value_or(path));
}

bool isThere(const std::string& path) {
    return files::statusOfEntryAt(path).has_value();
}

bool mayBeThere(const std::string& path) {
    return files::statusAt(path).has_value() || isHidden(path);
}

bool isHidden(const std::string& path) {
    return !files::statusAt(path) && errno != ENOENT && errno != ENOTDIR;
}

bool isDirectory(const std::string& path) {
    const auto status = files::statusAt(path);
    return status && status->isDirectory;
}

bool isPlainFile(const std::string& path) {
    const auto status = files::statusAt(path);
    return status && status->isRegular;
}

std::string whyNoPlainFile(const std::string& path) {
    const auto status = files::statusAt(path);
    if (!status || status->isRegular) {
        return "";
    }
    return status->isDirectory ? "is a directory" : "is no plain file";
}

std::string whyUnread(int error) {
    // The system has no word of its own for a pipe or device.
    return error == EINVAL ? "no plain file" : std::strerror(error);
}

std::string whyUnreadable(const std::string& path) {
    DIR* const directory = ::opendir(path.c_str());
    if (directory != nullptr) {
        ::closedir(directory);
    }
    if (directory != nullptr && ::access(path.c_str(), X_OK) == 0) {
        return "";
    }
    const int error = errno;
    if (error == ENOENT) {
        return isThere(path) ? "it is a link that leads nowhere" : "";
    }
    return std::strerror(error);
}

std::map<std::string, std::string> directoriesOutOfSight(const std::string& base) {
    std::map<std::string, std::string> all;
    for (const auto& directory :
         files::storageDirectories(endsWith(base, "/") ? base : base + "/")) {
        for (const std::string& path : {directory.defaults, directory.readWrite}) {
            const std::string reason = whyUnreadable(path);
            if (!reason.empty()) {
                all[path] = reason;
            }
        }
    }
    return all;
}

void complainOfUnread(const std::map<std::string, std::string>& directories) {
    for (const auto& [directory, reason] : directories) {
        complain(std::string("warning: ").append(directory) + ": the directory cannot be read: " +
                 reason + "; what lies in it may be left out here");
    }
}

bool isOutOfSight(const std::string& path) {
    return isHidden(path) && !whyUnreadable(files::directoryOf(path)).empty();
}

IniFile::Role roleOf(const std::string& path) {
    const auto kind = directoryKindOf(path);
    return kind && kind->isDefaults && !fileBeside(path) ? IniFile::Role::kDefaults
                                                         : IniFile::Role::kReadWrite;
}

std::optional<bool> survivesReset(const std::string& path) {
    const auto kind = directoryKindOf(path);
    return kind ? std::optional(kind->survivesReset) : std::nullopt;
}

std::string defaultsBeside(const std::string& path) {
    const auto kind = directoryKindOf(path);
    return kind ? kind->defaults + "/" + lastPart(fileBeside(path).value_or(path)) : "";
}

std::string baseMeantBy(const std::string& directory) {
    for (const files::StorageDirectory& known : files::storageDirectories(directory + "/")) {
        if (isDirectory(known.defaults) || isDirectory(known.readWrite)) {
            return directory;
        }
    }
    const std::size_t end = directory.find_last_not_of('/');
    const auto kind = directoryKindOf(directory.substr(0, end + 1) + "/" + std::string(kIni));
    return kind ? files::directoryOf(kind->defaults) : "";
}

IniFile iniFileAt(const std::string& path) {
    return {path, storageNameOf(path), roleOf(path)};
}

IniFile iniFileOf(const std::string& path, const std::string& data) {
    return {path, storageNameOf(path), roleOf(path), data};
}

IniFile iniFileUnderLock(const std::string& path) {
    const std::string storage = storageNameOf(path);
    const files::DirectoryLock lock(files::directoryOf(path), files::DirectoryLock::Mode::kShared);
    return {path, storage, roleOf(path)};
}

FileGroup groupAt(const std::string& path) {
    const std::string storage = storageNameOf(path);
    const auto beside = [&storage](const std::string& file) {
        return IniFile(file, storage, IniFile::Role::kReadWrite);
    };
    const files::DirectoryLock lock(files::directoryOf(path), files::DirectoryLock::Mode::kShared);
    return {IniFile(path, storage, roleOf(path)), beside(copyOf(path)), beside(setAsideOf(path)),
            beside(newCopyOf(path)), setAsideLater(path, storage)};
}

IniFile defaultsOf(const StorageFiles& storage) {
    return fileOrCopy(storage.defaults, storage.storageName(), IniFile::Role::kDefaults);
}

IniFile readWriteOf(const StorageFiles& storage, const std::string& storageName) {
    if (!files::statusAt(storage.readWrite)) {
        return {storage.readWrite, storageName, IniFile::Role::kReadWrite};
    }
    return fileOrCopy(storage.readWrite, storageName, IniFile::Role::kReadWrite);
}

}  // namespace t8settings
