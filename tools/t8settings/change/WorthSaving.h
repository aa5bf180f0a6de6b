#ifndef T8SETTINGS_WORTHSAVING_H
#define T8SETTINGS_WORTHSAVING_H

#include "change/Change.h"
#include "store/Store.h"

namespace t8settings {

/// Those of the changes, all of one storage, that its read/write file needs a save for; none when
/// it says all of them already, in the form of a save and with a right CRC. Of settings that have
/// their values already these are the ones that somebody set and those whose lines are misread: a
/// dump and the defaults say nothing on what is left to the defaults.
Changes worthSaving(const Store& store, const Changes& changes);

}  // namespace t8settings

#endif
