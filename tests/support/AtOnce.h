#ifndef TESTS_SUPPORT_ATONCE_H
#define TESTS_SUPPORT_ATONCE_H

#include <atomic>
#include <cstddef>
#include <functional>
#include <thread>
#include <vector>

namespace testsupport {

/// Runs all of the work at the same time, each on a thread of its own.
inline void atOnce(const std::vector<std::function<void()>>& work) {
    std::atomic<std::size_t> waiting{work.size()};
    std::vector<std::thread> threads;
    threads.reserve(work.size());
    for (const auto& part : work) {
        threads.emplace_back([&waiting, &part] {
            waiting.fetch_sub(1);
            while (waiting.load() != 0) {
                std::this_thread::yield();
            }
            part();
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace testsupport

#endif
