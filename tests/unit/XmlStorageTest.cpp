#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "LogCapture.h"
#include "SyslogCapture.h"
#include "XmlStorageFixture.h"

namespace {

using namespace Qel::Settings;
using testing::ElementsAre;
using testsupport::exists;
using testsupport::LogCapture;
using testsupport::LooseXmlStorage;
using testsupport::readFile;
using testsupport::SyslogCapture;
using testsupport::writeFile;

constexpr int kSyslogError = 3;
const char* const kSource = "src/SettingsStorageXml";
const char* const kBaseSource = "src/SettingsStorageFileBase";
const char* const kPicture = "<tv><picture><brightness type='int32' value='55'/></picture></tv>";

class XmlStorage : public testsupport::XmlStorageFixture {};

TEST_F(XmlStorage, LeafBecomesASettingNamedByItsPath) {
    EXPECT_TRUE(load(kPicture));
    EXPECT_THAT(names(), ElementsAre("tv/picture/brightness"));
    EXPECT_EQ(55, value<int>("tv/picture/brightness"));
    EXPECT_EQ("tv", storage_->name());
    EXPECT_EQ("", *storage_->errInfo());
}

TEST_F(XmlStorage, IsWritableOnDemandAndNamelessUntilItsFirstLoad) {
    EXPECT_EQ("", storage_->name());
    EXPECT_FALSE(storage_->readonly());
    EXPECT_EQ(SettingStorageFileBase::Save_onDemand, storage_->savePolicy());
    EXPECT_EQ(" RW def=" + defaults_ + " rw=" + readWrite_ + " savePolicy=Save_onDemand",
              storage_->info());
    load(kPicture);
    EXPECT_EQ("tv RO def=" + defaults_ + " rw=" + readWrite_ + " savePolicy=Save_onDemand",
              storage_->info());
    EXPECT_EQ(nullptr, storage_->rwFilename());
}

TEST_F(XmlStorage, NameGivenAtConstructionYieldsToTheRoots) {
    LooseXmlStorage storage("given", defaults_, readWrite_);
    EXPECT_EQ("given", storage.name());
    writeFile(defaults_, kPicture);
    EXPECT_TRUE(storage.loadFile(defaults_));
    EXPECT_EQ("tv", storage.name());
}

TEST_F(XmlStorage, DocumentOfOneElementGivesOneSettingNamedAfterIt) {
    EXPECT_TRUE(load("<volume type='uint8' value='7'/>"));
    EXPECT_THAT(names(), ElementsAre("volume"));
    EXPECT_EQ(7, value<unsigned char>("volume"));
    EXPECT_EQ("volume", storage_->name());
}

TEST_F(XmlStorage, SiblingsAndLevelsKeepTheirPathsApart) {
    EXPECT_TRUE(
        load("<r><a><b value='1'/><c><d value='2'/></c></a><a2 value='3'/>"
             "<a><e value='4'/></a><f><g/></f></r>"));
    EXPECT_THAT(names(), ElementsAre("r/a/b", "r/a/c/d", "r/a/e", "r/a2", "r/f/g"));
    EXPECT_EQ("2", text("r/a/c/d"));
    EXPECT_EQ("4", text("r/a/e"));
}

TEST_F(XmlStorage, LaterElementOfTheSamePathWins) {
    EXPECT_TRUE(load("<r><a value='1'/><a value='2'/></r>"));
    EXPECT_THAT(names(), ElementsAre("r/a"));
    EXPECT_EQ("2", text("r/a"));
}

TEST_F(XmlStorage, SettingBelongsToTheStorageAndRefusesChanges) {
    load(kPicture);
    const auto holder = storage_->querySetting("tv/picture/brightness");
    EXPECT_EQ(static_cast<SettingChangeCallback*>(storage_.get()), holder->callback());
    EXPECT_FALSE(holder->setValue(boost::any(1)));
    EXPECT_EQ(55, holder->getValue<int>());
    EXPECT_FALSE(storage_->dirty());
}

TEST_F(XmlStorage, SettingThatOutlivesTheStorageRefusesChanges) {
    load(kPicture);
    const auto holder = storage_->querySetting("tv/picture/brightness");
    storage_.reset();
    EXPECT_FALSE(holder->setValue(boost::any(1)));
    EXPECT_EQ(55, holder->getValue<int>());
}

TEST_F(XmlStorage, LoadMakesItReadOnlyEvenWhenItFails) {
    LogCapture log;
    EXPECT_FALSE(storage_->loadFile(directory_.file("none.xml")));
    EXPECT_TRUE(storage_->readonly());
    EXPECT_TRUE(log.contains(5, "Qel::Settings", kSource,
                             "Error loading '" + directory_.file("none.xml") +
                                 "': no readable well-formed XML document, result -1"))
        << log.dump();
}

SettingStorageXml* observed = nullptr;
bool readonlyWhenCreated = false;

boost::shared_ptr<SettingHolder> observe(std::string name, const std::string&) {
    readonlyWhenCreated = observed->readonly();
    return boost::make_shared<SettingHolder>(name, boost::any(1));
}

TEST_F(XmlStorage, IsReadOnlyBeforeTheFirstSettingExists) {
    factory_->registerType(typeid(int), "observed", observe, nullptr);
    observed = storage_.get();
    EXPECT_TRUE(load("<r><a type='observed'/></r>"));
    EXPECT_TRUE(readonlyWhenCreated);
}

TEST_F(XmlStorage, SaveFileLeavesTheFileUntouchedAndReportsFalse) {
    const std::string& document = kPicture;
    load(document);
    EXPECT_FALSE(storage_->saveFile(defaults_));
    EXPECT_EQ(document, readFile(defaults_));
    EXPECT_FALSE(storage_->saveFile(readWrite_));
    EXPECT_FALSE(exists(readWrite_));
    EXPECT_FALSE(exists(readWrite_ + ".tmp"));
}

TEST_F(XmlStorage, SaveOfALoadedStorageIsRefused) {
    load(kPicture);
    LogCapture log;
    EXPECT_FALSE(storage_->save());
    EXPECT_TRUE(log.contains(5, "Qel::Settings", kBaseSource, "Trying to store a readonly file!!"))
        << log.dump();
    EXPECT_FALSE(exists(readWrite_));
}

TEST_F(XmlStorage, ResetWritesNothingAndReportsTrue) {
    const std::string& document = kPicture;
    load(document);
    EXPECT_TRUE(storage_->resetToDefaults());
    EXPECT_TRUE(storage_->resetCalled());
    EXPECT_EQ(document, readFile(defaults_));
    EXPECT_FALSE(exists(readWrite_));
}

TEST_F(XmlStorage, UnknownTypeIsToldToTheSystemLogAndTheErrorText) {
    SyslogCapture syslog;
    EXPECT_TRUE(load("<tv><a type='nonsense' value='1'/><b>x</b><c type='odd'>%s%n</c></tv>"));
    EXPECT_THAT(names(), ElementsAre("tv/b"));
    ASSERT_EQ(2U, syslog.entries().size());
    EXPECT_EQ(kSyslogError, syslog.entries()[0].priority);
    EXPECT_EQ("SettingStorageInifile: %s", syslog.entries()[0].format);
    EXPECT_EQ("SettingStorageInifile: failed to load tv/a(nonsense)=1", syslog.entries()[0].text);
    EXPECT_EQ("SettingStorageInifile: failed to load tv/c(odd)=%s%n", syslog.entries()[1].text);
    EXPECT_EQ("failed to load tv/a(nonsense)=1\nfailed to load tv/c(odd)=%s%n\n",
              *storage_->errInfo());
}

TEST_F(XmlStorage, GoodDocumentTellsTheSystemLogNothing) {
    SyslogCapture syslog;
    LogCapture log;
    EXPECT_TRUE(load("<tv><a/><b type='bool' value='true'/></tv>"));
    EXPECT_EQ(0U, syslog.entries().size());
    EXPECT_EQ(0U, log.entries().size()) << log.dump();
}

boost::shared_ptr<SettingHolder> throwError(std::string, const std::string&) {
    throw std::runtime_error("loader");
}
boost::shared_ptr<SettingHolder> throwNumber(std::string, const std::string&) {
    throw 1;
}
boost::shared_ptr<SettingHolder> refuse(std::string, const std::string&) {
    return {};
}

TEST_F(XmlStorage, WhateverALoaderThrowsCostsThatSettingOnly) {
    factory_->registerType(typeid(int), "error", throwError, nullptr);
    factory_->registerType(typeid(int), "number", throwNumber, nullptr);
    factory_->registerType(typeid(int), "refusal", refuse, nullptr);
    SyslogCapture syslog;
    EXPECT_TRUE(load("<r><a type='error'/><b type='number'>2</b><c type='refusal'/><d/></r>"));
    EXPECT_THAT(names(), ElementsAre("r/d"));
    EXPECT_EQ(3U, syslog.entries().size());
    EXPECT_EQ(
        "failed to load r/a(error)=\nfailed to load r/b(number)=2\nfailed to load r/c(refusal)=\n",
        *storage_->errInfo());
}

boost::shared_ptr<SettingHolder> owned;
boost::shared_ptr<SettingHolder> giveOwned(std::string, const std::string&) {
    return owned;
}

TEST_F(XmlStorage, SettingThatTheStorageRefusesIsAFailure) {
    SettingChangeCallback somebody;
    owned = boost::make_shared<SettingHolder>("r/a", boost::any(1));
    ASSERT_TRUE(owned->bind(somebody));
    factory_->registerType(typeid(int), "owned", giveOwned, nullptr);
    SyslogCapture syslog;
    EXPECT_TRUE(load("<r><a type='owned' value='v'/></r>"));
    EXPECT_THAT(names(), testing::IsEmpty());
    EXPECT_EQ("failed to load r/a(owned)=v\n", *storage_->errInfo());
    owned.reset();
}

class RefusingStorage : public LooseXmlStorage {
public:
    using LooseXmlStorage::LooseXmlStorage;
    bool registerSetting(boost::shared_ptr<SettingHolder>) override {
        throw std::logic_error("not here");
    }
};

TEST_F(XmlStorage, ThrowingRegistrationIsAFailure) {
    RefusingStorage storage("", defaults_, readWrite_);
    storage.setFactory(factory_);
    SyslogCapture syslog;
    writeFile(defaults_, "<r><a/><b/></r>");
    EXPECT_TRUE(storage.loadFile(defaults_));
    EXPECT_EQ("failed to load r/a(std::string)=\nfailed to load r/b(std::string)=\n",
              *storage.errInfo());
}

TEST_F(XmlStorage, WithoutAFactoryEveryLeafIsAFailure) {
    storage_->setFactory(boost::shared_ptr<SettingFactory>());
    SyslogCapture syslog;
    EXPECT_TRUE(load("<r><a value='1'/><b type='int32'>2</b></r>"));
    EXPECT_THAT(names(), testing::IsEmpty());
    EXPECT_EQ("failed to load r/a(std::string)=1\nfailed to load r/b(int32)=2\n",
              *storage_->errInfo());
    EXPECT_EQ(2U, syslog.entries().size());
}

class ExhaustedStorage : public LooseXmlStorage {
public:
    using LooseXmlStorage::LooseXmlStorage;
    const std::string& name(const std::string&) override { throw std::bad_alloc(); }
    using LooseXmlStorage::name;
};

TEST_F(XmlStorage, ShortageOutsideOfALoaderComesOutOfTheLoad) {
    ExhaustedStorage storage("", defaults_, readWrite_);
    writeFile(defaults_, kPicture);
    EXPECT_THROW(storage.loadFile(defaults_), std::bad_alloc);
}

TEST_F(XmlStorage, ShortageInALoaderComesOutOfTheLoad) {
    factory_->registerType(
        typeid(ExhaustedStorage), "large",
        [](std::string, const std::string&) -> boost::shared_ptr<SettingHolder> {
            throw std::bad_alloc();
        },
        [](boost::shared_ptr<SettingHolder>) { return std::string(); });
    EXPECT_THROW(load("<r><a type='large'>1</a></r>"), std::bad_alloc);
}

TEST_F(XmlStorage, CallbacksTolerateAnEmptyStack) {
    const auto* const name = reinterpret_cast<const unsigned char*>("x");
    storage_->onCharacters(name, 1);
    storage_->onEndElement(name);
    EXPECT_THAT(names(), testing::IsEmpty());
}

TEST_F(XmlStorage, StartOfADocumentForgetsWhatWasOpen) {
    EXPECT_FALSE(load("<old><open>"));
    EXPECT_TRUE(load("<r><a/></r>"));
    EXPECT_THAT(names(), ElementsAre("r/a"));
}

TEST_F(XmlStorage, BasesAreInTheirOrder) {
    const SettingStorageXml* const storage = storage_.get();
    EXPECT_EQ(static_cast<const void*>(storage),
              static_cast<const SettingStorageFileBase*>(storage));
    EXPECT_LT(static_cast<const void*>(static_cast<const SettingStorageFileBase*>(storage)),
              static_cast<const void*>(static_cast<const CLibXml2SaxParser*>(storage)));
}

}  // namespace
