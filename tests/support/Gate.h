#ifndef TESTS_SUPPORT_GATE_H
#define TESTS_SUPPORT_GATE_H

#include <condition_variable>
#include <mutex>

namespace testsupport {

/// A point at which a thread is held until the test lets it go on. Open for good once opened.
class Gate {
public:
    /// Says that the thread is here, and waits.
    void pass() {
        std::unique_lock<std::mutex> lock(mutex_);
        arrived_ = true;
        changed_.notify_all();
        changed_.wait(lock, [this] { return open_; });
    }

    void waitForArrival() {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return arrived_; });
    }

    void open() {
        const std::lock_guard<std::mutex> lock(mutex_);
        open_ = true;
        changed_.notify_all();
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool arrived_ = false;
    bool open_ = false;
};

}  // namespace testsupport

#endif
