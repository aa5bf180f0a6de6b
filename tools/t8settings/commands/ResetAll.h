#ifndef T8SETTINGS_RESETALL_H
#define T8SETTINGS_RESETALL_H

#include "commands/Command.h"

namespace t8settings {

/// Throws `Failure` when the reset of a directory that is not the machine's own would be announced
/// to all of the machine. To be asked before anything is loaded.
void demandMarkerFor(const Location& location);

struct ResetOptions {
    bool confirmed = false;  ///< do not ask
    bool forced = false;     ///< also when names and damaged lines are lost by it
};

/// Resets the whole store. Throws `Failure`.
Result resetAll(const Store& store, Format format, const ResetOptions& options);

}  // namespace t8settings

#endif
