#include <stdexcept>

#include "OperationMode.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageBase.h"
#include "Qel/Settings/SettingsManager.h"

namespace Qel {
namespace Settings {

SettingStorageInterface::~SettingStorageInterface() = default;

SettingStorageBase::SettingStorageBase(const std::string& name)
    : names_{name},
      name_(&names_.front()),
      settingsManager_(nullptr),
      readonly_(false),
      surviveResetToDefaults_(false),
      publishedMode_(nullptr) {}

SettingStorageBase::~SettingStorageBase() = default;

const std::string& SettingStorageBase::name() const {
    return *name_.load();
}

const std::string& SettingStorageBase::name(const std::string& newName) {
    const std::lock_guard<std::mutex> lock(linksMutex_);
    if (newName != *name_.load()) {
        names_.push_front(newName);
        name_.store(&names_.front());
    }
    return *name_.load();
}

const std::string* SettingStorageBase::filename() const {
    return nullptr;
}

const std::string* SettingStorageBase::filename(const std::string&) {
    return nullptr;
}

const std::string* SettingStorageBase::rwFilename() const {
    return nullptr;
}

const std::string* SettingStorageBase::rwFilename(const std::string&) {
    return nullptr;
}

bool SettingStorageBase::readonly() const {
    return readonly_.load();
}

bool SettingStorageBase::readonly(bool value) {
    return readonly_.exchange(value);
}

SettingsManager* SettingStorageBase::settingsManager() const {
    return settingsManager_.load();
}

void SettingStorageBase::settingsManager(SettingsManager* manager) {
    const std::lock_guard<std::mutex> lock(linksMutex_);
    if (settingsManager_.load() != nullptr) {
        throw std::runtime_error("Storage already registered with a SettingsManager.");
    }
    settingsManager_.store(manager);
    if (manager != nullptr) {
        mode_ = manager->mode_;
        publishedMode_.store(mode_.get(), std::memory_order_release);
    }
}

boost::shared_ptr<SettingFactory> SettingStorageBase::factory() const {
    const std::lock_guard<std::mutex> lock(linksMutex_);
    return factory_;
}

void SettingStorageBase::setFactory(boost::shared_ptr<SettingFactory> factory) {
    const std::lock_guard<std::mutex> lock(linksMutex_);
    factory_.swap(factory);
}

bool SettingStorageBase::init(SettingsManager* manager, boost::shared_ptr<SettingFactory> factory) {
    if (manager == nullptr) {
        return false;
    }
    settingsManager(manager);
    if (factory && !this->factory()) {
        setFactory(factory);
    }
    return true;
}

bool SettingStorageBase::save() {
    return true;
}

const std::string* SettingStorageBase::errInfo() const {
    return nullptr;
}

bool SettingStorageBase::registerSetting(boost::shared_ptr<SettingHolder>) {
    return false;
}

boost::shared_ptr<SettingHolder> SettingStorageBase::querySetting(std::string) {
    return boost::shared_ptr<SettingHolder>();
}

std::string SettingStorageBase::info() const {
    return name() + (readonly() ? " RO" : " RW");
}

bool SettingStorageBase::surviveResetToDefaults() const {
    return surviveResetToDefaults_.load();
}

void SettingStorageBase::surviveResetToDefaults(bool survives) {
    surviveResetToDefaults_.store(survives);
}

bool SettingStorageBase::changing(std::string) {
    return !readonly();
}

}  // namespace Settings
}  // namespace Qel
