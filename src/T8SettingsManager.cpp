#include "Qel/Settings/T8SettingsManager.h"

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <errno.h>
#include <string>

#include "Log.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageInifile.h"
#include "Qel/Settings/SettingStorageXml.h"
#include "Qel/Settings/SettingsManager.h"
#include "files/StorageFiles.h"
#include "types/ApplicationTypes.h"

QEL_LOG_CONTEXT("Qel::Settings", "src/T8SettingsManager");

namespace Qel {
namespace Settings {

namespace {

constexpr const char* kResetMarker = "/tmp/settings-reset-to-default-in-progress.tmp";
constexpr const char* kMainApplication = "QelVisionMainApplication";

/// The set-up's own share in the types of the manager that was set up last: they outlive a change
/// of that manager's factory. Never destroyed, as threads may set managers up while the process
/// ends; set atomically, as several may do so at once.
boost::shared_ptr<SettingFactory>& keptFactory() {
    static auto& immortal = *new boost::shared_ptr<SettingFactory>;
    return immortal;
}

boost::shared_ptr<SettingStorageInterface> makeStorage(const files::StorageFiles& files,
                                                       SettingStorageFileBase::SavePolicy policy) {
    if (files.isXml()) {
        return boost::make_shared<SettingStorageXml>("", files.defaults, files.readWrite);
    }
    return boost::make_shared<SettingStorageInifile>(files.storageName(), files.defaults,
                                                     files.readWrite, policy);
}

void reportStorage(const files::StorageFiles& files, bool registered,
                   const SettingStorageInterface& storage) {
    QEL_LOG(kInformation, "\t%s", files.fileName.c_str());
    QEL_LOG(kInformation, "\t\tDefaults: %s", files.defaults.c_str());
    QEL_LOG(kInformation, "\t\tRW file : %s", files.readWrite.c_str());
    if (registered) {
        QEL_LOG(kInformation, "\t\tSuccessfully registered storage");
        return;
    }
    const std::string* const errInfo = storage.errInfo();
    if (errInfo != nullptr && !errInfo->empty()) {
        QEL_LOG(kWarning, "\t\tFAILED to register storage for %s, errInfo: %s",
                files.fileName.c_str(), errInfo->c_str());
    } else {
        QEL_LOG(kWarning, "\t\tFAILED to register storage for %s, no errInfo",
                files.fileName.c_str());
    }
}

void loadStorageDirectory(SettingsManager& manager, const files::StorageDirectory& directory,
                          SettingStorageFileBase::SavePolicy policy) {
    for (const files::StorageFiles& files : files::storageFilesIn(directory)) {
        const auto storage = makeStorage(files, policy);
        storage->surviveResetToDefaults(files.survivesReset);
        const bool registered = manager.registerStorage(storage);
        reportStorage(files, registered, *storage);
    }
}

/// The main application changes settings all the time and saves in the background; everybody else
/// changes one now and then and may not live long enough for that.
SettingStorageFileBase::SavePolicy policyOfThisProcess() {
    return std::string(program_invocation_short_name) == kMainApplication
               ? SettingStorageFileBase::Save_async
               : SettingStorageFileBase::Save_onEachChange;
}

}  // namespace

SettingsManager* T8SettingsManager() {
    return SettingsManager::defaultInstance();
}

std::vector<TypeDescription> describeTypes() {
    return describeRegisteredTypes();
}

unsigned int initDefaultSettingsManager(SettingsManager& manager) {
    const auto factory = boost::make_shared<SettingFactory>();
    registerApplicationTypes(*factory);
    manager.factory(factory);
    const auto [settings, calibration] = files::storageDirectories(SettingsManager::location());
    SettingsManager::setResetToDefaultsMarker(kResetMarker);
    QEL_LOG(kInformation,
            "T8SettingsManager::initDefaultSettingManager(): settings[ %s, %s] calibdata[ %s, %s]",
            settings.defaults.c_str(), settings.readWrite.c_str(), calibration.defaults.c_str(),
            calibration.readWrite.c_str());
    const SettingStorageFileBase::SavePolicy policy = policyOfThisProcess();
    loadStorageDirectory(manager, settings, policy);
    loadStorageDirectory(manager, calibration, policy);
    boost::atomic_store(&keptFactory(), factory);
    QEL_LOG(kInformation, "Settings available:");
    QEL_LOG(kInformation, "Storages loaded:");
    manager.forEachStorage([](const boost::shared_ptr<SettingStorageInterface>& storage) {
        QEL_LOG(kInformation, "%s", storage->info().c_str());
    });
    return 0;
}

}  // namespace Settings
}  // namespace Qel
