#ifndef T8SETTINGS_RESETFORESIGHT_H
#define T8SETTINGS_RESETFORESIGHT_H

#include <string>
#include <vector>

#include "check/FileCheck.h"
#include "store/Store.h"

namespace t8settings {

/// What a reset to defaults would cost settings of a storage that the defaults do not have, which
/// it keeps: their values, the names under which programs look for them, and all of those whose
/// lines are damaged.
struct ResetForesight {
    StoragePtr storage;
    std::vector<FileFinding> damaged;  ///< lines that nothing would tell of any more
    std::vector<FileFinding> changed;  ///< at the lines that these settings come from
    std::vector<FileFinding> told;     ///< is no more than to be told
    std::string remedy;                ///< for the file that these lines stand in
};

/// For these storages, all of which a reset writes; nothing is changed by it. Those that have
/// nothing to lose are left out.
std::vector<ResetForesight> foreseenOfReset(const std::vector<StoragePtr>& storages,
                                            const FactoryPtr& factory);

}  // namespace t8settings

#endif
