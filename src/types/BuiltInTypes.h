#ifndef QEL_SETTINGS_TYPES_BUILTINTYPES_H
#define QEL_SETTINGS_TYPES_BUILTINTYPES_H

#include <string>
#include <typeinfo>

namespace Qel {
namespace Settings {

/// What settings files call a built-in type.
std::string builtInTypeName(const std::type_info& type);

}  // namespace Settings
}  // namespace Qel

#endif
