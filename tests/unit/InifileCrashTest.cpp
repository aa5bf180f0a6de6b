#include <cerrno>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include "FileCalls.h"
#include "SaveFromEveryStart.h"

namespace {

using testsupport::exists;
using testsupport::FileCalls;
using testsupport::readFile;
using testsupport::Start;
using testsupport::withCrc;

/// The process dies in the middle of a save. What it wrote so far has reached the disk.
class InifileCrash : public testsupport::SaveFromEveryStart {
protected:
    /// How many file calls one save makes.
    std::size_t callsOfASave() {
        givenAChange();
        const FileCalls calls(dir_.path());
        EXPECT_TRUE(storage_->save());
        return calls.calls().size();
    }

    /// A child process saves the storage and dies at the call of this number. False when it lived
    /// and saved.
    bool diesSaving(std::size_t number, FileCalls::Exit how) {
        const pid_t child = ::fork();
        if (child == 0) {
            FileCalls calls(dir_.path());
            calls.exitAt(number, how);
            ::_exit(storage_->save() ? 0 : 1);
        }
        int status = 0;
        while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
        EXPECT_TRUE(WIFEXITED(status));
        const int code = WEXITSTATUS(status);
        EXPECT_TRUE(code == 0 || code == FileCalls::kExitCode) << code;
        return code != 0;
    }

    /// What is on the disk is the basis of all that follows.
    void expectLifeGoesOn(std::size_t number) {
        ASSERT_TRUE(reopen());
        EXPECT_FALSE(exists(bad_)) << number;
        setting("settings/a")->setValue(3);
        setting("settings/b")->setValue(3);
        EXPECT_TRUE(storage_->save()) << number;
        EXPECT_EQ(readFile(rw_), withCrc(textOf(3))) << number;
        EXPECT_FALSE(exists(copy_)) << number;
        EXPECT_FALSE(exists(copy_ + ".new")) << number;
        EXPECT_EQ(valueOnDisk(), 3) << number;
    }

    /// Dies at each call in turn, and counts how often which values were found afterwards.
    void dieAtEveryCall(FileCalls::Exit how) {
        const std::size_t total = callsOfASave();
        for (std::size_t number = 0; number < total; ++number) {
            givenAChange();
            const bool died = diesSaving(number, how);
            const int value = valueOnDisk();
            EXPECT_TRUE(value == 2 || (value == 1 && died))
                << "call " << number << " gives " << value;
            olds_ += died && value == 1 ? 1 : 0;
            news_ += died && value == 2 ? 1 : 0;
            lived_ += died ? 0 : 1;
            expectLifeGoesOn(number);
        }
    }

    int olds_ = 0;
    int news_ = 0;
    int lived_ = 0;
};

TEST_P(InifileCrash, BeforeAnyCallALoadGivesTheOldOrTheNewValues) {
    dieAtEveryCall(FileCalls::Exit::kBefore);
    EXPECT_EQ(lived_, 0);
    EXPECT_GE(olds_, 5) << "until the copy is written";
    EXPECT_GE(news_, 5) << "from the opening of the file on";
}

TEST_P(InifileCrash, InTheMiddleOfAWriteALoadGivesTheOldOrTheNewValues) {
    dieAtEveryCall(FileCalls::Exit::kTorn);
    EXPECT_EQ(olds_, 1) << "the copy was torn";
    EXPECT_EQ(news_, 1) << "the file was torn";
    EXPECT_GE(lived_, 10);
}

INSTANTIATE_TEST_SUITE_P(From, InifileCrash,
                         testing::Values(Start::kNoFile, Start::kOrdinaryFile,
                                         Start::kInterruptedSave),
                         testsupport::nameOfStart);

}  // namespace
