#include <boost/smart_ptr/make_shared.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <vector>

#include "LogCapture.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingsManager.h"
#include "StubStorage.h"

namespace {

using namespace Qel::Settings;
using testing::ElementsAre;
using testing::IsEmpty;
using testsupport::LogCapture;
using testsupport::StubStorage;

using Storage = boost::shared_ptr<StubStorage>;
using Holder = boost::shared_ptr<SettingHolder>;

Holder newSetting(const std::string& name) {
    return boost::make_shared<SettingHolder>(name, 1);
}

class SettingsManagerRegister : public testing::Test {
protected:
    Storage add(const std::string& name) {
        const auto storage = boost::make_shared<StubStorage>(name);
        EXPECT_TRUE(manager_.registerStorage(storage)) << name;
        return storage;
    }

    std::vector<std::string> storageNames() const {
        std::vector<std::string> names;
        manager_.forEachStorage([&](const auto& storage) { names.push_back(storage->name()); });
        return names;
    }

    /// The text of the exception that registering `setting` throws; "" for none.
    std::string refusalOf(const Holder& setting) {
        try {
            manager_.registerSetting(setting);
        } catch (const std::runtime_error& e) {
            return e.what();
        }
        return "";
    }

    SettingsManager manager_;
};

TEST_F(SettingsManagerRegister, StorageIsInitialisedWithTheManagerAndItsFactory) {
    const auto types = boost::make_shared<SettingFactory>();
    manager_.factory(types);
    const Storage storage = add("sound");
    EXPECT_EQ(&manager_, storage->settingsManager());
    EXPECT_EQ(types, storage->factory());
}

TEST_F(SettingsManagerRegister, StorageThatRefusesItsInitialisationIsNotFiled) {
    const auto storage = boost::make_shared<StubStorage>("sound");
    const Holder bass = storage->load("sound/bass", 1);
    storage->usable = false;
    EXPECT_FALSE(manager_.registerStorage(storage));
    EXPECT_THAT(storageNames(), IsEmpty());
    EXPECT_EQ(nullptr, manager_.setting("sound/bass"));
    EXPECT_EQ(nullptr, storage->errInfo());
}

TEST_F(SettingsManagerRegister, StorageThatRefusedOnceCannotBeTriedAgain) {
    const auto storage = boost::make_shared<StubStorage>("sound");
    storage->usable = false;
    ASSERT_FALSE(manager_.registerStorage(storage));
    storage->usable = true;
    EXPECT_THROW(manager_.registerStorage(storage), std::runtime_error);
}

TEST_F(SettingsManagerRegister, NoStorageAtAllIsRefused) {
    EXPECT_FALSE(manager_.registerStorage(nullptr));
    EXPECT_THAT(storageNames(), IsEmpty());
}

TEST_F(SettingsManagerRegister, StorageIsFiledUnderTheNameThatItHasAfterItsInitialisation) {
    const auto storage = boost::make_shared<StubStorage>("before");
    storage->duringInit = [&] { storage->name("after"); };
    ASSERT_TRUE(manager_.registerStorage(storage));
    ASSERT_THAT(storageNames(), ElementsAre("after"));
    EXPECT_EQ("No appropriate storage for setting: before/x", refusalOf(newSetting("before/x")));
    EXPECT_EQ("", refusalOf(newSetting("after/x")));
}

TEST_F(SettingsManagerRegister, LaterRenamingDoesNotMoveTheStorage) {
    const Storage storage = add("before");
    storage->name("after");
    EXPECT_EQ("", refusalOf(newSetting("before/x")));
    EXPECT_EQ("No appropriate storage for setting: after/x", refusalOf(newSetting("after/x")));
}

TEST_F(SettingsManagerRegister, SecondStorageOfANameReplacesTheFirstWithoutAWord) {
    LogCapture log;
    const Storage first = add("sound");
    const Storage second = add("sound");
    EXPECT_THAT(storageNames(), ElementsAre("sound"));
    EXPECT_EQ("", refusalOf(newSetting("sound/bass")));
    EXPECT_EQ(0, first->registrations);
    EXPECT_EQ(1, second->registrations);
    EXPECT_THAT(log.entries(), IsEmpty()) << log.dump();
}

TEST_F(SettingsManagerRegister, LaterStoragesSettingOfTheSameNameWinsInTheIndex) {
    const auto first = boost::make_shared<StubStorage>("sound");
    const auto second = boost::make_shared<StubStorage>("sound/x");
    const Holder early = first->load("sound/x/bass", 1);
    const Holder late = second->load("sound/x/bass", 2);
    ASSERT_TRUE(manager_.registerStorage(first));
    EXPECT_EQ(early, manager_.setting("sound/x/bass"));
    ASSERT_TRUE(manager_.registerStorage(second));
    EXPECT_EQ(late, manager_.setting("sound/x/bass"));
}

TEST_F(SettingsManagerRegister, StorageWithAnEmptyValueStaysRegisteredButTheResultIsFalse) {
    const auto storage = boost::make_shared<StubStorage>("sound");
    storage->load("sound/a", boost::any());
    const Holder good = storage->load("sound/b", 1);
    EXPECT_FALSE(manager_.registerStorage(storage));
    EXPECT_THAT(storageNames(), ElementsAre("sound"));
    EXPECT_EQ(nullptr, manager_.setting("sound/a"));
    EXPECT_EQ(good, manager_.setting("sound/b"));
}

TEST_F(SettingsManagerRegister, StorageWithANullHolderStaysRegisteredButTheResultIsFalse) {
    const auto storage = boost::make_shared<StubStorage>("sound");
    storage->settings["sound/a"] = nullptr;
    const Holder good = storage->load("sound/b", 1);
    EXPECT_FALSE(manager_.registerStorage(storage));
    EXPECT_THAT(storageNames(), ElementsAre("sound"));
    EXPECT_EQ(nullptr, manager_.setting("sound/a"));
    EXPECT_EQ(good, manager_.setting("sound/b"));
}

TEST_F(SettingsManagerRegister, SettingsOfAStorageWithOwnersAreIndexedWithoutAskingAnybody) {
    const auto storage = boost::make_shared<StubStorage>("sound");
    const Holder elsewhere = storage->load("nowhere/x", 1);
    storage->readonly(true);
    ASSERT_TRUE(manager_.registerStorage(storage));
    EXPECT_EQ(elsewhere, manager_.setting("nowhere/x"));
    EXPECT_EQ(0, storage->registrations);
}

TEST_F(SettingsManagerRegister, OwnerlessSettingOfAStorageGoesToTheStorageThatItsNameBelongsTo) {
    const Storage sound = add("sound");
    const auto other = boost::make_shared<StubStorage>("other");
    const Holder bass = newSetting("sound/bass");
    other->settings["sound/bass"] = bass;
    ASSERT_TRUE(manager_.registerStorage(other));
    EXPECT_EQ(1, sound->registrations);
    EXPECT_EQ(static_cast<SettingChangeCallback*>(sound.get()), bass->callback());
    EXPECT_EQ(bass, manager_.setting("sound/bass"));
}

TEST_F(SettingsManagerRegister, OwnerlessSettingThatNobodyTakesThrowsButItsStorageIsFiled) {
    const auto storage = boost::make_shared<StubStorage>("sound");
    storage->settings["picture/x"] = newSetting("picture/x");
    try {
        manager_.registerStorage(storage);
        FAIL() << "nothing was thrown";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ("No appropriate storage for setting: picture/x", e.what());
    }
    EXPECT_THAT(storageNames(), ElementsAre("sound"));
    EXPECT_EQ(nullptr, manager_.setting("picture/x"));
    EXPECT_EQ("", refusalOf(newSetting("sound/x"))) << "the lock must be free again";
}

TEST_F(SettingsManagerRegister, SecondRegistrationOfAStorageThrowsAndFreesTheLock) {
    const Storage storage = add("sound");
    SettingsManager other;
    for (SettingsManager* const manager : {&manager_, &other}) {
        try {
            manager->registerStorage(storage);
            FAIL() << "nothing was thrown";
        } catch (const std::runtime_error& e) {
            EXPECT_STREQ("Storage already registered with a SettingsManager.", e.what());
        }
        EXPECT_TRUE(manager->registerStorage(boost::make_shared<StubStorage>("free")));
    }
    EXPECT_EQ(&manager_, storage->settingsManager());
    EXPECT_THAT(storageNames(), ElementsAre("free", "sound"));
}

TEST_F(SettingsManagerRegister, NewSettingGoesToTheStorageWithTheLongestNameThatBeginsItsOwn) {
    const Storage shorter = add("calibration");
    const Storage longer = add("calibration_data");
    add("calibration_dataset");
    add("z");
    const Holder setting = newSetting("calibration_data/x");
    EXPECT_EQ("", refusalOf(setting));
    EXPECT_EQ(setting, longer->settings["calibration_data/x"]);
    EXPECT_EQ(setting, manager_.setting("calibration_data/x"));
    EXPECT_EQ("", refusalOf(newSetting("calibration/x")));
    EXPECT_EQ(1, longer->registrations);
    EXPECT_EQ(1, shorter->registrations);
}

TEST_F(SettingsManagerRegister, PrefixIsAMatterOfBytesNotOfPathComponents) {
    const Storage storage = add("set");
    EXPECT_EQ("", refusalOf(newSetting("settings/x")));
    EXPECT_EQ(1, storage->registrations);
    EXPECT_EQ("No appropriate storage for setting: Settings/x",
              refusalOf(newSetting("Settings/x")));
    EXPECT_EQ("No appropriate storage for setting: se", refusalOf(newSetting("se")));
}

TEST_F(SettingsManagerRegister, EqualNameCountsAsABeginning) {
    const Storage storage = add("sound");
    EXPECT_EQ("", refusalOf(newSetting("sound")));
    EXPECT_EQ(1, storage->registrations);
}

TEST_F(SettingsManagerRegister, EmptyStorageNameBeginsEveryName) {
    const Storage unnamed = add("");
    const Storage sound = add("sound");
    EXPECT_EQ("", refusalOf(newSetting("picture/x")));
    EXPECT_EQ("", refusalOf(newSetting("")));
    EXPECT_EQ("", refusalOf(newSetting("sound/x")));
    EXPECT_EQ(2, unnamed->registrations);
    EXPECT_EQ(1, sound->registrations);
}

TEST_F(SettingsManagerRegister, SettingOfNoStorageThrowsWithItsName) {
    const Holder setting = newSetting("picture/100%s");
    EXPECT_EQ("No appropriate storage for setting: picture/100%s", refusalOf(setting));
    add("sound");
    EXPECT_EQ("No appropriate storage for setting: picture/100%s", refusalOf(setting));
    EXPECT_EQ(nullptr, manager_.setting("picture/100%s"));
    EXPECT_EQ(nullptr, setting->callback());
}

TEST_F(SettingsManagerRegister, ReadOnlyStorageIsNotEvenOfferedTheSetting) {
    const Storage storage = add("sound");
    storage->readonly(true);
    EXPECT_EQ("Setting storage is readonly.", refusalOf(newSetting("sound/x")));
    EXPECT_EQ(0, storage->registrations);
    EXPECT_EQ(nullptr, manager_.setting("sound/x"));
}

TEST_F(SettingsManagerRegister, SettingThatItsStorageRefusesIsNotIndexed) {
    const Storage storage = add("sound");
    storage->accepting = false;
    EXPECT_EQ("Failed to register setting.", refusalOf(newSetting("sound/x")));
    EXPECT_EQ(1, storage->registrations);
    EXPECT_EQ(nullptr, manager_.setting("sound/x"));
}

TEST_F(SettingsManagerRegister, NoSettingAtAllIsRefused) {
    add("");
    EXPECT_EQ("Failed to register setting.", refusalOf(nullptr));
}

TEST_F(SettingsManagerRegister, SettingOfAnotherStorageIsRefusedAndStaysThere) {
    const Storage sound = add("sound");
    StubStorage other("other");
    const Holder setting = other.load("sound/x", 1);
    EXPECT_EQ("Failed to register setting.", refusalOf(setting));
    EXPECT_EQ(static_cast<SettingChangeCallback*>(&other), setting->callback());
    EXPECT_EQ(nullptr, manager_.setting("sound/x"));
}

TEST_F(SettingsManagerRegister, NewSettingReplacesTheOneOfItsNameInTheIndex) {
    add("sound");
    const Holder first = newSetting("sound/x");
    const Holder second = newSetting("sound/x");
    EXPECT_EQ("", refusalOf(first));
    EXPECT_EQ("", refusalOf(second));
    EXPECT_EQ(second, manager_.setting("sound/x"));
}

TEST_F(SettingsManagerRegister, DefaultStorageTakesWhatNoNameClaims) {
    const auto rest = boost::make_shared<StubStorage>("rest");
    manager_.defaultStorage(rest);
    const Holder setting = newSetting("picture/x");
    EXPECT_EQ("", refusalOf(setting));
    EXPECT_EQ(setting, rest->settings["picture/x"]);
    EXPECT_EQ(setting, manager_.setting("picture/x"));
    EXPECT_THAT(storageNames(), IsEmpty());
}

TEST_F(SettingsManagerRegister, DefaultStorageDoesNotStandInForAStorageThatRefuses) {
    const auto rest = boost::make_shared<StubStorage>("rest");
    manager_.defaultStorage(rest);
    const Storage readOnly = add("readOnly");
    const Storage refusing = add("refusing");
    readOnly->readonly(true);
    refusing->accepting = false;
    EXPECT_EQ("Setting storage is readonly.", refusalOf(newSetting("readOnly/x")));
    EXPECT_EQ("Failed to register setting.", refusalOf(newSetting("refusing/x")));
    EXPECT_EQ(0, rest->registrations);
}

TEST_F(SettingsManagerRegister, DefaultStorageMayBeReadOnlyToo) {
    const auto rest = boost::make_shared<StubStorage>("rest");
    rest->readonly(true);
    manager_.defaultStorage(rest);
    EXPECT_EQ("Setting storage is readonly.", refusalOf(newSetting("picture/x")));
}

}  // namespace
