#include "types/BuiltInTypes.h"

#include "Qel/Settings/SettingFactory.h"

namespace Qel {
namespace Settings {

std::string builtInTypeName(const std::type_info& type) {
    // Never destroyed: a thread may ask while the process ends.
    static const auto& builtInTypes = *new SettingFactory;
    return builtInTypes.typeName(type);
}

}  // namespace Settings
}  // namespace Qel
