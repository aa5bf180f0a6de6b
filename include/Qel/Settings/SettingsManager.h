#ifndef QEL_SETTINGS_SETTINGSMANAGER_H
#define QEL_SETTINGS_SETTINGSMANAGER_H

#include <atomic>
#include <boost/shared_ptr.hpp>
#include <boost/thread/shared_mutex.hpp>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Qel/Settings/Export.h"
#include "Qel/Settings/SettingStorageInterface.h"

namespace Qel {
namespace Settings {

class NameIndex;
class OperationMode;
class SettingFactory;
class SettingHolder;

/// Whether this process may write its settings.
enum SettingsOperationMode : int {
    SOM_Normal = 0,              ///< storages load and save
    SOM_ResettingToDefault = 1,  ///< this or another process is resetting; storages do not save
    SOM_ResetDone = 2            ///< this process has reset its storages
};

/// A process's registry of storages and settings.
///
/// Any thread may call, except where an operation says otherwise. Registering a storage loads its
/// files under the manager's exclusive lock, so a storage must not look settings up while it loads.
class QEL_SETTINGS_EXPORT SettingsManager {
public:
    using SettingVisitor = std::function<void(const boost::shared_ptr<SettingHolder>&)>;
    using StorageVisitor = std::function<void(const boost::shared_ptr<SettingStorageInterface>&)>;

    /// A manager of one's own, beside the process's default one: no storages, no factory.
    SettingsManager();

    /// Stops background saving, after a last flush; it goes on when there is another, default
    /// manager. The manager's storages save no more from here on, and settings whose storage goes
    /// with it refuse changes.
    virtual ~SettingsManager();
    SettingsManager(const SettingsManager&) = delete;
    SettingsManager& operator=(const SettingsManager&) = delete;

    /// The process's manager, made and set up by the first call. When the set-up throws, so does
    /// this, and the next call tries again. Not to be called from within the set-up, which would
    /// wait for itself; `existingInstance()` is for that.
    static SettingsManager* defaultInstance();

    /// The process's manager when it has been made, otherwise null; during its set-up the manager
    /// that is being set up.
    static SettingsManager* existingInstance();

    /// Makes a default manager, sets it up and gives the set-up's result. `defaultInstance()` does
    /// this once; a manager that an earlier call made, or that is being set up, is not destroyed,
    /// unless its set-up has thrown. Only while no other thread makes or uses the default manager.
    static int createDefaultSettingsManager();

    /// Flushes and discards the default manager, so that the next `defaultInstance()` loads anew.
    /// Only while no other thread uses the manager, and not from within its set-up.
    static void reloadSettings();

    /// Makes the background saver write what is dirty; storages of other policies are not touched.
    static void flushAllSettings();

    /// Base directory of the settings files, "/" at first; ends in "/". To be set before the
    /// default manager is made, while no other thread reads it.
    static const std::string& location();
    /// Returns the previous directory.
    static std::string location(const std::string& directory);

    /// Path of the file that announces a reset to all processes; "" switches the protocol off.
    /// Returns the previous path.
    static std::string setResetToDefaultsMarker(const std::string& path);

    /// Sets the type registry for storages registered from now on, empty allowed; returns the
    /// previous one.
    boost::shared_ptr<SettingFactory> factory(boost::shared_ptr<SettingFactory> newFactory);

    /// The type registry; empty when none is set.
    boost::shared_ptr<SettingFactory> factory() const;

    /// Loads a storage and files it under its name, in place of one of the same name. False when
    /// the storage is not usable (then it is not filed; its `errInfo()` may say why) or not all of
    /// its settings could be indexed. Throws what `registerSetting` throws for a setting that has
    /// no storage yet, and `std::runtime_error` for a storage that has a manager.
    bool registerStorage(boost::shared_ptr<SettingStorageInterface> storage);

    /// Gives a new setting to the storage with the longest name that the setting's name begins
    /// with, or else to the default storage. Throws `std::runtime_error` when there is none, when
    /// it is read-only and when it refuses.
    void registerSetting(boost::shared_ptr<SettingHolder> holder);

    /// The setting of exactly this name; empty when there is none.
    boost::shared_ptr<SettingHolder> setting(const std::string& name) const;

    /// The storage for settings that no storage's name claims; empty unless set.
    boost::shared_ptr<SettingStorageInterface> defaultStorage() const;
    void defaultStorage(boost::shared_ptr<SettingStorageInterface> storage);

    /// Calls `visit` for each setting in order of the names. What is registered meanwhile is not
    /// visited; no lock is held, so `visit` may call the manager.
    void forEachSetting(const SettingVisitor& visit) const;
    /// The same for each storage.
    void forEachStorage(const StorageVisitor& visit) const;

    /// Sets the mode; always true.
    bool setSettingsOperationMode(SettingsOperationMode mode);

    /// The mode, after a look whether another process has announced a reset.
    SettingsOperationMode getSettingsOperationMode();

    /// Announces a reset and resets every storage that does not survive one. Gives 1 when that is
    /// done, otherwise the mode that stood in the way or, for 0, that the reset could not be
    /// announced. (1 is thus also the answer while a reset is going on already.) A storage's
    /// exception ends the reset and passes. Meant for a quiet process that restarts afterwards.
    int resetToDefault();

private:
    friend class OperationMode;
    friend class SettingStorageBase;
    using Storages = std::map<std::string, boost::shared_ptr<SettingStorageInterface>>;

    bool indexSetting(boost::shared_ptr<SettingHolder>&& holder);
    void fileSetting(const boost::shared_ptr<SettingHolder>& holder);
    boost::shared_ptr<SettingStorageInterface> storageFor(const std::string& settingName) const;
    std::vector<boost::shared_ptr<SettingStorageInterface>> storages() const;
    void refuseSavesOfReplacedStorages();

    Storages storages_;
    // Replaced storages live on: settings that only they have are still in the index.
    std::vector<boost::shared_ptr<SettingStorageInterface>> replacedStorages_;
    boost::shared_ptr<SettingStorageInterface> defaultStorage_;
    std::unique_ptr<NameIndex> settings_;
    mutable boost::shared_mutex lock_;
    boost::shared_ptr<SettingFactory> factory_;
    boost::shared_ptr<OperationMode> mode_;

    static std::atomic<SettingsManager*> m_defaultSettingsManager;
    static std::string& m_location;
    static std::string& m_resetToDefaultsMarker;
};

}  // namespace Settings
}  // namespace Qel

#endif
