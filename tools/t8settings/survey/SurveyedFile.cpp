#include "survey/SurveyedFile.h"

#include "console/Progress.h"
#include "values/Types.h"

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
    Progress progress("reading line", file.lines().size());
    for (const IniFile::Line& line : file.lines()) {
        progress.begin(file.path());
        const SettingPtr setting = line.kind == Kind::Setting
                                       ? typesInForce()->create(line.type, line.name, line.value)
                                       : SettingPtr();
        if (setting) {
            found.settings[line.name] = recordOf(typesInForce(), setting, found.storage);
        }
    }
    return found;
}

SurveyedFile surveyed(const XmlFile& file) {
    SurveyedFile found;
    found.path = file.path;
    found.storage = file.storageName;
    found.error = file.error;
    found.readonly = true;
    for (const SettingPtr& setting : file.settings) {
        found.settings[setting->name()] = recordOf(typesInForce(), setting, found.storage);
    }
    return found;
}

}  // namespace t8settings
