#include "store/LibraryLog.h"

#include <algorithm>
#include <utility>

#include "console/Terminal.h"
#include "qlog/QlogControl.h"
#include "store/LibraryWords.h"

namespace t8settings {

namespace {

constexpr const char* kContexts[] = {"Qel::Settings", "settings.inifile"};
constexpr int kAboveAllLevels = 10;

int thresholdOf(const char* contextName) {
    const QlogContext& context =
        *QlogContext::GetLogContext(contextName, "tools/t8settings/LibraryLog", __LINE__);
    int level = 0;
    while (level < kAboveAllLevels && !context.isEnabled(level)) {
        ++level;
    }
    return level;
}

std::string_view withoutOuterSpace(std::string_view text) {
    constexpr std::string_view kSpace = " \t\n";
    text.remove_prefix(std::min(text.find_first_not_of(kSpace), text.size()));
    text.remove_suffix(text.size() - (text.find_last_not_of(kSpace) + 1));
    return text;
}

}  // namespace

LibraryLog& LibraryLog::instance() {
    static LibraryLog& log = *new LibraryLog;
    return log;
}

void LibraryLog::install() {
    for (const char* const context : kContexts) {
        shownFrom_[context] = thresholdOf(context);
        if (shownFrom_[context] > kWarning) {
            qlog::setThreshold(context, kWarning);
        }
    }
    qlog::setSink([this](const qlog::Record& record) { receive(record); });
}

void LibraryLog::receive(const qlog::Record& record) {
    const auto shownFrom = shownFrom_.find(record.context);
    const bool wanted = shownFrom == shownFrom_.end() || record.level >= shownFrom->second;
    Message message = {record.level, std::string(withoutOuterSpace(record.text)), wanted};
    const std::lock_guard<std::mutex> lock(mutex_);
    message.wanted = wanted && !isPassedOver(message.text);
    if (holding_ || message.level >= kWarning) {
        messages_.push_back(message);
    }
    if (message.wanted && !holding_) {
        show(message);
    }
}

bool LibraryLog::isPassedOver(const std::string& text) const {
    return std::any_of(passedOver_.begin(), passedOver_.end(), [&text](const std::string& known) {
        return text.find(known) != std::string::npos;
    });
}

void LibraryLog::show(const Message& message) {
    const char* const word = message.level >= kError     ? "error: "
                             : message.level >= kWarning ? "warning: "
                                                         : "trace: ";
    const bool isForPeople = message.level >= kWarning;
    const std::string text = word + (isForPeople ? inPlainWords(message.text) : message.text);
    // A load looks twice at a file that it is about to set aside, and says so each time.
    if (!isForPeople || text != lastShown_) {
        complain(text);
        lastShown_ = text;
    }
}

std::vector<LibraryLog::Message> LibraryLog::take() {
    const std::lock_guard<std::mutex> lock(mutex_);
    holding_ = false;
    return std::exchange(messages_, {});
}

std::vector<LibraryLog::Message> LibraryLog::takeAndHoldOn() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(messages_, {});
}

bool LibraryLog::hold() {
    const std::lock_guard<std::mutex> lock(mutex_);
    messages_.clear();
    return std::exchange(holding_, true);
}

void LibraryLog::passOver(const std::vector<std::string>& texts) {
    const std::lock_guard<std::mutex> lock(mutex_);
    passedOver_ = texts;
}

void LibraryLog::release() {
    const std::vector<Message> messages = take();
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const Message& message : messages) {
        if (message.wanted) {
            show(message);
        }
    }
}

std::string reasons(const std::vector<LibraryLog::Message>& messages) {
    std::vector<std::string> texts;
    for (const LibraryLog::Message& message : messages) {
        const std::string text = inPlainWords(message.text);
        if (message.level >= LibraryLog::kError &&
            std::find(texts.begin(), texts.end(), text) == texts.end()) {
            texts.push_back(text);
        }
    }
    std::string lines;
    for (const std::string& text : texts) {
        lines += (lines.empty() ? "" : "\n") + text;
    }
    return lines;
}

}  // namespace t8settings
