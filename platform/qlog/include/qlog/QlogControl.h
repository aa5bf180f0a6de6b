#ifndef QLOG_QLOGCONTROL_H
#define QLOG_QLOGCONTROL_H

#include <functional>
#include <string>

#include "qlog/Qlog.h"

/// The stand-in's own controls, for tests and tools; a product's logging library has no such thing.
namespace qlog {

/// One message that passed its context's threshold. The texts live for the sink's call only.
struct Record {
    const char* context;  ///< the context's name
    int level;            ///< as given to QlogPrintf
    const char* source;   ///< as given to QlogPrintf
    int line;             ///< as given to QlogPrintf
    const std::string&
        text;  ///< the formatted text as it is, with its trailing newline if it has one
};

using Sink = std::function<void(const Record&)>;

/// Sends every message to `sink` in place of the default output; an empty function restores that.
///
/// The sink runs on the logging thread, one call at a time, under a lock of its own: it must not
/// log and must not throw. When this call returns, the former sink is not running any more.
void QLOG_EXPORT setSink(Sink sink);

/// Sets the threshold of all contexts called `contextName`, those fetched later included.
void QLOG_EXPORT setThreshold(const std::string& contextName, int threshold);

/// Sets the threshold of all contexts whose name has none of its own, those fetched later included.
void QLOG_EXPORT setDefaultThreshold(int threshold);

/// Forgets what the environment and earlier calls have set: every threshold is 4 again.
void QLOG_EXPORT resetThresholds();

}  // namespace qlog

#endif
