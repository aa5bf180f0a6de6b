#include <atomic>
#include <boost/smart_ptr/make_shared.hpp>
#include <boost/smart_ptr/weak_ptr.hpp>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "Gate.h"
#include "LogCapture.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingsManager.h"
#include "SingleStep.h"
#include "StubFileStorage.h"
#include "StubStorage.h"
#include "Threads.h"

namespace {

using namespace Qel::Settings;
using testsupport::Gate;
using testsupport::LogCapture;
using testsupport::SingleStep;
using testsupport::StubFileStorage;
using testsupport::StubStorage;
using testsupport::WatchedThread;

using Holder = boost::shared_ptr<SettingHolder>;

/// A file storage in which a change can be held up half-way.
class HookedStorage : public StubFileStorage {
public:
    explicit HookedStorage(const std::string& name, SavePolicy policy = Save_onDemand)
        : StubFileStorage(name, "", "/absent/file", policy) {}
    ~HookedStorage() override {
        retire();
        destroyed = true;
    }

    bool changing(std::string name) override {
        const bool allowed = StubFileStorage::changing(name);
        if (duringChanging) {
            duringChanging();
        }
        return allowed;
    }

    void changed(std::string name) override {
        if (duringChanged) {
            duringChanged();
        }
        StubFileStorage::changed(name);
    }

    using SettingStorageFileBase::retire;

