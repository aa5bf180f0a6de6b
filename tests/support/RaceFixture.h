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

    /// What is saved is neither mixed nor lost: a process that has just started holds the values of
    /// one generation, which is no older than `least`. Gives it.
    int expectFound(Child& child, int least) {
        const std::string answer = child.ask("generation race");
        std::istringstream text(answer);
        int found = -1;
        text >> found;
        EXPECT_GE(found, least) << answer << errors();
        return found;
    }

    /// Starts process after process until there is the file `end`, beside one writer that has saved
    /// generation 1 before. Gives their number.
    int startUntil(const std::string& end) {
        int starts = 0;
        int last = 1;
        do {
            const auto child = start(kHelper);
            last = expectFound(*child, last);
            EXPECT_EQ(0, child->finish()) << last;
            ++starts;
        } while (!exists(end) && !HasFailure());
        return starts;
    }

    /// What a process that restarted all the time says of it, when generation 1 was saved before:
    /// it never found a mixture or the defaults, and never less than before where each writer goes
    /// on from the one before it.
    void expectSavedOnes(Child& loader, bool inOrder = true) {
        std::istringstream answer(loader.answer());
        int starts = 0;
        int different = 0;
        int least = -1;
        int steppedBack = -1;
        answer >> starts >> different >> least >> steppedBack;
        EXPECT_GE(least, 1) << errors();
        EXPECT_TRUE(!inOrder || steppedBack == 0) << steppedBack << errors();
        EXPECT_GT(different, 1) << "met no save";
        EXPECT_EQ(0, loader.finish());
        std::cout << "loader: " << starts << " starts, " << different << " generations\n";
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
            expectSavedOnes(*loader);
        }
        expectOnDisk(saves);
        std::cout << starts << " new processes\n";
    }

    std::string rw_ = dir_.file("settings/race.ini");
    std::string end_ = dir_.file("end");
};

}  // namespace testsupport

#endif
