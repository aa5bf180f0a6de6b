#include "Lasting.h"

#include <algorithm>
#include <utility>

#include "Doubts.h"
#include "KnownDefaults.h"
#include "LoadOutcome.h"
#include "Shell.h"
#include "Strays.h"

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
    for (const IniFile::Line& line : file.lines()) {
        if (line.kind == Kind::Setting) {
            names.insert(line.name);
        }
    }
    return names;
}

/// The "[]" lines that a save may have written, as it does above a setting without a section, be
/// it one of the storage's old name, that sorts after one with a section. It writes them again.
/// Below a damaged section stands at least one setting that nobody knows without it.
std::set<std::size_t> linesWrittenBySaves(const IniFile& file) {
    std::set<std::size_t> numbers;
    for (const IniFile::Line& line : file.lines()) {
        if (line.kind == Kind::SkippedSection && line.whole == "[]") {
            numbers.insert(line.number);
        }
    }
    if (numbers.empty()) {
        return numbers;
    }
    const StrayLines strays = strayLines(file);
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

}  // namespace

std::vector<FileFinding> lastingBySave(const FileGroup& group,
                                       const std::set<std::string>& replaced,
                                       const FactoryPtr& factory) {
    std::vector<FileFinding> lasting;
    const IniFile* const taken = takenByLoad(group);
    if (taken == nullptr) {
        for (FileFinding& finding : findingsIn(group)) {
            if (group.copy.accepted() && finding.path == group.copy.path() && isLasting(finding)) {
                lasting.push_back(std::move(finding));
            }
        }
        return lasting;
    }
    std::set<std::size_t> mended = linesWrittenBySaves(*taken);
    for (const IniFile::Line& line : taken->lines()) {
        const bool isName = line.kind == Kind::Header && line.key == "name";
        if (isName || (line.kind == Kind::Setting && replaced.count(line.name) != 0)) {
            mended.insert(line.number);
        }
    }
    // A text with the line of another setting in it costs that one its value as well.
    std::set<std::size_t> ofTwoSettings;
    for (const Finding& doubt : doubtsIn(*taken, factory)) {
        if (doubt.harm == Harm::kChanged) {
            ofTwoSettings.insert(doubt.line);
        }
    }
    for (FileFinding& finding : findingsInLinesOf(*taken, factory)) {
        const std::size_t line = finding.finding.line;
        if (isLasting(finding) && (mended.count(line) == 0 || ofTwoSettings.count(line) != 0)) {
            lasting.push_back(std::move(finding));
        }
    }
    return lasting;
}

std::set<std::string> mendedBySave(const FileGroup& group, const std::set<std::string>& replaced,
                                   const FactoryPtr& factory) {
    std::set<std::size_t> lines;
    for (const FileFinding& finding : lastingBySave(group, {}, factory)) {
        lines.insert(finding.finding.line);
    }
    if (lines.empty()) {
        return {};
    }
    for (const FileFinding& finding : lastingBySave(group, replaced, factory)) {
        lines.erase(finding.finding.line);
    }
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

std::vector<FileFinding> hiddenBySave(const FileGroup& group, const FactoryPtr& factory) {
    const IniFile* const taken = takenByLoad(group);
    if (taken == nullptr) {
        return {};
    }
    std::vector<FileFinding> hidden;
    for (Finding& slip : slipsIn(*taken, factory)) {
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

std::string remedyForLasting(const FileGroup& group) {
    const IniFile* const taken = takenByLoad(group);
    const std::string& path = group.file.path();
    return taken == nullptr       ? ""
           : taken == &group.copy ? "first of all: " + commandOn("recover", path)
                                  : "mend these lines, then: " + commandOn("seal", path);
}

}  // namespace t8settings
