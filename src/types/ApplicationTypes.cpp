#include "types/ApplicationTypes.h"

#include <map>
#include <string>

#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/StrConv.h"

namespace Qel {
namespace Settings {

namespace {

template <class K, class V>
void registerMap(SettingFactory& factory, const char* typeName) {
    factory.registerType(typeid(std::map<K, V>), typeName, &load_map_x<K, V>, &save_map_x<K, V>);
}

}  // namespace

void registerApplicationTypes(SettingFactory& factory) {
    registerMap<int, int>(factory, "map<int:int>");
    registerMap<int, std::string>(factory, "map<int:string>");
    registerMap<std::string, std::string>(factory, "map<string:string>");
}

}  // namespace Settings
}  // namespace Qel
