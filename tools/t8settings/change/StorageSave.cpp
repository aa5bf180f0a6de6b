#include "change/StorageSave.h"

#include <Qel/Settings/SettingHolder.h>
#include <boost/make_shared.hpp>
#include <exception>
#include <string>

#include "change/FileOnDisk.h"
#include "console/Exit.h"
#include "console/Terminal.h"
#include "store/LibraryLog.h"

namespace t8settings {

namespace {

using Qel::Settings::SettingHolder;
using Qel::Settings::SettingStorageFileBase;

Failure notSaved(const Changes& changes, const std::string& why) {
    const std::string what = changes.size() == 1 ? changes.front().setting->name()
                                                 : counted(changes.size(), "setting") + " of " +
                                                       storageOf(changes.front().setting).name();
    return {ExitCode::kFailed, what + " could not be saved" + (why.empty() ? "" : ":\n" + why)};
}

/// A storage may save inside each change. So that it saves once, all but the last setting are
/// replaced, which a storage takes for no change.
void apply(const Changes& changes) {
    SettingStorageFileBase& storage = storageOf(changes.front().setting);
    for (auto change = changes.begin(); change + 1 != changes.end(); ++change) {
        storage.registerSetting(
            boost::make_shared<SettingHolder>(change->setting->name(), change->value));
    }
    const std::string& last = changes.back().setting->name();
    const SettingPtr setting = storage.querySetting(last);
    if (!setting->setValue(changes.back().value)) {
        throw Failure(ExitCode::kRefused, last + " refuses the change");
    }
}

void demandOnDisk(const Store& store, const Changes& changes) {
    const SettingStorageFileBase& storage = storageOf(changes.front().setting);
    const FileOnDisk file(storage, *storage.rwFilename(), store.factory());
    const SettingTexts onDisk = file.settings();
    for (const Change& change : changes) {
        if (!isSaidBy(onDisk, change)) {
            throw notSaved({change}, *storage.rwFilename() + " does not give it back");
        }
    }
}

}  // namespace

void changeAndSaveOne(const Store& store, const Changes& changes) {
    SettingStorageFileBase& storage = storageOf(changes.front().setting);
    LibraryLog::instance().hold();
    apply(changes);
    const bool saved = storage.save();
    if (storage.dirty()) {
        // A reset that began in between is no failure to save, and looks like none.
        store.demandNormalMode();
    }
    if (!saved || storage.dirty()) {
        throw notSaved(changes, reasons(LibraryLog::instance().takeAndHoldOn()));
    }
    demandOnDisk(store, changes);
    LibraryLog::instance().release();
}

bool areOnDisk(const Store& store, const Changes& changes) {
    try {
        demandOnDisk(store, changes);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

}  // namespace t8settings
