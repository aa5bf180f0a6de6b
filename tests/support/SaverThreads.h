#ifndef TESTS_SUPPORT_SAVERTHREADS_H
#define TESTS_SUPPORT_SAVERTHREADS_H

#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace testsupport {

/// Numbers of this process's threads that carry the saver's name, as far as the kernel keeps it.
inline std::vector<std::string> saverThreads() {
    std::vector<std::string> ids;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) {
        std::string name;
        std::ifstream in(entry.path() / "comm");
        std::getline(in, name);
        if (name == "Q_SettingsFileS") {
            ids.push_back(entry.path().filename());
        }
    }
    return ids;
}

/// One field of /proc/self/task/ID/status, such as "SigBlk" or "State".
inline std::string threadStatus(const std::string& id, const std::string& field) {
    std::ifstream in("/proc/self/task/" + id + "/status");
    for (std::string line; std::getline(in, line);) {
        if (line.compare(0, field.size() + 2, field + ":\t") == 0) {
            return line.substr(field.size() + 2);
        }
    }
    return "";
}

/// Returns when the one saver thread has made its first pass and rests. Nothing else may hold it up
/// meanwhile.
inline void untilSaverThreadRests() {
    for (;;) {
        const std::vector<std::string> threads = saverThreads();
        if (threads.size() == 1 && threadStatus(threads.front(), "State").compare(0, 1, "S") == 0) {
            return;
        }
        std::this_thread::yield();
    }
}

/// Returns, with its number, when a saver thread runs that is not `former`.
inline std::string untilSaverThreadRuns(const std::string& former = "") {
    for (;;) {
        for (const std::string& thread : saverThreads()) {
            if (thread != former) {
                return thread;
            }
        }
        std::this_thread::yield();
    }
}

/// A joined thread may be listed a moment longer.
inline void untilSaverThreadIsGone() {
    while (!saverThreads().empty()) {
        std::this_thread::yield();
    }
}

}  // namespace testsupport

#endif
