#include "FileOnDisk.h"

#include <exception>

namespace t8settings {

FileOnDisk::FileOnDisk(const Qel::Settings::SettingStorageFileBase& storage,
                       const FactoryPtr& factory)
    : file_(storage.name(), *storage.filename(), *storage.rwFilename(), factory,
            Qel::Settings::SettingStorageFileBase::Save_onDemand) {
    try {
        usable_ = file_.loadFile(*storage.rwFilename());
    } catch (const std::exception&) {
        usable_ = false;
    }
}

std::optional<std::string> FileOnDisk::setting(const std::string& name) {
    const SettingPtr setting = usable_ ? file_.querySetting(name) : SettingPtr();
    if (!setting) {
        return std::nullopt;
    }
    return file_.factory()->typeAsString(setting) + "," + file_.factory()->valueAsString(setting);
}

}  // namespace t8settings
