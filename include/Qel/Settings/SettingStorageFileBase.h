#ifndef QEL_SETTINGS_SETTINGSTORAGEFILEBASE_H
#define QEL_SETTINGS_SETTINGSTORAGEFILEBASE_H

#include <atomic>
#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <sys/types.h>
#include <unistd.h>
#include <vector>

#include "Qel/Settings/Export.h"
#include "Qel/Settings/SettingStorageBase.h"

namespace Qel {
namespace Settings {

class SettingsByName;

namespace files {
class DirectoryLock;
}

/// A storage with a defaults file that is never written and a read/write file of the user's values.
/// A subclass supplies the format through `loadFile` and `saveFile`.
///
/// Promise: a damaged read/write file never makes the storage unusable, it is set aside under the
/// suffix ".bad" and the defaults stand. Where that is impossible it stays, and a save copies it
/// before it writes. A change that lands while a save is running is saved by the next one, and a
/// failed save leaves the storage dirty.
///
/// No promise: the destructor does not save, and the last of several processes that write one file
/// wins.
///
/// Threads: saves and resets of one storage never overlap, they hold its own mutex throughout. See
/// the top of the source for the order of the locks.
class QEL_SETTINGS_EXPORT SettingStorageFileBase : public SettingStorageBase {
public:
    /// When changes are written.
    enum SavePolicy : std::int32_t {
        Save_unspecified = 0,   ///< as on demand, and the file has no policy line
        Save_onDemand = 1,      ///< when `save()` is called
        Save_onEachChange = 2,  ///< inside every change, on the changing thread
        Save_async = 3          ///< by the background saver, and when it is flushed
    };

    ~SettingStorageFileBase() override;

    /// Path of the defaults file, "" for none; never null.
    const std::string* filename() const override;
    const std::string* filename(const std::string& path) override;

    /// Path of the read/write file; null while the storage is read-only.
    const std::string* rwFilename() const override;
    const std::string* rwFilename(const std::string& path) override;

    /// Loads the defaults file, then the read/write file over it. False when the defaults cannot be
    /// loaded or there are no files at all; a damaged read/write file is set aside, which is true.
    bool init(SettingsManager* manager, boost::shared_ptr<SettingFactory> factory) override;

    /// Writes the read/write file when something has changed. True also when there was nothing to
    /// write and while a reset to defaults is in progress, when nothing is to be written. False for
    /// a read-only storage, after a reset, when the manager is gone, and when the write failed.
    bool save() override;
    const SettingsSet& settingsSet() const override;

    /// What went wrong while loading, one rejected line after another; never null. The text that
    /// the pointer shows stays as it is; ask again to see what has come since.
    const std::string* errInfo() const override;
    bool registerSetting(boost::shared_ptr<SettingHolder> holder) override;
    boost::shared_ptr<SettingHolder> querySetting(std::string name) override;

    /// Name, " RW" or " RO", both paths and the policy.
    std::string info() const override;

    /// Loads the defaults, writes them over the read/write file and refuses every later save. The
    /// result is that of the write; a read-only storage writes nothing and gives true.
    bool resetToDefaults() override;

    /// Writes all settings to `path`; true when that is done.
    virtual bool saveFile(const std::string& path) = 0;

    /// Reads settings from `path`; false, or an exception, when the file is unusable.
    virtual bool loadFile(const std::string& path) = 0;

    /// Notes the change and, with `Save_onEachChange`, saves.
    void changed(std::string name) override;

    /// Whether a setting has changed since the last successful save.
    bool dirty() const;
    SavePolicy savePolicy() const;
    /// Whether `resetToDefaults` has been called, after which nothing is saved any more.
    bool resetCalled() const;

    /// The settings held now in order of their names, safe to walk while others are registered.
    /// Cheaper than `settingsSet()`, for which the storage keeps a map from then on.
    std::vector<boost::shared_ptr<SettingHolder>> snapshot() const;

    /// Refuses every later save, as after a reset.
    void refuseSaves();

protected:
    SettingStorageFileBase(const std::string& name, std::string filename, std::string rwFilename,
                           SavePolicy policy);

    /// Changes the policy, and with it the storage's place with the background saver.
    void savePolicy(SavePolicy policy);

    /// First call of a subclass's destructor, while the subclass is still whole: no save is running
    /// when it returns, none will start, and the settings take no more changes. Later calls do
    /// nothing.
    void retire();

    /// Makes room for about so many settings more.
    void expectSettings(std::size_t count);

