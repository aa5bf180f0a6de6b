#ifndef TESTS_SUPPORT_RACEFIXTURE_H
#define TESTS_SUPPORT_RACEFIXTURE_H

#include <array>
#include <gtest/gtest.h>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>

#include "Generations.h"
#include "ProcessFixture.h"

namespace testsupport {

/// Real processes that start, save and reset at the same time, on one file whose settings all carry
/// the number of one generation.
class RaceFixture : public ProcessFixture {
protected:
    RaceFixture() {
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
            EXPECT_NE("-1", found) << errors();
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
        EXPECT_EQ(text, fileOfGeneration("race", generation)) << errors();
        for (const char* const suffix : {".bad", ".tmp", ".tmp.new"}) {
            EXPECT_FALSE(exists(rw_ + suffix)) << suffix << errors();
        }
    }

    // A loader that looked between the two writes of a save would find no whole text, and set the
    // file aside under the writer.
    void raceLoadersAgainstAWriter(int saves) {
        const auto writer = startInHurry();
        EXPECT_EQ("1", writer->ask("generations race 1 1"));
        const std::array<std::unique_ptr<Child>, 2> loaders = {start(kHelper), start(kHelper)};
        for (const auto& loader : loaders) {
            loader->tell("restart race " + end_);
        }
        writer->tell("generations race 2 " + std::to_string(saves) + " " + end_);
        const int starts = startUntil(end_);
        EXPECT_EQ(std::to_string(saves), writer->answer());
        EXPECT_EQ(0, writer->finish());
        for (const auto& loader : loaders) {
            expectNoMixture(*loader, "loader");
        }
        expectOnDisk(saves);
        std::cout << starts << " new processes\n";
    }

    std::string rw_ = dir_.file("settings/race.ini");
    std::string end_ = dir_.file("end");
};

}  // namespace testsupport

#endif
