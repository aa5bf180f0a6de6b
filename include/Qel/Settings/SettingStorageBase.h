#ifndef QEL_SETTINGS_SETTINGSTORAGEBASE_H
#define QEL_SETTINGS_SETTINGSTORAGEBASE_H

#include <atomic>
#include <boost/shared_ptr.hpp>
#include <forward_list>
#include <mutex>
#include <string>

#include "Qel/Settings/Export.h"
#include "Qel/Settings/SettingChangeCallback.h"
#include "Qel/Settings/SettingStorageInterface.h"

namespace Qel {
namespace Settings {

class OperationMode;

/// What every storage shares: name, flags, the link to manager and factory, and neutral answers to
/// everything that concerns files. `settingsSet` and `resetToDefaults` are left to the storage.
///
/// Threads: the flags, the name and the links may be read by any thread at any time. They are set
/// by the thread that sets the storage up, or by a load.
class QEL_SETTINGS_EXPORT SettingStorageBase : public SettingStorageInterface,
                                               public SettingChangeCallback {
public:
    explicit SettingStorageBase(const std::string& name);
    ~SettingStorageBase() override;
    SettingStorageBase(const SettingStorageBase&) = delete;
    SettingStorageBase& operator=(const SettingStorageBase&) = delete;

    const std::string& name() const override;
    const std::string& name(const std::string& newName) override;
    const std::string* filename() const override;
    const std::string* filename(const std::string& path) override;
    const std::string* rwFilename() const override;
    const std::string* rwFilename(const std::string& path) override;
    bool readonly() const override;
    bool readonly(bool value) override;
    SettingsManager* settingsManager() const override;
    boost::shared_ptr<SettingFactory> factory() const override;

    /// False for a null manager. The manager's factory is taken only when the storage has none.
    bool init(SettingsManager* manager, boost::shared_ptr<SettingFactory> factory) override;
    bool save() override;
    const std::string* errInfo() const override;
    bool registerSetting(boost::shared_ptr<SettingHolder> holder) override;
    boost::shared_ptr<SettingHolder> querySetting(std::string name) override;
    std::string info() const override;
    bool surviveResetToDefaults() const override;
    void surviveResetToDefaults(bool survives) override;

    /// Ties the storage to `manager`. Throws `std::runtime_error` when it has a manager already,
    /// also when that is the same one.
    virtual void settingsManager(SettingsManager* manager);

    /// True exactly when the storage is not read-only.
    bool changing(std::string name) override;

protected:
    void setFactory(boost::shared_ptr<SettingFactory> factory);

    /// Mode and life of the manager; null while the storage has none. Stays good after the
    /// manager's end, unlike `settingsManager()`.
    const OperationMode* operationMode() const {
        return publishedMode_.load(std::memory_order_acquire);
    }
    OperationMode* operationMode() { return publishedMode_.load(std::memory_order_acquire); }

private:
    // Every name that the storage ever had: `name()` hands out references, and a reset's load may
    // rename the storage while another thread is logging the old name.
    std::forward_list<std::string> names_;
    std::atomic<const std::string*> name_;
    std::atomic<SettingsManager*> settingsManager_;
    std::atomic<bool> readonly_;
    boost::shared_ptr<SettingFactory> factory_;
    std::atomic<bool> surviveResetToDefaults_;
    boost::shared_ptr<OperationMode> mode_;
    std::atomic<OperationMode*> publishedMode_;
    mutable std::mutex linksMutex_;
};

}  // namespace Settings
}  // namespace Qel

#endif
