#ifndef T8SETTINGS_SECTIONS_H
#define T8SETTINGS_SECTIONS_H

#include <set>
#include <string>

namespace t8settings {

/// The section that a save writes a setting under, with "/" at its end: the longest one that begins
/// its name. Empty for none.
std::string sectionOf(const std::string& name, const std::set<std::string>& sections);

}  // namespace t8settings

#endif
