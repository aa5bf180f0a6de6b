#include "check/RenamedSections.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "check/Strays.h"
#include "console/Shell.h"
#include "console/Terminal.h"

namespace t8settings {

namespace {

using Kind = Qel::Settings::text::IniLine::Kind;

/// One key may be that of any section.
constexpr std::size_t kFewestShared = 2;
/// A file that shares next to nothing with its defaults has come of no slip.
constexpr std::size_t kMostComparisons = 100000;

using Lines = std::vector<const IniFile::Line*>;
using LinesByKey = std::map<std::string, const IniFile::Line*>;

/// Settings of the file that stand below one section line and that the defaults do not know.
struct UnknownOnes {
    const IniFile::Line* sectionLine;
    std::string above;  ///< the last section before that the defaults know; empty for none
    Lines lines;
};

class RenamedFinder {
public:
    RenamedFinder(const IniFile& file, const KnownDefaults& defaults, const FactoryPtr& factory)
        : file_(file), defaults_(defaults), factory_(factory), given_(settingsByName(file)) {
        for (const auto& [name, known] : defaults.settings) {
            const std::string section = defaults.sectionOf(known);
            if (!section.empty()) {
                sections_[section][known.key] = &known;
            }
        }
        missing_ = sections_;
        std::size_t unknown = 0;
        for (const IniFile::Line& line : file.lines()) {
            const auto known = defaults.settings.find(line.name);
            if (line.kind == Kind::Setting && known != defaults.settings.end()) {
                missing_.erase(defaults.sectionOf(known->second));
            } else if (line.kind == Kind::Setting) {
                ++unknown;
            }
        }
        if (missing_.size() * unknown > kMostComparisons) {
            missing_.clear();
        }
    }

    std::vector<RenamedSection> renamed() const {
        std::vector<RenamedSection> renamed;
        for (const UnknownOnes& unknown : unknownOnes()) {
            const auto pasted = pastedIn(unknown);
            if (pasted) {
                renamed.push_back(*pasted);
                continue;
            }
            const auto missing = missingIn(unknown);
            for (const auto& [settings, meant] : missing) {
                renamed.push_back(renamedOf(unknown, settings, meant, true));
            }
            const auto split = splitFrom(unknown);
            if (missing.empty() && split) {
                renamed.push_back(*split);
            }
        }
        return renamed;
    }

private:
    using MaybeRenamed = std::optional<RenamedSection>;

    /// What a damaged section has led astray is told with that section.
    std::vector<UnknownOnes> unknownOnes() const {
        std::vector<UnknownOnes> all;
        const StrayLines strays = strayLines(file_, factory_);
        std::string known;
        for (const IniFile::Line& line : file_.lines()) {
            if (line.kind == Kind::Section) {
                all.push_back({&line, known, {}});
                known = sections_.count(line.key) != 0 ? line.key : known;
            } else if (line.kind == Kind::Setting && !all.empty() && !defaults_.has(line.name) &&
                       strays.count(line.number) == 0) {
                all.back().lines.push_back(&line);
            }
        }
        return all;
    }

    /// The section is called as another one with the storage's name in front.
    MaybeRenamed pastedIn(const UnknownOnes& unknown) const {
        const std::string& section = unknown.sectionLine->key;
        const std::string root = file_.storageName() + "/";
        const std::size_t at = ("/" + section).rfind("/" + root);
        const auto meant =
            sections_.find(at == std::string::npos ? "" : section.substr(at + root.size()));
        if (meant == sections_.end() || sections_.count(section) != 0) {
            return std::nullopt;
        }
        Lines known;
        std::copy_if(
            unknown.lines.begin(), unknown.lines.end(), std::back_inserter(known),
            [&](const IniFile::Line* line) { return meant->second.count(line->key) != 0; });
        return known.empty() ? std::nullopt
                             : MaybeRenamed(renamedOf(unknown, known, {meant->first}, false));
    }

