#include "check/Swallowed.h"

#include <algorithm>
#include <cstddef>
#include <map>

#include "console/Terminal.h"
#include "text/IniPlaces.h"
#include "values/CanonicalNumber.h"
#include "values/TextOfValue.h"

namespace t8settings {

namespace {

using Kind = Qel::Settings::text::IniLine::Kind;
using Qel::Settings::text::startsWith;
using MaybeFinding = std::optional<Finding>;

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kCrcKey = "#crc32";
constexpr const char* kOwnLine = "write that on a line of its own";

/// Takes the place of each byte that means nothing but itself.
constexpr char kPlain = '\\';

/// Each byte that is escaped as `kPlain`.
std::string withoutEscaped(std::string_view text) {
    std::string bare(text);
    for (std::size_t at = bare.find('\\'); at != std::string::npos; at = bare.find('\\', at + 2)) {
        bare[std::min(at + 1, bare.size() - 1)] = kPlain;
    }
    return bare;
}

/// Makes `kPlain` in `text` of each byte that is in double quotes in `bare`, which is as long. A
/// quote that nothing closes is none.
void blankQuoted(std::string_view bare, std::string& text) {
    for (std::size_t open = bare.find('"'); open != std::string_view::npos;
         open = bare.find('"', open + 1)) {
        const std::size_t close = bare.find('"', open + 1);
        if (close == std::string_view::npos) {
            break;
        }
        std::fill(text.begin() + static_cast<std::ptrdiff_t>(open),
                  text.begin() + static_cast<std::ptrdiff_t>(close) + 1, kPlain);
        open = close;
    }
}

/// The text without what means nothing but itself: the bytes in double quotes and those escaped.
std::string bareOf(std::string_view text) {
    std::string bare = withoutEscaped(text);
    blankQuoted(std::string(bare), bare);
    return bare;
}

/// Where the key before this "=" begins, as far as one can tell.
std::size_t keyBefore(std::string_view bare, std::size_t equals) {
    const std::size_t last = bare.find_last_not_of(kBlanks, equals - 1);
    return bare.find_last_of(" \t,;\"]\\", last) + 1;
}

/// Where a "KEY = TYPE," has its parts.
struct Inner {
    std::size_t key;
    std::size_t equals;
};

/// The first one of a type that is known.
std::optional<Inner> settingIn(std::string_view bare, const FactoryPtr& factory) {
    const std::size_t start = std::min(bare.find_first_not_of(kBlanks), bare.size());
    std::size_t from = start;
    for (std::size_t comma = bare.find(',', from); comma != std::string_view::npos;
         comma = bare.find(',', from)) {
        const std::size_t equals = bare.substr(from, comma - from).rfind('=');
        if (equals != std::string_view::npos && from + equals > start) {
            const std::size_t type = from + equals + 1;
            if (factory->maker(trimmed(bare.substr(type, comma - type))).isKnown()) {
                return Inner{keyBefore(bare, from + equals), from + equals};
            }
        }
        from = comma + 1;
    }
    return std::nullopt;
}

/// Where the key of the last one begins; 0 without one.
std::size_t lastSettingIn(std::string_view bare, const FactoryPtr& factory) {
    std::size_t key = 0;
    std::size_t from = 0;
    while (const auto inner = settingIn(bare.substr(from), factory)) {
        key = from + inner->key;
        from += inner->equals + 1;
    }
    return key;
}

/// Where a string goes on behind the quote that closes it. Of other types none takes such a text.
std::optional<std::size_t> behindQuoteIn(const IniFile::Line& setting, const std::string& bare) {
    const std::string& text = setting.value;
    if (setting.type != "string" || !startsWith(text, "\"") || text.back() == '"') {
        return std::nullopt;
    }
    const std::size_t end = bare.find_first_not_of(kPlain);
    return end == 0 || end == std::string::npos
               ? std::nullopt
               : std::optional(bare.find_first_not_of(kBlanks, end));
}

/// Where "#crc32 =" begins.
std::optional<std::size_t> crcLineIn(std::string_view bare) {
    for (std::size_t at = bare.find(kCrcKey); at != std::string_view::npos;
         at = bare.find(kCrcKey, at + 1)) {
        const std::size_t next = bare.find_first_not_of(kBlanks, at + kCrcKey.size());
        if (next != std::string_view::npos && bare[next] == '=') {
            return at;
        }
    }
    return std::nullopt;
}

std::optional<std::size_t> headerIn(std::string_view bare) {
    for (std::size_t at = bare.find('#'); at != std::string_view::npos;
         at = bare.find('#', at + 1)) {
        const auto begins = [key = bare.substr(at + 1)](std::string_view one) {
            return startsWith(key, one);
        };
        if (startsWith(bare.substr(at), kCrcKey) ||
            std::any_of(kHeaderKeys.begin(), kHeaderKeys.end(), begins)) {
            return at;
        }
    }
    return std::nullopt;
}

/// The text as a save would write it; nothing when the type does not take it.
std::optional<std::string> asSaved(const IniFile::Line& setting, const FactoryPtr& factory) {
    const auto read = readFromFile(factory, setting.type, setting.name, setting.value);
    return read ? std::optional(read->substr(read->find(',') + 1)) : std::nullopt;
}

MaybeFinding inSetting(const IniFile::Line& line, const FactoryPtr& factory, bool lacksCrcLine) {
    const std::string bare = bareOf(line.value);
    if (const auto at = settingIn(bare, factory);
        at && asSaved(line, factory) != std::optional(line.value)) {
        return Finding{line.number, Harm::kChanged,
                       visible(line.name) + " has run into what looks like another setting, " +
                           inQuotes(std::string_view(line.value).substr(at->key)),
                       kOwnLine + ifMeantSo(line, factory)};
    }
    // A save escapes each quote that is a part of the text.
    if (const auto at = behindQuoteIn(line, bare)) {
        return Finding{line.number, Harm::kChanged,
                       visible(line.name) + " goes on behind a closing quote, " +
                           inQuotes(std::string_view(line.value).substr(*at)),
                       kOwnLine + ifMeantSo(line, factory)};
    }
    // Above a CRC line it is a text, which a save puts in no quotes.
    if (lacksCrcLine && crcLineIn(bare)) {
        return Finding{
            line.number, Harm::kChanged, visible(line.name) + " has run into the CRC line",
            "write \"#crc32\" at the start of a line of its own" + ifMeantSo(line, factory)};
    }
    return std::nullopt;
}

MaybeFinding inHeader(const IniFile::Line& line, const FactoryPtr& factory, bool /*lacksCrcLine*/) {
    if (std::find(kHeaderKeys.begin(), kHeaderKeys.end(), line.key) == kHeaderKeys.end()) {
        return std::nullopt;
    }
    const bool isName = line.key == "name";
    const std::string bare = bareOf(line.value);
    const auto inner = settingIn(bare, factory);
    const auto at = inner ? std::optional(inner->key) : isName ? headerIn(bare) : std::nullopt;
    return at ? MaybeFinding({line.number, isName ? Harm::kChanged : Harm::kLost,
                              "#" + line.key + " has run into what looks like another line, " +
                                  inQuotes(std::string_view(line.value).substr(*at)),
                              kOwnLine})
              : std::nullopt;
}

MaybeFinding inSection(const IniFile::Line& line, const FactoryPtr& factory,
                       bool /*lacksCrcLine*/) {
    const auto at = settingIn(bareOf(line.whole), factory);
    return at ? MaybeFinding({line.number, Harm::kLost,
                              "a section and a setting stand on one line, so that neither is read",
                              "write the section and the setting on lines of their own"})
              : std::nullopt;
}

}  // namespace

std::vector<std::size_t> settingsIn(std::string_view text, const FactoryPtr& factory) {
    std::vector<std::size_t> found;
    std::size_t from = 0;
    while (const auto inner = settingIn(text.substr(from), factory)) {
        found.push_back(from + inner->equals);
        from = found.back() + 1;
    }
    return found;
}

MaybeFinding swallowedLineIn(const IniFile::Line& line, const FactoryPtr& factory,
                             bool lacksCrcLine) {
    using Check = MaybeFinding (*)(const IniFile::Line&, const FactoryPtr&, bool);
    static const std::map<Kind, Check> kChecks = {{Kind::Header, inHeader},
                                                  {Kind::Section, inSection},
                                                  {Kind::SkippedSection, inSection},
                                                  {Kind::Setting, inSetting}};
    const auto check = kChecks.find(line.kind);
    return check == kChecks.end() ? std::nullopt : check->second(line, factory, lacksCrcLine);
}

bool lacksCrcLine(const IniFile& file) {
    return file.role() == IniFile::Role::kReadWrite && file.crcLine() == 0;
}

std::optional<std::string_view> sectionIn(const IniFile::Line& setting, const FactoryPtr& factory) {
    const std::string bare = bareOf(setting.value);
    if (bare.find(']') == std::string::npos) {
        return std::nullopt;
    }
    const std::size_t lastSetting = lastSettingIn(bare, factory);
    std::size_t close = std::string::npos;
    for (std::size_t at = bare.size(); at-- > 0;) {
        if (bare[at] == ']' && (at < lastSetting || at + 1 == bare.size())) {
            close = at;
        } else if (bare[at] == '[' && close != std::string::npos) {
            const auto name =
                trimmed(std::string_view(setting.value).substr(at + 1, close - at - 1));
            if (!name.empty()) {
                return name;
            }
            close = std::string::npos;
        }
    }
    return close == std::string::npos ? std::nullopt : std::optional<std::string_view>("");
}

std::string withoutQuoted(std::string_view text) {
    std::string bare(text);
    blankQuoted(withoutEscaped(text), bare);
    return bare;
}

std::string ifMeantSo(const IniFile::Line& setting, const FactoryPtr& factory) {
    auto text = asSaved(setting, factory);
    if (!text || outcomeOf(factory, setting.type, setting.name, setting.value)) {
        return "";
    }
    if (setting.type == "string" && text->front() != '"') {
        text = '"' + *text + '"';
    }
    return *text == setting.value
               ? ""
               : "; if it is meant so: " + setting.key + " = " + setting.type + "," + *text;
}

}  // namespace t8settings
