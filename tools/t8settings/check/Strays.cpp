#include "check/Strays.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string_view>
#include <vector>

#include "check/KnownDefaults.h"
#include "check/Swallowed.h"
#include "values/TextOfValue.h"

namespace t8settings {

namespace {

using Kind = Qel::Settings::text::IniLine::Kind;

bool isClosed(const IniFile::Line& line) {
    return line.whole.back() == ']';
}

/// "pin = char[]" is a setting that was cut short, and no section.
bool endsInList(const IniFile::Line& line) {
    return line.whole.size() > 1 && line.whole.compare(line.whole.size() - 2, 2, "[]") == 0;
}

/// A header that the library knows never ends in "]": it has run into the section on the next line.
bool isBrokenSectionInHeader(const IniFile::Line& line) {
    return isClosed(line) &&
           std::find(kHeaderKeys.begin(), kHeaderKeys.end(), line.key) != kHeaderKeys.end();
}

/// "#sound]" and "# [sound]" are comments, and no save writes any.
bool mayHaveBeenSectionInHeader(const IniFile::Line& line) {
    const std::size_t start = line.whole.find_first_not_of("# \t");
    return start != std::string::npos &&
           (line.whole[start] == '[' || (isClosed(line) && !endsInList(line)));
}

bool isBrokenSectionInMalformed(const IniFile::Line& line) {
    return isClosed(line) && !endsInList(line);
}

/// Whether the line stands where a section should begin, and begins none: "[]", a bracket that is
/// not closed, or a line that has the "]" of a section without being one.
bool isBrokenSection(const IniFile::Line& line) {
    return line.kind == Kind::SkippedSection ||
           (line.kind == Kind::Header && isBrokenSectionInHeader(line)) ||
           (line.kind == Kind::Malformed && isBrokenSectionInMalformed(line));
}

bool hasBracket(std::string_view text) {
    return text.find_first_of("[]") != std::string_view::npos;
}

/// "string[]" is a list.
bool hasBracketOfNoList(const IniFile::Line& setting) {
    std::string_view type = setting.type;
    if (type.size() > 1 && type.compare(type.size() - 2, 2, "[]") == 0) {
        type.remove_suffix(2);
    }
    return hasBracket(setting.key) || hasBracket(type) || hasBracket(setting.value);
}

/// Goes through the lines with what is known from the lines before.
class StrayFinder {
public:
    StrayFinder(const IniFile& file, const FactoryPtr& factory, bool ifDamaged)
        : file_(file), factory_(factory), ifDamaged_(ifDamaged) {}

    void add(const IniFile::Line& line) {
        if (line.kind == Kind::Section && !swallowedLineIn(line, factory_, false)) {
            hasSection_ = true;
            broken_ = doubtful_ = 0;
        } else if (line.kind == Kind::Section || isBrokenSection(line)) {
            const bool isNeedless =
                line.kind == Kind::SkippedSection && isClosed(line) && !hasSection_;
            broken_ = isNeedless ? 0 : line.number;
        } else if (mayHaveBeenSection(line) && ifDamaged_) {
            doubt(line);
        } else if (line.kind == Kind::Setting) {
            addSetting(line);
            lookForSectionIn(line);
        }
    }

    const StrayLines& strays() const { return strays_; }

private:
    void addSetting(const IniFile::Line& line) {
        const bool isNew = names_.insert(line.name).second;
        if (broken_ != 0) {
            strays_[line.number] = broken_;
        } else if (doubtful_ != 0 && !(isNew && defaults().has(line.name))) {
            strays_[line.number] = doubtful_;
        }
    }

    void doubt(const IniFile::Line& line) { doubtful_ = doubtful_ == 0 ? line.number : doubtful_; }

    void lookForSectionIn(const IniFile::Line& line) {
        if (!hasBracketOfNoList(line)) {
            return;
        }
        const bool isSealed = file_.state() == FileState::kSealed;
        const bool isTaken = factory_->maker(line.type).isKnown() &&
                             !outcomeOf(factory_, line.type, line.name, line.value);
        const bool hasSection = sectionIn(line, factory_).has_value();
        // What hides a section in a damaged text may be damaged too, so there each bracket counts.
        if ((hasSection && swallowedLineIn(line, factory_, false)) || (!isTaken && !isSealed) ||
            (!(isTaken && isSealed) && namesSection(line, defaults()))) {
            broken_ = line.number;
        } else if (!isTaken && isSealed && hasSection && !defaults().path.empty()) {
            doubt(line);
        }
    }

    const KnownDefaults& defaults() {
        if (!defaults_) {
            defaults_ = knownDefaultsFor(file_);
        }
        return *defaults_;
    }

    const IniFile& file_;
    const FactoryPtr& factory_;
    const bool ifDamaged_;  ///< whether the bytes may be other ones than were meant
    std::optional<KnownDefaults> defaults_;
    bool hasSection_ = false;
    std::size_t broken_ = 0;
    std::size_t doubtful_ = 0;
    std::set<std::string> names_;
    StrayLines strays_;
};

StrayLines straysIn(const IniFile& file, const FactoryPtr& factory, bool ifDamaged) {
    StrayFinder finder(file, factory, ifDamaged);
    for (const IniFile::Line& line : file.lines()) {
        finder.add(line);
    }
    return finder.strays();
}

}  // namespace

bool mayHaveBeenSection(const IniFile::Line& line) {
    if (line.kind == Kind::Setting) {
        return line.key.empty() && line.value.empty();
    }
    if (line.kind == Kind::Header) {
        return mayHaveBeenSectionInHeader(line);
    }
    std::string_view inside = line.whole;
    inside.remove_prefix(inside.front() == '=' ? 1 : 0);
    inside.remove_suffix(!inside.empty() && inside.back() == ',' ? 1 : 0);
    return line.kind == Kind::Malformed && inside.find_first_of("=,") == std::string_view::npos;
}

StrayLines strayLines(const IniFile& file, const FactoryPtr& factory) {
    return straysIn(file, factory, false);
}

StrayLines strayLinesIfDamaged(const IniFile& file, const FactoryPtr& factory) {
    return straysIn(file, factory, !file.accepted());
}

}  // namespace t8settings
