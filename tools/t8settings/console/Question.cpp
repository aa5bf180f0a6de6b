#include "console/Question.h"

#include <algorithm>
#include <cctype>
#include <unistd.h>

#include "console/EndDeferred.h"
#include "console/Exit.h"
#include "console/Terminal.h"

namespace t8settings {

namespace {

/// With its line feed, unless the input ends before it or the process is to end.
std::string answerBefore(const EndDeferred& endDeferred) {
    std::string answer;
    char c = 0;
    do {
        endDeferred.waitToRead(STDIN_FILENO);
        if (endDeferred.isEnding() || ::read(STDIN_FILENO, &c, 1) != 1) {
            // What is said next would stand in the question's row.
            writeAll(STDERR_FILENO, "\n");
            break;
        }
        answer += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    } while (c != '\n');
    return answer;
}

}  // namespace

bool canAsk() {
    return ::isatty(STDIN_FILENO) == 1 && ::isatty(STDERR_FILENO) == 1;
}

void demandYes(const std::string& question, const std::string& otherwise) {
    const EndDeferred endDeferred;
    writeAll(STDERR_FILENO, visible(question) + " [y/N] ");
    const std::string answer = answerBefore(endDeferred);
    const bool isEnding = endDeferred.isEnding();
    if (isEnding) {
        complain(otherwise);
    }
    if (isEnding || (answer != "y\n" && answer != "yes\n")) {
        throw Failure(ExitCode::kFailed, otherwise);
    }
}

}  // namespace t8settings
