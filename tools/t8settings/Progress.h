#ifndef T8SETTINGS_PROGRESS_H
#define T8SETTINGS_PROGRESS_H

#include <chrono>
#include <string>

namespace t8settings {

/// One line on standard error, when that is a terminal, that tells how far a long piece of work
/// has come; gone when the work is done.
class Progress {
public:
    Progress();
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// Shows what is being done now, unless the work is still young or the last text is.
    void show(const std::string& text);

private:
    using Clock = std::chrono::steady_clock;

    void clear();

    bool onTerminal_;
    bool shown_ = false;
    Clock::time_point next_;
};

}  // namespace t8settings

#endif
