#include "values/Meaning.h"

#include <Qel/Settings/StrConv.h>
#include <algorithm>
#include <cstddef>
#include <map>
#include <string_view>
#include <utility>

#include "console/Terminal.h"
#include "values/CanonicalNumber.h"
#include "values/RecordFields.h"
#include "values/Scalars.h"
#include "values/Types.h"

namespace t8settings {

namespace {

using Qel::Settings::TypeDescription;
namespace StrConv = Qel::Settings::StrConv;

void add(Meaning& meaning, const std::string& place, const TypeDescription& type,
         const std::string& text);

std::string within(const std::string& place, const std::string& part) {
    return place.empty() ? part : place + ", " + part;
}

std::string withFault(const std::string& takes, const std::string& fault) {
    return fault.empty() ? takes : fault + "; " + takes;
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

/// Takes one item, and the comma after it unless the text ends there. What is wrong with it, if
/// anything is.
std::string takeItem(std::string::const_iterator& it, std::string::const_iterator end,
                     std::string& item) {
    if (it == end) {
        return "it is missing";
    }
    if (!StrConv::lengthItemTokenizer(it, end, item)) {
        return "its length is missing, or 0, or more than what is left";
    }
    if (it != end && *it != ',') {
        return "more follows than its length says";
    }
    return it != end && ++it == end ? "nothing follows the \",\" after it" : "";
}

void addScalar(Meaning& meaning, const std::string& place, const TypeDescription& type,
               const std::string& text) {
    const Scalar& scalar = scalarOf(type.name);
    const bool isPart = !place.empty() && !scalar.textsWithin.empty();
    const std::string takes = isPart ? type.name + " takes " + scalar.textsWithin : textsOf(type);
    const std::string fault = scalar.fault == nullptr ? "" : scalar.fault(text);
    meaning.push_back({place, withFault(takes, fault), scalar.canonical(text)});
}

void addEnumeration(Meaning& meaning, const std::string& place, const TypeDescription& type,
                    const std::string& text) {
    const std::string takes = textsOf(type) + (place.empty() ? "" : ", with no blanks around it");
    meaning.push_back({place, takes, canonicalEnumerator(type, text)});
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
        meaning.push_back(
            {place, type.name + " as a field takes " + textsOfListField(), std::nullopt});
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

/// Keys and values as the text has them, by what the keys mean.
using Entries = std::map<std::string, std::pair<std::string, std::string>>;

/// Takes one entry. Where in it something is wrong, and what, if anything is.
std::pair<std::string, std::string> takeEntry(std::string::const_iterator& it,
                                              std::string::const_iterator end,
                                              const Scalar& keyType, Entries& entries) {
    std::string key;
    std::string fault = takeItem(it, end, key);
    if (!fault.empty()) {
        return {"key", fault};
    }
    std::string value;
    fault = takeItem(it, end, value);
    if (!fault.empty()) {
        return {"value of " + visible(key), fault};
    }
    const bool isNew =
        entries.emplace(keyType.canonical(key).value_or(key), std::make_pair(key, value)).second;
    return isNew ? std::pair<std::string, std::string>()
                 : std::make_pair("key", "it is there already");
}

/// The type reads up to the first thing amiss; here everything must be in order, and each key there
/// once.
void addMap(Meaning& meaning, const std::string& place, const TypeDescription& type,
            const std::string& text) {
    const TypeDescription& keyType = typeCalled(type.keyType);
    Entries entries;
    for (auto it = text.begin(); it != text.end();) {
        const std::string entry = "entry " + std::to_string(entries.size() + 1) + ", ";
        const auto [part, fault] = takeEntry(it, text.end(), scalarOf(keyType.name), entries);
        if (!fault.empty()) {
            meaning.push_back(
                {within(place, entry + part), withFault(textsOf(type), fault), std::nullopt});
            return;
        }
    }
    meaning.push_back({place, textsOf(type), std::to_string(entries.size())});
    const TypeDescription valueType = elementOf(type);
    for (const auto& entry : entries) {
        const auto& [key, value] = entry.second;
        add(meaning, within(place, "key " + visible(key)), keyType, key);
        add(meaning, within(place, "value of " + visible(key)), valueType, value);
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

bool isEnumeration(const TypeDescription::Field& field) {
    return typeCalled(field.type).kind == TypeDescription::Kind::kEnumeration;
}

/// A file cuts blanks off the ends of the whole, so that an enumeration there never sees them. A
/// string there would lack them.
std::string withoutBlanksAroundEnumerations(const TypeDescription& type, std::string_view text) {
    if (type.kind == TypeDescription::Kind::kMap) {
        return std::string(text);
    }
    const bool isOne = !type.enumerators.empty();
    const bool isRecord = !type.fields.empty();
    const std::string_view inner = trimmed(text);
    const auto blanksBefore = static_cast<std::size_t>(inner.data() - text.data());
    const std::size_t blanksAfter = text.size() - blanksBefore - inner.size();
    if (isOne || (isRecord && isEnumeration(type.fields.back()))) {
        text.remove_suffix(blanksAfter);
    }
    if (isOne || (isRecord && isEnumeration(type.fields.front()))) {
        text.remove_prefix(blanksBefore);
    }
    return std::string(text);
}

}  // namespace

Meaning meaningOf(const TypeDescription& type, const std::string& text) {
    Meaning meaning;
    add(meaning, "", type, withoutBlanksAroundEnumerations(type, text));
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
