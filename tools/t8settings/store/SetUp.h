#ifndef T8SETTINGS_SETUP_H
#define T8SETTINGS_SETUP_H

#include <string>

#include "console/Exit.h"
#include "store/Store.h"

namespace t8settings {

/// What the library brings along for every store.
struct SetUp {
    FactoryPtr types;
    std::string marker;  ///< path of the machine's own marker of a reset to defaults
};

/// Found out without a base directory; a store that is up stays as it is.
const SetUp& setUpWithoutFiles();

/// Throws `Failure` while a reset to defaults is in progress, announced by `marker` or, when that
/// is empty, by the machine's own.
void demandNoReset(const std::string& marker);

/// That the reset that `marker` announces is in progress.
Failure resetInProgress(const std::string& marker);

}  // namespace t8settings

#endif
