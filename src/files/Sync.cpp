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
    return result == 0 || errno == EINVAL || errno == EROFS || errno == ENOTSUP;
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
