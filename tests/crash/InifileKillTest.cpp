#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <iostream>
#include <map>
#include <random>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "FileCalls.h"
#include "Generations.h"
#include "IniStorageFixture.h"

namespace {

using testsupport::exists;
using testsupport::FileCalls;
using testsupport::generationOf;
using testsupport::IniStorageFixture;
using testsupport::readFile;
using testsupport::setGeneration;
using testsupport::withCrc;
using testsupport::writeFile;

using Clock = std::chrono::steady_clock;

/// A process that acknowledges through a pipe each generation that it has saved.
class Saver {
public:
    explicit Saver(const std::function<void(int acknowledgements)>& work) {
        int ends[2];
        EXPECT_EQ(::pipe(ends), 0);
        id_ = ::fork();
        if (id_ == 0) {
            ::close(ends[0]);
            work(ends[1]);
            ::_exit(0);
        }
        ::close(ends[1]);
        acknowledgements_ = ends[0];
    }
    ~Saver() {
        end(SIGKILL);
        ::close(acknowledgements_);
    }
    Saver(const Saver&) = delete;
    Saver& operator=(const Saver&) = delete;

    static void acknowledge(int acknowledgements, int generation) {
        if (::write(acknowledgements, &generation, sizeof generation) != sizeof generation) {
            ::_exit(2);
        }
    }

    /// Waits for the next one. False when the process is dead and has acknowledged no more.
    bool acknowledged(int& generation) const {
        ssize_t count = 0;
        do {
            count = ::read(acknowledgements_, &generation, sizeof generation);
        } while (count < 0 && errno == EINTR);
        return count == static_cast<ssize_t>(sizeof generation);
    }

    /// Waits for its end, which the signal brings about unless it is 0, and gives its wait status.
    int end(int signal = 0) {
        if (id_ > 0) {
            if (signal != 0) {
                ::kill(id_, signal);
            }
            while (::waitpid(id_, &status_, 0) < 0 && errno == EINTR) {
            }
            id_ = 0;
        }
        return status_;
    }

private:
    pid_t id_ = 0;
    int acknowledgements_ = -1;
    int status_ = 0;
};

/// Processes die in the middle of their saves, but the machine goes on: what they wrote so far is
/// there. All settings of the file carry the number of one generation, so that a mixture shows.
class InifileKill : public IniStorageFixture {
protected:
    InifileKill() { buildDefaults(textOf(0)); }
    ~InifileKill() override { Storage::syncWrites(true); }

    static std::string textOf(int generation) {
        return testsupport::fileOfGeneration("settings", generation);
    }

    /// What the saving process does: starts up, then saves the next generations.
    void saveGenerations(int acknowledgements, int count) {
        Storage storage("settings", defaults_, rw_, types_, Storage::Save_onDemand);
        Qel::Settings::SettingsManager manager;
        int generation = storage.init(&manager, nullptr) ? generationOf(storage.settingsSet()) : -1;
        for (; count > 0; --count) {
            setGeneration(storage.settingsSet(), ++generation);
            if (!storage.save()) {
                ::_exit(3);
            }
            Saver::acknowledge(acknowledgements, generation);
        }
    }

    /// The generation that a start finds. Nothing may be set aside, and no lock be left behind.
    int generationOnDisk() {
        log_.clear();
        Storage storage("settings", defaults_, rw_, types_, Storage::Save_onDemand);
        Qel::Settings::SettingsManager manager;
        EXPECT_TRUE(storage.init(&manager, nullptr));
        EXPECT_FALSE(exists(bad_));
        EXPECT_TRUE(messagesOf("src/files/DirectoryLock").empty()) << log_.dump();
        return generationOf(storage.settingsSet());
    }
};

/// Killed from outside, at any moment.
class InifileKillAtRandom : public InifileKill, public testing::WithParamInterface<bool> {
protected:
    InifileKillAtRandom() {
        Storage::syncWrites(GetParam());
        std::cout << "seed " << seed_ << ", " << rounds_ << " kills\n";
    }

