#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <gtest/gtest.h>
#include <string>

#include "Files.h"
#include "Qel/Settings/SettingsManager.h"
#include "SaverFixture.h"
#include "TempDir.h"

namespace {

using Qel::Settings::SettingsManager;
using Qel::Settings::SOM_Normal;
using Qel::Settings::SOM_ResetDone;
using Qel::Settings::SOM_ResettingToDefault;
using testsupport::AsyncStub;

constexpr const AsyncStub* kNone = nullptr;

/// How the saver finds the next storage to save: order, cursor, and what ends the search.
class AsyncSaverSearch : public testsupport::SaverFixture {
protected:
    Qel::Settings::SettingStorageFileBase* next() { return saver_.getNextStorage(); }

    /// A storage of `manager_`.
    boost::shared_ptr<AsyncStub> managed(const std::string& name) {
        const auto storage = boost::make_shared<AsyncStub>(name);
        EXPECT_TRUE(manager_.registerStorage(storage));
        return storage;
    }

    Saver& saver_ = stoppedSaver();
    SettingsManager manager_;
};

TEST_F(AsyncSaverSearch, EmptyListGivesNothing) {
    EXPECT_EQ(kNone, next());
}

TEST_F(AsyncSaverSearch, CleanStoragesArePassedOver) {
    AsyncStub a("a");
    AsyncStub b("b");
    EXPECT_EQ(kNone, next());
    b.touch();
    EXPECT_EQ(&b, next());
}

TEST_F(AsyncSaverSearch, DirtyStoragesComeRoundRobinInOrderOfRegistration) {
    AsyncStub c("c");
    AsyncStub a("a");
    AsyncStub b("b");
    for (AsyncStub* const storage : {&a, &b, &c}) {
        storage->touch();
    }
    EXPECT_EQ(&c, next());
    EXPECT_EQ(&a, next());
    EXPECT_EQ(&b, next());
    EXPECT_EQ(&c, next());
}

TEST_F(AsyncSaverSearch, StorageThatChangesAllTheTimeDoesNotStarveTheOthers) {
    AsyncStub busy("busy");
    AsyncStub other("other");
    busy.touch();
    other.touch();
    EXPECT_EQ(&busy, next());
    busy.touch();
    EXPECT_EQ(&other, next());
    EXPECT_EQ(&busy, next());
}

TEST_F(AsyncSaverSearch, EndOfTheListGivesNothingOnceAndThenTheHead) {
    AsyncStub a("a");
    AsyncStub b("b");
    a.touch();
    EXPECT_EQ(&a, next());
    EXPECT_EQ(kNone, next());
    EXPECT_EQ(&a, next());
}

TEST_F(AsyncSaverSearch, SecondRegistrationOfAStorageIsNeitherListedNorLogged) {
    AsyncStub a("a");
    AsyncStub b("b");
    saver_.registerStorage(a);
    a.touch();
    EXPECT_EQ(&a, next());
    EXPECT_EQ(kNone, next());
    EXPECT_EQ((Texts{"2 SettingsStorageFileAsyncSaver::registerStorage( a )",
                     "2 SettingsStorageFileAsyncSaver::registerStorage( b )"}),
              messages());
}

TEST_F(AsyncSaverSearch, UnregisteredStorageIsNotFoundAndLoggedOnce) {
    AsyncStub a("a");
    a.touch();
    log_.clear();
    saver_.unregisterStorage(a);
    EXPECT_EQ(kNone, next());
    saver_.unregisterStorage(a);
    EXPECT_EQ((Texts{"2 SettingsStorageFileAsyncSaver::unregisterStorage( a )"}), messages());
}

TEST_F(AsyncSaverSearch, UnregisteringAStrangerDoesNothing) {
    AsyncStub a("a");
    AsyncStub stranger("stranger", AsyncStub::Save_onDemand);
    a.touch();
    log_.clear();
    saver_.unregisterStorage(stranger);
    EXPECT_EQ(Texts(), messages());
    EXPECT_EQ(&a, next());
}

TEST_F(AsyncSaverSearch, RemovalBeforeTheCursorPassesNobodyOver) {
    AsyncStub a("a");
    AsyncStub b("b");
    AsyncStub c("c");
    for (AsyncStub* const storage : {&a, &b, &c}) {
        storage->touch();
    }
    EXPECT_EQ(&a, next());
    saver_.unregisterStorage(a);
    EXPECT_EQ(&b, next());
    EXPECT_EQ(&c, next());
}

TEST_F(AsyncSaverSearch, RemovalAtTheCursorGoesOnWithTheFollower) {
    AsyncStub a("a");
    AsyncStub b("b");
    AsyncStub c("c");
    for (AsyncStub* const storage : {&a, &b, &c}) {
        storage->touch();
    }
    EXPECT_EQ(&a, next());
    saver_.unregisterStorage(b);
    EXPECT_EQ(&c, next());
    EXPECT_EQ(&a, next());
}

TEST_F(AsyncSaverSearch, RemovalBehindTheCursorKeepsTheOrder) {
    AsyncStub a("a");
    AsyncStub b("b");
    AsyncStub c("c");
    a.touch();
    b.touch();
    EXPECT_EQ(&a, next());
    saver_.unregisterStorage(c);
    EXPECT_EQ(&b, next());
    EXPECT_EQ(&a, next());
}

TEST_F(AsyncSaverSearch, StorageAddedAfterTheEndWasReachedIsNext) {
    AsyncStub a("a");
    EXPECT_EQ(kNone, next());
    a.touch();
    AsyncStub b("b");
    b.touch();
    EXPECT_EQ(&b, next());
    EXPECT_EQ(&a, next());
}

class AsyncSaverSearchInMode : public AsyncSaverSearch, public testing::WithParamInterface<int> {};

TEST_P(AsyncSaverSearchInMode, CleanStorageOfAManagerInResetEndsTheSearch) {
    const auto inReset = managed("inReset");
    AsyncStub dirty("dirty");
    dirty.touch();
    manager_.setSettingsOperationMode(
        static_cast<Qel::Settings::SettingsOperationMode>(GetParam()));
    EXPECT_EQ(kNone, next());
    EXPECT_EQ(kNone, next());
    EXPECT_FALSE(saver_.saveNextStorage());
    EXPECT_EQ(0u, dirty.saves());
}

TEST_P(AsyncSaverSearchInMode, StoragesBeforeTheOneInResetAreFound) {
    AsyncStub dirty("dirty");
    const auto inReset = managed("inReset");
    dirty.touch();
    inReset->touch();
    manager_.setSettingsOperationMode(
        static_cast<Qel::Settings::SettingsOperationMode>(GetParam()));
    EXPECT_EQ(&dirty, next());
    EXPECT_EQ(kNone, next());
}

TEST_P(AsyncSaverSearchInMode, CursorStaysOnTheStorageThatEndedTheSearch) {
    AsyncStub before("before");
    const auto inReset = managed("inReset");
    AsyncStub after("after");
    before.touch();
    after.touch();
    manager_.setSettingsOperationMode(
        static_cast<Qel::Settings::SettingsOperationMode>(GetParam()));
    EXPECT_EQ(&before, next());
    EXPECT_EQ(kNone, next());
    manager_.setSettingsOperationMode(SOM_Normal);
    EXPECT_EQ(&after, next());
}

INSTANTIATE_TEST_SUITE_P(Resets, AsyncSaverSearchInMode,
                         testing::Values(SOM_ResettingToDefault, SOM_ResetDone),
                         testing::PrintToStringParamName());

TEST_F(AsyncSaverSearch, CleanStorageIsAskedForItsModeToo) {
    const testsupport::TempDir dir;
    const std::string marker = dir.file("marker");
    SettingsManager::setResetToDefaultsMarker(marker);
    const auto clean = managed("clean");
    AsyncStub dirty("dirty");
    dirty.touch();
    testsupport::writeFile(marker, "");
    EXPECT_EQ(kNone, next());
    EXPECT_EQ(1u, log_.count(2, "Qel::Settings", "src/SettingsManager",
                             "SettingsManager::getSettingsOperationMode(): SOM_ResettingToDefault "
                             "- other process created " +
                                 marker));
    EXPECT_EQ(SOM_ResettingToDefault, manager_.getSettingsOperationMode());
}

TEST_F(AsyncSaverSearch, StorageBehindTheFirstDirtyOneIsNotAskedForItsMode) {
    const testsupport::TempDir dir;
    const std::string marker = dir.file("marker");
    SettingsManager::setResetToDefaultsMarker(marker);
    AsyncStub dirty("dirty");
    const auto behind = managed("behind");
    dirty.touch();
    testsupport::writeFile(marker, "");
    EXPECT_EQ(&dirty, next());
    EXPECT_FALSE(log_.contains(2, "Qel::Settings", "src/SettingsManager",
                               "SettingsManager::getSettingsOperationMode(): "
                               "SOM_ResettingToDefault - other process created " +
                                   marker));
}

// The storages are found again under the manager's exclusive lock: were the lock taken to ask the
// mode, this would wait for itself.
TEST_F(AsyncSaverSearch, ModeIsAskedWithoutTheManagersLock) {
    const auto dirty = managed("dirty");
    dirty->touch();
    const auto loading = boost::make_shared<testsupport::StubFileStorage>(
        "loading", "/absent/defaults", "/absent/loading", AsyncStub::Save_async);
    const Qel::Settings::SettingStorageFileBase* found = nullptr;
    loading->onLoad = [&](const std::string&) {
        found = next();
        return true;
    };
    EXPECT_TRUE(manager_.registerStorage(loading));
    EXPECT_EQ(dirty.get(), found);
}

TEST_F(AsyncSaverSearch, StorageWhoseManagerIsGoneIsPassedOver) {
    const auto orphan = boost::make_shared<AsyncStub>("orphan");
    {
        SettingsManager shortLived;
        EXPECT_TRUE(shortLived.registerStorage(orphan));
        shortLived.setSettingsOperationMode(SOM_ResettingToDefault);
    }
    AsyncStub other("other");
    orphan->touch();
    other.touch();
    EXPECT_EQ(&other, next());
    EXPECT_EQ(&other, next());
    EXPECT_TRUE(saver_.saveNextStorage());
    EXPECT_FALSE(saver_.saveNextStorage());
    EXPECT_EQ(0u, orphan->saves());
}

TEST_F(AsyncSaverSearch, SavingTheNextStorageSavesAndLogsIt) {
    AsyncStub a("a");
    AsyncStub b("b");
    b.touch();
    log_.clear();
    EXPECT_TRUE(saver_.saveNextStorage());
    EXPECT_EQ(Texts(), a.calls());
    EXPECT_EQ((Texts{"save /absent/b"}), b.calls());
    EXPECT_FALSE(b.dirty());
    EXPECT_EQ((Texts{"2 SettingsStorageFileAsyncSaver::saveNextStorage(): b"}), messages());
}

TEST_F(AsyncSaverSearch, SavingIsFalseAndSilentWhenNothingIsDirty) {
    AsyncStub a("a");
    log_.clear();
    EXPECT_FALSE(saver_.saveNextStorage());
    EXPECT_EQ(Texts(), messages());
}

TEST_F(AsyncSaverSearch, FailedSaveIsTrueAndLoggedAndLeavesTheStorageDirty) {
    AsyncStub a("a 100%s");
    a.onSave = [](const std::string&) { return false; };
    a.touch();
    log_.clear();
    EXPECT_TRUE(saver_.saveNextStorage());
    EXPECT_TRUE(a.dirty());
    EXPECT_EQ((Texts{"2 SettingsStorageFileAsyncSaver::saveNextStorage(): a 100%s",
                     "5 Failed to save storage a 100%s"}),
              messages());
    EXPECT_TRUE(saver_.saveNextStorage());
    EXPECT_EQ(2u, logged(5, "Failed to save storage a 100%s"));
}

TEST_F(AsyncSaverSearch, ExceptionOfASavePassesAndTheStorageMayDie) {
    AsyncStub other("other");
    {
        AsyncStub a("a");
        a.onSave = [](const std::string&) -> bool { throw std::runtime_error("boom"); };
        a.touch();
        EXPECT_THROW(saver_.saveNextStorage(), std::runtime_error);
        EXPECT_TRUE(a.dirty());
    }
    other.touch();
    EXPECT_TRUE(saver_.saveNextStorage());
    EXPECT_EQ(1u, other.saves());
}

}  // namespace
