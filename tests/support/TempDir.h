#ifndef TESTS_SUPPORT_TEMPDIR_H
#define TESTS_SUPPORT_TEMPDIR_H

#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string>
#include <system_error>
#include <unistd.h>

namespace testsupport {

/// Where files are made and read fastest: in memory, when the machine has such a place.
inline std::string memoryDirectory() {
    static const char* const kMemory = "/dev/shm/";
    return ::access(kMemory, W_OK) == 0 ? kMemory : testing::TempDir();
}

/// A fresh empty directory that is removed, with all that is in it, at the end of its scope.
class TempDir {
public:
    /// `parent` ends in "/".
    explicit TempDir(const std::string& parent = testing::TempDir()) : path_(parent + "t8XXXXXX") {
        if (mkdtemp(path_.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), path_);
        }
    }

    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    /// Absolute, without a "/" at the end.
    const std::string& path() const { return path_; }

    /// The path of `name` in the directory; nothing is created.
    std::string file(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

}  // namespace testsupport

#endif
