#ifndef TESTS_SUPPORT_FILES_H
#define TESTS_SUPPORT_FILES_H

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace testsupport {

/// All bytes of the file. Throws `std::runtime_error` when it cannot be read.
inline std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    if (!in.is_open() || in.bad()) {
        throw std::runtime_error("cannot read " + path);
    }
    return bytes;
}

/// Makes or replaces the file. Throws `std::runtime_error` when it cannot be written.
inline void writeFile(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    out.close();
    if (!out) {
        throw std::runtime_error("cannot write " + path);
    }
}

/// Whether there is anything of this name; a dangling symbolic link counts.
inline bool exists(const std::string& path) {
    return std::filesystem::exists(std::filesystem::symlink_status(path));
}

}  // namespace testsupport

#endif
