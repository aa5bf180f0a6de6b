#include "Meaning.h"

#include <Qel/Settings/StrConv.h>
#include <algorithm>
#include <cstddef>
#include <map>
#include <utility>

#include "RecordFields.h"
#include "Scalars.h"
#include "Types.h"

namespace t8settings {

namespace {

using Qel::Settings::TypeDescription;
namespace StrConv = Qel::Settings::StrConv;

void add(Meaning& meaning, const std::string& place, const TypeDescription& type,
         const std::string& text);

std::string within(const std::string& place, const std::string& part) {
    return place.empty() ? part : place + ", " + part;
}

/// The type passes over an empty element at the very end; whoever wrote the separator before it may
/// have meant it.
std::vector<std::string> elementsOf(const std::string& text) {
    std::vector<std::string> elements;
    std::string element;
    bool separated = false;
    for (auto it = text.begin(), start = it;
         StrConv::arrayFromStringtokenizer(it, text.end(), element); start = it) {
        separated = static_cast<std::size_t>(it - start) > element.size();
        elements.push_back(element);
    }
    if (separated) {
        elements.emplace_back();
    }
    return elements;
}

/// Takes one item, and the comma after it unless the text ends there.
bool takeItem(std::string::const_iterator& it, std::string::const_iterator end, std::string& item) {
    if (!StrConv::lengthItemTokenizer(it, end, item)) {
        return false;
    }
    if (it == end) {
        return true;
    }
    return *it++ == ',' && it != end;
}

void addScalar(Meaning& meaning, const std::string& place, const TypeDescription& type,
               const std::string& text) {
    const Scalar& scalar = scalarOf(type.name);
    const bool isPart = !place.empty() && !scalar.textsWithin.empty();
    meaning.push_back({place, isPart ? type.name + " takes " + scalar.textsWithin : textsOf(type),
                       scalar.canonical(text)});
}

void addEnumeration(Meaning& meaning, const std::string& place, const TypeDescription& type,
                    const std::string& text) {
    meaning.push_back({place, textsOf(type), canonicalEnumerator(type, text)});
}

void addArray(Meaning& meaning, const std::string& place, const TypeDescription& type,
              const std::string& text) {
    const std::vector<std::string> elements = elementsOf(text);
    meaning.push_back({place, textsOf(type), std::to_string(elements.size())});
    const TypeDescription elementType = elementOf(type);
    for (std::size_t i = 0; i < elements.size(); ++i) {
        add(meaning, within(place, "element " + std::to_string(i + 1)), elementType, elements[i]);
    }
}

void addListField(Meaning& meaning, const std::string& place, const TypeDescription& type,
                  const std::string& text) {
    if (const auto list = listOfField(text)) {
        addArray(meaning, place, type, *list);
    } else {
        meaning.push_back({place,
                           type.name + " as a field takes the length of the list's text, \",\" and "
                                       "the strings with \";\" between them",
                           std::nullopt});
    }
}

void addRecord(Meaning& meaning, const std::string& place, const TypeDescription& type,
               const std::string& text) {
    const std::vector<std::string> fields = fieldsOf(type, text);
    const std::string count = std::to_string(fields.size());
    if (fields.size() != type.fields.size()) {
        meaning.push_back({place, textsOf(type) + "; the text has " + count, std::nullopt});
        return;
    }
    meaning.push_back({place, textsOf(type), count});
    for (std::size_t i = 0; i < fields.size(); ++i) {
        const TypeDescription& fieldType = typeCalled(type.fields[i].type);
        const std::string field = "field " + std::to_string(i + 1) + ", " + type.fields[i].name;
        const auto addField =
            fieldType.kind == TypeDescription::Kind::kArray ? &addListField : &add;
        addField(meaning, within(place, field), fieldType, fields[i]);
    }
}

/// The type reads up to the first thing amiss; here everything must be in order, and each key there
/// once.
void addMap(Meaning& meaning, const std::string& place, const TypeDescription& type,
            const std::string& text) {
    const TypeDescription& keyType = typeCalled(type.keyType);
    std::map<std::string, std::pair<std::string, std::string>> entries;
    bool inOrder = true;
    for (auto it = text.begin(); inOrder && it != text.end();) {
        std::string key;
        std::string value;
        inOrder = takeItem(it, text.end(), key) && takeItem(it, text.end(), value) &&
                  entries
                      .emplace(scalarOf(keyType.name).canonical(key).value_or(key),
                               std::make_pair(key, value))
                      .second;
    }
    const auto count = std::to_string(entries.size());
    meaning.push_back({place, textsOf(type), inOrder ? std::optional(count) : std::nullopt});
    const TypeDescription valueType = elementOf(type);
    for (const auto& entry : entries) {
        const auto& [key, value] = entry.second;
        add(meaning, within(place, "key " + key), keyType, key);
        add(meaning, within(place, "value of " + key), valueType, value);
    }
}

void add(Meaning& meaning, const std::string& place, const TypeDescription& type,
         const std::string& text) {
    using Kind = TypeDescription::Kind;
    static const std::map<Kind, decltype(&add)> kAdders = {{Kind::kScalar, addScalar},
                                                           {Kind::kEnumeration, addEnumeration},
                                                           {Kind::kRecord, addRecord},
                                                           {Kind::kArray, addArray},
                                                           {Kind::kMap, addMap}};
    kAdders.at(type.kind)(meaning, place, type, text);
}

}  // namespace

Meaning meaningOf(const TypeDescription& type, const std::string& text) {
    Meaning meaning;
    add(meaning, "", type, text);
    return meaning;
}

std::string difference(const Meaning& given, const Meaning& kept) {
    auto found = std::find_if(given.begin(), given.end(),
                              [](const Piece& piece) { return !piece.canonical; });
    if (found == given.end()) {
        found = std::mismatch(given.begin(), given.end(), kept.begin(), kept.end(),
                              [](const Piece& one, const Piece& other) {
                                  return one.canonical == other.canonical;
                              })
                    .first;
    }
    if (found == given.end()) {
        return "";
    }
    return found->place.empty() ? found->takes : found->place + ": " + found->takes;
}

}  // namespace t8settings
