#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <limits>
#include <memory>
#include <poll.h>
#include <string_view>
#include <sys/signalfd.h>
#include <unistd.h>

#include "commands/Command.h"
#include "console/Json.h"
#include "console/NumberRange.h"
#include "console/Pattern.h"
#include "console/Table.h"
#include "console/Terminal.h"
#include "files/DirectoryLock.h"
#include "files/StorageFiles.h"
#include "files/WholeFile.h"
#include "store/SetUp.h"
#include "survey/DirectoryWatch.h"
#include "survey/StoreWatch.h"

namespace t8settings {

namespace {

namespace files = Qel::Settings::files;

constexpr const char* kHelp =
    "One line for each setting that another process changes: its name, its type, the\n"
    "text before and the text now, with (unset) for a setting that was not there or\n"
    "is no more. PATTERN is as in list. --json gives one object a line. It ends at\n"
    "Ctrl-C, or when nobody reads its output any more; that it has begun is told on\n"
    "standard error. The files are read without loading them.\n\n"
    "Example:\n"
    "  t8settings --base tv watch settings/sound/";

/// How often to find out whether the directories are still the same: nobody tells of one that has
/// another one mounted over it, or is reached by a link that leads elsewhere now.
constexpr std::chrono::milliseconds kRenewal{1000};

Failure failed(const std::string& what) {
    return {ExitCode::kFailed, what + ": " + std::strerror(errno)};
}

/// As `poll`; throws `Failure`.
void waitFor(pollfd* sources, std::size_t count, int milliseconds) {
    if (::poll(sources, count, milliseconds) < 0) {
        if (errno != EINTR) {
            throw failed("cannot wait for changes");
        }
        for (std::size_t i = 0; i < count; ++i) {
            sources[i].revents = 0;
        }
    }
}

constexpr NumberRange kCounts = {1, std::numeric_limits<unsigned long>::max()};

struct Wanted {
    std::string pattern;
    unsigned long count = 0;
};

/// What ends a watch from outside, as something to be polled; the process does not end of it.
class EndSignals {
public:
    EndSignals() {
        sigset_t signals;
        sigemptyset(&signals);
        sigaddset(&signals, SIGINT);
        sigaddset(&signals, SIGTERM);
        std::signal(SIGPIPE, SIG_IGN);
        descriptor_ = ::signalfd(-1, &signals, SFD_CLOEXEC);
        // Blocked only when something else hears them.
        if (descriptor_ < 0 || ::sigprocmask(SIG_BLOCK, &signals, nullptr) != 0) {
            throw failed("cannot watch for signals");
        }
    }
    ~EndSignals() { ::close(descriptor_); }
    EndSignals(const EndSignals&) = delete;
    EndSignals& operator=(const EndSignals&) = delete;

    int descriptor() const { return descriptor_; }

private:
    int descriptor_;
};

std::string cellOf(const std::optional<Record>& side) {
    return side ? side->text : "(unset)";
}

void addText(Json& json, const std::string& key, const std::optional<Record>& side) {
    if (side) {
        addBytes(json, key, side->text);
    } else {
        json[key] = nullptr;
    }
}

std::string lineOf(const SettingChange& change, Format format) {
    const Record& setting = change.either();
    if (format == Format::kText) {
        return linesOf({{setting.name, setting.type, cellOf(change.before), cellOf(change.after)}},
                       {Look::kName, Look::kType, Look::kLeft, Look::kRight});
    }
    Json json;
    addBytes(json, "name", setting.name);
    addBytes(json, "type", setting.type);
    addText(json, "before", change.before);
    addText(json, "after", change.after);
    addBytes(json, "storage", setting.storage);
    return lineOfJson(json);
}

/// The directories that can tell of a change: one that is not there yet shows in its parent.
std::vector<std::string> directoriesOf(const Location& location, const std::string& marker) {
    std::vector<std::string> directories = {location.base, files::directoryOf(marker)};
    const std::string base = location.base + (location.base.back() == '/' ? "" : "/");
    for (const files::StorageDirectory& directory : files::storageDirectories(base)) {
        directories.push_back(directory.defaults);
        directories.push_back(directory.readWrite);
    }
    return directories;
}

class Watch {
public:
    Watch(const Location& location, const Wanted& wanted, Format format)
        : location_(location),
          marker_(location.marker.empty() ? setUpWithoutFiles().marker : location.marker),
          pattern_(Pattern::ofNames(wanted.pattern)),
          count_(wanted.count),
          format_(format),
          directories_(directoriesOf(location, marker_)),
          store_(location.base, std::chrono::steady_clock::now()) {}

