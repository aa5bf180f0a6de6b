#ifndef T8SETTINGS_RESETFORESIGHT_H
#define T8SETTINGS_RESETFORESIGHT_H

#include <string>
#include <vector>

#include "check/FileCheck.h"
#include "store/Store.h"

namespace t8settings {

/// What a reset to defaults would cost settings that the defaults do not have, which it keeps: the
/// names under which programs look for them, and all of those whose lines are damaged.
struct ResetForesight {
    std::vector<FileFinding> renamed;   ///< at the lines that these settings come from
    std::vector<FileFinding> damaged;   ///< lines that nothing would tell of any more
    std::vector<std::string> remedies;  ///< for the files that these lines stand in, one for each

    bool isNothing() const { return renamed.empty() && damaged.empty(); }
};

/// For these storages, all of which a reset writes; nothing is changed by it.
ResetForesight foreseenOfReset(const std::vector<StoragePtr>& storages, const FactoryPtr& factory);

}  // namespace t8settings

#endif
