#include <chrono>
#include <gtest/gtest.h>
#include <iostream>
#include <string>

#include "IniStorageFixture.h"

namespace {

using testsupport::IniStorageFixture;

constexpr int kSettings = 100000;
constexpr int kSections = 2000;

/// A great many settings, so that anything quadratic shows as a time-out.
class InifileLarge : public IniStorageFixture {
protected:
    InifileLarge() { qlog::setDefaultThreshold(4); }

    static std::string nameOf(int i) {
        return "settings/section" + std::to_string(i % kSections) + "/key" + std::to_string(i);
    }

    void givenSections() {
        std::string text = "#name = settings\n";
        for (int i = 0; i < kSections; ++i) {
            text += "[section" + std::to_string(i) + "]\n";
        }
        buildDefaults(text);
    }

    /// For people: how long the last step took.
    void lap(const char* step) {
        const auto now = std::chrono::steady_clock::now();
        std::cout << step << ": "
                  << std::chrono::duration_cast<std::chrono::milliseconds>(now - last_).count()
                  << " ms\n";
        last_ = now;
    }

    std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
};

TEST_F(InifileLarge, AHundredThousandSettingsInSectionsComeBackAsTheyWere) {
    givenSections();
    ASSERT_TRUE(reopen());
    for (int i = 0; i < kSettings; ++i) {
        add(nameOf(i), i);
    }
    lap("register");
    ASSERT_TRUE(storage_->saveFile(rw_));
    lap("save");
    ASSERT_TRUE(reopen());
    lap("load");
    ASSERT_EQ(storage_->settingsSet().size(), static_cast<std::size_t>(kSettings));
    for (int i = 0; i < kSettings; ++i) {
        ASSERT_EQ(setting(nameOf(i))->getValue<int>(), i);
    }
    lap("look up");
    EXPECT_EQ(storage_->sections().size(), 1U + kSections);
    EXPECT_EQ(errInfo(), "");
    setting(nameOf(4711))->setValue(-1);
    EXPECT_TRUE(storage_->save());
    ASSERT_TRUE(reopen());
    EXPECT_EQ(setting(nameOf(4711))->getValue<int>(), -1);
    lap("change, save, load");
}

TEST_F(InifileLarge, AHundredThousandLinesOfNonsenseAreAllCollected) {
    qlog::setDefaultThreshold(6);
    std::string text = "#name = settings";
    std::string expected;
    for (int i = 0; i < kSettings; ++i) {
        text += "\nnonsense" + std::to_string(i);
        expected += "nonsense" + std::to_string(i) + "\n";
    }
    build(text);
    ASSERT_TRUE(reopen());
    EXPECT_EQ(errInfo(), expected);
    lap("load");
}

}  // namespace
