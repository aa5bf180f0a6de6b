#ifndef T8SETTINGS_JSONDUMP_H
#define T8SETTINGS_JSONDUMP_H

#include <string>
#include <vector>

#include "dump/Dump.h"

namespace t8settings {

/// Reads JSON as `entriesOf` does; `path` is what stands in front of a place.
std::vector<DumpEntry> entriesOfJson(const std::string& path, const std::string& bytes);

}  // namespace t8settings

#endif
