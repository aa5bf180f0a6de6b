#include <boost/smart_ptr/make_shared.hpp>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageBase.h"
#include "Qel/Settings/SettingsManager.h"

namespace {

using namespace Qel::Settings;

static_assert(std::is_abstract<SettingStorageInterface>::value, "every operation is open");
static_assert(std::is_abstract<SettingStorageBase>::value, "settings and reset are open");
static_assert(std::has_virtual_destructor<SettingStorageInterface>::value, "held by shared_ptr");
static_assert(std::is_same<decltype(&SettingStorageInterface::settingsSet),
                           const SettingsSet& (SettingStorageInterface::*)() const>::value,
              "find() and end() of two calls must belong together");

/// The base as it is, with the two operations that it leaves open.
class PlainStorage : public SettingStorageBase {
public:
    using SettingStorageBase::setFactory;
    using SettingStorageBase::SettingStorageBase;
    const SettingsSet& settingsSet() const override { return none_; }
    bool resetToDefaults() override { return false; }

private:
    SettingsSet none_;
};

boost::shared_ptr<SettingFactory> newFactory() {
    return boost::make_shared<SettingFactory>();
}

/// The text of the exception that a call throws; "" for none.
template <class Call>
std::string exceptionOf(Call call) {
    try {
        call();
    } catch (const std::runtime_error& e) {
        return e.what();
    }
    return "";
}

const std::string kTaken = "Storage already registered with a SettingsManager.";

TEST(SettingStorageBase, StartsWritableWithItsNameAndNothingElse) {
    const PlainStorage storage("sound");
    EXPECT_EQ("sound", storage.name());
    EXPECT_FALSE(storage.readonly());
    EXPECT_FALSE(storage.surviveResetToDefaults());
    EXPECT_EQ(nullptr, storage.settingsManager());
    EXPECT_EQ(nullptr, storage.factory());
}

TEST(SettingStorageBase, HasNoFilesSavesWithoutWritingAndRefusesSettings) {
    PlainStorage storage("sound");
    EXPECT_EQ(nullptr, storage.filename());
    EXPECT_EQ(nullptr, storage.filename("/absent/a"));
    EXPECT_EQ(nullptr, storage.filename());
    EXPECT_EQ(nullptr, storage.rwFilename());
    EXPECT_EQ(nullptr, storage.rwFilename("/absent/b"));
    EXPECT_EQ(nullptr, storage.rwFilename());
    EXPECT_EQ(nullptr, storage.errInfo());
    EXPECT_TRUE(storage.save());
    const auto setting = boost::make_shared<SettingHolder>("sound/bass", 1);
    EXPECT_FALSE(storage.registerSetting(setting));
    EXPECT_EQ(nullptr, setting->callback());
    EXPECT_EQ(nullptr, storage.querySetting("sound/bass"));
}

TEST(SettingStorageBase, RenamingReturnsTheNewName) {
    PlainStorage storage("before");
    EXPECT_EQ("after", storage.name("after"));
    EXPECT_EQ("after", storage.name());
}

TEST(SettingStorageBase, ReferenceToAFormerNameStaysGood) {
    PlainStorage storage("before");
    const std::string& before = storage.name();
    storage.name("a much longer name than the one that the storage had before");
    storage.name("third");
    EXPECT_EQ("before", before);
    EXPECT_EQ("before", storage.name(before));
}

TEST(SettingStorageBase, ReadonlySetterReturnsThePreviousFlag) {
    PlainStorage storage("sound");
    EXPECT_FALSE(storage.readonly(true));
    EXPECT_TRUE(storage.readonly());
    EXPECT_TRUE(storage.readonly(true));
    EXPECT_TRUE(storage.readonly(false));
    EXPECT_FALSE(storage.readonly());
    EXPECT_FALSE(storage.readonly(false));
}

TEST(SettingStorageBase, SurvivalIsWhatWasSetLast) {
    PlainStorage storage("sound");
    storage.surviveResetToDefaults(true);
    EXPECT_TRUE(storage.surviveResetToDefaults());
    storage.surviveResetToDefaults(false);
    EXPECT_FALSE(storage.surviveResetToDefaults());
}

TEST(SettingStorageBase, InfoIsTheNameAndWhetherTheStorageIsWritable) {
    PlainStorage storage("settings");
    EXPECT_EQ("settings RW", storage.info());
    storage.readonly(true);
    EXPECT_EQ("settings RO", storage.info());
    storage.name("");
    EXPECT_EQ(" RO", storage.info());
}

TEST(SettingStorageBase, InfoAsksTheSubclass) {
    struct Disguised : PlainStorage {
        using PlainStorage::name;
        using PlainStorage::PlainStorage;
        using PlainStorage::readonly;
        const std::string& name() const override { return disguise; }
        bool readonly() const override { return true; }
        std::string disguise = "other";
    };
    EXPECT_EQ("other RO", Disguised("sound").info());
}

TEST(SettingStorageBase, ChangesAreAllowedExactlyWhileItIsNotReadOnly) {
    PlainStorage storage("sound");
    EXPECT_TRUE(storage.changing("sound/bass"));
    storage.readonly(true);
    EXPECT_FALSE(storage.changing("sound/bass"));
    storage.readonly(false);
    EXPECT_TRUE(storage.changing("sound/bass"));
}

TEST(SettingStorageBase, ReportOfAChangeIsIgnored) {
    PlainStorage storage("sound");
    SettingHolder setting("sound/bass", 1);
    ASSERT_TRUE(setting.bind(storage));
    EXPECT_TRUE(setting.setValue(2));
    EXPECT_EQ("sound RW", storage.info());
    setting.orphan(storage);
}

TEST(SettingStorageBase, InitWithoutAManagerIsRefused) {
    PlainStorage storage("sound");
    EXPECT_FALSE(storage.init(nullptr, newFactory()));
    EXPECT_EQ(nullptr, storage.settingsManager());
    EXPECT_EQ(nullptr, storage.factory());
    SettingsManager manager;
    EXPECT_TRUE(storage.init(&manager, nullptr));
}

TEST(SettingStorageBase, InitTakesManagerAndFactory) {
    PlainStorage storage("sound");
    SettingsManager manager;
    const auto types = newFactory();
    EXPECT_TRUE(storage.init(&manager, types));
    EXPECT_EQ(&manager, storage.settingsManager());
    EXPECT_EQ(types, storage.factory());
}

TEST(SettingStorageBase, InitWithoutAFactorySucceeds) {
    PlainStorage storage("sound");
    SettingsManager manager;
    EXPECT_TRUE(storage.init(&manager, nullptr));
    EXPECT_EQ(nullptr, storage.factory());
}

TEST(SettingStorageBase, FactoryThatItHasWinsOverTheManagers) {
    PlainStorage storage("sound");
    const auto own = newFactory();
    storage.setFactory(own);
    SettingsManager manager;
    EXPECT_TRUE(storage.init(&manager, newFactory()));
    EXPECT_EQ(own, storage.factory());
}

TEST(SettingStorageBase, SecondInitThrowsWhoeverTheManagerIsAndTheLinkStays) {
    PlainStorage storage("sound");
    SettingsManager manager;
    SettingsManager other;
    const auto types = newFactory();
    ASSERT_TRUE(storage.init(&manager, types));
    EXPECT_EQ(kTaken, exceptionOf([&] { storage.init(&other, newFactory()); }));
    EXPECT_EQ(kTaken, exceptionOf([&] { storage.init(&manager, newFactory()); }));
    EXPECT_EQ(&manager, storage.settingsManager());
    EXPECT_EQ(types, storage.factory());
}

TEST(SettingStorageBase, ManagerSetterThrowsWhenThereIsOne) {
    PlainStorage storage("sound");
    SettingsManager manager;
    SettingsManager other;
    EXPECT_EQ("", exceptionOf([&] { storage.settingsManager(&manager); }));
    EXPECT_EQ(kTaken, exceptionOf([&] { storage.settingsManager(&other); }));
    EXPECT_EQ(kTaken, exceptionOf([&] { storage.settingsManager(&manager); }));
    EXPECT_EQ(kTaken, exceptionOf([&] { storage.settingsManager(nullptr); }));
    EXPECT_EQ(&manager, storage.settingsManager());
}

TEST(SettingStorageBase, InitLinksTheManagerThroughTheSubclass) {
    struct Watching : PlainStorage {
        using PlainStorage::PlainStorage;
        using PlainStorage::settingsManager;
        void settingsManager(SettingsManager* manager) override {
            seen = manager;
            PlainStorage::settingsManager(manager);
        }
        SettingsManager* seen = nullptr;
    } storage("sound");
    SettingsManager manager;
    EXPECT_TRUE(storage.init(&manager, nullptr));
    EXPECT_EQ(&manager, storage.seen);
    EXPECT_EQ(&manager, storage.settingsManager());
}

TEST(SettingStorageBase, SettingsMayNotBeAddedByAManagerWhenItAcceptsNone) {
    SettingsManager manager;
    ASSERT_TRUE(manager.registerStorage(boost::make_shared<PlainStorage>("sound")));
    EXPECT_EQ("Failed to register setting.", exceptionOf([&] {
                  manager.registerSetting(boost::make_shared<SettingHolder>("sound/bass", 1));
              }));
}

TEST(SettingStorageBase, BasesAreTheInterfaceThenTheCallback) {
    PlainStorage storage("sound");
    EXPECT_EQ(static_cast<void*>(&storage),
              static_cast<void*>(static_cast<SettingStorageInterface*>(&storage)));
    EXPECT_LT(static_cast<void*>(static_cast<SettingStorageInterface*>(&storage)),
              static_cast<void*>(static_cast<SettingChangeCallback*>(&storage)));
}

}  // namespace
