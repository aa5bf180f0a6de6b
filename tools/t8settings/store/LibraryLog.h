#ifndef T8SETTINGS_LIBRARYLOG_H
#define T8SETTINGS_LIBRARYLOG_H

#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace qlog {
struct Record;
}

namespace t8settings {

/// In each message of a lock that could not be had, for who does not go on then.
constexpr const char* kGoingOnWithoutLock = "going on without the lock";

/// What the library logs while the tool runs: shown on standard error as the tool's own messages
/// are, and kept, since the library gives its reasons nowhere else.
///
/// Warnings and errors are kept even when the person at the console has silenced them; what is
/// shown follows the log levels of the environment. Any thread may log; the operations below are
/// for the main thread.
class LibraryLog {
public:
    static constexpr int kWarning = 4;
    static constexpr int kError = 5;

    struct Message {
        int level;
        std::string text;
        bool wanted;  ///< let through by the levels of the environment
    };

    /// Lives to the very end of the process: static destructors log as well.
    static LibraryLog& instance();

    LibraryLog(const LibraryLog&) = delete;
    LibraryLog& operator=(const LibraryLog&) = delete;

    /// Takes over the library's messages.
    void install();

    /// The warnings and errors since the last call.
    std::vector<Message> take();

    /// The same, and more that is held back stays so: the saver's thread goes on trying, and would
    /// say the same again and again.
    std::vector<Message> takeAndHoldOn();

    /// Keeps messages off standard error until `release` or `take`: a failed command tells them
    /// once, in its own words. Whether that was so before.
    bool hold();

    /// From now on messages with one of these texts in them are not shown: the program has said it.
    void passOver(const std::vector<std::string>& texts);

    /// Shows what was held back.
    void release();

private:
    LibraryLog() = default;
    ~LibraryLog() = default;

    void receive(const qlog::Record& record);
    /// Under the lock.
    bool isPassedOver(const std::string& text) const;
    /// Under the lock.
    void show(const Message& message);

    std::mutex mutex_;
    std::map<std::string, int> shownFrom_;
    std::vector<Message> messages_;
    std::vector<std::string> passedOver_;
    std::string lastShown_;
    bool holding_ = false;
};

/// While it lives the library's messages go nowhere: whoever looks at a file without loading it
/// says himself what is wrong with it.
class LibraryMessagesDropped {
public:
    LibraryMessagesDropped() : wasHeld_(LibraryLog::instance().hold()) {}
    ~LibraryMessagesDropped() {
        if (!wasHeld_) {
            LibraryLog::instance().take();
        }
    }
    LibraryMessagesDropped(const LibraryMessagesDropped&) = delete;
    LibraryMessagesDropped& operator=(const LibraryMessagesDropped&) = delete;

private:
    bool wasHeld_;
};

/// While it lives messages with one of these texts in them are not shown: the program has said it.
class LibraryMessagePassedOver {
public:
    explicit LibraryMessagePassedOver(const std::vector<std::string>& texts) {
        LibraryLog::instance().passOver(texts);
    }
    ~LibraryMessagePassedOver() { LibraryLog::instance().passOver({}); }
    LibraryMessagePassedOver(const LibraryMessagePassedOver&) = delete;
    LibraryMessagePassedOver& operator=(const LibraryMessagePassedOver&) = delete;
};

/// The errors among `messages` in plain words, each once, one below the other.
std::string reasons(const std::vector<LibraryLog::Message>& messages);

}  // namespace t8settings

#endif
