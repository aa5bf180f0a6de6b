#ifndef T8SETTINGS_STORAGESAVE_H
#define T8SETTINGS_STORAGESAVE_H

#include "change/Change.h"
#include "store/Store.h"

namespace t8settings {

/// Makes the changes, all of one storage, and saves it whatever its policy, until the disk gives
/// them back. Throws `Failure` when that fails, which takes nothing back, and keeps the library's
/// messages for whoever does.
void changeAndSaveOne(const Store& store, const Changes& changes);

/// Whether the storage's read/write file gives all of the changes back.
bool areOnDisk(const Store& store, const Changes& changes);

}  // namespace t8settings

#endif
