#include <atomic>
#include <boost/shared_ptr.hpp>
#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "LockHook.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingsManager.h"
#include "SaverFixture.h"
#include "StatHook.h"
#include "TempDir.h"
#include "Threads.h"

namespace {

using Qel::Settings::SettingsManager;
using testsupport::AsyncStub;
using testsupport::StatHook;
using testsupport::WatchedThread;

using AsyncSaverPick = testsupport::SaverFixture;

// A storage's end comes while the saver looks for a storage to save, and gets its turn at the very
// next lock: either the saver does not find the storage, or the end waits for the save.
TEST_F(AsyncSaverPick, NoStorageEndsBetweenBeingPickedAndBeingSaved) {
    const testsupport::TempDir dir;
    SettingsManager::setResetToDefaultsMarker(dir.file("marker"));
    SettingsManager manager;
    AsyncStub storage("tv");
    ASSERT_TRUE(storage.init(&manager, boost::shared_ptr<Qel::Settings::SettingFactory>()));
    std::atomic<bool> ended{false};
    storage.onSave = [&](const std::string&) {
        EXPECT_FALSE(ended);
        return true;
    };
    auto& stopped = stoppedSaver();
    storage.touch();
    std::unique_ptr<WatchedThread> end;
    StatHook::instance().path = dir.file("marker");
    StatHook::instance().then = [&] {
        if (end == nullptr) {
            end = std::make_unique<WatchedThread>([&] {
                storage.retire();
                ended = true;
            });
            end->untilHeldUpOrDone();
            EXPECT_FALSE(end->done());
            testsupport::givesWayTo = end.get();
        }
    };
    EXPECT_TRUE(stopped.saveNextStorage());
    testsupport::givesWayTo = nullptr;
    ASSERT_NE(nullptr, end);
    end->join();
    EXPECT_EQ(1U, storage.saves());
    StatHook::instance().reset();
    SettingsManager::setResetToDefaultsMarker("");
}

}  // namespace
