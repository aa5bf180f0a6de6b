#include <algorithm>
#include <boost/make_shared.hpp>
#include <cstdlib>
#include <limits>
#include <vector>

#include "Checks.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/StrConv.h"
#include "Qel/Types/NetworkSources.h"
#include "types/ApplicationTypes.h"

namespace fuzz {
namespace {

using namespace Qel::Settings;
using Kind = TypeDescription::Kind;

const TypeDescription& describe(const std::string& type) {
    static const std::map<std::string, TypeDescription> descriptions = [] {
        std::map<std::string, TypeDescription> byName;
        for (const TypeDescription& description : describeRegisteredTypes()) {
            byName[description.name] = description;
        }
        return byName;
    }();
    return descriptions.at(type);
}

struct Input {
    explicit Input(const std::string& bytes) {
        static const std::vector<std::string> names = productTypes()->typeNames();
        const std::size_t comma = bytes.find(',');
        if (comma != std::string::npos &&
            std::binary_search(names.begin(), names.end(), bytes.substr(0, comma))) {
            type = bytes.substr(0, comma);
            text = bytes.substr(comma + 1);
        } else if (!bytes.empty()) {
            type = names[static_cast<unsigned char>(bytes[0]) % names.size()];
            text = bytes.substr(1);
        }
    }

    std::string type;
    std::string text;
};

/// Commas that neither a quote nor a backslash hides, up to `limit` of them; the place behind the
/// last one, or npos when there are less.
std::size_t behindComma(const std::string& text, std::size_t limit) {
    bool quoted = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '\\') {
            ++at;
        } else if (text[at] == '"') {
            quoted = !quoted;
        } else if (text[at] == ',' && !quoted && --limit == 0) {
            return at + 1;
        }
    }
    return std::string::npos;
}

/// What docs/types.md says of texts that give no value.
bool isRefused(const TypeDescription& type, const std::string& text) {
    if (type.kind == Kind::kEnumeration) {
        const auto isNamed = [&text](const auto& row) { return row.text == text; };
        return !text.empty() && (text[0] < '0' || text[0] > '9') &&
               std::none_of(type.enumerators.begin(), type.enumerators.end(), isNamed);
    }
    return type.kind == Kind::kRecord && !text.empty() &&
           behindComma(text, type.fields.size() - 1) == std::string::npos;
}

/// An item "length,text" of a map that the library wrote; moves `at` past it and the comma behind.
std::string takeItem(const std::string& text, std::size_t& at) {
    const std::size_t comma = text.find(',', at);
    require(comma != std::string::npos, "no item at " + std::to_string(at) + " of " + text);
    const std::size_t length = std::stoul(text.substr(at, comma - at));
    require(comma + 1 + length <= text.size(), "an item beyond the end of " + text);
    at = comma + 1 + length + 1;
    return text.substr(comma + 1, length);
}

/// A record that ends in a list loses the list's last string when that is empty.
std::string rereadRecord(const TypeDescription& type, const std::string& text) {
    const bool hasList = !type.fields.empty() && type.fields.back().type == "string[]";
    if (!hasList || text.back() != ';') {
        return text;
    }
    const std::size_t list = behindComma(text, type.fields.size() - 1);
    std::size_t at = list;
    std::string strings = takeItem(text, at);
    strings.pop_back();
    return text.substr(0, list) + std::to_string(strings.size()) + "," + strings;
}

/// A map ends before the first item of length 0.
std::string rereadMap(const TypeDescription& type, const std::string& text) {
    std::string after;
    for (std::size_t at = 0; at < text.size();) {
        const std::string key = takeItem(text, at);
        const std::string value = takeItem(text, at);
        if (key.empty() || value.empty()) {
            break;
        }
        const std::string valueAfter = rereadRecord(type, value);
        after += (after.empty() ? "" : ",") + std::to_string(key.size()) + "," + key + "," +
                 std::to_string(valueAfter.size()) + "," + valueAfter;
    }
    return after;
}

/// What becomes of a text that the library wrote once it was read and written again: the same, but
/// for the losses that are documented.
std::string reread(const TypeDescription& type, const std::string& text) {
    if (type.kind == Kind::kMap) {
        return rereadMap(type, text);
    }
    if (type.name == "string[]" && !text.empty() && text.back() == ';') {
        return text.substr(0, text.size() - 1);
    }
    return text;
}

/// Quotes and backslashes are not escaped in the one kind of array that holds bare bytes.
bool isBeyondReading(const TypeDescription& type, const std::string& text) {
    return type.name == "char[]" && text.find_first_of("\"\\") != std::string::npos;
}

/// A number as it is read where `long` has 32 bits.
int numberOf(const std::string& text) {
    constexpr long long kMin = std::numeric_limits<int>::min();
    constexpr long long kMax = std::numeric_limits<int>::max();
    return static_cast<int>(std::clamp(std::strtoll(text.c_str(), nullptr, 10), kMin, kMax));
}

