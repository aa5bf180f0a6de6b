#ifndef TESTS_SUPPORT_LATETIMES_H
#define TESTS_SUPPORT_LATETIMES_H

#include <cstdint>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace testsupport {

/// Makes the file, or directory, one that was read and written in the year 2040. False when its
/// file system has no room for such times. From then on this program had better not ask
/// `std::filesystem` for its status: where times have 32 bits there is no answer.
inline bool dateTo2040(const std::string& path) {
    constexpr std::int64_t k2040 = 2208988800;
#ifdef SYS_utimensat_time64
    constexpr long kCall = SYS_utimensat_time64;
#else
    constexpr long kCall = SYS_utimensat;
#endif
    const std::int64_t times[2][2] = {{k2040, 0}, {k2040, 0}};
    struct statx status;
    return ::syscall(kCall, AT_FDCWD, path.c_str(), times, 0) == 0 &&
           ::statx(AT_FDCWD, path.c_str(), 0, STATX_MTIME, &status) == 0 &&
           status.stx_mtime.tv_sec == k2040;
}

}  // namespace testsupport

#endif
