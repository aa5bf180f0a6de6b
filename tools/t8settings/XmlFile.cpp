#include "XmlFile.h"

#include <Qel/Settings/SettingStorageXml.h>
#include <exception>
#include <syslog.h>

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

/// The library tells the system log what it rejects, for whoever watches a television; a mere look
/// at a file is none of that.
class SystemLogSilenced {
public:
    SystemLogSilenced() : mask_(::setlogmask(LOG_MASK(LOG_EMERG))) {}
    ~SystemLogSilenced() { ::setlogmask(mask_); }
    SystemLogSilenced(const SystemLogSilenced&) = delete;
    SystemLogSilenced& operator=(const SystemLogSilenced&) = delete;

private:
    int mask_;
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
