#include "XmlFile.h"

#include <Qel/Settings/SettingStorageXml.h>
#include <exception>

#include "Files.h"
#include "LibraryLog.h"
#include "SetUp.h"
#include "Terminal.h"

namespace t8settings {

namespace {

/// A storage of no manager.
class Document : public Qel::Settings::SettingStorageXml {
public:
    Document() : SettingStorageXml("", "", "") { setFactory(setUpWithoutFiles().types); }
};

std::string errorOf(Document& document, const std::string& path) {
    const SystemLogSilenced silence;
    LibraryLog::instance().hold();
    std::string error;
    try {
        const bool loaded = document.loadFile(path);
        error = reasons(LibraryLog::instance().take());
        return loaded ? "" : error;
    } catch (const std::exception& thrown) {
        LibraryLog::instance().take();
        return thrown.what();
    }
}

}  // namespace

XmlFile::XmlFile(const std::string& file) : path(file), isThere(t8settings::isThere(file)) {
    if (!isThere) {
        return;
    }
    Document document;
    error = errorOf(document, path);
    storageName = document.name();
    for (const auto& setting : document.settingsSet()) {
        names.push_back(setting.first);
    }
    rejected = splitLines(*document.errInfo());
}

}  // namespace t8settings
