#ifndef TESTS_SUPPORT_FAKESETUP_H
#define TESTS_SUPPORT_FAKESETUP_H

#include <functional>

#include "Qel/Settings/SettingsManager.h"
#include "Qel/Settings/T8SettingsManager.h"

namespace testsupport {

/// What takes the place of the product's set-up of a default manager in this program; nothing, with
/// the result 0, until a test says otherwise.
inline std::function<unsigned int(Qel::Settings::SettingsManager&)>& setUp() {
    static std::function<unsigned int(Qel::Settings::SettingsManager&)> fake;
    return fake;
}

}  // namespace testsupport

namespace Qel {
namespace Settings {

// The library calls it as any other exported function, so the program's own is found first. To be
// included by one source of a program.
unsigned int initDefaultSettingsManager(SettingsManager& manager) {
    return testsupport::setUp() ? testsupport::setUp()(manager) : 0;
}

}  // namespace Settings
}  // namespace Qel

#endif
