#ifndef TESTS_SUPPORT_CHILD_H
#define TESTS_SUPPORT_CHILD_H

#include <cerrno>
#include <fcntl.h>
#include <map>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <string>
#include <sys/socket.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace testsupport {

/// A process that answers each line of its standard input with one line.
///
/// Nothing waits for ever: a process that keeps silent for half a minute is killed, and what is
/// asked of it then gives `kSilence` and `kHung`.
class Child {
public:
    static constexpr const char* kSilence = "(no answer)";
    static constexpr int kHung = -1;
    using Environment = std::map<std::string, std::string>;

    /// Runs `path` with the process's own environment and the given changes to it. Standard error
    /// goes to the file `errors`.
    Child(const std::string& path, const std::vector<std::string>& arguments,
          const Environment& changes, const std::string& errors) {
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
            throw std::system_error(errno, std::generic_category(), "socketpair");
        }
        socket_ = ends[0];
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errors.c_str(),
                                         O_WRONLY | O_CREAT | O_APPEND, 0666);
        std::vector<std::string> texts = arguments;
        texts.insert(texts.begin(), path);
        std::vector<std::string> environment = environmentWith(changes);
        const int error = posix_spawn(&id_, path.c_str(), &actions, nullptr, pointers(texts).data(),
                                      pointers(environment).data());
        posix_spawn_file_actions_destroy(&actions);
        ::close(ends[1]);
        if (error != 0) {
            ::close(socket_);
            throw std::system_error(error, std::generic_category(), path);
        }
    }

    ~Child() {
        if (id_ != 0) {
            kill(id_, SIGKILL);
            waitpid(id_, nullptr, 0);
        }
        ::close(socket_);
    }

    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t id() const { return id_; }

    /// Sends the line and gives the answer, without its line feed.
    std::string ask(const std::string& line) {
        tell(line);
        return answer();
    }

    void tell(const std::string& line) {
        const std::string bytes = line + "\n";
        // A dead process shows in its answer.
        static_cast<void>(send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL));
    }

    /// The next line that the process writes.
    std::string answer() {
        std::size_t end = received_.find('\n');
        for (; end == std::string::npos; end = received_.find('\n')) {
            if (!receive()) {
                return kSilence;
            }
        }
        const std::string line = received_.substr(0, end);
        received_.erase(0, end + 1);
        return line;
    }

    /// Ends the process's input and waits for its end: its exit status, 256 and the signal that
    /// killed it, or `kHung`.
    int finish() {
        shutdown(socket_, SHUT_WR);
        while (receive()) {
        }
        if (hung_) {
            kill(id_, SIGKILL);
        }
        int status = 0;
        waitpid(id_, &status, 0);
        id_ = 0;
        if (hung_) {
            return kHung;
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : 256 + WTERMSIG(status);
    }

    /// What the process has written and nobody has asked for.
    const std::string& rest() const { return received_; }

private:
    static std::vector<std::string> environmentWith(const Environment& changes) {
        std::vector<std::string> texts;
        for (char** entry = environ; *entry != nullptr; ++entry) {
            const std::string text(*entry);
            if (changes.count(text.substr(0, text.find('='))) == 0) {
                texts.push_back(text);
            }
        }
        for (const auto& change : changes) {
            texts.push_back(change.first + "=" + change.second);
        }
        return texts;
    }

    static std::vector<char*> pointers(std::vector<std::string>& texts) {
        std::vector<char*> all;
        for (std::string& text : texts) {
            all.push_back(text.data());
        }
        all.push_back(nullptr);
        return all;
    }

    /// False at the end of the process's output, and when it keeps silent.
    bool receive() {
        pollfd ready = {socket_, POLLIN, 0};
        if (poll(&ready, 1, 30000) <= 0) {
            hung_ = true;
            return false;
        }
        char bytes[4096];
        const ssize_t count = recv(socket_, bytes, sizeof bytes, 0);
        if (count <= 0) {
            return false;
        }
        received_.append(bytes, static_cast<std::size_t>(count));
        return true;
    }

    pid_t id_ = 0;
    int socket_ = -1;
    bool hung_ = false;
    std::string received_;
};

}  // namespace testsupport

#endif
