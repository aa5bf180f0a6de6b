#include "dump/Dump.h"

#include <algorithm>

#include "console/Json.h"
#include "console/Shell.h"
#include "console/TextEncoding.h"
#include "dump/IniDump.h"
#include "dump/JsonDump.h"
#include "store/Files.h"
#include "text/IniGrammar.h"
#include "values/TextOfValue.h"

namespace t8settings {

namespace {

namespace text = Qel::Settings::text;
using Kind = text::IniLine::Kind;

/// Blanks, as they stand between the words of JSON.
constexpr std::string_view kBlanks = " \t\r\n";

std::string_view withoutBlanksInFront(std::string_view bytes) {
    bytes.remove_prefix(std::min(bytes.find_first_not_of(kBlanks), bytes.size()));
    return bytes;
}

/// Whether the first line is a setting of ini text, whatever it begins with.
bool beginsWithSetting(std::string_view bytes) {
    const std::string_view line = bytes.substr(0, bytes.find('\n'));
    return line.find(',', std::min(line.find('='), line.size())) != std::string_view::npos;
}

/// What was given in place of a dump, when its beginning tells; empty otherwise.
std::string whatElse(const std::string& path, std::string_view bytes) {
    if (const OddEncoding odd = oddEncodingOf(bytes); !odd.reason.empty()) {
        return odd.reason + "; " + odd.remedy;
    }
    bytes = withoutBlanksInFront(bytes);
    if (bytes.empty()) {
        return "is empty, as it is when a dump fails; a dump that is to change nothing is []";
    }
    if (bytes.front() != '<' || beginsWithSetting(bytes)) {
        return "";
    }
    return std::string("is XML") +
           (isXml(path)
                ? "; what load takes is written by: t8settings --file " + shellPath(path) + " dump"
                : ", which load does not take");
}

}  // namespace

bool isJson(std::string_view bytes) {
    bytes = withoutBlanksInFront(bytes);
    // A section line of ini text may begin with the same bracket, but no name goes on like this.
    if (bytes.front() != '[') {
        return bytes.front() == '{' ||
               (!beginsWithSetting(bytes) && Json::accept(bytes.begin(), bytes.end()));
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

std::vector<DumpEntry> entriesOf(const std::string& path, const std::string& bytes,
                                 const std::string& base) {
    const std::string shown = shownPathOf(path);
    if (const std::string what = whatElse(path, bytes); !what.empty()) {
        return {{shown + ":1", what}};
    }
    if (isJson(bytes)) {
        return entriesOfJson(shown, bytes);
    }
    std::vector<DumpEntry> entries = entriesOfIni(path, bytes, base);
    if (entries.empty()) {
        entries.push_back(
            {shown + ":1", "has no setting in it; a dump that is to change nothing is []"});
    }
    return entries;
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
