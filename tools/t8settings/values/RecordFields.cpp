#include "values/RecordFields.h"

#include <Qel/Settings/StrConv.h>
#include <algorithm>
#include <cstddef>

#include "values/CanonicalNumber.h"
#include "values/Types.h"

namespace t8settings {

namespace {

using Qel::Settings::TypeDescription;

bool endsInList(const TypeDescription& record) {
    return typeCalled(record.fields.back().type).kind == TypeDescription::Kind::kArray;
}

/// Takes the first field and the comma behind it off the text; false when there was no comma. Of
/// the escapes only that of a comma is gone from the field: the others are its type's.
bool takeField(std::string_view& text, std::string& field) {
    bool quoted = false;
    std::size_t at = 0;
    for (; at < text.size() && (quoted || text[at] != ','); ++at) {
        if (text[at] == '"') {
            quoted = !quoted;
        } else if (text[at] == '\\' && at + 1 < text.size()) {
            field.append(text[at + 1] == ',' ? 0 : 1, '\\');
            ++at;
        }
        field += text[at];
    }
    const bool separated = at < text.size();
    text.remove_prefix(separated ? at + 1 : at);
    return separated;
}

std::string withoutQuotes(const std::string& field) {
    const bool enclosed = field.size() >= 2 && field.front() == '"' && field.back() == '"';
    return enclosed ? field.substr(1, field.size() - 2) : field;
}

}  // namespace

std::vector<std::string> fieldsOf(const TypeDescription& record, std::string_view text) {
    const std::size_t separable = endsInList(record) ? record.fields.size() - 1 : std::string::npos;
    std::vector<std::string> fields;
    bool separated = !text.empty();
    while (separated && fields.size() < separable) {
        std::string field;
        separated = takeField(text, field);
        fields.push_back(withoutQuotes(field));
    }
    if (separated) {
        fields.emplace_back(text);
    }
    return fields;
}

std::optional<std::string> listOfField(std::string_view text) {
    const std::string_view length = text.substr(0, text.find(','));
    const bool hasLength =
        length.size() < text.size() && !length.empty() &&
        std::all_of(length.begin(), length.end(), [](char c) { return c >= '0' && c <= '9'; });
    if (!hasLength) {
        return std::string(text);
    }
    const std::string_view list = text.substr(length.size() + 1);
    return canonicalInteger(length) == std::to_string(list.size())
               ? std::optional<std::string>(list)
               : std::nullopt;
}

}  // namespace t8settings
