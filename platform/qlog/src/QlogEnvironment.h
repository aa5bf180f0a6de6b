#ifndef QLOG_QLOGENVIRONMENT_H
#define QLOG_QLOGENVIRONMENT_H

#include <map>
#include <string>
#include <vector>

namespace qlog {

constexpr int kDefaultThreshold = 4;

/// The threshold of each context: its name's own or else the default.
struct Thresholds {
    int byDefault = kDefaultThreshold;
    std::map<std::string, int> byName;
};

enum class Output { kStderr, kSyslog };

/// What people ask for by environment variables.
struct Environment {
    Thresholds thresholds;
    Output output = Output::kStderr;
    std::vector<std::string> complaints;  ///< one line for each piece that makes no sense
};

/// Reads `QLOG`, such as "Qel::Settings=2,settings.inifile=4" or "2" for all contexts, and
/// `QLOG_TO`, "stderr" or "syslog".
Environment readEnvironment();

}  // namespace qlog

#endif
