#include <chrono>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <poll.h>
#include <string>
#include <utility>
#include <vector>

#include "ToolRun.h"

namespace {

using testing::HasSubstr;
using testsupport::exists;
using testsupport::readFile;
using testsupport::ToolRun;
using testsupport::writeFile;

/// A whole read/write file.
std::string sealed(const std::string& text) {
    return text + "\n#crc32 = false\n";
}

/// What one end of the tool's output has said so far.
class Stream {
public:
    explicit Stream(int descriptor) : descriptor_(descriptor) {}
    ~Stream() { stop(); }
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    /// Reads until `awaited` is there; what came since the last call. Without it when the stream
    /// has ended or half a minute has passed.
    std::string until(const std::string& awaited) {
        std::string came;
        char byte = 0;
        pollfd readable = {descriptor_, POLLIN, 0};
        while (came.find(awaited) == std::string::npos && poll(&readable, 1, 30000) == 1 &&
               read(descriptor_, &byte, 1) == 1) {
            came += byte;
        }
        return came;
    }

    int descriptor() const { return descriptor_; }

    void stop() {
        if (descriptor_ >= 0) close(descriptor_);
        descriptor_ = -1;
    }

private:
    int descriptor_;
};

/// A running "watch".
class Watcher {
public:
    /// Its standard output goes to `out` unless a path is said. `inChild` runs in the child before
    /// it becomes the tool.
    Watcher(
        const std::vector<std::string>& arguments,
        const std::map<std::string, std::string>& environment, const char* output = nullptr,
        void (*inChild)() = [] {})
        : Watcher(arguments, environment, output, pipeOf(), pipeOf(), inChild) {}
    ~Watcher() {
        if (child_ > 0) {
            kill(child_, SIGKILL);
            testsupport::exitCodeOf(child_);
        }
    }
    Watcher(const Watcher&) = delete;
    Watcher& operator=(const Watcher&) = delete;

    /// Sends the signal, if any, and waits for the end.
    int end(int signal = 0) {
        if (signal != 0) kill(child_, signal);
        const pid_t child = std::exchange(child_, -1);
        return testsupport::exitCodeOf(child);
    }

    void send(int signal) const { kill(child_, signal); }

    /// A line of standard output, with its line feed.
    std::string line() { return out.until("\n"); }

private:
    struct Pipe {
        int in;
        int out;
    };

    static Pipe pipeOf() {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category());
        return {ends[1], ends[0]};
    }

