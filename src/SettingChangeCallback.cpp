#include "Qel/Settings/SettingChangeCallback.h"

namespace Qel {
namespace Settings {

SettingChangeCallback::~SettingChangeCallback() = default;

bool SettingChangeCallback::changing(std::string) {
    return true;
}

void SettingChangeCallback::changed(std::string) {}

}  // namespace Settings
}  // namespace Qel
