#include "check/Strays.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "check/Swallowed.h"
#include "store/Files.h"
#include "values/CanonicalNumber.h"
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
std::string_view withoutList(std::string_view type) {
    type.remove_suffix(type.size() > 1 && type.substr(type.size() - 2) == "[]" ? 2 : 0);
    return type;
}

/// Goes through the lines with what is known from the lines before.
class StrayFinder {
public:
    StrayFinder(const IniFile& file, const FactoryPtr& factory, bool ifDamaged,
                std::optional<KnownDefaults> defaults)
        : file_(file),
          factory_(factory),
          ifDamaged_(ifDamaged),
          isSealed_(file.state() == FileState::kSealed),
          defaults_(std::move(defaults)) {}

    void add(const IniFile::Line& line) {
        if (line.kind == Kind::Section && !swallowedLineIn(line, factory_, false)) {
            section_ = line.key;
            hasSection_ = true;
            broken_ = doubtful_ = 0;
        } else if (line.kind == Kind::Section || isBrokenSection(line)) {
            const bool isNeedless =
                line.kind == Kind::SkippedSection && isClosed(line) && !hasSection_;
            broken_ = isNeedless ? broken_ : line.number;
        } else if (line.kind == Kind::Header && namesNoOtherSection(line.whole)) {
            return;
        } else if (isSectionInComment(line)) {
            broken_ = line.number;
        } else if (mayHaveBeenSection(line) && (ifDamaged_ || isDoubtfulComment(line))) {
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

    /// Whether the comment names the section that is in force, which would move nothing, and that
    /// alone.
    bool namesNoOtherSection(std::string_view comment) const {
        do {
            const std::size_t end = std::min(comment.find(']'), comment.size());
            const std::size_t open = comment.substr(0, end).rfind('[');
            const std::size_t start =
                open == std::string_view::npos ? comment.find_first_not_of("# \t") : open + 1;
            if (section_.empty() || start >= end ||
                trimmed(comment.substr(start, end - start)) != section_) {
                return false;
            }
            comment.remove_prefix(std::min(end + 1, comment.size()));
        } while (hasBracket(comment));
        return true;
    }

    /// One byte makes "#menu]" of "[menu]", and of a comment above it its end. A right CRC tells
    /// that a comment is meant so.
    bool isSectionInComment(const IniFile::Line& line) {
        if (isSealed_ || line.kind != Kind::Header || !hasBracket(line.whole)) {
            return false;
        }
        return namesSection(line.whole) ||
               (line.whole.find(']') == std::string::npos && mayHaveBeenSectionInHeader(line) &&
                namesSection(line.whole + ']'));
    }

    /// The settings below tell, unless all that is like a section is one in force at its end.
    bool isDoubtfulComment(const IniFile::Line& line) {
        const bool mayBeOther = section_.empty() || !endsWith(line.whole, '[' + section_ + ']') ||
                                line.whole[line.whole.find_first_not_of("# \t")] == '[';
        return !isSealed_ && line.kind == Kind::Header && !defaults().path.empty() && mayBeOther;
    }

    void lookForSectionIn(const IniFile::Line& line) {
        if (!hasBracket(line.key) && !hasBracket(withoutList(line.type)) &&
            !hasBracket(line.value)) {
            return;
        }
        const bool isTaken = factory_->maker(line.type).isKnown() &&
                             !outcomeOf(factory_, line.type, line.name, line.value);
        const bool mayEndInSection = sectionIn(line, factory_).has_value();
        if (mayEndInSection && swallowedLineIn(line, factory_, false)) {
            broken_ = line.number;
        } else if (!(isTaken && isSealed_)) {
            lookForSectionIn(line, isTaken, mayEndInSection);
        }
    }

    /// Of a line that nobody vouches for, or that a type loses.
    void lookForSectionIn(const IniFile::Line& line, bool isTaken, bool mayEndInSection) {
        const std::string key = defaults().has(line.name) ? "" : line.key;
        const std::string open = key + ',' + std::string(withoutList(line.type)) + ',' + line.value;
        // What hides a section in a damaged text may be damaged too, so there each bracket counts.
        if ((!isTaken && !isSealed_ && hasBracket(open)) || namesSection(withoutQuoted(open))) {
            broken_ = line.number;
        } else if (mayEndInSection && !defaults().path.empty()) {
            doubt(line);
        }
    }

    /// Be it without its "[". That of the section that is in force would move nothing.
    bool namesSection(std::string_view bare) {
        for (std::size_t at = bare.find(']'); at != std::string_view::npos;
             at = bare.find(']', at + 1)) {
            if (defaults().isSectionAtEndOf(bare.substr(0, at), section_)) {
                return true;
            }
        }
        return false;
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
    const bool isSealed_;
    std::optional<KnownDefaults> defaults_;
    std::string section_;
    bool hasSection_ = false;
    std::size_t broken_ = 0;
    std::size_t doubtful_ = 0;
    std::set<std::string> names_;
    StrayLines strays_;
};

StrayLines straysIn(const IniFile& file, const FactoryPtr& factory, bool ifDamaged,
                    std::optional<KnownDefaults> defaults) {
    StrayFinder finder(file, factory, ifDamaged, std::move(defaults));
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

StrayLines strayLines(const IniFile& file, const FactoryPtr& factory,
                      std::optional<KnownDefaults> defaults) {
    return straysIn(file, factory, false, std::move(defaults));
}

StrayLines strayLinesIfDamaged(const IniFile& file, const FactoryPtr& factory) {
    return straysIn(file, factory, !file.accepted(), std::nullopt);
}

}  // namespace t8settings
