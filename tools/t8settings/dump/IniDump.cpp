#include "dump/IniDump.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <optional>
#include <utility>

#include "check/FileCheck.h"
#include "check/Swallowed.h"
#include "console/Terminal.h"
#include "store/SetUp.h"
#include "values/TextOfValue.h"

namespace t8settings {

namespace {

using Kind = Qel::Settings::text::IniLine::Kind;
using Entries = std::vector<DumpEntry>;
/// By the numbers of the lines.
using Problems = std::map<std::size_t, std::string>;

constexpr const char* kStandardInput = "-";

/// Standard input has no file name for a storage to be called by, nor a directory of defaults. Of
/// what lies in such a directory a load takes ini files alone: a dump may be of any other name.
IniFile fileOf(const std::string& path, const std::string& bytes) {
    if (path == kStandardInput) {
        return {shownPathOf(path), "", IniFile::Role::kReadWrite, bytes};
    }
    IniFile file = iniFileOf(path, bytes);
    const bool isDump = file.role() == IniFile::Role::kDefaults && !isIni(path);
    return isDump ? IniFile(path, file.storageName(), IniFile::Role::kReadWrite, bytes)
                  : std::move(file);
}

std::string placeOf(const IniFile& file, std::size_t line) {
    return file.path() + ":" + std::to_string(line);
}

std::string textOf(const Finding& finding) {
    return finding.reason + (finding.remedy.empty() ? "" : "; " + finding.remedy);
}

/// Whether the names of its settings are those within a storage.
bool isOfAStorage(const IniFile& file) {
    return file.crcLine() != 0 || file.role() == IniFile::Role::kDefaults || file.saysItsName();
}

/// The whole name that the line gives a setting.
std::string nameIn(const IniFile& file, const IniFile::Line& setting) {
    const std::size_t prefix = isOfAStorage(file) ? 0 : file.storageName().size() + 1;
    return setting.name.substr(std::min(prefix, setting.name.size()));
}

/// Whether all seem to be lines of a dump, whatever else stands there.
bool hasWholeNames(const IniFile& file) {
    return std::all_of(file.lines().begin(), file.lines().end(), [](const IniFile::Line& line) {
        return line.kind != Kind::Section && (line.kind != Kind::Header || line.key != "name") &&
               (line.kind != Kind::Setting || line.key.find('/') != std::string::npos);
    });
}

/// Why nothing can be said about its single lines, if so.
std::optional<DumpEntry> whyNotAtAll(const IniFile& file) {
    const bool hasCrc = file.crcLine() != 0 && file.role() == IniFile::Role::kReadWrite;
    const auto unread = unreadLinesIn(file);
    if (hasCrc && !file.accepted() && unread && isGrave(unread->harm)) {
        return DumpEntry{placeOf(file, unread->line), textOf(*unread)};
    }
    if (hasCrc && !file.accepted()) {
        return DumpEntry{
            placeOf(file, file.crcLine()),
            stateOf(file) +
                (hasWholeNames(file)
                     ? "; a dump has none: delete it to have the others taken as they are"
                     : "; write \"#crc32 = false\" in its place to have the others "
                       "taken as they are")};
    }
    if (const auto misplaced = misplacedNameIn(file)) {
        return DumpEntry{placeOf(file, misplaced->line), textOf(*misplaced)};
    }
    if (hasCrc && file.storageName().empty() && !file.saysItsName()) {
        return DumpEntry{placeOf(file, 1),
                         "no #name tells which storage it is of; load the file by its own name"};
    }
    return std::nullopt;
}

/// A file from elsewhere has no defaults beside it, but those of the store that is to take it.
StrayLines straysIn(const IniFile& file, const std::string& base) {
    const bool isElsewhere = !base.empty() && defaultsBeside(file.path()).empty();
    return strayLines(file, setUpWithoutFiles().types,
                      isElsewhere && isOfAStorage(file)
                          ? std::optional(knownDefaultsBelow(base, file.storageName()))
                          : std::nullopt);
}

/// What a load would not read, or read as something else than it says.
Problems problemsIn(const IniFile& file, const std::string& base) {
    Problems problems;
    const FactoryPtr& factory = setUpWithoutFiles().types;
    for (const Finding& finding : findingsIn(straysIn(file, base), file)) {
        problems.emplace(finding.line, textOf(finding));
    }
    const bool lacksCrc = lacksCrcLine(file) && isOfAStorage(file);
    for (IniFile::Line line : file.lines()) {
        line.name = nameIn(file, line);
        if (const auto swallowed = swallowedLineIn(line, factory, lacksCrc)) {
            problems[line.number] = textOf(*swallowed);
        }
    }
    if (const auto cut = cutLineIn(file)) {
        problems.emplace(cut->finding.line, textOf(cut->finding));
    }
    const auto unread = unreadLinesIn(file);
    if (unread && isGrave(unread->harm)) {
        problems.emplace(unread->line, textOf(*unread));
    }
    for (const IniFile::Line& line : file.lines()) {
        if (line.kind == Kind::Malformed) {
            problems.emplace(line.number, inQuotes(line.whole) +
                                              " is no setting, which is written NAME = TYPE,TEXT");
        }
    }
    return problems;
}

/// In the order of the lines.
Entries entriesOf(const IniFile& file, const Problems& problems) {
    std::map<std::size_t, DumpEntry> entries;
    for (const auto& [line, problem] : problems) {
        entries[line] = {placeOf(file, line), problem};
    }
    for (const IniFile::Line& line : file.lines()) {
        if (line.kind == Kind::Setting && problems.count(line.number) == 0) {
            entries[line.number] = {placeOf(file, line.number), "", nameIn(file, line), line.type,
                                    textForPeople(line.type, line.value)};
        }
    }
    Entries all;
    all.reserve(entries.size());
    for (auto& entry : entries) {
        all.push_back(std::move(entry.second));
    }
    return all;
}

}  // namespace

std::string shownPathOf(const std::string& path) {
    return path == kStandardInput ? "standard input" : path;
}

Entries entriesOfIni(const std::string& path, const std::string& bytes, const std::string& base) {
    const IniFile file = fileOf(path, bytes);
    const auto refused = whyNotAtAll(file);
    return refused ? Entries{*refused} : entriesOf(file, problemsIn(file, base));
}

}  // namespace t8settings
