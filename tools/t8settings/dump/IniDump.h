#ifndef T8SETTINGS_INIDUMP_H
#define T8SETTINGS_INIDUMP_H

#include <string>
#include <vector>

#include "dump/Dump.h"

namespace t8settings {

/// Reads ini text as `entriesOf` does: of a dump, whose names are whole, or a storage's file, which
/// is judged as a load judges it, by the defaults below `base` if that is not empty.
std::vector<DumpEntry> entriesOfIni(const std::string& path, const std::string& bytes,
                                    const std::string& base);

/// What stands in front of a place.
std::string shownPathOf(const std::string& path);

}  // namespace t8settings

#endif
