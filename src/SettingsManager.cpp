#include "Qel/Settings/SettingsManager.h"

#include <boost/make_shared.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/once.hpp>
#include <exception>
#include <memory>
#include <stdexcept>
#include <utility>

#include "DefaultInstanceCount.h"
#include "Log.h"
#include "NameIndex.h"
#include "OperationMode.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageFileBase.h"
#include "Qel/Settings/SettingsStorageFileAsyncSaver.h"
#include "Qel/Settings/T8SettingsManager.h"

QEL_LOG_CONTEXT("Qel::Settings", "src/SettingsManager");

namespace Qel {
namespace Settings {

std::atomic<SettingsManager*> SettingsManager::m_defaultSettingsManager{nullptr};
// Never destroyed: threads that are still changing settings while the process ends look at them.
std::string& SettingsManager::m_location = *new std::string("/");
std::string& SettingsManager::m_resetToDefaultsMarker = *new std::string;
int defaultInstanceCount = 0;

namespace {

using SharedLock = boost::shared_lock<boost::shared_mutex>;
using ExclusiveLock = boost::unique_lock<boost::shared_mutex>;

boost::once_flag defaultInstanceOnce = BOOST_ONCE_INIT;

// What a set-up that threw has left half-built, for the next try to clear away.
SettingsManager* leftover = nullptr;

bool endsWith(const std::string& text, char last) {
    return !text.empty() && text.back() == last;
}

std::vector<boost::shared_ptr<SettingHolder>> settingsOf(const SettingStorageInterface& storage) {
    if (const auto* const file = dynamic_cast<const SettingStorageFileBase*>(&storage)) {
        return file->snapshot();
    }
    std::vector<boost::shared_ptr<SettingHolder>> settings;
    for (const auto& entry : storage.settingsSet()) {
        settings.push_back(entry.second);
    }
    return settings;
}

bool isPrefixOf(const std::string& prefix, const std::string& text) {
    return text.compare(0, prefix.size(), prefix) == 0;
}

}  // namespace

SettingsManager::SettingsManager()
    : settings_(std::make_unique<NameIndex>()), mode_(boost::make_shared<OperationMode>()) {}

SettingsManager::~SettingsManager() {
    try {
        if (auto* const saver = SettingsStorageFileAsyncSaver::instance()) {
            // The saver serves the whole process, whose default manager may live on.
            const SettingsManager* const remaining = existingInstance();
            saver->endManager([this] { mode_->retire(); },
                              remaining != nullptr && remaining != this);
        }
    } catch (const std::exception& e) {
        QEL_LOG(kError, "SettingsManager: stopping the background saver failed: %s", e.what());
    } catch (...) {
        QEL_LOG(kError, "SettingsManager: stopping the background saver failed");
    }
    mode_->retire();
}

SettingsManager* SettingsManager::defaultInstance() {
    boost::call_once(defaultInstanceOnce, [] { createDefaultSettingsManager(); });
    return existingInstance();
}

SettingsManager* SettingsManager::existingInstance() {
    return m_defaultSettingsManager.load();
}

int SettingsManager::createDefaultSettingsManager() {
    if (SettingsManager* const discarded = std::exchange(leftover, nullptr)) {
        // Its storages write the same files as the new manager's, so it must be gone before.
        delete discarded;
        m_defaultSettingsManager.store(nullptr);
    }
    auto manager = std::make_unique<SettingsManager>();
    manager->factory(boost::make_shared<SettingFactory>());
    SettingsManager& created = *manager;
    m_defaultSettingsManager.store(manager.release());
    int result = 0;
    try {
        result = static_cast<int>(initDefaultSettingsManager(created));
    } catch (...) {
        // A manager that was made within this set-up may have failed too.
        delete std::exchange(leftover, &created);
        m_defaultSettingsManager.store(&created);
        throw;
    }
    ++defaultInstanceCount;
    if (auto* const saver = SettingsStorageFileAsyncSaver::instance()) {
        // Discarding an earlier manager has stopped it.
        saver->startOrSay();
    }
    return result;
}

void SettingsManager::reloadSettings() {
    SettingsManager* const discarded = existingInstance();
    if (discarded == nullptr) {
        return;
    }
    flushAllSettings();
    delete discarded;
    m_defaultSettingsManager.store(nullptr);
    if (discarded == leftover) {
        leftover = nullptr;
    } else {
        --defaultInstanceCount;
    }
    defaultInstanceOnce = BOOST_ONCE_INIT;
}

void SettingsManager::flushAllSettings() {
    if (auto* const saver = SettingsStorageFileAsyncSaver::instance()) {
        saver->flush();
    }
}

const std::string& SettingsManager::location() {
    return m_location;
}

std::string SettingsManager::location(const std::string& directory) {
    std::string previous = m_location;  // which `directory` may be a reference to
    m_location = directory;
    if (!endsWith(m_location, '/')) {
        m_location += '/';
    }
    return previous;
}

std::string SettingsManager::setResetToDefaultsMarker(const std::string& path) {
    return OperationMode::exchangeMarkerPath(path);
}

boost::shared_ptr<SettingFactory> SettingsManager::factory(
    boost::shared_ptr<SettingFactory> newFactory) {
    boost::upgrade_lock<boost::shared_mutex> lock(lock_);
    const boost::upgrade_to_unique_lock<boost::shared_mutex> exclusive(lock);
    factory_.swap(newFactory);
    return newFactory;
}

boost::shared_ptr<SettingFactory> SettingsManager::factory() const {
    const SharedLock lock(lock_);
    return factory_;
}

bool SettingsManager::registerStorage(boost::shared_ptr<SettingStorageInterface> storage) {
    if (!storage) {
        return false;
    }
    const ExclusiveLock lock(lock_);
    if (!storage->init(this, factory_)) {
        return false;
    }
    // Only now, as loading may have given the storage another name.
    boost::shared_ptr<SettingStorageInterface>& slot = storages_[storage->name()];
    if (slot) {
        replacedStorages_.push_back(slot);
    }
    slot = storage;
    bool allIndexed = true;
    auto settings = settingsOf(*storage);
    settings_->reserve(settings.size());
    for (auto& holder : settings) {
        allIndexed = indexSetting(std::move(holder)) && allIndexed;
    }
    return allIndexed;
}

bool SettingsManager::indexSetting(boost::shared_ptr<SettingHolder>&& holder) {
    // There is one `void` in a process, and a comparison of two types would go through their names.
    if (!holder || &holder->type() == &typeid(void)) {
        return false;
    }
    if (holder->callback() == nullptr) {
        fileSetting(holder);
    } else {
        settings_->put(std::move(holder));
    }
    return true;
}

void SettingsManager::registerSetting(boost::shared_ptr<SettingHolder> holder) {
    const ExclusiveLock lock(lock_);
    fileSetting(holder);
}

void SettingsManager::fileSetting(const boost::shared_ptr<SettingHolder>& holder) {
    if (!holder) {
        throw std::runtime_error("Failed to register setting.");
    }
    const boost::shared_ptr<SettingStorageInterface> storage = storageFor(holder->name());
    if (!storage) {
        throw std::runtime_error("No appropriate storage for setting: " + holder->name());
    }
    if (storage->readonly()) {
        throw std::runtime_error("Setting storage is readonly.");
    }
    // Memory may run out here, but not once the storage has the setting, which is for life.
    settings_->reserve(1);
    if (!storage->registerSetting(holder)) {
        throw std::runtime_error("Failed to register setting.");
    }
    settings_->put(holder);
}

boost::shared_ptr<SettingStorageInterface> SettingsManager::storageFor(
    const std::string& settingName) const {
    // Of several names that begin the setting's name the longest is the greatest.
    for (auto storage = storages_.rbegin(); storage != storages_.rend(); ++storage) {
        if (isPrefixOf(storage->first, settingName)) {
            return storage->second;
        }
    }
    return defaultStorage_;
}

boost::shared_ptr<SettingHolder> SettingsManager::setting(const std::string& name) const {
    boost::shared_ptr<SettingHolder> found = settings_->find(name);
    if (!found) {
        // A registration that is under way may be about to bring it.
        const SharedLock lock(lock_);
        found = settings_->find(name);
    }
    return found;
}

boost::shared_ptr<SettingStorageInterface> SettingsManager::defaultStorage() const {
    const SharedLock lock(lock_);
    return defaultStorage_;
}

void SettingsManager::defaultStorage(boost::shared_ptr<SettingStorageInterface> storage) {
    const ExclusiveLock lock(lock_);
    defaultStorage_.swap(storage);
}

std::vector<boost::shared_ptr<SettingStorageInterface>> SettingsManager::storages() const {
    std::vector<boost::shared_ptr<SettingStorageInterface>> all;
    const SharedLock lock(lock_);
    all.reserve(storages_.size());
    for (const auto& entry : storages_) {
        all.push_back(entry.second);
    }
    return all;
}

void SettingsManager::forEachStorage(const StorageVisitor& visit) const {
    for (const auto& storage : storages()) {
        visit(storage);
    }
}

void SettingsManager::forEachSetting(const SettingVisitor& visit) const {
    std::vector<boost::shared_ptr<SettingHolder>> all;
    {
        const SharedLock lock(lock_);
        all = settings_->sorted();
    }
    for (const auto& setting : all) {
        visit(setting);
    }
}

bool SettingsManager::setSettingsOperationMode(SettingsOperationMode mode) {
    mode_->set(mode);
    return true;
}

SettingsOperationMode SettingsManager::getSettingsOperationMode() {
    return mode_->query();
}

int SettingsManager::resetToDefault() {
    const SettingsOperationMode before = getSettingsOperationMode();
    if (before != SOM_Normal) {
        return before;
    }
    mode_->announceReset();
    // Another process may have announced a reset a moment earlier; then this one joins in.
    const SettingsOperationMode announced = getSettingsOperationMode();
    if (announced != SOM_ResettingToDefault) {
        return announced;
    }
    refuseSavesOfReplacedStorages();
    for (const auto& storage : storages()) {
        if (!storage->surviveResetToDefaults()) {
            storage->resetToDefaults();
        }
    }
    return setSettingsOperationMode(SOM_ResetDone) ? 1 : 0;
}

// A replaced storage is not reset, its place being taken, but once the reset is done it must not
// bring the user's values back.
void SettingsManager::refuseSavesOfReplacedStorages() {
    std::vector<boost::shared_ptr<SettingStorageInterface>> replaced;
    {
        const SharedLock lock(lock_);
        replaced = replacedStorages_;
    }
    for (const auto& storage : replaced) {
        auto* const file = dynamic_cast<SettingStorageFileBase*>(storage.get());
        if (file != nullptr && !file->surviveResetToDefaults()) {
            file->refuseSaves();
        }
    }
}

}  // namespace Settings
}  // namespace Qel
