#ifndef TESTS_SUPPORT_XMLSTORAGEFIXTURE_H
#define TESTS_SUPPORT_XMLSTORAGEFIXTURE_H

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <vector>

#include "Files.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageXml.h"
#include "Qel/Settings/SettingsManager.h"
#include "TempDir.h"

namespace testsupport {

/// A storage whose factory is chosen without a manager.
class LooseXmlStorage : public Qel::Settings::SettingStorageXml {
public:
    using SettingStorageXml::setFactory;
    using SettingStorageXml::SettingStorageXml;
};

/// A storage with the built-in types, the files that it is to load, and a manager.
class XmlStorageFixture : public testing::Test {
protected:
    XmlStorageFixture()
        : defaults_(directory_.file("tv.xml")),
          readWrite_(directory_.file("rw.xml")),
          factory_(boost::make_shared<Qel::Settings::SettingFactory>()),
          storage_(boost::make_shared<LooseXmlStorage>("", defaults_, readWrite_)) {
        storage_->setFactory(factory_);
    }

    bool load(const std::string& document) {
        writeFile(defaults_, document);
        return storage_->loadFile(defaults_);
    }

    /// The load as the manager runs it.
    bool init() { return storage_->init(&manager_, factory_); }

    std::vector<std::string> names() const {
        std::vector<std::string> names;
        for (const auto& setting : storage_->settingsSet()) {
            names.push_back(setting.first);
        }
        return names;
    }

    template <class T>
    T value(const std::string& name) const {
        const auto holder = storage_->querySetting(name);
        if (!holder) {
            throw std::runtime_error("no setting " + name);
        }
        return holder->getValue<T>();
    }

    std::string text(const std::string& name) const { return value<std::string>(name); }

    TempDir directory_;
    std::string defaults_;
    std::string readWrite_;
    Qel::Settings::SettingsManager manager_;
    boost::shared_ptr<Qel::Settings::SettingFactory> factory_;
    boost::shared_ptr<LooseXmlStorage> storage_;
};

}  // namespace testsupport

#endif
