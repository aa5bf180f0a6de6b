#ifndef TESTS_SUPPORT_TOOLRUN_H
#define TESTS_SUPPORT_TOOLRUN_H

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <linux/capability.h>
#include <map>
#include <pty.h>
#include <signal.h>
#include <stdexcept>
#include <stdlib.h>
#include <string>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <vector>

#include "Files.h"
#include "TempDir.h"

namespace testsupport {

/// What a run of the tool came to.
struct ToolRun {
    int exitCode;  ///< or, negative, the signal that ended it
    std::string out;
    std::string err;
};

/// Waits for a child of this process.
inline int exitCodeOf(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) throw std::system_error(errno, std::generic_category(), "waitpid");
    }
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

/// In a forked child: becomes the tool. Its environment has nothing of the person who runs the
/// tests but what is in `environment`.
[[noreturn]] inline void becomeTool(const std::vector<std::string>& arguments,
                                    const std::map<std::string, std::string>& environment) {
    for (const char* const name :
         {"T8SETTINGS_BASE", "T8SETTINGS_MARKER", "QLOG", "QLOG_TO", "TERM", "NO_COLOR"}) {
        unsetenv(name);
    }
    for (const auto& entry : environment) setenv(entry.first.c_str(), entry.second.c_str(), 1);
    std::vector<char*> words = {const_cast<char*>("t8settings")};
    for (const std::string& word : arguments) words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    execv(T8_TOOL, words.data());
    _exit(127);
}

/// A base directory of its own and runs of the tool on it, with a marker of its own: what the
/// machine does must not matter, nor must it be touched.
class ToolTest : public testing::Test {
protected:
    ToolTest() : base_(dir_.file("tv")), marker_(dir_.file("marker")) {
        for (const char* const name : {"settings", "calibration_data", "qel-default-settings",
                                       "qel-default-calibration_data"}) {
            std::filesystem::create_directories(base_ + "/" + name);
        }
    }

    std::string path(const std::string& name) const { return base_ + "/" + name; }
    void put(const std::string& name, const std::string& bytes) const {
        writeFile(path(name), bytes);
    }
    std::string bytesOf(const std::string& name) const { return readFile(path(name)); }

    /// The tool with these arguments alone. `inChild` runs in the child before it becomes the tool.
    ToolRun runBare(
        const std::vector<std::string>& arguments,
        const std::map<std::string, std::string>& environment = {},
        const std::function<void()>& inChild = [] {}) const {
        const std::string out = dir_.file("out");
        const std::string err = dir_.file("err");
        const pid_t child = fork();
        if (child == 0) {
            redirect("/dev/null", O_RDONLY, STDIN_FILENO);
            redirect(out, O_WRONLY | O_CREAT | O_TRUNC, STDOUT_FILENO);
            redirect(err, O_WRONLY | O_CREAT | O_TRUNC, STDERR_FILENO);
            inChild();
            becomeTool(arguments, environment);
        }
        const int exitCode = exitCodeOf(child);
        return {exitCode, readFile(out), readFile(err)};
    }

    /// The tool on the base directory.
    ToolRun run(
        std::vector<std::string> arguments, std::map<std::string, std::string> environment = {},
        const std::function<void()>& inChild = [] {}) const {
        environment.emplace("T8SETTINGS_BASE", base_);
        environment.emplace("T8SETTINGS_MARKER", marker_);
        return runBare(arguments, environment, inChild);
    }

    /// To be asked before a reset: a tool so broken that it passes over a marker of one's own would
    /// announce the reset to the whole machine.
    void demandOwnMarker() const {
        for (const ToolRun& info :
             {run({"info"}), runBare({"--base", base_, "--marker", marker_, "info"})}) {
            ASSERT_NE(std::string::npos, info.out.find("\nmarker " + marker_)) << info.out;
        }
    }

    /// The tool on the base directory and on a terminal, whose person answers its question with
    /// `answer` after some other work. `out` is all that the terminal shows; it has `columns`
    /// columns, or says nothing of them.
    ToolRun runOnTerminal(
        const std::vector<std::string>& arguments, const std::string& answer = "",
        std::map<std::string, std::string> environment = {},
        const std::function<void()>& beforeAnswer = [] {}, unsigned short columns = 0) const {
        environment.emplace("T8SETTINGS_BASE", base_);
        environment.emplace("T8SETTINGS_MARKER", marker_);
        int terminal = -1;
        const winsize size = {0, columns, 0, 0};
        const pid_t child = forkpty(&terminal, nullptr, nullptr, &size);
        if (child == 0) {
            // A shell that runs the tests in the background has it ignored.
            signal(SIGINT, SIG_DFL);
            becomeTool(arguments, environment);
        }
        std::string shown;
        char byte = 0;
        bool answered = false;
        // When the child is gone a terminal fails to read, with EIO.
        while (read(terminal, &byte, 1) == 1) {
            shown += byte;
            if (!answered && shown.find("[y/N] ") != std::string::npos) {
                beforeAnswer();
                answered = write(terminal, answer.data(), answer.size()) ==
                           static_cast<ssize_t>(answer.size());
            }
        }
        close(terminal);
        return {exitCodeOf(child), shown, ""};
    }

    /// For `inChild` too.
    static void redirect(const std::string& path, int flags, int descriptor) {
        const int opened = open(path.c_str(), flags, 0600);
        if (opened < 0 || dup2(opened, descriptor) < 0) _exit(126);
    }

    /// For `inChild`: permissions hold, for root as for everybody else.
    static void ordinaryUser() {
        prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE);
        prctl(PR_CAPBSET_DROP, CAP_DAC_READ_SEARCH);
    }

    /// For `inChild`: no file can grow beyond a few bytes, which a standard error that goes to a
    /// file needs as well.
    static void fullDisk() {
        const rlimit few = {70, 70};
        setrlimit(RLIMIT_FSIZE, &few);
        signal(SIGXFSZ, SIG_IGN);
    }

    TempDir dir_;
    std::string base_;
    std::string marker_;
};

}  // namespace testsupport

#endif
