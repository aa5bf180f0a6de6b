#include "types/EnumText.h"

#include <algorithm>

#include "text/Numbers.h"

namespace Qel {
namespace Settings {

bool readEnum(const EnumTable& table, std::string_view text, int& value) {
    const Enumerator* const named =
        std::find_if(table.begin, table.end,
                     [text](const Enumerator& enumerator) { return text == enumerator.text; });
    if (named != table.end) {
        value = named->value;
        return true;
    }
    // A sign or a blank before the digits is not taken for a number.
    const bool isNumber = !text.empty() && text.front() >= '0' && text.front() <= '9';
    value = isNumber ? text::parseInteger<int>(text) : table.emptyText;
    return isNumber;
}

std::string enumText(const EnumTable& table, int value) {
    const Enumerator* const named =
        std::find_if(table.begin, table.end,
                     [value](const Enumerator& enumerator) { return enumerator.value == value; });
    std::string text;
    if (named != table.end) {
        text = named->text;
    } else {
        text::appendSigned(text, value);
    }
    return text;
}

TypeDescription describeEnum(const EnumTable& table) {
    TypeDescription description;
    description.name = table.typeName;
    description.kind = TypeDescription::Kind::kEnumeration;
    for (const Enumerator* row = table.begin; row != table.end; ++row) {
        description.enumerators.push_back({row->text, row->value});
    }
    description.emptyText = enumText(table, table.emptyText);
    return description;
}

}  // namespace Settings
}  // namespace Qel
