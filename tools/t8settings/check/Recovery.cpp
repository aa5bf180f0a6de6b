#include "check/Recovery.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <utility>

#include "check/HeaderLosses.h"
#include "check/KnownDefaults.h"
#include "check/RenamedSections.h"
#include "console/Terminal.h"
#include "console/TextEncoding.h"
#include "store/SetUp.h"

namespace t8settings {

namespace {

using Kind = Qel::Settings::text::IniLine::Kind;

using Numbers = std::set<std::size_t>;

std::string textOf(const IniFile::Line& setting) {
    return setting.type + "," + setting.value;
}

/// Nobody knows what a setting is called whose section cannot be read: that stands for all other
/// findings of its line. Adds these lines and those of the sections to `numbers`.
void addStrays(const IniFile& file, const StrayLines& strays, std::vector<FileFinding>& findings,
               Numbers& numbers) {
    findings.erase(std::remove_if(findings.begin(), findings.end(),
                                  [&strays](const FileFinding& finding) {
                                      return strays.count(finding.finding.line) != 0;
                                  }),
                   findings.end());
    for (const Finding& finding : findingsIn(strays, file)) {
        numbers.insert({finding.line, strays.at(finding.line)});
        findings.push_back({file.path(), finding});
    }
    std::stable_sort(
        findings.begin(), findings.end(),
        [](const FileFinding& a, const FileFinding& b) { return a.finding.line < b.finding.line; });
}

/// What is told of a section once stands for its settings: a section line that stayed behind would
/// leave them to the section before.
void tellOfEachRenamed(const IniFile& file, std::vector<FileFinding>& findings) {
    for (const RenamedSection& renamed :
         renamedSectionsIn(file, knownDefaultsFor(file), setUpWithoutFiles().types)) {
        const auto ofAll =
            std::find_if(findings.begin(), findings.end(), [&](const FileFinding& finding) {
                return finding.finding.line == renamed.finding.line &&
                       finding.finding.reason == renamed.finding.reason;
            });
        if (ofAll != findings.end()) {
            findings.erase(ofAll);
            for (const Finding& ofOne : renamed.ofSettings) {
                findings.push_back({file.path(), ofOne});
            }
        }
    }
}

std::vector<FileFinding> leftOutOf(const IniFile& file) {
    std::vector<FileFinding> leftOut = findingsInLinesOf(file);
    tellOfEachRenamed(file, leftOut);
    const bool whole = file.state() >= FileState::kUnchecked;
    Numbers misread;
    const FactoryPtr& factory = setUpWithoutFiles().types;
    addStrays(file, strayLinesIfDamaged(file, factory), leftOut, misread);
    Numbers counting;
    for (const auto& line : linesThatCount(file, factory, misread)) {
        counting.insert(line.second);
    }
    const auto isUseful = [&](const FileFinding& finding) {
        const std::size_t line = finding.finding.line;
        const Harm harm = finding.finding.harm;
        return misread.count(line) == 0 &&
               (whole ? harm >= Harm::kChanged
                      : harm == Harm::kIgnored && counting.count(line) != 0);
    };
    leftOut.erase(std::remove_if(leftOut.begin(), leftOut.end(), isUseful), leftOut.end());
    return leftOut;
}

/// What a file that is whole calls the storage.
struct RightName {
    std::string name;
    std::string place;  ///< for people
};

/// The defaults file's name counts, and without one that of the file in force; empty with neither.
RightName rightNameOf(const IniFile& file, const IniFile& inForce) {
    const KnownDefaults defaults = knownDefaultsFor(file);
    if (!defaults.path.empty()) {
        return {defaults.storageName, "its defaults file"};
    }
    return inForce.state() == FileState::kSealed ? RightName{inForce.storageName(), inForce.path()}
                                                 : RightName{};
}

/// A file whose bytes may be anything, with the right name of the storage; nothing when it says no
/// other one. Under another name its settings would come back beside those of the storage.
std::optional<IniFile> withRightName(const IniFile& file, const RightName& right) {
    if (!file.saysItsName() || file.state() >= FileState::kUnchecked || right.place.empty() ||
        right.name == file.storageName()) {
        return std::nullopt;
    }
    const std::string& text = file.text();
    std::size_t start = 0;
    for (std::size_t line = 1; line < file.lines().front().number; ++line) {
        start = text.find('\n', start) + 1;
    }
    const std::string crcLine = file.crcLine() == 0 ? "" : "\n#crc32 = 0\n";
    return IniFile(file.path(), right.name, file.role(),
                   text.substr(0, start) + "#name = " + right.name +
                       text.substr(std::min(text.find('\n', start), text.size())) + crcLine);
}

/// A damaged file was whole when it was saved: what its defaults have and it does not give was
/// lost. Without defaults nobody knows what it had, nor whether its names are right.
std::vector<FileFinding> lossesOf(const IniFile& file, const SettingLines& settings) {
    if (file.state() >= FileState::kUnchecked) {
        return {};
    }
    const KnownDefaults defaults = knownDefaultsFor(file);
    if (defaults.path.empty()) {
        return {{file.path(),
                 {0, Harm::kDoubtful,
                  "its names cannot be checked, as there is no defaults file: storage " +
                      inQuotes(file.storageName()),
                  "see that they are right"}}};
    }
    std::vector<FileFinding> losses;
    for (const auto& known : defaults.settings) {
        if (settings.count(known.first) == 0) {
            losses.push_back(
                {file.path(),
                 {0, Harm::kLost, visible(known.first) + " does not come back and has its default",
                  ""}});
        }
    }
    return losses;
}

std::string withoutLines(std::string_view text, const Numbers& numbers) {
    std::string rest;
    std::size_t number = 0;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size() - 1) + 1;
        if (numbers.count(++number) == 0) {
            rest.append(text.substr(start, end - start));
        }
        start = end;
    }
    if (!numbers.empty() && !rest.empty() && rest.back() == '\n' && text.back() != '\n') {
        rest.pop_back();
    }
    return rest;
}

}  // namespace