    void clearErrInfo();
    void appendErrInfo(const std::string& text);

    /// To be asked by a subclass once it has the files to itself: a reset may have begun in another
    /// process after `save()` looked. When this gives false the subclass writes nothing and returns
    /// false; `save()` then keeps the storage dirty and still reports success.
    bool mayStillWrite();

    /// To be asked by a subclass before it overwrites `path`, under `directory`, the lock on the
    /// directory of both: a read/write file that stands without having been loaded is kept now
    /// under another name, and before it `copy`, its temporary copy. When that fails and one of
    /// them may be whole, this gives false, and the subclass writes nothing and returns false: what
    /// they held would be lost. What is known to be damaged holds no save up.
    bool damagedFileIsKept(const std::string& path, const std::string& copy,
                           const files::DirectoryLock& directory);

    /// Whether that has let the save go on although the temporary copy of `path` could not be kept,
    /// and the next save may be able to keep it, so that one which fails is to leave it as it is.
    /// On a full disk it is not: a new copy beside it would find no room either.
    bool copyIsNotKept(const std::string& path) const;

    /// To be called by a subclass that has asked these, as soon as it has overwritten that copy,
    /// then `path` itself: when what lay at `overwritten`, one of the two, could not be kept, the
    /// log says that it is lost.
    void damagedFileIsOverwritten(const std::string& path, const std::string& overwritten);

    /// To be called by a subclass's load that found something which it could not read but which may
    /// hold the values: should the load fail, the read/write file is not set aside; and when it
    /// does not, the temporary copy is kept by the save that would replace it.
    void noteUnread() { unread_ = true; }

    /// To be called by a subclass's load that could not read the file itself although it may be
    /// whole: should it not be possible to set it aside, it is not overwritten unless it is kept.
    void noteFileUnread() { fileUnread_ = true; }

    /// Held over every save, load and reset of the storage; recursive, since a subclass's load and
    /// save are called by clients too.
    std::recursive_mutex& storageMutex() const { return storageMutex_; }

private:
    friend class SettingsStorageFileAsyncSaver;

    /// A read/write file, or its copy, that stands although its values were not loaded, until it is
    /// kept.
    struct Standing {
        const char* state = nullptr;  // "damaged" or "unread", null when nothing stands so
        // Why they could not be kept, an errno: 0 when nothing is left to be kept, -1 when nobody
        // has tried.
        int copyError = -1;
        int fileError = -1;
    };

    bool loadDefaults();
    bool readWriteFileExists();
    bool loadReadWriteFile();
    bool loadOrRecoverReadWriteFile();
    bool readWriteFileLoads();
    bool recoverReadWriteFile(const std::string& errInfoBefore);
    void setAsideReadWriteFile(const files::DirectoryLock& directory);
    void letFileStand(const char* state);
    bool keep(const std::string& path, int& error);
    std::string currentErrInfo() const;
    void leaveSaver();
    /// Has all settings refuse changes; gives one whose changes are not over, null when there is
    /// none.
    boost::shared_ptr<SettingHolder> orphanSettings();
    void dropSettings();
    void rememberReplaced(const boost::shared_ptr<SettingHolder>& holder);

    bool refusesToSave() const;
    bool resetInProgress();
    bool writeChanges();
    /// Nobody is left to say whether saving is allowed.
    bool managerGone() const;
    bool managerLives() const;
    /// A reset to defaults has begun, after which nothing is saved in the background.
    bool backgroundSavingOver();

    std::string filename_;
    std::string rwFilename_;
    std::atomic<std::uint64_t> changes_{0};
    std::atomic<std::uint64_t> savedChanges_{0};
    std::string errInfo_;
    mutable std::list<std::string> shownErrInfo_;
    std::unique_ptr<SettingsByName> settings_;
    std::vector<boost::weak_ptr<SettingHolder>> replacedSettings_;
    std::atomic<SavePolicy> savePolicy_{Save_onDemand};
    std::atomic<bool> resetCalled_{false};
    bool saving_ = false;
    bool writeRefused_ = false;
    bool retired_ = false;
    const pid_t process_ = ::getpid();  // that made the storage
    const std::uint64_t number_;        // no other storage gets it, unlike the address
    bool unread_ = false;
    bool fileUnread_ = false;
    Standing standing_;
    mutable std::recursive_mutex storageMutex_;
    mutable std::mutex settingsMutex_;
    mutable std::mutex errInfoMutex_;
};

}  // namespace Settings
}  // namespace Qel

#endif
