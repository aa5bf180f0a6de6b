#ifndef QEL_SETTINGS_TYPES_APPLICATIONTYPES_H
#define QEL_SETTINGS_TYPES_APPLICATIONTYPES_H

#include <vector>

#include "types/ApplicationType.h"

namespace Qel {
namespace Settings {

/// The television's value types, in the order that decides which name a type is written under.
const std::vector<ApplicationType>& applicationTypes();

/// Registers all of them with `factory`, a `SettingFactory` or what else takes registrations.
template <class Factory>
void registerApplicationTypes(Factory& factory) {
    for (const ApplicationType& type : applicationTypes()) {
        factory.registerType(type.type, type.name, type.load, type.save);
    }
}

/// Every type that a factory knows then, once: the built-in types by name, then these in order.
std::vector<TypeDescription> describeRegisteredTypes();

}  // namespace Settings
}  // namespace Qel

#endif
