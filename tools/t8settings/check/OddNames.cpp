#include "check/OddNames.h"

#include <map>
#include <optional>
#include <string>

#include "console/Shell.h"
#include "console/Terminal.h"
#include "console/TextEncoding.h"
#include "text/IniPlaces.h"

namespace t8settings {

namespace {

namespace text = Qel::Settings::text;
using Kind = text::IniLine::Kind;

/// Where a section of this name is to be found, for people.
std::string belowSection(const std::string& section) {
    return section.empty() ? "above all sections" : "below [" + section + "]";
}

class OddNameFinder {
public:
    OddNameFinder(const IniFile& file, const KnownDefaults& defaults, const FactoryPtr& factory)
        : file_(file), defaults_(defaults), factory_(factory), lines_(settingsByName(file)) {}

    std::vector<OddName> oddNames() const {
        std::vector<OddName> odd;
        std::string section;
        for (const IniFile::Line& line : file_.lines()) {
            if (line.kind == Kind::Section) {
                section = line.key;
            } else if (line.kind == Kind::Setting && !defaults_.has(line.name)) {
                for (const auto find :
                     {&OddNameFinder::marked, &OddNameFinder::keyless, &OddNameFinder::pasted}) {
                    if (const auto found = (this->*find)(line, section)) {
                        odd.push_back(*found);
                        break;
                    }
                }
            }
        }
        return odd;
    }

private:
    using MaybeOdd = std::optional<OddName>;

    MaybeOdd marked(const IniFile::Line& line, const std::string& /*section*/) const {
        if (!text::startsWith(line.key, kByteOrderMark)) {
            return std::nullopt;
        }
        const std::string key = line.key.substr(kByteOrderMark.size());
        return OddName{{line.number, Harm::kDoubtful,
                        "the key " + inQuotes(key) + " has a byte order mark (BOM) before it",
                        withoutMark(file_.path(), line.number)},
                       false};
    }

    /// A line whose type nobody knows is told as that.
    MaybeOdd keyless(const IniFile::Line& line, const std::string& /*section*/) const {
        return line.key.empty() && factory_->maker(line.type).isKnown()
                   ? MaybeOdd(OddName{{line.number, Harm::kDoubtful,
                                       visible(line.name) + " has no key before its \"=\"",
                                       "write one, or delete the line"},
                                      false})
                   : std::nullopt;
    }

    MaybeOdd pasted(const IniFile::Line& line, const std::string& section) const {
        const auto whole = defaults_.settings.find(line.key);
        if (whole != defaults_.settings.end()) {
            return oddName(line, whole->second, false);
        }
        const auto part = defaults_.settings.find(file_.storageName() + "/" + line.key);
        if (part == defaults_.settings.end()) {
            return std::nullopt;
        }
        const std::string ofPart = defaults_.sectionOf(part->second);
        const bool isLacking = lines_.count(part->first) == 0;
        return !ofPart.empty() && (isLacking || ofPart == section)
                   ? MaybeOdd(oddName(line, part->second, ofPart != section))
                   : std::nullopt;
    }

    OddName oddName(const IniFile::Line& line, const IniFile::Line& known,
                    bool isHiddenBySave) const {
        const auto other = lines_.find(known.name);
        return {{line.number, Harm::kDoubtful,
                 visible(line.name) + " is not in " + defaults_.path + ", which has " +
                     visible(known.name),
                 other == lines_.end()
                     ? "if that is meant, write it as " + shellWord(known.key) + " " +
                           belowSection(defaults_.sectionOf(known))
                     : "if that is meant, change line " + std::to_string(other->second->number) +
                           " and delete this one"},
                isHiddenBySave};
    }

    const IniFile& file_;
    const KnownDefaults& defaults_;
    const FactoryPtr& factory_;
    const std::map<std::string, const IniFile::Line*> lines_;
};

}  // namespace

std::vector<OddName> oddNamesIn(const IniFile& file, const KnownDefaults& defaults,
                                const FactoryPtr& factory) {
    return defaults.path.empty() ? std::vector<OddName>()
                                 : OddNameFinder(file, defaults, factory).oddNames();
}

}  // namespace t8settings
