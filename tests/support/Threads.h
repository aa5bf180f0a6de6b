#ifndef TESTS_SUPPORT_THREADS_H
#define TESTS_SUPPORT_THREADS_H

#include <atomic>
#include <cstddef>
#include <fstream>
#include <functional>
#include <string>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace testsupport {

/// Runs an operation on a thread of its own and can tell whether that is held up, so that a test
/// shows that one operation waits for another without measuring time.
class WatchedThread {
public:
    explicit WatchedThread(std::function<void()> operation)
        : thread_([this, operation = std::move(operation)] {
              id_ = static_cast<int>(syscall(SYS_gettid));
              operation();
              done_ = true;
          }) {}

    ~WatchedThread() { join(); }

    WatchedThread(const WatchedThread&) = delete;
    WatchedThread& operator=(const WatchedThread&) = delete;

    /// Returns when the operation has ended or waits for something. An operation must run to the
    /// point of interest without waiting for anything else.
    void untilHeldUpOrDone() const {
        while (!done_ && !isWaiting()) {
            std::this_thread::yield();
        }
    }

    bool done() const { return done_; }

    void join() {
        if (thread_.joinable()) {
            thread_.join();
        }
    }

private:
    bool isWaiting() const {
        if (id_ == 0) {
            return false;
        }
        std::ifstream in("/proc/self/task/" + std::to_string(id_) + "/stat");
        // A line by the stream, not bytes by its buffer: of a thread that ends just now nothing can
        // be read, which the buffer says with an exception.
        std::string status;
        std::getline(in, status);
        const std::size_t nameEnd = status.rfind(')');
        return nameEnd != std::string::npos && status.compare(nameEnd, 3, ") S") == 0;
    }

    std::atomic<int> id_{0};
    std::atomic<bool> done_{false};
    std::thread thread_;
};

}  // namespace testsupport

#endif
