#include "check/LineCheck.h"

#include <algorithm>
#include <exception>
#include <map>
#include <optional>
#include <set>

#include "NamesInFull.h"
#include "check/OrderCheck.h"
#include "check/Swallowed.h"
#include "console/Exit.h"
#include "console/Progress.h"
#include "console/Shell.h"
#include "console/Terminal.h"
#include "store/Files.h"
#include "values/CanonicalNumber.h"
#include "values/Meaning.h"
#include "values/TextOfValue.h"
#include "values/Types.h"

namespace t8settings {

namespace {

using Qel::Settings::TypeDescription;
using Kind = Qel::Settings::text::IniLine::Kind;
using MaybeFinding = std::optional<Finding>;

constexpr const char* kForm = "a setting is written KEY = TYPE,VALUE, a comment # TEXT";

std::string inOneLine(std::string text) {
    for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n')) {
        text.replace(at, 1, "; ");
    }
    return text;
}

Finding misplacedName(const IniFile::Line& line) {
    return {line.number, Harm::kUnusable, "#name is not the first line",
            "move it to the top: as it is, no program can load the file"};
}

bool isMisplacedName(const IniFile::Line& line) {
    return line.kind == Kind::Header && line.key == "name" && !line.isFirst;
}

bool isClosed(const IniFile::Line& section) {
    return section.whole.back() == ']';
}

/// Goes through the lines with what is known from the lines before.
class LineChecker {
public:
    LineChecker(const IniFile& file, const FactoryPtr& factory)
        : file_(file),
          factory_(factory),
          lacksCrcLine_(lacksCrcLine(file)),
          countingLineOf_(linesThatCount(file, factory, {})) {
        const StrayLines strays = strayLines(file, factory);
        for (const auto& stray : strays) {
            misleading_.insert(stray.second);
        }
        findLateSettings(file, strays);
        for (const auto& stray : strayLinesIfDamaged(file, factory)) {
            doubtful_.insert(stray.second);
        }
        findLinesAboveSettings(file);
    }

    MaybeFinding check(const IniFile::Line& line) {
        const bool isMisleading = misleading_.count(line.number) != 0;
        if (isMisleading && line.kind == Kind::Setting) {
            return sectionInText(line);
        }
        if (auto swallowed = swallowedLineIn(line, factory_, lacksCrcLine_)) {
            return swallowed;
        }
        if (isMisleading && line.kind != Kind::SkippedSection && !isMisplacedName(line)) {
            return Finding{line.number, Harm::kChanged,
                           "looks like a section and opens none, so " + whereSettingsGo(section_),
                           std::string("write [NAME], on a line of its own") +
                               (isComment(line) ? ", or delete the comment" : "")};
        }
        using Check = MaybeFinding (LineChecker::*)(const IniFile::Line&);
        static const std::map<Kind, Check> kChecks = {
            {Kind::Header, &LineChecker::checkHeader},
            {Kind::Section, &LineChecker::checkSection},
            {Kind::SkippedSection, &LineChecker::checkSkippedSection},
            {Kind::Setting, &LineChecker::checkSetting},
            {Kind::Malformed, &LineChecker::checkMalformed}};
        return (this->*kChecks.at(line.kind))(line);
    }

private:
    void findLinesAboveSettings(const IniFile& file) {
        bool settingFollows = false;
        for (auto line = file.lines().rbegin(); line != file.lines().rend(); ++line) {
            settingFollows =
                line->kind == Kind::Setting || (settingFollows && line->kind != Kind::Section);
            if (settingFollows && mayHaveBeenSection(*line)) {
                aboveSettings_.insert(line->number);
            }
        }
    }

    /// Above all sections they would not stay: a save writes settings in the order of their names.
    void findLateSettings(const IniFile& file, const StrayLines& strays) {
        const std::string root = file.storageName() + "/";
        std::string_view first;
        for (const IniFile::Line& line : file.lines()) {
            const bool hasSection = line.name.size() > root.size() + line.key.size();
            if (line.kind == Kind::Setting && hasSection && strays.count(line.number) == 0 &&
                (first.empty() || line.name < first)) {
                first = line.name;
            }
        }
        for (const IniFile::Line& line : file.lines()) {
            const auto stray = strays.find(line.number);
            if (stray != strays.end() && !first.empty() && root + line.key > first) {
                late_.insert(stray->second);
            }
        }
    }

