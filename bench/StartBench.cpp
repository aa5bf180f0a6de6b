// A process that starts, loads some files of 50 settings and ends:
//   StartBench make STORE DIR        makes 40 files
//   StartBench load STORE DIR COUNT  loads the first COUNT of them
//   StartBench names                 names the stores
// Instructions and time are for others to count.

#include <iostream>
#include <string>

#include "Store.h"

namespace bench {

namespace {

constexpr std::size_t kFiles = 40;
constexpr std::size_t kSettings = 50;

int run(const std::vector<std::string>& words) {
    if (words == std::vector<std::string>{"names"}) {
        for (const Peer& peer : peers()) std::cout << peer.name << '\n';
        return 0;
    }
    const Peer* const peer = words.size() < 3 ? nullptr : peerOf(words[1]);
    if (peer == nullptr) {
        std::cerr << "usage: StartBench names | make STORE DIR | load STORE DIR COUNT\n";
        return 2;
    }
    const Settings settings = makeSettings(kSettings);
    const std::size_t count = words.size() < 4 ? kFiles : std::stoul(words[3]);
    std::vector<std::unique_ptr<Store>> stores;
    for (std::size_t i = 0; i < count; ++i) {
        const std::string name = "file" + std::to_string(i);
        const std::string path = words[2] + "/" + name + ".ini";
        if (words[0] == "make") {
            createFile(*peer, settings, path, name);
        } else {
            stores.push_back(peer->make(settings, name));
            stores.back()->open(path);
        }
    }
    return 0;
}

}  // namespace

}  // namespace bench

int main(int argc, char** argv) {
    try {
        return bench::run(std::vector<std::string>(argv + 1, argv + argc));
    } catch (const std::exception& error) {
        std::cerr << "StartBench: " << error.what() << '\n';
        return 1;
    }
}
