#ifndef T8SETTINGS_COMMENTEDSETTINGS_H
#define T8SETTINGS_COMMENTEDSETTINGS_H

#include <vector>

#include "check/KnownDefaults.h"
#include "check/LineCheck.h"

namespace t8settings {

/// Comments of a file without a right CRC that one byte may have made of a setting of the defaults
/// that the file has not got: with text before its key, as of a comment above that has lost its
/// line feed, or with "#" for the first byte of the key. A setting that is whole behind the "#" is
/// meant so.
std::vector<Finding> commentedSettingsIn(const IniFile& file, const KnownDefaults& defaults,
                                         const FactoryPtr& factory);

}  // namespace t8settings

#endif
