#include "survey/DirectoryWatch.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <sys/inotify.h>
#include <unistd.h>
#include <utility>

#include "console/Exit.h"

namespace t8settings {

namespace {

constexpr std::uint32_t kEvents = IN_CLOSE_WRITE | IN_CREATE | IN_DELETE | IN_MOVED_FROM |
                                  IN_MOVED_TO | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF |
                                  IN_ONLYDIR;
constexpr std::size_t kBufferSize = 16384;

Failure cannotWatch() {
    return {ExitCode::kFailed, std::string("cannot watch directories: ") + std::strerror(errno)};
}

/// Takes the events in `bytes` apart.
void addTo(DirectoryWatch::News& news, const char* bytes, std::size_t size) {
    for (std::size_t at = 0; at < size;) {
        inotify_event event;
        std::memcpy(&event, bytes + at, sizeof event);
        news.isIncomplete = news.isIncomplete || (event.mask & IN_Q_OVERFLOW) != 0;
        if (event.len > 0) {
            // Zeros fill the name up.
            news.names.insert(bytes + at + sizeof event);
        }
        at += sizeof event + event.len;
    }
}

}  // namespace

DirectoryWatch::DirectoryWatch(std::vector<std::string> directories)
    : directories_(std::move(directories)),
      descriptor_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)),
      watches_(directories_.size(), -1) {
    if (descriptor_ < 0) {
        throw cannotWatch();
    }
    renew();
}

DirectoryWatch::~DirectoryWatch() {
    ::close(descriptor_);
}

DirectoryWatch::News DirectoryWatch::take() {
    News news;
    alignas(inotify_event) std::array<char, kBufferSize> buffer;
    for (;;) {
        const ssize_t size = ::read(descriptor_, buffer.data(), buffer.size());
        if (size <= 0) {
            return news;
        }
        addTo(news, buffer.data(), static_cast<std::size_t>(size));
    }
}

bool DirectoryWatch::renew() {
    bool changed = false;
    for (std::size_t i = 0; i < directories_.size(); ++i) {
        const int watch = ::inotify_add_watch(descriptor_, directories_[i].c_str(), kEvents);
        if (watch < 0 && (errno == ENOSPC || errno == ENOMEM)) {
            throw cannotWatch();
        }
        if (watch != watches_[i]) {
            release(std::exchange(watches_[i], watch));
            changed = true;
        }
    }
    return changed;
}

/// One directory may go by two names here, and then has one watch.
void DirectoryWatch::release(int watch) const {
    if (watch >= 0 && std::find(watches_.begin(), watches_.end(), watch) == watches_.end()) {
        // The system may have done so when the directory went.
        static_cast<void>(::inotify_rm_watch(descriptor_, watch));
    }
}

}  // namespace t8settings
