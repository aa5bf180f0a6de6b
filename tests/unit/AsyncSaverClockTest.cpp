#include <atomic>
#include <ctime>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include "SaverFixture.h"

namespace {

constexpr int kHour = 3600;

/// Seconds by which the time of day has been set.
std::atomic<int> timeSet{0};

}  // namespace

// In place of the C library's, for the libraries of this program too.
extern "C" int clock_gettime(clockid_t clock, timespec* time) noexcept {
    using Function = int(clockid_t, timespec*);
    static auto* const real = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, "clock_gettime"));
    if (real == nullptr) {
        ::_exit(127);
    }
    const int result = real(clock, time);
    if (clock == CLOCK_REALTIME) {
        time->tv_sec += timeSet;
    }
    return result;
}

namespace {

using testsupport::AsyncStub;

using AsyncSaverClock = testsupport::SaverFixture;

// A television learns the time of day late. A rest that ended at a time of day would then last as
// long as the clock was set back.
TEST_F(AsyncSaverClock, RestIsNoLongerWhenTheTimeIsSetBack) {
    rest(300);
    AsyncStub a("a");
    untilSaverRests();
    timeSet = -kHour;
    a.touch();
    EXPECT_TRUE(log_.waitFor("SettingStorageFileBase::save(): a, dirty 1->0"));
    saver().stop();
}

}  // namespace
