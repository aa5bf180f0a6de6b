#include "values/Types.h"

#include <Qel/Settings/T8SettingsManager.h>
#include <cstddef>
#include <limits>
#include <map>
#include <vector>

#include "console/Nearest.h"
#include "store/SetUp.h"
#include "values/Scalars.h"

namespace t8settings {

namespace {

using Qel::Settings::TypeDescription;
using Kind = TypeDescription::Kind;

using TypesByName = std::map<std::string, TypeDescription>;

/// The keys of a map "map<K:T>" go by the name K, with and without its namespaces.
void addNamesOfKey(TypesByName& types, const TypeDescription& map) {
    const std::size_t start = map.name.find('<') + 1;
    const std::string name = map.name.substr(start, map.name.rfind(':') - start);
    const TypeDescription& key = types.at(map.keyType);
    types.emplace(name, key);
    types.emplace(name.substr(name.rfind(':') + 1), key);
}

TypesByName allTypesByName() {
    const std::vector<TypeDescription> registered = Qel::Settings::describeTypes();
    TypesByName types;
    for (const TypeDescription& type : registered) {
        types.emplace(type.name, type);
    }
    for (const TypeDescription& type : registered) {
        for (const TypeDescription& fieldType : type.fieldTypes) {
            types.emplace(fieldType.name, fieldType);
        }
        if (!type.elementType.empty()) {
            types.emplace(type.elementType, elementOf(type));
        }
        if (!type.keyType.empty()) {
            addNamesOfKey(types, type);
        }
    }
    return types;
}

std::string textsOfScalar(const TypeDescription& type) {
    return scalarOf(type.name).texts;
}

std::string numberOfTexts(const TypeDescription& type) {
    return std::to_string(type.enumerators.size()) + " texts";
}

std::string textsOfEnumeration(const TypeDescription& type) {
    std::string texts;
    for (const TypeDescription::Enumerator& enumerator : type.enumerators) {
        texts += enumerator.text + ", ";
    }
    return texts + "or the number of any value, from 0 to " +
           std::to_string(std::numeric_limits<int>::max());
}

std::string numberOfFields(const TypeDescription& type) {
    return std::to_string(type.fields.size()) + " fields";
}

std::string textsOfRecord(const TypeDescription& type) {
    std::string texts = numberOfFields(type) + " with \",\" between them: ";
    for (const TypeDescription::Field& field : type.fields) {
        texts += (&field == &type.fields.front() ? "" : ", ") + field.name;
    }
    return texts;
}

std::string elements(const TypeDescription& type) {
    return "of " + type.elementType;
}

std::string textsOfArray(const TypeDescription&) {
    return "any number of elements with \";\" between them, the last one not empty";
}

std::string keysAndValues(const TypeDescription& type) {
    return "from " + type.keyType + " to " + type.elementType;
}

std::string textsOfMap(const TypeDescription&) {
    return "the length of each key, the key, the length of its value and the value, with \",\" "
           "between them all, such as 1,7,3,100 for a key 7 with the value 100; no length is 0, "
           "and each key is there once";
}

struct KindText {
    const char* word;
    std::string (*summary)(const TypeDescription& type);
    std::string (*texts)(const TypeDescription& type);
};

const KindText& textOf(Kind kind) {
    static const std::map<Kind, KindText> kTexts = {
        {Kind::kScalar, {"scalar", textsOfScalar, textsOfScalar}},
        {Kind::kEnumeration, {"enumeration", numberOfTexts, textsOfEnumeration}},
        {Kind::kRecord, {"record", numberOfFields, textsOfRecord}},
        {Kind::kArray, {"array", elements, textsOfArray}},
        {Kind::kMap, {"map", keysAndValues, textsOfMap}}};
    return kTexts.at(kind);
}

const TypesByName& typesByName() {
    static const TypesByName types = allTypesByName();
    return types;
}

}  // namespace

const TypeDescription& typeCalled(const std::string& name) {
    const auto found = typesByName().find(name);
    if (found == typesByName().end()) {
        throw noSuch("type", name, namesOfTypes());
    }
    return found->second;
}

std::vector<std::string> namesOfTypes() {
    std::vector<std::string> names;
    for (const auto& type : typesByName()) {
        names.push_back(type.first);
    }
    return names;
}

const FactoryPtr& typesInForce() {
    return setUpWithoutFiles().types;
}

TypeDescription elementOf(const TypeDescription& collection) {
    TypeDescription element;
    element.name = collection.elementType;
    element.enumerators = collection.enumerators;
    element.fields = collection.fields;
    for (const TypeDescription::Field& field : element.fields) {
        element.emptyText += (&field == &element.fields.front() ? "" : ",") + field.defaultText;
    }
    element.kind = !element.fields.empty()        ? Kind::kRecord
                   : !element.enumerators.empty() ? Kind::kEnumeration
                                                  : Kind::kScalar;
    return element;
}

std::string kindOf(const TypeDescription& type) {
    return textOf(type.kind).word;
}

std::string summaryOf(const TypeDescription& type) {
    return textOf(type.kind).summary(type);
}

std::string takesOf(const TypeDescription& type) {
    return textOf(type.kind).texts(type);
}

std::string textsOf(const TypeDescription& type) {
    return type.name + " takes " + takesOf(type);
}

std::string textsOfListField() {
    return R"(the length of the list's text, "," and the strings with ";" between them)";
}

}  // namespace t8settings
