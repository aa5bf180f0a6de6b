#include "StoredSettings.h"

#include <Qel/Settings/SettingStorageXml.h>
#include <exception>

#include "Terminal.h"
#include "Types.h"

namespace t8settings {

namespace {

using Kind = Qel::Settings::text::IniLine::Kind;

/// The library's own reader of XML files, which never writes them.
class XmlFile : private Qel::Settings::SettingStorageXml {
public:
    XmlFile() : SettingStorageXml("", "", "") { setFactory(typesInForce()); }

    using SettingStorageXml::loadFile;
    using SettingStorageXml::name;
    using SettingStorageXml::settingsSet;
};

void add(StoredSettings& settings, const SettingPtr& setting, const std::string& storage) {
    const Qel::Settings::SettingFactory& types = *typesInForce();
    settings[setting->name()] = {types.typeAsString(setting), types.valueAsString(setting),
                                 storage};
}

/// Empty for a line that a load rejects.
SettingPtr settingOf(const IniFile::Line& line) {
    try {
        return line.kind == Kind::Setting ? typesInForce()->create(line.type, line.name, line.value)
                                          : SettingPtr();
    } catch (const std::exception&) {
        return {};
    }
}

std::string problemOf(const IniFile& file) {
    static const std::map<FileState, std::string> kProblems = {
        {FileState::kMissing, "it is not there"},
        {FileState::kTooLarge, "it is too large"},
        {FileState::kWithoutCrc, "it has no CRC line"},
        {FileState::kWrongCrc, "its CRC is wrong"}};
    if (file.accepted()) {
        return file.misplacedName() == nullptr ? "" : "#name is not in its first line";
    }
    const auto known = kProblems.find(file.state());
    return known == kProblems.end() ? file.error() : known->second;
}

/// Adds the file's settings over those that are there; false when a load could not use it.
bool take(StoredStorage& storage, const IniFile& file) {
    const std::string problem = problemOf(file);
    if (!problem.empty()) {
        storage.problem = file.path() + ": " + problem;
        return false;
    }
    for (const IniFile::Line& line : file.lines()) {
        if (const SettingPtr setting = settingOf(line)) {
            add(storage.settings, setting, file.storageName());
        }
    }
    return true;
}

StoredStorage storedInIni(const StorageFiles& files) {
    StoredStorage storage;
    std::string name = files.storageName();
    storage.hasReadWrite = isThere(files.readWrite);
    if (!files.defaults.empty()) {
        const IniFile defaults = defaultsOf(files);
        if (!take(storage, defaults)) {
            // Nothing of a storage without usable defaults is loaded.
            return storage;
        }
        name = defaults.storageName();
    }
    if (storage.hasReadWrite) {
        take(storage, readWriteOf(files, name));
    }
    return storage;
}

StoredStorage storedInXml(const StorageFiles& files) {
    StoredStorage storage;
    storage.hasReadWrite = isThere(files.readWrite);
    XmlFile xml;
    for (const std::string& path : {files.defaults, files.readWrite}) {
        if (isThere(path) && !xml.loadFile(path)) {
            storage.problem = path + ": it is no well-formed XML";
            break;
        }
    }
    for (const auto& setting : xml.settingsSet()) {
        add(storage.settings, setting.second, xml.name());
    }
    return storage;
}

}  // namespace

StoredStorage storedIn(const StorageFiles& files) {
    return files.isXml() ? storedInXml(files) : storedInIni(files);
}

StoredSettings settingsBelow(const std::string& base) {
    StoredSettings all;
    for (const StorageFiles& files : storagesBelow(base)) {
        for (auto& setting : storedIn(files).settings) {
            all[setting.first] = setting.second;
        }
    }
    return all;
}

}  // namespace t8settings
