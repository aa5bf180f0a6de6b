#include <atomic>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "AtOnce.h"
#include "IniStorageFixture.h"
#include "Qel/Settings/SettingsStorageFileAsyncSaver.h"
#include "SaverTiming.h"
#include "SystemCommands.h"

namespace {

using namespace Qel::Settings;
using testsupport::atOnce;
using testsupport::exists;
using testsupport::IniStorageFixture;
using testsupport::readFile;
using testsupport::withCrc;

class InifileThreads : public IniStorageFixture {
protected:
    InifileThreads() { Storage::syncWrites(false); }
    ~InifileThreads() override { Storage::syncWrites(true); }

    static constexpr int kRounds = 150;
};

TEST_F(InifileThreads, ChangesOfTwoThreadsAreAllInTheFile) {
    build("#name = settings\n#savepolicy = eachchange\n[]\na = int,0\nb = string,");
    ASSERT_TRUE(reopen());
    const auto a = setting("settings/a");
    const auto b = setting("settings/b");
    atOnce({[&] {
                for (int i = 1; i <= kRounds; ++i) {
                    EXPECT_TRUE(a->setValue(i));
                }
            },
            [&] {
                for (int i = 1; i <= kRounds; ++i) {
                    EXPECT_TRUE(b->setValue(std::string(static_cast<std::size_t>(i), 'x')));
                }
            },
            [&] {
                for (int i = 1; i <= kRounds; ++i) {
                    EXPECT_TRUE(storage_->save());
                }
            }});
    EXPECT_FALSE(storage_->dirty());
    EXPECT_EQ(readFile(rw_),
              withCrc("#name = settings\n#savepolicy = eachchange\n[]\na = int,150\nb = string," +
                      std::string(kRounds, 'x')));
    EXPECT_FALSE(exists(copy_));
}

TEST_F(InifileThreads, ASavedValueIsOneOfThoseThatWereSet) {
    build("#name = settings\n#savepolicy = ondemand\n[]\na = string,");
    ASSERT_TRUE(reopen());
    const auto a = setting("settings/a");
    atOnce({[&] {
                for (int i = 0; i < 10 * kRounds; ++i) {
                    EXPECT_TRUE(a->setValue(std::string(300, i % 2 == 0 ? 'x' : 'y')));
                }
            },
            [&] {
                for (int i = 0; i < kRounds; ++i) {
                    EXPECT_TRUE(storage_->save());
                    std::string data;
                    EXPECT_TRUE(storage_->loadInifileData(rw_, data));
                    const std::string value = data.substr(data.rfind(',') + 1);
                    EXPECT_TRUE(value.empty() || value == std::string(300, value[0])) << value;
                }
            }});
    a->setValue("last");
    EXPECT_TRUE(storage_->save());
    ASSERT_TRUE(reopen());
    check({"settings/a = string,last"});
}

TEST_F(InifileThreads, AValueThatChangesItsTypeIsSavedWithTheTypeThatItHad) {
    build("#name = settings\n#savepolicy = ondemand\n[]\na = int,1");
    ASSERT_TRUE(reopen());
    const auto a = setting("settings/a");
    atOnce({[&] {
                for (int i = 0; i < 10 * kRounds; ++i) {
                    EXPECT_TRUE(i % 2 == 0 ? a->setValue("text") : a->setValue(1));
                }
            },
            [&] {
                for (int i = 0; i < kRounds; ++i) {
                    EXPECT_TRUE(storage_->save());
                    std::string data;
                    EXPECT_TRUE(storage_->loadInifileData(rw_, data));
                    const std::string line = data.substr(data.rfind('\n') + 1);
                    EXPECT_TRUE(line == "a = int,1" || line == "a = string,text") << line;
                }
            }});
}

TEST_F(InifileThreads, SettingsThatAreRegisteredBesideSavesReachTheFile) {
    build("#name = settings\n#savepolicy = eachchange\n[]\na = int,0");
    ASSERT_TRUE(reopen());
    const auto a = setting("settings/a");
    atOnce({[&] {
                for (int i = 0; i < kRounds; ++i) {
                    add("settings/new" + std::to_string(i), i);
                    EXPECT_TRUE(storage_->querySetting("settings/new" + std::to_string(i)));
                }
            },
            [&] {
                for (int i = 1; i <= kRounds; ++i) {
                    EXPECT_TRUE(a->setValue(i));
                }
            }});
    EXPECT_TRUE(a->setValue(-1));
    ASSERT_TRUE(reopen());
    EXPECT_EQ(storage_->settingsSet().size(), 1U + kRounds);
    EXPECT_EQ(setting("settings/a")->getValue<int>(), -1);
    EXPECT_EQ(setting("settings/new149")->getValue<int>(), 149);
}

TEST_F(InifileThreads, AResetBesideChangesEndsWithTheDefaultsInTheFile) {
    const std::string defaults = "#name = settings\n#savepolicy = eachchange\n[]\na = int,0";
    buildDefaults(defaults + "\nnonsense\n");
    build("#name = settings\n#savepolicy = eachchange\n[]\na = int,5");
    ASSERT_TRUE(reopen());
    const auto a = setting("settings/a");
    atOnce({[&] {
                for (int i = 1; i <= kRounds; ++i) {
                    EXPECT_TRUE(a->setValue(i));
                    static_cast<void>(storage_->save());
                }
            },
            [&] { EXPECT_TRUE(storage_->resetToDefaults()); },
            [&] {
                for (int i = 1; i <= kRounds; ++i) {
                    EXPECT_EQ(storage_->info().substr(0, 12), "settings RW ");
                    const std::string text = *storage_->errInfo();
                    EXPECT_TRUE(text.empty() || text == "nonsense\n") << text;
                }
            }});
    EXPECT_FALSE(storage_->save());
    EXPECT_EQ(readFile(rw_), withCrc(defaults));
    EXPECT_FALSE(exists(copy_));
}

TEST_F(InifileThreads, AResetThatTakesTheStorageFromTheRunningSaverEnds) {
    saverIdlePeriod = boost::chrono::milliseconds(1);
    buildDefaults("#name = settings\n#savepolicy = ondemand\na = int,0\n");
    for (int round = 0; round < 20; ++round) {
        build("#name = settings\n#savepolicy = async\n[]\na = int,5");
        ASSERT_TRUE(reopen());
        const auto a = setting("settings/a");
        atOnce({[&] {
                    for (int i = 1; i <= 20; ++i) {
                        EXPECT_TRUE(a->setValue(i));
                    }
                },
                [&] { EXPECT_TRUE(storage_->resetToDefaults()); },
                [&] { SettingsStorageFileAsyncSaver::instance()->flush(); }});
        EXPECT_EQ(storage_->savePolicy(), Storage::Save_onDemand);
        EXPECT_EQ(readFile(rw_),
                  withCrc("#name = settings\n#savepolicy = ondemand\n[]\na = int,0"));
    }
}

TEST_F(InifileThreads, LoadsOfOneStorageBesideItsSavesAreWhole) {
    build("#name = settings\n#savepolicy = ondemand\n[]\na = int,0\n\n[s]\nb = int,0");
    ASSERT_TRUE(reopen());
    atOnce({[&] {
                for (int i = 1; i <= kRounds; ++i) {
                    storage_->changed("settings/a");
                    EXPECT_TRUE(storage_->save());
                    EXPECT_EQ(storage_->sections().size(), 2U);
                }
            },
            [&] {
                for (int i = 1; i <= kRounds; ++i) {
                    EXPECT_TRUE(storage_->loadFile(rw_));
                    EXPECT_NE(storage_->crc32(), 0U);
                }
            }});
    check({"settings/a = int,0", "settings/s/b = int,0"});
}

TEST_F(InifileThreads, SectionsAndCrcMayBeAskedBesideLoads) {
    build("#name = settings");
    ASSERT_TRUE(reopen());
    std::atomic<bool> loaded{false};
    atOnce({[&] {
                for (int i = 1; i <= kRounds; ++i) {
                    build("#name = settings\n[s" + std::to_string(i) + "]\na = int,1");
                    EXPECT_TRUE(storage_->loadFile(rw_));
                }
                loaded = true;
            },
            [&] {
                for (std::size_t known = 1; !loaded;) {
                    const std::size_t now = storage_->sections().size();
                    EXPECT_GE(now, known);
                    known = now;
                }
            },
            [&] {
                while (!loaded) {
                    EXPECT_NE(storage_->crc32(), 0U);
                }
            }});
    EXPECT_EQ(storage_->sections().size(), 1U + kRounds);
}

}  // namespace
