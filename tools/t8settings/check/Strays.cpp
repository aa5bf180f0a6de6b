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

/// Goes through the lines with what is known from the lines before.
class StrayFinder {
public:
    StrayFinder(const IniFile& file, const FactoryPtr& factory, bool ifDamaged)
        : file_(file), factory_(factory), ifDamaged_(ifDamaged) {}

    void add(const IniFile::Line& line) {
        if (line.kind == Kind::Section && !swallowedLineIn(line, factory_, false)) {
            hasSection_ = true;
            broken_ = doubtful_ = 0;
            runInto_ = {};
        } else if (line.kind == Kind::Section || isBrokenSection(line)) {
            const bool isNeedless =
                line.kind == Kind::SkippedSection && isClosed(line) && !hasSection_;
            broken_ = isNeedless ? 0 : line.number;
            runInto_ = {};
        } else if (mayHaveBeenSection(line) && ifDamaged_) {
            doubtful_ = doubtful_ == 0 ? line.number : doubtful_;
        } else if (line.kind == Kind::Setting) {
            addSetting(line);
            lookForSectionIn(line);
        }
    }

    const StrayLines& strays() const { return strays_; }

private:
    /// A setting whose text has what may have been a section, and those below it.
    struct RunInto {
        std::size_t line = 0;
        std::string prefix;      ///< of the names that the section would give
        bool isRefused = false;  ///< its type does not take the text
        std::vector<std::size_t> below;
    };

    void addSetting(const IniFile::Line& line) {
        const bool isNew = names_.insert(line.name).second;
        judgeSectionAbove(line, isNew);
        if (broken_ != 0) {
            strays_[line.number] = broken_;
        } else if (doubtful_ != 0 && !(isNew && isExpected(line.name))) {
            strays_[line.number] = doubtful_;
        }
    }

    void judgeSectionAbove(const IniFile::Line& line, bool isNew) {
        if (runInto_.line == 0) {
            return;
        }
        const bool isInPlace = isNew && isExpected(line.name);
        if (isInPlace || !(runInto_.isRefused || isExpected(runInto_.prefix + line.key))) {
            runInto_.below.push_back(line.number);
            return;
        }
        broken_ = runInto_.line;
        for (const std::size_t above : runInto_.below) {
            strays_[above] = broken_;
        }
        runInto_ = {};
    }

    /// Of a file with a right CRC each text that its type takes is what was saved, and so may be
    /// one that it does not: some types lose what they have written. The settings below tell.
    void lookForSectionIn(const IniFile::Line& line) {
        // What hides a section in a damaged text may be damaged too, so its "]" alone counts.
        if (line.value.find(']') == std::string::npos) {
            return;
        }
        const auto section = sectionIn(line, factory_);
        const bool isSealed = file_.state() == FileState::kSealed;
        const bool isRefused = !factory_->maker(line.type).isKnown() ||
                               outcomeOf(factory_, line.type, line.name, line.value);
        if ((isRefused && !isSealed) || (section && swallowedLineIn(line, factory_, false))) {
            broken_ = line.number;
            runInto_ = {};
        } else if (!section) {
            return;
        } else if (isRefused ? runInto_.line == 0 && hasDefaults()
                             : !isSealed && !section->empty()) {
            runInto_ = {line.number,
                        file_.storageName() + "/" + std::string(*section) + "/",
                        isRefused,
                        {}};
        }
    }

    bool hasDefaults() { return !defaults().path.empty(); }

    bool isExpected(const std::string& name) { return defaults().has(name); }

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
    RunInto runInto_;
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
