#ifndef BENCH_SCRATCHFILES_H
#define BENCH_SCRATCHFILES_H

#include <cstddef>
#include <map>
#include <string>
#include <utility>

#include "Store.h"

namespace bench {

/// Files of settings in a fresh directory below `parent`, removed with the object. Each file is
/// made once.
class ScratchFiles {
public:
    explicit ScratchFiles(const std::string& parent);
    ~ScratchFiles();
    ScratchFiles(const ScratchFiles&) = delete;
    ScratchFiles& operator=(const ScratchFiles&) = delete;

    /// Path of the peer's file with these settings.
    const std::string& file(const Peer& peer, const Settings& settings);

    /// A name that the file has not had before: some libraries remember files by their names. It
    /// shares the file's contents, so nobody may write to it in place.
    std::string aliasOf(const Peer& peer, const Settings& settings);

    /// A copy of the file, to be written to.
    std::string copyOf(const Peer& peer, const Settings& settings);

    /// Where nothing is yet.
    std::string freshPath();

private:
    std::string directory_;
    std::map<std::pair<std::string, std::size_t>, std::string> files_;
    std::size_t names_ = 0;
};

}  // namespace bench

#endif
