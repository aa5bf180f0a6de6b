#include "Store.h"

#include <filesystem>

#include "peers/Peers.h"

namespace bench {

const std::vector<Peer>& peers() {
    static const std::vector<Peer> all = {{"T8SettingsManager", &makeT8Settings, true},
                                          {"GKeyFile", &makeGKeyFile, true},
                                          {"SimpleIni", &makeSimpleIni, true},
                                          {"QSettings", &makeQSettings, true},
                                          {"KConfig", &makeKConfig, true},
                                          {"Boost.PropertyTree", &makePropertyTree, true},
                                          {"libconfig++", &makeLibconfig, true},
                                          {"SQLite", &makeSqlite, false},
                                          {"LMDB", &makeLmdb, false}};
    return all;
}

void Store::prepareNames() {
    kinds_.reserve(settings_.size());
    for (const Setting& setting : settings_) {
        kinds_.push_back(setting.value.index());
        prepareName(setting);
    }
}

const Peer* peerOf(const std::string& name) {
    for (const Peer& peer : peers()) {
        if (peer.name == name) return &peer;
    }
    return nullptr;
}

void checkValues(const Peer& peer, const Settings& settings, const Store& store) {
    for (std::size_t i = 0; i < settings.size(); ++i) {
        if (store.get(i) != settings[i].value) {
            throw std::runtime_error(std::string(peer.name) + " does not give back " +
                                     settings[i].fullName);
        }
    }
}

std::unique_ptr<Store> makePrepared(const Peer& peer, const Settings& settings,
                                    const std::string& name) {
    auto store = peer.make(settings, name);
    store->prepareNames();
    return store;
}

void removeFile(const std::string& path) {
    for (const char* suffix : {"", "-lock", "-journal", "-wal", "-shm", ".lock", ".tmp"}) {
        std::filesystem::remove(path + suffix);
    }
}

void checkFile(const Peer& peer, const Settings& settings, const std::string& path,
               const std::string& name) {
    static std::size_t names = 0;
    const std::string alias = path + ".check" + std::to_string(names++);
    std::filesystem::create_hard_link(path, alias);
    {
        const auto store = makePrepared(peer, settings, name);
        store->open(alias);
        checkValues(peer, settings, *store);
    }
    removeFile(alias);
}

void createFile(const Peer& peer, const Settings& settings, const std::string& path,
                const std::string& name) {
    {
        const auto store = makePrepared(peer, settings, name);
        store->open(path);
        for (std::size_t i = 0; i < settings.size(); ++i) {
            store->set(i, settings[i].value);
        }
        store->save(Durability::kNone);
    }
    checkFile(peer, settings, path, name);
}

}  // namespace bench