    std::function<void()> duringChanging;
    std::function<void()> duringChanged;
    bool destroyed = false;
};

Holder addTo(SettingStorageInterface& storage, const std::string& name, int value = 1) {
    const auto holder = boost::make_shared<SettingHolder>(name, value);
    EXPECT_TRUE(storage.registerSetting(holder));
    return holder;
}

/// That a change is refused for good, as nobody is left to save it.
void expectRefusal(SettingHolder& holder, int value) {
    EXPECT_FALSE(holder.setValue(value + 1));
    EXPECT_EQ(value, holder.getValue<int>());
    EXPECT_NE(nullptr, holder.callback());
    StubFileStorage another("another", "", "/absent/file");
    EXPECT_FALSE(another.registerSetting(Holder(&holder, [](SettingHolder*) {})));
}

TEST(HolderLifetime, HolderThatOutlivesItsStorageRefusesChangesAndEveryOtherStorage) {
    LogCapture log;
    Holder holder;
    {
        StubFileStorage storage("sound", "", "/absent/file");
        holder = addTo(storage, "sound/bass");
        ASSERT_TRUE(holder->setValue(2));
    }
    log.clear();
    expectRefusal(*holder, 2);
    EXPECT_TRUE(log.entries().empty()) << log.dump();
}

TEST(HolderLifetime, HolderThatWasReplacedInItsStorageRefusesOnceTheStorageIsGone) {
    Holder replaced;
    Holder replacing;
    {
        StubFileStorage storage("sound", "", "/absent/file");
        replaced = addTo(storage, "sound/bass", 1);
        replacing = addTo(storage, "sound/bass", 5);
        EXPECT_TRUE(replaced->setValue(2));
    }
    expectRefusal(*replaced, 2);
    expectRefusal(*replacing, 5);
}

TEST(HolderLifetime, HoldersOfEveryFormerGenerationRefuseOnceTheStorageIsGone) {
    std::vector<Holder> generations;
    {
        StubFileStorage storage("sound", "", "/absent/file");
        for (int generation = 0; generation < 40; ++generation) {
            generations.push_back(addTo(storage, "sound/bass"));
            addTo(storage, "sound/treble");
        }
    }
    for (const Holder& holder : generations) {
        EXPECT_FALSE(holder->setValue(2));
    }
}

TEST(HolderLifetime, HolderThatAnInitDroppedRefusesOnceTheStorageIsGone) {
    Holder dropped;
    {
        SettingsManager manager;
        StubFileStorage storage("sound", "", "/absent/file");
        dropped = addTo(storage, "sound/bass");
        ASSERT_TRUE(storage.init(&manager, nullptr));
        ASSERT_EQ(nullptr, storage.querySetting("sound/bass"));
    }
    expectRefusal(*dropped, 1);
}

TEST(HolderLifetime, ReplacedStorageLivesAsLongAsTheManager) {
    boost::weak_ptr<StubFileStorage> replaced;
    Holder onlyInReplaced;
    {
        SettingsManager manager;
        {
            const auto first = boost::make_shared<StubFileStorage>("sound", "", "/absent/file");
            replaced = first;
            ASSERT_TRUE(manager.registerStorage(first));
            onlyInReplaced = boost::make_shared<SettingHolder>("sound/bass", 1);
            manager.registerSetting(onlyInReplaced);
        }
        for (int i = 0; i < 3; ++i) {
            ASSERT_TRUE(manager.registerStorage(boost::make_shared<StubStorage>("sound")));
        }
        ASSERT_FALSE(replaced.expired());
        EXPECT_EQ(onlyInReplaced, manager.setting("sound/bass"));
        EXPECT_TRUE(onlyInReplaced->setValue(2));
        EXPECT_TRUE(replaced.lock()->dirty());
        EXPECT_TRUE(replaced.lock()->save());
    }
    EXPECT_TRUE(replaced.expired());
    expectRefusal(*onlyInReplaced, 2);
}

TEST(HolderLifetime, StorageDestructionWaitsForAChangeThatIsBeingReported) {
    auto storage = std::make_unique<HookedStorage>("sound");
    const Holder holder = addTo(*storage, "sound/bass");
    Gate gate;
    bool destroyedTooEarly = true;
    storage->duringChanged = [&, hooked = storage.get()] {
        gate.pass();
        destroyedTooEarly = hooked->destroyed;
    };
    bool changed = false;
    WatchedThread changer([&] { changed = holder->setValue(2); });
    gate.waitForArrival();
    WatchedThread destroyer([&] { storage.reset(); });
    destroyer.untilHeldUpOrDone();
    EXPECT_FALSE(destroyer.done());
    gate.open();
    changer.join();
    destroyer.join();
    EXPECT_TRUE(changed);
    EXPECT_FALSE(destroyedTooEarly);
    expectRefusal(*holder, 2);
}

TEST(HolderLifetime, StorageDestructionWaitsForAChangeThatIsBeingAskedFor) {
    auto storage = std::make_unique<HookedStorage>("sound");
    const Holder holder = addTo(*storage, "sound/bass");
    Gate gate;
    storage->duringChanging = [&] { gate.pass(); };
    bool changed = false;
    WatchedThread changer([&] { changed = holder->setValue(2); });
    gate.waitForArrival();
    WatchedThread destroyer([&] { storage.reset(); });
    destroyer.untilHeldUpOrDone();
    EXPECT_FALSE(destroyer.done());
    gate.open();
    changer.join();
    destroyer.join();
    EXPECT_TRUE(changed);
    expectRefusal(*holder, 2);
}

// From its first instruction on, until it asks the storage.
TEST(HolderLifetime, StorageThatDiesAtAnyMomentOfAChangeIsNotAskedAfterwards) {
    if (!SingleStep::kWorksHere) {
        GTEST_SKIP() << "stepping is for x86, and sanitizers take too many steps of their own";
    }
    std::size_t instructions = 0;
    for (bool asked = false; !asked; ++instructions) {
        HookedStorage storage("sound");
        const Holder holder = addTo(storage, "sound/bass");
        std::atomic<bool> retired{false};
        bool askedTooLate = false;
        bool askedSoFar = false;
        storage.duringChanging = [&] {
            askedSoFar = true;
            askedTooLate = retired;
        };
        std::unique_ptr<WatchedThread> death;
        const bool died = SingleStep::run([&] { holder->setValue(2); }, instructions,
                                          [&] {
                                              asked = askedSoFar;
                                              death = std::make_unique<WatchedThread>([&] {
                                                  storage.retire();
                                                  retired = true;
                                              });
                                              death->untilHeldUpOrDone();
                                          });
        death.reset();
        ASSERT_TRUE(died) << instructions;
        ASSERT_FALSE(askedTooLate) << instructions;
    }
    EXPECT_GE(instructions, 20U);
}

TEST(HolderLifetime, ChangeThatIsUnderWayWhenItsStorageDiesIsStillSavedAtOnce) {
    auto storage =
        std::make_unique<HookedStorage>("sound", SettingStorageFileBase::Save_onEachChange);
    const Holder holder = addTo(*storage, "sound/bass");
    Gate gate;
    int saves = 0;
    storage->duringChanging = [&] { gate.pass(); };
    storage->onSave = [&](const std::string&) {
        ++saves;
        return true;
    };
    WatchedThread changer([&] { EXPECT_TRUE(holder->setValue(2)); });
    gate.waitForArrival();
    WatchedThread destroyer([&] { storage.reset(); });
    destroyer.untilHeldUpOrDone();
    gate.open();
    changer.join();
    destroyer.join();
    EXPECT_EQ(1, saves);
}

TEST(HolderLifetime, ChangeThatBeginsWhileItsStorageDiesIsRefused) {
    auto storage = std::make_unique<HookedStorage>("sound");
    const Holder holder = addTo(*storage, "sound/bass");
    Gate gate;
    storage->duringChanged = [&] { gate.pass(); };
    WatchedThread changer([&] { EXPECT_TRUE(holder->setValue(2)); });
    gate.waitForArrival();
    SettingChangeCallback* const living = holder->callback();
    WatchedThread destroyer([&] { storage.reset(); });
    while (holder->callback() == living) {
        std::this_thread::yield();
    }
    EXPECT_FALSE(holder->setValue(3));
    EXPECT_FALSE(destroyer.done());
    gate.open();
    changer.join();
    destroyer.join();
    expectRefusal(*holder, 2);
}

// While the storage's end waits for that very change.
TEST(HolderLifetime, SettingThatAChangeRegistersWhileItsStorageDiesRefusesAsWell) {
    auto storage = std::make_unique<HookedStorage>("sound");
    const Holder bass = addTo(*storage, "sound/bass");
    const Holder treble = addTo(*storage, "sound/treble");
    Gate gate;
    std::vector<Holder> added;
    storage->duringChanged = [&, hooked = storage.get()] {
        gate.pass();
        added = {addTo(*hooked, "sound/volume"), addTo(*hooked, "sound/treble"),
                 addTo(*hooked, "sound/balance")};
        EXPECT_EQ(4U, hooked->settingsSet().size());
    };
    WatchedThread changer([&] { EXPECT_TRUE(bass->setValue(2)); });
    gate.waitForArrival();
    WatchedThread destroyer([&] { storage.reset(); });
    destroyer.untilHeldUpOrDone();
    gate.open();
    changer.join();
    destroyer.join();
    expectRefusal(*bass, 2);
    expectRefusal(*treble, 1);
    ASSERT_EQ(3U, added.size());
    for (const Holder& holder : added) {
        expectRefusal(*holder, 1);
    }
}

TEST(HolderLifetime, StorageDestructionDoesNotWaitForAChangeInAnotherStorage) {
    HookedStorage busy("busy");
    const Holder holder = addTo(busy, "busy/x");
    Gate gate;
    busy.duringChanged = [&] { gate.pass(); };
    WatchedThread changer([&] { holder->setValue(2); });
    gate.waitForArrival();
    {
        StubFileStorage dying("dying", "", "/absent/file");
        addTo(dying, "dying/x");
    }
    EXPECT_FALSE(changer.done());
    gate.open();
}

TEST(HolderLifetime, StorageMayBeDestroyedByTheReportOfItsOwnChange) {
    auto plain = std::make_unique<StubFileStorage>("plain", "", "/absent/file");
    const Holder inner = addTo(*plain, "plain/x");
    HookedStorage outer("outer");
    const Holder holder = addTo(outer, "outer/x");
    outer.duringChanged = [&] {
        EXPECT_TRUE(inner->setValue(2));
        plain.reset();
        EXPECT_FALSE(inner->setValue(3));
    };
    EXPECT_TRUE(holder->setValue(2));
    EXPECT_EQ(2, inner->getValue<int>());
}

TEST(HolderLifetime, HolderMayBeOrphanedWithinItsOwnChange) {
    struct LettingGo : SettingChangeCallback {
        void changed(std::string) override { holder->orphan(*this); }
        Holder holder = boost::make_shared<SettingHolder>("x", 1);
    } owner;
    ASSERT_TRUE(owner.holder->bind(owner));
    EXPECT_TRUE(owner.holder->setValue(2));
    EXPECT_FALSE(owner.holder->setValue(3));
    EXPECT_EQ(2, owner.holder->getValue<int>());
}

TEST(HolderLifetime, OrphaningByAnybodyButTheOwnerDoesNothing) {
    SettingChangeCallback owner;
    SettingChangeCallback stranger;
    SettingHolder holder("x", 1);
    holder.orphan(stranger);
    EXPECT_EQ(nullptr, holder.callback());
    ASSERT_TRUE(holder.bind(owner));
    holder.orphan(stranger);
    EXPECT_EQ(&owner, holder.callback());
    EXPECT_TRUE(holder.setValue(2));
}

}  // namespace
