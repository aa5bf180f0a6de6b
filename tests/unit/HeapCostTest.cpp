// What settings cost in memory and in calls of the heap: figures that are the same on every
// machine, with some room, so that a change that doubles one of them is seen.

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "Files.h"
#include "HeapUse.h"
#include "IniStorageFixture.h"
#include "Sanitized.h"

namespace {

using testsupport::Heap;
using testsupport::HeapUse;
using testsupport::IniStorageFixture;
using testsupport::withCrc;

constexpr int kSettings = 1000;

/// Settings of the usual types in sections of 50: of ten four integers, two flags, a number with a
/// point, two strings and an array.
std::string usualText(int count) {
    static const char* const kValues[] = {"int,1234",
                                          "int,5",
                                          "int,-77",
                                          "int,99999",
                                          "bool,true",
                                          "bool,false",
                                          "float64,12.25",
                                          "string,twenty bytes of text",
                                          "string,\\tand twenty of a\\n",
                                          "int[],1;22;333;-4444;5;66;777;8888"};
    std::string text = "#name = settings\n#savepolicy = ondemand";
    for (int i = 0; i < count; ++i) {
        // In the order that a save writes them in.
        if (i % 50 == 0) {
            text += (i == 0 ? "\n[s" : "\n\n[s") + std::to_string(1000 + i / 50) + "]";
        }
        text += "\nk" + std::to_string(10 + i % 50) + " = " + kValues[i % 10];
    }
    return text;
}

std::string usualName(int i) {
    return "settings/s" + std::to_string(1000 + i / 50) + "/k" + std::to_string(10 + i % 50);
}

class HeapCost : public IniStorageFixture {
protected:
    HeapCost() {
        qlog::setDefaultThreshold(6);
        manager_.factory(types_);
        Storage::syncWrites(false);
    }
    ~HeapCost() override { Storage::syncWrites(true); }

    void load(int settings) {
        build(usualText(settings));
        create();
        use_ = Heap::useOf([this] { ASSERT_TRUE(manager_.registerStorage(storage_)); });
        ASSERT_EQ(storage_->snapshot().size(), static_cast<std::size_t>(settings));
    }

    HeapUse use_{};
};

// The names are longer than a string holds in place, and strings here than in the bench.
TEST_F(HeapCost, ALoadedSettingKeepsLittleMoreThanTwoHundredBytesAndTwoBlocks) {
    load(kSettings);
    // Room for less than one pointer more in each setting.
    EXPECT_LT(use_.keptBytes / kSettings, 220);
    // Under AddressSanitizer each setting has a block of its own, as if it were not made by a file.
    EXPECT_LT(use_.keptBlocks / kSettings, testsupport::kTimesLess == 1 ? 2.6 : 3.6);
}

TEST_F(HeapCost, LoadingTakesLittleFromTheHeapThatItGivesBack) {
    load(kSettings);
    EXPECT_LT(use_.blocks, 1.1 * use_.keptBlocks);
    EXPECT_LT(use_.peak, 1.4 * use_.keptBytes);
}

TEST_F(HeapCost, LoadingTheReadWriteFileOverTheDefaultsTakesNoMoreThanLoadingBoth) {
    load(kSettings);
    const HeapUse once = use_;
    buildDefaults(usualText(kSettings));
    create();
    const HeapUse twice = Heap::useOf([this] { ASSERT_TRUE(storage_->init(&manager_, nullptr)); });
    EXPECT_LT(twice.blocks, 2.1 * once.blocks);
}

TEST_F(HeapCost, ASaveOfAnyNumberOfSettingsTakesAFewBlocks) {
    load(kSettings);
    setting(usualName(0))->setValue(0);
    const HeapUse use = Heap::useOf([this] { ASSERT_TRUE(storage_->save()); });
    EXPECT_LT(use.blocks, 40);
    EXPECT_LT(use.peak, 40000 + 10 * kSettings + 2 * sizeof(void*) * kSettings);
}

TEST_F(HeapCost, ALookUpAndAReadTakeNothing) {
    load(kSettings);
    const std::string name = usualName(kSettings / 2);
    int value = 0;
    const HeapUse use = Heap::useOf([&] { value = manager_.setting(name)->getValue<int>(); });
    EXPECT_EQ(value, 1234);
    EXPECT_EQ(use.blocks, 0);
}

TEST_F(HeapCost, AChangeTakesTheValueAndTwoCopiesOfTheName) {
    load(kSettings);
    const auto holder = setting(usualName(0));
    holder->setValue(6);  // the first change of a process makes what all changes share
    const HeapUse use = Heap::useOf([&] { holder->setValue(7); });
    EXPECT_LE(use.blocks, 3);
}

TEST_F(HeapCost, RegisteringOneByOneCopiesNoIndex) {
    build("#name = settings");
    create();
    ASSERT_TRUE(manager_.registerStorage(storage_));
    const HeapUse use = Heap::useOf([this] {
        for (int i = 0; i < 10 * kSettings; ++i) {
            manager_.registerSetting(boost::make_shared<Qel::Settings::SettingHolder>(
                "settings/" + std::to_string(100000 + i), i));
        }
    });
    EXPECT_LT(use.bytes / (10 * kSettings), 500);
    EXPECT_LT(use.blocks / (10 * kSettings), 5);
}

}  // namespace