    MaybeFinding checkHeader(const IniFile::Line& line) {
        if (isMisplacedName(line)) {
            return misplacedName(line);
        }
        if (line.key == "readonly" && !line.value.empty()) {
            return Finding{line.number, Harm::kIgnored,
                           "#readonly makes the storage read-only whatever is said behind it",
                           "delete the line if settings are to change"};
        }
        const auto& words = Qel::Settings::text::kSavePolicyWords;
        if (line.key == "savepolicy" &&
            std::find(words.begin(), words.end(), line.value) == words.end()) {
            return Finding{line.number, Harm::kIgnored,
                           "no such save policy: " + inQuotes(line.value),
                           "write ondemand, eachchange or async"};
        }
        if (doubtful_.count(line.number) != 0) {
            return commentedSection(line.number, section_);
        }
        return std::nullopt;
    }

    Finding sectionInText(const IniFile::Line& line) const {
        const std::string section(sectionIn(line, factory_).value_or(""));
        return {line.number, Harm::kChanged,
                visible(line.name) + " has run into what looks like " +
                    (section.empty() ? "a section" : "the section [" + section + "]") + ", so " +
                    whereSettingsGo(section_),
                "write that on a line of its own" + ifNoSection(line)};
    }

    /// The bracket may belong to the text, or be a slip in it.
    std::string ifNoSection(const IniFile::Line& line) const {
        if (const auto wrong = checkTypeAndText(line)) {
            return "; if it is no section: " + wrong->reason.substr(visible(line.name).size() + 2) +
                   "; " + wrong->remedy;
        }
        const std::string meant = ifMeantSo(line, factory_);
        return meant.empty() && !fileBeside(file_.path())
                   ? "; if it is meant so: " + commandOn("seal", file_.path()) + " --force"
                   : meant;
    }

    MaybeFinding checkSection(const IniFile::Line& line) {
        section_ = line.key;
        return std::nullopt;
    }

    MaybeFinding checkSkippedSection(const IniFile::Line& line) {
        const bool isMisleading = misleading_.count(line.number) != 0;
        const Harm harm = isMisleading ? Harm::kChanged : Harm::kIgnored;
        const std::string stays = isMisleading ? ", so " + whereSettingsGo(section_) : "";
        if (const std::size_t close = line.whole.find(']');
            !isClosed(line) && close != std::string::npos) {
            const std::size_t behind = line.whole.find_first_not_of(" \t", close + 1);
            const bool isComment = line.whole[behind] == '#' || line.whole[behind] == ';' ||
                                   line.whole.compare(behind, 2, "//") == 0;
            return Finding{line.number, isMisleading || isComment ? harm : Harm::kLost,
                           "something stands behind the \"]\" of a section" + stays,
                           "move it to a line of its own"};
        }
        if (!isClosed(line)) {
            return Finding{line.number, harm, "section is not closed" + stays, "write the \"]\""};
        }
        if (section_.empty()) {
            return std::nullopt;
        }
        return Finding{line.number, harm, "no line ends a section" + stays,
                       late_.count(line.number) != 0
                           ? "give the settings below it a section"
                           : "move settings without a section above all sections"};
    }

    MaybeFinding checkMalformed(const IniFile::Line& line) {
        std::string reason = Qel::Settings::text::whyMalformed(line.whole);
        if (mayHaveBeenSection(line) && aboveSettings_.count(line.number) != 0) {
            reason += "; if it was a section, " + whereSettingsGo(section_);
        }
        return Finding{line.number, Harm::kLost, reason, kForm};
    }

    MaybeFinding checkSetting(const IniFile::Line& line) {
        const std::size_t counting = countingLineOf_.at(line.name);
        if (counting > line.number && factory_->maker(line.type).isKnown()) {
            return Finding{line.number, Harm::kIgnored,
                           visible(line.name) + " is given once more in line " +
                               std::to_string(counting) + ", which counts",
                           "delete one of the two"};
        }
        return checkTypeAndText(line);
    }

    MaybeFinding checkTypeAndText(const IniFile::Line& line) const {
        return factory_->maker(line.type).isKnown() ? checkText(line) : unknownType(line);
    }

    static MaybeFinding unknownType(const IniFile::Line& line) {
        std::string reason = "no such type: " + inQuotes(line.type);
        try {
            typeCalled(line.type);
            reason += ", it is one of fields only";
        } catch (const Failure& failure) {
            reason = inOneLine(failure.what());
        }
        // With "=" in it, it has run into another setting; before it that is a slip.
        const bool isOneLine = line.type.find('=', 1) == std::string::npos;
        return Finding{line.number, Harm::kLost, visible(line.name) + ": " + reason,
                       "t8settings types shows all types; or delete the line",
                       isOneLine ? Concern::kValue : Concern::kLine};
    }

    MaybeFinding checkText(const IniFile::Line& line) const {
        const auto outcome = outcomeOf(factory_, line.type, line.name, line.value);
        if (!outcome) {
            return std::nullopt;
        }
        return Finding{line.number, outcome->lost ? Harm::kLost : Harm::kChanged,
                       visible(line.name) + ": " + line.type + " would not keep " +
                           inQuotes(line.value) + ", " + outcome->text,
                       outcome->takes, Concern::kValue};
    }

