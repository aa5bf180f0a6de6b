#include "FileOnDisk.h"

#include <exception>

#include "Foresight.h"

namespace t8settings {

FileOnDisk::FileOnDisk(const Qel::Settings::SettingStorageFileBase& storage,
                       const std::string& path, const FactoryPtr& factory)
    : file_(storage.name(), *storage.filename(), *storage.rwFilename(), factory,
            Qel::Settings::SettingStorageFileBase::Save_onDemand) {
    try {
        usable_ = file_.loadFile(path);
    } catch (const std::exception&) {
        usable_ = false;
    }
}

SettingPtr FileOnDisk::find(const std::string& name) {
    return usable_ ? file_.querySetting(name) : SettingPtr();
}

std::map<std::string, std::string> FileOnDisk::settings() const {
    return usable_ ? textsOf(file_, file_.factory()) : SettingTexts();
}

}  // namespace t8settings
