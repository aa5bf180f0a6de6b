#include <boost/make_shared.hpp>
#include <functional>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <thread>

#include "Gate.h"
#include "LogCapture.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingsManager.h"
#include "Qel/Settings/SettingsStorageFileAsyncSaver.h"
#include "StubFileStorage.h"
#include "SystemCommands.h"
#include "Threads.h"

namespace {

using namespace Qel::Settings;
using testsupport::Gate;
using testsupport::StubFileStorage;
using testsupport::WatchedThread;
using Holder = boost::shared_ptr<SettingHolder>;

/// A storage whose callbacks do what the test says, before they do their own work.
class CallingStorage : public StubFileStorage {
public:
    explicit CallingStorage(SavePolicy policy)
        : StubFileStorage("sound", "", "/absent/file", policy) {}
    ~CallingStorage() override { retire(); }

    bool changing(std::string name) override {
        run(duringChanging);
        return StubFileStorage::changing(name);
    }
    void changed(std::string name) override {
        run(duringChanged);
        StubFileStorage::changed(name);
    }

    std::function<void()> duringChanging;
    std::function<void()> duringChanged;

private:
    /// Once, as it may change settings of this storage itself.
    static void run(std::function<void()>& action) {
        std::function<void()> once;
        once.swap(action);
        if (once) {
            once();
        }
    }
};

/// What a change callback may do: it runs on the changing thread, with no lock held.
class CallbackThreads : public testing::TestWithParam<SettingStorageFileBase::SavePolicy> {
protected:
    CallbackThreads() {
        EXPECT_TRUE(manager_.registerStorage(storage_));
        manager_.registerSetting(bass_);
        manager_.registerSetting(treble_);
    }

    /// Everything that takes a lock of the library.
    void useEverything() {
        EXPECT_EQ(bass_, manager_.setting("sound/bass"));
        EXPECT_EQ(treble_, storage_->querySetting("sound/treble"));
        EXPECT_EQ(typeid(int), bass_->type());
        EXPECT_TRUE(treble_->setValue(treble_->getValue<int>() + 1));
        const auto added = "sound/new" + std::to_string(++added_);
        manager_.registerSetting(boost::make_shared<SettingHolder>(added, 1));
        EXPECT_TRUE(manager_.registerStorage(boost::make_shared<StubFileStorage>(
            "another" + std::to_string(added_), "", "/absent/file", GetParam())));
        EXPECT_TRUE(storage_->save());
        EXPECT_NE(nullptr, storage_->errInfo());
        EXPECT_EQ(SOM_Normal, manager_.getSettingsOperationMode());
        SettingsManager::flushAllSettings();
    }

    testsupport::LogCapture log_{5};
    SettingsManager manager_;
    boost::shared_ptr<CallingStorage> storage_ = boost::make_shared<CallingStorage>(GetParam());
    Holder bass_ = boost::make_shared<SettingHolder>("sound/bass", 0);
    Holder treble_ = boost::make_shared<SettingHolder>("sound/treble", 0);
    int added_ = 0;
};

TEST_P(CallbackThreads, MayUseTheWholeLibraryOnItsOwnThread) {
    storage_->duringChanging = [&] { useEverything(); };
    storage_->duringChanged = [&] { useEverything(); };
    EXPECT_TRUE(bass_->setValue(1));
    EXPECT_EQ(1, bass_->getValue<int>());
    EXPECT_EQ(2, treble_->getValue<int>());
}

// Were a lock held, the other thread would wait for it, and the callback for the thread.
TEST_P(CallbackThreads, MayWaitForAnotherThreadThatUsesTheLibrary) {
    const auto onAnotherThread = [&] { std::thread([&] { useEverything(); }).join(); };
    storage_->duringChanging = onAnotherThread;
    storage_->duringChanged = onAnotherThread;
    EXPECT_TRUE(bass_->setValue(1));
    EXPECT_EQ(1, bass_->getValue<int>());
    EXPECT_EQ(2, treble_->getValue<int>());
}

TEST_P(CallbackThreads, MayChangeTheVerySettingAndTheLastValueIsTheOuterOne) {
    storage_->duringChanging = [&] { EXPECT_TRUE(bass_->setValue(7)); };
    EXPECT_TRUE(bass_->setValue(1));
    EXPECT_EQ(1, bass_->getValue<int>());
    storage_->duringChanged = [&] { EXPECT_TRUE(bass_->setValue(7)); };
    EXPECT_TRUE(bass_->setValue(2));
    EXPECT_EQ(7, bass_->getValue<int>());
}

TEST_P(CallbackThreads, ExceptionBeforeTheChangeKeepsTheValueAndOneAfterwardsTheNewOne) {
    const auto fail = [] { throw std::runtime_error("not now"); };
    storage_->duringChanging = fail;
    EXPECT_THROW(bass_->setValue(1), std::runtime_error);
    EXPECT_EQ(0, bass_->getValue<int>());
    storage_->duringChanged = fail;
    EXPECT_THROW(bass_->setValue(1), std::runtime_error);
    EXPECT_EQ(1, bass_->getValue<int>());
}

// A change that was left through an exception is over, too.
TEST_P(CallbackThreads, ExceptionsDoNotHoldUpTheStoragesEnd) {
    auto storage = boost::make_shared<CallingStorage>(GetParam());
    const auto setting = boost::make_shared<SettingHolder>("sound/x", 0);
    EXPECT_TRUE(storage->registerSetting(setting));
    storage->duringChanged = [] { throw std::runtime_error("not now"); };
    std::thread([&] { EXPECT_THROW(setting->setValue(1), std::runtime_error); }).join();
    storage.reset();
    EXPECT_FALSE(setting->setValue(2));
    EXPECT_EQ(1, setting->getValue<int>());
}

// As a load does it of a file that says so. The saver would go on with a storage that is gone.
TEST_P(CallbackThreads, StorageThatAChangeGivesToTheSaverAtItsEndLeavesItAgain) {
    auto storage = boost::make_shared<CallingStorage>(GetParam());
    const auto setting = boost::make_shared<SettingHolder>("sound/x", 0);
    EXPECT_TRUE(storage->registerSetting(setting));
    Gate gate;
    storage->duringChanged = [&, dying = storage.get()] {
        gate.pass();
        dying->savePolicy(SettingStorageFileBase::Save_onDemand);
        dying->savePolicy(SettingStorageFileBase::Save_async);
    };
    WatchedThread changer([&] { EXPECT_TRUE(setting->setValue(1)); });
    gate.waitForArrival();
    const testsupport::LogCapture log;
    WatchedThread destroyer([&] { storage.reset(); });
    destroyer.untilHeldUpOrDone();
    gate.open();
    changer.join();
    destroyer.join();
    std::string last;
    for (const auto& entry : log.entries()) {
        last = entry.text.find("registerStorage(") != std::string::npos ? entry.text : last;
    }
    EXPECT_EQ("SettingsStorageFileAsyncSaver::unregisterStorage( sound )", last) << log.dump();
}

INSTANTIATE_TEST_SUITE_P(Policies, CallbackThreads,
                         testing::Values(SettingStorageFileBase::Save_onDemand,
                                         SettingStorageFileBase::Save_onEachChange,
                                         SettingStorageFileBase::Save_async),
                         testing::PrintToStringParamName());

}  // namespace
