#include "CanonicalText.h"

#include <Qel/Settings/StrConv.h>
#include <cstddef>
#include <map>
#include <string_view>
#include <vector>

#include "CanonicalNumber.h"
#include "Scalars.h"

namespace t8settings {

namespace {

using Canonical = std::optional<std::string>;
namespace StrConv = Qel::Settings::StrConv;

struct MapTypes {
    const Scalar* key = nullptr;
    const Scalar* value = nullptr;
};

/// The type of an array's elements; null for any other type.
const Scalar* elementOf(std::string_view type) {
    constexpr std::string_view kArray = "[]";
    const std::size_t element = type.size() < kArray.size() ? 0 : type.size() - kArray.size();
    return type.substr(element) == kArray ? scalarOf(type.substr(0, element)) : nullptr;
}

/// The types of a map; null for any other type.
MapTypes entryOf(std::string_view type) {
    constexpr std::string_view kMap = "map<";
    const std::size_t colon = type.find(':');
    if (type.substr(0, kMap.size()) != kMap || colon == std::string_view::npos) {
        return {};
    }
    return {scalarOf(type.substr(kMap.size(), colon - kMap.size())),
            scalarOf(type.substr(colon + 1, type.size() - colon - 2))};
}

/// Appends so that two different rows of items never give the same text.
void appendItem(std::string& row, const std::string& item) {
    row += std::to_string(item.size()) + ':' + item;
}

/// The type passes over an empty field at the very end; whoever wrote the separator before it may
/// have meant it.
std::vector<std::string> fieldsOf(const std::string& text) {
    std::vector<std::string> fields;
    std::string field;
    bool separated = false;
    for (auto it = text.begin(), start = it;
         StrConv::arrayFromStringtokenizer(it, text.end(), field); start = it) {
        separated = static_cast<std::size_t>(it - start) > field.size();
        fields.push_back(field);
    }
    if (separated) {
        fields.emplace_back();
    }
    return fields;
}

Canonical canonicalArray(const Scalar& element, const std::string& text) {
    std::string row;
    for (const std::string& field : fieldsOf(text)) {
        const Canonical item = element.canonical(field);
        if (!item) {
            return std::nullopt;
        }
        appendItem(row, *item);
    }
    return row;
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

/// The type reads up to the first thing amiss; here everything must be in order, and each key there
/// once.
Canonical canonicalMap(const MapTypes& types, const std::string& text) {
    std::map<std::string, std::string> entries;
    std::string keyText;
    std::string valueText;
    for (auto it = text.begin(); it != text.end();) {
        if (!takeItem(it, text.end(), keyText) || !takeItem(it, text.end(), valueText)) {
            return std::nullopt;
        }
        const Canonical key = types.key->canonical(keyText);
        const Canonical value = types.value->canonical(valueText);
        if (!key || !value || !entries.emplace(*key, *value).second) {
            return std::nullopt;
        }
    }
    std::string row;
    for (const auto& entry : entries) {
        appendItem(row, entry.first);
        appendItem(row, entry.second);
    }
    return row;
}

}  // namespace

std::optional<std::string> canonicalText(const std::string& type, const std::string& text) {
    if (const Scalar* const scalar = scalarOf(type)) {
        return scalar->canonical(text);
    }
    if (const Scalar* const element = elementOf(type)) {
        return canonicalArray(*element, text);
    }
    const MapTypes entry = entryOf(type);
    if (entry.key != nullptr && entry.value != nullptr) {
        return canonicalMap(entry, text);
    }
    return std::string(trimmed(text));
}

std::string textsOfType(const std::string& type) {
    if (const Scalar* const scalar = scalarOf(type)) {
        return type + " takes " + scalar->texts;
    }
    if (const Scalar* const element = elementOf(type)) {
        return type + " takes any number of elements with \";\" between them; " +
               textsOfType(element->type);
    }
    const MapTypes entry = entryOf(type);
    if (entry.key != nullptr && entry.value != nullptr) {
        return type +
               " takes the length of each key, the key, the length of its value and the "
               "value, with \",\" between them all, such as 1,7,3,100 for a key 7 with the "
               "value 100; " +
               textsOfType(entry.key->type) +
               (entry.key == entry.value ? "" : "; " + textsOfType(entry.value->type));
    }
    return type + " takes the texts that it writes itself";
}

}  // namespace t8settings
