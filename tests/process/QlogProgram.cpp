#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "qlog/Qlog.h"

namespace {

QlogContext* contextCalled(const char* name) {
    return QlogContext::GetLogContext(name, "tests/QlogProgram", __LINE__);
}

void logLevels() {
    for (const char* const name : {"Qel::Settings", "settings.inifile"}) {
        QlogPrintf(contextCalled(name), 2, "src/A", 1, "two");
        QlogPrintf(contextCalled(name), 4, "src/A", 1, "four");
    }
}

void logAwkwardTexts() {
    QlogPrintf(contextCalled("c"), 5, "s", 1, "newline\n");
    QlogPrintf(contextCalled("c"), 5, "s", 2, "two\nlines");
    QlogPrintf(contextCalled("c"), 5, "s", 3, "tab\tescape\x1b end%%");
    QlogPrintf(contextCalled("c"), 5, nullptr, 4, "%s", "");
}

struct LogsWhenDestroyed {
    LogsWhenDestroyed() = default;
    LogsWhenDestroyed(const LogsWhenDestroyed&) = delete;
    LogsWhenDestroyed& operator=(const LogsWhenDestroyed&) = delete;
    ~LogsWhenDestroyed() { QlogPrintf(contextCalled("late"), 5, "s", 1, "bye"); }
};

void logDuringStaticDestruction() {
    static const LogsWhenDestroyed last;
}

void logFromThreads() {
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([] {
            const std::string text(3000, 'x');
            for (int i = 0; i < 50; ++i) {
                QlogPrintf(contextCalled("c"), 5, "s", 1, "%s", text.c_str());
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

}  // namespace

/// Logs what its argument says, for the tests that look at what comes out.
int main(int argc, char** argv) {
    const std::map<std::string, std::function<void()>> scenarios = {
        {"levels", logLevels},
        {"awkward", logAwkwardTexts},
        {"destruction", logDuringStaticDestruction},
        {"threads", logFromThreads},
    };
    const auto found = scenarios.find(argc == 2 ? argv[1] : "");
    if (found == scenarios.end()) {
        return 2;
    }
    found->second();
    return 0;
}