    const IniFile& file_;
    const FactoryPtr& factory_;
    const bool lacksCrcLine_;
    const std::map<std::string_view, std::size_t> countingLineOf_;
    std::set<std::size_t> misleading_;  ///< lines that open no section, with settings below
    std::set<std::size_t> late_;        ///< those of them with settings that sort after a section
    std::set<std::size_t> doubtful_;    ///< those of a damaged file that may have opened one
    std::set<std::size_t> aboveSettings_;  ///< lines that may have opened their section
    std::string section_;
};

MaybeFinding findingInNames(const IniFile& file) {
    Qel::Settings::NamesInFull names;
    try {
        for (const IniFile::Line& line : file.lines()) {
            names.add(line.kind == Kind::Section ? file.storageName().size() + line.key.size()
                                                 : line.name.size());
        }
    } catch (const std::exception& error) {
        return Finding{0, Harm::kUnusable, error.what(), "give its sections shorter names"};
    }
    return std::nullopt;
}

}  // namespace

bool isComment(const IniFile::Line& line) {
    return line.kind == Kind::Header &&
           std::find(kHeaderKeys.begin(), kHeaderKeys.end(), line.key) == kHeaderKeys.end();
}

std::string whereSettingsGo(const std::string& section) {
    return section.empty() ? "the settings below it have no section"
                           : "the settings below it are read into section " + inQuotes(section);
}

Finding commentedSection(std::size_t line, const std::string& section) {
    return {line, Harm::kDoubtful, "is a comment; if it was a section, " + whereSettingsGo(section),
            "write [NAME], unless it is meant so"};
}

std::vector<Finding> findingsIn(const StrayLines& strays, const IniFile& file) {
    std::vector<Finding> findings;
    for (const IniFile::Line& line : file.lines()) {
        const auto stray = strays.find(line.number);
        if (stray != strays.end()) {
            findings.push_back({line.number, Harm::kChanged,
                                line.key + ": its section is not known, as line " +
                                    std::to_string(stray->second) + " opens none",
                                "mend that line and run this once more"});
        }
    }
    return findings;
}

MaybeFinding misplacedNameIn(const IniFile& file) {
    const IniFile::Line* const line = file.misplacedName();
    return line == nullptr ? std::nullopt : MaybeFinding(misplacedName(*line));
}

std::map<std::string_view, std::size_t> linesThatCount(const IniFile& file,
                                                       const FactoryPtr& factory,
                                                       const std::set<std::size_t>& passedOver) {
    const auto isTaken = [&factory](const IniFile::Line& line) {
        return factory->create(line.type, line.name, line.value) != nullptr;
    };
    std::map<std::string_view, const IniFile::Line*> counting;
    for (auto line = file.lines().rbegin(); line != file.lines().rend(); ++line) {
        if (line->kind != Kind::Setting || passedOver.count(line->number) != 0) {
            continue;
        }
        const IniFile::Line*& one = counting[line->name];
        one = one == nullptr || !isTaken(*one) ? &*line : one;
    }
    std::map<std::string_view, std::size_t> numbers;
    for (const auto& [name, line] : counting) {
        numbers[name] = line->number;
    }
    return numbers;
}

MaybeFinding unreadLinesIn(const IniFile& file) {
    if (!file.hasMoreAfterCrcLine() || file.role() == IniFile::Role::kDefaults) {
        return std::nullopt;
    }
    const char* const reason = "lines after the CRC line are not read";
    if (file.losesLinesAfterCrcLine()) {
        return Finding{file.crcLine(), Harm::kLost, reason,
                       "move them above it, each below its [section]"};
    }
    return Finding{
        file.crcLine(), Harm::kIgnored, std::string(reason) + ", and none of them is a setting",
        fileBeside(file.path()) ? ""
                                : commandOn("seal", file.path()) + " drops them and keeps a copy"};
}

std::vector<Finding> findingsInLines(const IniFile& file, const FactoryPtr& factory) {
    std::vector<Finding> findings;
    const auto add = [&](const MaybeFinding& finding) {
        if (finding) {
            findings.push_back(*finding);
        }
    };
    add(findingInNames(file));
    LineChecker checker(file, factory);
    Progress progress("checking line", file.lines().size());
    for (const IniFile::Line& line : file.lines()) {
        progress.begin(file.path());
        add(checker.check(line));
    }
    for (const Finding& finding : findingsInOrder(file)) {
        findings.push_back(finding);
    }
    add(unreadLinesIn(file));
    std::stable_sort(findings.begin(), findings.end(),
                     [](const Finding& a, const Finding& b) { return a.line < b.line; });
    return findings;
}

}  // namespace t8settings
