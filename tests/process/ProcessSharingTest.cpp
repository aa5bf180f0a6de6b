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

// A loader that looked between the two writes of a save would find no whole text, and set the file
// aside under the writer.
TEST_F(ProcessSharing, LoaderBesideAWriterFindsOneWholeTextEveryTime) {
    const std::string written = dir_.file("written");
    const auto writer = start(kHelper);
    EXPECT_EQ("yes", writer->ask("set tv/text a"));
    const auto loader = start(kHelper);
    loader->tell("restart tv/text " + written);
    const std::string saves = writer->ask("hammer tv/text 2000");
    ASSERT_NE(testsupport::Child::kSilence, saves);
    ASSERT_LT(1, std::stoi("0" + saves)) << saves;
    testsupport::writeFile(written, "");
    EXPECT_EQ("yes 0", loader->answer()) << errors();
    EXPECT_EQ(0, writer->finish());
    EXPECT_EQ(0, loader->finish());
    EXPECT_FALSE(testsupport::exists(dir_.file("settings/tv.ini.bad")));
    EXPECT_FALSE(testsupport::exists(dir_.file("settings/tv.ini.tmp")));
    EXPECT_TRUE(
        onDisk("settings/tv",
               "text = string," +
                   std::string(3000, static_cast<char>('a' + (std::stoi(saves) - 1) % 26))));
}

}  // namespace
