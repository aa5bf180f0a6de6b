#include "types/BuiltInTypes.h"

#include "Qel/Settings/SettingFactory.h"

namespace Qel {
namespace Settings {

std::string builtInTypeName(const std::type_info& type) {
    static const SettingFactory builtInTypes;
    return builtInTypes.typeName(type);
}

}  // namespace Settings
}  // namespace Qel
