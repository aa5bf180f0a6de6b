#ifndef T8SETTINGS_STRAYS_H
#define T8SETTINGS_STRAYS_H

#include <cstddef>
#include <functional>
#include <map>
#include <string>

#include "IniFile.h"

namespace t8settings {

/// Whether the line stands where a section should begin, and begins none: "[]", a bracket that is
/// not closed, or a line that has the "]" of a section without being one.
bool isBrokenSection(const IniFile::Line& line);

/// Whether nothing about the line tells that it was no section: it has neither the "=" nor the ","
/// of a setting, but where a section has its brackets.
bool mayHaveBeenSection(const IniFile::Line& line);

/// Numbers of lines with settings whose names are not known, each with that of the line above that
/// left the section as it was.
using StrayLines = std::map<std::size_t, std::size_t>;

/// Those below broken sections.
StrayLines strayLines(const IniFile& file);

/// The same for a file whose bytes may be anything: with those, too, that are below a line that may
/// have been a section, unless `isExpected` has the name that they are read under and no line above
/// has it already.
StrayLines strayLinesIfDamaged(const IniFile& file,
                               const std::function<bool(const std::string& name)>& isExpected);

}  // namespace t8settings

#endif
