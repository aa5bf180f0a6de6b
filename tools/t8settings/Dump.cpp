#include "Dump.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "IniDump.h"
#include "Json.h"
#include "TextOfValue.h"
#include "text/IniGrammar.h"

namespace t8settings {

namespace {

namespace text = Qel::Settings::text;
using Kind = text::IniLine::Kind;

/// Blanks, as they stand between the words of JSON.
constexpr std::string_view kBlanks = " \t\r\n";

/// A section line of ini text may begin with the same bracket, but no name goes on like this.
bool isJson(std::string_view bytes) {
    bytes.remove_prefix(std::min(bytes.find_first_not_of(kBlanks), bytes.size()));
    if (bytes.empty() || bytes.front() != '[') {
        return !bytes.empty() && bytes.front() == '{';
    }
    if (const std::size_t next = bytes.find_first_not_of(kBlanks, 1);
        next == std::string_view::npos || bytes[next] == '{' || bytes[next] == ']') {
        return true;
    }
    // An array of something else, which is to be refused as such; the name of a section may look
    // like one element, but then settings follow.
    return Json::accept(bytes.begin(), bytes.end()) ||
           bytes.substr(0, bytes.find('\n')).find(']') == std::string_view::npos;
}

using Entries = std::vector<DumpEntry>;

std::optional<std::string> bytesOfHexadecimal(const std::string& digits) {
    if (digits.size() % 2 != 0 ||
        digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
        return std::nullopt;
    }
    std::string bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    }
    return bytes;
}

/// One setting's object in the array.
class JsonSetting {
public:
    JsonSetting(std::string place, const Json& json) : place_(std::move(place)), json_(json) {}

    void addTo(Entries& entries) {
        if (!json_.is_object()) {
            entries.push_back({place_, "is no object"});
            return;
        }
        const DumpEntry setting = {place_, "", textOf("name"), textOf("type"), textOf("text")};
        if (problems_.empty()) {
            entries.push_back(setting);
        }
        entries.insert(entries.end(), problems_.begin(), problems_.end());
    }

private:
    /// The member's bytes, in hexadecimal or else as they are.
    std::string textOf(const std::string& key) {
        const auto exact = json_.find(key + "Bytes");
        const auto plain = json_.find(key);
        const bool isExact = exact != json_.end();
        const auto& member = isExact ? exact : plain;
        if (member == json_.end() || !member->is_string()) {
            return amiss(key, member == json_.end() ? "is missing" : "is no string");
        }
        const auto& given = member->get_ref<const std::string&>();
        const auto bytes = isExact ? bytesOfHexadecimal(given) : std::optional(given);
        return bytes ? *bytes : amiss(key + "Bytes", "is not in hexadecimal");
    }

    std::string amiss(const std::string& key, const std::string& what) {
        problems_.push_back({place_ + "." + key, what});
        return "";
    }

    std::string place_;
    const Json& json_;
    Entries problems_;
};

/// Without the name that the parser has for the error, and with its place as all others have it.
DumpEntry problemOf(const std::string& path, const std::string& bytes, std::size_t byte,
                    const std::string& what) {
    const auto end = bytes.begin() + static_cast<std::ptrdiff_t>(std::min(byte, bytes.size()));
    const std::string line = std::to_string(1 + std::count(bytes.begin(), end, '\n'));
    const std::size_t colon = what.find(": ");
    return {path + ":" + line,
            colon == std::string::npos ? what.substr(what.find("] ") + 2) : what.substr(colon + 2)};
}

/// The parser does not say where such a number is: the shortest beginning that already has it.
std::size_t endOfNumberOutOfRange(const std::string& bytes) {
    const auto isIn = [&bytes](std::size_t size) {
        try {
            return Json::parse(bytes.substr(0, size)).is_discarded();
        } catch (const Json::out_of_range&) {
            return true;
        } catch (const Json::parse_error&) {
            return false;
        }
    };
    std::size_t without = 0;
    std::size_t with = bytes.size();
    while (with - without > 1) {
        const std::size_t middle = without + (with - without) / 2;
        (isIn(middle) ? with : without) = middle;
    }
    return with;
}

Entries ofJson(const std::string& path, const std::string& bytes) {
    Entries entries;
    try {
        const Json json = Json::parse(bytes);
        if (!json.is_array()) {
            return {{path, "is no array of settings"}};
        }
        for (std::size_t i = 0; i < json.size(); ++i) {
            JsonSetting(path + ": [" + std::to_string(i) + "]", json[i]).addTo(entries);
        }
    } catch (const Json::parse_error& error) {
        return {problemOf(path, bytes, error.byte, error.what())};
    } catch (const Json::out_of_range& error) {
        return {problemOf(path, bytes, endOfNumberOutOfRange(bytes), error.what())};
    }
    return entries;
}

}  // namespace

Entries entriesOf(const std::string& path, const std::string& bytes) {
    const std::string shown = shownPathOf(path);
    if (bytes.find_first_not_of(kBlanks) == std::string::npos) {
        return {{shown + ":1", "is empty; a dump of no settings is []"}};
    }
    return isJson(bytes) ? ofJson(shown, bytes) : entriesOfIni(path, bytes);
}

std::string iniLineOf(const std::string& name, const std::string& type, const std::string& text) {
    const std::string value = fileTextOf(type, text);
    std::string line = name + " = " + type + "," + value + "\n";
    text::IniWalk walk(line);
    const bool isRead = walk.next() && walk.line().kind == Kind::Setting &&
                        walk.line().key == name && walk.line().type == type &&
                        walk.line().value == value;
    return isRead && !walk.next() ? line : "";
}

}  // namespace t8settings
