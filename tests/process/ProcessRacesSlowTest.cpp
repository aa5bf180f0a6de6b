#include <gtest/gtest.h>

#include "RaceFixture.h"

namespace {

using ProcessRacesSlow = testsupport::RaceFixture;

// What a sanitizer looks for is the same in each save, and each takes ten times as long.
#ifdef T8_SANITIZED
constexpr int kSaves = 2000;
#else
constexpr int kSaves = 20000;
#endif

TEST_F(ProcessRacesSlow, LoadersBesideAWriterFindOneWholeGenerationEveryTime) {
    raceLoadersAgainstAWriter(kSaves);
}

}  // namespace
