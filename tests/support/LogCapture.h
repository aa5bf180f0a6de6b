#ifndef TESTS_SUPPORT_LOGCAPTURE_H
#define TESTS_SUPPORT_LOGCAPTURE_H

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

#include "qlog/QlogControl.h"

namespace testsupport {

/// One message as it was logged.
struct LogEntry {
    std::string context;
    int level;
    std::string source;
    std::string text;
};

/// Records every log message of the process while it lives; one at a time.
///
/// Thresholds from the environment are forgotten, so that a test means the same on every machine.
/// Any thread may log and ask.
class LogCapture {
public:
    /// Lets messages of `threshold` and above through, in every context.
    explicit LogCapture(int threshold = 2) {
        qlog::resetThresholds();
        qlog::setDefaultThreshold(threshold);
        qlog::setSink([this](const qlog::Record& record) { add(record); });
    }

    ~LogCapture() {
        qlog::setSink(nullptr);
        qlog::resetThresholds();
    }

    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// All messages so far, in order.
    std::vector<LogEntry> entries() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return entries_;
    }

    /// How many messages equal these four exactly.
    std::size_t count(int level, const std::string& context, const std::string& source,
                      const std::string& text) const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return static_cast<std::size_t>(
            std::count_if(entries_.begin(), entries_.end(), [&](const LogEntry& entry) {
                return entry.level == level && entry.context == context && entry.source == source &&
                       entry.text == text;
            }));
    }

    /// Whether some message equals these four exactly.
    bool contains(int level, const std::string& context, const std::string& source,
                  const std::string& text) const {
        return count(level, context, source, text) != 0;
    }

    /// Waits until `times` messages have this text; false when that takes beyond all reason.
    bool waitFor(const std::string& text, std::size_t times = 1) const {
        std::unique_lock<std::mutex> lock(mutex_);
        return added_.wait_for(lock, std::chrono::seconds(30), [&] {
            return static_cast<std::size_t>(std::count_if(
                       entries_.begin(), entries_.end(),
                       [&](const LogEntry& entry) { return entry.text == text; })) >= times;
        });
    }

    /// Forgets the messages so far.
    void clear() {
        const std::lock_guard<std::mutex> lock(mutex_);
        entries_.clear();
    }

    /// The messages for people to read: `EXPECT_TRUE(log.contains(...)) << log.dump()`.
    std::string dump() const {
        std::string lines = "logged:\n";
        for (const LogEntry& entry : entries()) {
            lines += "  " + std::to_string(entry.level) + " [" + entry.context + "] " +
                     entry.source + ": \"" + entry.text + "\"\n";
        }
        return lines;
    }

private:
    void add(const qlog::Record& record) {
        const std::lock_guard<std::mutex> lock(mutex_);
        entries_.push_back({record.context, record.level, record.source, record.text});
        added_.notify_all();
    }

    mutable std::mutex mutex_;
    mutable std::condition_variable added_;
    std::vector<LogEntry> entries_;
};

}  // namespace testsupport

#endif
