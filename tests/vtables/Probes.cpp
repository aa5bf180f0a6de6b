// The compiler's account of a virtual table names the functions in it, but not those that are still
// open. These classes close them, and with `override` prove the signatures on the way.

#include "Qel/Settings/SettingStorageXml.h"
#include "Qel/Settings/SettingsManager.h"

using namespace Qel::Settings;
using Holder = boost::shared_ptr<SettingHolder>;
using Factory = boost::shared_ptr<SettingFactory>;

struct InterfaceProbe : SettingStorageInterface {
    const std::string& name() const override;
    const std::string& name(const std::string&) override;
    const std::string* filename() const override;
    const std::string* filename(const std::string&) override;
    const std::string* rwFilename() const override;
    const std::string* rwFilename(const std::string&) override;
    bool readonly() const override;
    bool readonly(bool) override;
    SettingsManager* settingsManager() const override;
    Factory factory() const override;
    bool init(SettingsManager*, Factory) override;
    bool save() override;
    const SettingsSet& settingsSet() const override;
    const std::string* errInfo() const override;
    bool registerSetting(Holder) override;
    Holder querySetting(std::string) override;
    std::string info() const override;
    bool surviveResetToDefaults() const override;
    void surviveResetToDefaults(bool) override;
    bool resetToDefaults() override;
};

struct BaseProbe : SettingStorageBase {
    const SettingsSet& settingsSet() const override;
    bool resetToDefaults() override;
};

struct FileBaseProbe : SettingStorageFileBase {
    bool saveFile(const std::string&) override;
    bool loadFile(const std::string&) override;
};
