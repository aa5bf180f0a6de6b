#include "Strays.h"

#include <algorithm>
#include <array>
#include <functional>
#include <set>
#include <string_view>

#include "KnownDefaults.h"

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
    static constexpr std::array<std::string_view, 3> kKnown = {"name", "readonly", "savepolicy"};
    return isClosed(line) && std::find(kKnown.begin(), kKnown.end(), line.key) != kKnown.end();
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

/// Goes through the lines with what is known from the lines before.
class StrayFinder {
public:
    using IsExpected = std::function<bool(const std::string& name)>;

    /// `isExpected` may be null for a file whose bytes are what they were meant to be.
    explicit StrayFinder(const IsExpected* isExpected) : isExpected_(isExpected) {}

    void add(const IniFile::Line& line) {
        if (line.kind == Kind::Section) {
            hasSection_ = true;
            broken_ = doubtful_ = 0;
        } else if (isBrokenSection(line)) {
            const bool isNeedless =
                line.kind == Kind::SkippedSection && isClosed(line) && !hasSection_;
            broken_ = isNeedless ? 0 : line.number;
        } else if (mayHaveBeenSection(line) && isExpected_ != nullptr) {
            doubtful_ = doubtful_ == 0 ? line.number : doubtful_;
        } else if (line.kind == Kind::Setting) {
            addSetting(line);
        }
    }

    const StrayLines& strays() const { return strays_; }

private:
    void addSetting(const IniFile::Line& line) {
        const bool isNew = names_.insert(line.name).second;
        if (broken_ != 0) {
            strays_[line.number] = broken_;
        } else if (doubtful_ != 0 && !(isNew && (*isExpected_)(line.name))) {
            strays_[line.number] = doubtful_;
        }
    }

    const IsExpected* isExpected_;
    bool hasSection_ = false;
    std::size_t broken_ = 0;
    std::size_t doubtful_ = 0;
    std::set<std::string> names_;
    StrayLines strays_;
};

StrayLines straysIn(const IniFile& file, const StrayFinder::IsExpected* isExpected) {
    StrayFinder finder(isExpected);
    for (const IniFile::Line& line : file.lines()) {
        finder.add(line);
    }
    return finder.strays();
}

}  // namespace

bool isBrokenSection(const IniFile::Line& line) {
    return line.kind == Kind::SkippedSection ||
           (line.kind == Kind::Header && isBrokenSectionInHeader(line)) ||
           (line.kind == Kind::Malformed && isBrokenSectionInMalformed(line));
}

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

StrayLines strayLines(const IniFile& file) {
    return straysIn(file, nullptr);
}

StrayLines strayLinesIfDamaged(const IniFile& file) {
    if (file.accepted()) {
        return strayLines(file);
    }
    const KnownDefaults defaults = knownDefaultsFor(file);
    const StrayFinder::IsExpected isExpected = [&](const std::string& name) {
        return defaults.has(name);
    };
    return straysIn(file, &isExpected);
}

}  // namespace t8settings
