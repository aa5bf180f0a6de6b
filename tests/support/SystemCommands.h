#ifndef TESTS_SUPPORT_SYSTEMCOMMANDS_H
#define TESTS_SUPPORT_SYSTEMCOMMANDS_H

#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace testsupport {

/// The shell commands that the process would have run: `system` records them and runs nothing.
///
/// The header takes the place of the C function in the whole program: include it in one source.
class SystemCommands {
public:
    static SystemCommands& instance() {
        static auto* const immortal = new SystemCommands;
        return *immortal;
    }

    std::vector<std::string> commands() const {
        const std::lock_guard<std::mutex> lock(mutex_);
        return commands_;
    }

    void clear() {
        const std::lock_guard<std::mutex> lock(mutex_);
        commands_.clear();
        duringCommand_ = nullptr;
        status_ = 0;
    }

    /// What happens while a command runs, on the thread that runs it.
    void duringCommand(std::function<void(const std::string&)> action) {
        const std::lock_guard<std::mutex> lock(mutex_);
        duringCommand_ = std::move(action);
    }

    /// What `system` gives, 0 at first.
    void status(int value) {
        const std::lock_guard<std::mutex> lock(mutex_);
        status_ = value;
    }

    int run(const std::string& command) {
        std::function<void(const std::string&)> action;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            commands_.push_back(command);
            action = duringCommand_;
        }
        if (action) {
            action(command);
        }
        const std::lock_guard<std::mutex> lock(mutex_);
        return status_;
    }

private:
    SystemCommands() = default;

    mutable std::mutex mutex_;
    std::vector<std::string> commands_;
    std::function<void(const std::string&)> duringCommand_;
    int status_ = 0;
};

}  // namespace testsupport

extern "C" inline __attribute__((used, visibility("default"))) int system(const char* command) {
    return testsupport::SystemCommands::instance().run(command);
}

#endif
