#ifndef QEL_SETTINGS_T8SETTINGSMANAGER_H
#define QEL_SETTINGS_T8SETTINGSMANAGER_H

#include <vector>

#include "Qel/Settings/Export.h"
#include "Qel/Settings/TypeDescription.h"

namespace Qel {
namespace Settings {

class SettingsManager;

/// The television's settings: `SettingsManager::defaultInstance()`.
QEL_SETTINGS_EXPORT SettingsManager* T8SettingsManager();

/// Makes `manager` the television's: its value types, the reset marker, and a storage for every
/// settings file below `SettingsManager::location()`. Gives 0. A file that cannot be loaded is
/// logged and left out; the exceptions of `SettingsManager::registerStorage` pass.
QEL_SETTINGS_EXPORT unsigned int initDefaultSettingsManager(SettingsManager& manager);

/// Every type that the set-up registers, once: the built-in types by name, then the television's in
/// the order of their registration.
QEL_SETTINGS_EXPORT std::vector<TypeDescription> describeTypes();

}  // namespace Settings
}  // namespace Qel

#endif
