#include <gtest/gtest.h>

#include "RaceFixture.h"
#include "Sanitized.h"

namespace {

using ProcessRacesSlow = testsupport::RaceFixture;

TEST_F(ProcessRacesSlow, LoadersBesideAWriterFindOneWholeGenerationEveryTime) {
    raceLoadersAgainstAWriter(20000 / static_cast<int>(2 * testsupport::kTimesLess - 1));
}

}  // namespace
