#include <atomic>
#include <boost/smart_ptr/make_shared.hpp>
#include <cstddef>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "AtOnce.h"
#include "HolderBlocks.h"
#include "Qel/Settings/SettingChangeCallback.h"
#include "Qel/Settings/SettingHolder.h"

namespace {

using namespace Qel::Settings;

constexpr int kRounds = 2000;
constexpr int kChangers = 3;

void join(std::vector<std::thread>& threads) {
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(SettingHolderThreads, ReaderSeesWholeValuesOnlyWhileOthersChangeThem) {
    SettingHolder holder("x", std::string(100, 'a'));
    std::vector<std::thread> changers;
    for (int changer = 0; changer < kChangers; ++changer) {
        changers.emplace_back([&holder, changer] {
            for (int i = 0; i < kRounds; ++i) {
                const auto length = static_cast<std::size_t>(1 + i % 200);
                EXPECT_TRUE(holder.setValue(std::string(length, static_cast<char>('a' + changer))));
            }
        });
    }
    for (int i = 0; i < kRounds; ++i) {
        const auto text = holder.getValue<std::string>();
        ASSERT_FALSE(text.empty());
        EXPECT_EQ(std::string::npos, text.find_first_not_of(text.front()));
        EXPECT_EQ(typeid(std::string), holder.type());
    }
    join(changers);
}

TEST(SettingHolderThreads, EveryChangeOfEveryThreadIsAskedForAndReported) {
    struct Counter : SettingChangeCallback {
        bool changing(std::string) override {
            ++asked;
            return true;
        }
        void changed(std::string) override { ++told; }
        std::atomic<int> asked{0};
        std::atomic<int> told{0};
    } owner;
    SettingHolder holder("x", 0);
    ASSERT_TRUE(holder.bind(owner));
    std::vector<std::thread> changers;
    for (int changer = 0; changer < kChangers; ++changer) {
        changers.emplace_back([&holder] {
            for (int i = 0; i < kRounds; ++i) {
                holder.setValue(i);
            }
        });
    }
    join(changers);
    EXPECT_EQ(kChangers * kRounds, owner.asked);
    EXPECT_EQ(kChangers * kRounds, owner.told);
}

TEST(SettingHolderThreads, OneOfManyStoragesThatWantASettingGetsIt) {
    for (int i = 0; i < kRounds / 10; ++i) {
        SettingHolder holder("x", 0);
        std::vector<SettingChangeCallback> storages(kChangers);
        std::atomic<int> winners{0};
        std::vector<std::thread> threads;
        for (SettingChangeCallback& storage : storages) {
            threads.emplace_back([&] { winners += holder.bind(storage) ? 1 : 0; });
        }
        join(threads);
        ASSERT_EQ(1, winners);
    }
}

TEST(SettingHolderThreads, ValueThatReachesBackToItsSettingAsItDiesDoesNotBlock) {
    // Were the old value destroyed under the lock of its setting, a value that reaches back to the
    // setting would wait for itself.
    struct Reaching {
        SettingHolder* target;
        bool* reached;
        ~Reaching() {
            if (target != nullptr && reached != nullptr) {
                *reached = target->type() == typeid(int);
            }
        }
    };
    SettingHolder holder("x", 0);
    bool reached = false;
    {
        const auto shared = boost::make_shared<Reaching>();
        shared->target = &holder;
        shared->reached = &reached;
        ASSERT_TRUE(holder.setValue(shared));
    }
    EXPECT_TRUE(holder.setValue(1));
    EXPECT_TRUE(reached);
}

// No text that needs the heap: what the threads do there would put them in an order of its own.
TEST(SettingHolderThreads, SettingsOfOneBlockMayEndOnManyThreads) {
    for (int round = 0; round < 100; ++round) {
        HolderBlocks blocks;
        blocks.expect(4);
        std::vector<std::function<void()>> work;
        for (int i = 0; i < 4; ++i) {
            work.emplace_back([holder = blocks.make("bass", boost::any())]() mutable {
                EXPECT_EQ(holder->name(), "bass");
                holder.reset();
            });
        }
        testsupport::atOnce(work);
    }
}

}  // namespace
