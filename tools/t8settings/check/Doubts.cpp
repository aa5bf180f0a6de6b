#include "check/Doubts.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "check/CommentedSettings.h"
#include "check/KnownDefaults.h"
#include "check/OddNames.h"
#include "check/RenamedSections.h"
#include "console/Pattern.h"
#include "console/Shell.h"
#include "console/Terminal.h"
#include "store/Files.h"
#include "text/IniPlaces.h"

namespace t8settings {

namespace {

namespace text = Qel::Settings::text;
using Kind = text::IniLine::Kind;

/// Each byte that differs must stand for several that do not.
constexpr std::size_t kBytesForASlip = 2;
constexpr std::size_t kMostSlips = 2;
/// A file that shares next to nothing with its defaults has come of no slip, and would take hours.
constexpr std::size_t kMostComparisons = 100000;

using Names = std::vector<std::string_view>;

std::string_view lastPart(std::string_view name) {
    return name.substr(name.rfind('/') + 1);
}

/// A name that is hardly meant so.
struct Slip {
    const IniFile::Line* line;
    std::string_view meant;
    std::size_t sectionLine;  ///< that of the section that it stands in; 0 for none
};

class Doubter {
public:
    Doubter(const IniFile& file, const FactoryPtr& factory)
        : file_(file),
          factory_(factory),
          defaults_(knownDefaultsFor(file)),
          lines_(settingsByName(file)) {
        const auto isUnknown = [this](const auto& one) { return !defaults_.has(one.first); };
        const auto unknown =
            static_cast<std::size_t>(std::count_if(lines_.begin(), lines_.end(), isUnknown));
        for (const auto& known : defaults_.settings) {
            if (lines_.count(known.first) == 0) {
                missing_.push_back(known.first);
            }
        }
        mayBeSlips_ = file.storageName() == defaults_.storageName &&
                      missing_.size() * unknown <= kMostComparisons;
    }

    const KnownDefaults& defaults() const { return defaults_; }

    std::vector<Finding> doubts() const {
        std::vector<Finding> doubts;
        std::set<std::size_t> told;
        for (const auto& [name, line] : lines_) {
            for (const auto doubt : {&Doubter::doubtOfKey, &Doubter::doubtOfType}) {
                const auto found = (this->*doubt)(*line);
                if (found && told.insert(found->line).second) {
                    doubts.push_back(*found);
                }
            }
        }
        for (Finding& misspelt : misspeltNames({})) {
            if (told.count(misspelt.line) == 0) {
                doubts.push_back(std::move(misspelt));
            }
        }
        return doubts;
    }

    /// One for all settings of a section whose name is the slip.
    std::vector<Finding> misspeltNames(const std::set<std::string>& neverWritten) const {
        std::map<std::pair<std::size_t, std::string>, std::vector<Slip>> slips;
        for (const Slip& slip : slipsInOrder()) {
            if (neverWritten.count(std::string(slip.meant)) != 0) {
                continue;
            }
            const bool isOfSection = slip.sectionLine != 0 && !meantSectionOf(slip).empty();
            slips[isOfSection ? std::pair(slip.sectionLine, meantSectionOf(slip))
                              : std::pair(slip.line->number, std::string())]
                .push_back(slip);
        }
        std::vector<Finding> misspelt;
        misspelt.reserve(slips.size());
        for (const auto& [place, ofPlace] : slips) {
            misspelt.push_back(ofPlace.size() == 1 ? doubtOf(ofPlace.front())
                                                   : doubtOf(ofPlace, place.second));
        }
        return misspelt;
    }

private:
    using MaybeFinding = std::optional<Finding>;

    static Finding doubt(const IniFile::Line& line, const std::string& reason,
                         const std::string& remedy) {
        return {line.number, Harm::kDoubtful, visible(line.name) + reason, remedy};
    }

    MaybeFinding doubtOfKey(const IniFile::Line& line) const {
        const bool isLikeAComment =
            text::startsWith(line.key, ";") || text::startsWith(line.key, "//");
        return isLikeAComment
                   ? MaybeFinding(doubt(line, " is a setting", "a comment is written # TEXT"))
                   : std::nullopt;
    }

    /// A type may have several names. Empty when the text is none of its texts.
    std::string writtenTypeOf(const IniFile::Line& line) const {
        return factory_->typeAsString(factory_->create(line.type, line.name, line.value));
    }

    MaybeFinding doubtOfType(const IniFile::Line& line) const {
        const auto known = defaults_.settings.find(line.name);
        if (known == defaults_.settings.end() || known->second.type == line.type) {
            return std::nullopt;
        }
        const std::string& type = known->second.type;
        const std::string here = writtenTypeOf(line);
        const std::string there = writtenTypeOf(known->second);
        return here.empty() || there.empty() || here == there
                   ? std::nullopt
                   : MaybeFinding(doubt(
                         line, " is " + line.type + " here and " + type + " in " + defaults_.path,
                         "write " + type + ", unless it is meant so"));
    }