std::vector<Member> membersOf(const FileGroup& group) {
    std::vector<Member> members = {{"file", &group.file}};
    for (const Member& member : {Member{"tmp", &group.copy}, Member{"bad", &group.setAside},
                                 Member{"tmp.new", &group.newCopy}}) {
        if (member.file->state() != FileState::kMissing) {
            members.push_back(member);
        }
    }
    const std::size_t beside = group.file.path().size() + 1;
    for (const IniFile& file : group.setAsideLater) {
        members.push_back({file.path().substr(beside), &file});
    }
    return members;
}

const IniFile* memberCalled(const std::string& word, const FileGroup& group) {
    for (const Member& member : membersOf(group)) {
        if (member.word == word) {
            return member.file;
        }
    }
    return nullptr;
}

SettingLines settingsOf(const IniFile& file) {
    SettingLines settings;
    if (oddEncodingOf(file.text()).isWhole) {
        return settings;
    }
    for (const auto& [name, line] : settingsByName(file)) {
        settings.emplace(name, textOf(*line));
    }
    return settings;
}

std::vector<Member> filesOf(const FileGroup& group) {
    std::vector<Member> members = membersOf(group);
    const auto isNoFile = [](const Member& member) {
        return !whyNoPlainFile(member.file->path()).empty();
    };
    members.erase(std::remove_if(members.begin() + 1, members.end(), isNoFile), members.end());
    return members;
}

std::vector<Difference> differencesOf(const std::vector<Member>& members) {
    const IniFile& inForce = *members.front().file;
    std::map<std::string, std::vector<std::optional<Found>>> all;
    const auto add = [&](std::size_t member, const SettingLines& settings, bool comesBack) {
        for (const auto& [name, text] : settings) {
            auto& texts = all[name];
            texts.resize(members.size());
            texts[member] = Found{text, comesBack};
        }
    };
    add(0, settingsOf(inForce), true);
    for (std::size_t i = 1; i < members.size(); ++i) {
        const Salvage salvage = salvageOf(*members[i].file, inForce);
        add(i, salvage.settings, true);
        add(i, salvage.staysBehind, false);
    }
    std::vector<Difference> differences;
    for (const auto& [name, texts] : all) {
        if (std::adjacent_find(texts.begin(), texts.end(), std::not_equal_to<>()) != texts.end()) {
            differences.push_back({name, texts});
        }
    }
    return differences;
}

Salvage salvageOf(const IniFile& damaged, const IniFile& inForce) {
    if (oddEncodingOf(damaged.text()).isWhole) {
        return {"", {}, settingsOf(damaged), findingsInLinesOf(damaged)};
    }
    const RightName right = rightNameOf(damaged, inForce);
    const std::optional<IniFile> renamed = withRightName(damaged, right);
    const IniFile& file = renamed ? *renamed : damaged;
    Salvage salvage = {"", {}, {}, leftOutOf(file)};
    Numbers numbers;
    for (const FileFinding& finding : salvage.leftOut) {
        numbers.insert(finding.finding.line);
    }
    salvage.text = withoutLines(textToSeal(file), numbers);
    salvage.staysBehind = settingsOf(file);
    for (const IniFile::Line& line : file.lines()) {
        if (line.kind == Kind::Setting && numbers.count(line.number) == 0) {
            salvage.settings[line.name] = textOf(line);
            salvage.staysBehind.erase(line.name);
        }
    }
    if (renamed) {
        salvage.leftOut.insert(
            salvage.leftOut.begin(),
            {file.path(),
             {damaged.lines().front().number, Harm::kChanged,
              "its storage is called " + inQuotes(damaged.storageName()) + " here and " +
                  inQuotes(right.name) + " in " + right.place + ", which counts",
              ""}});
    }
    for (FileFinding& loss : headerLossesOf(file, salvage.text, inForce)) {
        salvage.leftOut.push_back(std::move(loss));
    }
    for (FileFinding& loss : lossesOf(file, salvage.settings)) {
        salvage.leftOut.push_back(std::move(loss));
    }
    return salvage;
}

}  // namespace t8settings
