#include "Qel/Settings/T8SettingsManager.h"

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <errno.h>
#include <glob.h>
#include <map>
#include <string>
#include <system_error>

#include "Log.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageInifile.h"
#include "Qel/Settings/SettingStorageXml.h"
#include "Qel/Settings/SettingsManager.h"
#include "types/ApplicationTypes.h"

QEL_LOG_CONTEXT("Qel::Settings", "src/T8SettingsManager");

namespace Qel {
namespace Settings {

namespace {

constexpr const char* kResetMarker = "/tmp/settings-reset-to-default-in-progress.tmp";
constexpr const char* kMainApplication = "QelVisionMainApplication";
constexpr std::size_t kSuffixLength = 4;

/// The settings files of a directory pair: name of the file to path of its defaults, "" for none.
using SettingsFiles = std::map<std::string, std::string>;

struct StorageDirectory {
    std::string defaults;
    std::string readWrite;
    bool survivesReset;
};

/// The set-up's own share in the types of the manager that was set up last: they outlive a change
/// of that manager's factory. Never destroyed, as threads may set managers up while the process
/// ends; set atomically, as several may do so at once.
boost::shared_ptr<SettingFactory>& keptFactory() {
    static auto& immortal = *new boost::shared_ptr<SettingFactory>;
    return immortal;
}

bool hasSuffix(const std::string& name, const char* suffix) {
    return name.size() >= kSuffixLength &&
           name.compare(name.size() - kSuffixLength, kSuffixLength, suffix) == 0;
}

/// A directory as a pattern that matches just itself.
std::string globEscaped(const std::string& directory) {
    std::string pattern;
    for (const char c : directory) {
        if (c == '*' || c == '?' || c == '[' || c == '\\') {
            pattern += '\\';
        }
        pattern += c;
    }
    return pattern;
}

/// A directory that is not there has no files; one that cannot be read may have some.
int sayUnreadable(const char* path, int error) {
    if (error == ENOENT || error == ENOTDIR) {
        return 0;
    }
    try {
        QEL_LOG(kError, "Directory '%s' cannot be read, its settings are left out: %s", path,
                std::generic_category().message(error).c_str());
    } catch (...) {
        // No exception may cross the C library, which calls this.
    }
    return 0;
}

/// What a pattern matches, given back to the C library whatever becomes of the look at it.
class Matches {
public:
    explicit Matches(const std::string& pattern)
        : found_(::glob(pattern.c_str(), 0, sayUnreadable, &paths_) == 0) {}
    ~Matches() { ::globfree(&paths_); }
    Matches(const Matches&) = delete;
    Matches& operator=(const Matches&) = delete;

    std::size_t count() const { return found_ ? paths_.gl_pathc : 0; }
    const char* operator[](std::size_t index) const { return paths_.gl_pathv[index]; }

private:
    glob_t paths_ = {};
    bool found_;
};

/// Calls `found` with name and path of every settings file in the directory.
template <class Found>
void listDirectory(const std::string& directory, Found found) {
    const Matches paths(globEscaped(directory) + "/*");
    for (std::size_t i = 0; i < paths.count(); ++i) {
        const std::string path = paths[i];
        const std::string name = path.substr(path.rfind('/') + 1);
        if (hasSuffix(name, ".xml") || hasSuffix(name, ".ini")) {
            found(name, path);
        }
    }
}

SettingsFiles listFiles(const StorageDirectory& directory) {
    SettingsFiles files;
    listDirectory(directory.defaults,
                  [&](const std::string& name, const std::string& path) { files[name] = path; });
    listDirectory(directory.readWrite,
                  [&](const std::string& name, const std::string&) { files.emplace(name, ""); });
    return files;
}

boost::shared_ptr<SettingStorageInterface> makeStorage(const std::string& fileName,
                                                       const std::string& defaults,
                                                       const std::string& readWrite,
                                                       SettingStorageFileBase::SavePolicy policy) {
    if (hasSuffix(fileName, ".xml")) {
        return boost::make_shared<SettingStorageXml>("", defaults, readWrite);
    }
    return boost::make_shared<SettingStorageInifile>(
        fileName.substr(0, fileName.size() - kSuffixLength), defaults, readWrite, policy);
}

void reportStorage(const std::string& fileName, const std::string& defaults,
                   const std::string& readWrite, bool registered,
                   const SettingStorageInterface& storage) {
    QEL_LOG(kInformation, "\t%s", fileName.c_str());
    QEL_LOG(kInformation, "\t\tDefaults: %s", defaults.c_str());
    QEL_LOG(kInformation, "\t\tRW file : %s", readWrite.c_str());
    if (registered) {
        QEL_LOG(kInformation, "\t\tSuccessfully registered storage");
        return;
    }
    const std::string* const errInfo = storage.errInfo();
    if (errInfo != nullptr && !errInfo->empty()) {
        QEL_LOG(kWarning, "\t\tFAILED to register storage for %s, errInfo: %s", fileName.c_str(),
                errInfo->c_str());
    } else {
        QEL_LOG(kWarning, "\t\tFAILED to register storage for %s, no errInfo", fileName.c_str());
    }
}

void loadStorageDirectory(SettingsManager& manager, const StorageDirectory& directory,
                          SettingStorageFileBase::SavePolicy policy) {
    for (const auto& file : listFiles(directory)) {
        const std::string& name = file.first;
        const std::string& defaults = file.second;
        const std::string readWrite = directory.readWrite + "/" + name;
        const auto storage = makeStorage(name, defaults, readWrite, policy);
        storage->surviveResetToDefaults(directory.survivesReset);
        const bool registered = manager.registerStorage(storage);
        reportStorage(name, defaults, readWrite, registered, *storage);
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
    const std::string& location = SettingsManager::location();
    const StorageDirectory settings = {location + "qel-default-settings", location + "settings",
                                       false};
    const StorageDirectory calibration = {location + "qel-default-calibration_data",
                                          location + "calibration_data", true};
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
