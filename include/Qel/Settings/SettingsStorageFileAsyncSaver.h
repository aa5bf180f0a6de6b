#ifndef QEL_SETTINGS_SETTINGSSTORAGEFILEASYNCSAVER_H
#define QEL_SETTINGS_SETTINGSSTORAGEFILEASYNCSAVER_H

#include <atomic>
#include <functional>

#include "Qel/Settings/Export.h"

namespace Qel {
namespace Settings {

class SettingStorageFileBase;

/// Saves the storages of policy `Save_async` from a thread of its own: dirty ones back to back,
/// then nothing for ten seconds.
///
/// Promise: the thread and a flush save one storage at a time, the thread saves none twice in one
/// pass of the thread, and a storage that cannot be saved holds up neither the others nor a flush,
/// a stop or the process's exit. It stays dirty and is tried again after the pause.
///
/// No promise: changes made after a flush has passed their storage wait for the next one.
///
/// Any thread may call. From within a save of the saver (on its thread, or in a flush) `flush()`
/// and `start()` are ignored and `stop()` is refused: they would wait for that save. A process that
/// forked without exec has no saver thread, and its files are its parent's to write: there nothing
/// is started, stopped, registered or flushed, and its exit saves nothing.
class QEL_SETTINGS_EXPORT SettingsStorageFileAsyncSaver {
public:
    /// The process's saver, made (and its thread started) by the first call. Null once the process
    /// is so far in its exit that the saver is gone.
    static SettingsStorageFileAsyncSaver* initInstance();

    /// The saver when there is one, otherwise null.
    static SettingsStorageFileAsyncSaver* instance();

    SettingsStorageFileAsyncSaver(const SettingsStorageFileAsyncSaver&) = delete;
    SettingsStorageFileAsyncSaver& operator=(const SettingsStorageFileAsyncSaver&) = delete;

    /// Adds the storage, once. It must be unregistered before it dies.
    void registerStorage(SettingStorageFileBase& storage);

    /// Removes the storage; one that is not there is ignored. A save of it may still be running
    /// when this returns.
    void unregisterStorage(SettingStorageFileBase& storage);

    /// The next dirty storage, round robin; null when there is none, and once a reset to defaults
    /// has begun.
    SettingStorageFileBase* getNextStorage();

    /// Saves the next dirty storage. False when there was none; a failed save is true too.
    bool saveNextStorage();

    /// Saves what is dirty, then makes the system write its caches to flash. Never throws.
    void flush();

    /// Starts the thread unless it runs.
    void start();

    /// Ends the thread, which flushes before it goes; returns when it is gone. Throws
    /// `boost::thread_resource_error` on the saver's own thread and within a flush's save.
    void stop();

    /// The body of the thread.
    void threadFunc();

private:
    friend class SettingStorageFileBase;
    struct State;
    struct Drain;
    class CurrentSave;
    class SaveLock;

    SettingsStorageFileAsyncSaver();
    ~SettingsStorageFileAsyncSaver();

    /// Removes the storage and waits for a save of it that another thread has under way.
    void detach(SettingStorageFileBase& storage);
    void remove(SettingStorageFileBase& storage);

    bool inForkedChild() const;
    bool savesOnThisThread() const;
    bool hasThread() const;
    void startThread();
    /// False when there was nothing to stop.
    bool stopThread();
    /// `stop()`, with something to do before anybody can start the thread again. It is told what
    /// `stopThread()` gave.
    void stopAnd(const std::function<void(bool)>& whileStopped);

    SettingStorageFileBase* search(const Drain& drain);
    bool saveOne(Drain& drain);
    bool isHopeless(const Drain& drain) const;
    bool drainStep(Drain& drain);
    void drainAll(Drain& drain);
    void flushStorages();

    friend class SettingsManager;
    /// `start()` that logs what it would throw.
    void startOrSay();
    /// `stop()` for a manager that ends: its storages are saved for the last time, then it retires.
    /// The thread goes on when it is needed, or when storages of other managers are listed.
    void endManager(const std::function<void()>& retire, bool isNeeded);
    /// Whether storages of a living manager are listed.
    bool servesManagers() const;

    State* state_;
    std::atomic<bool> threadIsMissing_{false};
    static std::atomic<SettingsStorageFileAsyncSaver*> theInstance;
};

}  // namespace Settings
}  // namespace Qel

#endif
