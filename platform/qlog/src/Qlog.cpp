#include "qlog/Qlog.h"

#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <new>
#include <utility>

#include "QlogEnvironment.h"
#include "QlogOutput.h"
#include "QlogRegistry.h"
#include "qlog/QlogControl.h"

namespace {

struct Log {
    explicit Log(qlog::Environment environment)
        : registry(std::move(environment.thresholds)), output(environment.output) {
        for (const std::string& complaint : environment.complaints) {
            qlog::writeLine(complaint);
        }
    }

    QlogRegistry registry;
    qlog::MessageOutput output;
};

/// Never destroyed: destructors of static objects log too, in an order that nobody controls.
Log& theLog() {
    static Log& log = *new Log(qlog::readEnvironment());
    return log;
}

const char* orEmpty(const char* text) {
    return text == nullptr ? "" : text;
}

/// A text that cannot be formatted (a bad wide character, say) is better shown raw than lost.
__attribute__((format(printf, 1, 0))) std::string formatted(const char* format, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    char shortText[512];
    const int length = std::vsnprintf(shortText, sizeof shortText, format, arguments);
    std::string text;
    if (length < 0) {
        text = format;
    } else if (length < static_cast<int>(sizeof shortText)) {
        text.assign(shortText, static_cast<std::size_t>(length));
    } else {
        text.resize(static_cast<std::size_t>(length));
        std::vsnprintf(text.data(), text.size() + 1, format, again);
    }
    va_end(again);
    return text;
}

}  // namespace

QlogContext::QlogContext(std::string name, int threshold)
    : name_(std::move(name)), threshold_(threshold) {}

QlogContext* QlogContext::GetLogContext(const char* name, const char* source, int /*line*/) {
    return theLog().registry.context(orEmpty(name), orEmpty(source));
}

void QlogPrintf(QlogContext* context, int level, const char* source, int line, const char* format,
                ...) {
    if (!context->isEnabled(level)) {
        return;
    }
    const int savedErrno = errno;
    va_list arguments;
    va_start(arguments, format);
    try {
        const std::string text = formatted(format, arguments);
        theLog().output.write({context->name(), level, orEmpty(source), line, text});
    } catch (const std::bad_alloc&) {
        // Who logs a shortage of memory must be able to go on after it.
    }
    va_end(arguments);
    errno = savedErrno;
}

void qlog::setSink(Sink sink) {
    theLog().output.setSink(std::move(sink));
}

void qlog::setThreshold(const std::string& contextName, int threshold) {
    theLog().registry.setThreshold(contextName, threshold);
}

void qlog::setDefaultThreshold(int threshold) {
    theLog().registry.setDefaultThreshold(threshold);
}

void qlog::resetThresholds() {
    theLog().registry.resetThresholds();
}
