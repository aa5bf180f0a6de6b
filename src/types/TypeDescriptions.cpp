#include <set>
#include <string>
#include <utility>

#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "types/ApplicationTypes.h"

namespace Qel {
namespace Settings {
namespace {

bool isArrayName(const std::string& name) {
    return name.size() > 2 && name.compare(name.size() - 2, 2, "[]") == 0;
}

/// Elements are called what the collection's name calls them: "T[]", "map<K:T>".
TypeDescription named(TypeDescription description, const std::string& name) {
    description.name = name;
    if (description.kind == TypeDescription::Kind::kArray) {
        description.elementType = name.substr(0, name.size() - 2);
    } else if (description.kind == TypeDescription::Kind::kMap) {
        const std::size_t colon = name.rfind(':');
        description.elementType = name.substr(colon + 1, name.size() - colon - 2);
    }
    return description;
}

TypeDescription describeBuiltIn(SettingFactory& factory, const std::string& name) {
    TypeDescription description;
    description.kind =
        isArrayName(name) ? TypeDescription::Kind::kArray : TypeDescription::Kind::kScalar;
    description.emptyText = factory.valueAsString(factory.create(name, name, ""));
    return named(std::move(description), name);
}

}  // namespace

TypeDescription describe(const ApplicationType& type) {
    return named(type.describe(), type.name);
}

std::vector<TypeDescription> describeRegisteredTypes() {
    std::vector<TypeDescription> descriptions;
    SettingFactory builtIns;
    for (const std::string& name : builtIns.typeNames()) {
        descriptions.push_back(describeBuiltIn(builtIns, name));
    }
    std::set<std::string> described;
    for (const ApplicationType& type : applicationTypes()) {
        if (described.insert(type.name).second) {
            descriptions.push_back(describe(type));
        }
    }
    return descriptions;
}

}  // namespace Settings
}  // namespace Qel
