#ifndef TESTS_SUPPORT_STATHOOK_H
#define TESTS_SUPPORT_STATHOOK_H

#include <atomic>
#include <cerrno>
#include <cstring>
#include <dlfcn.h>
#include <functional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace testsupport {

/// Watches the questions for the status of one path that this program asks through `statx`.
struct StatHook {
    static StatHook& instance() {
        static StatHook hook;
        return hook;
    }

    /// Any path, no further doings, no calls yet, no failure.
    void reset() {
        path.clear();
        then = nullptr;
        calls = 0;
        failing = nullptr;
    }

    std::string path;               ///< "" for any
    std::function<void()> then;     ///< runs when the answer is known, before it is given
    std::atomic<int> calls{0};      ///< how often it was asked for
    const char* failing = nullptr;  ///< of which memory is short to tell; "" for open files
};

/// In place of the C library's. To be included by one source of a program.
extern "C" int statx(int directory, const char* path, int flags, unsigned int mask,
                     struct statx* status) noexcept {
    using Statx = int(int, const char*, int, unsigned int, struct statx*);
    auto* const real = reinterpret_cast<Statx*>(dlsym(RTLD_NEXT, "statx"));
    if (real == nullptr) {
        ::_exit(127);
    }
    StatHook& hook = StatHook::instance();
    if (hook.failing != nullptr && std::strcmp(hook.failing, path) == 0) {
        errno = ENOMEM;
        return -1;
    }
    const int result = real(directory, path, flags, mask, status);
    if (hook.path.empty() || hook.path == path) {
        ++hook.calls;
        if (hook.then) {
            hook.then();
        }
    }
    return result;
}

}  // namespace testsupport

#endif
