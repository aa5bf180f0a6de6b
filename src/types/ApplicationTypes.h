#ifndef QEL_SETTINGS_TYPES_APPLICATIONTYPES_H
#define QEL_SETTINGS_TYPES_APPLICATIONTYPES_H

namespace Qel {
namespace Settings {

class SettingFactory;

/// Registers the television's value types, in the order that decides which name a type is written
/// under.
void registerApplicationTypes(SettingFactory& factory);

}  // namespace Settings
}  // namespace Qel

#endif
