#include <gtest/gtest.h>
#include <optional>
#include <stdexcept>
#include <string>

#include "SaverFixture.h"

namespace {

using testsupport::AsyncStub;

constexpr const char* kFlushCaught = "SettingsStorageFileAsyncSaver::flush(): caught exception";
constexpr const char* kThreadCaught = "SettingsStorageFileAsyncSaver::threadFunc(): caught boom";

bool fail(const std::string&) {
    return false;
}

bool throwBoom(const std::string&) {
    throw std::runtime_error("boom");
}

/// Flush, stop and the thread's pass end although a storage cannot be saved or changes all the
/// time. Bounds: three failures in a row for each storage, four saves of one storage by a flush,
/// one by a pass of the thread.
class AsyncSaverDrain : public testsupport::SaverFixture {
protected:
    /// Makes each save of the storage a change as well.
    static void changeInEverySave(AsyncStub& storage) {
        storage.onSave = [&storage](const std::string&) {
            storage.touch();
            return true;
        };
    }

    Saver& saver_ = stoppedSaver();
};

TEST_F(AsyncSaverDrain, FlushGivesUpAStorageThatAlwaysFails) {
    AsyncStub bad("bad");
    bad.onSave = fail;
    bad.touch();
    saver_.flush();
    EXPECT_EQ(3u, bad.saves());
    EXPECT_TRUE(bad.dirty());
    EXPECT_EQ(3u, logged(5, "Failed to save storage bad"));
    EXPECT_EQ(flushCommands_, commands());
}

TEST_F(AsyncSaverDrain, FlushSavesTheOthersBeforeAFailingStorageAtTheEnd) {
    AsyncStub first("first");
    AsyncStub second("second");
    AsyncStub bad("bad");
    bad.onSave = fail;
    for (AsyncStub* const storage : {&first, &second, &bad}) {
        storage->touch();
    }
    saver_.flush();
    EXPECT_FALSE(first.dirty());
    EXPECT_FALSE(second.dirty());
    EXPECT_TRUE(bad.dirty());
    EXPECT_EQ(9u, bad.saves());
    EXPECT_EQ(flushCommands_, commands());
}

TEST_F(AsyncSaverDrain, FlushSavesTheOthersBehindAFailingStorageAtTheHead) {
    AsyncStub bad("bad");
    AsyncStub first("first");
    AsyncStub second("second");
    bad.onSave = fail;
    for (AsyncStub* const storage : {&first, &second, &bad}) {
        storage->touch();
    }
    saver_.flush();
    EXPECT_FALSE(first.dirty());
    EXPECT_FALSE(second.dirty());
    EXPECT_TRUE(bad.dirty());
    EXPECT_EQ(2u, bad.saves());
}

TEST_F(AsyncSaverDrain, FlushTriesAFailedStorageAgainAtOnce) {
    AsyncStub moody("moody");
    moody.onSave = [&](const std::string&) { return moody.saves() > 1; };
    moody.touch();
    saver_.flush();
    EXPECT_EQ(2u, moody.saves());
    EXPECT_FALSE(moody.dirty());
}

TEST_F(AsyncSaverDrain, SuccessInBetweenGivesAFailingStorageNoEndlessTries) {
    AsyncStub busy("busy");
    AsyncStub bad("bad");
    changeInEverySave(busy);
    bad.onSave = fail;
    busy.touch();
    bad.touch();
    saver_.flush();
    EXPECT_EQ(4u, busy.saves());
    EXPECT_EQ(9u, bad.saves());
    EXPECT_TRUE(bad.dirty());
    EXPECT_TRUE(busy.dirty());
}

TEST_F(AsyncSaverDrain, FlushGivesUpAStorageThatAlwaysThrows) {
    AsyncStub good("good");
    AsyncStub bad("bad");
    AsyncStub last("last");
    bad.onSave = throwBoom;
    for (AsyncStub* const storage : {&good, &bad, &last}) {
        storage->touch();
    }
    saver_.flush();
    EXPECT_FALSE(good.dirty());
    EXPECT_FALSE(last.dirty());
    EXPECT_TRUE(bad.dirty());
    EXPECT_EQ(2u, bad.saves());
    EXPECT_EQ(1u, logged(2, kFlushCaught));
}

TEST_F(AsyncSaverDrain, FlushSavesAnEverChangingStorageFourTimes) {
    AsyncStub busy("busy");
    changeInEverySave(busy);
    busy.touch();
    saver_.flush();
    EXPECT_EQ(4u, busy.saves());
    EXPECT_TRUE(busy.dirty());
    EXPECT_EQ(flushCommands_, commands());
}

TEST_F(AsyncSaverDrain, FlushSavesTheOthersBesideAnEverChangingStorage) {
    AsyncStub busy("busy");
    AsyncStub other("other");
    changeInEverySave(busy);
    busy.touch();
    other.touch();
    saver_.flush();
    EXPECT_EQ(1u, other.saves());
    EXPECT_EQ(2u, busy.saves());
    EXPECT_TRUE(busy.dirty());
}

TEST_F(AsyncSaverDrain, FlushSavesAStorageInThePlaceOfOneThatItHasSavedFourTimes) {
    AsyncStub keeper("keeper");
    std::optional<AsyncStub> place;
    place.emplace("busy");
    place->onSave = [&](const std::string&) {
        (place->saves() < 4 ? *place : keeper).touch();
        return true;
    };
    keeper.onSave = [&](const std::string&) {
        place.emplace("new");
        place->touch();
        return true;
    };
    place->touch();
    saver_.flush();
    EXPECT_EQ(4u, logged(2, "SettingsStorageFileAsyncSaver::saveNextStorage(): busy"));
    EXPECT_EQ("new", place->name());
    EXPECT_EQ(1u, place->saves());
    EXPECT_FALSE(place->dirty());
}

TEST_F(AsyncSaverDrain, EveryFlushTriesAnew) {
    AsyncStub bad("bad");
    bad.onSave = fail;
    bad.touch();
    saver_.flush();
    saver_.flush();
    EXPECT_EQ(6u, bad.saves());
}

TEST_F(AsyncSaverDrain, ThreadRestsAfterThreeFailuresAndStopEnds) {
    AsyncStub good("good");
    AsyncStub bad("bad");
    saver_.unregisterStorage(good);
    bad.onSave = fail;
    bad.touch();
    saver_.start();
    ASSERT_TRUE(log_.waitFor("Failed to save storage bad", 3));
    untilSaverRests();
    EXPECT_EQ(3u, bad.saves());
    saver_.registerStorage(good);
    good.touch();
    saver_.stop();
    EXPECT_FALSE(good.dirty());
    EXPECT_TRUE(bad.dirty());
    EXPECT_EQ(flushCommands_, commands());
}

TEST_F(AsyncSaverDrain, ThreadRestsAfterThreeExceptionsAndStopEnds) {
    AsyncStub bad("bad");
    bad.onSave = throwBoom;
    bad.touch();
    saver_.start();
    ASSERT_TRUE(log_.waitFor(kThreadCaught, 3));
    untilSaverRests();
    EXPECT_EQ(3u, bad.saves());
    AsyncStub good("good");
    good.touch();
    saver_.stop();
    EXPECT_FALSE(good.dirty());
    EXPECT_TRUE(bad.dirty());
    EXPECT_EQ(3u, logged(5, kThreadCaught)) << log_.dump();
    EXPECT_EQ(1u, logged(2, kFlushCaught));
}

TEST_F(AsyncSaverDrain, ThreadSavesTheOthersBesideAStorageThatThrows) {
    AsyncStub bad("bad");
    AsyncStub good("good");
    bad.onSave = throwBoom;
    bad.touch();
    good.touch();
    saver_.start();
    EXPECT_TRUE(log_.waitFor("SettingStorageFileBase::save(): good, dirty 1->0"));
    saver_.stop();
    EXPECT_EQ(1u, good.saves());
    EXPECT_TRUE(bad.dirty());
}

TEST_F(AsyncSaverDrain, ThreadSavesAnEverChangingStorageOnceInAPass) {
    AsyncStub busy("busy");
    changeInEverySave(busy);
    busy.touch();
    saver_.start();
    ASSERT_TRUE(log_.waitFor("SettingsStorageFileAsyncSaver::saveNextStorage(): busy"));
    untilSaverRests();
    EXPECT_EQ(1u, busy.saves());
    saver_.stop();
    EXPECT_EQ(5u, busy.saves());
    EXPECT_TRUE(busy.dirty());
}

TEST_F(AsyncSaverDrain, LaterPassSavesWhatFailedBefore) {
    rest(1);
    AsyncStub moody("moody");
    moody.onSave = [&](const std::string&) { return moody.saves() > 7; };
    moody.touch();
    saver_.start();
    EXPECT_TRUE(log_.waitFor("SettingStorageFileBase::save(): moody, dirty 1->0"));
    saver_.stop();
    EXPECT_EQ(8u, moody.saves());
    EXPECT_FALSE(moody.dirty());
    EXPECT_EQ(7u, logged(5, "Failed to save storage moody"));
}

}  // namespace
