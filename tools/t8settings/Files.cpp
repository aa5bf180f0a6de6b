#include "Files.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <sys/stat.h>
#include <utility>

#include "Exit.h"
#include "Terminal.h"
#include "files/Descriptor.h"
#include "files/DirectoryLock.h"

namespace t8settings {

namespace {

namespace files = Qel::Settings::files;

constexpr std::string_view kIni = ".ini";

std::string lastPart(const std::string& path) {
    return path.substr(path.rfind('/') + 1);
}

bool endsWith(const std::string& text, std::string_view end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

std::string storageNameOf(const std::string& path) {
    const std::string name = lastPart(path);
    return endsWith(name, kIni) ? name.substr(0, name.size() - kIni.size()) : name;
}

bool isInDefaultsDirectory(const std::string& path) {
    const std::string directory = lastPart(files::directoryOf(path));
    for (const files::StorageDirectory& known : files::storageDirectories("")) {
        if (directory == known.defaults) {
            return true;
        }
    }
    return false;
}

/// What a load takes of a file and its copy; the file when it takes neither.
IniFile takenByLoad(const std::string& path, const std::string& storage, IniFile::Role role) {
    const files::DirectoryLock lock(files::directoryOf(path), files::DirectoryLock::Mode::kShared);
    IniFile copy(copyOf(path), storage, IniFile::Role::kReadWrite);
    return copy.accepted() ? std::move(copy) : IniFile(path, storage, role);
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

void demandReadableDirectory(const std::string& path) {
    DIR* const directory = ::opendir(path.c_str());
    if (directory == nullptr) {
        throw Failure(ExitCode::kFailed,
                      "base directory " + inQuotes(path) + ": " + std::strerror(errno));
    }
    ::closedir(directory);
}

std::string copyOf(const std::string& file) {
    return file + ".tmp";
}

std::string setAsideOf(const std::string& file) {
    return file + ".bad";
}

std::string newCopyOf(const std::string& file) {
    return copyOf(file) + ".new";
}

bool isThere(const std::string& path) {
    struct stat status;
    return ::lstat(path.c_str(), &status) == 0;
}

IniFile iniFileAt(const std::string& path) {
    return {path, storageNameOf(path),
            isInDefaultsDirectory(path) ? IniFile::Role::kDefaults : IniFile::Role::kReadWrite};
}

IniFile defaultsOf(const StorageFiles& storage) {
    return takenByLoad(storage.defaults, storage.storageName(), IniFile::Role::kDefaults);
}

IniFile readWriteOf(const StorageFiles& storage) {
    return readWriteOf(storage, storage.storageName());
}

IniFile readWriteOf(const StorageFiles& storage, const std::string& storageName) {
    struct stat status;
    if (::stat(storage.readWrite.c_str(), &status) != 0) {
        return {storage.readWrite, storageName, IniFile::Role::kReadWrite};
    }
    return takenByLoad(storage.readWrite, storageName, IniFile::Role::kReadWrite);
}

}  // namespace t8settings
