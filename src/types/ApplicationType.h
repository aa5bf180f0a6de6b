#ifndef QEL_SETTINGS_TYPES_APPLICATIONTYPE_H
#define QEL_SETTINGS_TYPES_APPLICATIONTYPE_H

#include <map>
#include <typeinfo>
#include <vector>

#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/StrConv.h"
#include "Qel/Types/TextForm.h"
#include "types/BuiltInTypes.h"

namespace Qel {
namespace Settings {

/// One registration: all that the factory and the tools are told of a type.
struct ApplicationType {
    const std::type_info& type;
    const char* name;
    LoadFn load;
    SaveFn save;
    /// Leaves out what `name` says; `describe` below gives the whole.
    TypeDescription (*describe)();
};

TypeDescription describe(const ApplicationType& type);

/// The lines of the list of registrations.
namespace registration {

/// The elements of a collection are described with it: some of them have no setting of their own.
template <class Element>
TypeDescription describeCollection(TypeDescription::Kind kind) {
    TypeDescription description;
    if constexpr (!StrConv::detail::kIsBuiltIn<Element>) {
        description = describeType<Element>();
        description.emptyText.clear();
    }
    description.kind = kind;
    return description;
}

template <class Element>
TypeDescription describeArray() {
    return describeCollection<Element>(TypeDescription::Kind::kArray);
}

template <class Key, class Value>
TypeDescription describeMap() {
    TypeDescription description = describeCollection<Value>(TypeDescription::Kind::kMap);
    description.keyType = builtInTypeName(typeid(Key));
    return description;
}

/// An enumeration or a record.
template <class T>
constexpr ApplicationType value(const char* name) {
    return {typeid(T), name, &load_x<T>, &save_x<T>, &describeType<T>};
}

/// `name` ends in "[]".
template <class T>
constexpr ApplicationType array(const char* name) {
    return {typeid(std::vector<T>), name, &load_array_x<T>, &save_array_x<T>, &describeArray<T>};
}

/// `name` is "map<key:value>".
template <class K, class V>
constexpr ApplicationType map(const char* name) {
    return {typeid(std::map<K, V>), name, &load_map_x<K, V>, &save_map_x<K, V>, &describeMap<K, V>};
}

}  // namespace registration
}  // namespace Settings
}  // namespace Qel

#endif
