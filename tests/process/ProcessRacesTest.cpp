#include <array>
#include <filesystem>
#include <gtest/gtest.h>
#include <iostream>
#include <memory>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "Generations.h"
#include "ProcessFixture.h"

namespace {

using testsupport::Child;
using testsupport::exists;
using testsupport::fileOfGeneration;
using testsupport::writeFile;

/// Real processes that start, save and reset at the same time, on one file whose settings all carry
/// the number of one generation.
class ProcessRaces : public testsupport::ProcessFixture {
protected:
    ProcessRaces() {
        writeFile(dir_.file("qel-default-settings/race.ini"), fileOfGeneration("race", 0) + "\n");
    }

    /// A process that need not wait for the disk.
    std::unique_ptr<Child> startInHurry() {
        auto child = start(kHelper);
        EXPECT_EQ("hurries", child->ask("hurry"));
        return child;
    }

    /// Starts process after process until there is the file `end`; each must find the values of one
    /// generation. Gives their number.
    int startUntil(const std::string& end) {
        int starts = 0;
        do {
            const auto child = start(kHelper);
            const std::string found = child->ask("generation race");
            EXPECT_NE("-1", found);
            EXPECT_EQ(0, child->finish()) << found;
            ++starts;
        } while (!exists(end) && !HasFailure());
        return starts;
    }

    /// What a process that restarted all the time says of it: it never found a mixture.
    void expectNoMixture(Child& loader, const std::string& who) {
        std::istringstream answer(loader.answer());
        int starts = 0;
        int different = 0;
        int mixtures = -1;
        answer >> starts >> different >> mixtures;
        EXPECT_EQ(mixtures, 0) << who << errors();
        EXPECT_GT(different, 1) << who << " met no save";
        EXPECT_EQ(0, loader.finish());
        std::cout << who << ": " << starts << " starts, " << different << " generations\n";
    }

    /// The file holds this generation as it is saved, and nothing lies beside it.
    void expectOnDisk(int generation) {
        const std::string bytes = contentsOf(rw_);
        const std::string text = bytes.substr(0, bytes.rfind("\n#crc32"));
        EXPECT_EQ(text, fileOfGeneration("race", generation));
        for (const char* const suffix : {".bad", ".tmp", ".tmp.new"}) {
            EXPECT_FALSE(exists(rw_ + suffix)) << suffix << errors();
        }
    }

    std::string rw_ = dir_.file("settings/race.ini");
    std::string end_ = dir_.file("end");
};

// A loader that looked between the two writes of a save would find no whole text, and set the file
// aside under the writer.
TEST_F(ProcessRaces, LoadersBesideAWriterFindOneWholeGenerationEveryTime) {
    const auto writer = startInHurry();
    EXPECT_EQ("1", writer->ask("generations race 1 1"));
    const std::array<std::unique_ptr<Child>, 2> loaders = {start(kHelper), start(kHelper)};
    for (const auto& loader : loaders) {
        loader->tell("restart race " + end_);
    }
    writer->tell("generations race 2 2000 " + end_);
    const int starts = startUntil(end_);
    EXPECT_EQ("2000", writer->answer());
    EXPECT_EQ(0, writer->finish());
    for (const auto& loader : loaders) {
        expectNoMixture(*loader, "loader");
    }
    expectOnDisk(2000);
    EXPECT_EQ("", errors());
    std::cout << starts << " new processes\n";
}

TEST_F(ProcessRaces, OfSeveralWritersOneHasTheFileToItself) {
    std::vector<std::unique_ptr<Child>> writers;
    for (int i = 0; i < 3; ++i) {
        writers.push_back(startInHurry());
    }
    EXPECT_EQ("1", writers[0]->ask("generations race 1 1"));
    const auto loader = start(kHelper);
    loader->tell("restart race " + end_);
    for (std::size_t i = 0; i < writers.size(); ++i) {
        const std::string first = std::to_string(i + 1);
        writers[i]->tell("generations race " + first + "001 " + first + "400");
    }
    std::set<std::string> last;
    for (const auto& writer : writers) {
        last.insert(writer->answer());
        EXPECT_EQ(0, writer->finish());
    }
    EXPECT_EQ(last, (std::set<std::string>{"1400", "2400", "3400"}));
    writeFile(end_, "");
    expectNoMixture(*loader, "loader");
    const auto late = start(kHelper);
    const std::string found = late->ask("generation race");
    EXPECT_EQ(1U, last.count(found)) << found;
    expectOnDisk(std::stoi("0" + found));
    EXPECT_EQ("", errors());
}

/// One process resets the machine to its defaults while others have changes, saved and unsaved.
class ProcessResetRaces : public ProcessRaces {
protected:
    /// Forgets the reset before, as a restart of the machine does.
    void restartMachine() {
        for (const std::string& file : {marker_, rw_, dir_.file("settings/tv.ini")}) {
            std::filesystem::remove(file);
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
    for (int round = 0; round < 12 && !HasFailure(); ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        restartMachine();
        const auto resetting = start(kHelper);
        const auto joining = start(kHelper);
        const auto saving = startInHurry();
        const auto main = start(kMain);
        EXPECT_EQ("yes", main->ask("set tv/volume 8"));
        saving->tell("generations race 1 200");
        main->tell("flush");
        dally(*resetting);
        resetting->tell("reset");
        joining->tell("reset");
        const auto starting = startInHurry();
        EXPECT_NE("-1", starting->ask("generation race"));
        EXPECT_EQ("300", starting->ask("generations race 290 300"));
        EXPECT_EQ("200", saving->answer());
        EXPECT_EQ("done", main->answer());
        EXPECT_EQ("1", resetting->answer());
        EXPECT_EQ("1", joining->answer());
        expectSavesNoMore(*saving);
        expectSavesNoMore(*starting);
        EXPECT_EQ(0, main->finish());
        expectDefaults();
    }
}

}  // namespace