    /// Lets the process save for a while and kills it: the last generation acknowledged.
    int killAfterAWhile(int last) {
        Saver saver([this](int acknowledgements) { saveGenerations(acknowledgements, 1 << 30); });
        int generation = last;
        const Clock::time_point start = Clock::now();
        const int saves = 1 + static_cast<int>(random_() % 4);
        for (int i = 0; i < saves; ++i) {
            EXPECT_TRUE(saver.acknowledged(generation)) << "the process died by itself";
            EXPECT_EQ(generation, ++last);
        }
        // A kill at any moment of a save is what is tried here, so there is no condition to wait
        // for. Whenever it comes, the same must hold; of so many, some come in the middle.
        const auto aSave = (Clock::now() - start) / saves;
        std::this_thread::sleep_for(aSave * static_cast<int>(random_() % 200) / 100);
        EXPECT_TRUE(WIFSIGNALED(saver.end(SIGKILL)));
        while (saver.acknowledged(generation)) {
            EXPECT_EQ(generation, ++last);
        }
        return last;
    }

    /// Another one every time, unless T8_TEST_SEED names one.
    static unsigned int chooseSeed() {
        const char* const chosen = std::getenv("T8_TEST_SEED");
        return chosen == nullptr ? std::random_device()()
                                 : static_cast<unsigned int>(std::strtoul(chosen, nullptr, 10));
    }

    const int rounds_ = GetParam() ? 30 : 100;
    unsigned int seed_ = chooseSeed();
    std::mt19937 random_{seed_};
};

TEST_P(InifileKillAtRandom, TheLastAcknowledgedGenerationOrTheNextIsFound) {
    int found = 0;
    int newer = 0;
    int inTheMiddle = 0;
    for (int round = 0; round < rounds_ || (inTheMiddle == 0 && round < 10 * rounds_); ++round) {
        const int last = killAfterAWhile(found);
        const bool interrupted = exists(copy_);
        found = generationOnDisk();
        ASSERT_TRUE(found == last || found == last + 1)
            << "acknowledged " << last << ", found " << found << ", round " << round;
        newer += found > last ? 1 : 0;
        inTheMiddle += interrupted ? 1 : 0;
    }
    EXPECT_GT(inTheMiddle, 0);
    std::cout << inTheMiddle << " in the middle of a save, " << newer
              << " times the next generation found, " << found << " generations\n";
}

INSTANTIATE_TEST_SUITE_P(With, InifileKillAtRandom, testing::Bool(),
                         [](const auto& syncs) { return syncs.param ? "Syncs" : "NoSyncs"; });

/// Dying at each of its file calls in turn.
class InifileKillAtEveryCall : public InifileKill {
protected:
    using Files = std::map<std::string, std::string>;

    /// The settings directory as a process has left it.
    struct Disk {
        Files files;
        int generation;  ///< that a start must find, or a newer one
    };

    Disk diskNow(int generation) const {
        Disk disk = {{}, generation};
        for (const auto& entry : std::filesystem::directory_iterator(dir_.path())) {
            disk.files[entry.path().filename()] = readFile(entry.path());
        }
        return disk;
    }

    void layDown(const Disk& disk) const {
        for (const auto& entry : std::filesystem::directory_iterator(dir_.path())) {
            std::filesystem::remove(entry.path());
        }
        for (const auto& file : disk.files) {
            writeFile(dir_.file(file.first), file.second);
        }
    }

    /// The syncs stay moments to die at, but nobody waits for the disk: as long as the machine goes
    /// on, what was written is there without them.
    static void dispenseWithSyncs(FileCalls& calls) {
        for (const char* const call :
             {"fdatasync rw.ini", "fdatasync rw.ini.tmp", "fdatasync rw.ini.tmp.new", "fsync ."}) {
            calls.fail(call, EINVAL, 1000);
        }
    }

