#ifndef QEL_SETTINGS_LOG_H
#define QEL_SETTINGS_LOG_H

#include "qlog/Qlog.h"

namespace Qel {
namespace Settings {

enum LogLevel : int { kInformation = 2, kWarning = 4, kError = 5 };

}  // namespace Settings
}  // namespace Qel

/// Fetches the log context of a source file, once, when the library is loaded.
#define QEL_LOG_CONTEXT(contextName, sourceName)                                                   \
    namespace {                                                                                    \
    constexpr const char* kLogSource = sourceName;                                                 \
    QlogContext* const logContext = QlogContext::GetLogContext(contextName, sourceName, __LINE__); \
    }                                                                                              \
    static_assert(true, "")

/// Formats the message only when the context lets its level through: most messages are traces that
/// nobody has asked for.
#define QEL_LOG(level, ...)                                                   \
    do {                                                                      \
        if (logContext->isEnabled(level)) {                                   \
            QlogPrintf(logContext, level, kLogSource, __LINE__, __VA_ARGS__); \
        }                                                                     \
    } while (false)

#endif
