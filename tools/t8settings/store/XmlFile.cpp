#include "store/XmlFile.h"

#include <Qel/Settings/SettingStorageXml.h>
#include <cerrno>
#include <exception>

#include "console/Terminal.h"
#include "files/WholeFile.h"
#include "store/Files.h"
#include "store/LibraryLog.h"
#include "store/SetUp.h"

namespace t8settings {

namespace {

/// A storage of no manager.
class Document : public Qel::Settings::SettingStorageXml {
public:
    Document() : SettingStorageXml("", "", "") { setFactory(setUpWithoutFiles().types); }
};

std::string whyUnreadableFile(const std::string& path) {
    std::string data;
    return Qel::Settings::files::readWholeFile(path, data) ? "" : whyUnread(errno);
}

std::string errorOf(Document& document, const std::string& path) {
    const SystemLogSilenced silence;
    const LibraryMessagesDropped dropped;
    try {
        return document.loadFile(path) ? "" : "no readable well-formed XML document";
    } catch (const std::exception& thrown) {
        return thrown.what();
    }
}

}  // namespace

XmlFile::XmlFile(const std::string& file) : path(file), unreadable(whyUnreadableFile(file)) {
    if (!unreadable.empty()) {
        error = "cannot be read: " + unreadable;
        return;
    }
    Document document;
    error = errorOf(document, path);
    storageName = document.name();
    settings = document.snapshot();
    rejected = splitLines(*document.errInfo());
}

}  // namespace t8settings
