#include "ScratchFiles.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace bench {

namespace fs = std::filesystem;

ScratchFiles::ScratchFiles(const std::string& parent)
    : directory_(fs::absolute(parent) / "t8bench-XXXXXX") {
    if (::mkdtemp(directory_.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), parent);
    }
}

ScratchFiles::~ScratchFiles() {
    std::error_code ignored;
    fs::remove_all(directory_, ignored);
}

const std::string& ScratchFiles::file(const Peer& peer, const Settings& settings) {
    std::string& path = files_[{peer.name, settings.size()}];
    if (path.empty()) {
        path = freshPath();
        createFile(peer, settings, path);
    }
    return path;
}

std::string ScratchFiles::aliasOf(const Peer& peer, const Settings& settings) {
    const std::string alias = freshPath();
    fs::create_hard_link(file(peer, settings), alias);
    return alias;
}

std::string ScratchFiles::copyOf(const Peer& peer, const Settings& settings) {
    const std::string copy = freshPath();
    fs::copy_file(file(peer, settings), copy);
    return copy;
}

// Each in a directory of its own, as settings files are few to a directory.
std::string ScratchFiles::freshPath() {
    const std::string directory = directory_ + "/" + std::to_string(names_++ % 64);
    fs::create_directories(directory);
    return directory + "/" + std::to_string(names_) + ".ini";
}

}  // namespace bench
