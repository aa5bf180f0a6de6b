#include "survey/DumpedSettings.h"

#include <algorithm>

#include "console/Exit.h"
#include "console/Json.h"
#include "dump/Dump.h"
#include "store/Files.h"
#include "survey/SurveyedFile.h"

namespace t8settings {

namespace {

using Kind = Qel::Settings::text::IniLine::Kind;

/// The whole name of a setting has that of its storage before a slash.
bool hasWholeName(const IniFile::Line& line) {
    return line.kind == Kind::Setting && line.key.find('/') != std::string::npos;
}

/// Of a line of a settings file alone.
bool isOfAFile(const IniFile::Line& line) {
    return line.kind == Kind::Section || line.kind == Kind::SkippedSection ||
           (line.kind == Kind::Setting && !hasWholeName(line));
}

bool isIniDump(const IniFile& file) {
    const auto& lines = file.lines();
    const bool hasHeader = file.saysItsName() || file.readonly() || !file.savePolicy().empty();
    return !hasHeader && !survivesReset(file.path()) &&
           std::any_of(lines.begin(), lines.end(), hasWholeName) &&
           std::none_of(lines.begin(), lines.end(), isOfAFile);
}

/// Whether nothing but the end of it keeps the text from being JSON.
bool isJsonSoFar(const std::string& text) {
    const std::size_t end = text.find_last_not_of(" \t\r\n") + 1;
    try {
        return !Json::parse(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(end))
                    .is_discarded();
    } catch (const Json::parse_error& error) {
        return error.byte > end;
    } catch (const Json::exception&) {
        return false;
    }
}

/// A text in a dump, whole or cut short, may look like a setting; a key in a settings file may
/// begin like JSON.
bool isJsonDump(const IniFile& file) {
    const std::string& text = file.text();
    return isJson(text) && (isJsonSoFar(text) || surveyed(file).settings.empty());
}

}  // namespace

bool isDump(const IniFile& file) {
    return file.crcLine() == 0 && !file.lines().empty() && (isIniDump(file) || isJsonDump(file));
}

std::map<std::string, Record> settingsInDump(const IniFile& dump) {
    std::map<std::string, Record> settings;
    std::string problems;
    const auto add = [&problems](const DumpEntry& entry, const std::string& problem) {
        problems += (problems.empty() ? "" : "\n") + entry.place + ": " + problem;
    };
    for (const DumpEntry& entry : entriesOf(dump.path(), dump.text())) {
        const Record record = {entry.name, entry.type, entry.text, entry.storage.value_or("")};
        if (!entry.problem.empty()) {
            add(entry, entry.problem);
        } else if (!settings.emplace(entry.name, record).second) {
            add(entry, entry.name + " has a value already");
        }
    }
    if (!problems.empty()) {
        throw Failure(ExitCode::kFailed, problems);
    }
    return settings;
}

}  // namespace t8settings
