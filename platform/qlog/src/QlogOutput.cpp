#include "QlogOutput.h"

#include <cerrno>
#include <cstddef>
#include <sys/types.h>
#include <syslog.h>
#include <unistd.h>

namespace qlog {

namespace {

constexpr int kWarning = 4;
constexpr int kError = 5;

int syslogPriority(int level) {
    return level >= kError ? LOG_ERR : level >= kWarning ? LOG_WARNING : LOG_INFO;
}

std::string describe(const Record& record) {
    return std::string(record.context) + " " + record.source + ":" + std::to_string(record.line) +
           ": " + record.text;
}

}  // namespace

void writeLine(std::string text) {
    if (text.empty() || text.back() != '\n') {
        text += '\n';
    }
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t count = ::write(STDERR_FILENO, text.data() + done, text.size() - done);
        if (count > 0) {
            done += static_cast<std::size_t>(count);
        } else if (count == 0 || errno != EINTR) {
            return;
        }
    }
}

void MessageOutput::setSink(Sink sink) {
    // The former sink leaves with the parameter, after the lock: its destructor may log.
    const std::lock_guard<std::mutex> lock(sinkMutex_);
    sink_.swap(sink);
}

bool MessageOutput::writeToSink(const Record& record) {
    const std::lock_guard<std::mutex> lock(sinkMutex_);
    if (!sink_) {
        return false;
    }
    sink_(record);
    return true;
}

void MessageOutput::write(const Record& record) {
    if (writeToSink(record)) {
        return;
    }
    if (output_ == Output::kSyslog) {
        ::syslog(syslogPriority(record.level), "%s", describe(record).c_str());
    } else {
        writeLine(std::to_string(record.level) + " " + describe(record));
    }
}

}  // namespace qlog
