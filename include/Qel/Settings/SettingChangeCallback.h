#ifndef QEL_SETTINGS_SETTINGCHANGECALLBACK_H
#define QEL_SETTINGS_SETTINGCHANGECALLBACK_H

#include <string>

#include "Qel/Settings/Export.h"

namespace Qel {
namespace Settings {

/// Whom a setting asks before its value changes and tells afterwards; every storage is one.
///
/// Both operations run on the thread that changes the value, with no lock of the library held,
/// and several threads may call them at once.
class QEL_SETTINGS_EXPORT SettingChangeCallback {
public:
    virtual ~SettingChangeCallback();

    /// Asked before the setting called `name` takes a new value. False vetoes the change.
    virtual bool changing(std::string name);

    /// Told after the setting called `name` has taken its new value.
    virtual void changed(std::string name);
};

}  // namespace Settings
}  // namespace Qel

#endif
