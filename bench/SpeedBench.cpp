// Times every store at every operation. Google Benchmark's own options apply; besides,
// --disk=DIR and --tmpfs=DIR say where the files go.

#include <atomic>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstring>
#include <deque>
#include <functional>
#include <iostream>
#include <map>
#include <thread>

#include "ScratchFiles.h"

namespace bench {

namespace {

using State = benchmark::State;
using Clock = std::chrono::steady_clock;

struct Places {
    ScratchFiles disk;
    ScratchFiles tmpfs;
};

/// What one benchmark is about.
struct Subject {
    const Peer& peer;
    const Settings& settings;
    std::vector<std::size_t> order;
    Places& places;
};

class Timer {
public:
    explicit Timer(State& state) : state_(state), start_(Clock::now()) {}
    ~Timer() {
        state_.SetIterationTime(std::chrono::duration<double>(Clock::now() - start_).count());
    }
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

private:
    State& state_;
    Clock::time_point start_;
};

/// An opened store on a file of its own, of which every setting has been read: what a store puts
/// off until then is part of LOAD+READ.
class Opened {
public:
    Opened(const Subject& subject, ScratchFiles& files)
        : path_(files.copyOf(subject.peer, subject.settings)),
          store_(makePrepared(subject.peer, subject.settings)) {
        store_->open(path_);
        for (std::size_t i = 0; i < subject.settings.size(); ++i) {
            benchmark::DoNotOptimize(store_->get(i));
        }
    }
    ~Opened() {
        store_.reset();
        removeFile(path_);
    }
    Opened(const Opened&) = delete;
    Opened& operator=(const Opened&) = delete;

    Store* operator->() const { return store_.get(); }

