// Another program saves between a save of the tool and its look at what the disk gives back.

#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <vector>

#include "ToolRun.h"

namespace {

class T8settingsLateSave : public testsupport::ToolTest {
protected:
    T8settingsLateSave() { put("settings/a.ini", kBefore); }

    /// Runs the tool with its error output in a file, call by call, and has this happen as soon as
    /// its save has written the file. Gives the exit code.
    int exitCodeWith(const std::vector<std::string>& arguments,
                     const std::function<void()>& afterSave) const {
        const pid_t tool = fork();
        if (tool == 0) {
            redirect("/dev/null", O_RDWR, STDOUT_FILENO);
            redirect(err_, O_WRONLY | O_CREAT | O_TRUNC, STDERR_FILENO);
            if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(126);
            testsupport::becomeTool(arguments,
                                    {{"T8SETTINGS_BASE", base_}, {"T8SETTINGS_MARKER", marker_}});
        }
        int status = 0;
        while (waitpid(tool, &status, 0) == tool && WIFSTOPPED(status)) {
            if (bytesOf("settings/a.ini") != kBefore &&
                !testsupport::exists(path("settings/a.ini.tmp"))) {
                afterSave();
                EXPECT_EQ(0, ptrace(PTRACE_DETACH, tool, nullptr, nullptr));
                return testsupport::exitCodeOf(tool);
            }
            EXPECT_EQ(0, ptrace(PTRACE_SYSCALL, tool, nullptr, nullptr));
        }
        return WEXITSTATUS(status);
    }

    static constexpr const char* kBefore =
        "#name = a\nbass = int,1\ntreble = int,1\n#crc32 = false\n";
    const std::string err_ = dir_.file("err");
};

TEST_F(T8settingsLateSave, SaveThatIsTheLastOneIsNotWrittenOver) {
    const std::string theirs = "#name = a\nbass = int,1\ntreble = int,7\n#crc32 = false\n";
    const int exitCode =
        exitCodeWith({"set", "a/bass", "5"}, [&] { put("settings/a.ini", theirs); });
    if (exitCode == 126) GTEST_SKIP() << "no process can be traced here";
    EXPECT_EQ(1, exitCode);
    EXPECT_EQ(theirs, bytesOf("settings/a.ini"));
    const std::string file = path("settings/a.ini");
    EXPECT_EQ("t8settings: a/bass could not be saved:\nt8settings: " + file +
                  " does not give it back\nt8settings: a: another program has written " + file +
                  " meanwhile, so it stays as it is, with the old values\n"
                  "t8settings: to change it all the same, run this once more\n",
              testsupport::readFile(err_));
    EXPECT_EQ(0, run({"set", "a/bass", "5"}).exitCode);
    EXPECT_EQ("7\n", run({"get", "a/treble"}).out);
}

}  // namespace
