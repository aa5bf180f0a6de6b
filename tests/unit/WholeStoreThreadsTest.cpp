#include <algorithm>
#include <array>
#include <atomic>
#include <boost/make_shared.hpp>
#include <cstddef>
#include <errno.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "AtOnce.h"
#include "Files.h"
#include "LogCapture.h"
#include "NoMachineMarker.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageInifile.h"
#include "Qel/Settings/SettingsManager.h"
#include "Qel/Settings/T8SettingsManager.h"
#include "SaverTiming.h"
#include "SystemCommands.h"
#include "TempDir.h"
#include "text/Crc32.h"

namespace {

using namespace Qel::Settings;
using testsupport::atOnce;
using Holder = boost::shared_ptr<SettingHolder>;

/// The television's default manager over a scratch directory, as the main application has it, with
/// a storage of each policy and one of calibration data; and many threads that use it.
class WholeStoreThreads : public testing::Test {
protected:
    static constexpr int kRounds = 40;
    static constexpr std::array<const char*, 4> kFiles = {
        "settings/ondemand", "settings/eachchange", "settings/async", "calibration_data/panel"};

    WholeStoreThreads() {
        for (const std::string file : kFiles) {
            const std::filesystem::path path = dir_.file("qel-default-" + file + ".ini");
            std::filesystem::create_directories(path.parent_path());
            std::filesystem::create_directories(dir_.file(file.substr(0, file.find('/'))));
            testsupport::writeFile(path, textOf(file, -1) + "\n");
        }
        static char mainApplication[] = "QelVisionMainApplication";
        program_invocation_short_name = mainApplication;
        SettingsManager::location(dir_.path());
        SettingStorageInifile::syncWrites(false);
        saverIdlePeriod = boost::chrono::milliseconds(1);
    }
    ~WholeStoreThreads() override {
        SettingsManager::reloadSettings();
        SettingStorageInifile::syncWrites(true);
    }

    static std::string nameOf(const std::string& file) { return file.substr(file.find('/') + 1); }

    /// A number that stands three times in the file, so that a mixture of two texts shows.
    static std::string textOf(const std::string& file, int number) {
        const std::string name = nameOf(file);
        const std::string text = std::to_string(number);
        return "#name = " + name + "\n#savepolicy = " + (name == "panel" ? "async" : name) +
               "\n[]\nlist = int[]," + text + ";" + text + "\nnumber = int," + text;
    }

    SettingsManager& manager() const {
        SettingsManager& store = *T8SettingsManager();
        SettingsManager::setResetToDefaultsMarker(dir_.file("marker"));
        return store;
    }

    static Holder setting(const std::string& name) {
        Holder found = SettingsManager::existingInstance()->setting(name);
        EXPECT_NE(nullptr, found) << name;
        return found;
    }

    static void set(const std::string& file, int number) {
        EXPECT_TRUE(setting(nameOf(file) + "/number")->setValue(number));
        EXPECT_TRUE(setting(nameOf(file) + "/list")->setValue(std::vector<int>{number, number}));
    }

    static void setMany(const std::string& file) {
        for (int number = 1; number <= kRounds; ++number) {
            set(file, number);
            const auto list = setting(nameOf(file) + "/list")->getValue<std::vector<int>>();
            ASSERT_EQ(2U, list.size());
            EXPECT_EQ(list[0], list[1]);
        }
    }

    static void saveAll() {
        SettingsManager::existingInstance()->forEachStorage(
            [](const auto& storage) { EXPECT_TRUE(storage->save()) << storage->info(); });
    }

    void expectOnDisk(const std::string& file, const std::string& text) const {
        EXPECT_EQ(text + "\n#crc32 = " + std::to_string(text::crc32(text)) + "\n",
                  testsupport::readFile(dir_.file(file + ".ini")));
        EXPECT_FALSE(testsupport::exists(dir_.file(file + ".ini.tmp")));
        EXPECT_FALSE(testsupport::exists(dir_.file(file + ".ini.bad")));
    }

