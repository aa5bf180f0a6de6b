#include "Changes.h"

#include <Qel/Settings/SettingHolder.h>
#include <algorithm>
#include <boost/make_shared.hpp>
#include <map>
#include <utility>

#include "Exit.h"
#include "FileOnDisk.h"
#include "LibraryLog.h"

namespace t8settings {

namespace {

using Changes = std::vector<Change>;
using Qel::Settings::SettingHolder;
using Qel::Settings::SettingStorageFileBase;

Failure notSaved(const Changes& changes, const std::string& why) {
    const std::string what = changes.size() == 1
                                 ? changes.front().setting->name()
                                 : std::to_string(changes.size()) + " settings of " +
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
    FileOnDisk file(storage, *storage.rwFilename(), store.factory());
    for (const Change& change : changes) {
        if (file.setting(change.setting->name()) != change.typeAndText) {
            throw notSaved({change}, *storage.rwFilename() + " does not give it back");
        }
    }
}

/// All changes are of one storage.
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

/// What takes the changes back.
Changes oppositeOf(const Store& store, const Changes& changes) {
    Changes opposite;
    for (const Change& change : changes) {
        const auto& factory = store.factory();
        opposite.push_back(
            {change.setting, change.setting->value(),
             factory->typeAsString(change.setting) + "," + factory->valueAsString(change.setting)});
    }
    return opposite;
}

std::string takenBack(const Store& store, const Changes& opposite) {
    const SettingStorageFileBase& storage = storageOf(opposite.front().setting);
    try {
        changeAndSaveOne(store, opposite);
        return "\n" + storage.name() + " is as it was";
    } catch (const Failure& failure) {
        return "\n" + storage.name() + " STAYS CHANGED: " + failure.what();
    }
}

}  // namespace

void demandWritable(const SettingPtr& setting) {
    const SettingStorageFileBase& storage = storageOf(setting);
    if (storage.readonly()) {
        throw Failure(ExitCode::kRefused, setting->name() + " is read-only: " + storage.info());
    }
}

void changeAndSave(const Store& store, const Changes& changes) {
    std::map<std::pair<std::string, const SettingStorageFileBase*>, Changes> byStorage;
    for (const Change& change : changes) {
        const SettingStorageFileBase& storage = storageOf(change.setting);
        byStorage[{storage.name(), &storage}].push_back(change);
    }
    std::vector<Changes> done;
    for (const auto& ofStorage : byStorage) {
        const Changes opposite = oppositeOf(store, ofStorage.second);
        try {
            changeAndSaveOne(store, ofStorage.second);
        } catch (const Failure& failure) {
            std::string text = failure.what();
            for (const Changes& earlier : done) {
                text += takenBack(store, earlier);
            }
            throw Failure(failure.code(), text);
        }
        done.push_back(opposite);
    }
}

}  // namespace t8settings
