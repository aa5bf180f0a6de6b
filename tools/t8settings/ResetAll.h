#ifndef T8SETTINGS_RESETALL_H
#define T8SETTINGS_RESETALL_H

#include "Command.h"

namespace t8settings {

/// Resets the whole store, after asking unless that is `confirmed`. Throws `Failure`.
Result resetAll(const Store& store, Format format, bool confirmed);

}  // namespace t8settings

#endif
