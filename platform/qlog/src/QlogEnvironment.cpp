#include "QlogEnvironment.h"

#include <charconv>
#include <cstdlib>
#include <string_view>
#include <system_error>

namespace qlog {

namespace {

std::string_view variable(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? std::string_view() : std::string_view(value);
}

bool readLevel(std::string_view text, int& level) {
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, level);
    return error == std::errc() && stop == end;
}

/// One "name=level" or "level". The last "=" counts, since a context may be called anything.
bool readPiece(std::string_view piece, Thresholds& thresholds) {
    const std::size_t equals = piece.rfind('=');
    if (equals == std::string_view::npos) {
        return readLevel(piece, thresholds.byDefault);
    }
    int level = 0;
    if (equals == 0 || !readLevel(piece.substr(equals + 1), level)) {
        return false;
    }
    thresholds.byName[std::string(piece.substr(0, equals))] = level;
    return true;
}

void readThresholds(std::string_view text, Environment& environment) {
    while (!text.empty()) {
        const std::string_view piece = text.substr(0, text.find(','));
        if (!readPiece(piece, environment.thresholds)) {
            environment.complaints.push_back("QLOG: \"" + std::string(piece) +
                                             "\" is neither NAME=LEVEL nor LEVEL, ignored");
        }
        text.remove_prefix(piece.size() == text.size() ? piece.size() : piece.size() + 1);
    }
}

void readOutput(std::string_view text, Environment& environment) {
    if (text == "syslog") {
        environment.output = Output::kSyslog;
    } else if (!text.empty() && text != "stderr") {
        environment.complaints.push_back("QLOG_TO: \"" + std::string(text) +
                                         "\" is neither stderr nor syslog, ignored");
    }
}

}  // namespace

Environment readEnvironment() {
    Environment environment;
    readThresholds(variable("QLOG"), environment);
    readOutput(variable("QLOG_TO"), environment);
    return environment;
}

}  // namespace qlog
