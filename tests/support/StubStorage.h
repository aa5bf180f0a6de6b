#ifndef TESTS_SUPPORT_STUBSTORAGE_H
#define TESTS_SUPPORT_STUBSTORAGE_H

#include <boost/any.hpp>
#include <boost/smart_ptr/make_shared.hpp>
#include <functional>
#include <string>

#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageBase.h"

namespace testsupport {

/// A storage without files that counts what is asked of it. Usable, writable and accepting until a
/// test says otherwise.
class StubStorage : public Qel::Settings::SettingStorageBase {
public:
    using Holder = boost::shared_ptr<Qel::Settings::SettingHolder>;

    explicit StubStorage(const std::string& name) : SettingStorageBase(name) {}

    ~StubStorage() override {
        for (const auto& entry : settings) {
            if (entry.second) {
                entry.second->orphan(*this);
            }
        }
        if (whenDestroyed) {
            whenDestroyed();
        }
    }

    /// Puts a setting of this storage in, as loading it from a file would.
    Holder load(const std::string& settingName, const boost::any& value) {
        const auto holder =
            boost::make_shared<Qel::Settings::SettingHolder>(settingName, boost::any(value));
        holder->bind(*this);
        settings[settingName] = holder;
        return holder;
    }

    bool init(Qel::Settings::SettingsManager* manager,
              boost::shared_ptr<Qel::Settings::SettingFactory> types) override {
        const bool linked = SettingStorageBase::init(manager, types);
        if (duringInit) {
            duringInit();
        }
        return linked && usable;
    }

    const Qel::Settings::SettingsSet& settingsSet() const override { return settings; }

    bool registerSetting(Holder holder) override {
        ++registrations;
        if (!accepting || !holder->bind(*this)) {
            return false;
        }
        settings[holder->name()] = holder;
        return true;
    }

    bool resetToDefaults() override {
        ++resets;
        if (duringReset) {
            duringReset();
        }
        return resetResult;
    }

    Qel::Settings::SettingsSet settings;
    bool usable = true;
    bool accepting = true;
    bool resetResult = true;
    int registrations = 0;
    int resets = 0;
    std::function<void()> duringInit;
    std::function<void()> duringReset;
    std::function<void()> whenDestroyed;
};

}  // namespace testsupport

#endif
