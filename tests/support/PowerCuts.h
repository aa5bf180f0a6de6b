#ifndef TESTS_SUPPORT_POWERCUTS_H
#define TESTS_SUPPORT_POWERCUTS_H

#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <iostream>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "DiskModel.h"
#include "FileCalls.h"
#include "Files.h"
#include "TempDir.h"

namespace testsupport {

inline Files filesIn(const std::string& directory) {
    Files files;
    std::set<std::string> ofSeveralNames;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        files[entry.path().filename()] = readFile(entry.path());
        if (entry.hard_link_count() > 1) {
            ofSeveralNames.insert(entry.path());
        }
    }
    for (const std::string& path : ofSeveralNames) {
        for (const std::string& first : ofSeveralNames) {
            if (first < path && std::filesystem::equivalent(first, path)) {
                files[std::filesystem::path(path).filename()] =
                    secondNameOf(std::filesystem::path(first).filename());
                break;
            }
        }
    }
    return files;
}

/// Makes the directory hold these files and no others.
inline void layOut(const std::string& directory, const Files& files) {
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        std::filesystem::remove_all(entry.path());
    }
    for (const auto& file : files) {
        const std::string path = directory + "/" + file.first;
        if (isSecondName(file.second)) {
            std::filesystem::create_hard_link(
                directory + "/" + file.second.substr(kSecondName.size()), path);
        } else {
            writeFile(path, file.second);
        }
    }
}

/// What a load may come to.
using Promise = std::set<std::string>;

/// What a program did to the files of a directory, and what it could promise meanwhile.
struct Trace {
    struct Event {
        FileEffect effect;  ///< without a call when it is a promise that changes
        Promise promise;    ///< in force from here on
    };

    /// The files as processes see them at the end.
    Files left() const {
        DiskModel disk(before);
        for (const Event& event : events) {
            disk.apply(event.effect);
        }
        return disk.current();
    }

    Files before;
    std::vector<Event> events;
};

/// Records what the program does to the files of a directory while it lives.
class Recorder {
public:
    Recorder(const std::string& directory, const Promise& promise)
        : directory_(directory), calls_(directory), promise_(promise) {
        trace_.before = filesIn(directory);
        this->promise(promise);
        calls_.observe([this](const FileEffect& effect) {
            trace_.events.push_back({effect, promise_});
        });
    }

    FileCalls& calls() { return calls_; }

    /// A load gives one of these from here on, should the power be cut.
    void promise(const Promise& promise) {
        promise_ = promise;
        trace_.events.push_back({{"", -1, ""}, promise});
    }

    /// Fails the test when files have changed in another way than by the calls that were seen.
    const Trace& trace() const {
        EXPECT_EQ(trace_.left(), filesIn(directory_)) << "calls that nobody watches";
        return trace_;
    }

private:
    std::string directory_;
    FileCalls calls_;
    Promise promise_;
    Trace trace_;
};

/// Cuts the power at each moment of a trace and loads what the disk may then hold.
class PowerCuts {
public:
    /// `load` says in a few words what it finds in a directory. `work`, called after it, says what
    /// goes wrong with the work of the next start, "" for nothing.
    using Look = std::function<std::string(const std::string& directory)>;

    PowerCuts(Look load, Look work)
        : load_(std::move(load)), work_(std::move(work)), scratch_(memoryDirectory()) {}

    ~PowerCuts() {
        if (cuts_ == 0) {
            return;
        }
        testing::Test::RecordProperty("states", static_cast<int>(found_.size()));
        testing::Test::RecordProperty("cuts", static_cast<int>(cuts_));
        std::cout << "[   states ] " << found_.size() << " loaded, for " << cuts_
                  << " that power cuts leave\n";
    }
    PowerCuts(const PowerCuts&) = delete;
    PowerCuts& operator=(const PowerCuts&) = delete;

    /// The first state that breaks the promise of its moment, for people to read, "" when there is
    /// none. A trace that has been looked at before is not looked at again.
    std::string violation(const Trace& trace, DiskModel::Cuts cuts = DiskModel::Cuts::kTelling) {
        if (!traces_.insert(textOf(trace)).second) {
            return "";
        }
        DiskModel disk(trace.before, cuts);
        std::string moment = "the beginning";
        for (const Trace::Event& event : trace.events) {
            disk.apply(event.effect);
            moment = event.effect.call.empty() ? moment : event.effect.call;
            for (const Files& state : disk.afterPowerCut()) {
                ++cuts_;
                const std::string& outcome = outcomeOf(state);
                if (event.promise.count(outcome) == 0) {
                    return "after " + moment + " a load finds " + outcome + " in" + textOf(state);
                }
            }
        }
        return "";
    }

    /// The distinct states so far.
    const std::map<Files, std::string>& states() const { return found_; }

private:
    const std::string& outcomeOf(const Files& state) {
        const auto known = found_.find(state);
        if (known != found_.end()) {
            return known->second;
        }
        layOut(scratch_.path(), state);
        const std::string outcome = load_(scratch_.path());
        return found_[state] = outcome + work_(scratch_.path());
    }

    static std::string textOf(const Files& state) {
        std::string text;
        for (const auto& file : state) {
            text += "\n" + file.first + ": " + testing::PrintToString(file.second);
        }
        return text + "\n";
    }

    static std::string textOf(const Trace& trace) {
        std::string text = textOf(trace.before);
        for (const Trace::Event& event : trace.events) {
            text += event.effect.call + " " + std::to_string(event.effect.descriptor) + " " +
                    event.effect.bytes + testing::PrintToString(event.promise);
        }
        return text;
    }

    Look load_;
    Look work_;
    TempDir scratch_;
    std::map<Files, std::string> found_;
    std::set<std::string> traces_;
    std::size_t cuts_ = 0;
};

}  // namespace testsupport

#endif
