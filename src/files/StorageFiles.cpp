#include "files/StorageFiles.h"

#include <cerrno>
#include <cstddef>
#include <glob.h>
#include <map>
#include <system_error>

#include "Log.h"

QEL_LOG_CONTEXT("Qel::Settings", "src/files/StorageFiles");

namespace Qel {
namespace Settings {
namespace files {

namespace {

constexpr std::size_t kSuffixLength = 4;

bool hasSuffix(const std::string& name, const char* suffix) {
    return name.size() >= kSuffixLength &&
           name.compare(name.size() - kSuffixLength, kSuffixLength, suffix) == 0;
}

/// A directory as a pattern that matches just itself.
std::string globEscaped(const std::string& directory) {
    std::string pattern;
    for (const char c : directory) {
        if (c == '*' || c == '?' || c == '[' || c == '\\') {
            pattern += '\\';
        }
        pattern += c;
    }
    return pattern;
}

/// A directory that is not there has no files; one that cannot be read may have some.
int sayUnreadable(const char* path, int error) {
    if (error == ENOENT || error == ENOTDIR) {
        return 0;
    }
    try {
        QEL_LOG(kError, "Directory '%s' cannot be read, its settings are left out: %s", path,
                std::generic_category().message(error).c_str());
    } catch (...) {
        // No exception may cross the C library, which calls this.
    }
    return 0;
}

/// What a pattern matches, given back to the C library whatever becomes of the look at it.
class Matches {
public:
    explicit Matches(const std::string& pattern)
        : result_(::glob(pattern.c_str(), 0, sayUnreadable, &paths_)) {}
    ~Matches() { ::globfree(&paths_); }
    Matches(const Matches&) = delete;
    Matches& operator=(const Matches&) = delete;

    /// A directory that cannot be read does not end the look, so this is a want of memory.
    bool areIncomplete() const { return result_ != 0 && result_ != GLOB_NOMATCH; }
    std::size_t count() const { return result_ == 0 ? paths_.gl_pathc : 0; }
    const char* operator[](std::size_t index) const { return paths_.gl_pathv[index]; }

private:
    glob_t paths_ = {};
    int result_;
};

/// Calls `found` with name and path of every settings file in the directory.
template <class Found>
void listDirectory(const std::string& directory, Found found) {
    const Matches paths(globEscaped(directory) + "/*");
    if (paths.areIncomplete()) {
        sayUnreadable(directory.c_str(), ENOMEM);
    }
    for (std::size_t i = 0; i < paths.count(); ++i) {
        const std::string path = paths[i];
        const std::string name = path.substr(path.rfind('/') + 1);
        if (hasSuffix(name, ".xml") || hasSuffix(name, ".ini")) {
            found(name, path);
        }
    }
}

}  // namespace

std::array<StorageDirectory, 2> storageDirectories(const std::string& location) {
    return {{{location + "qel-default-settings", location + "settings", false},
             {location + "qel-default-calibration_data", location + "calibration_data", true}}};
}

bool StorageFiles::isXml() const {
    return hasSuffix(fileName, ".xml");
}

std::string StorageFiles::storageName() const {
    return fileName.substr(0, fileName.size() - kSuffixLength);
}

std::vector<StorageFiles> storageFilesIn(const StorageDirectory& directory) {
    std::map<std::string, std::string> defaults;
    listDirectory(directory.defaults,
                  [&](const std::string& name, const std::string& path) { defaults[name] = path; });
    listDirectory(directory.readWrite,
                  [&](const std::string& name, const std::string&) { defaults.emplace(name, ""); });
    std::vector<StorageFiles> all;
    all.reserve(defaults.size());
    for (const auto& [name, path] : defaults) {
        all.push_back({name, path, directory.readWrite + "/" + name, directory.survivesReset});
    }
    return all;
}

}  // namespace files
}  // namespace Settings
}  // namespace Qel
