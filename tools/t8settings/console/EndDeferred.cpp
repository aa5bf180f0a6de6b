#include "console/EndDeferred.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace t8settings {

namespace {

constexpr std::array<int, 4> kEnding = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

bool isIgnored(int signal) {
    struct sigaction action {};
    return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

}  // namespace

EndDeferred::EndDeferred() {
    sigemptyset(&before_);
    ::sigprocmask(SIG_BLOCK, nullptr, &before_);
    sigemptyset(&deferred_);
    for (const int signal : kEnding) {
        if (!isIgnored(signal) && ::sigismember(&before_, signal) == 0) {
            sigaddset(&deferred_, signal);
        }
    }
    ::sigprocmask(SIG_BLOCK, &deferred_, nullptr);
}

EndDeferred::~EndDeferred() {
    ::sigprocmask(SIG_SETMASK, &before_, nullptr);
}

bool EndDeferred::isEnding() const {
    sigset_t pending;
    sigemptyset(&pending);
    ::sigpending(&pending);
    return std::any_of(kEnding.begin(), kEnding.end(), [&](int signal) {
        return ::sigismember(&pending, signal) == 1 && ::sigismember(&deferred_, signal) == 1;
    });
}

void EndDeferred::waitToRead(int descriptor) const {
    const int signals = ::signalfd(-1, &deferred_, SFD_CLOEXEC);
    std::array<pollfd, 2> sources = {{{descriptor, POLLIN, 0}, {signals, POLLIN, 0}}};
    while (::poll(sources.data(), sources.size(), -1) < 0 && errno == EINTR) {
    }
    ::close(signals);
}

}  // namespace t8settings