    Watcher(const std::vector<std::string>& arguments,
            const std::map<std::string, std::string>& environment, const char* path, Pipe output,
            Pipe errors, void (*inChild)())
        : out(output.out), err(errors.out), child_(fork()) {
        if (child_ == 0) {
            dup2(path == nullptr ? output.in : open(path, O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
            dup2(errors.in, STDERR_FILENO);
            inChild();
            testsupport::becomeTool(arguments, environment);
        }
        close(output.in);
        close(errors.in);
    }

public:
    Stream out;
    Stream err;

private:
    pid_t child_;
};

class T8settingsWatch : public testsupport::ToolTest {
protected:
    T8settingsWatch() {
        put("qel-default-settings/settings.ini",
            "#name = settings\n[sound]\nbass = int8,-2\nvolume = uint8,30\n");
        put("settings/settings.ini", kStored);
    }

    static std::string text(const std::string& bass) {
        return sealed("#name = settings\n[sound]\nbass = int8," + bass);
    }

    std::map<std::string, std::string> environment() const {
        return {{"T8SETTINGS_BASE", base_}, {"T8SETTINGS_MARKER", marker_}};
    }

    /// Has taken its first look.
    void expectReady(Watcher& watcher) const {
        EXPECT_THAT(watcher.err.until(" (Ctrl-C ends)\n"), HasSubstr("(Ctrl-C ends)"));
    }

    /// Replaces the file in one step.
    void replace(const std::string& name, const std::string& bytes) const {
        put(name + ".aside", bytes);
        std::filesystem::rename(path(name + ".aside"), path(name));
    }

    const std::string kStored = text("3");
};

TEST_F(T8settingsWatch, TellsThatItHasBegunAndWhatOtherProcessesChange) {
    Watcher watcher({"watch"}, environment());
    EXPECT_EQ("t8settings: watching 2 settings below \"" + base_ + "\" (Ctrl-C ends)\n",
              watcher.err.until("\n"));
    EXPECT_EQ(0, run({"set", "settings/sound/bass", "5"}).exitCode);
    EXPECT_EQ("settings/sound/bass\tint8\t3\t5\n", watcher.line());
    EXPECT_EQ(0, run({"set", "settings/sound/volume", "31"}).exitCode);
    EXPECT_EQ("settings/sound/volume\tuint8\t30\t31\n", watcher.line());
    EXPECT_EQ(0, watcher.end(SIGINT));
    EXPECT_EQ("", watcher.out.until("\n"));
    EXPECT_EQ("", watcher.err.until("\n"));
}

TEST_F(T8settingsWatch, EndsCleanlyOfBothSignals) {
    for (const int signal : {SIGINT, SIGTERM}) {
        Watcher watcher({"watch"}, environment());
        expectReady(watcher);
        EXPECT_EQ(0, watcher.end(signal));
    }
}

TEST_F(T8settingsWatch, PatternPassesOverOtherSettings) {
    Watcher watcher({"watch", "*/vol*"}, environment());
    EXPECT_THAT(watcher.err.until("\n"), HasSubstr("watching 1 setting below"));
    replace("settings/settings.ini", text("9"));
    replace("settings/settings.ini", sealed("#name = settings\n[sound]\nvolume = uint8,1"));
    EXPECT_EQ("settings/sound/volume\tuint8\t30\t1\n", watcher.line());
    EXPECT_EQ(0, watcher.end(SIGTERM));
    EXPECT_EQ("", watcher.line());
}

TEST_F(T8settingsWatch, JsonIsOneObjectALine) {
    Watcher watcher({"watch", "--json"}, environment());
    expectReady(watcher);
    replace("settings/settings.ini",
            sealed("#name = settings\n[sound]\nbass = int8,3\nnew = string,\xff"));
    EXPECT_EQ(nlohmann::json({{"name", "settings/sound/new"},
                              {"type", "string"},
                              {"before", nullptr},
                              {"after", "\xef\xbf\xbd"},
                              {"afterBytes", "ff"},
                              {"storage", "settings"}}),
              nlohmann::json::parse(watcher.line()));
    replace("settings/settings.ini", text("4"));
    const nlohmann::json bass = nlohmann::json::parse(watcher.line());
    EXPECT_EQ("settings/sound/bass", bass.at("name"));
    EXPECT_EQ("3", bass.at("before"));
    EXPECT_EQ("4", bass.at("after"));
    EXPECT_EQ(nullptr, nlohmann::json::parse(watcher.line()).at("after"));
}

TEST_F(T8settingsWatch, StorageIsCalledAsAfterALoadOfBothItsFiles) {
    put("qel-default-settings/z.ini", "#name = first\nbass = int8,3\n");
    put("settings/z.ini", sealed("#name = own\nother = int8,1"));
    Watcher watcher({"watch", "first", "--json"}, environment());
    expectReady(watcher);
    replace("qel-default-settings/z.ini", "#name = first\nbass = int8,4\n");
    EXPECT_EQ("own", nlohmann::json::parse(watcher.line()).at("storage"));
}

TEST_F(T8settingsWatch, EndsAfterAsManyChangesAsWanted) {
    Watcher watcher({"watch", "--count", "2"}, environment());
    expectReady(watcher);
    replace("settings/settings.ini", sealed("#name = settings\n[sound]\na = int8,1\nb = int8,2\n"
                                            "bass = int8,4"));
    EXPECT_EQ("settings/sound/a\tint8\t(unset)\t1\nsettings/sound/b\tint8\t(unset)\t2\n",
              watcher.out.until("4\n"));
    EXPECT_EQ(0, watcher.end());
    EXPECT_EQ(2, run({"watch", "--count", "0"}).exitCode);
    EXPECT_EQ(2, run({"watch", "--count", "many"}).exitCode);
}

TEST_F(T8settingsWatch, SettingThatGetsAnotherTypeHasGoneAndCome) {
    Watcher watcher({"watch"}, environment());
    expectReady(watcher);
    replace("settings/settings.ini", sealed("#name = settings\n[sound]\nbass = string,3"));
    EXPECT_EQ("settings/sound/bass\tint8\t3\t(unset)\n", watcher.line());
    EXPECT_EQ("settings/sound/bass\tstring\t(unset)\t3\n", watcher.line());
}

TEST_F(T8settingsWatch, GoodCopyCountsAsALoadTakesIt) {
    Watcher watcher({"watch"}, environment());
    expectReady(watcher);
    put("settings/settings.ini.tmp", text("7"));
    EXPECT_EQ("settings/sound/bass\tint8\t3\t7\n", watcher.line());
    EXPECT_EQ(kStored, bytesOf("settings/settings.ini"));
    EXPECT_TRUE(exists(path("settings/settings.ini.tmp")));
}

TEST_F(T8settingsWatch, FilesThatComeLaterAreWatched) {
    Watcher watcher({"watch"}, environment());
    expectReady(watcher);
    put("calibration_data/panel.ini", sealed("gamma = int,22"));
    EXPECT_EQ("panel/gamma\tint\t(unset)\t22\n", watcher.line());
    put("qel-default-settings/product.xml", "<product><model value=\"T8\"/></product>");
    EXPECT_EQ("product/model\tstring\t(unset)\tT8\n", watcher.line());
    replace("calibration_data/panel.ini", sealed("gamma = int,24"));
    EXPECT_EQ("panel/gamma\tint\t22\t24\n", watcher.line());
}

TEST_F(T8settingsWatch, HalfWrittenFileIsWaitedForAndToldOfOnceIfItStays) {
    Watcher watcher({"watch"}, environment());
    expectReady(watcher);
    const auto begun = std::chrono::steady_clock::now();
    put("settings/settings.ini", text("8").substr(0, 30));
    EXPECT_EQ("t8settings: warning: " + path("settings/settings.ini") +
                  ": it has no CRC line; what was known of it stands until it changes\n",
              watcher.err.until("\n"));
    EXPECT_GE(std::chrono::steady_clock::now() - begun, std::chrono::seconds(1));
    // Still the same.
    put("settings/settings.ini", text("8").substr(0, 31));
    put("settings/settings.ini", text("8"));
    EXPECT_EQ("settings/sound/bass\tint8\t3\t8\n", watcher.line());
    EXPECT_FALSE(exists(path("settings/settings.ini.bad")));
    EXPECT_EQ(0, watcher.end(SIGTERM));
    EXPECT_EQ("", watcher.err.until("\n"));
}

TEST_F(T8settingsWatch, FileThatAnotherProcessSetsAsideLeavesTheDefaults) {
    Watcher watcher({"watch"}, environment());
    expectReady(watcher);
    put("settings/settings.ini", "torn");
    EXPECT_EQ("-2\n", run({"get", "settings/sound/bass"}).out);
    EXPECT_EQ("settings/sound/bass\tint8\t3\t-2\n", watcher.line());
}

TEST_F(T8settingsWatch, DirectoryMayGoAndComeBack) {
    Watcher watcher({"watch"}, environment());
    expectReady(watcher);
    std::filesystem::remove_all(path("settings"));
    EXPECT_EQ("settings/sound/bass\tint8\t3\t-2\n", watcher.line());
    std::filesystem::create_directory(path("settings"));
    put("settings/settings.ini", text("6"));
    EXPECT_EQ("settings/sound/bass\tint8\t-2\t6\n", watcher.line());
    replace("settings/settings.ini", text("7"));
    EXPECT_EQ("settings/sound/bass\tint8\t6\t7\n", watcher.line());
}

TEST_F(T8settingsWatch, AnotherDirectoryMayTakeItsPlace) {
    std::filesystem::create_directory(path("other"));
    put("other/settings.ini", text("6"));
    Watcher watcher({"watch"}, environment());
    expectReady(watcher);
    std::filesystem::rename(path("settings"), path("old"));
    std::filesystem::rename(path("other"), path("settings"));
    EXPECT_EQ("settings/sound/bass\tint8\t3\t6\n", watcher.line());
    put("old/settings.ini", text("1"));
    replace("settings/settings.ini", text("7"));
    EXPECT_EQ("settings/sound/bass\tint8\t6\t7\n", watcher.line());
}

TEST_F(T8settingsWatch, BaseDirectoryMayGoAndComeBack) {
    Watcher watcher({"watch"}, environment());
    expectReady(watcher);
    std::filesystem::rename(base_, base_ + ".away");
    EXPECT_EQ("settings/sound/bass\tint8\t3\t(unset)\n", watcher.line());
    EXPECT_EQ("settings/sound/volume\tuint8\t30\t(unset)\n", watcher.line());
    std::filesystem::rename(base_ + ".away", base_);
    EXPECT_EQ("settings/sound/bass\tint8\t(unset)\t3\n", watcher.line());
}

TEST_F(T8settingsWatch, LinkToTheBaseDirectoryMayLeadElsewhere) {
    // No event tells of it: nobody watches the directory that the link is in.
    const std::string link = dir_.file("links/tv");
    std::filesystem::create_directory(dir_.file("links"));
    std::filesystem::create_directories(dir_.file("other/settings"));
    writeFile(dir_.file("other/settings/settings.ini"), text("6"));
    std::filesystem::create_symlink(base_, link);
    Watcher watcher({"watch", "*/bass"},
                    {{"T8SETTINGS_BASE", link}, {"T8SETTINGS_MARKER", marker_}});
    expectReady(watcher);
    std::filesystem::create_symlink(dir_.file("other"), link + ".new");
    std::filesystem::rename(link + ".new", link);
    EXPECT_EQ("settings/sound/bass\tint8\t3\t6\n", watcher.line());
    writeFile(dir_.file("other/settings/settings.ini"), text("7"));
    EXPECT_EQ("settings/sound/bass\tint8\t6\t7\n", watcher.line());
}

TEST_F(T8settingsWatch, FileWithoutDefaultsHasNotGoneWhenItsDirectoryCannotBeListed) {
    using std::filesystem::perms;
    const std::string file = path("calibration_data/panel.ini");
    writeFile(file, sealed("gamma = int,22"));
    Watcher watcher({"watch"}, environment(), nullptr, ordinaryUser);
    expectReady(watcher);
    std::filesystem::permissions(path("calibration_data"), perms::none);
    EXPECT_EQ("t8settings: warning: " + file + ": " + path("calibration_data") +
                  " cannot be read: Permission denied; what was known of it stands until it "
                  "changes\n",
              watcher.err.until("\n"));
    std::filesystem::permissions(path("calibration_data"), perms::owner_all);
    replace("calibration_data/panel.ini", sealed("gamma = int,24"));
    EXPECT_EQ("panel/gamma\tint\t22\t24\n", watcher.line());
}

TEST_F(T8settingsWatch, NothingIsLostWhenMoreHappensThanTheSystemKeeps) {
    std::size_t kept = std::stoul(readFile("/proc/sys/fs/inotify/max_queued_events"));
    // The limit is the machine's and not the test's to change. To overflow one that somebody has
    // raised far beyond the kernel's 16,384 would take minutes.
    if (kept > 100000) {
        GTEST_SKIP() << "the system keeps too much";
    }
    Watcher watcher({"watch"}, environment());
    expectReady(watcher);
    watcher.send(SIGSTOP);
    // Each file makes at least three events.
    const std::string one = path("settings/passing");
    const std::string two = path("settings/through");
    writeFile(one, "");
    for (std::size_t i = 0; i <= kept; ++i) {
        ASSERT_EQ(0, rename((i % 2 == 0 ? one : two).c_str(), (i % 2 == 0 ? two : one).c_str()));
    }
    replace("settings/settings.ini", text("11"));
    watcher.send(SIGCONT);
    EXPECT_EQ("settings/sound/bass\tint8\t3\t11\n", watcher.line());
}

TEST_F(T8settingsWatch, ResetByAnotherProcessIsToldOf) {
    ASSERT_NO_FATAL_FAILURE(demandOwnMarker());
    Watcher watcher({"watch"}, environment());
    expectReady(watcher);
    EXPECT_EQ(0, run({"reset", "--all", "--yes"}).exitCode);
    EXPECT_EQ("t8settings: a reset to defaults is in progress: \"" + marker_ + "\" exists\n",
              watcher.err.until("\n"));
    EXPECT_EQ("settings/sound/bass\tint8\t3\t-2\n", watcher.line());
    std::filesystem::remove(marker_);
    EXPECT_EQ("t8settings: no reset to defaults any more: \"" + marker_ + "\" is gone\n",
              watcher.err.until("\n"));
}

TEST_F(T8settingsWatch, EndsWhenNobodyReadsItsOutputAnyMore) {
    Watcher idle({"watch"}, environment());
    expectReady(idle);
    idle.out.stop();
    EXPECT_EQ(0, idle.end());
}

TEST_F(T8settingsWatch, EndsOfASignalWhileNobodyReadsItsFullOutput) {
    for (const int signal : {SIGINT, SIGTERM}) {
        put("settings/settings.ini", kStored);
        Watcher watcher({"watch"}, environment());
        expectReady(watcher);
        // More than a pipe holds.
        replace("settings/settings.ini",
                sealed("#name = settings\n[sound]\nname = string," + std::string(200000, 'x')));
        pollfd output = {watcher.out.descriptor(), POLLIN, 0};
        ASSERT_EQ(1, poll(&output, 1, 30000));
        EXPECT_EQ(0, watcher.end(signal));
    }
}

TEST_F(T8settingsWatch, LongLineIsWrittenWhole) {
    Watcher watcher({"watch"}, environment());
    expectReady(watcher);
    const std::string text(200000, 'x');
    replace("settings/settings.ini",
            sealed("#name = settings\n[sound]\nbass = int8,3\nname = string," + text));
    EXPECT_EQ("settings/sound/name\tstring\t(unset)\t" + text + "\n", watcher.line());
}

TEST_F(T8settingsWatch, ClosedOutputIsAFailureFromTheStart) {
    const ToolRun watch = run({"watch"}, {}, [] { close(STDOUT_FILENO); });
    EXPECT_EQ("t8settings: cannot write to standard output: Bad file descriptor\n", watch.err);
    EXPECT_EQ(1, watch.exitCode);
}

TEST_F(T8settingsWatch, FullOutputIsAFailure) {
    Watcher watcher({"watch"}, environment(), "/dev/full");
    expectReady(watcher);
    replace("settings/settings.ini", text("4"));
    EXPECT_EQ("t8settings: cannot write to standard output: No space left on device\n",
              watcher.err.until("\n"));
    EXPECT_EQ(1, watcher.end());
}

TEST_F(T8settingsWatch, NeedsABaseDirectoryThatIsThere) {
    EXPECT_EQ(2, runBare({"watch"}).exitCode);
    const ToolRun none = runBare({"--base", dir_.file("none"), "watch"});
    EXPECT_EQ(1, none.exitCode);
    EXPECT_THAT(none.err, HasSubstr("No such file or directory"));
}

TEST_F(T8settingsWatch, NothingIsWrittenNorSetAside) {
    put("settings/settings.ini", "torn");
    Watcher watcher({"watch"}, environment());
    expectReady(watcher);
    EXPECT_THAT(watcher.err.until("\n"), HasSubstr("it has no CRC line"));
    EXPECT_EQ("torn", bytesOf("settings/settings.ini"));
    put("settings/settings.ini", text("3"));
    EXPECT_EQ("settings/sound/bass\tint8\t-2\t3\n", watcher.line());
    const std::filesystem::directory_iterator entries(path("settings"));
    EXPECT_EQ(1, std::distance(begin(entries), end(entries)));
}

}  // namespace
