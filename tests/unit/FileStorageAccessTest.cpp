#include <boost/make_shared.hpp>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <vector>

#include "FileStorageFixture.h"
#include "Qel/Settings/SettingChangeCallback.h"
#include "SystemCommands.h"

namespace {

using namespace Qel::Settings;
using testsupport::FileStorageFixture;
using testsupport::StubFileStorage;

class FileStorageAccess : public FileStorageFixture {};

TEST_F(FileStorageAccess, InfoRunsNameFlagPathsAndPolicyTogether) {
    create("/d/settings.ini", "/rw/settings.ini", StubFileStorage::Save_async);
    EXPECT_EQ(storage_->info(),
              "settings RW def=/d/settings.ini rw=/rw/settings.ini savePolicy=Save_async");
}

TEST_F(FileStorageAccess, InfoOfAReadOnlyStorageStillNamesTheReadWriteFile) {
    create("/d/settings.ini", "/rw/settings.ini");
    storage_->readonly(true);
    EXPECT_EQ(storage_->info(),
              "settings RO def=/d/settings.ini rw=/rw/settings.ini savePolicy=Save_onDemand");
}

TEST_F(FileStorageAccess, InfoSaysWhereThereIsNoFileName) {
    create("/d/settings.ini", "");
    EXPECT_EQ(storage_->info(),
              "settings RW def=/d/settings.ini rw=(No filename) savePolicy=Save_onDemand");
    create("", "/rw/settings.ini");
    EXPECT_EQ(storage_->info(),
              "settings RW def=(No filename) rw=/rw/settings.ini savePolicy=Save_onDemand");
    storage_->readonly(true);
    storage_->rwFilename("");
    EXPECT_EQ(storage_->info(),
              "settings RO def=(No filename) rw=(No filename) savePolicy=Save_onDemand");
}

TEST_F(FileStorageAccess, InfoHasATextForEveryPolicy) {
    const struct {
        SavePolicy policy;
        const char* text;
    } rows[] = {{StubFileStorage::Save_unspecified, "Save_unspecified"},
                {StubFileStorage::Save_onDemand, "Save_onDemand"},
                {StubFileStorage::Save_onEachChange, "Save_onEachChange"},
                {StubFileStorage::Save_async, "Save_async"},
                {static_cast<SavePolicy>(4), "?"},
                {static_cast<SavePolicy>(-1), "?"}};
    create("d", "rw");
    for (const auto& row : rows) {
        storage_->savePolicy(row.policy);
        EXPECT_EQ(storage_->info(), std::string("settings RW def=d rw=rw savePolicy=") + row.text);
    }
}

TEST_F(FileStorageAccess, InfoFollowsTheName) {
    create("d", "rw");
    EXPECT_EQ(storage_->name("other"), "other");
    EXPECT_EQ(storage_->info(), "other RW def=d rw=rw savePolicy=Save_onDemand");
}

TEST_F(FileStorageAccess, TheDefaultsPathIsNeverNull) {
    create("", "");
    ASSERT_NE(storage_->filename(), nullptr);
    EXPECT_EQ(*storage_->filename(), "");
    storage_->readonly(true);
    ASSERT_NE(storage_->filename(), nullptr);
    const std::string* const set = storage_->filename("d.ini");
    EXPECT_EQ(set, storage_->filename());
    EXPECT_EQ(*set, "d.ini");
}

TEST_F(FileStorageAccess, TheReadWritePathIsNullExactlyWhileReadOnly) {
    create("", "");
    ASSERT_NE(storage_->rwFilename(), nullptr);
    EXPECT_EQ(*storage_->rwFilename(), "");
    const std::string* const set = storage_->rwFilename("rw.ini");
    EXPECT_EQ(set, storage_->rwFilename());
    EXPECT_EQ(*set, "rw.ini");
    storage_->readonly(true);
    EXPECT_EQ(storage_->rwFilename(), nullptr);
    EXPECT_EQ(storage_->rwFilename("other.ini"), nullptr);
    storage_->readonly(false);
    EXPECT_EQ(*storage_->rwFilename(), "other.ini");
}

TEST_F(FileStorageAccess, TheErrorTextIsNeverNull) {
    ASSERT_NE(storage_->errInfo(), nullptr);
    EXPECT_EQ(*storage_->errInfo(), "");
}

TEST_F(FileStorageAccess, AnErrorTextThatSomebodyLooksAtStaysAsItIs) {
    storage_->appendErrInfo("first\n");
    const std::string* const shown = storage_->errInfo();
    EXPECT_EQ(*shown, "first\n");
    storage_->appendErrInfo("second\n");
    EXPECT_EQ(*shown, "first\n");
    EXPECT_EQ(*storage_->errInfo(), "first\nsecond\n");
}

TEST_F(FileStorageAccess, ANewStorageIsCleanAndNotReset) {
    EXPECT_FALSE(storage_->dirty());
    EXPECT_FALSE(storage_->resetCalled());
    EXPECT_FALSE(storage_->readonly());
    EXPECT_FALSE(storage_->surviveResetToDefaults());
    EXPECT_EQ(storage_->settingsManager(), nullptr);
    EXPECT_TRUE(storage_->settingsSet().empty());
    EXPECT_EQ(storage_->calls(), Calls{});
}

TEST_F(FileStorageAccess, ASettingIsFiledUnderItsNameAndBelongsToTheStorage) {
    const Holder a = holder("settings/a", 1);
    EXPECT_TRUE(storage_->registerSetting(a));
    EXPECT_EQ(a->callback(), static_cast<SettingChangeCallback*>(storage_.get()));
    EXPECT_EQ(storage_->querySetting("settings/a"), a);
    ASSERT_EQ(storage_->settingsSet().size(), 1U);
    EXPECT_EQ(storage_->settingsSet().at("settings/a"), a);
}

TEST_F(FileStorageAccess, NoSettingIsNotRegistered) {
    EXPECT_FALSE(storage_->registerSetting(Holder()));
    EXPECT_TRUE(storage_->settingsSet().empty());
}

TEST_F(FileStorageAccess, ASettingThatIsRegisteredIsRefusedByEveryStorage) {
    const Holder a = add("settings/a");
    StubFileStorage other("other", "", "");
    EXPECT_FALSE(storage_->registerSetting(a));
    EXPECT_FALSE(other.registerSetting(a));
    EXPECT_TRUE(other.settingsSet().empty());
    EXPECT_EQ(storage_->querySetting("settings/a"), a);
    EXPECT_EQ(a->callback(), static_cast<SettingChangeCallback*>(storage_.get()));
}

TEST_F(FileStorageAccess, TheLaterSettingOfANameIsFiledAndTheEarlierStaysBound) {
    const Holder earlier = add("settings/a", 1);
    const Holder later = add("settings/a", 2);
    EXPECT_EQ(storage_->querySetting("settings/a"), later);
    EXPECT_EQ(storage_->settingsSet().size(), 1U);
    EXPECT_EQ(earlier->callback(), static_cast<SettingChangeCallback*>(storage_.get()));
    EXPECT_TRUE(earlier->setValue(3));
    EXPECT_TRUE(storage_->dirty());
}

TEST_F(FileStorageAccess, AReadOnlyStorageTakesSettings) {
    storage_->readonly(true);
    const Holder a = add("settings/a");
    EXPECT_EQ(storage_->querySetting("settings/a"), a);
    EXPECT_FALSE(a->setValue(1));
}

TEST_F(FileStorageAccess, AQueryWantsTheExactName) {
    add("settings/a");
    for (const char* const name : {"settings/A", "settings/", "settings/a ", "a", ""}) {
        EXPECT_FALSE(storage_->querySetting(name)) << name;
    }
}

TEST_F(FileStorageAccess, SettingsAreInByteWiseOrderOfTheirNames) {
    for (const char* const name : {"b", "a/b", "B", "a", "\xC3\xA4", "a b", ""}) {
        add(name);
    }
    std::vector<std::string> names;
    for (const auto& entry : storage_->settingsSet()) {
        names.push_back(entry.first);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"", "B", "a", "a b", "a/b", "b", "\xC3\xA4"}));
}