    /// One byte makes a section of the "[dB]" in a comment or text, and takes the settings below it
    /// out of theirs.
    MaybeRenamed splitFrom(const UnknownOnes& unknown) const {
        const auto above = sections_.find(unknown.above);
        if (above == sections_.end() || sections_.count(unknown.sectionLine->key) != 0) {
            return std::nullopt;
        }
        Lines lacking = sharedWith(above->second, unknown.lines);
        const auto isGiven = [&](const IniFile::Line* line) {
            return given_.count(file_.storageName() + "/" + above->first + "/" + line->key) != 0;
        };
        lacking.erase(std::remove_if(lacking.begin(), lacking.end(), isGiven), lacking.end());
        return lacking.empty() ? std::nullopt
                               : MaybeRenamed(renamedOf(unknown, lacking, {above->first}, true));
    }

    /// The sections that some of the settings may be those of, by these; two that have the same
    /// settings may both be meant.
    std::map<Lines, std::vector<std::string>> missingIn(const UnknownOnes& unknown) const {
        const bool isKnown = sections_.count(unknown.sectionLine->key) != 0;
        std::map<Lines, std::vector<std::string>> meant;
        for (const auto& [section, settings] : missing_) {
            const Lines shared = sharedWith(settings, unknown.lines);
            const bool isLike = shared.size() == settings.size() ||
                                (!isKnown && shared.size() == unknown.lines.size());
            if (shared.size() >= kFewestShared && isLike) {
                meant[shared].push_back(section);
            }
        }
        return meant;
    }

    /// Those with the key and type of one of the settings.
    Lines sharedWith(const LinesByKey& settings, const Lines& lines) const {
        Lines shared;
        std::set<std::string> keys;
        for (const IniFile::Line* const line : lines) {
            const auto known = settings.find(line->key);
            if (known != settings.end() && isOfOneType(*line, *known->second) &&
                keys.insert(line->key).second) {
                shared.push_back(line);
            }
        }
        return shared;
    }

    /// A type may have several names.
    bool isOfOneType(const IniFile::Line& one, const IniFile::Line& other) const {
        const auto written = [this](const IniFile::Line& line) {
            return factory_->typeAsString(factory_->create(line.type, line.name, line.value));
        };
        return one.type == other.type || (written(one) == written(other) && !written(one).empty());
    }

    RenamedSection renamedOf(const UnknownOnes& unknown, const Lines& settings,
                             const std::vector<std::string>& meant, bool isHiddenBySave) const {
        const IniFile::Line& section = *unknown.sectionLine;
        const bool isKnown = sections_.count(section.key) != 0;
        std::string names;
        for (const std::string& one : meant) {
            names += (names.empty() ? "[" : " or [") + one + "]";
        }
        const std::string where = isKnown ? " above this line?" : "?";
        RenamedSection renamed = {
            {isKnown ? settings.front()->number : section.number, Harm::kDoubtful,
             counted(settings.size(), "setting") + " of section " + inQuotes(section.key) +
                 (settings.size() == 1 ? " is" : " are") + " not in " + defaults_.path,
             "did you mean " + names + where},
            {},
            isHiddenBySave};
        for (const IniFile::Line* const line : settings) {
            renamed.ofSettings.push_back(
                {line->number, Harm::kDoubtful,
                 visible(line->name) + " is not in " + defaults_.path,
                 "did you mean " +
                     shellWord(file_.storageName() + "/" + meant.front() + "/" + line->key) + "?"});
        }
        return renamed;
    }

    const IniFile& file_;
    const KnownDefaults& defaults_;
    const FactoryPtr& factory_;
    const std::map<std::string, const IniFile::Line*> given_;
    std::map<std::string, LinesByKey> sections_;  ///< of the defaults
    std::map<std::string, LinesByKey> missing_;   ///< those that the file has nothing of
};

}  // namespace

std::vector<RenamedSection> renamedSectionsIn(const IniFile& file, const KnownDefaults& defaults,
                                              const FactoryPtr& factory) {
    return defaults.path.empty() || defaults.storageName != file.storageName()
               ? std::vector<RenamedSection>()
               : RenamedFinder(file, defaults, factory).renamed();
}

}  // namespace t8settings
