#include "OperationMode.h"

#include <fcntl.h>
#include <unistd.h>

#include "Log.h"
#include "files/FileStatus.h"

QEL_LOG_CONTEXT("Qel::Settings", "src/SettingsManager");

namespace Qel {
namespace Settings {

namespace {

constexpr mode_t kMarkerPermissions = 0666;  // less the umask: every process may look at it

std::mutex markerPathMutex;

}  // namespace

SettingsOperationMode OperationMode::query() {
    if (mode_.load() != SOM_Normal) {
        return mode_.load();
    }
    // The path too is read within: whoever gives the process another one and then sets the mode is
    // not overtaken by a look at the old one.
    const std::lock_guard<std::recursive_mutex> lock(transition_);
    const std::string marker = markerPath();
    if (mode_.load() == SOM_Normal && !marker.empty() && files::statusAt(marker)) {
        mode_.store(SOM_ResettingToDefault);
        QEL_LOG(kInformation,
                "SettingsManager::getSettingsOperationMode(): SOM_ResettingToDefault - other "
                "process created %s",
                marker.c_str());
    }
    return mode_.load();
}

void OperationMode::set(SettingsOperationMode mode) {
    const std::lock_guard<std::recursive_mutex> lock(transition_);
    if (mode == mode_.load()) {
        return;
    }
    QEL_LOG(kInformation, "SettingsManager::setSettingsOperationMode(): %d ==> %d",
            static_cast<int>(mode_.load()), static_cast<int>(mode));
    mode_.store(mode);
}

void OperationMode::announceReset() {
    const std::string marker = markerPath();
    if (marker.empty()) {
        return;
    }
    const std::lock_guard<std::recursive_mutex> lock(transition_);
    // The directory is open to everybody: a link laid there by somebody else is not followed.
    const int descriptor = ::open(
        marker.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kMarkerPermissions);
    if (descriptor < 0) {
        QEL_LOG(kWarning, "Unable to create reset-to-default marker file: %s", marker.c_str());
        return;
    }
    set(SOM_ResettingToDefault);
    ::close(descriptor);
}

std::string OperationMode::exchangeMarkerPath(const std::string& path) {
    const std::lock_guard<std::mutex> lock(markerPathMutex);
    std::string previous = SettingsManager::m_resetToDefaultsMarker;
    SettingsManager::m_resetToDefaultsMarker = path;
    return previous;
}

std::string OperationMode::markerPath() {
    const std::lock_guard<std::mutex> lock(markerPathMutex);
    return SettingsManager::m_resetToDefaultsMarker;
}

}  // namespace Settings
}  // namespace Qel
