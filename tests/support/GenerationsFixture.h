#ifndef TESTS_SUPPORT_GENERATIONSFIXTURE_H
#define TESTS_SUPPORT_GENERATIONSFIXTURE_H

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "IniStorageFixture.h"
#include "PowerCuts.h"

namespace testsupport {

/// How the files lie when a save begins.
enum class Start { kNoFile, kOrdinaryFile, kGoodCopyLeft, kDamagedCopyLeft };

inline std::string nameOfStart(const testing::TestParamInfo<Start>& start) {
    static const char* const kNames[] = {"NoFile", "AnOrdinaryFile", "AGoodCopyThatWasLeft",
                                         "ADamagedCopyThatWasLeft"};
    return kNames[static_cast<int>(start.param)];
}

inline auto everyStart() {
    return testing::Values(Start::kNoFile, Start::kOrdinaryFile, Start::kGoodCopyLeft,
                           Start::kDamagedCopyLeft);
}

/// Storages whose two settings always change together, from one generation to the next. They are 0
/// in the defaults; in generation n they are n digits n, so that no two files are of one length.
///
/// The files lie in a directory of their own, the defaults in another. Nothing is logged.
class Generations : public IniStorageFixture {
protected:
    static constexpr int kNoMessage = 9;

    Generations() {
        qlog::setDefaultThreshold(kNoMessage);
        buildDefaults(textOf(0, "settings"));
        rw_ = live_.file("rw.ini");
        copy_ = rw_ + ".tmp";
        bad_ = rw_ + ".bad";
    }

    static std::string valueOf(int generation) {
        return std::string(static_cast<std::size_t>(std::max(1, generation)),
                           static_cast<char>('0' + generation));
    }

    static std::string textOf(int generation, const std::string& name) {
        const std::string value = valueOf(generation);
        return "#name = " + name + "\n#savepolicy = ondemand\n[]\na = int," + value +
               "\n\n[sound]\nb = int," + value;
    }

    static std::string fileOf(int generation, const std::string& name = "settings") {
        return withCrc(textOf(generation, name));
    }

    /// The files of a storage at the start. A load gives the generation `generationAt`.
    static Files filesAt(Start start, const std::string& file, const std::string& name) {
        const std::string torn = fileOf(2, name).substr(0, 50);
        switch (start) {
            case Start::kNoFile:
                return {};
            case Start::kGoodCopyLeft:
                return {{file, torn}, {file + ".tmp", fileOf(1, name)}};
            case Start::kDamagedCopyLeft:
                return {{file, fileOf(1, name)}, {file + ".tmp", torn}};
            default:
                return {{file, fileOf(1, name)}};
        }
    }
    static int generationAt(Start start) { return start == Start::kNoFile ? 0 : 1; }

    void lie(Start start) { layOut(live_.path(), filesAt(start, "rw.ini", "settings")); }

    static void change(Storage& storage, int generation) {
        for (const char* const key : {"/a", "/sound/b"}) {
            storage.querySetting(storage.name() + key)->setValue(std::stoi(valueOf(generation)));
        }
    }

    /// The value of the generation that a storage holds, or what is wrong.
    static std::string heldBy(Storage& storage) {
        const auto a = storage.querySetting(storage.name() + "/a");
        const auto b = storage.querySetting(storage.name() + "/sound/b");
        if (!a || !b || storage.settingsSet().size() != 2) {
            return std::to_string(storage.settingsSet().size()) + " settings";
        }
        const std::string first = std::to_string(a->getValue<int>());
        const std::string second = std::to_string(b->getValue<int>());
        return first == second ? first : "a mixture of " + first + " and " + second;
    }

    /// What a process that starts finds in the directory.
    virtual std::string find(const std::string& directory) {
        Storage storage("settings", defaults_, directory + "/rw.ini", types_,
                        Storage::Save_onDemand);
        return storage.init(&manager_, nullptr) ? heldBy(storage) : "no settings";
    }

    /// What is wrong with the work of a process that starts there, "" for nothing.
    virtual std::string work(const std::string& directory) {
        const std::string file = directory + "/rw.ini";
        Storage storage("settings", defaults_, file, types_, Storage::Save_onDemand);
        storage.init(&manager_, nullptr);
        change(storage, 8);
        if (!storage.save() || readFile(file) != fileOf(8) || exists(file + ".tmp")) {
            return ", the next save fails";
        }
        return find(directory) == valueOf(8) ? "" : ", the next save is lost";
    }

    /// What a process that starts finds, and what it did to the files.
    std::string load(const std::string& directory) {
        const Files before = filesIn(directory);
        const std::string found = find(directory);
        const Files after = filesIn(directory);
        Files asideExpected = before;
        for (const auto& file : before) {
            if (after.count(file.first) == 0) {
                asideExpected.erase(file.first);
                asideExpected[file.first + ".bad"] = file.second;
            }
        }
        return before == after          ? found
               : after == asideExpected ? found + ", set aside"
                                        : found + ", files changed";
    }

    /// A process starts, finds the value and saves these generations, one after the other.
    Trace traceOf(const std::string& found, const std::vector<int>& generations) {
        Recorder recorder(live_.path(), {found});
        std::string last = found;
        EXPECT_TRUE(reopen());
        EXPECT_EQ(heldBy(*storage_), found);
        for (const int generation : generations) {
            recorder.promise({last, valueOf(generation)});
            change(*storage_, generation);
            EXPECT_TRUE(storage_->save());
            last = valueOf(generation);
            recorder.promise({last});
        }
        return recorder.trace();
    }

    /// The process has died where the trace ends, with the power on; another one starts and saves a
    /// generation, which may be the one that it has found.
    Trace withSuccessor(Trace trace, int generation) {
        layOut(live_.path(), trace.left());
        Promise promise = trace.events.back().promise;
        Recorder recorder(live_.path(), promise);
        EXPECT_TRUE(reopen());
        EXPECT_EQ(promise.count(heldBy(*storage_)), 1U) << heldBy(*storage_);
        promise.insert(valueOf(generation));
        recorder.promise(promise);
        change(*storage_, generation);
        EXPECT_TRUE(storage_->save());
        recorder.promise({valueOf(generation)});
        const Trace& successor = recorder.trace();
        trace.events.insert(trace.events.end(), successor.events.begin(), successor.events.end());
        return trace;
    }

    /// Every state that a power cut may leave keeps the promise of its moment.
    void expectKept(const Trace& trace, DiskModel::Cuts cuts = DiskModel::Cuts::kTelling) {
        EXPECT_EQ(cuts_.violation(trace, cuts), "");
    }

    /// Whether a process must be able to work in each state; off where many states are much alike.
    bool worksInEachState_ = true;
    TempDir live_{memoryDirectory()};
    PowerCuts cuts_{[this](const std::string& directory) { return load(directory); },
                    [this](const std::string& directory) {
                        return worksInEachState_ ? work(directory) : std::string();
                    }};
};

}  // namespace testsupport

#endif
