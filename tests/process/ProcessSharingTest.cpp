#include <gtest/gtest.h>
#include <string>

#include "ProcessFixture.h"

namespace {

/// Several processes use one directory of settings.
class ProcessSharing : public testsupport::ProcessFixture {};

TEST_F(ProcessSharing, ChangeOfOneIsReadByAnotherWhenItStarts) {
    const auto writer = start(kHelper);
    const auto older = start(kHelper);
    EXPECT_EQ("yes", writer->ask("set tv/volume 7"));
    const auto newer = start(kHelper);
    EXPECT_EQ("7", newer->ask("get tv/volume"));
    EXPECT_EQ("1", older->ask("get tv/volume"));
    for (const auto& child : {writer.get(), older.get(), newer.get()}) {
        EXPECT_EQ(0, child->finish());
    }
}

TEST_F(ProcessSharing, ChangeOfTheMainApplicationIsReadByAnotherAfterItsEnd) {
    const auto writer = start(kMain);
    EXPECT_EQ("yes", writer->ask("set tv/volume 7"));
    EXPECT_EQ(0, writer->finish());
    const auto reader = start(kHelper);
    EXPECT_EQ("7", reader->ask("get tv/volume"));
    EXPECT_EQ(0, reader->finish());
}

}  // namespace
