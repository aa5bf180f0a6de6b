#ifndef TESTS_SUPPORT_STATHOOK_H
#define TESTS_SUPPORT_STATHOOK_H

#include <atomic>
#include <dlfcn.h>
#include <functional>
#include <string>
#include <unistd.h>

namespace testsupport {

/// Watches the questions for the status of one path that this program asks through `stat`.
struct StatHook {
    static StatHook& instance() {
        static StatHook hook;
        return hook;
    }

    /// Any path, no further doings, no calls yet.
    void reset() {
        path.clear();
        then = nullptr;
        calls = 0;
    }

    std::string path;            ///< "" for any
    std::function<void()> then;  ///< runs when the answer is known, before it is given
    std::atomic<int> calls{0};   ///< how often it was asked for
};

inline int watchedStat(const char* function, const char* path, void* status) {
    using Stat = int(const char*, void*);
    auto* const real = reinterpret_cast<Stat*>(dlsym(RTLD_NEXT, function));
    if (real == nullptr) {
        ::_exit(127);
    }
    const int result = real(path, status);
    StatHook& hook = StatHook::instance();
    if (hook.path.empty() || hook.path == path) {
        ++hook.calls;
        if (hook.then) {
            hook.then();
        }
    }
    return result;
}

// In place of the C library's; which of the two is called depends on how the caller was compiled.
// To be included by one source of a program.
int plainStat(const char* path, void* status) __asm__("stat");
int plainStat(const char* path, void* status) {
    return watchedStat("stat", path, status);
}
int largeFileStat(const char* path, void* status) __asm__("stat64");
int largeFileStat(const char* path, void* status) {
    return watchedStat("stat64", path, status);
}

}  // namespace testsupport

#endif