/// Moves `at` past an item of any text; false where there is none that is whole.
bool takeAnyItem(const std::string& text, std::size_t& at, std::string& item) {
    const std::size_t comma = text.find_first_not_of("0123456789", at);
    if (comma == at || comma == std::string::npos || text[comma] != ',') {
        return false;
    }
    const std::size_t left = text.size() - comma - 1;
    const unsigned long long length = std::strtoull(text.c_str() + at, nullptr, 10);
    if (length == 0 || length > left) {
        return false;
    }
    item = text.substr(comma + 1, static_cast<std::size_t>(length));
    at = comma + 1 + item.size();
    return true;
}

/// The entries before the first item that is not whole.
std::map<int, int> numberMapOf(const std::string& text) {
    std::map<int, int> map;
    std::string key;
    std::string value;
    for (std::size_t at = 0; takeAnyItem(text, at, key) && at < text.size() && text[at] == ',' &&
                             takeAnyItem(text, ++at, value);
         ++at) {
        map[numberOf(key)] = numberOf(value);
        if (at == text.size() || text[at] != ',') {
            break;
        }
    }
    return map;
}

/// Fields between the ";" that neither a quote nor a backslash hides.
std::vector<std::string> fieldsOf(const std::string& text) {
    std::vector<std::string> fields;
    bool quoted = false;
    std::size_t start = 0;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '\\') {
            ++at;
        } else if (text[at] == '"') {
            quoted = !quoted;
        } else if (text[at] == ';' && !quoted) {
            fields.push_back(text.substr(start, at - start));
            start = at + 1;
        }
    }
    if (start < text.size()) {
        fields.push_back(text.substr(start));
    }
    return fields;
}

/// What two of the types make of any text.
void checkReading(const std::string& text) {
    SettingFactory& types = *productTypes();
    const auto map = types.create("map<int:int>", "name", text);
    require((map->getValue<std::map<int, int>>()) == numberMapOf(text), "a map of numbers");

    std::vector<int> numbers;
    for (const std::string& field : fieldsOf(text)) {
        numbers.push_back(numberOf(field));
    }
    const auto array = types.create("int32[]", "name", text);
    require(array->getValue<std::vector<int>>() == numbers, "an array of numbers");
}

void checkText(const Input& input) {
    SettingFactory& types = *productTypes();
    const TypeDescription& type = describe(input.type);
    const auto read = types.create(input.type, "name", input.text);
    require((read == nullptr) == isRefused(type, input.text), "refused: " + input.text);
    if (!read) {
        return;
    }
    const std::string written = types.valueAsString(read);
    require(written.find('\n') == std::string::npos || describe(input.type).name.find("char") == 0,
            "a text of more than one line: " + written);
    const auto again = types.create(types.typeAsString(read), "name", written);
    require(again != nullptr, "a text that the library wrote is refused: " + written);
    require(again->type() == read->type(), "another type than " + input.type);
    const std::string rewritten = types.valueAsString(again);
    const std::string expected = reread(type, written);
    require(rewritten == expected || isBeyondReading(type, written),
            "written as " + written + "\nand then as " + rewritten + "\ninstead of " + expected);
}

/// The value of a setting after it was written and read.
template <class T>
T reread(const T& value) {
    SettingFactory& types = *productTypes();
    const auto before = boost::make_shared<SettingHolder>("name", boost::any(value));
    return types.create(types.typeAsString(before), "name", types.valueAsString(before))
        ->template getValue<T>();
}

void checkStrings(const std::string& bytes) {
    require(reread(bytes) == bytes, "a string of any bytes");
    require(StrConv::escapeString(bytes).find_first_of(std::string("\0\a\b\t\n\v\f\r", 8)) ==
                std::string::npos,
            "a control character is not escaped");

    std::vector<std::string> strings;
    std::string::size_type at = 0;
    for (; at < bytes.size(); at = std::min(bytes.find('|', at), bytes.size()) + 1) {
        strings.push_back(bytes.substr(at, bytes.find('|', at) - at));
    }
    std::vector<std::string> expected = strings;
    if (!expected.empty() && expected.back().empty()) {
        expected.pop_back();
    }
    require(reread(strings) == expected, "an array of strings of any bytes");

    std::map<unsigned int, QelNetSourceVer2> sources;
    sources[7].list = strings;
    sources[7].text1 = bytes;
    sources[8].text4 = bytes;
    const auto sourcesAfter = reread(sources);
    require(sourcesAfter.size() == 2 && sourcesAfter.at(7).text1 == bytes &&
                sourcesAfter.at(7).list == expected && sourcesAfter.at(8).text4 == bytes,
            "records of strings of any bytes");
}

}  // namespace

void checkTypes(const std::string& bytes, const std::string&) {
    const Input input(bytes);
    if (!input.type.empty()) {
        checkText(input);
    }
    checkReading(input.text);
    checkStrings(bytes);
}

}  // namespace fuzz
