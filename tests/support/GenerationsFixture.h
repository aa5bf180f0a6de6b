#ifndef TESTS_SUPPORT_GENERATIONSFIXTURE_H
#define TESTS_SUPPORT_GENERATIONSFIXTURE_H

#include <algorithm>
#include <cerrno>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "IniStorageFixture.h"
#include "PowerCuts.h"

namespace testsupport {

/// How the files lie when a save begins. After kDamagedCopyLeft something stands that was not
/// loaded: a damaged file that could not be set aside, a good copy beside a damaged file that could
/// not be read, or beside a good file. The last two are those again after a move that was cut off:
/// each has a second name.
enum class Start {
    kNoFile,
    kOrdinaryFile,
    kGoodCopyLeft,
    kDamagedCopyLeft,
    kDamagedFileStands,
    kUnreadCopy,
    kUnreadCopyOfAGoodFile,
    kDamagedFileOfTwoNames,
    kUnreadCopyOfTwoNames
};

inline std::string nameOfStart(const testing::TestParamInfo<Start>& start) {
    static const char* const kNames[] = {"NoFile",
                                         "AnOrdinaryFile",
                                         "AGoodCopyThatWasLeft",
                                         "ADamagedCopyThatWasLeft",
                                         "ADamagedFileThatStands",
                                         "ACopyThatWasNotRead",
                                         "ACopyThatWasNotReadBesideAGoodFile",
                                         "ADamagedFileOfTwoNames",
                                         "ACopyOfTwoNamesThatWasNotRead"};
    return kNames[static_cast<int>(start.param)];
}

inline auto everyStart() {
    return testing::Values(Start::kNoFile, Start::kOrdinaryFile, Start::kGoodCopyLeft,
                           Start::kDamagedCopyLeft, Start::kDamagedFileStands, Start::kUnreadCopy,
                           Start::kUnreadCopyOfAGoodFile);
}

inline auto everyStartOfTwoNames() {
    return testing::Values(Start::kDamagedFileOfTwoNames, Start::kUnreadCopyOfTwoNames);
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

    /// The files of a storage at the start.
    static Files filesAt(Start start, const std::string& file, const std::string& name) {
        const std::string torn = fileOf(2, name).substr(0, 50);
        const std::string damaged = fileOf(5, name).substr(0, 50);
        switch (start) {
            case Start::kNoFile:
                return {};
            case Start::kGoodCopyLeft:
                return {{file, torn}, {file + ".tmp", fileOf(1, name)}};
            case Start::kDamagedCopyLeft:
                return {{file, fileOf(1, name)}, {file + ".tmp", torn}};
            case Start::kDamagedFileStands:
                return {{file, damaged}};
            case Start::kUnreadCopy:
                return {{file, damaged}, {file + ".tmp", fileOf(1, name)}};
            case Start::kUnreadCopyOfAGoodFile:
                return {{file, fileOf(1, name)}, {file + ".tmp", fileOf(6, name)}};
            case Start::kDamagedFileOfTwoNames:
                return {{file, damaged}, {file + ".bad", secondNameOf(file)}};
            case Start::kUnreadCopyOfTwoNames:
                return {{file, damaged},
                        {file + ".tmp", fileOf(1, name)},
                        {file + ".tmp.bad", secondNameOf(file + ".tmp")}};
            default:
                return {{file, fileOf(1, name)}};
        }
    }

    /// Whether a save from there has to keep something before it writes.
    static bool stands(Start start) { return start >= Start::kDamagedFileStands; }

    /// The generation that the storage holds at the start.
    static int generationAt(Start start) {
        const bool isLoaded = !stands(start) || start == Start::kUnreadCopyOfAGoodFile;
        return isLoaded && start != Start::kNoFile ? 1 : 0;
    }

    /// What another process finds that comes to the same, with or without setting a file aside.
    static Promise alike(const std::string& found) {
        return found == "0, set aside" ? Promise{"0", found} : Promise{found};
    }

    /// What another process finds at the start, or in the midst of the first save.
    static Promise promiseAt(Start start) {
        switch (start) {
            case Start::kDamagedFileStands:
            case Start::kDamagedFileOfTwoNames:
                return alike("0, set aside");
            case Start::kUnreadCopy:
            case Start::kUnreadCopyOfTwoNames:
                return {valueOf(1)};
            case Start::kUnreadCopyOfAGoodFile:
                return {valueOf(6)};
            default:
                return {valueOf(generationAt(start))};
        }
    }

    /// What a process cannot do when it starts makes the start what it is.
    static void obstruct(Start start, FileCalls& calls, const std::string& file) {
        calls.fail(start == Start::kDamagedFileStands       ? "rename " + file + " " + file + ".bad"
                   : start == Start::kDamagedFileOfTwoNames ? "unlink " + file
                                                            : "open " + file + ".tmp",
                   EIO, stands(start) ? FileCalls::kForGood : 0);
    }

    bool startUp(Storage& storage, Start start, FileCalls& calls) {
        obstruct(start, calls, "rw.ini");
        const bool started = storage.init(&manager_, nullptr);
        calls.mend();
        return started;
    }

    /// Whatever stood at the start lies somewhere in each state that a power cut has left so far.
    void expectKeptSomewhere(Start start, const std::string& file = "rw.ini",
                             const std::string& name = "settings") const {
        Files kept = stands(start) ? filesAt(start, "", name) : Files();
        if (start == Start::kUnreadCopyOfAGoodFile) {
            kept.erase("");
        }
        for (const auto& state : cuts_.states()) {
            for (const auto& old : kept) {
                const std::string& bytes = bytesIn(kept, old.first);
                EXPECT_TRUE(std::any_of(state.first.begin(), state.first.end(),
                                        [&](const auto& found) { return found.second == bytes; }))
                    << bytes << " is lost in " << testing::PrintToString(state.first);
                EXPECT_TRUE(!isSecondName(old.second) || state.first.count(file + old.first) == 0 ||
                            bytesIn(state.first, file + old.first) == bytes)
                    << "was written through another name in "
                    << testing::PrintToString(state.first);
            }
        }
    }

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

    /// A process starts where this is found, and saves these generations, one after the other.
    Trace traceOf(Promise found, const std::vector<int>& generations,
                  Start start = Start::kOrdinaryFile) {
        Recorder recorder(live_.path(), found);
        EXPECT_TRUE(startUp(create(), start, recorder.calls()));
        const Promise held = stands(start) ? Promise{valueOf(generationAt(start))} : found;
        EXPECT_EQ(held.count(heldBy(*storage_)), 1U) << heldBy(*storage_);
        for (const int generation : generations) {
            found.insert(valueOf(generation));
            recorder.promise(found);
            change(*storage_, generation);
            EXPECT_TRUE(storage_->save());
            found = {valueOf(generation)};
            recorder.promise(found);
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
