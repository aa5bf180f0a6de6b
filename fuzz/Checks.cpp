#include "Checks.h"

#include <boost/make_shared.hpp>

#include "Qel/Settings/SettingHolder.h"
#include "types/ApplicationTypes.h"

namespace fuzz {

using namespace Qel::Settings;

boost::shared_ptr<SettingFactory> productTypes() {
    static const boost::shared_ptr<SettingFactory> types = [] {
        const auto factory = boost::make_shared<SettingFactory>();
        registerApplicationTypes(*factory);
        return factory;
    }();
    return types;
}

Settings settingsOf(const SettingStorageInterface& storage) {
    const boost::shared_ptr<SettingFactory> types = productTypes();
    Settings settings;
    for (const auto& entry : storage.settingsSet()) {
        require(entry.first == entry.second->name(), "'" + entry.first + "' under another name");
        settings[entry.first] =
            types->typeAsString(entry.second) + "," + types->valueAsString(entry.second);
    }
    return settings;
}

std::string listOf(const Settings& settings) {
    std::string lines;
    for (const auto& setting : settings) {
        lines += "  " + setting.first + " = " + setting.second + "\n";
    }
    return lines;
}

}  // namespace fuzz
