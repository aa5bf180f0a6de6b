#include <atomic>
#include <boost/make_shared.hpp>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

#include "AtOnce.h"
#include "IniStorageFixture.h"
#include "Qel/Settings/SettingsStorageFileAsyncSaver.h"
#include "SaverTiming.h"
#include "SystemCommands.h"
#include "ValuesOfGenerations.h"
#include "qlog/QlogControl.h"
#include "types/ApplicationTypes.h"

namespace {

using namespace Qel::Settings;
using testsupport::atOnce;
using testsupport::Generations;

/// One storage with a setting of every kind, and threads that all work on it at once.
class EveryKindThreads : public testsupport::IniStorageFixture,
                         public testing::WithParamInterface<SettingStorageFileBase::SavePolicy> {
protected:
    // A change that is saved at once takes its time.
    const unsigned int rounds_ = GetParam() == Storage::Save_onEachChange ? 7 : 60;

    EveryKindThreads() {
        Storage::syncWrites(false);
        saverIdlePeriod = boost::chrono::milliseconds(1);
        qlog::setDefaultThreshold(4);
        registerApplicationTypes(*types_);
        kinds_ = testsupport::everyKind(*types_, "settings/");
        EXPECT_TRUE(reopen(GetParam()));
        for (const Generations& kind : kinds_) {
            add(kind.name, kind.values[0]);
        }
    }
    ~EveryKindThreads() override {
        if (auto* const saver = SettingsStorageFileAsyncSaver::instance()) {
            saver->stop();
        }
        Storage::syncWrites(true);
    }

    /// Changes each setting in each round, in an order of values of its own. Looks it up each time,
    /// as a reset puts others in place of the settings.
    void change(unsigned int stride) const {
        for (unsigned int round = 0; round < rounds_; ++round) {
            for (std::size_t i = 0; i < kinds_.size(); ++i) {
                const auto& values = kinds_[i].values;
                EXPECT_TRUE(setting(kinds_[i].name)
                                ->setValue(values[(round * stride + i) % values.size()]));
            }
        }
    }

    void read() const {
        for (unsigned int round = 0; round < 2 * rounds_; ++round) {
            for (std::size_t i = 0; i < kinds_.size(); ++i) {
                const std::string text =
                    Generations::textOf(setting(kinds_[i].name)->value(), *types_);
                EXPECT_TRUE(kinds_[i].has(text)) << kinds_[i].name << " " << text;
            }
        }
    }

    void saveAndLook() {
        // There is no file before the first change.
        bool isThere = false;
        for (unsigned int round = 0; round < rounds_; ++round) {
            EXPECT_TRUE(storage_->save());
            std::string data;
            isThere = isThere || testsupport::exists(rw_);
            if (isThere) {
                EXPECT_TRUE(storage_->loadInifileData(rw_, data)) << log_.dump();
                expectWhole(data);
            }
        }
    }

    /// That each line is one that some generation of its setting makes.
    void expectWhole(std::string_view data) const {
        std::size_t found = 0;
        while (!data.empty()) {
            const std::string_view line = data.substr(0, data.find('\n'));
            data.remove_prefix(std::min(line.size() + 1, data.size()));
            const std::size_t equals = line.find(" = ");
            for (const Generations& kind : kinds_) {
                if (equals != std::string_view::npos &&
                    "settings/" + std::string(line.substr(0, equals)) == kind.name) {
                    EXPECT_TRUE(kind.has(std::string(line.substr(equals + 3)))) << line;
                    ++found;
                }
            }
        }
        EXPECT_EQ(found, kinds_.size());
    }

    void registerMore() {
        for (unsigned int i = 0; i < rounds_; ++i) {
            const std::string name = "settings/more/" + std::to_string(i);
            const auto holder = boost::make_shared<SettingHolder>(name, 0);
            EXPECT_TRUE(storage_->registerSetting(holder));
            EXPECT_TRUE(holder->setValue(static_cast<int>(i)));
            EXPECT_EQ(storage_->querySetting(name), holder);
        }
    }

    /// The defaults, which every kind has in common with generation 0.
    void buildDefaultsOfEveryKind() {
        std::string text = "#name = settings\n";
        for (const Generations& kind : kinds_) {
            text +=
                kind.name.substr(std::string("settings/").size()) + " = " + kind.texts[0] + "\n";
        }
        buildDefaults(text);
        storage_->filename(defaults_);
    }

    void flush() const {
        for (unsigned int round = 0; round < rounds_; ++round) {
            SettingsManager::flushAllSettings();
        }
    }

    /// The lines of `settingsOf` when every kind has reached the same generation.
    std::vector<std::string> expectedLines(unsigned int generation) const {
        std::map<std::string, std::string> texts;
        for (const Generations& kind : kinds_) {
            texts[kind.name] = kind.texts[generation];
        }
        for (unsigned int i = 0; i < rounds_; ++i) {
            texts["settings/more/" + std::to_string(i)] = "int," + std::to_string(i);
        }
        std::vector<std::string> lines;
        for (const auto& entry : texts) {
            lines.push_back(entry.first + " = " + entry.second);
        }
        return lines;
    }

    std::vector<Generations> kinds_;
};

TEST_P(EveryKindThreads, ValuesAreReadAndSavedWholeAndTheLastOnesStayInTheFile) {
    atOnce({[&] { change(1); }, [&] { change(5); }, [&] { read(); }, [&] { saveAndLook(); },
            [&] { registerMore(); }, [&] { flush(); }});
    constexpr unsigned int kLast = Generations::kCount - 1;
    for (const Generations& kind : kinds_) {
        EXPECT_TRUE(setting(kind.name)->setValue(kind.values[kLast]));
    }
    if (GetParam() == Storage::Save_async) {
        SettingsStorageFileAsyncSaver::instance()->stop();
    } else if (GetParam() != Storage::Save_onEachChange) {
        EXPECT_TRUE(storage_->save());
    }
    EXPECT_FALSE(storage_->dirty());
    EXPECT_FALSE(testsupport::exists(copy_));
    ASSERT_TRUE(reopen());
    EXPECT_EQ("", errInfo());
    check(expectedLines(kLast));
    EXPECT_TRUE(log_.entries().empty()) << log_.dump();
}

TEST_P(EveryKindThreads, LastValuesOfAThreadThatSavesItselfAreInTheFileWhenItsSaveIsDone) {
    atOnce({[&] { change(1); },
            [&] {
                // The first setting of all is this thread's own.
                const auto own = boost::make_shared<SettingHolder>("settings/0", 0);
                EXPECT_TRUE(storage_->registerSetting(own));
                for (int i = 1; i <= static_cast<int>(rounds_); ++i) {
                    EXPECT_TRUE(own->setValue(i));
                    EXPECT_TRUE(storage_->save());
                    std::string data;
                    EXPECT_TRUE(storage_->loadInifileData(rw_, data));
                    EXPECT_NE(std::string::npos, data.find("\n0 = int," + std::to_string(i) + "\n"))
                        << data;
                }
            },
            [&] { read(); }});
}

// Whoever is at work when the reset comes goes on after it.
TEST_P(EveryKindThreads, FileOfAResetIsWholeAndNobodySavesAfterIt) {
    std::atomic<bool> isReset{false};
    std::string left;
    const auto untilReset = [&](const auto& work) {
        do {
            work();
        } while (!isReset);
        work();
    };
    buildDefaultsOfEveryKind();
    atOnce({[&] { untilReset([&] { change(1); }); }, [&] { untilReset([&] { read(); }); },
            [&] { untilReset([&] { storage_->save(); }); }, [&] { untilReset([&] { flush(); }); },
            [&] {
                change(5);
                EXPECT_TRUE(storage_->resetToDefaults());
                left = testsupport::readFile(rw_);
                isReset = true;
            }});
    EXPECT_EQ(left, testsupport::readFile(rw_));
    EXPECT_FALSE(testsupport::exists(copy_));
    EXPECT_FALSE(storage_->save());
    std::string data;
    ASSERT_TRUE(storage_->loadInifileData(rw_, data));
    expectWhole(data);
}

INSTANTIATE_TEST_SUITE_P(Policies, EveryKindThreads,
                         testing::Values(SettingStorageFileBase::Save_unspecified,
                                         SettingStorageFileBase::Save_onDemand,
                                         SettingStorageFileBase::Save_onEachChange,
                                         SettingStorageFileBase::Save_async),
                         testing::PrintToStringParamName());

}  // namespace
