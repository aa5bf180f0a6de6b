#include "console/Progress.h"

#include <chrono>
#include <cstdlib>
#include <limits>
#include <utility>

#include "console/Exit.h"
#include "console/NumberRange.h"
#include "console/Terminal.h"

namespace t8settings {

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kVariable = "T8SETTINGS_PROGRESS";
constexpr NumberRange kPauses = {0, std::numeric_limits<int>::max()};

/// How long work goes on without a word, and how long the same word stays.
std::chrono::milliseconds pause() {
    constexpr unsigned long kUsual = 500;
    static const char* const said = std::getenv(kVariable);
    return std::chrono::milliseconds(kPauses.read(said == nullptr ? "" : said).value_or(kUsual));
}

/// Of the outermost piece of work.
struct Work {
    std::size_t depth = 0;
    bool isShown = false;  ///< somebody can see it
    Clock::time_point next;
};

Work& work() {
    static Work work;
    return work;
}

}  // namespace

void demandMilliseconds() {
    const char* const said = std::getenv(kVariable);
    if (said != nullptr && !kPauses.read(said)) {
        throw Failure(ExitCode::kUsage,
                      std::string(kVariable) + ": " + kPauses.demand() + ": " + inQuotes(said));
    }
}

Progress::Progress(std::string doing, std::size_t all) : doing_(std::move(doing)), all_(all) {
    if (work().depth++ == 0) {
        work().isShown = canShowInPassing();
        work().next = Clock::now() + pause();
    }
}

Progress::~Progress() {
    --work().depth;
    endPassing();
}

void Progress::begin(const std::string& name) {
    ++begun_;
    if (!work().isShown) {
        return;
    }
    const Clock::time_point now = Clock::now();
    if (now >= work().next) {
        showInPassing(doing_ + " " + std::to_string(begun_) + " of " + std::to_string(all_) + ": " +
                      name);
        work().next = now + pause();
    }
}

}  // namespace t8settings
