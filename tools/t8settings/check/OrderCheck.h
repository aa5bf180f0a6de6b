#ifndef T8SETTINGS_ORDERCHECK_H
#define T8SETTINGS_ORDERCHECK_H

#include <vector>

#include "check/LineCheck.h"

namespace t8settings {

/// Settings of the file, and of its defaults for this file's sake, that a save would give another
/// name, and those of the file that it would leave out. Those that the defaults file has such a
/// fate in store for by itself are told of there.
std::vector<Finding> findingsInOrder(const IniFile& file);

}  // namespace t8settings

#endif
