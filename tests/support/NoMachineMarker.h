#ifndef TESTS_SUPPORT_NOMACHINEMARKER_H
#define TESTS_SUPPORT_NOMACHINEMARKER_H

#include <cerrno>
#include <cstring>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

// The product's set-up points at the machine's own marker of a reset, and the saver's thread may
// look there before a test has set a marker of its own. For this program there is none, whatever
// the machine is doing.
//
// The header takes the place of the C function in the whole program: include it in one source.

namespace testsupport {

inline bool isMachineMarker(const char* path) {
    return std::strcmp(path, "/tmp/settings-reset-to-default-in-progress.tmp") == 0;
}

}  // namespace testsupport

extern "C" inline __attribute__((used, visibility("default"))) int statx(
    int directory, const char* path, int flags, unsigned int mask, struct statx* status) noexcept {
    if (testsupport::isMachineMarker(path)) {
        errno = ENOENT;
        return -1;
    }
    return static_cast<int>(syscall(SYS_statx, directory, path, flags, mask, status));
}

#endif
