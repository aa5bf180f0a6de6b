// Locks, outermost first (the library's whole order stands in SettingsStorageFileBase.cpp):
//
//   control        the thread: who starts, stops and joins it
//   saveMutex      held over a save of the thread and over a whole flush, so that they never save
//                  at the same time
//   storagesMutex  storages, cursor and the saves under way; never held while a storage saves

#include "Qel/Settings/SettingsStorageFileAsyncSaver.h"

#include <algorithm>
#include <boost/thread/lock_guard.hpp>
#include <boost/thread/thread.hpp>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <exception>
#include <memory>
#include <sys/prctl.h>
#include <unistd.h>

#include "AsyncSaverState.h"
#include "Log.h"
#include "Qel/Settings/SettingStorageFileBase.h"
#include "SaverTiming.h"
#include "SignalsBlocked.h"

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

std::atomic<bool> instanceGone{false};

thread_local const SettingsStorageFileAsyncSaver* runningSaver = nullptr;
thread_local const SettingsStorageFileAsyncSaver* savingForSaver = nullptr;

// Without its thread the saver still saves when it is flushed or stopped, and at the end of the
// process. That is worth more than a process that does not come up.
template <class Start>
void orSay(Start start) {
    try {
        start();
    } catch (const std::exception& e) {
        QEL_LOG(kError,
                "SettingsStorageFileAsyncSaver: no thread for saving in the background, saving "
                "when flushed and at the process's end only: %s",
                e.what());
    }
}

void runCommand(const char* command) {
    // The target may not have the command; that is its own business.
    const int ignored = std::system(command);
    static_cast<void>(ignored);
}

}  // namespace

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
    if (inForkedChild() || savesOnThisThread()) {
        // A save of the saver may end the process; the thread that it runs on can neither join
        // itself nor wait for the locks that it holds.
        theInstance.store(nullptr);
        return;
    }
    try {
        if (hasThread() || threadIsMissing_.load()) {
            stop();
        }
        QEL_LOG(kInformation, "SettingsStorageFileAsyncSaver::~SettingsStorageFileAsyncSaver()");
    } catch (...) {
        // The process is ending, and nobody is left to tell.
    }
    theInstance.store(nullptr);
}

void SettingsStorageFileAsyncSaver::startOrSay() {
    orSay([this] { start(); });
}

// In a forked child the saver is as it was in the parent at that moment, but its thread is not
// here: locks may be held and saves under way for ever, and the files are the parent's to write.
bool SettingsStorageFileAsyncSaver::inForkedChild() const {
    return getpid() != state_->process;
}

// Such a thread holds saveMutex, or is the one to be joined: it must wait for neither.
bool SettingsStorageFileAsyncSaver::savesOnThisThread() const {
    return runningSaver == this || savingForSaver == this;
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
        if (storage->dirty() && !storage->managerGone() && !drain.hasHadEnough(storage->number_)) {
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
        ++drain.saves[storage->number_];
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
    if (inForkedChild()) {
        return;
    }
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
    if (inForkedChild() || instanceGone.load()) {
        return;
    }
    QEL_LOG(kInformation, "SettingsStorageFileAsyncSaver::start()");
    if (savesOnThisThread()) {
        QEL_LOG(kError,
                "SettingsStorageFileAsyncSaver::start(): called from within a save, ignored");
        return;
    }
    const boost::lock_guard<boost::mutex> lock(state_->control);
    startThread();
}

void SettingsStorageFileAsyncSaver::startThread() {
    if (state_->thread) {
        return;
    }
    state_->stopRequested.store(false);
    threadIsMissing_.store(true);
    const SignalsBlocked signalsBlocked;
    state_->thread =
        std::make_unique<boost::thread>(&SettingsStorageFileAsyncSaver::threadFunc, this);
    threadIsMissing_.store(false);
}

void SettingsStorageFileAsyncSaver::stop() {
    stopAnd([](bool) {});
}

// In one piece: another manager that ends at this moment must find the thread at work, or else its
// storages would not be saved.
void SettingsStorageFileAsyncSaver::endManager(const std::function<void()>& retire, bool isNeeded) {
    stopAnd([&](bool stopped) {
        retire();
        if (stopped && (isNeeded || servesManagers())) {
            QEL_LOG(kInformation, "SettingsStorageFileAsyncSaver::start()");
            orSay([this] { startThread(); });
        }
    });
}

void SettingsStorageFileAsyncSaver::stopAnd(const std::function<void(bool)>& whileStopped) {
    if (inForkedChild()) {
        return;
    }
    QEL_LOG(kInformation, "SettingsStorageFileAsyncSaver::stop()");
    if (savesOnThisThread()) {
        throw boost::thread_resource_error(EDEADLK, "boost thread: trying joining itself");
    }
    const boost::this_thread::disable_interruption uninterrupted;
    const boost::lock_guard<boost::mutex> lock(state_->control);
    whileStopped(stopThread());
}

bool SettingsStorageFileAsyncSaver::stopThread() {
    if (!state_->thread) {
        const bool missing = threadIsMissing_.exchange(false);
        if (missing) {
            flush();
        }
        return missing;
    }
    state_->stopRequested.store(true);
    state_->thread->interrupt();
    state_->thread->join();
    state_->thread.reset();
    state_->stopRequested.store(false);
    return true;
}

bool SettingsStorageFileAsyncSaver::servesManagers() const {
    const boost::lock_guard<boost::mutex> lock(state_->storagesMutex);
    return std::any_of(
        state_->storages.begin(), state_->storages.end(),
        [](const SettingStorageFileBase* storage) { return storage->managerLives(); });
}

}  // namespace Settings
}  // namespace Qel
