#ifndef QEL_SETTINGS_OPERATIONMODE_H
#define QEL_SETTINGS_OPERATIONMODE_H

#include <atomic>
#include <mutex>

#include "Qel/Settings/SettingsManager.h"

namespace Qel {
namespace Settings {

/// A manager's operation mode, shared with its storages: a storage may outlive its manager and must
/// still be able to ask whether it may write.
///
/// Any thread may call. Takes no lock of the manager, since storages ask while the manager's lock
/// is held for their registration.
class OperationMode {
public:
    OperationMode() : mode_(SOM_Normal), retired_(false) {}

    /// The mode, after a look for the marker of another process's reset.
    SettingsOperationMode query();

    void set(SettingsOperationMode mode);

    /// Creates the marker of a reset unless another process has. Without a marker path, or when it
    /// cannot be created, the mode stays what it is.
    void announceReset();

    /// The manager is gone: nobody may save any more.
    void retire() { retired_.store(true); }
    bool retired() const { return retired_.load(); }

    static std::string exchangeMarkerPath(const std::string& path);

private:
    static std::string markerPath();

    std::atomic<SettingsOperationMode> mode_;
    std::atomic<bool> retired_;
    // Held from a look at the marker, or its creation, to the change of mode that follows: our own
    // reset is not to be taken for another process's. Recursive, as a log sink may ask the mode.
    std::recursive_mutex transition_;
};

}  // namespace Settings
}  // namespace Qel

#endif
