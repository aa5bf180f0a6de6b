// Locks of the library, outermost first; a thread takes only locks further down than those it
// holds (docs/threading.md says more of each):
//
//   SettingsManager::lock_             the manager's maps, index and factory; look-ups that find
//                                      their setting do without
//   saver: control                     starting and stopping the saver's thread
//   saver: saveMutex                   one background save or flush at a time
//   SettingStorageFileBase::storageMutex_
//                                      saves, loads and resets of one storage; recursive
//   files::DirectoryLock               the files of a directory, across processes
//   saver: storagesMutex               the list of storages to save
//   OperationMode::transition_         the look at the reset marker and the change of mode
//   SettingStorageFileBase::settingsMutex_, errInfoMutex_, SettingStorageBase::linksMutex_
//   the holders' value locks           see SettingHolder.cpp
//   the log's sink
//
// Two paths to mind. A registration holds the manager's lock and reaches storagesMutex through the
// loader, so nothing under storagesMutex may ask the manager for its lock. A reset holds the
// storage's mutex while its load may take the storage from the saver, so unregistering never waits
// for a running save; only retire() does, and holds nothing then.
//
// One step goes up: a load that makes the process's saver takes control under the storage's mutex,
// when nobody else can know of the saver yet. The small mutexes that guard one string or table each
// (the marker's path, the directories that are not waited for) have nothing inside them.
//
// Changes are counted, not flagged: a save notes the count before it builds the text, so a change
// that lands while it writes leaves the storage dirty.

#include <algorithm>
#include <array>
#include <exception>
#include <utility>

#include "Log.h"
#include "OperationMode.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageFileBase.h"
#include "Qel/Settings/SettingsStorageFileAsyncSaver.h"
#include "SettingsByName.h"

QEL_LOG_CONTEXT("Qel::Settings", "src/SettingsStorageFileBase");

