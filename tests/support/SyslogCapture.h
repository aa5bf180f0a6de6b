#ifndef TESTS_SUPPORT_SYSLOGCAPTURE_H
#define TESTS_SUPPORT_SYSLOGCAPTURE_H

#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

namespace testsupport {

/// One call of `syslog`: priority and format as given, and the text that they make.
struct SyslogEntry {
    int priority;
    std::string format;
    std::string text;
};

inline std::vector<SyslogEntry>*& syslogSink() {
    static std::vector<SyslogEntry>* sink = nullptr;
    return sink;
}

/// Records what the program sends to the system log while it lives; one at a time, one thread.
///
/// The header takes the place of `syslog` in the whole program, which then sends nothing at all to
/// the system log: include it in one source, and not together with <syslog.h>, whose inline
/// functions would be in its way.
class SyslogCapture {
public:
    SyslogCapture() { syslogSink() = &entries_; }
    ~SyslogCapture() { syslogSink() = nullptr; }
    SyslogCapture(const SyslogCapture&) = delete;
    SyslogCapture& operator=(const SyslogCapture&) = delete;

    const std::vector<SyslogEntry>& entries() const { return entries_; }

private:
    std::vector<SyslogEntry> entries_;
};

inline void recordSyslog(int priority, const char* format, va_list arguments) {
    if (syslogSink() == nullptr) {
        return;
    }
    va_list counted;
    va_copy(counted, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, counted);
    va_end(counted);
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, arguments);
    text.pop_back();
    syslogSink()->push_back({priority, format, text});
}

}  // namespace testsupport

extern "C" __attribute__((visibility("default"))) void syslog(int priority, const char* format,
                                                              ...) {
    va_list arguments;
    va_start(arguments, format);
    testsupport::recordSyslog(priority, format, arguments);
    va_end(arguments);
}

/// What a call of `syslog` becomes where the C library's checks are compiled in.
extern "C" __attribute__((visibility("default"))) void __syslog_chk(int priority, int,
                                                                    const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    testsupport::recordSyslog(priority, format, arguments);
    va_end(arguments);
}

#endif
