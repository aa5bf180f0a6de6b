#ifndef QLOG_QLOGREGISTRY_H
#define QLOG_QLOGREGISTRY_H

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "QlogEnvironment.h"
#include "qlog/Qlog.h"

/// All contexts of the process and their thresholds.
///
/// One lock guards both; it is held for look-ups alone, never while a message is written. Messages
/// read a context's own atomic threshold and take no lock of this class.
class QlogRegistry {
public:
    explicit QlogRegistry(qlog::Thresholds thresholds) : thresholds_(std::move(thresholds)) {}

    QlogContext* context(const std::string& name, const std::string& source);
    void setThreshold(const std::string& name, int threshold);
    void setDefaultThreshold(int threshold);
    void resetThresholds();

private:
    int thresholdOf(const std::string& name) const;
    void applyThresholds();

    std::mutex mutex_;
    qlog::Thresholds thresholds_;
    std::map<std::pair<std::string, std::string>, std::unique_ptr<QlogContext>> contexts_;
};

#endif
