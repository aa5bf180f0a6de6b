#ifndef QLOG_QLOGOUTPUT_H
#define QLOG_QLOGOUTPUT_H

#include <mutex>
#include <string>

#include "QlogEnvironment.h"
#include "qlog/QlogControl.h"

namespace qlog {

/// Writes one line to the process's standard error by a single write(), so that the lines of
/// several threads and processes do not mix. A newline that the text ends in is not doubled.
void writeLine(std::string text);

/// Where passed messages go: the sink if one is set, else standard error or syslog.
///
/// One lock guards the sink and is held while it runs; the default output needs none.
class MessageOutput {
public:
    explicit MessageOutput(Output output) : output_(output) {}

    void setSink(Sink sink);
    void write(const Record& record);

private:
    bool writeToSink(const Record& record);

    const Output output_;
    std::mutex sinkMutex_;
    Sink sink_;
};

}  // namespace qlog

#endif
