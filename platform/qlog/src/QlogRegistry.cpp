#include "QlogRegistry.h"

QlogContext* QlogRegistry::context(const std::string& name, const std::string& source) {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::unique_ptr<QlogContext>& entry = contexts_[{name, source}];
    if (!entry) {
        entry.reset(new QlogContext(name, thresholdOf(name)));
    }
    return entry.get();
}

void QlogRegistry::setThreshold(const std::string& name, int threshold) {
    const std::lock_guard<std::mutex> lock(mutex_);
    thresholds_.byName[name] = threshold;
    applyThresholds();
}

void QlogRegistry::setDefaultThreshold(int threshold) {
    const std::lock_guard<std::mutex> lock(mutex_);
    thresholds_.byDefault = threshold;
    applyThresholds();
}

void QlogRegistry::resetThresholds() {
    const std::lock_guard<std::mutex> lock(mutex_);
    thresholds_ = qlog::Thresholds();
    applyThresholds();
}

int QlogRegistry::thresholdOf(const std::string& name) const {
    const auto found = thresholds_.byName.find(name);
    return found == thresholds_.byName.end() ? thresholds_.byDefault : found->second;
}

void QlogRegistry::applyThresholds() {
    for (const auto& [key, context] : contexts_) {
        context->threshold_.store(thresholdOf(key.first), std::memory_order_relaxed);
    }
}