    /// A process starts, saves the next generation and dies at the call of this number, unless it
    /// makes fewer. A process that lives tells which of its calls were writes. False when it lived.
    bool diesAt(std::size_t number, FileCalls::Exit how, int& generation) {
        Saver saver([&](int acknowledgements) {
            FileCalls calls(dir_.path());
            calls.exitAt(number, how);
            dispenseWithSyncs(calls);
            saveGenerations(acknowledgements, 1);
            for (std::size_t i = 0; i < calls.calls().size(); ++i) {
                if (calls.calls()[i].compare(0, 6, "write ") == 0) {
                    Saver::acknowledge(acknowledgements, -static_cast<int>(i));
                }
            }
        });
        writes_.clear();
        for (int told = 0; saver.acknowledged(told);) {
            if (told < 0) {
                writes_.push_back(static_cast<std::size_t>(-told));
            } else {
                generation = told;
            }
        }
        const int status = saver.end();
        EXPECT_TRUE(WIFEXITED(status));
        EXPECT_TRUE(WEXITSTATUS(status) == 0 || WEXITSTATUS(status) == FileCalls::kExitCode)
            << WEXITSTATUS(status);
        return WEXITSTATUS(status) != 0;
    }

    /// Whatever is found is the basis of all that follows, and is never lost again.
    void expectLifeGoesOn(Disk& left) {
        const int found = generationOnDisk();
        ASSERT_GE(found, left.generation);
        ASSERT_LE(found, left.generation + 1);
        (found == left.generation ? olds_ : news_) += 1;
        left.generation = found;
        Saver saver([this](int acknowledgements) {
            Storage::syncWrites(false);
            saveGenerations(acknowledgements, 1);
        });
        int next = 0;
        ASSERT_TRUE(saver.acknowledged(next));
        EXPECT_EQ(next, found + 1);
        EXPECT_EQ(saver.end(), 0);
        EXPECT_EQ(diskNow(next).files,
                  (Files{{"defaults.ini", textOf(0)}, {"rw.ini", withCrc(textOf(next))}}));
    }

    /// Dies at this call of a process that starts on `before`, and checks what is left behind.
    /// False when the process made fewer calls.
    bool dieOnce(const Disk& before, std::size_t number, FileCalls::Exit how) {
        layDown(before);
        int generation = before.generation;
        const bool died = diesAt(number, how, generation);
        deaths_ += died ? 1 : 0;
        const Disk disk = diskNow(generation);
        const auto added = left_.insert({{disk.files, generation}, disk});
        if (added.second) {
            SCOPED_TRACE("call " + std::to_string(number));
            expectLifeGoesOn(added.first->second);
        }
        return died;
    }

    /// Dies at each call of a process that starts on `before`, and in the middle of each write.
    /// Gives the disks that differ.
    std::vector<Disk> dieAtEveryCall(const Disk& before) {
        left_.clear();
        for (std::size_t number = 0; dieOnce(before, number, FileCalls::Exit::kBefore); ++number) {
        }
        EXPECT_GE(writes_.size(), 2U) << "the copy and the file";
        for (const std::size_t number : std::vector<std::size_t>(writes_)) {
            EXPECT_TRUE(dieOnce(before, number, FileCalls::Exit::kTorn));
        }
        std::vector<Disk> disks;
        for (const auto& entry : left_) {
            disks.push_back(entry.second);
        }
        return disks;
    }

    void printCounts() const {
        std::cout << deaths_ << " deaths left " << olds_ + news_ << " different disks: " << olds_
                  << " with the generation acknowledged last, " << news_ << " with the next\n";
    }

    std::map<std::pair<Files, int>, Disk> left_;
    std::vector<std::size_t> writes_;
    int deaths_ = 0;
    int olds_ = 0;
    int news_ = 0;
};

TEST_F(InifileKillAtEveryCall, TheFirstSaveEverIsThereOrNot) {
    dieAtEveryCall({{{"defaults.ini", textOf(0)}}, 0});
    printCounts();
    EXPECT_GE(deaths_, 20);
}

TEST_F(InifileKillAtEveryCall, AnOrdinarySaveAndTheOneAfterAnInterruptedSaveAreThereOrNot) {
    const Disk ordinary = {{{"defaults.ini", textOf(0)}, {"rw.ini", withCrc(textOf(1))}}, 1};
    const std::vector<Disk> interrupted = dieAtEveryCall(ordinary);
    printCounts();
    EXPECT_GE(deaths_, 20);
    EXPECT_GE(olds_, 3) << "the copy is not there yet, empty or torn";
    EXPECT_GE(news_, 4) << "the copy is whole; the file is old, empty, torn or new";
    for (const Disk& before : interrupted) {
        dieAtEveryCall(before);
    }
    printCounts();
}

}  // namespace
