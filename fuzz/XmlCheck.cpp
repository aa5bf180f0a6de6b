#include <boost/make_shared.hpp>
#include <cstdio>
#include <libxml/parser.h>

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
    explicit OpenedResources(const std::string& allowed) {
        instance() = this;
        allowed_ = allowed;
        libraryLoader() = xmlGetExternalEntityLoader();
        xmlSetExternalEntityLoader(load);
    }
    ~OpenedResources() { xmlSetExternalEntityLoader(libraryLoader()); }
    OpenedResources(const OpenedResources&) = delete;
    OpenedResources& operator=(const OpenedResources&) = delete;

    /// Empty when nothing was wanted but the document.
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
    static xmlParserInputPtr load(const char* url, const char* id, xmlParserCtxtPtr context) {
        if (url != nullptr && instance()->allowed_ == url) {
            return libraryLoader()(url, id, context);
        }
        instance()->others_ += std::string(url == nullptr ? "(none)" : url) + "\n";
        return nullptr;
    }

    std::string allowed_;
    std::string others_;
};

/// A storage with the document as its read/write file; `init` loads it.
class Document {
public:
    Document(const std::string& bytes, const std::string& directory)
        : path_(directory + "/tv.xml"), bad_(path_ + ".bad") {
        std::remove(bad_.c_str());
        writeFile(path_, bytes);
    }

    bool comeUp(const std::string& defaults, const std::string& readWrite) {
        storage_.reset();
        manager_.reset();
        manager_ = boost::make_shared<SettingsManager>();
        storage_ = boost::make_shared<SettingStorageXml>("", defaults, readWrite);
        const OpenedResources opened(path_);
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

/// An element takes at least "<a/>", and no value is made out of nothing: what an element holds is
/// in the document, in an encoding that takes at least half as many bytes.
void checkSize(SettingStorageXml& storage, std::size_t size) {
    std::size_t texts = 0;
    for (const auto& entry : storage.settingsSet()) {
        if (entry.second->type() == typeid(std::string)) {
            texts += entry.second->getValue<std::string>().size();
        }
    }
    require(texts <= 2 * size, "values of " + std::to_string(texts) + " bytes");
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
    Document document(bytes, directory);
    const bool wellFormed = document.comeUp(document.path(), "");
    require(readFile(document.path()) == bytes && !document.isSetAside(), "defaults were changed");
    require(document.storage().readonly(), "an XML storage that takes changes");
    require(!document.storage().saveFile(document.path()), "an XML storage that saves");
    const Settings settings = settingsOf(document.storage());
    checkSize(document.storage(), bytes.size());
    if (wellFormed) {
        checkNames(document.storage());
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