namespace Qel {
namespace Settings {

namespace {

const char* policyText(SettingStorageFileBase::SavePolicy policy) {
    static constexpr std::array<const char*, 4> kTexts = {"Save_unspecified", "Save_onDemand",
                                                          "Save_onEachChange", "Save_async"};
    const auto index = static_cast<std::size_t>(policy);
    return index < kTexts.size() ? kTexts[index] : "?";
}

const std::string& pathText(const std::string& path) {
    static const auto* const none = new std::string("(No filename)");
    return path.empty() ? *none : path;
}

std::uint64_t nextNumber() {
    static std::atomic<std::uint64_t> last{0};
    return ++last;
}

}  // namespace

SettingStorageFileBase::SettingStorageFileBase(const std::string& name, std::string filename,
                                               std::string rwFilename, SavePolicy policy)
    : SettingStorageBase(name),
      filename_(std::move(filename)),
      rwFilename_(std::move(rwFilename)),
      settings_(std::make_unique<SettingsByName>()),
      number_(nextNumber()) {
    savePolicy(policy);
}

SettingStorageFileBase::~SettingStorageFileBase() {
    retire();
}

const std::string* SettingStorageFileBase::filename() const {
    return &filename_;
}

const std::string* SettingStorageFileBase::filename(const std::string& path) {
    filename_ = path;
    return filename();
}

const std::string* SettingStorageFileBase::rwFilename() const {
    return readonly() ? nullptr : &rwFilename_;
}

const std::string* SettingStorageFileBase::rwFilename(const std::string& path) {
    rwFilename_ = path;
    return rwFilename();
}

bool SettingStorageFileBase::init(SettingsManager* manager,
                                  boost::shared_ptr<SettingFactory> factory) {
    if (!SettingStorageBase::init(manager, factory)) {
        return false;
    }
    const std::lock_guard<std::recursive_mutex> lock(storageMutex_);
    dropSettings();
    clearErrInfo();
    if (filename_.empty() && rwFilename_.empty()) {
        return false;
    }
    if (!filename_.empty() && !loadDefaults()) {
        return false;
    }
    // Read-only storages load their read/write file as well, so the field decides, not
    // rwFilename().
    return rwFilename_.empty() || loadReadWriteFile();
}

bool SettingStorageFileBase::loadDefaults() {
    try {
        return loadFile(filename_);
    } catch (const std::exception& e) {
        QEL_LOG(kError, "Error loading '%s' (r/o, no recovery): %s", rwFilename_.c_str(), e.what());
        return false;
    }
}

void SettingStorageFileBase::changed(std::string changedName) {
    changes_.fetch_add(1);
    QEL_LOG(kInformation, "SettingStorageFileBase::changed( %s ): %s dirty", changedName.c_str(),
            name().c_str());
    if (savePolicy() == Save_onEachChange) {
        save();
    }
}

bool SettingStorageFileBase::save() {
    const std::lock_guard<std::recursive_mutex> lock(storageMutex_);
    if (managerGone()) {
        QEL_LOG(kError, "The settings manager of storage '%s' is gone, *not* saving settings.",
                name().c_str());
        return false;
    }
    if (resetInProgress()) {
        return true;
    }
    if (refusesToSave()) {
        return false;
    }
    const std::uint64_t changes = changes_.load();
    const bool wasDirty = changes != savedChanges_.load();
    if (wasDirty && !writeChanges()) {
        return writeRefused_;
    }
    QEL_LOG(kInformation, "SettingStorageFileBase::save(): %s, dirty %d->0", name().c_str(),
            wasDirty ? 1 : 0);
    savedChanges_.store(changes);
    return true;
}

bool SettingStorageFileBase::resetInProgress() {
    OperationMode* const mode = operationMode();
    if (mode == nullptr || mode->query() != SOM_ResettingToDefault) {
        return false;
    }
    QEL_LOG(kWarning, "Reset to default in progress, *not* saving settings.");
    return true;
}

bool SettingStorageFileBase::refusesToSave() const {
    const bool isReadonly = readonly();
    if (isReadonly) {
        QEL_LOG(kError, "Trying to store a readonly file!!");
    }
    if (resetCalled()) {
        QEL_LOG(kError,
                "Trying to store a file after reset have been called!! Note, this is ok if we are "
                "shutting down to do a reset to defaults.\n");
    }
    return isReadonly || resetCalled();
}

bool SettingStorageFileBase::writeChanges() {
    struct SavingScope {
        explicit SavingScope(bool& saving) : saving_(saving) { saving_ = true; }
        ~SavingScope() { saving_ = false; }
        bool& saving_;
    };
    writeRefused_ = false;
    const SavingScope scope(saving_);
    return saveFile(rwFilename_);
}

bool SettingStorageFileBase::mayStillWrite() {
    // A reset writes the defaults itself, in the very mode that keeps everybody else from saving.
    writeRefused_ = saving_ && resetInProgress();
    return !writeRefused_;
}

bool SettingStorageFileBase::resetToDefaults() {
    const std::lock_guard<std::recursive_mutex> lock(storageMutex_);
    // Set first, so that it holds although the load may throw.
    resetCalled_.store(true);
    if (readonly()) {
        return true;
    }
    clearErrInfo();
    if (!loadFile(filename_) && !filename_.empty()) {
        QEL_LOG(kError, "Error loading '%s' for a reset to defaults, keeping the present values.",
                filename_.c_str());
    }
    const std::uint64_t changes = changes_.load();
    if (!saveFile(rwFilename_)) {
        return false;
    }
    savedChanges_.store(changes);
    return true;
}

void SettingStorageFileBase::refuseSaves() {
    const std::lock_guard<std::recursive_mutex> lock(storageMutex_);
    resetCalled_.store(true);
}

const SettingsSet& SettingStorageFileBase::settingsSet() const {
    const std::lock_guard<std::mutex> lock(settingsMutex_);
    return settings_->asMap();
}

bool SettingStorageFileBase::registerSetting(boost::shared_ptr<SettingHolder> holder) {
    if (!holder || holder->callback() != nullptr) {
        return false;
    }
    const std::lock_guard<std::mutex> lock(settingsMutex_);
    // Everything that may run out of memory comes before the bond, which is for life.
    boost::shared_ptr<SettingHolder>& place = settings_->placeOf(holder);
    rememberReplaced(place);
    if (!holder->bind(*this)) {
        // Another storage took it at this very moment.
        if (!place) {
            settings_->dropPlaceOf(holder->name());
        }
        return false;
    }
    place.swap(holder);
    return true;
}

void SettingStorageFileBase::expectSettings(std::size_t count) {
    const std::lock_guard<std::mutex> lock(settingsMutex_);
    settings_->reserve(count);
}

// Clients may still hold a replaced setting; when the storage dies it must stop taking changes too.
void SettingStorageFileBase::rememberReplaced(const boost::shared_ptr<SettingHolder>& holder) {
    if (!holder || holder.use_count() == 1) {
        return;
    }
    if (replacedSettings_.size() == replacedSettings_.capacity()) {
        const auto gone = std::remove_if(
            replacedSettings_.begin(), replacedSettings_.end(),
            [](const boost::weak_ptr<SettingHolder>& replaced) { return replaced.expired(); });
        replacedSettings_.erase(gone, replacedSettings_.end());
    }
    replacedSettings_.emplace_back(holder);
}

void SettingStorageFileBase::dropSettings() {
    std::vector<boost::shared_ptr<SettingHolder>> dropped;
    const std::lock_guard<std::mutex> lock(settingsMutex_);
    dropped = settings_->takeAll();
    for (const auto& holder : dropped) {
        rememberReplaced(holder);
    }
}

boost::shared_ptr<SettingHolder> SettingStorageFileBase::querySetting(std::string settingName) {
    const std::lock_guard<std::mutex> lock(settingsMutex_);
    return settings_->find(settingName);
}

std::vector<boost::shared_ptr<SettingHolder>> SettingStorageFileBase::snapshot() const {
    const std::lock_guard<std::mutex> lock(settingsMutex_);
    return settings_->all();
}

std::string SettingStorageFileBase::info() const {
    return name() + (readonly() ? " RO" : " RW") + " def=" + pathText(filename_) +
           " rw=" + pathText(rwFilename_) + " savePolicy=" + policyText(savePolicy());
}

const std::string* SettingStorageFileBase::errInfo() const {
    const std::lock_guard<std::mutex> lock(errInfoMutex_);
    if (shownErrInfo_.empty() || shownErrInfo_.back() != errInfo_) {
        shownErrInfo_.push_back(errInfo_);
    }
    return &shownErrInfo_.back();
}

std::string SettingStorageFileBase::currentErrInfo() const {
    const std::lock_guard<std::mutex> lock(errInfoMutex_);
    return errInfo_;
}

void SettingStorageFileBase::clearErrInfo() {
    const std::lock_guard<std::mutex> lock(errInfoMutex_);
    errInfo_.clear();
}

void SettingStorageFileBase::appendErrInfo(const std::string& text) {
    const std::lock_guard<std::mutex> lock(errInfoMutex_);
    errInfo_ += text;
}

bool SettingStorageFileBase::dirty() const {
    return changes_.load() != savedChanges_.load();
}

bool SettingStorageFileBase::resetCalled() const {
    return resetCalled_.load();
}

SettingStorageFileBase::SavePolicy SettingStorageFileBase::savePolicy() const {
    return savePolicy_.load();
}

void SettingStorageFileBase::savePolicy(SavePolicy policy) {
    const SavePolicy before = savePolicy_.load();
    if (policy == before) {
        return;
    }
    // The policy says async only of a storage that the saver knows.
    if (policy == Save_async) {
        if (auto* const saver = SettingsStorageFileAsyncSaver::initInstance()) {
            saver->registerStorage(*this);
        }
    }
    savePolicy_.store(policy);
    if (before == Save_async) {
        if (auto* const saver = SettingsStorageFileAsyncSaver::instance()) {
            saver->unregisterStorage(*this);
        }
    }
}

bool SettingStorageFileBase::managerGone() const {
    const OperationMode* const mode = operationMode();
    return mode != nullptr && mode->retired();
}

bool SettingStorageFileBase::managerLives() const {
    const OperationMode* const mode = operationMode();
    return mode != nullptr && !mode->retired();
}

bool SettingStorageFileBase::backgroundSavingOver() {
    return managerLives() && operationMode()->query() != SOM_Normal;
}

void SettingStorageFileBase::retire() {
    if (retired_) {
        return;
    }
    retired_ = true;
    leaveSaver();
    // Without a lock: a change that is waited for may be saving, which needs the settings and the
    // locks. It may also register settings, so all of them are looked at again.
    while (const auto busy = orphanSettings()) {
        busy->orphan(*this);
    }
    // Such a change may have loaded a file whose policy is that of the saver.
    leaveSaver();
    // Last, since a change that was under way saves by the policy that it was made under.
    savePolicy_.store(Save_onDemand);
}

void SettingStorageFileBase::leaveSaver() {
    try {
        if (auto* const saver = SettingsStorageFileAsyncSaver::instance()) {
            saver->detach(*this);
        }
    } catch (const std::exception& e) {
        // Called by destructors, which must not throw; a storage that stays listed is worth an
        // error.
        QEL_LOG(kError, "Failed to take storage '%s' from the background saver: %s", name().c_str(),
                e.what());
    }
}

boost::shared_ptr<SettingHolder> SettingStorageFileBase::orphanSettings() {
    // In a forked child nobody ends the changes, nor lets go of the lock.
    const bool isForked = ::getpid() != process_;
    boost::shared_ptr<SettingHolder> busy;
    std::unique_lock<std::mutex> lock(settingsMutex_, std::defer_lock);
    if (!isForked) {
        lock.lock();
    }
    settings_->forEach([&](const boost::shared_ptr<SettingHolder>& holder) {
        if (!holder->orphan(*this, false) && !isForked) {
            busy = holder;
        }
    });
    std::vector<boost::weak_ptr<SettingHolder>> replaced;
    replaced.swap(replacedSettings_);
    if (lock) {
        lock.unlock();
    }
    // Whoever is the last to have one of these ends it, and its value may have a use for the
    // storage.
    for (const auto& entry : replaced) {
        if (const auto holder = entry.lock()) {
            holder->orphan(*this, !isForked);
        }
    }
    return busy;
}

}  // namespace Settings
}  // namespace Qel
