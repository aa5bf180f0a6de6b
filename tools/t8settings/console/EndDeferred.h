#ifndef T8SETTINGS_ENDDEFERRED_H
#define T8SETTINGS_ENDDEFERRED_H

#include <csignal>

namespace t8settings {

/// Keeps what a person or the system sends to end the process from doing so half-way; it ends of it
/// afterwards. For the main thread.
class EndDeferred {
public:
    EndDeferred();
    ~EndDeferred();
    EndDeferred(const EndDeferred&) = delete;
    EndDeferred& operator=(const EndDeferred&) = delete;

    /// Whether the process ends when this does.
    bool isEnding() const;

    /// Waits until there is something to be read from the descriptor, or its end, or until the
    /// process is to end.
    void waitToRead(int descriptor) const;

private:
    sigset_t before_;
    sigset_t deferred_;  ///< those that would have ended the process
};

}  // namespace t8settings

#endif