    testsupport::TempDir dir_;
    testsupport::LogCapture log_{5};
};

TEST_F(WholeStoreThreads, EverythingAtOnceLeavesTheLastValuesInTheFiles) {
    SettingsManager& store = manager();
    const boost::shared_ptr<SettingFactory> types =
        static_cast<const SettingsManager&>(store).factory();
    const auto iniStorage = [&](const std::string& name) {
        return boost::make_shared<SettingStorageInifile>(name, "", dir_.file(name + ".ini"), types,
                                                         SettingStorageInifile::Save_async);
    };
    const auto textOfAdded = [](const std::string& name, int value) {
        return "#name = " + name + "\n#savepolicy = async\n[]\nvalue = int," +
               std::to_string(value);
    };
    const auto addStorages = [&] {
        for (int i = 0; i < kRounds; ++i) {
            const std::string name = "added" + std::to_string(i);
            EXPECT_TRUE(store.registerStorage(iniStorage(name)));
            store.registerSetting(boost::make_shared<SettingHolder>(name + "/value", -1));
            EXPECT_TRUE(setting(name + "/value")->setValue(i));
        }
    };
    const auto endManagers = [&](const std::string& name) {
        for (int i = 1; i <= kRounds / 2; ++i) {
            {
                SettingsManager other;
                EXPECT_TRUE(other.registerStorage(iniStorage(name)));
                if (i == 1) {
                    other.registerSetting(boost::make_shared<SettingHolder>(name + "/value", -1));
                }
                EXPECT_TRUE(other.setting(name + "/value")->setValue(i));
            }
            expectOnDisk(name, textOfAdded(name, i));
        }
    };
    const auto look = [&] {
        for (int i = 0; i < kRounds; ++i) {
            store.factory(types);
            SettingsManager::flushAllSettings();
            EXPECT_EQ(SOM_Normal, store.getSettingsOperationMode());
            store.forEachSetting([](const Holder& holder) { holder->value(); });
            store.forEachStorage([](const auto& storage) { storage->info(); });
        }
    };
    atOnce({[] { setMany(kFiles[0]); }, [] { setMany(kFiles[1]); }, [] { setMany(kFiles[2]); },
            [] { setMany(kFiles[3]); }, [&] { addStorages(); }, [&] { endManagers("other"); },
            [&] { endManagers("another"); }, [&] { look(); }});
    saveAll();
    for (const char* const file : kFiles) {
        expectOnDisk(file, textOf(file, kRounds));
    }
    for (int i = 0; i < kRounds; ++i) {
        expectOnDisk("added" + std::to_string(i), textOfAdded("added" + std::to_string(i), i));
    }
    EXPECT_TRUE(log_.entries().empty()) << log_.dump();
}

TEST_F(WholeStoreThreads, ResetBesideChangesSavesAndFlushesLeavesDefaultsAndCalibration) {
    SettingsManager& store = manager();
    std::atomic<int> halfWay{0};
    const auto change = [&](const std::string& file) {
        setMany(file);
        ++halfWay;
        for (int i = 0; i < 5; ++i) {
            setMany(file);
        }
    };
    atOnce({[&] { change(kFiles[0]); }, [&] { change(kFiles[1]); }, [&] { change(kFiles[2]); },
            [&] { change(kFiles[3]); },
            [&] {
                while (halfWay < 1) {
                    std::this_thread::yield();
                }
                EXPECT_EQ(1, store.resetToDefault());
            },
            [&] {
                for (int i = 0; i < kRounds; ++i) {
                    SettingsManager::flushAllSettings();
                    store.forEachStorage([](const auto& storage) { storage->save(); });
                }
            }});
    EXPECT_EQ(SOM_ResetDone, store.getSettingsOperationMode());
    SettingsManager::flushAllSettings();
    store.forEachStorage(
        [](const auto& storage) { EXPECT_EQ(storage->name() == "panel", storage->save()); });
    for (const char* const file : kFiles) {
        expectOnDisk(file, textOf(file, file == kFiles.back() ? kRounds : -1));
    }
}

// Clients may keep settings over a reload, and be changing them at that moment.
TEST_F(WholeStoreThreads, ReloadsBesideChangesOfKeptSettingsLoadWhatWasSaved) {
    for (int generation = 1; generation <= 10; ++generation) {
        std::array<SettingsManager*, 3> used = {};
        const auto use = [&](std::size_t i) {
            used[i] = T8SettingsManager();
            const std::string file = kFiles[i + 1];
            const auto before = setting(nameOf(file) + "/number")->getValue<int>();
            EXPECT_EQ(generation == 1 ? -1 : generation - 1, before);
            set(file, generation);
        };
        atOnce({[&] { use(0); }, [&] { use(1); }, [&] { use(2); }});
        EXPECT_EQ(used[0], used[1]);
        EXPECT_EQ(used[0], used[2]);
        const Holder eachChange = setting("eachchange/number");
        const Holder async = setting("async/number");
        std::atomic<bool> reloaded{false};
        const auto keepChanging = [&](const Holder& kept) {
            while (!reloaded) {
                kept->setValue(generation);
            }
            EXPECT_FALSE(kept->setValue(0));
            EXPECT_EQ(generation, kept->getValue<int>());
        };
        atOnce({[&] { keepChanging(eachChange); }, [&] { keepChanging(async); },
                [&] {
                    SettingsManager::reloadSettings();
                    reloaded = true;
                }});
        for (const char* const file : {kFiles[1], kFiles[2], kFiles[3]}) {
            expectOnDisk(file, textOf(file, generation));
        }
    }
}

}  // namespace
