#include "Progress.h"

#include <unistd.h>

#include "Terminal.h"

namespace t8settings {

namespace {

constexpr std::chrono::milliseconds kYoung{500};

}  // namespace

Progress::Progress() : onTerminal_(::isatty(STDERR_FILENO) == 1), next_(Clock::now() + kYoung) {}

Progress::~Progress() {
    clear();
}

void Progress::show(const std::string& text) {
    const Clock::time_point now = Clock::now();
    if (!onTerminal_ || now < next_) {
        return;
    }
    clear();
    writeAll(STDERR_FILENO, visible(text));
    shown_ = true;
    next_ = now + kYoung;
}

void Progress::clear() {
    if (shown_) {
        writeAll(STDERR_FILENO, "\r\x1b[K");
        shown_ = false;
    }
}

}  // namespace t8settings
