#include "Recovery.h"

#include <algorithm>
#include <set>
#include <string_view>

#include "KnownDefaults.h"
#include "Terminal.h"

namespace t8settings {

namespace {

using Kind = Qel::Settings::text::IniLine::Kind;

using Numbers = std::set<std::size_t>;

bool isUseful(const FileFinding& finding, bool whole) {
    const Harm harm = finding.finding.harm;
    return harm == Harm::kIgnored || (whole && harm >= Harm::kChanged);
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

std::vector<FileFinding> leftOutOf(const IniFile& file) {
    std::vector<FileFinding> leftOut = findingsInLinesOf(file);
    const bool whole = file.state() >= FileState::kUnchecked;
    Numbers misread;
    addStrays(file, strayLinesIfDamaged(file), leftOut, misread);
    leftOut.erase(std::remove_if(leftOut.begin(), leftOut.end(),
                                 [&](const FileFinding& finding) {
                                     return misread.count(finding.finding.line) == 0 &&
                                            isUseful(finding, whole);
                                 }),
                  leftOut.end());
    if (const auto cut = cutLineIn(file)) {
        leftOut.push_back(*cut);
    }
    return leftOut;
}

/// A file whose bytes may be anything, with the storage's name of its defaults file; nothing when
/// it says no other one. Under another name its settings would come back beside those of the
/// defaults.
std::optional<IniFile> withNameOfDefaults(const IniFile& file) {
    const bool saysName = !file.lines().empty() && file.lines().front().kind == Kind::Header &&
                          file.lines().front().key == "name";
    if (!saysName || file.state() >= FileState::kUnchecked) {
        return std::nullopt;
    }
    const KnownDefaults defaults = knownDefaultsFor(file);
    if (defaults.path.empty() || defaults.storageName == file.storageName()) {
        return std::nullopt;
    }
    const std::string& text = file.text();
    std::size_t start = 0;
    for (std::size_t line = 1; line < file.lines().front().number; ++line) {
        start = text.find('\n', start) + 1;
    }
    const std::string crcLine = file.crcLine() == 0 ? "" : "\n#crc32 = 0\n";
    return IniFile(file.path(), defaults.storageName, file.role(),
                   text.substr(0, start) + "#name = " + defaults.storageName +
                       text.substr(std::min(text.find('\n', start), text.size())) + crcLine);
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

std::map<std::string, std::string> settingsOf(const IniFile& file) {
    std::map<std::string, std::string> settings;
    for (const IniFile::Line& line : file.lines()) {
        if (line.kind == Kind::Setting) {
            settings[line.name] = line.type + "," + line.value;
        }
    }
    return settings;
}

std::vector<Difference> differencesOf(const std::vector<Member>& members) {
    std::map<std::string, std::vector<std::optional<std::string>>> all;
    for (std::size_t i = 0; i < members.size(); ++i) {
        for (const auto& [name, text] : settingsOf(*members[i].file)) {
            auto& texts = all[name];
            texts.resize(members.size());
            texts[i] = text;
        }
    }
    std::vector<Difference> differences;
    for (const auto& [name, texts] : all) {
        if (std::adjacent_find(texts.begin(), texts.end(), std::not_equal_to<>()) != texts.end()) {
            differences.push_back({name, texts});
        }
    }
    return differences;
}

Salvage salvageOf(const IniFile& damaged) {
    const std::optional<IniFile> renamed = withNameOfDefaults(damaged);
    const IniFile& file = renamed ? *renamed : damaged;
    Salvage salvage = {"", 0, leftOutOf(file)};
    Numbers numbers;
    for (const FileFinding& finding : salvage.leftOut) {
        numbers.insert(finding.finding.line);
    }
    salvage.text = withoutLines(textToSeal(file), numbers);
    std::set<std::string> names;
    for (const IniFile::Line& line : file.lines()) {
        if (line.kind == Kind::Setting && numbers.count(line.number) == 0) {
            names.insert(line.name);
        }
    }
    salvage.settings = names.size();
    if (renamed) {
        salvage.leftOut.insert(
            salvage.leftOut.begin(),
            {file.path(),
             {damaged.lines().front().number, Harm::kChanged,
              "its storage is called " + inQuotes(damaged.storageName()) + " here and " +
                  inQuotes(file.storageName()) + " in its defaults file, which counts",
              ""}});
    }
    return salvage;
}

}  // namespace t8settings
