#include <atomic>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

#include "AllocationHook.h"
#include "AtOnce.h"
#include "FileStorageFixture.h"
#include "Gate.h"
#include "Threads.h"

namespace {

using testsupport::atOnce;
using testsupport::FileStorageFixture;
using testsupport::Gate;
using testsupport::StubFileStorage;
using testsupport::WatchedThread;

class FileStorageThreads : public FileStorageFixture {};

TEST_F(FileStorageThreads, SavesOfOneStorageNeverOverlapAndEachChangeIsSavedWhenItReturns) {
    std::atomic<int> inside{0};
    std::atomic<int> saves{0};
    create(StubFileStorage::Save_onEachChange);
    const Holder a = add("settings/a");
    const Holder b = add("settings/b");
    std::atomic<int> savedA{-1};
    std::atomic<int> savedB{-1};
    storage_->onSave = [&](const std::string&) {
        EXPECT_EQ(inside.fetch_add(1), 0);
        savedA = a->getValue<int>();
        savedB = b->getValue<int>();
        std::this_thread::yield();
        saves.fetch_add(1);
        inside.fetch_sub(1);
        return true;
    };
    const auto change = [](const Holder& holder, const std::atomic<int>& saved) {
        for (int i = 0; i < 200; ++i) {
            EXPECT_TRUE(holder->setValue(i));
            EXPECT_EQ(saved.load(), i);
        }
    };
    atOnce({[&] { change(a, savedA); }, [&] { change(b, savedB); },
            [&] {
                for (int i = 0; i < 200; ++i) {
                    EXPECT_TRUE(storage_->save());
                }
            }});
    EXPECT_FALSE(storage_->dirty());
    // The saves that nothing has changed for write nothing.
    EXPECT_LE(saves.load(), 400);
}

TEST_F(FileStorageThreads, AResetWaitsForTheSaveUnderWayAndNoneComesAfter) {
    Gate saving;
    const Holder a = add("settings/a");
    a->setValue(1);
    bool first = true;
    storage_->onSave = [&](const std::string&) {
        if (std::exchange(first, false)) {
            saving.pass();
        }
        return true;
    };
    WatchedThread save([&] { EXPECT_TRUE(storage_->save()); });
    saving.waitForArrival();
    WatchedThread reset([&] { EXPECT_TRUE(storage_->resetToDefaults()); });
    reset.untilHeldUpOrDone();
    EXPECT_FALSE(reset.done());
    EXPECT_EQ(storage_->calls(), Calls{"save " + rw_});
    saving.open();
    save.join();
    reset.join();
    EXPECT_EQ(storage_->calls(), (Calls{"save " + rw_, "load " + defaults_, "save " + rw_}));
    EXPECT_FALSE(storage_->save());
}

TEST_F(FileStorageThreads, SettingsAreNotLookedAtWhileOneIsBeingRegistered) {
    Gate growing;
    const Holder a = holder("settings/a");
    const Holder b = holder("settings/b");
    WatchedThread registration([&] {
        testsupport::atNextAllocation = &growing;
        EXPECT_TRUE(storage_->registerSetting(a));
    });
    growing.waitForArrival();
    WatchedThread walk([&] { EXPECT_EQ(storage_->snapshot().front(), a); });
    WatchedThread query([&] { EXPECT_EQ(storage_->querySetting("settings/a"), a); });
    WatchedThread map([&] { EXPECT_EQ(storage_->settingsSet().count("settings/a"), 1U); });
    WatchedThread second([&] { EXPECT_TRUE(storage_->registerSetting(b)); });
    for (WatchedThread* const thread : {&walk, &query, &map, &second}) {
        thread->untilHeldUpOrDone();
        EXPECT_FALSE(thread->done());
    }
    growing.open();
    for (WatchedThread* const thread : {&registration, &walk, &query, &map, &second}) {
        thread->join();
    }
    EXPECT_EQ(storage_->settingsSet().size(), 2U);
}

// The answer is worth nothing before the wait: the load or save that is waited for may change it.
TEST_F(FileStorageThreads, AResetAndASaveAskWhetherTheStorageIsReadOnlyWhenTheirTurnHasCome) {
    Gate loading;
    storage_->onLoad = [&](const std::string&) {
        loading.pass();
        storage_->readonly(true);
        return true;
    };
    add("settings/a")->setValue(1);
    WatchedThread reset([&] { EXPECT_TRUE(storage_->resetToDefaults()); });
    loading.waitForArrival();
    WatchedThread secondReset([&] { EXPECT_TRUE(storage_->resetToDefaults()); });
    secondReset.untilHeldUpOrDone();
    WatchedThread save([&] { EXPECT_FALSE(storage_->save()); });
    save.untilHeldUpOrDone();
    loading.open();
    for (WatchedThread* const thread : {&reset, &secondReset, &save}) {
        thread->join();
    }
    EXPECT_EQ(storage_->calls(), (Calls{"load " + defaults_, "save " + rw_}));
    EXPECT_EQ(logged(5, "Trying to store a readonly file!!"), 1U) << log_.dump();
}

TEST_F(FileStorageThreads, AStoragesEndWaitsForTheChangeUnderWay) {
    Gate saving;
    create(StubFileStorage::Save_onEachChange);
    const Holder a = add("settings/a");
    bool saved = false;
    storage_->onSave = [&](const std::string&) {
        saving.pass();
        saved = true;
        return true;
    };
    WatchedThread change([&] { EXPECT_TRUE(a->setValue(1)); });
    saving.waitForArrival();
    WatchedThread end([&] { storage_.reset(); });
    end.untilHeldUpOrDone();
    EXPECT_FALSE(end.done());
    saving.open();
    change.join();
    end.join();
    EXPECT_TRUE(saved);
    EXPECT_FALSE(a->setValue(2));
}

class StorageThatIsAsked : public StubFileStorage {
public:
    using StubFileStorage::retire;
    using StubFileStorage::StubFileStorage;
    bool changing(std::string) override {
        asked.pass();
        return true;
    }
    Gate asked;
};

// Of a setting that it holds and of one that another has replaced.
TEST_F(FileStorageThreads, AStoragesEndInAForkedChildDoesNotWaitForTheParentsChanges) {
    const auto change = [](const Holder& setting) { EXPECT_TRUE(setting->setValue(1)); };
    for (const bool replaced : {false, true}) {
        const auto storage = boost::make_shared<StorageThatIsAsked>("settings", defaults_, rw_);
        const Holder a = holder("settings/a");
        ASSERT_TRUE(storage->registerSetting(a));
        if (replaced) {
            ASSERT_TRUE(storage->registerSetting(holder("settings/a")));
        }
        WatchedThread changing([&] { change(a); });
        storage->asked.waitForArrival();
        const pid_t child = ::fork();
        if (child == 0) {
            ::alarm(30);
            storage->retire();
            ::_exit(a->setValue(2) ? 1 : 0);
        }
        int status = -1;
        EXPECT_EQ(::waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
        storage->asked.open();
    }
}

}  // namespace
