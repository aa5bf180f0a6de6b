#include <gtest/gtest.h>

#include "RaceFixture.h"

namespace {

using ProcessRacesSlow = testsupport::RaceFixture;

TEST_F(ProcessRacesSlow, LoadersBesideAWriterFindOneWholeGenerationTwentyThousandTimes) {
    raceLoadersAgainstAWriter(20000);
}

}  // namespace
