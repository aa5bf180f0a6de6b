#ifndef TESTS_SUPPORT_LOCKHOOK_H
#define TESTS_SUPPORT_LOCKHOOK_H

#include <dlfcn.h>
#include <pthread.h>
#include <unistd.h>

#include "Threads.h"

namespace testsupport {

/// Gives way at every lock: while it is set, its thread lets this other one get as far as it can
/// before it takes a mutex. So what happens between two locks can be made to happen.
inline thread_local const WatchedThread* givesWayTo = nullptr;

/// How often this thread has asked for a mutex.
inline thread_local int mutexesTaken = 0;

// In place of the C library's, which std::mutex and boost::mutex call. To be included by one source
// of a program.
int watchedLock(pthread_mutex_t* mutex) __asm__("pthread_mutex_lock");
int watchedLock(pthread_mutex_t* mutex) {
    using Lock = int(pthread_mutex_t*);
    static auto* const real = reinterpret_cast<Lock*>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
    if (real == nullptr) {
        ::_exit(127);
    }
    ++mutexesTaken;
    if (givesWayTo != nullptr) {
        givesWayTo->untilHeldUpOrDone();
    }
    return real(mutex);
}

}  // namespace testsupport

#endif
