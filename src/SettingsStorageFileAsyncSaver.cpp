// Locks, outermost first (the library's whole order stands in SettingsStorageFileBase.cpp):
//
//   control        the thread: who starts, stops and joins it
//   saveMutex      held over a save of the thread and over a whole flush, so that they never save
//                  at the same time
//   storagesMutex  storages, cursor and the saves under way; never held while a storage saves

#include "Qel/Settings/SettingsStorageFileAsyncSaver.h"

#include <algorithm>
#include <boost/thread/condition_variable.hpp>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/mutex.hpp>
#include <boost/thread/thread.hpp>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <exception>
#include <map>
#include <memory>
#include <pthread.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "Log.h"
#include "Qel/Settings/SettingStorageFileBase.h"
#include "SaverTiming.h"

QEL_LOG_CONTEXT("Qel::Settings", "src/SettingsStorageFileAsyncSaver");

namespace Qel {
namespace Settings {

// Measured with a steady clock: a television learns the time of day late, and a deadline in it
// could be hours off.
boost::chrono::milliseconds saverIdlePeriod(10000);

std::atomic<SettingsStorageFileAsyncSaver*> SettingsStorageFileAsyncSaver::theInstance{nullptr};

namespace {

constexpr int kSavesPerPass = 1;
constexpr int kSavesPerFlush = 4;
constexpr std::size_t kFailuresPerStorage = 3;

std::atomic<bool> instanceGone{false};

thread_local const SettingsStorageFileAsyncSaver* runningSaver = nullptr;
thread_local const SettingsStorageFileAsyncSaver* savingForSaver = nullptr;

/// Keeps signals away from the threads that are started in its scope: they are the application's.
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t before_;
};

void runCommand(const char* command) {
    // The target may not have the command; that is its own business.
    const int ignored = std::system(command);
    static_cast<void>(ignored);
}

}  // namespace

struct SettingsStorageFileAsyncSaver::State {
    struct Save {
        SettingStorageFileBase* storage;
        boost::thread::id thread;
    };

    std::atomic<bool> stopRequested{false};
    std::unique_ptr<boost::thread> thread;
    boost::mutex storagesMutex;
    boost::mutex saveMutex;
    std::vector<SettingStorageFileBase*> storages;
    std::size_t cursor = 0;

    boost::mutex control;
    std::vector<Save> savesUnderWay;
    boost::condition_variable saveEnded;
    pid_t process = getpid();
};

/// One run over the storages, bounded: a storage that changes all the time is saved a limited
/// number of times, one that cannot be saved is tried a limited number of times.
struct SettingsStorageFileAsyncSaver::Drain {
    explicit Drain(int savesPerStorage) : limit(savesPerStorage) {}

    bool hasHadEnough(const SettingStorageFileBase* storage) const {
        const auto found = saves.find(storage);
        return found != saves.end() && found->second >= limit;
    }
    bool isHopeless(std::size_t storageCount) const {
        return failures >= kFailuresPerStorage * std::max<std::size_t>(storageCount, 1);
    }

    int limit;
    std::map<const SettingStorageFileBase*, int> saves;
    std::size_t failures = 0;  // without a success in between
    std::exception_ptr thrown;
};

/// Picks a storage and, in the same step, notes that it is being saved: it may not die in between.
class SettingsStorageFileAsyncSaver::CurrentSave {
public:
    CurrentSave(SettingsStorageFileAsyncSaver& saver, const Drain& drain) : state_(*saver.state_) {
        const boost::lock_guard<boost::mutex> lock(state_.storagesMutex);
        storage_ = saver.search(drain);
        if (storage_ != nullptr) {
            state_.savesUnderWay.push_back({storage_, boost::this_thread::get_id()});
        }
    }
    ~CurrentSave() {
        if (storage_ == nullptr) {
            return;
        }
        try {
            end();
        } catch (...) {
            // Only a broken lock throws, and then the storage counts as being saved for ever: it
            // waits at its end, which is better than dying under a save.
        }
    }
    CurrentSave(const CurrentSave&) = delete;
    CurrentSave& operator=(const CurrentSave&) = delete;

