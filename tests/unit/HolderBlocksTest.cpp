// Settings that lie together in a block of memory, and what of it lasts when some of them end.

#include <boost/smart_ptr/weak_ptr.hpp>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "AtOnce.h"
#include "HeapUse.h"
#include "HolderBlocks.h"
#include "IniStorageFixture.h"
#include "Sanitized.h"

namespace {

using namespace Qel::Settings;
using testsupport::atOnce;
using testsupport::Heap;
using testsupport::HeapUse;
using testsupport::IniStorageFixture;

using Holder = boost::shared_ptr<SettingHolder>;

// A block holds 64 or fewer: several blocks, the last not full.
constexpr std::size_t kSettings = 1000;

std::string nameOf(std::size_t i) {
    return "settings/a section of some length/" + std::to_string(10000 + i);
}

Holder makeIn(HolderBlocks& blocks, std::size_t i) {
    return blocks.make(nameOf(i), "a text of some length too, " + std::to_string(i));
}

/// Of settings that were made when `expected` were told to come.
std::vector<Holder> makeMany(std::size_t expected) {
    std::vector<Holder> holders;
    HolderBlocks blocks;
    blocks.expect(expected);
    for (std::size_t i = 0; i < kSettings; ++i) {
        holders.push_back(makeIn(blocks, i));
    }
    return holders;
}

void endAtOnce(std::vector<Holder>& holders) {
    std::vector<std::function<void()>> work;
    for (std::size_t first = 0; first < 4; ++first) {
        work.emplace_back([&holders, first] {
            for (std::size_t i = first; i < holders.size(); i += 4) {
                holders[i].reset();
            }
        });
    }
    atOnce(work);
}

void expectWhole(const SettingHolder& holder, std::size_t i) {
    EXPECT_EQ(holder.name(), nameOf(i));
    EXPECT_EQ(holder.getValue<std::string>(), "a text of some length too, " + std::to_string(i));
}

TEST(HolderBlocks, EverySettingIsWholeAndHeldForItself) {
    const std::vector<Holder> holders = makeMany(kSettings);
    for (std::size_t i = 0; i < kSettings; ++i) {
        const Holder& holder = holders[i];
        expectWhole(*holder, i);
        EXPECT_EQ(holder.use_count(), 1);
    }
}

TEST(HolderBlocks, NothingIsKeptOnceAllSettingsAreGone) {
    for (const std::size_t expected :
         std::vector<std::size_t>{0, 1, 70, kSettings, 10 * kSettings}) {
        const HeapUse use = Heap::useOf([expected] { makeMany(expected); });
        EXPECT_EQ(use.keptBytes, 0) << expected;
        EXPECT_EQ(use.keptBlocks, 0) << expected;
    }
}

TEST(HolderBlocks, BlocksWithoutASettingTakeNothing) {
    const HeapUse use = Heap::useOf([] {
        HolderBlocks blocks;
        blocks.expect(kSettings);
    });
    EXPECT_EQ(use.blocks, 0);
}

TEST(HolderBlocks, ABlockHasNoRoomForMoreSettingsThanAreExpected) {
    HolderBlocks blocks;
    blocks.expect(2);
    const HeapUse use = Heap::useOf([&blocks] { blocks.make("", boost::any()); });
    EXPECT_LT(use.bytes, 3 * 2 * sizeof(SettingHolder));
}

TEST(HolderBlocks, OneSettingThatIsKeptKeepsOneBlockAndNoOtherSettingsNameOrValue) {
    Holder kept;
    boost::weak_ptr<SettingHolder> neighbour;
    const HeapUse use = Heap::useOf([&] {
        const std::vector<Holder> holders = makeMany(kSettings);
        kept = holders[kSettings / 2];
        neighbour = holders[kSettings / 2 + 1];
    });
    EXPECT_TRUE(neighbour.expired());
    neighbour.reset();
    EXPECT_LT(use.keptBytes, 7000);
    EXPECT_LE(use.keptBlocks, 5);  // its block, name, value and the text in it, and the neighbour's
    expectWhole(*kept, kSettings / 2);
    EXPECT_TRUE(kept->setValue(7));
    EXPECT_EQ(kept->getValue<int>(), 7);
}

TEST(HolderBlocks, ThePlaceOfASettingLastsAsLongAsWhoeverMayAskWhetherItDoes) {
    boost::weak_ptr<SettingHolder> gone;
    const HeapUse use = Heap::useOf([&gone] { gone = makeMany(1).front(); });
    EXPECT_TRUE(gone.expired());
    EXPECT_EQ(use.keptBlocks, 1);
    EXPECT_EQ(Heap::useOf([&gone] { gone.reset(); }).keptBlocks, -1);
}

TEST(HolderBlocks, NothingIsKeptOfSettingsThatEndOnManyThreadsAtOnce) {
    const HeapUse use = Heap::useOf([] {
        for (std::size_t round = 0; round < 50 / testsupport::kTimesLess; ++round) {
            std::vector<Holder> holders = makeMany(kSettings);
            endAtOnce(holders);
        }
    });
    EXPECT_EQ(use.keptBytes, 0);
}

using SettingsOfAFile = IniStorageFixture;

TEST_F(SettingsOfAFile, OutliveTheirStorageTheirManagerAndTheirNeighbours) {
    qlog::setDefaultThreshold(6);
    std::string text = "#name = settings\n[s]";
    for (std::size_t i = 0; i < kSettings; ++i) {
        text += "\nk" + std::to_string(i) + " = string,a text of some length\n# and a line of none";
    }
    build(text);
    Holder kept;
    const auto loadAndEnd = [&] {
        SettingsManager manager;
        manager.factory(types_);
        create();
        ASSERT_TRUE(manager.registerStorage(storage_));
        kept = manager.setting("settings/s/k500");
        storage_.reset();
    };
    loadAndEnd();  // what the first load of a process makes for good is none of the settings'
    EXPECT_LT(Heap::useOf(loadAndEnd).keptBytes, 100);
    EXPECT_EQ(kept->name(), "settings/s/k500");
    EXPECT_EQ(kept->getValue<std::string>(), "a text of some length");
    EXPECT_FALSE(kept->setValue(1));
    EXPECT_LT(Heap::useOf([&kept] { kept.reset(); }).keptBlocks, 0);
}

}  // namespace
