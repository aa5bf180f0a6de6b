#include <atomic>
#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <sys/file.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "Files.h"
#include "Gate.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageInifile.h"
#include "Qel/Settings/SettingsManager.h"
#include "SaverFixture.h"
#include "TempDir.h"
#include "Threads.h"

namespace {

using Qel::Settings::SettingFactory;
using Qel::Settings::SettingHolder;
using Qel::Settings::SettingsManager;
using Qel::Settings::SettingStorageInifile;
using testsupport::AsyncStub;
using testsupport::Gate;
using testsupport::WatchedThread;

constexpr int kRounds = 300;
constexpr int kChanges = 5000;

void onThreads(const std::vector<std::function<void()>>& operations) {
    std::vector<std::thread> threads;
    threads.reserve(operations.size());
    for (const auto& operation : operations) {
        threads.emplace_back(operation);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

/// Clients, storages and managers at work beside a saver that hardly rests.
class AsyncSaverConcurrency : public testsupport::SaverFixture {
protected:
    AsyncSaverConcurrency() {
        rest(1);
        SettingStorageInifile::syncWrites(false);
    }

    boost::shared_ptr<SettingStorageInifile> iniStorage(const std::string& name) const {
        return boost::make_shared<SettingStorageInifile>(name, "", file(name), types_,
                                                         SettingStorageInifile::Save_async);
    }

    static boost::shared_ptr<SettingHolder> add(SettingStorageInifile& storage,
                                                const std::string& key, const boost::any& value) {
        const auto holder =
            boost::make_shared<SettingHolder>(storage.name() + "/" + key, boost::any(value));
        EXPECT_TRUE(storage.registerSetting(holder));
        return holder;
    }

    std::string file(const std::string& name) const { return dir_.file(name + ".ini"); }

    bool fileHolds(const std::string& name, const std::string& line) const {
        return testsupport::readFile(file(name)).find("\n" + line + "\n") != std::string::npos;
    }

    testsupport::TempDir dir_;
    boost::shared_ptr<SettingFactory> types_ = boost::make_shared<SettingFactory>();
};

TEST_F(AsyncSaverConcurrency, ChangesOfTwoThreadsAllReachTheFile) {
    const auto storage = iniStorage("tv");
    const auto number = add(*storage, "number", 0);
    const auto text = add(*storage, "text", std::string());
    const auto shared = add(*storage, "shared", std::string());
    const auto change = [&](const boost::shared_ptr<SettingHolder>& own, bool isText) {
        for (int i = 1; i <= kChanges; ++i) {
            const std::string longText(static_cast<std::size_t>(i % 300), 'x');
            EXPECT_TRUE(isText ? own->setValue(longText) : own->setValue(i));
            EXPECT_TRUE(shared->setValue(longText));
        }
    };
    onThreads({[&] { change(number, false); }, [&] { change(text, true); }});
    saver().stop();
    EXPECT_FALSE(storage->dirty());
    EXPECT_TRUE(fileHolds("tv", "number = int," + std::to_string(kChanges)));
    EXPECT_TRUE(fileHolds("tv", "text = string," + text->getValue<std::string>()));
    EXPECT_EQ(static_cast<std::size_t>(kChanges % 300), text->getValue<std::string>().size());
    EXPECT_TRUE(fileHolds("tv", "shared = string," + shared->getValue<std::string>()));
    EXPECT_FALSE(testsupport::exists(file("tv") + ".tmp"));
}

TEST_F(AsyncSaverConcurrency, SettingsRegisteredBesideSavesAllReachTheFile) {
    const auto storage = iniStorage("tv");
    const auto registerMany = [&](const std::string& start) {
        for (int i = 0; i < kRounds; ++i) {
            EXPECT_TRUE(add(*storage, start + std::to_string(i), 0)->setValue(i));
        }
    };
    onThreads({[&] { registerMany("a"); }, [&] { registerMany("b"); }});
    saver().stop();
    for (int i = 0; i < kRounds; ++i) {
        const std::string number = std::to_string(i);
        EXPECT_TRUE(fileHolds("tv", "a" + number + " = int," + number));
        EXPECT_TRUE(fileHolds("tv", "b" + number + " = int," + number));
    }
}

TEST_F(AsyncSaverConcurrency, StoragesComeAndGoBesideFlushes) {
    const auto lasting = iniStorage("lasting");
    const auto setting = add(*lasting, "value", 0);
    std::atomic<bool> done{false};
    onThreads({[&] {
                   for (int i = 0; i < kRounds; ++i) {
                       const auto passing = iniStorage("passing");
                       add(*passing, "value", 0)->setValue(i);
                   }
                   done = true;
               },
               [&] {
                   for (int i = 1; !done; ++i) {
                       setting->setValue(i);
                       saver().flush();
                   }
               }});
    setting->setValue(-7);
    saver().stop();
    EXPECT_TRUE(fileHolds("lasting", "value = int,-7"));
    EXPECT_EQ(nullptr, saver().getNextStorage());
}

TEST_F(AsyncSaverConcurrency, SavesRegisterAndUnregisterOtherStorages) {
    AsyncStub host("host");
    std::unique_ptr<AsyncStub> guest;
    std::atomic<int> guestSaves{0};
    stoppedSaver();
    host.onSave = [&](const std::string&) {
        guest.reset();
        guest = std::make_unique<AsyncStub>("guest");
        guest->onSave = [&](const std::string&) {
            ++guestSaves;
            return true;
        };
        guest->touch();
        return true;
    };
    saver().start();
    onThreads({[&] {
                   for (int i = 0; i < kRounds; ++i) {
                       host.touch();
                       saver().flush();
                   }
               },
               [&] {
                   for (int i = 0; i < kRounds; ++i) {
                       AsyncStub passing("passing");
                       passing.touch();
                   }
               }});
    saver().stop();
    EXPECT_FALSE(host.dirty());
    ASSERT_NE(nullptr, guest);
    EXPECT_FALSE(guest->dirty());
    EXPECT_LT(0, guestSaves.load());
}

TEST_F(AsyncSaverConcurrency, StopsAndStartsOfManyThreadsLeaveTheSaverWhole) {
    const auto storage = iniStorage("tv");
    const auto setting = add(*storage, "value", 0);
    const auto restart = [&] {
        for (int i = 0; i < 50; ++i) {
            saver().stop();
            saver().start();
        }
    };
    onThreads({restart, restart, [&] {
                   for (int i = 0; i < 50; ++i) {
                       saver().stop();
                       setting->setValue(i);
                   }
               }});
    setting->setValue(-7);
    saver().stop();
    saver().stop();
    saver().flush();
    testsupport::untilSaverThreadIsGone();
    EXPECT_TRUE(fileHolds("tv", "value = int,-7"));
    saver().start();
    setting->setValue(8);
    saver().stop();
    EXPECT_TRUE(fileHolds("tv", "value = int,8"));
}

TEST_F(AsyncSaverConcurrency, ExplicitSavesAndBackgroundSavesDoNotMix) {
    const auto storage = iniStorage("tv");
    const auto setting = add(*storage, "text", std::string());
    const auto save = [&] {
        for (int i = 0; i < kRounds; ++i) {
            setting->setValue(std::string(1000, static_cast<char>('a' + i % 26)));
            EXPECT_TRUE(storage->save());
        }
    };
    onThreads({save, save});
    saver().stop();
    EXPECT_TRUE(fileHolds("tv", "text = string," + setting->getValue<std::string>()));
    SettingsManager manager;
    const auto reader = boost::make_shared<SettingStorageInifile>(
        "tv", "", file("tv"), types_, SettingStorageInifile::Save_onDemand);
    EXPECT_TRUE(manager.registerStorage(reader));
    EXPECT_EQ(setting->getValue<std::string>(),
              manager.setting("tv/text")->getValue<std::string>());
}

TEST_F(AsyncSaverConcurrency, ExplicitSaveWaitsForTheSaveOfTheThread) {
    AsyncStub a("a");
    Gate gate;
    stoppedSaver();
    a.onSave = [&](const std::string&) {
        if (a.saves() == 1) {
            a.touch();
            gate.pass();
        }
        return true;
    };
    a.touch();
    saver().start();
    gate.waitForArrival();
    WatchedThread save([&] { EXPECT_TRUE(a.save()); });
    save.untilHeldUpOrDone();
    EXPECT_FALSE(save.done());
    EXPECT_EQ(1u, a.saves());
    gate.open();
    save.join();
    saver().stop();
    EXPECT_EQ(2u, a.saves());
    EXPECT_FALSE(a.dirty());
}

TEST_F(AsyncSaverConcurrency, ResetBesideSavesLeavesTheDefaultsInTheFile) {
    const std::string defaults = dir_.file("defaults.ini");
    testsupport::writeFile(defaults, "#name = tv\n#savepolicy = async\nvalue = int,-1\n");
    for (int round = 0; round < 20; ++round) {
        SettingsManager::setResetToDefaultsMarker(dir_.file("marker" + std::to_string(round)));
        SettingsManager manager;
        const std::string name = "tv" + std::to_string(round);
        ASSERT_TRUE(manager.registerStorage(boost::make_shared<SettingStorageInifile>(
            name, defaults, file(name), types_, SettingStorageInifile::Save_async)));
        saver().start();
        const auto setting = manager.setting("tv/value");
        std::atomic<bool> done{false};
        onThreads({[&] {
                       for (int i = 0; !done; ++i) {
                           setting->setValue(i);
                       }
                   },
                   [&] {
                       EXPECT_TRUE(log_.waitFor("SettingStorageFileBase::save(): tv, dirty 1->0"));
                       EXPECT_EQ(1, manager.resetToDefault());
                       done = true;
                   }});
        setting->setValue(5);
        saver().flush();
        EXPECT_TRUE(fileHolds(name, "value = int,-1")) << testsupport::readFile(file(name));
        EXPECT_FALSE(testsupport::exists(file(name) + ".tmp"));
        log_.clear();
    }
}

// The save has asked the mode and waits for the directory, which another process holds; there the
// reset happens.
TEST_F(AsyncSaverConcurrency, ResetOfAnotherProcessStopsASaveThatWaitsForTheDirectory) {
    SettingsManager::setResetToDefaultsMarker(dir_.file("marker"));
    const auto storage = iniStorage("tv");
    stoppedSaver();
    SettingsManager manager;
    ASSERT_TRUE(manager.registerStorage(storage));
    const auto setting = add(*storage, "value", 0);
    const int other = ::open(dir_.path().c_str(), O_RDONLY | O_DIRECTORY);
    ASSERT_LE(0, other);
    ASSERT_EQ(0, ::flock(other, LOCK_EX));
    ASSERT_TRUE(setting->setValue(1));
    bool result = false;
    WatchedThread save([&] { result = storage->save(); });
    ASSERT_TRUE(log_.waitFor("SettingStorageInifile::saveFile( '" + file("tv") + "' )"));
    testsupport::writeFile(dir_.file("marker"), "");
    ASSERT_EQ(0, ::close(other));
    save.join();
    EXPECT_TRUE(result);
    EXPECT_TRUE(storage->dirty());
    EXPECT_FALSE(testsupport::exists(file("tv")));
    EXPECT_FALSE(testsupport::exists(file("tv") + ".tmp"));
    EXPECT_EQ(1u, log_.count(4, "Qel::Settings", "src/SettingsStorageFileBase",
                             "Reset to default in progress, *not* saving settings."))
        << log_.dump();
}

}  // namespace
