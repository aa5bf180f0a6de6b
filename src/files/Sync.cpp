#include "files/Sync.h"

#include <cerrno>
#include <unistd.h>

namespace Qel {
namespace Settings {
namespace files {

namespace {

template <class SyncCall>
bool synced(SyncCall sync, const Descriptor& descriptor) {
    int result = 0;
    do {
        result = sync(descriptor.number());
    } while (result != 0 && errno == EINTR);
    // Not EROFS: what can be written but not synced lies on a file system that has closed itself
    // after an error.
    return result == 0 || errno == EINVAL || errno == ENOTSUP;
}

}  // namespace

bool syncData(const Descriptor& file) {
    return synced(::fdatasync, file);
}

bool syncMetadata(const Descriptor& directory) {
    return synced(::fsync, directory);
}

}  // namespace files
}  // namespace Settings
}  // namespace Qel
