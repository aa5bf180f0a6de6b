#include "store/SetUp.h"

#include <Qel/Settings/T8SettingsManager.h>

#include "files/FileStatus.h"

namespace t8settings {

namespace {

using Qel::Settings::SettingsManager;

/// A store below a place that nothing can lie below.
SetUp setUpNowhere() {
    const std::string location = SettingsManager::location("/dev/null");
    const std::string marker = SettingsManager::setResetToDefaultsMarker("");
    SettingsManager manager;
    Qel::Settings::initDefaultSettingsManager(manager);
    SettingsManager::location(location);
    const std::string machinesMarker = SettingsManager::setResetToDefaultsMarker(marker);
    return {static_cast<const SettingsManager&>(manager).factory(), machinesMarker};
}

}  // namespace

const SetUp& setUpWithoutFiles() {
    static const SetUp setUp = setUpNowhere();
    return setUp;
}

void demandNoReset(const std::string& marker) {
    const std::string& path = marker.empty() ? setUpWithoutFiles().marker : marker;
    if (Qel::Settings::files::statusAt(path)) {
        throw resetInProgress(path);
    }
}

Failure resetInProgress(const std::string& marker) {
    return {ExitCode::kRefused, "a reset to defaults is in progress, " + marker +
                                    " exists: nothing is saved until the restart"};
}

}  // namespace t8settings
