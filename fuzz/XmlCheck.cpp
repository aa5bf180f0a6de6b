#include <boost/make_shared.hpp>
#include <cstdio>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <memory>

#include "Checks.h"
#include "Files.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageXml.h"
#include "Qel/Settings/SettingsManager.h"

namespace fuzz {
namespace {

using namespace Qel::Settings;
using testsupport::exists;
using testsupport::readFile;
using testsupport::writeFile;

/// Everything that libxml2 opens, files and the network, passes through its loader of entities.
class OpenedResources {
public:
    OpenedResources() {
        instance() = this;
        libraryLoader() = xmlGetExternalEntityLoader();
        xmlSetExternalEntityLoader(load);
    }
    ~OpenedResources() { xmlSetExternalEntityLoader(libraryLoader()); }
    OpenedResources(const OpenedResources&) = delete;
    OpenedResources& operator=(const OpenedResources&) = delete;

    /// Empty when nothing was wanted; the document itself is not libxml2's to open.
    const std::string& others() const { return others_; }

private:
    static OpenedResources*& instance() {
        static OpenedResources* current = nullptr;
        return current;
    }
    static xmlExternalEntityLoader& libraryLoader() {
        static xmlExternalEntityLoader loader = nullptr;
        return loader;
    }
    static xmlParserInputPtr load(const char* url, const char*, xmlParserCtxtPtr) {
        instance()->others_ += std::string(url == nullptr ? "(none)" : url) + "\n";
        return nullptr;
    }

    std::string others_;
};

/// A storage with the document as its read/write file; `init` loads it.
class Files {
public:
    Files(const std::string& bytes, const std::string& directory)
        : path_(directory + "/tv.xml"), bad_(path_ + ".bad") {
        std::remove(bad_.c_str());
        writeFile(path_, bytes);
    }

    bool comeUp(const std::string& defaults, const std::string& readWrite) {
        storage_.reset();
        manager_.reset();
        manager_ = boost::make_shared<SettingsManager>();
        storage_ = boost::make_shared<SettingStorageXml>("", defaults, readWrite);
        const OpenedResources opened;
        const bool result = storage_->init(manager_.get(), productTypes());
        require(opened.others().empty(), "the document opens " + opened.others());
        return result;
    }

    SettingStorageXml& storage() { return *storage_; }
    const std::string& path() const { return path_; }
    bool isSetAside() const { return exists(bad_); }
    std::string setAside() const { return readFile(bad_); }

private:
    std::string path_;
    std::string bad_;
    boost::shared_ptr<SettingsManager> manager_;
    boost::shared_ptr<SettingStorageXml> storage_;
};

using Document = std::unique_ptr<xmlDoc, decltype(&xmlFreeDoc)>;

/// libxml2's own tree of the document; null when it is not well-formed.
Document treeOf(const std::string& bytes) {
    constexpr int kOptions =
        XML_PARSE_SAX1 | XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;
    return {xmlReadMemory(bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr, kOptions),
            &xmlFreeDoc};
}

const char* characters(const xmlChar* text) {
    return text == nullptr ? "" : reinterpret_cast<const char*>(text);
}

std::string attribute(const xmlNode& element, const char* name, const std::string& otherwise) {
    std::string value = otherwise;
    for (const xmlAttr* at = element.properties; at != nullptr; at = at->next) {
        if (xmlStrcasecmp(at->name, BAD_CAST name) == 0) {
            const std::unique_ptr<xmlChar, decltype(xmlFree)> text(
                xmlNodeListGetString(element.doc, at->children, 1), xmlFree);
            value = characters(text.get());
        }
    }
    return value;
}

/// What the elements without children are as settings, from the tree. Which piece of a text counts
/// is the parser's business: an element with text has an empty entry.
class Leaves {
public:
    explicit Leaves(const xmlNode& root) { add(root, characters(root.name)); }

    const Settings& settings() const { return settings_; }

private:
    void add(const xmlNode& element, const std::string& path) {
        bool isLeaf = true;
        bool hasText = false;
        for (const xmlNode* child = element.children; child != nullptr; child = child->next) {
            if (child->type == XML_ELEMENT_NODE) {
                isLeaf = false;
                add(*child, path + "/" + characters(child->name));
            }
            hasText = hasText || child->type == XML_TEXT_NODE;
        }
        if (isLeaf) {
            addLeaf(element, path, hasText);
        }
    }

    void addLeaf(const xmlNode& element, const std::string& path, bool hasText) {
        if (hasText) {
            settings_[path].clear();
            return;
        }
        const std::string type = attribute(element, "type", "string");
        const auto holder = productTypes()->create(type == "std::string" ? "string" : type, path,
                                                   attribute(element, "value", ""));
        if (holder) {
            settings_[path] =
                productTypes()->typeAsString(holder) + "," + productTypes()->valueAsString(holder);
        }
    }

    Settings settings_;
};

/// Compares with the tree, where the two say the same of a document: without a document type, and
/// without prefixes, which the tree takes apart.
void checkContent(const Settings& settings, const std::string& bytes) {
    if (bytes.find(':') != std::string::npos) {
        return;
    }
    const Document tree = treeOf(bytes);
    if (tree == nullptr || tree->intSubset != nullptr) {
        return;
    }
    const Leaves leaves(*xmlDocGetRootElement(tree.get()));
    for (const auto& leaf : leaves.settings()) {
        const auto found = settings.find(leaf.first);
        require(leaf.second.empty() || (found != settings.end() && found->second == leaf.second),
                leaf.first + " is not " + leaf.second + " but one of\n" + listOf(settings));
    }
    for (const auto& setting : settings) {
        require(leaves.settings().count(setting.first) != 0, "no element " + setting.first);
    }
}

/// An element takes at least "<a/>", and no value is made out of nothing: what an element holds is
/// in the document, in an encoding that makes no more than three characters of three bytes each of
/// a byte.
void checkSize(SettingStorageXml& storage, std::size_t size) {
    std::size_t texts = 0;
    for (const auto& entry : storage.settingsSet()) {
        if (entry.second->type() == typeid(std::string)) {
            texts += entry.second->getValue<std::string>().size();
        }
    }
    require(texts <= 9 * size, "values of " + std::to_string(texts) + " bytes");
    require(storage.settingsSet().size() <= size / 4 + 1, "more settings than elements");
}

void checkNames(SettingStorageXml& storage) {
    for (const auto& entry : storage.settingsSet()) {
        const std::string& name = entry.first;
        require(name.compare(0, storage.name().size(), storage.name()) == 0,
                "'" + name + "' in storage '" + storage.name() + "'");
    }
}

}  // namespace

void checkXml(const std::string& bytes, const std::string& directory) {
    Files document(bytes, directory);
    const bool wellFormed = document.comeUp(document.path(), "");
    require(readFile(document.path()) == bytes && !document.isSetAside(), "defaults were changed");
    require(document.storage().readonly(), "an XML storage that takes changes");
    require(!document.storage().saveFile(document.path()), "an XML storage that saves");
    const Settings settings = settingsOf(document.storage());
    checkSize(document.storage(), bytes.size());
    if (wellFormed) {
        checkNames(document.storage());
        checkContent(settings, bytes);
    }

    require(document.comeUp("", document.path()),
            "a damaged file keeps the storage from coming up");
    require(document.isSetAside() != wellFormed, "set aside and being well-formed");
    require((wellFormed ? readFile(document.path()) : document.setAside()) == bytes,
            "the file was changed");
    require(settingsOf(document.storage()) == settings, "not what the document is as defaults");
    std::remove(document.path().c_str());
}

}  // namespace fuzz
