#ifndef T8SETTINGS_STRAYS_H
#define T8SETTINGS_STRAYS_H

#include <cstddef>
#include <map>
#include <string>

#include "store/IniFile.h"
#include "store/Store.h"

namespace t8settings {

/// Whether nothing about the line tells that it was no section: it has neither the "=" nor the ","
/// of a setting, but where a section has its brackets, or is a comment with a bracket there.
bool mayHaveBeenSection(const IniFile::Line& line);

/// Numbers of lines with settings whose names are not known, each with that of the line above that
/// left the section as it was.
using StrayLines = std::map<std::size_t, std::size_t>;

/// Those below broken sections, and below a setting that has run into a section: into another
/// setting as well, or into a section of the defaults file; in a file without a right CRC also one
/// with any bracket and a text that its type refuses. A text that its type takes is trusted in a
/// file with a right CRC; below a refused one there with a bracket only those count that are
/// unknown to the defaults file or there already.
StrayLines strayLines(const IniFile& file, const FactoryPtr& factory);

/// The same, and of a file that no load takes for whole, whose bytes may be anything, also those
/// below a line that may have been a section, unless the defaults file knows the name that they are
/// read under and no line above has it already.
StrayLines strayLinesIfDamaged(const IniFile& file, const FactoryPtr& factory);

}  // namespace t8settings

#endif
