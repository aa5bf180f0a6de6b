#ifndef QEL_SETTINGS_SETTINGSTORAGEINTERFACE_H
#define QEL_SETTINGS_SETTINGSTORAGEINTERFACE_H

#include <boost/shared_ptr.hpp>
#include <map>
#include <string>

#include "Qel/Settings/Export.h"

namespace Qel {
namespace Settings {

class SettingFactory;
class SettingHolder;
class SettingsManager;

/// A storage's settings by their full names, in byte-wise order of the names.
using SettingsSet = std::map<std::string, boost::shared_ptr<SettingHolder>>;

/// A place where settings live, as the manager, the reset to defaults and the background saver see
/// it. The order of the operations is fixed: clients and storages are built apart from each other.
class QEL_SETTINGS_EXPORT SettingStorageInterface {
public:
    virtual ~SettingStorageInterface();

    /// The storage's name: the manager files the storage under it, and a setting whose name begins
    /// with it belongs here. The reference stays good, and its text unchanged, while the storage
    /// lives.
    virtual const std::string& name() const = 0;
    /// Renames the storage; returns the new name.
    virtual const std::string& name(const std::string& newName) = 0;

    /// Path of the defaults file; null when the storage has no files.
    virtual const std::string* filename() const = 0;
    virtual const std::string* filename(const std::string& path) = 0;

    /// Path of the read/write file; null when the storage has none.
    virtual const std::string* rwFilename() const = 0;
    virtual const std::string* rwFilename(const std::string& path) = 0;

    /// Whether the storage refuses changes and new settings.
    virtual bool readonly() const = 0;
    /// Sets the flag; returns its previous value.
    virtual bool readonly(bool value) = 0;

    /// The manager that registered the storage; null before. Not owned, and not cleared when the
    /// manager goes.
    virtual SettingsManager* settingsManager() const = 0;

    /// The type registry that the storage reads and writes with; empty until it has one.
    virtual boost::shared_ptr<SettingFactory> factory() const = 0;

    /// Ties the storage to its manager and loads it. False when it is not usable; `errInfo()` may
    /// then say why. Throws `std::runtime_error` when the storage has a manager already.
    virtual bool init(SettingsManager* manager, boost::shared_ptr<SettingFactory> factory) = 0;

    /// Writes what has changed. True when nothing is left to be done.
    virtual bool save() = 0;

    /// The settings held now. To be walked only while no other thread registers settings here.
    virtual const SettingsSet& settingsSet() const = 0;

    /// What went wrong last, for people; null or empty when there is nothing to tell.
    virtual const std::string* errInfo() const = 0;

    /// Takes a setting in. False for an empty pointer and for a setting that has a storage.
    virtual bool registerSetting(boost::shared_ptr<SettingHolder> holder) = 0;

    /// The setting of exactly this name; empty when there is none.
    virtual boost::shared_ptr<SettingHolder> querySetting(std::string name) = 0;

    /// One line about the storage, for reports.
    virtual std::string info() const = 0;

    /// Whether a reset to defaults leaves the storage alone.
    virtual bool surviveResetToDefaults() const = 0;
    virtual void surviveResetToDefaults(bool survives) = 0;

    /// Goes back to the defaults, on disk too. True when they are written.
    virtual bool resetToDefaults() = 0;
};

}  // namespace Settings
}  // namespace Qel

#endif
