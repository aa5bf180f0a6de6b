#ifndef T8SETTINGS_COMMENTEDSECTIONS_H
#define T8SETTINGS_COMMENTEDSECTIONS_H

#include <string>
#include <vector>

#include "check/LineCheck.h"

namespace t8settings {

/// Comments that have been sections, as it seems, in a file whose CRC check is switched off: a
/// setting below, which the defaults file does not know where it is read, is known in that section,
/// and the file lacks it there.
std::vector<Finding> commentedSectionsIn(const IniFile& file);

}  // namespace t8settings

#endif
