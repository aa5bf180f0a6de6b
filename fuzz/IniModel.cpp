#include "IniModel.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "Qel/Settings/SettingHolder.h"
#include "text/Crc32.h"

namespace fuzz {
namespace {

std::string trimmed(const std::string& text) {
    constexpr const char* kWhiteSpace = " \t\n\v\f\r";
    const std::size_t first = text.find_first_not_of(kWhiteSpace);
    if (first == std::string::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kWhiteSpace) - first + 1);
}

/// What stands behind the first "=", trimmed; empty without one.
std::string valueOf(const std::string& header) {
    const std::size_t equals = header.find('=');
    return equals == std::string::npos ? "" : trimmed(header.substr(equals + 1));
}

bool startsWith(const std::string& text, const std::string& start) {
    return text.compare(0, start.size(), start) == 0;
}

/// "type,text" of a setting that is read from `text`; empty when there is none.
std::string read(const std::string& type, const std::string& text) {
    const auto holder = productTypes()->create(type, "name", text);
    return holder
               ? productTypes()->typeAsString(holder) + "," + productTypes()->valueAsString(holder)
               : "";
}

class Reader {
public:
    explicit Reader(IniContent& content) : content_(content) { enter(content_.name + "/"); }

    /// False when the rest of the file does not count.
    bool take(const std::string& line) {
        if (line[0] == '#') {
            takeHeader(line);
        } else if (line[0] == '[') {
            takeSection(line);
        } else {
            takeSetting(line);
        }
        isFirst_ = false;
        return !content_.misplacedName;
    }

private:
    void enter(const std::string& prefix) {
        prefix_ = prefix;
        content_.prefixes.push_back(prefix);
    }

    void takeHeader(const std::string& line) {
        const std::string key = trimmed(line.substr(1, line.find('=') - 1));
        if (key == "name" && isFirst_) {
            content_.name = valueOf(line);
            content_.prefixes.clear();
            enter(content_.name + "/");
        } else if (key == "name") {
            content_.misplacedName = true;
        } else if (key == "readonly") {
            content_.readonly = true;
        }
    }

    void takeSection(const std::string& line) {
        const std::string section = trimmed(line.substr(1, line.size() - 2));
        if (line.size() > 1 && line.back() == ']' && !section.empty()) {
            enter(content_.name + "/" + section + "/");
        }
    }

    void takeSetting(const std::string& line) {
        const std::size_t equals = line.find('=');
        const std::size_t comma = equals == std::string::npos ? equals : line.find(',', equals);
        std::string setting;
        if (comma != std::string::npos) {
            setting = read(trimmed(line.substr(equals + 1, comma - equals - 1)),
                           trimmed(line.substr(comma + 1)));
        }
        if (setting.empty()) {
            content_.rejected += line + "\n";
        } else {
            content_.settings[prefix_ + trimmed(line.substr(0, equals))] = setting;
        }
    }

    IniContent& content_;
    std::string prefix_;
    bool isFirst_ = true;
};

/// The longest of the prefixes.
std::string prefixOf(const std::string& name, const std::vector<std::string>& prefixes) {
    std::string longest;
    for (const std::string& prefix : prefixes) {
        if (prefix.size() > longest.size() && startsWith(name, prefix)) {
            longest = prefix;
        }
    }
    return longest;
}

/// "type,text" after it has stood in a line.
std::string reread(const std::string& setting) {
    const std::size_t comma = setting.find(',');
    const std::string after = read(setting.substr(0, comma), trimmed(setting.substr(comma + 1)));
    require(!after.empty(), "a text that the library wrote is refused: " + setting);
    return after;
}

}  // namespace

IniContent contentOf(const std::string& text) {
    IniContent content;
    Reader reader(content);
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        const std::string line = trimmed(text.substr(at, end - at));
        at = end + 1;
        if (!line.empty() && !reader.take(line)) {
            break;
        }
    }
    return content;
}

Settings reloaded(const IniContent& content) {
    const std::string root = content.name + "/";
    Settings after;
    std::string readUnder = root;
    for (const auto& setting : content.settings) {
        const std::string prefix = prefixOf(setting.first, content.prefixes);
        const std::string key = trimmed(setting.first.substr(prefix.size()));
        if (!key.empty() && (key[0] == '#' || key[0] == '[')) {
            continue;
        }
        if (prefix != root) {
            readUnder = prefix;
        }
        after[readUnder + key] = reread(setting.second);
    }
    return after;
}

std::string withCrc(const std::string& text) {
    return text + "\n#crc32 = " + std::to_string(Qel::Settings::text::crc32(text)) + "\n";
}

bool takeGoodCrc(const std::string& bytes, std::string& text) {
    constexpr unsigned long long kMax = 0xFFFFFFFF;
    const std::size_t end = bytes.rfind("\n#crc32");
    if (end == std::string::npos) {
        return false;
    }
    text = bytes.substr(0, end);
    const std::string value = valueOf(bytes.substr(end, bytes.size() - end - 1));
    const unsigned long long number = std::strtoull(value.c_str(), nullptr, 0);
    const unsigned long long magnitude = value[0] == '-' ? 0 - number : number;
    // What strtoul gives where it has 32 bits.
    const auto crc = static_cast<std::uint32_t>(magnitude > kMax ? kMax : number);
    return value == "false" || crc == Qel::Settings::text::crc32(text);
}

}  // namespace fuzz
