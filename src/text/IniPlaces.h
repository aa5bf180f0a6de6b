#ifndef QEL_SETTINGS_TEXT_INIPLACES_H
#define QEL_SETTINGS_TEXT_INIPLACES_H

#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "text/IniGrammar.h"

namespace Qel {
namespace Settings {
namespace text {

inline bool startsWith(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

/// Finds the longest section that begins a name, for one name after the other in their order: the
/// sections are walked once for all of them. Looked for anew for each name, sections made for it
/// would take a save the square of its file's size.
class SectionsInOrder {
public:
    using Sections = std::set<std::string, std::less<>>;

    /// Each of the sections has "/" at its end; they must outlive it.
    explicit SectionsInOrder(const Sections& sections)
        : next_(sections.begin()), end_(sections.end()) {}

    /// "" for none.
    std::string_view longestOf(std::string_view name) {
        for (; next_ != end_ && *next_ <= name; ++next_) {
            leaveUpTo(*next_);
            around_.push_back(*next_);
        }
        leaveUpTo(name);
        return around_.empty() ? std::string_view() : around_.back();
    }

private:
    // What a section begins follows it without a gap, so one that is left never comes again.
    void leaveUpTo(std::string_view text) {
        while (!around_.empty() && !startsWith(text, around_.back())) {
            around_.pop_back();
        }
    }

    Sections::const_iterator next_;
    Sections::const_iterator end_;
    std::vector<std::string_view> around_;  ///< each one begins the next
};

/// What a save writes as the section line above a setting, with "/" at its end, when the longest
/// section that begins its name is known: that one or the storage's root, which is its name and
/// "/".
inline std::string_view prefixOf(std::string_view settingName, std::string_view section,
                                 std::string_view root) {
    if (root.size() > section.size() && startsWith(settingName, root)) {
        return settingName.substr(0, root.size());
    }
    // Not one of this storage's own names (a default storage takes any): the path as a section
    // keeps the value in the file, if under another name.
    return section.empty() ? settingName.substr(0, settingName.rfind('/') + 1) : section;
}

/// Why a save leaves a setting out, null when it does not: its line would be read as something else
/// and change what becomes of the settings around it.
inline const char* reasonToLeaveOut(std::string_view settingName, std::string_view key,
                                    const WhiteSpace& whiteSpace) {
    if (settingName.find('\n') != std::string_view::npos) {
        return "line feed in its name";
    }
    const std::string_view start = whiteSpace.trim(key).substr(0, 1);
    return start == "#" || start == "[" ? "its key would read as a header or section" : nullptr;
}

}  // namespace text
}  // namespace Settings
}  // namespace Qel

#endif
