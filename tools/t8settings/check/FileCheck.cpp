#include "check/FileCheck.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "check/Doubts.h"
#include "check/KnownDefaults.h"
#include "check/WaysOut.h"
#include "console/Exit.h"
#include "console/Shell.h"
#include "console/Terminal.h"
#include "console/TextEncoding.h"
#include "store/LoadOutcome.h"
#include "store/SetUp.h"

namespace t8settings {

namespace {

using Kind = Qel::Settings::text::IniLine::Kind;

struct StateText {
    const char* word;
    const char* text;
};

const StateText& textOf(FileState state) {
    static constexpr std::array<StateText, 7> kTexts = {
        {{"missing", "not there"},
         {"unreadable", "cannot be read"},
         {"tooLarge", "larger than 64 MiB, which no program reads"},
         {"noCrc", "no CRC line"},
         {"wrongCrc", "wrong CRC"},
         {"unchecked", "the CRC check is switched off"},
         {"sealed", "CRC right"}}};
    return kTexts.at(static_cast<std::size_t>(state));
}

const char* wordOf(Harm harm) {
    static constexpr std::array<const char*, 8> kWords = {
        "unreadable", "unusable", "lost", "changed", "moved", "lost", "doubtful", "ignored"};
    return kWords.at(static_cast<std::size_t>(harm));
}

bool isMissing(const IniFile& file) {
    return file.state() == FileState::kMissing;
}

Json jsonOf(const FileFinding& finding) {
    Json json;
    addBytes(json, "file", finding.path);
    json["line"] = finding.finding.line == 0 ? Json(nullptr) : Json(finding.finding.line);
    json["harm"] = wordOf(finding.finding.harm);
    addBytes(json, "reason", finding.finding.reason);
    addBytes(json, "remedy", finding.finding.remedy);
    return json;
}

/// Whether somebody may have edited it: `seal` would refuse what is blank, or in an encoding that
/// no program reads.
bool mayBeSealed(const IniFile& file) {
    return file.state() >= FileState::kWithoutCrc && !isBlank(file) &&
           !oddEncodingOf(file.text()).isWhole;
}

/// What lies beside a file cannot be sealed.
std::string remedyForUnchecked(const IniFile& file) {
    const auto beside = fileBeside(file.path());
    return beside              ? commandOn("recover", *beside) + " shows what it holds"
           : mayBeSealed(file) ? commandOn("seal", file.path()) + " switches it on"
                               : "";
}

/// What a state is worth, if nothing lies beside the file. Of a file that a load refuses, no more
/// than that: the caller knows what the load does then.
std::vector<Finding> findingsInState(const IniFile& file) {
    if (file.accepted() && file.state() != FileState::kUnchecked) {
        return {};
    }
    if (file.role() == IniFile::Role::kDefaults && file.state() >= FileState::kWithoutCrc) {
        return {};
    }
    switch (file.state()) {
        case FileState::kMissing:
            return {};
        case FileState::kUnreadable:
            return {{0, Harm::kUnreadable, stateOf(file), ""}};
        case FileState::kUnchecked:
            return {{file.crcLine(), Harm::kIgnored,
                     "the CRC check is switched off, so damage goes unnoticed",
                     remedyForUnchecked(file)}};
        default:
            return {{file.crcLine(), Harm::kUnusable, stateOf(file), ""}};
    }
}

/// A comment loses nothing, but may be a cut header itself.
bool losesByACut(const IniFile::Line& line) {
    return line.kind != Kind::Header ||
           std::any_of(kHeaderKeys.begin(), kHeaderKeys.end(), [&line](std::string_view header) {
               return header.substr(0, line.key.size()) == line.key;
           });
}

std::vector<FileFinding> ofFile(const IniFile& file, const std::vector<Finding>& findings) {
    std::vector<FileFinding> ofFile;
    ofFile.reserve(findings.size());
    for (const Finding& finding : findings) {
        ofFile.push_back({file.path(), finding});
    }
    return ofFile;
}

/// In place of what else there is to say of the first line: nothing that can be seen is wrong with
/// it.
void tellOfMark(const IniFile& file, const OddEncoding& odd, std::vector<Finding>& findings) {
    findings.erase(std::remove_if(findings.begin(), findings.end(),
                                  [](const Finding& finding) { return finding.line == 1; }),
                   findings.end());
    const bool isSetting = !file.lines().empty() && file.lines().front().kind == Kind::Setting;
    findings.push_back(
        {1, isSetting ? Harm::kChanged : Harm::kLost, odd.reason, withoutMark(file.path(), 1)});
}

/// That the first line calls the storage otherwise than its defaults file does.
std::optional<Finding> otherNameIn(const IniFile& file) {
    if (!file.saysItsName()) {
        return std::nullopt;
    }
    const KnownDefaults defaults = knownDefaultsFor(file);
    if (defaults.path.empty() || defaults.storageName == file.storageName()) {
        return std::nullopt;
    }
    return Finding{file.lines().front().number, Harm::kChanged,
                   "its storage is called " + inQuotes(file.storageName()) + " here and " +
                       inQuotes(defaults.storageName) + " in " + defaults.path +
                       ": the settings there keep that name",
                   "give both the same #name", Concern::kStorageName};
}

/// What to do about a file that the next load sets aside. What was set aside before may be all
/// there is of good values, and would be replaced. Nothing is amiss with a file because this user
/// may not read it.
std::string remedyFor(const FileGroup& group) {
    const std::string& path = group.file.path();
    if (mayNotBeRead(path)) {
        return "";
    }
    if (!whyNoPlainFile(path).empty()) {
        return kMoveAway;
    }
    const std::string seal =
        mayBeSealed(group.file) ? "after a hand edit: " + commandOn("seal", path) : "";
    const bool mayBeAllThereIs =
        !isMissing(group.setAside) && whyNoPlainFile(group.setAside.path()).empty();
    if (mayBeAllThereIs) {
        return "first of all: " + commandOn("recover", path) + (seal.empty() ? "" : "; " + seal);
    }
    return (seal.empty() ? "" : seal + "; ") + "after damage: " + commandOn("recover", path);
}

/// Adds to the file's refusal what the next load makes of it.
void tellWhatALoadDoes(const FileGroup& group, std::vector<FileFinding>& findings) {
    const LoadOutcome outcome = loadOutcomeOf(group);
    const auto refusal =
        std::find_if(findings.begin(), findings.end(), [](const FileFinding& finding) {
            return finding.finding.harm == Harm::kUnusable ||
                   finding.finding.harm == Harm::kUnreadable;
        });
    if (refusal == findings.end() || outcome == LoadOutcome::kTakesFile) {
        return;
    }
    refusal->finding.reason += "; " + fateOf(group);
    if (group.file.accepted() || outcome == LoadOutcome::kNotLoaded) {
        return;
    }
    refusal->finding.remedy = outcome != LoadOutcome::kTakesCopy ? remedyFor(group)
                              : mayBeSealed(group.file)
                                  ? "the next save mends it; after a hand edit, first of all: " +
                                        commandOn("recover", group.file.path())
                                  : "the next save mends it";
}

std::vector<FileFinding> findingsInCopy(const FileGroup& group) {
    const IniFile& copy = group.copy;
    if (isMissing(copy)) {
        return {};
    }
    const std::string unusual = whyNoPlainFile(copy.path());
    if (!unusual.empty()) {
        return {{copy.path(),
                 {0, Harm::kUnusable, unusual, "remove it; nothing can be saved until then"}}};
    }
    if (!copy.accepted()) {
        return {{copy.path(),
                 {0, Harm::kIgnored, "left by an interrupted save and not whole: " + stateOf(copy),
                  "the next save replaces it"}}};
    }
    const std::string recover = commandOn("recover", group.file.path());
    if (isMissing(group.file)) {
        return {{copy.path(),
                 {0, Harm::kLost,
                  "whole copy of an interrupted save, which no program looks for since " +
                      group.file.path() + " is not there",
                  "a program's next save replaces it: first of all: " + recover}}};
    }
    if (takenByLoad(group) != &copy) {
        std::vector<FileFinding> findings = findingsIn(copy);
        findings.insert(
            findings.begin(),
            {copy.path(),
             {0, Harm::kUnusable,
              "read in place of " + group.file.path() + ", and no program can load it", recover}});
        return findings;
    }
    std::vector<FileFinding> findings = {
        {copy.path(),
         {0, Harm::kChanged,
          "whole copy of an interrupted save, read in place of " + group.file.path(),
          "the next save puts it in order; " + recover + " shows what differs"}}};
    for (FileFinding& finding : findingsIn(copy)) {
        findings.push_back(std::move(finding));
    }
    return findings;
}

}  // namespace

std::string textOf(const FileFinding& finding) {
    std::string text = finding.path;
    if (finding.finding.line != 0) {
        text += ":" + std::to_string(finding.finding.line);
    }
    text += ": " + finding.finding.reason;
    if (!finding.finding.remedy.empty()) {
        text += "; " + finding.finding.remedy;
    }
    return visible(text);
}

std::string linesOf(const std::vector<FileFinding>& findings) {
    std::string lines;
    for (const FileFinding& finding : findings) {
        lines += textOf(finding) + "\n";
    }
    return lines;
}

Json jsonOf(const std::vector<FileFinding>& findings) {
    Json json = Json::array();
    for (const FileFinding& finding : findings) {
        json.push_back(jsonOf(finding));
    }
    return json;
}

std::string wordOf(const IniFile& file) {
    const bool isDefaults = file.role() == IniFile::Role::kDefaults && file.accepted();
    return isDefaults ? "defaults" : textOf(file.state()).word;
}

std::string stateOf(const IniFile& file) {
    if (file.role() == IniFile::Role::kDefaults && file.accepted()) {
        return "defaults, which need no CRC";
    }
    std::string text = textOf(file.state()).text;
    if (file.state() == FileState::kUnreadable) {
        text += ": " + file.error();
    } else if (file.state() == FileState::kWrongCrc && file.isCrcLineOpen()) {
        text += ": the line feed after the CRC line is missing";
    } else if (file.state() == FileState::kWrongCrc) {
        text += ": the text has " + std::to_string(file.computedCrc()) + ", its CRC line says " +
                std::to_string(file.readCrc());
    }
    return text;
}

void demandIniFile(const std::string& path) {
    demandWord(path, "FILE");
    if (const auto file = fileBeside(path)) {
        throw Failure(ExitCode::kUsage, path + " lies beside " + *file +
                                            "; name that one: " + commandOn("recover", *file));
    }
    if (isXml(path)) {
        throw Failure(ExitCode::kUsage, path + " is XML, which has no CRC and is only read");
    }
    const std::string base = isDirectory(path) ? baseMeantBy(path) : "";
    if (!base.empty()) {
        throw Failure(ExitCode::kFailed,
                      path +
                          " is a directory; which of its files need mending is shown by: "
                          "t8settings --base " +
                          shellPath(base) + " verify");
    }
}

std::string textToSeal(const IniFile& file) {
    std::string text = file.text();
    if (file.crcLine() == 0 && !text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    return text;
}

std::vector<FileFinding> findingsInLinesOf(const IniFile& file) {
    return findingsInLinesOf(file, setUpWithoutFiles().types);
}

std::vector<FileFinding> findingsInLinesOf(const IniFile& file, const FactoryPtr& factory) {
    const OddEncoding odd = oddEncodingOf(file.text());
    if (odd.isWhole) {
        return {{file.path(), {1, Harm::kLost, odd.reason, odd.remedy}}};
    }
    std::vector<Finding> findings = findingsInLines(file, factory);
    for (Finding& doubt : doubtsIn(file, factory)) {
        findings.push_back(std::move(doubt));
    }
    if (const auto otherName = otherNameIn(file)) {
        findings.push_back(*otherName);
    }
    if (const auto cut = cutLineIn(file)) {
        findings.push_back(cut->finding);
    }
    if (!odd.reason.empty()) {
        tellOfMark(file, odd, findings);
    }
    std::stable_sort(findings.begin(), findings.end(),
                     [](const Finding& a, const Finding& b) { return a.line < b.line; });
    return ofFile(file, findings);
}

std::optional<FileFinding> cutLineIn(const IniFile& file) {
    if (file.crcLine() != 0 || file.role() == IniFile::Role::kDefaults || file.lines().empty() ||
        oddEncodingOf(file.text()).isWhole) {
        return std::nullopt;
    }
    const auto& text = file.text();
    const auto feeds = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
    const IniFile::Line& last = file.lines().back();
    if (last.number != feeds + 1 || !losesByACut(last)) {
        return std::nullopt;
    }
    return FileFinding{
        file.path(),
        {last.number, Harm::kLost, "the last line may be cut short, as no line feed ends it",
         "complete it, and end it with a line feed"}};
}

std::optional<FileFinding> nothingIn(const IniFile& file) {
    const bool isEmpty = file.lines().empty();
    const bool hasSetting =
        std::any_of(file.lines().begin(), file.lines().end(),
                    [](const IniFile::Line& line) { return line.kind == Kind::Setting; });
    if (hasSetting) {
        return std::nullopt;
    }
    const bool isDefaults = file.role() == IniFile::Role::kDefaults;
    return FileFinding{file.path(),
                       {0, isEmpty ? Harm::kLost : Harm::kDoubtful,
                        std::string(isEmpty ? "nothing is in it" : "no setting is in it") +
                            (isDefaults ? ", so no setting of its storage can be reset" : ""),
                        isDefaults ? "put it back as it was delivered, or delete it" : ""}};
}

std::vector<FileFinding> findingsIn(const IniFile& file) {
    std::vector<FileFinding> findings = ofFile(file, findingsInState(file));
    const bool isDefaults = file.role() == IniFile::Role::kDefaults && file.accepted();
    if (const auto nothing = isDefaults ? nothingIn(file) : std::nullopt) {
        findings.push_back(*nothing);
    }
    for (FileFinding& finding : findingsInLinesOf(file)) {
        findings.push_back(std::move(finding));
    }
    return findings;
}

std::vector<FileFinding> findingsIn(const FileGroup& group) {
    std::vector<FileFinding> findings = findingsIn(group.file);
    tellWhatALoadDoes(group, findings);
    for (FileFinding& finding : findingsInCopy(group)) {
        findings.push_back(std::move(finding));
    }
    if (!isMissing(group.newCopy)) {
        findings.push_back({group.newCopy.path(),
                            {0, Harm::kIgnored, "left by an interrupted save and never read",
                             "the next save that needs the name replaces it; or delete it"}});
    }
    const auto addLeftBehind = [&](const IniFile& file, const char* reason) {
        const bool isFile = whyNoPlainFile(file.path()).empty();
        findings.push_back({file.path(),
                            {0, Harm::kLost, reason,
                             isFile ? commandOn("recover", group.file.path()) +
                                          " shows what it holds; or delete it"
                                    : kMoveAway}});
    };
    if (!isMissing(group.setAside)) {
        addLeftBehind(
            group.setAside,
            "set aside by a load, or kept by a save, that could not use it, and never read");
    }
    for (const IniFile& file : group.setAsideLater) {
        addLeftBehind(file, "kept by a save that could not use it, and never read");
    }
    return findings;
}

}  // namespace t8settings
