#ifndef T8SETTINGS_STRAYS_H
#define T8SETTINGS_STRAYS_H

#include <cstddef>
#include <map>
#include <optional>
#include <string>

#include "check/KnownDefaults.h"
#include "store/IniFile.h"
#include "store/Store.h"

namespace t8settings {

/// Whether nothing about the line tells that it was no section: it has neither the "=" nor the ","
/// of a setting, but where a section has its brackets, or is a comment with a bracket there.
bool mayHaveBeenSection(const IniFile::Line& line);

/// Numbers of lines with settings whose names are not known, each with that of the line above that
/// left the section as it was.
using StrayLines = std::map<std::size_t, std::size_t>;

/// Those below broken sections, and below a setting that has run into one, or may have:
/// - in any file, one that has run into another setting as well, with a bracket before that;
/// - in a file without a right CRC, and in any file one whose text its type refuses: one that names
///   a section of the defaults file; below one that ends in "]", those that are unknown there or
///   given above already;
/// - in a file without a right CRC, one with any bracket and a refused text; and a comment like
///   "#menu]" or "# note[menu]", with a section of the defaults file. Below another comment that
///   begins with "[" or ends in "]", those that are unknown there or given above already.
/// The section that a line stands in counts in no comment, and in no text.
/// The defaults file is the one beside the file, unless others are given.
StrayLines strayLines(const IniFile& file, const FactoryPtr& factory,
                      std::optional<KnownDefaults> defaults = std::nullopt);

/// The same, and of a file that no load takes for whole, whose bytes may be anything, also those
/// below a line that may have been a section, unless the defaults file knows the name that they are
/// read under and no line above has it already.
StrayLines strayLinesIfDamaged(const IniFile& file, const FactoryPtr& factory);

}  // namespace t8settings

#endif