TEST_F(FileStorageAccess, TheSettingsAreHandedOutByReference) {
    EXPECT_EQ(&storage_->settingsSet(), &storage_->settingsSet());
    add("settings/a");
    EXPECT_NE(storage_->settingsSet().find("settings/a"), storage_->settingsSet().end());
}

TEST_F(FileStorageAccess, ASettingThatOutlivesItsStorageRefusesChanges) {
    const Holder a = add("settings/a", 1);
    const Holder replaced = add("settings/b", 2);
    const Holder replacing = add("settings/b", 3);
    storage_.reset();
    for (const Holder& survivor : {a, replaced, replacing}) {
        const int value = survivor->getValue<int>();
        EXPECT_FALSE(survivor->setValue(9)) << survivor->name();
        EXPECT_EQ(survivor->getValue<int>(), value);
        StubFileStorage other("other", "", "");
        EXPECT_FALSE(other.registerSetting(survivor)) << survivor->name();
    }
}

TEST_F(FileStorageAccess, SettingsThatInitDropsRefuseChangesAfterTheStoragesEndToo) {
    const Holder dropped = add("settings/a", 1);
    ASSERT_TRUE(init());
    EXPECT_FALSE(storage_->querySetting("settings/a"));
    EXPECT_TRUE(dropped->setValue(2));
    storage_.reset();
    EXPECT_FALSE(dropped->setValue(3));
}

TEST_F(FileStorageAccess, ManyReplacedSettingsAreAllFollowedToTheEnd) {
    std::vector<Holder> kept;
    for (int i = 0; i < 100; ++i) {
        const Holder next = add("settings/a", i);
        if (i % 3 == 0) {
            kept.push_back(next);
        }
    }
    storage_.reset();
    for (const Holder& survivor : kept) {
        EXPECT_FALSE(survivor->setValue(-1)) << survivor->getValue<int>();
    }
}

}  // namespace
