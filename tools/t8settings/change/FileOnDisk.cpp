#include "change/FileOnDisk.h"

#include <exception>
#include <filesystem>

#include "change/Foresight.h"

namespace t8settings {

namespace {

using Qel::Settings::SettingStorageFileBase;

/// Under which a load begins to read the file, until the file says another one. The defaults come
/// first, when nothing but their path says one.
std::string nameBefore(const SettingStorageFileBase& storage, const std::string& path) {
    return path == *storage.filename() ? std::filesystem::path(path).stem().string()
                                       : storage.name();
}

}  // namespace

FileOnDisk::FileOnDisk(const SettingStorageFileBase& storage, const std::string& path,
                       const FactoryPtr& factory)
    : file_(nameBefore(storage, path), *storage.filename(), *storage.rwFilename(), factory,
            SettingStorageFileBase::Save_onDemand) {
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
