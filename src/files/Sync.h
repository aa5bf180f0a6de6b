#ifndef QEL_SETTINGS_FILES_SYNC_H
#define QEL_SETTINGS_FILES_SYNC_H

#include "files/Descriptor.h"

namespace Qel {
namespace Settings {
namespace files {

/// Waits until a file's data is on the disk. False when the disk reports a failure; a file that has
/// nothing to sync (a device, a file system without the notion) counts as synced.
bool syncData(const Descriptor& file);

/// The same for a directory's entries.
bool syncMetadata(const Descriptor& directory);

}  // namespace files
}  // namespace Settings
}  // namespace Qel

#endif
