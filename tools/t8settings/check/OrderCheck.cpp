#include "check/OrderCheck.h"

#include <map>
#include <set>
#include <string>
#include <string_view>

#include "check/KnownDefaults.h"
#include "console/Terminal.h"
#include "text/IniPlaces.h"

namespace t8settings {

namespace {

namespace text = Qel::Settings::text;
using Kind = text::IniLine::Kind;

/// What a save does to a setting.
struct Move {
    std::string section;     ///< that it puts it into, which it has not or is longer than its own
    const char* whyLeftOut;  ///< of that section; null when it is not
};

using Moves = std::map<std::string, Move>;

/// A save writes the settings in the order of their names, and no line ends a section.
Moves movesOf(const std::string& root, const std::set<std::string>& names,
              const SectionNames& sectionNames) {
    text::SectionsInOrder::Sections all;
    for (const std::string& section : sectionNames) {
        all.insert(root + section + "/");
    }
    Moves moves;
    text::SectionsInOrder sections(all);
    const text::WhiteSpace whiteSpace;
    std::string before;
    for (const std::string& name : names) {
        const std::string section(sections.longestOf(name));
        // Of a file that is read, its storage's name alone may have a line feed, and nothing of it
        // is ever saved.
        const auto key = std::string_view(name).substr(text::prefixOf(name, section, root).size());
        if (const char* const reason = text::reasonToLeaveOut("", key, whiteSpace)) {
            moves[name] = {section, reason};
        } else if (!section.empty()) {
            before = section;
        } else if (!before.empty()) {
            moves[name] = {before, nullptr};
        }
    }
    return moves;
}

/// A save writes the settings of both files of a storage together.
class OrderChecker {
public:
    explicit OrderChecker(const IniFile& file)
        : root_(file.storageName() + "/"),
          defaults_(knownDefaultsFor(file)),
          lines_(settingsByName(file)) {
        for (const IniFile::Line& line : file.lines()) {
            if (line.kind == Kind::Section) {
                sections_.insert(line.key);
            }
        }
        if (defaults_.storageName != file.storageName()) {
            defaults_ = {};
        }
    }

    std::vector<Finding> findings() const {
        std::set<std::string> names;
        for (const auto& known : defaults_.settings) {
            names.insert(known.first);
        }
        const Moves told = movesOf(root_, names, defaults_.sections);
        for (const auto& own : lines_) {
            names.insert(own.first);
        }
        SectionNames sections = sections_;
        sections.insert(defaults_.sections.begin(), defaults_.sections.end());
        std::vector<Finding> findings;
        std::map<std::string, std::vector<std::string>> ofDefaults;
        for (const auto& [name, move] : movesOf(root_, names, sections)) {
            const auto own = lines_.find(name);
            if (own != lines_.end()) {
                const std::size_t line = own->second->number;
                findings.push_back(move.whyLeftOut == nullptr ? ownMove(line, name, move.section)
                                                              : leftOut(line, name, move));
            } else if (move.whyLeftOut == nullptr && told.count(name) == 0) {
                ofDefaults[move.section].push_back(name);
            }
        }
        for (const auto& [section, moved] : ofDefaults) {
            findings.push_back(movesOfDefaults(moved, section));
        }
        return findings;
    }

private:
    std::string becomes(const std::string& name, const std::string& section) const {
        return ": a save makes " + visible(section + name.substr(root_.size())) + " of ";
    }

    std::string orTakeOut(const std::string& section) const {
        return ", or take " + visible("[" + nameOf(section) + "]") + " out of this file";
    }

    std::string nameOf(const std::string& section) const {
        return section.substr(root_.size(), section.size() - root_.size() - 1);
    }

    Finding ownMove(std::size_t line, const std::string& name, const std::string& section) const {
        const bool isOfDefaults = defaults_.sections.count(nameOf(section)) != 0;
        std::string remedy = "give it a section";
        if (defaults_.has(name)) {
            remedy += ", in " + defaults_.path + " too" + (isOfDefaults ? "" : orTakeOut(section));
        }
        const bool isOwn = sections_.count(nameOf(section)) != 0;
        return {line, Harm::kMoved,
                visible(name) + " has no section and sorts after " + visible(section) +
                    (isOwn ? "" : " of " + defaults_.path) + becomes(name, section) + "it",
                remedy};
    }

    Finding leftOut(std::size_t line, const std::string& name, const Move& move) const {
        return {line, Harm::kLeftOut,
                visible(name) + " falls into " + visible(move.section) +
                    ": a save leaves it out, as " + move.whyLeftOut,
                "begin the key with another character" +
                    (defaults_.has(name) ? ", in " + defaults_.path + " too" : "")};
    }

    Finding movesOfDefaults(const std::vector<std::string>& names,
                            const std::string& section) const {
        const bool isOne = names.size() == 1;
        const std::string many = " and " + std::to_string(names.size() - 1) + " more";
        return {
            0, Harm::kMoved,
            visible(names.front()) + (isOne ? "" : many) + " of " + defaults_.path +
                (isOne ? " has no section and sorts after " : " have no section and sort after ") +
                visible(section) + becomes(names.front(), section) + (isOne ? "it" : "the first"),
            std::string(isOne ? "give it a section there" : "give them a section there") +
                orTakeOut(section)};
    }

    std::string root_;
    KnownDefaults defaults_;
    std::map<std::string, const IniFile::Line*> lines_;
    SectionNames sections_;
};

}  // namespace

std::vector<Finding> findingsInOrder(const IniFile& file) {
    return OrderChecker(file).findings();
}

}  // namespace t8settings
