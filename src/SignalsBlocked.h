#ifndef QEL_SETTINGS_SIGNALSBLOCKED_H
#define QEL_SETTINGS_SIGNALSBLOCKED_H

#include <array>
#include <pthread.h>
#include <signal.h>

namespace Qel {
namespace Settings {

/// What a thread brings upon itself. Blocked, it would end the process without the application's
/// handler, the one that says where the crash was.
constexpr std::array<int, 6> kSignalsOfCrashes = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS};

/// Keeps signals away from the threads that are started in its scope: they are the application's.
class SignalsBlocked {
public:
    SignalsBlocked() {
        sigset_t blocked;
        sigfillset(&blocked);
        for (const int crash : kSignalsOfCrashes) {
            sigdelset(&blocked, crash);
        }
        pthread_sigmask(SIG_SETMASK, &blocked, &before_);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

private:
    sigset_t before_;
};

}  // namespace Settings
}  // namespace Qel

#endif
