#include <filesystem>
#include <gtest/gtest.h>
#include <iostream>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "RaceFixture.h"
#include "Sanitized.h"

namespace {

using testsupport::Child;
using testsupport::exists;
using testsupport::writeFile;

using ProcessRaces = testsupport::RaceFixture;

TEST_F(ProcessRaces, LoadersBesideAWriterFindOneWholeGenerationEveryTime) {
    raceLoadersAgainstAWriter(500);
}

TEST_F(ProcessRaces, OfSeveralWritersOneHasTheFileToItself) {
    // They contend without a queue, and each answers when it is done with all of its saves.
    const std::string lastOfEach = testsupport::kTimesLess == 1 ? "150" : "030";
    std::vector<std::unique_ptr<Child>> writers;
    for (int i = 0; i < 3; ++i) {
        writers.push_back(startInHurry());
    }
    EXPECT_EQ("1", writers[0]->ask("generations race 1 1"));
    const auto loader = start(kHelper);
    loader->tell("restart race " + end_);
    for (std::size_t i = 0; i < writers.size(); ++i) {
        const std::string first = std::to_string(i + 1);
        writers[i]->tell("generations race " + first + "001 " + first + lastOfEach);
    }
    std::set<std::string> last;
    for (const auto& writer : writers) {
        last.insert(writer->answer());
        EXPECT_EQ(0, writer->finish());
    }
    EXPECT_EQ(last, (std::set<std::string>{"1" + lastOfEach, "2" + lastOfEach, "3" + lastOfEach}));
    writeFile(end_, "");
    expectSavedOnes(*loader, false);
    const auto late = start(kHelper);
    const std::string found = late->ask("generation race");
    EXPECT_EQ(1U, last.count(found)) << found;
    expectOnDisk(std::stoi("0" + found));
}

TEST_F(ProcessRaces, KilledWritersLeaveOneWholeGenerationToTheOthers) {
    EXPECT_EQ("1", startInHurry()->ask("generations race 1 1"));
    const auto loader = start(kHelper);
    loader->tell("restart race " + end_);
    int interrupted = 0;
    int rounds = 0;
    int last = 1;
    while ((rounds < 25 || (interrupted == 0 && rounds < 250)) && !HasFailure()) {
        auto writer = startInHurry();
        expectFound(*writer, last);
        const std::string first = std::to_string(++rounds);
        last = rounds * 1000;
        const std::string acknowledged = std::to_string(last);
        EXPECT_EQ(acknowledged,
                  writer->ask("generations race " + acknowledged + " " + acknowledged));
        writer->tell("generations race " + first + "001 " + first + "999");
        last = expectFound(*start(kHelper), last);
        writer.reset();
        interrupted += exists(rw_ + ".tmp") ? 1 : 0;
    }
    std::cout << interrupted << " of " << rounds << " killed in the middle of a save\n";
    EXPECT_GT(interrupted, 0);
    writeFile(end_, "");
    expectSavedOnes(*loader);
    EXPECT_EQ("900000", startInHurry()->ask("generations race 900000 900000"));
    expectOnDisk(900000);
}

/// One process resets the machine to its defaults while others have changes, saved and unsaved.
class ProcessResetRaces : public ProcessRaces {
protected:
    /// Forgets the reset before, as a restart of the machine does. The file then is not there, or
    /// holds the very text that a reset writes.
    void restartMachine(bool withFile) {
        for (const std::string& file : {marker_, rw_, dir_.file("settings/tv.ini")}) {
            std::filesystem::remove(file);
        }
        if (withFile) {
            const auto child = startInHurry();
            EXPECT_EQ("1", child->ask("generations race 1 1"));
            EXPECT_EQ("0", child->ask("generations race 0 0"));
        }
    }

    /// Queries the mode for a while, so that what is asked next comes at another moment each time.
    void dally(Child& child) {
        for (auto i = random_() % 40; i > 0; --i) {
            EXPECT_EQ("0", child.ask("mode"));
        }
    }

    /// Whatever it does from now on, it saves no more.
    void expectSavesNoMore(Child& child) {
        EXPECT_EQ("77", child.ask("generations race 77 77"));
        EXPECT_EQ("1", child.ask("mode"));
        EXPECT_EQ("yes", child.ask("save race"));
        EXPECT_EQ("yes", child.ask("dirty race"));
        EXPECT_EQ("1", child.ask("reset"));
        EXPECT_EQ(0, child.finish());
    }

    void expectDefaults() {
        expectOnDisk(0);
        EXPECT_TRUE(onDisk("settings/tv", "volume = int,1"));
        const auto late = start(kHelper);
        EXPECT_EQ("0", late->ask("generation race"));
        EXPECT_EQ("1", late->ask("get tv/volume"));
        EXPECT_EQ(0, late->finish());
    }

    std::mt19937 random_{3};
};

TEST_F(ProcessResetRaces, TheDefaultsStandWhateverTheOthersAreDoing) {
    // Two at the least: with and without a file.
    constexpr int kRounds = 12 / static_cast<int>(testsupport::kTimesLess);
    int met = 0;
    for (int round = 0; (round < kRounds || (met == 0 && round < 12)) && !HasFailure(); ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        restartMachine(round % 2 == 1);
        const auto resetting = start(kHelper);
        const auto joining = start(kHelper);
        const auto saving = startInHurry();
        const auto main = start(kMain);
        EXPECT_EQ("yes", main->ask("set tv/volume 8"));
        const bool isSaving = round % 3 == 1;
        if (isSaving) {
            EXPECT_EQ("1", saving->ask("generations race 1 1"));
        }
        saving->tell("generations race 2 200");
        main->tell("flush");
        dally(*resetting);
        resetting->tell("reset");
        joining->tell("reset");
        const auto starting = startInHurry();
        EXPECT_NE("-1", starting->ask("generation race"));
        EXPECT_EQ("300", starting->ask("generations race 290 300"));
        EXPECT_EQ("200", saving->answer());
        met += isSaving && saving->ask("dirty race") == "yes" ? 1 : 0;
        EXPECT_EQ("done", main->answer());
        EXPECT_EQ("1", resetting->answer());
        EXPECT_EQ("1", joining->answer());
        for (const auto& child : {resetting.get(), joining.get()}) {
            child->ask("generations race 78 78");
            EXPECT_EQ(0, child->finish());
        }
        expectSavesNoMore(*saving);
        expectSavesNoMore(*starting);
        EXPECT_EQ(0, main->finish());
        expectDefaults();
    }
    std::cout << met << " resets in the midst of another process's saves\n";
    EXPECT_GT(met, 0);
}

}  // namespace
