// Every state that a power cut may leave is made and loaded; docs/durability.md says what the disk
// is taken to do. The writers that do a step wrong are here too: each of them must be caught.

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "GenerationsFixture.h"
#include "Sanitized.h"

namespace {

using testsupport::DiskModel;
using testsupport::Files;
using testsupport::layOut;
using testsupport::Promise;
using testsupport::Recorder;
using testsupport::Start;
using testsupport::Trace;

class InifilePowerCut : public testsupport::Generations {
protected:
    /// What a process leaves that dies after so many events of its trace.
    static Trace diedAfter(std::size_t events, Trace trace) {
        trace.events.resize(events);
        return trace;
    }

    /// The process died in the middle of the call that is the last.
    static Trace torn(Trace trace) {
        std::string& bytes = trace.events.back().effect.bytes;
        bytes.resize(bytes.size() / 2);
        return trace;
    }
};

class InifilePowerCutFrom : public InifilePowerCut, public testing::WithParamInterface<Start> {
protected:
    Trace traceOf(const std::vector<int>& generations) {
        lie(GetParam());
        return Generations::traceOf(promiseAt(GetParam()), generations, GetParam());
    }
};

TEST_P(InifilePowerCutFrom, ALoadGivesTheOldOrTheNewValuesAndTheNewOnesOnceTheyAreSaved) {
    expectKept(traceOf({2}), DiskModel::Cuts::kAll);
    expectKeptSomewhere(GetParam());
}

TEST_P(InifilePowerCutFrom, TheSameHoldsForSeveralSavesInARow) {
    expectKept(traceOf({2, 3, 1, 4}));
    expectKeptSomewhere(GetParam());
}

TEST_P(InifilePowerCutFrom, TheSameHoldsForTheSaveAfterAPowerCut) {
    expectKept(traceOf({2}));
    worksInEachState_ = false;
    const auto states = cuts_.states();
    for (const auto& state : states) {
        layOut(live_.path(), state.first);
        expectKept(Generations::traceOf(alike(state.second), {3}));
    }
}

TEST_P(InifilePowerCutFrom, TheSameHoldsForTheSaveAfterTheDeathOfAProcess) {
    worksInEachState_ = false;
    const Trace trace = traceOf({2});
    for (std::size_t events = 1; events <= trace.events.size(); events += testsupport::kTimesLess) {
        const Trace dead = diedAfter(events, trace);
        for (const int generation : {1, 2, 3}) {
            expectKept(withSuccessor(dead, generation));
            if (!dead.events.back().effect.bytes.empty()) {
                expectKept(withSuccessor(torn(dead), generation));
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Saving, InifilePowerCutFrom, testsupport::everyStart(),
                         testsupport::nameOfStart);
INSTANTIATE_TEST_SUITE_P(SavingAfterACutMove, InifilePowerCutFrom,
                         testsupport::everyStartOfTwoNames(), testsupport::nameOfStart);

TEST_F(InifilePowerCut, ADamagedFileIsSetAsideAndTheNextSaveIsAsSafeAsAFirstOne) {
    const std::string damaged = fileOf(1).substr(0, 50);
    for (const bool copyToo : {false, true}) {
        Files files = {{"rw.ini", damaged}, {"rw.ini.bad", "set aside before"}};
        if (copyToo) {
            files["rw.ini.tmp"] = fileOf(2).substr(0, 50);
        }
        layOut(live_.path(), files);
        Recorder recorder(live_.path(), {"0", "0, set aside"});
        ASSERT_TRUE(reopen());
        change(*storage_, 2);
        recorder.promise({"0", "0, set aside", "22"});
        EXPECT_TRUE(storage_->save());
        recorder.promise({"22"});
        expectKept(recorder.trace());
    }
    for (const auto& state : cuts_.states()) {
        const auto bad = state.first.find("rw.ini.bad");
        EXPECT_TRUE(bad != state.first.end() &&
                    (bad->second == "set aside before" || bad->second == damaged ||
                     bad->second == testsupport::secondNameOf("rw.ini")));
    }
}

// The next start takes the first name away, and the second one may not be on the disk yet.
TEST_F(InifilePowerCut, AFileThatADyingProcessHasGivenASecondNameIsLostUnderNeither) {
    lie(Start::kDamagedFileStands);
    Trace trace;
    Promise whileItSaves = promiseAt(Start::kDamagedFileStands);
    whileItSaves.insert(valueOf(2));
    {
        Recorder recorder(live_.path(), whileItSaves);
        ASSERT_TRUE(startUp(create(), Start::kDamagedFileStands, recorder.calls()));
        recorder.calls().fail("open rw.ini", EIO, testsupport::FileCalls::kForGood);
        recorder.calls().fail("fsync .", EIO, testsupport::FileCalls::kForGood);
        change(*storage_, 2);
        EXPECT_FALSE(storage_->save());
        trace = recorder.trace();
    }
    ASSERT_TRUE(std::filesystem::equivalent(rw_, bad_));
    Recorder recorder(live_.path(), whileItSaves);
    ASSERT_TRUE(reopen());
    EXPECT_FALSE(testsupport::exists(rw_));
    const Trace& successor = recorder.trace();
    trace.events.insert(trace.events.end(), successor.events.begin(), successor.events.end());
    expectKept(trace);
    EXPECT_GE(cuts_.states().size(), 3U);
    expectKeptSomewhere(Start::kDamagedFileStands);
}

/// A writer that does one step wrong, made from a trace of the real one: the calls after the wrong
/// step are those that the writer would make, as it cannot see what the disk has.
struct Mutant {
    const char* name;
    Start start;
    std::function<void(std::vector<Trace::Event>&)> edit;
};

void PrintTo(const Mutant& mutant, std::ostream* out) {
    *out << mutant.name;
}

std::vector<Trace::Event>::iterator callIn(std::vector<Trace::Event>& events,
                                           const std::string& call) {
    return std::find_if(events.begin(), events.end(),
                        [&](const Trace::Event& event) { return event.effect.call == call; });
}

auto without(const std::string& call) {
    return [call](std::vector<Trace::Event>& events) {
        for (auto at = callIn(events, call); at != events.end(); at = callIn(events, call)) {
            events.erase(at);
        }
    };
}

auto withoutTheLast(const std::string& call) {
    return [call](std::vector<Trace::Event>& events) {
        std::reverse(events.begin(), events.end());
        events.erase(callIn(events, call));
        std::reverse(events.begin(), events.end());
    };
}

void deleteTheCopyBeforeTheFileIsSynced(std::vector<Trace::Event>& events) {
    const auto deletion = callIn(events, "unlink rw.ini.tmp");
    std::rotate(callIn(events, "fdatasync rw.ini"), deletion, deletion + 1);
}

void truncateTheGoodCopy(std::vector<Trace::Event>& events) {
    callIn(events, "create rw.ini.tmp.new")->effect.call = "create rw.ini.tmp";
    events.erase(callIn(events, "rename rw.ini.tmp.new rw.ini.tmp"));
}

const Mutant kMutants[] = {
    {"NoSyncOfTheCopy", Start::kOrdinaryFile, without("fdatasync rw.ini.tmp")},
    {"NoSyncOfTheFirstCopy", Start::kNoFile, without("fdatasync rw.ini.tmp")},
    {"NoSyncOfTheTextThatReplacesTheCopy", Start::kGoodCopyLeft,
     without("fdatasync rw.ini.tmp.new")},
    {"NoSyncOfTheDirectory", Start::kOrdinaryFile, without("fsync .")},
    {"NoSyncOfTheDirectoryAfterTheRename", Start::kGoodCopyLeft, withoutTheLast("fsync .")},
    {"NoSyncOfTheDirectoryAfterANewFile", Start::kNoFile, withoutTheLast("fsync .")},
    {"NoSyncOfTheFile", Start::kOrdinaryFile, without("fdatasync rw.ini")},
    {"CopyDeletedBeforeTheFileIsSynced", Start::kOrdinaryFile, deleteTheCopyBeforeTheFileIsSynced},
    {"GoodCopyTruncated", Start::kGoodCopyLeft, truncateTheGoodCopy},
};

class WriterMutant : public InifilePowerCut, public testing::WithParamInterface<Mutant> {};

TEST_P(WriterMutant, IsCaught) {
    lie(GetParam().start);
    Trace trace = traceOf(promiseAt(GetParam().start), {2}, GetParam().start);
    EXPECT_EQ(cuts_.violation(trace), "");
    GetParam().edit(trace.events);
    EXPECT_NE(cuts_.violation(trace), "");
}

INSTANTIATE_TEST_SUITE_P(Of, WriterMutant, testing::ValuesIn(kMutants),
                         [](const testing::TestParamInfo<Mutant>& mutant) {
                             return mutant.param.name;
                         });

TEST_F(InifilePowerCut, ALoadThatDoesNotSyncWhatADeadProcessLeftIsCaught) {
    lie(Start::kOrdinaryFile);
    Trace trace = traceOf({valueOf(1)}, {2});
    const auto copied = callIn(trace.events, "close rw.ini.tmp");
    const auto events = static_cast<std::size_t>(copied - trace.events.begin()) + 1;
    trace = withSuccessor(diedAfter(events, trace), 2);
    EXPECT_EQ(cuts_.violation(trace), "");
    without("fsync .")(trace.events);
    EXPECT_NE(cuts_.violation(trace), "");
}

}  // namespace
