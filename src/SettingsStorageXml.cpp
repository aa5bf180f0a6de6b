#include <atomic>
#include <cerrno>
#include <libxml/xmlstring.h>
#include <memory>
#include <mutex>
#include <new>
#include <string_view>
#include <syslog.h>
#include <utility>

#include "Log.h"
#include "NamesInFull.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageXml.h"
#include "Sax1Handler.h"
#include "files/Descriptor.h"
#include "files/WholeFile.h"

QEL_LOG_CONTEXT("Qel::Settings", "src/SettingsStorageXml");

namespace Qel {
namespace Settings {

namespace {

const char* characters(const unsigned char* text) {
    return reinterpret_cast<const char*>(text);
}

// libxml2 hands an ampersand of an attribute over as this reference, whichever way it is written in
// the document, so undoing it once gives the value that the document states.
std::string attributeValue(std::string_view raw) {
    static constexpr std::string_view kAmpersand = "&#38;";
    std::string value;
    for (;;) {
        const std::size_t found = raw.find(kAmpersand);
        value += raw.substr(0, found);
        if (found == std::string_view::npos) {
            return value;
        }
        value += '&';
        raw.remove_prefix(found + kAmpersand.size());
    }
}

// Most converters lie in files of their own, and one that cannot be opened passes for none; the C
// library may go on saying so when files can be opened again.
bool converterMayOnlySeemMissing() {
    static std::atomic<bool> wasShort{false};
    if (files::noFileCanBeOpened()) {
        wasShort = true;
    }
    return wasShort;
}

}  // namespace

SettingStorageXml::SettingStorageXml(const std::string& name, const std::string& filename,
                                     const std::string& rwFilename)
    : SettingStorageFileBase(name, filename, rwFilename, Save_onDemand),
      names_(std::make_unique<NamesInFull>()) {}

SettingStorageXml::~SettingStorageXml() {
    retire();
}

bool SettingStorageXml::saveFile(const std::string&) {
    return false;
}

bool SettingStorageXml::loadFile(const std::string& path) {
    const std::lock_guard<std::recursive_mutex> lock(storageMutex());
    // Before the first setting exists, so that nobody ever puts one in here that cannot be saved.
    readonly(true);
    std::string document;
    int result = -1;
    bool isShortage = false;
    if (files::readWholeFile(path, document)) {
        result = parseDocument(*this, document);
        isShortage = result == XML_ERR_UNSUPPORTED_ENCODING && converterMayOnlySeemMissing();
    } else {
        isShortage = files::passesByItself(errno);
    }
    if (isShortage) {
        noteUnread();
    }
    if (result != 0) {
        QEL_LOG(kError, "Error loading '%s': %s, result %d", path.c_str(),
                result == XML_ERR_UNSUPPORTED_ENCODING ? "its encoding is not known"
                                                       : "no readable well-formed XML document",
                result);
    }
    return result == 0;
}

void SettingStorageXml::onStartDocument() {
    nodes_.clear();
    *names_ = NamesInFull();
}

void SettingStorageXml::onEndDocument() {}

void SettingStorageXml::onStartElement(const unsigned char* elementName,
                                       const unsigned char** attributes) {
    SettingXmlNode node;
    node.name = characters(elementName);
    if (nodes_.empty()) {
        name(node.name);
    } else {
        nodes_.back().leaf = false;
    }
    for (; attributes != nullptr && attributes[0] != nullptr; attributes += 2) {
        if (attributes[1] == nullptr) {
            continue;
        }
        // These comparisons know the ASCII letters only, whatever the process's locale.
        if (xmlStrcasecmp(attributes[0], BAD_CAST "type") == 0) {
            node.type = attributeValue(characters(attributes[1]));
        } else if (xmlStrcasecmp(attributes[0], BAD_CAST "value") == 0) {
            node.value = attributeValue(characters(attributes[1]));
        }
    }
    nodes_.push_back(std::move(node));
}

void SettingStorageXml::onCharacters(const unsigned char* text, int length) {
    // In a damaged document text may come without its element.
    if (!nodes_.empty()) {
        nodes_.back().value.assign(characters(text), static_cast<std::size_t>(length));
    }
}

void SettingStorageXml::onEndElement(const unsigned char*) {
    if (nodes_.empty()) {
        return;
    }
    if (nodes_.back().leaf) {
        addSetting(nodes_.back());
    }
    nodes_.pop_back();
}

void SettingStorageXml::addSetting(const SettingXmlNode& leaf) {
    const std::string settingName = pathOfTop();
    names_->add(settingName.size());
    if (createSetting(settingName, leaf)) {
        return;
    }
    const std::string text = "failed to load " + settingName + "(" + leaf.type + ")=" + leaf.value;
    // One prefix for all kinds of storage: whoever watches the system log looks for this one.
    ::syslog(LOG_ERR, "SettingStorageInifile: %s", text.c_str());
    appendErrInfo(text + "\n");
}

bool SettingStorageXml::createSetting(const std::string& settingName, const SettingXmlNode& leaf) {
    const boost::shared_ptr<SettingFactory> types = factory();
    if (!types) {
        return false;
    }
    try {
        boost::shared_ptr<SettingHolder> holder = types->create(leaf.type, settingName, leaf.value);
        if (!holder && leaf.type == "std::string") {
            // What an element without a type counts as; the factory calls that type "string".
            holder = types->create("string", settingName, leaf.value);
        }
        return registerSetting(holder);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (...) {
        // One type's loader must not cost the other settings; a shortage of memory costs them
        // anyway.
        return false;
    }
}

std::string SettingStorageXml::pathOfTop() const {
    std::string path;
    for (const SettingXmlNode& node : nodes_) {
        if (!path.empty()) {
            path += '/';
        }
        path += node.name;
    }
    return path;
}

}  // namespace Settings
}  // namespace Qel
