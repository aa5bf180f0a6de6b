#include <cerrno>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include "FileCalls.h"
#include "Generations.h"

namespace {

using testsupport::FileCalls;
using testsupport::Start;

/// The process dies in the middle of a save. What it wrote so far has reached the disk.
class InifileCrash : public testsupport::Generations, public testing::WithParamInterface<Start> {
protected:
    void givenAChange() {
        lie(GetParam());
        ASSERT_TRUE(reopen());
        change(*storage_, 2);
    }

    /// How many file calls one save makes.
    std::size_t callsOfASave() {
        givenAChange();
        const FileCalls calls(live_.path());
        EXPECT_TRUE(storage_->save());
        return calls.calls().size();
    }

    /// A child process saves the storage and dies at the call of this number. False when it lived
    /// and saved.
    bool diesSaving(std::size_t number, FileCalls::Exit how) {
        const pid_t child = ::fork();
        if (child == 0) {
            FileCalls calls(live_.path());
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

    /// Dies at each call in turn, and counts how often which values were found afterwards.
    void dieAtEveryCall(FileCalls::Exit how) {
        const std::string oldValue = valueOf(generationAt(GetParam()));
        const std::size_t total = callsOfASave();
        for (std::size_t number = 0; number < total; ++number) {
            givenAChange();
            const bool died = diesSaving(number, how);
            const std::string found = load(live_.path());
            EXPECT_TRUE(found == valueOf(2) || (found == oldValue && died))
                << "call " << number << " gives " << found;
            olds_ += died && found == oldValue ? 1 : 0;
            news_ += died && found == valueOf(2) ? 1 : 0;
            lived_ += died ? 0 : 1;
            EXPECT_EQ(work(live_.path()), "") << number;
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

INSTANTIATE_TEST_SUITE_P(From, InifileCrash, testsupport::everyStart(), testsupport::nameOfStart);

}  // namespace