    void run() {
        const auto names = store_.names();
        const auto watched =
            std::count_if(names.begin(), names.end(),
                          [&](const std::string& name) { return pattern_.matches(name); });
        if ((::fcntl(STDOUT_FILENO, F_GETFL) & O_ACCMODE) == O_RDONLY) {
            errno = EBADF;
            throw failed("cannot write to standard output");
        }
        if (names.empty()) {
            complainOfNoFiles(location_.base);
        }
        lookForMarker();
        complain("watching " + counted(static_cast<std::size_t>(watched), "setting") + " below " +
                 inQuotes(location_.base) + " (Ctrl-C ends)");
        while (!isOver_) {
            wait();
        }
    }

private:
    void wait() {
        std::array<pollfd, 3> sources = {{{signals_.descriptor(), POLLIN, 0},
                                          {directories_.descriptor(), POLLIN, 0},
                                          {STDOUT_FILENO, 0, 0}}};
        waitFor(sources.data(), sources.size(), patience());
        if (sources[0].revents != 0 || sources[2].revents != 0) {
            isOver_ = true;
            return;
        }
        const auto now = std::chrono::steady_clock::now();
        const DirectoryWatch::News news = directories_.take();
        const bool isAnew = directories_.renew();
        if (isAnew || news.isIncomplete) {
            show(store_.lookAtAll(now));
        } else if (const auto files = filesAmong(news.names); !files.empty()) {
            show(store_.lookAt(files, now));
        }
        show(store_.lookAtDoubtful(now));
        lookForMarker();
    }

    /// In milliseconds.
    int patience() const {
        using Milliseconds = std::chrono::milliseconds;
        const auto now = std::chrono::steady_clock::now();
        const auto left = std::chrono::duration_cast<Milliseconds>(
            store_.nextLook().value_or(now + kRenewal) - now + Milliseconds(1));
        return static_cast<int>(std::clamp(left, Milliseconds(0), kRenewal).count());
    }

    /// Not what others do beside the marker: a look takes time.
    static std::set<std::string> filesAmong(const std::set<std::string>& names) {
        std::set<std::string> all;
        for (const std::string& name : names) {
            const std::string file = fileBeside(name).value_or(name);
            if (isIni(file) || isXml(file)) {
                all.insert(file);
            }
        }
        return all;
    }

    void show(const StoreWatch::Changes& changes) {
        for (const SettingChange& change : changes) {
            if (!isOver_ && pattern_.matches(change.either().name)) {
                show(lineOf(change, format_));
            }
        }
    }

    void show(const std::string& line) { isOver_ = !write(line) || ++shown_ == count_; }

    /// False when the watch is to end, before all is written perhaps. An output that nobody reads
    /// for a while is waited for, but not any longer than the person at the console does.
    bool write(std::string_view text) {
        while (!text.empty()) {
            std::array<pollfd, 2> sources = {
                {{signals_.descriptor(), POLLIN, 0}, {STDOUT_FILENO, POLLOUT, 0}}};
            waitFor(sources.data(), sources.size(), -1);
            if (sources[0].revents != 0) {
                return false;
            }
            // No more than a pipe takes at once when it takes anything.
            const ssize_t count = sources[1].revents == 0
                                      ? 0
                                      : ::write(STDOUT_FILENO, text.data(),
                                                std::min<std::size_t>(text.size(), PIPE_BUF));
            if (count < 0 && errno == EPIPE) {
                return false;
            }
            if (count < 0 && errno != EINTR && errno != EAGAIN) {
                throw failed("cannot write to standard output");
            }
            text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        }
        return true;
    }

    void lookForMarker() {
        const bool isReset = isThere(marker_);
        if (isReset != isReset_) {
            complain(isReset
                         ? "a reset to defaults is in progress: " + inQuotes(marker_) + " exists"
                         : "no reset to defaults any more: " + inQuotes(marker_) + " is gone");
        }
        isReset_ = isReset;
    }

    Location location_;
    std::string marker_;
    Pattern pattern_;
    unsigned long count_;
    Format format_;
    EndSignals signals_;
    // Before the store: what changes after the first look must not pass unseen.
    DirectoryWatch directories_;
    StoreWatch store_;
    unsigned long shown_ = 0;
    bool isReset_ = false;
    bool isOver_ = false;
};

}  // namespace

Command addWatchCommand(CLI::App& app) {
    const auto wanted = std::make_shared<Wanted>();
    CLI::App* const command =
        app.add_subcommand("watch", "Show changes that other processes make, as they land");
    command->add_option("PATTERN", wanted->pattern, "Only settings with such names")->type_name("");
    command->add_option("--count", wanted->count, "End after so many changes")
        ->type_name("N")
        ->check([](const std::string& text) -> std::string {
            return kCounts.read(text) ? "" : kCounts.demand() + ": " + inQuotes(text);
        });
    command->footer(kHelp);
    Command added = {command, {}};
    added.runOnFiles = [wanted](const std::function<Location()>& location,
                                Format format) -> Result {
        const Location said = location();
        demandReadableDirectory(said.base);
        Watch(said, *wanted, format).run();
        return {};
    };
    return added;
}

}  // namespace t8settings
