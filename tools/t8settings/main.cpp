#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <string>
#include <unistd.h>

#include "CommandLine.h"
#include "console/Terminal.h"
#include "store/LibraryLog.h"

namespace {

using t8settings::ExitCode;
using t8settings::Result;

Result resultOf(int argc, const char* const* argv) {
    try {
        return t8settings::runCommandLine(argc, argv);
    } catch (const t8settings::Failure& failure) {
        t8settings::complain(failure.what());
        return {"", failure.code(), failure.changed()};
    } catch (const std::exception& error) {
        t8settings::complain(error.what());
        return {"", ExitCode::kFailed};
    }
}

/// Gives a standard descriptor that is closed something that fails as it does, so that no file that
/// is opened later gets its number and takes what was meant for it.
void occupyStandardDescriptors() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(descriptor, F_GETFD) < 0) {
            // The lowest number that is free.
            static_cast<void>(
                ::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY));
        }
    }
}

}  // namespace

int main(int argc, const char* const* argv) {
    occupyStandardDescriptors();
    t8settings::LibraryLog::instance().install();
    Result result = resultOf(argc, argv);
    if (result.changed || !result.deed.empty()) {
        // The process is to end in order, also when nobody reads what it says.
        std::signal(SIGPIPE, SIG_IGN);
    }
    if (!t8settings::writeAll(STDOUT_FILENO, result.output)) {
        t8settings::complain(std::string("cannot write to standard output: ") +
                             std::strerror(errno) +
                             (result.deed.empty() ? "" : "\n" + result.deed + " all the same"));
        result.code = ExitCode::kFailed;
    }
    if (!result.changed) {
        std::_Exit(static_cast<int>(result.code));
    }
    return static_cast<int>(result.code);
}
