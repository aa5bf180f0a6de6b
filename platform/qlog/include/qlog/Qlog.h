#ifndef QLOG_QLOG_H
#define QLOG_QLOG_H

#include <atomic>
#include <string>

#define QLOG_EXPORT __attribute__((visibility("default")))

/// Where a source file's messages belong: a name that people switch on and off, and a threshold.
///
/// Levels: 2 information and trace, 4 warnings, 5 errors. A message passes when its level is at
/// least the threshold of its context. Any thread may use any context at any time, also during
/// static initialisation and destruction.
class QLOG_EXPORT QlogContext {
public:
    /// The context of this name for this source file; the same object for the same pair. Never
    /// null, lives as long as the process. `line` tells a log server where the context was fetched;
    /// it does not tell contexts apart.
    static QlogContext* GetLogContext(const char* name, const char* source, int line);

    QlogContext(const QlogContext&) = delete;
    QlogContext& operator=(const QlogContext&) = delete;

    /// Whether a message of this level passes. Cheap enough to ask before every message.
    bool isEnabled(int level) const { return level >= threshold_.load(std::memory_order_relaxed); }

    /// The name that the context was fetched by, such as "Qel::Settings".
    const char* name() const { return name_.c_str(); }

private:
    friend class QlogRegistry;
    QlogContext(std::string name, int threshold);

    const std::string name_;
    std::atomic<int> threshold_;
};

/// Writes one message when the context lets its level through; nothing is formatted otherwise.
///
/// `source` and `line` say where the message comes from, `format` and what follows are as for
/// printf, with no limit to the length of the text. `errno` is left as it was.
QLOG_EXPORT void QlogPrintf(QlogContext* context, int level, const char* source, int line,
                            const char* format, ...) __attribute__((format(printf, 5, 6)));

#endif