    Finding doubtOf(const Slip& slip) const {
        return doubt(*slip.line, " is not in " + defaults_.path,
                     "did you mean " + shellWord(std::string(slip.meant)) + "?");
    }

    Finding doubtOf(const std::vector<Slip>& ofSection, const std::string& meant) const {
        const Slip& first = ofSection.front();
        return {first.sectionLine, Harm::kDoubtful,
                std::to_string(ofSection.size()) + " settings of section " +
                    inQuotes(sectionOf(first.line->name, *first.line)) + " are not in " +
                    defaults_.path,
                "did you mean [" + meant + "]?"};
    }

    /// The name of the defaults that the file lacks and that is most like this one; empty for none.
    std::string_view meantBy(const IniFile::Line& line) const {
        if (defaults_.has(line.name) || !mayBeSlips_) {
            return {};
        }
        const std::size_t length = lastPart(line.name).size();
        const Pattern wanted = Pattern::exactly(line.name);
        std::size_t fewest = std::min(kMostSlips, length / kBytesForASlip) + 1;
        std::string_view nearest;
        for (const std::string_view name : missing_) {
            const bool isLike = name.size() <= line.name.size() + kMostSlips &&
                                line.name.size() <= name.size() + kMostSlips;
            const std::size_t slips = isLike ? wanted.slips(name) : fewest;
            if (slips < fewest) {
                fewest = slips;
                nearest = name;
            }
        }
        return nearest;
    }

    std::vector<Slip> slipsInOrder() const {
        std::vector<Slip> slips;
        std::size_t sectionLine = 0;
        for (const IniFile::Line& line : file_.lines()) {
            sectionLine = line.kind == Kind::Section ? line.number : sectionLine;
            const bool counts = line.kind == Kind::Setting && lines_.at(line.name) == &line;
            const std::string_view meant = counts ? meantBy(line) : std::string_view();
            if (!meant.empty()) {
                slips.push_back({&line, meant, sectionLine});
            }
        }
        return slips;
    }

    /// The section of a name that ends in the key of the line, after the name of the storage; empty
    /// for none.
    std::string sectionOf(std::string_view name, const IniFile::Line& line) const {
        const std::size_t root = file_.storageName().size() + 1;
        const std::size_t end = line.key.size() + 1;
        return std::string(name.size() > root + end ? name.substr(root, name.size() - root - end)
                                                    : std::string_view());
    }

    /// The section that the key of the slip would be right in; empty when it is the key that is
    /// not.
    std::string meantSectionOf(const Slip& slip) const {
        return endsWith(slip.meant, "/" + slip.line->key) ? sectionOf(slip.meant, *slip.line) : "";
    }

    const IniFile& file_;
    const FactoryPtr& factory_;
    const KnownDefaults defaults_;
    std::map<std::string, const IniFile::Line*> lines_;  ///< those that count, by name
    /// Under another name of the storage each of them would be unknown.
    bool mayBeSlips_ = false;
    Names missing_;  ///< names of the defaults that the file does not have
};

/// Adds what tells of a line that none of the others tells of; a slip of a byte or two says more
/// about a name.
void addDoubtsOfLines(const IniFile& file, const KnownDefaults& defaults, const FactoryPtr& factory,
                      bool hiddenOnly, std::vector<Finding>& doubts) {
    for (Finding& commented : commentedSettingsIn(file, defaults, factory)) {
        doubts.push_back(std::move(commented));
    }
    std::set<std::size_t> told;
    for (const Finding& doubt : doubts) {
        told.insert(doubt.line);
    }
    for (const OddName& odd : oddNamesIn(file, defaults, factory)) {
        if ((odd.isHiddenBySave || !hiddenOnly) && told.count(odd.finding.line) == 0) {
            doubts.push_back(odd.finding);
        }
    }
    for (const RenamedSection& renamed : renamedSectionsIn(file, defaults, factory)) {
        const auto isTold = [&](const Finding& one) { return told.count(one.line) != 0; };
        if ((renamed.isHiddenBySave || !hiddenOnly) && !isTold(renamed.finding) &&
            std::none_of(renamed.ofSettings.begin(), renamed.ofSettings.end(), isTold)) {
            doubts.push_back(renamed.finding);
        }
    }
}

}  // namespace

std::vector<Finding> doubtsIn(const IniFile& file, const FactoryPtr& factory) {
    const Doubter doubter(file, factory);
    std::vector<Finding> doubts = doubter.doubts();
    addDoubtsOfLines(file, doubter.defaults(), factory, false, doubts);
    return doubts;
}

std::vector<Finding> slipsIn(const IniFile& file, const FactoryPtr& factory,
                             const std::set<std::string>& neverWritten) {
    const Doubter doubter(file, factory);
    std::vector<Finding> slips = doubter.misspeltNames(neverWritten);
    addDoubtsOfLines(file, doubter.defaults(), factory, true, slips);
    std::stable_sort(slips.begin(), slips.end(),
                     [](const Finding& a, const Finding& b) { return a.line < b.line; });
    return slips;
}

}  // namespace t8settings
