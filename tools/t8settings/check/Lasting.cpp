#include "check/Lasting.h"

#include <algorithm>
#include <utility>

#include "check/Doubts.h"
#include "check/KnownDefaults.h"
#include "check/Strays.h"
#include "console/Shell.h"
#include "store/LoadOutcome.h"

namespace t8settings {

namespace {

using Kind = Qel::Settings::text::IniLine::Kind;

bool isLasting(const FileFinding& finding) {
    return finding.finding.harm == Harm::kLost || finding.finding.harm == Harm::kChanged;
}

/// Names that settings of the storage have whatever section their lines stand in.
std::set<std::string> knownNamesOf(const IniFile& file) {
    std::set<std::string> names;
    for (const auto& known : knownDefaultsFor(file).settings) {
        names.insert(known.first);
    }
    for (const auto& own : settingsByName(file)) {
        names.insert(own.first);
    }
    return names;
}

/// The "[]" lines that a save may have written, as it does above a setting without a section, be
/// it one of the storage's old name, that sorts after one with a section. It writes them again.
/// Below a damaged section stands at least one setting that nobody knows without it.
std::set<std::size_t> linesWrittenBySaves(const IniFile& file, const FactoryPtr& factory) {
    std::set<std::size_t> numbers;
    for (const IniFile::Line& line : file.lines()) {
        if (line.kind == Kind::SkippedSection && line.whole == "[]") {
            numbers.insert(line.number);
        }
    }
    if (numbers.empty()) {
        return numbers;
    }
    const StrayLines strays = strayLines(file, factory);
    const std::set<std::string> known = knownNamesOf(file);
    for (const IniFile::Line& line : file.lines()) {
        const auto stray = strays.find(line.number);
        if (stray != strays.end() && known.count(line.key) == 0 &&
            known.count(file.storageName() + "/" + line.key) == 0) {
            numbers.erase(stray->second);
        }
    }
    return numbers;
}

/// Those of settings with these names.
std::set<std::size_t> linesOf(const IniFile& file, const std::set<std::string>& names) {
    std::set<std::size_t> numbers;
    for (const IniFile::Line& line : file.lines()) {
        if (line.kind == Kind::Setting && names.count(line.name) != 0) {
            numbers.insert(line.number);
        }
    }
    return numbers;
}

/// What becomes of lines that are ignored already, by their kinds.
const std::map<Kind, const char*> kRemedies = {{Kind::Header, "this save writes what is in force"},
                                               {Kind::Setting, "this save drops it"}};

std::map<std::size_t, Kind> kindsOfLines(const IniFile& file) {
    std::map<std::size_t, Kind> kinds;
    for (const IniFile::Line& line : file.lines()) {
        kinds[line.number] = line.kind;
    }
    return kinds;
}

/// The command that mends the only one of them; empty when it would not, or there are more. A
/// setting whose line no load takes is there when it has a default.
std::string settingOf(const IniFile& file, const std::vector<FileFinding>& stopping) {
    if (stopping.size() != 1 || stopping.front().finding.concern != Concern::kValue) {
        return "";
    }
    const Finding& finding = stopping.front().finding;
    const auto line =
        std::find_if(file.lines().begin(), file.lines().end(),
                     [&finding](const IniFile::Line& one) { return one.number == finding.line; });
    const bool isThere = finding.harm == Harm::kChanged || knownDefaultsFor(file).has(line->name);
    return isThere ? commandOnName("set", line->name) + " TEXT" : "";
}

/// By a save that gives the settings of these lines another text.
bool isMended(const Finding& finding, const std::set<std::size_t>& lines) {
    return finding.concern == Concern::kStorageName ||
           (finding.concern == Concern::kValue && lines.count(finding.line) != 0);
}

void add(Lasting& lasting, FileFinding finding, bool isSealed) {
    const Finding& what = finding.finding;
    if (isSealed && what.concern == Concern::kValue && what.harm == Harm::kChanged) {
        finding.finding.remedy = "this save makes that last";
        lasting.told.push_back(std::move(finding));
    } else {
        lasting.stopping.push_back(std::move(finding));
    }
}

std::set<std::size_t> linesOf(const Lasting& lasting) {
    std::set<std::size_t> numbers;
    for (const auto* const findings : {&lasting.stopping, &lasting.told}) {
        for (const FileFinding& finding : *findings) {
            numbers.insert(finding.finding.line);
        }
    }
    return numbers;
}

}  // namespace

Lasting lastingBySave(const FileGroup& group, const std::set<std::string>& replaced,
                      const FactoryPtr& factory) {
    Lasting lasting;
    const IniFile* const taken = takenByLoad(group);
    if (taken == nullptr) {
        for (FileFinding& finding : findingsIn(group)) {
            if (group.copy.accepted() && finding.path == group.copy.path() && isLasting(finding)) {
                lasting.stopping.push_back(std::move(finding));
            }
        }
        return lasting;
    }
    const std::set<std::size_t> writtenAgain = linesWrittenBySaves(*taken, factory);
    const std::set<std::size_t> replacedLines = linesOf(*taken, replaced);
    const std::map<std::size_t, Kind> kinds = kindsOfLines(*taken);
    for (FileFinding& finding : findingsInLinesOf(*taken, factory)) {
        const std::size_t line = finding.finding.line;
        const auto harmless =
            finding.finding.harm == Harm::kIgnored ? kinds.find(line) : kinds.end();
        if (harmless != kinds.end() && kRemedies.count(harmless->second) != 0) {
            finding.finding.remedy = kRemedies.at(harmless->second);
            lasting.told.push_back(std::move(finding));
        } else if (isLasting(finding) && !isMended(finding.finding, replacedLines) &&
                   writtenAgain.count(line) == 0) {
            add(lasting, std::move(finding), taken->state() == FileState::kSealed);
        }
    }
    return lasting;
}

std::vector<FileFinding> lastingOfDefaults(const FileGroup& group,
                                           const std::set<std::string>& given,
                                           const FactoryPtr& factory) {
    const std::string path = defaultsBeside(group.file.path());
    if (path.empty()) {
        return {};
    }
    const IniFile defaults = iniFileAt(path);
    std::set<std::size_t> written;
    std::set<std::size_t> misleading;
    const StrayLines strays = strayLines(defaults, factory);
    for (const auto& [name, line] : settingsByName(defaults)) {
        if (given.count(name) == 0) {
            written.insert(line->number);
            const auto stray = strays.find(line->number);
            misleading.insert(stray == strays.end() ? 0 : stray->second);
        }
    }
    if (written.empty()) {
        return {};
    }
    std::vector<FileFinding> lasting;
    for (FileFinding& finding : findingsInLinesOf(defaults, factory)) {
        const std::size_t line = finding.finding.line;
        const bool isMisread = finding.finding.harm == Harm::kChanged && written.count(line) != 0;
        if (isMisread || (isLasting(finding) && misleading.count(line) != 0)) {
            finding.finding.remedy = "a save writes that into " + group.file.path();
            lasting.push_back(std::move(finding));
        }
    }
    return lasting;
}

std::set<std::string> lastingNames(const FileGroup& group, const FactoryPtr& factory) {
    const std::set<std::size_t> lines = linesOf(lastingBySave(group, {}, factory));
    std::set<std::string> names;
    const IniFile* const taken = takenByLoad(group);
    for (std::size_t i = 0; taken != nullptr && i < taken->lines().size(); ++i) {
        const IniFile::Line& line = taken->lines()[i];
        if (line.kind == Kind::Setting && lines.count(line.number) != 0) {
            names.insert(line.name);
        }
    }
    return names;
}

std::vector<FileFinding> hiddenBySave(const FileGroup& group, const FactoryPtr& factory,
                                      const std::set<std::string>& neverWritten) {
    const IniFile* const taken = takenByLoad(group);
    if (taken == nullptr) {
        return {};
    }
    std::vector<FileFinding> hidden;
    for (Finding& slip : slipsIn(*taken, factory, neverWritten)) {
        slip.remedy += slip.remedy.back() == '?' ? " " : "; ";
        slip.remedy += "after this save nothing tells of it any more";
        hidden.push_back({taken->path(), std::move(slip)});
    }
    const auto unread = unreadLinesIn(*taken);
    if (unread && !isGrave(unread->harm)) {
        hidden.push_back(
            {taken->path(), {unread->line, unread->harm, unread->reason, "this save drops them"}});
    }
    return hidden;
}

std::string remedyForLasting(const FileGroup& group, const std::vector<FileFinding>& stopping) {
    const IniFile* const taken = takenByLoad(group);
    const std::string& path = group.file.path();
    if (taken == nullptr) {
        return "";
    }
    if (taken == &group.copy) {
        return "first of all: " + commandOn("recover", path);
    }
    const std::string set = settingOf(*taken, stopping);
    return "mend these lines, then: " + commandOn("seal", path) +
           (set.empty() ? "" : "; or: " + set);
}

}  // namespace t8settings