    SettingStorageFileBase* storage() const { return storage_; }

private:
    void end() {
        const boost::lock_guard<boost::mutex> lock(state_.storagesMutex);
        auto& saves = state_.savesUnderWay;
        const auto self = boost::this_thread::get_id();
        saves.erase(std::find_if(saves.begin(), saves.end(), [&](const State::Save& save) {
            return save.storage == storage_ && save.thread == self;
        }));
        state_.saveEnded.notify_all();
    }

    State& state_;
    SettingStorageFileBase* storage_;
};

/// Holds saveMutex, and lets the thread that does so know it: its saves must not wait for itself.
class SettingsStorageFileAsyncSaver::SaveLock {
public:
    explicit SaveLock(const SettingsStorageFileAsyncSaver& saver) : lock_(saver.state_->saveMutex) {
        savingForSaver = &saver;
    }
    ~SaveLock() { savingForSaver = nullptr; }
    SaveLock(const SaveLock&) = delete;
    SaveLock& operator=(const SaveLock&) = delete;

private:
    const boost::lock_guard<boost::mutex> lock_;
};

SettingsStorageFileAsyncSaver::SettingsStorageFileAsyncSaver() : state_(new State) {
    QEL_LOG(kInformation, "SettingsStorageFileAsyncSaver::SettingsStorageFileAsyncSaver()");
    startOrSay();
    theInstance.store(this);
}

// What the saver works with is never freed: while the process ends, other threads may still flush,
// or make and destroy storages.
SettingsStorageFileAsyncSaver::~SettingsStorageFileAsyncSaver() {
    instanceGone.store(true);
    if (inForkedChild() || runningSaver == this) {
        // A save on the saver's own thread may end the process; that thread can neither join itself
        // nor wait for the locks that it holds.
        theInstance.store(nullptr);
        return;
    }
    try {
        if (hasThread()) {
            stop();
        } else if (threadIsMissing_.load()) {
            flush();
        }
        QEL_LOG(kInformation, "SettingsStorageFileAsyncSaver::~SettingsStorageFileAsyncSaver()");
    } catch (...) {
        // The process is ending, and nobody is left to tell.
    }
    theInstance.store(nullptr);
}

// Without its thread the saver still saves when it is flushed, and at the end of the process. That
// is worth more than a process that does not come up.
void SettingsStorageFileAsyncSaver::startOrSay() {
    try {
        start();
    } catch (const std::exception& e) {
        threadIsMissing_.store(true);
        QEL_LOG(kError,
                "SettingsStorageFileAsyncSaver: no thread for saving in the background, saving "
                "when flushed and at the process's end only: %s",
                e.what());
    }
}

// In a forked child the saver is as it was in the parent at that moment, but its thread is not
// here: locks may be held and saves under way for ever, and the files are the parent's to write.
bool SettingsStorageFileAsyncSaver::inForkedChild() const {
    return getpid() != state_->process;
}

bool SettingsStorageFileAsyncSaver::hasThread() const {
    const boost::lock_guard<boost::mutex> lock(state_->control);
    return state_->thread != nullptr;
}

SettingsStorageFileAsyncSaver* SettingsStorageFileAsyncSaver::initInstance() {
    if (instanceGone.load()) {
        return nullptr;
    }
    static SettingsStorageFileAsyncSaver saver;
    return &saver;
}

SettingsStorageFileAsyncSaver* SettingsStorageFileAsyncSaver::instance() {
    return theInstance.load();
}

void SettingsStorageFileAsyncSaver::registerStorage(SettingStorageFileBase& storage) {
    if (inForkedChild()) {
        return;
    }
    const boost::lock_guard<boost::mutex> lock(state_->storagesMutex);
    auto& storages = state_->storages;
    if (std::find(storages.begin(), storages.end(), &storage) != storages.end()) {
        return;
    }
    storages.push_back(&storage);
    QEL_LOG(kInformation, "SettingsStorageFileAsyncSaver::registerStorage( %s )",
            storage.name().c_str());
}

void SettingsStorageFileAsyncSaver::unregisterStorage(SettingStorageFileBase& storage) {
    if (inForkedChild()) {
        return;
    }
    const boost::lock_guard<boost::mutex> lock(state_->storagesMutex);
    remove(storage);
}

void SettingsStorageFileAsyncSaver::remove(SettingStorageFileBase& storage) {
    auto& storages = state_->storages;
    const auto found = std::find(storages.begin(), storages.end(), &storage);
    if (found == storages.end()) {
        return;
    }
    // The later entries move up, and the cursor with them, or one of them would be passed over.
    if (static_cast<std::size_t>(found - storages.begin()) < state_->cursor) {
        --state_->cursor;
    }
    storages.erase(found);
    QEL_LOG(kInformation, "SettingsStorageFileAsyncSaver::unregisterStorage( %s )",
            storage.name().c_str());
}

void SettingsStorageFileAsyncSaver::detach(SettingStorageFileBase& storage) {
    if (inForkedChild()) {
        return;
    }
    const boost::this_thread::disable_interruption uninterrupted;
    boost::unique_lock<boost::mutex> lock(state_->storagesMutex);
    remove(storage);
    const auto self = boost::this_thread::get_id();
    state_->saveEnded.wait(lock, [&] {
        return std::none_of(state_->savesUnderWay.begin(), state_->savesUnderWay.end(),
                            [&](const State::Save& save) {
                                return save.storage == &storage && save.thread != self;
                            });
    });
}

SettingStorageFileBase* SettingsStorageFileAsyncSaver::getNextStorage() {
    const boost::lock_guard<boost::mutex> lock(state_->storagesMutex);
    return search(Drain(INT_MAX));
}

// Under storagesMutex. Touches nothing virtual of a storage: one that is under construction is
// listed already.
SettingStorageFileBase* SettingsStorageFileAsyncSaver::search(const Drain& drain) {
    std::size_t& cursor = state_->cursor;
    if (cursor >= state_->storages.size()) {
        cursor = 0;
    }
    for (; cursor < state_->storages.size(); ++cursor) {
        SettingStorageFileBase* const storage = state_->storages[cursor];
        if (storage->backgroundSavingOver()) {
            return nullptr;
        }
        if (storage->dirty() && !storage->managerGone() && !drain.hasHadEnough(storage)) {
            ++cursor;
            return storage;
        }
    }
    return nullptr;
}

bool SettingsStorageFileAsyncSaver::saveNextStorage() {
    Drain unbounded(INT_MAX);
    return saveOne(unbounded);
}

bool SettingsStorageFileAsyncSaver::saveOne(Drain& drain) {
    // An exception, too, must bring the drain nearer to its end.
    ++drain.failures;
    const CurrentSave save(*this, drain);
    SettingStorageFileBase* const storage = save.storage();
    if (storage == nullptr) {
        return false;
    }
    QEL_LOG(kInformation, "SettingsStorageFileAsyncSaver::saveNextStorage(): %s",
            storage->name().c_str());
    if (storage->save()) {
        drain.failures = 0;
        ++drain.saves[storage];
    } else {
        QEL_LOG(kError, "Failed to save storage %s", storage->name().c_str());
    }
    return true;
}

bool SettingsStorageFileAsyncSaver::isHopeless(const Drain& drain) const {
    const boost::lock_guard<boost::mutex> lock(state_->storagesMutex);
    return drain.isHopeless(state_->storages.size());
}

bool SettingsStorageFileAsyncSaver::drainStep(Drain& drain) {
    return !isHopeless(drain) && saveOne(drain);
}

// What one storage throws must not cost the others their changes, so it waits until they are saved.
void SettingsStorageFileAsyncSaver::drainAll(Drain& drain) {
    for (bool more = true; more && !isHopeless(drain);) {
        try {
            more = saveOne(drain);
        } catch (...) {
            drain.thrown = std::current_exception();
        }
    }
}

void SettingsStorageFileAsyncSaver::flush() {
    QEL_LOG(kInformation, "SettingsStorageFileAsyncSaver::flush()");
    if (savingForSaver == this) {
        QEL_LOG(kError,
                "SettingsStorageFileAsyncSaver::flush(): called from within a save, ignored");
        return;
    }
    // An interruption that is waiting to be delivered must not cost the changes.
    const boost::this_thread::disable_interruption uninterrupted;
    try {
        const SaveLock lock(*this);
        flushStorages();
        runCommand("sync > /dev/null");
        runCommand("flash flushcache > /dev/null");
    } catch (...) {
        QEL_LOG(kInformation, "SettingsStorageFileAsyncSaver::flush(): caught exception");
    }
}

void SettingsStorageFileAsyncSaver::flushStorages() {
    bool headIsLeft = false;
    {
        const boost::lock_guard<boost::mutex> lock(state_->storagesMutex);
        headIsLeft = state_->cursor > 0 && state_->cursor < state_->storages.size();
    }
    Drain drain(kSavesPerFlush);
    drainAll(drain);
    if (headIsLeft) {
        // The search began in the middle of the list and ended at its end.
        drain.failures = 0;
        drainAll(drain);
    }
    if (drain.thrown) {
        std::rethrow_exception(drain.thrown);
    }
}

void SettingsStorageFileAsyncSaver::threadFunc() {
    prctl(PR_SET_NAME, "Q_SettingsFileSaver", 0, 0, 0);
    runningSaver = this;
    QEL_LOG(kInformation, "SettingsStorageFileAsyncSaver::threadFunc(): starting");
    Drain drain(kSavesPerPass);
    while (!state_->stopRequested.load()) {
        try {
            bool saved = false;
            {
                const boost::this_thread::disable_interruption uninterrupted;
                const SaveLock lock(*this);
                saved = drainStep(drain);
            }
            if (!saved) {
                drain = Drain(kSavesPerPass);
                boost::this_thread::sleep_for(saverIdlePeriod);
            }
        } catch (const boost::thread_interrupted&) {
            QEL_LOG(kInformation,
                    "SettingsStorageFileAsyncSaver::threadFunc(): caught "
                    "boost::thread_interrupted: exiting.");
            state_->stopRequested.store(true);
        } catch (const std::exception& e) {
            // On this thread nobody else hears that a storage could not be saved.
            QEL_LOG(kError, "SettingsStorageFileAsyncSaver::threadFunc(): caught %s", e.what());
        } catch (...) {
            QEL_LOG(kError, "SettingsStorageFileAsyncSaver::threadFunc(): caught exception");
        }
    }
    flush();
    QEL_LOG(kInformation, "SettingsStorageFileAsyncSaver::threadFunc(): terminated");
    runningSaver = nullptr;
}

void SettingsStorageFileAsyncSaver::start() {
    if (inForkedChild()) {
        return;
    }
    QEL_LOG(kInformation, "SettingsStorageFileAsyncSaver::start()");
    const boost::lock_guard<boost::mutex> lock(state_->control);
    if (state_->thread) {
        return;
    }
    state_->stopRequested.store(false);
    const SignalsBlocked signalsBlocked;
    state_->thread =
        std::make_unique<boost::thread>(&SettingsStorageFileAsyncSaver::threadFunc, this);
    threadIsMissing_.store(false);
}

void SettingsStorageFileAsyncSaver::stop() {
    if (inForkedChild()) {
        return;
    }
    QEL_LOG(kInformation, "SettingsStorageFileAsyncSaver::stop()");
    if (runningSaver == this) {
        throw boost::thread_resource_error(EDEADLK, "boost thread: trying joining itself");
    }
    const boost::this_thread::disable_interruption uninterrupted;
    const boost::lock_guard<boost::mutex> lock(state_->control);
    if (!state_->thread) {
        return;
    }
    state_->stopRequested.store(true);
    state_->thread->interrupt();
    state_->thread->join();
    state_->thread.reset();
    state_->stopRequested.store(false);
}

}  // namespace Settings
}  // namespace Qel
