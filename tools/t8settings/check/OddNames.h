#ifndef T8SETTINGS_ODDNAMES_H
#define T8SETTINGS_ODDNAMES_H

#include <vector>

#include "check/KnownDefaults.h"
#include "check/LineCheck.h"

namespace t8settings {

/// A setting whose key is hardly meant so.
struct OddName {
    Finding finding;
    bool isHiddenBySave;  ///< it is odd only as long as the file lacks another one
};

/// Settings that the defaults file does not know and whose keys no program gives them: the whole
/// name of one that it knows, or the section and key of one of the same section or one that the
/// file lacks; nothing; and a byte order mark with more behind it. None without defaults.
std::vector<OddName> oddNamesIn(const IniFile& file, const KnownDefaults& defaults,
                                const FactoryPtr& factory);

}  // namespace t8settings

#endif