    /// Ends the use of the store and checks what it has left in the file.
    void close(const Subject& subject, const Settings& expected) {
        store_.reset();
        checkFile(subject.peer, expected, path_);
    }

private:
    std::string path_;
    std::unique_ptr<Store> store_;
};

/// Does `work` again and again in a thread of its own, from before the constructor returns until
/// the destructor does.
class Meanwhile {
public:
    explicit Meanwhile(std::function<void()> work) {
        thread_ = std::thread([this, work = std::move(work)] {
            while (!ended_.load(std::memory_order_relaxed)) {
                work();
                started_.store(true, std::memory_order_relaxed);
            }
        });
        while (!started_) std::this_thread::yield();
    }
    ~Meanwhile() {
        ended_ = true;
        thread_.join();
    }
    Meanwhile(const Meanwhile&) = delete;
    Meanwhile& operator=(const Meanwhile&) = delete;

private:
    std::atomic<bool> started_{false};
    std::atomic<bool> ended_{false};
    std::thread thread_;
};

/// Gives the positions of `order` round and round.
class Walk {
public:
    explicit Walk(const std::vector<std::size_t>& order, std::size_t start = 0)
        : order_(order), next_(start) {}
    std::size_t operator()() {
        if (next_ == order_.size()) next_ = 0;
        return order_[next_++];
    }

private:
    const std::vector<std::size_t>& order_;
    std::size_t next_;
};

/// The settings' values turned to others and back, so that each change is one.
struct Changes {
    explicit Changes(const Settings& settings) {
        for (const Setting& setting : settings) {
            values[0].push_back(changed(setting.value));
            values[1].push_back(setting.value);
        }
    }
    std::vector<Value> values[2];
};

void load(State& state, const Subject& subject, bool readAll) {
    ScratchFiles& files = subject.places.tmpfs;
    checkFile(subject.peer, subject.settings, files.file(subject.peer, subject.settings));
    while (state.KeepRunning()) {
        const std::string path = files.aliasOf(subject.peer, subject.settings);
        auto store = makePrepared(subject.peer, subject.settings);
        {
            const Timer timer(state);
            store->open(path);
            for (std::size_t i = 0; readAll && i < subject.settings.size(); ++i) {
                benchmark::DoNotOptimize(store->get(i));
            }
        }
        store.reset();
        removeFile(path);
    }
}

void loadOnly(State& state, const Subject& subject) {
    load(state, subject, false);
}

void loadAndRead(State& state, const Subject& subject) {
    load(state, subject, true);
}

void get(State& state, const Subject& subject) {
    const Opened store(subject, subject.places.tmpfs);
    Walk next(subject.order);
    for (auto _ : state) benchmark::DoNotOptimize(store->get(next()));
}

std::unique_ptr<Meanwhile> readingMeanwhile(const Subject& subject, const Store& store) {
    return std::make_unique<Meanwhile>(
        [&store, next = Walk(subject.order, subject.order.size() / 2)]() mutable {
            benchmark::DoNotOptimize(store.get(next()));
        });
}

void getBesideReader(State& state, const Subject& subject) {
    const Opened store(subject, subject.places.tmpfs);
    const auto other = store->forAnotherThread();
    Walk next(subject.order);
    const auto reading = readingMeanwhile(subject, *other);
    for (auto _ : state) benchmark::DoNotOptimize(store->get(next()));
}

void getBesideSaver(State& state, const Subject& subject) {
    const Opened store(subject, subject.places.tmpfs);
    const auto other = store->forAnotherThread();
    Walk next(subject.order);
    const Changes changes(subject.settings);
    std::size_t turn = 0;
    const Meanwhile saving([&] {
        other->set(0, changes.values[turn++ % 2][0]);
        other->save(Durability::kDurable);
    });
    for (auto _ : state) benchmark::DoNotOptimize(store->get(next()));
}

void getPinned(State& state, const Subject& subject) {
    const Opened store(subject, subject.places.tmpfs);
    store->pinSnapshot();
    Walk next(subject.order);
    for (auto _ : state) benchmark::DoNotOptimize(store->get(next()));
}

void getPinnedBesideReader(State& state, const Subject& subject) {
    const Opened store(subject, subject.places.tmpfs);
    const auto other = store->forAnotherThread();
    store->pinSnapshot();
    other->pinSnapshot();
    Walk next(subject.order);
    const auto reading = readingMeanwhile(subject, *other);
    for (auto _ : state) benchmark::DoNotOptimize(store->get(next()));
}

void getKept(State& state, const Subject& subject) {
    const Opened store(subject, subject.places.tmpfs);
    benchmark::DoNotOptimize(store->getKept(0));
    Walk next(subject.order);
    for (auto _ : state) benchmark::DoNotOptimize(store->getKept(next()));
}

void set(State& state, const Subject& subject, void (Store::*change)(std::size_t, const Value&)) {
    const Opened store(subject, subject.places.tmpfs);
    const Changes changes(subject.settings);
    std::size_t done = 0;
    Walk next(subject.order);
    for (auto _ : state) {
        const std::size_t position = next();
        ((*store.operator->()).*change)(
            position, changes.values[done++ / subject.order.size() % 2][position]);
    }
}

void setByName(State& state, const Subject& subject) {
    set(state, subject, &Store::set);
}

void setKept(State& state, const Subject& subject) {
    set(state, subject, &Store::setKept);
}

enum class Reader { kNone, kOther };

/// Saves after `count` values have changed.
void save(State& state, const Subject& subject, ScratchFiles& files, std::size_t count,
          bool settingCounts, Reader reader = Reader::kNone) {
    Opened store(subject, files);
    const Changes changes(subject.settings);
    std::size_t turn = 0;
    const auto change = [&] {
        for (std::size_t i = 0; i < count; ++i) store->set(i, changes.values[turn % 2][i]);
        ++turn;
    };
    auto other = reader == Reader::kOther ? store->forAnotherThread() : nullptr;
    auto reading = other ? readingMeanwhile(subject, *other) : nullptr;
    change();
    store->save(Durability::kDurable);
    while (state.KeepRunning()) {
        if (!settingCounts) change();
        const Timer timer(state);
        if (settingCounts) change();
        store->save(Durability::kDurable);
    }
    reading.reset();
    other.reset();
    Settings expected = subject.settings;
    for (std::size_t i = 0; i < count; ++i) expected[i].value = changes.values[(turn + 1) % 2][i];
    store.close(subject, expected);
}

void saveOnTmpfs(State& state, const Subject& subject) {
    save(state, subject, subject.places.tmpfs, subject.settings.size(), false);
}

void saveBesideReader(State& state, const Subject& subject) {
    save(state, subject, subject.places.tmpfs, subject.settings.size(), false, Reader::kOther);
}

void saveOnDisk(State& state, const Subject& subject) {
    save(state, subject, subject.places.disk, subject.settings.size(), false);
}

void setAndSave(State& state, const Subject& subject) {
    save(state, subject, subject.places.disk, 1, true);
}

struct Row {
    const char* name;
    void (*run)(State&, const Subject&);
    bool manualTime;
    bool (*applies)(const Peer&, Store&);
    std::size_t largest;
};

bool toAll(const Peer&, Store&) {
    return true;
}
bool toWholeFiles(const Peer& peer, Store&) {
    return peer.wholeFile;
}
bool toKeptHandles(const Peer&, Store& store) {
    return store.keepsHandles();
}
bool toSnapshots(const Peer&, Store& store) {
    return store.pinsSnapshots();
}
bool toThreadSafe(const Peer& peer, Store&) {
    const std::string name = peer.name;
    return name == "T8SettingsManager" || name == "QSettings" || name == "SQLite" || name == "LMDB";
}

bool toThreadSafeWholeFiles(const Peer& peer, Store& store) {
    return peer.wholeFile && toThreadSafe(peer, store);
}

constexpr std::size_t kCounts[] = {100, 1000, 10000, 100000};
constexpr std::size_t kAny = 100000;
// A reader that has to wait for a save waits seconds in a larger store.
constexpr std::size_t kShortSaves = 10000;

constexpr Row kRows[] = {
    {"LOAD", &loadOnly, true, &toAll, kAny},
    {"LOAD+READ", &loadAndRead, true, &toAll, kAny},
    {"GET", &get, false, &toAll, kAny},
    {"GET-2-THREADS", &getBesideReader, false, &toThreadSafe, kAny},
    {"GET-WHILE-SAVING", &getBesideSaver, false, &toThreadSafe, kShortSaves},
    {"GET-PINNED", &getPinned, false, &toSnapshots, kAny},
    {"GET-PINNED-2-THREADS", &getPinnedBesideReader, false, &toSnapshots, kAny},
    {"GET-KEPT", &getKept, false, &toKeptHandles, kAny},
    {"SET", &setByName, false, &toAll, kAny},
    {"SET-KEPT", &setKept, false, &toKeptHandles, kAny},
    {"SAVE-TMPFS", &saveOnTmpfs, true, &toWholeFiles, kAny},
    {"SAVE-WHILE-READING", &saveBesideReader, true, &toThreadSafeWholeFiles, kShortSaves},
    {"SAVE-DISK", &saveOnDisk, true, &toWholeFiles, kAny},
    {"SET+SAVE-DISK", &setAndSave, true, &toAll, kAny},
};

void registerAll(Places& places) {
    static std::map<std::size_t, Settings> data;
    static std::deque<Subject> subjects;
    for (const std::size_t count : kCounts) {
        const Settings& settings = data[count] = makeSettings(count);
        for (const Peer& peer : peers()) {
            const Subject& subject =
                subjects.emplace_back(Subject{peer, settings, shuffledPositions(settings), places});
            const auto sample = peer.make(settings, kDefaultName);
            for (const Row& row : kRows) {
                if (count > row.largest || !row.applies(peer, *sample)) continue;
                const std::string name =
                    std::string(row.name) + "/" + peer.name + "/" + std::to_string(count);
                auto* const registered = benchmark::RegisterBenchmark(
                    name.c_str(), [&row, &subject](State& state) { row.run(state, subject); });
                if (row.manualTime) {
                    registered->UseManualTime();
                } else {
                    registered->UseRealTime();
                }
            }
        }
    }
}

/// Takes "--NAME=VALUE" out of the arguments.
std::string takeOption(int& argc, char** argv, const std::string& name, const char* otherwise) {
    const std::string start = "--" + name + "=";
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], start.c_str(), start.size()) == 0) {
            const std::string value = argv[i] + start.size();
            std::copy(argv + i + 1, argv + argc, argv + i);
            --argc;
            return value;
        }
    }
    return otherwise;
}

int run(int argc, char** argv) {
    const std::string disk = takeOption(argc, argv, "disk", ".");
    const std::string tmpfs = takeOption(argc, argv, "tmpfs", "/dev/shm");
    Places places{ScratchFiles(disk), ScratchFiles(tmpfs)};
    registerAll(places);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}

}  // namespace

}  // namespace bench

int main(int argc, char** argv) {
    try {
        return bench::run(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "SpeedBench: " << error.what() << '\n';
        return 1;
    }
}
