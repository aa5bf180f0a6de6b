#ifndef BENCH_STORE_H
#define BENCH_STORE_H

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "Settings.h"

namespace bench {

enum class Durability { kNone, kDurable };

/// One library at the work of a settings store, with each operation done as that library's own
/// manual would have it. Settings are named by their position.
///
/// An object stands for one process's use of one file and is opened once.
class Store {
public:
    explicit Store(const Settings& settings) : settings_(settings) {}
    virtual ~Store() = default;

    /// Opens `path`; from here on reading and changing work. The file need not exist.
    virtual void open(const std::string& path) = 0;

    /// Makes ready what a program would have ready, the names in the library's own form and the
    /// types, each in a dense row, so that no library pays for a conversion or for reaching into
    /// `settings`. To be called before any operation on a setting.
    void prepareNames();

    /// Typed value of the setting.
    virtual Value get(std::size_t position) const = 0;

    /// Changes the value in memory, or what a library has in place of it.
    virtual void set(std::size_t position, const Value& value) = 0;

    /// Writes the changes to the file. With `kDurable`, as far as the library can, they are on the
    /// disk afterwards.
    virtual void save(Durability durability) = 0;

    /// The same open store for another thread; null when threads may not share it.
    virtual std::unique_ptr<Store> forAnotherThread() { return nullptr; }

    // Reading within one transaction, which sees no change, where the library has such a thing.
    virtual bool pinsSnapshots() const { return false; }
    virtual void pinSnapshot() { throw std::logic_error("no snapshots"); }

    // Access by a handle that a program keeps, where the library has such a thing.
    virtual bool keepsHandles() const { return false; }
    virtual Value getKept(std::size_t) const { throw std::logic_error("no handles"); }
    virtual void setKept(std::size_t, const Value&) { throw std::logic_error("no handles"); }

protected:
    /// Appends the name of the next setting to the library's row of names.
    virtual void prepareName(const Setting& setting) = 0;

    const Settings& settings() const { return settings_; }

    /// The setting's position in `Value`, as a program knows the type of each of its settings.
    std::size_t kindOf(std::size_t position) const { return kinds_[position]; }

private:
    const Settings& settings_;
    std::vector<std::size_t> kinds_;
};

/// For libraries that take section and key apart.
struct TwoNames {
    std::string section;
    std::string key;
};

struct Peer {
    const char* name;
    /// `name` tells the store's contents from those of others in the process, where it matters.
    std::unique_ptr<Store> (*make)(const Settings& settings, const std::string& name);
    /// The whole file is read at the start and written by each save; otherwise pages are.
    bool wholeFile;
};

/// All stores; this library's own is the first.
const std::vector<Peer>& peers();

/// Null when there is none of this name.
const Peer* peerOf(const std::string& name);

constexpr const char* kDefaultName = "bench";

/// A store on which everything may be called.
std::unique_ptr<Store> makePrepared(const Peer& peer, const Settings& settings,
                                    const std::string& name = kDefaultName);

/// Removes a store's file and what a library has left beside it.
void removeFile(const std::string& path);

/// Throws `std::runtime_error` when the file at `path` holds other values than `settings`. It is
/// read under a name that it has not had before, since some libraries remember files by their
/// names.
void checkFile(const Peer& peer, const Settings& settings, const std::string& path,
               const std::string& name = kDefaultName);

/// Makes a file with all settings at `path` and checks it.
void createFile(const Peer& peer, const Settings& settings, const std::string& path,
                const std::string& name = kDefaultName);

/// Throws `std::runtime_error` when any setting has another value.
void checkValues(const Peer& peer, const Settings& settings, const Store& store);

}  // namespace bench

#endif
