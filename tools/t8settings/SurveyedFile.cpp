#include "SurveyedFile.h"

#include <Qel/Settings/SettingStorageXml.h>
#include <Qel/Settings/SettingsManager.h>
#include <string_view>

#include "Types.h"
#include "XmlFile.h"

namespace t8settings {

namespace {

using Kind = Qel::Settings::text::IniLine::Kind;

std::string whyNotTaken(const IniFile& file) {
    static const std::map<FileState, std::string> kReasons = {
        {FileState::kMissing, "there is no such file"},
        {FileState::kUnreadable, "it cannot be read"},
        {FileState::kTooLarge, "it is too large for a settings file"},
        {FileState::kWithoutCrc, "it has no CRC line"},
        {FileState::kWrongCrc, "its CRC is wrong"}};
    if (!file.accepted()) {
        return kReasons.at(file.state()) + (file.error().empty() ? "" : ": " + file.error());
    }
    const IniFile::Line* const misplaced = file.misplacedName();
    return misplaced == nullptr
               ? ""
               : "its line " + std::to_string(misplaced->number) + ", #name, is not the first one";
}

}  // namespace

SurveyedFile surveyed(const IniFile& file) {
    SurveyedFile found;
    found.path = file.path();
    found.storage = file.storageName();
    found.error = whyNotTaken(file);
    found.readonly = file.readonly();
    found.savePolicy = file.savePolicy();
    for (const IniFile::Line& line : file.lines()) {
        const SettingPtr setting = line.kind == Kind::Setting
                                       ? typesInForce()->create(line.type, line.name, line.value)
                                       : SettingPtr();
        if (setting) {
            found.settings[line.name] = recordOf(typesInForce(), setting, found.storage);
        }
    }
    return found;
}

SurveyedFile surveyedXml(const std::string& path) {
    SurveyedFile found;
    found.path = path;
    found.readonly = true;
    // As a storage's defaults file, which is never set aside, whatever it holds.
    const SystemLogSilenced silence;
    Qel::Settings::SettingsManager manager;
    Qel::Settings::SettingStorageXml storage("", path, "");
    found.error = storage.init(&manager, typesInForce()) ? "" : "it is no XML that can be read";
    found.storage = storage.name();
    for (const SettingPtr& setting : storage.snapshot()) {
        found.settings[setting->name()] = recordOf(typesInForce(), setting, found.storage);
    }
    return found;
}

bool isXmlPath(const std::string& path) {
    constexpr std::string_view kXml = ".xml";
    return path.size() >= kXml.size() && path.substr(path.size() - kXml.size()) == kXml;
}

}  // namespace t8settings
