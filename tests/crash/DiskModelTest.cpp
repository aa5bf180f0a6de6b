#include <gtest/gtest.h>
#include <set>
#include <string>
#include <vector>

#include "DiskModel.h"

namespace {

using testsupport::DiskModel;
using testsupport::Files;
using testsupport::secondNameOf;

DiskModel diskAfter(const Files& files, const std::vector<std::string>& calls) {
    DiskModel disk(files);
    for (const std::string& call : calls) {
        const std::string::size_type bytes = call.find(": ");
        disk.apply(
            {call.substr(0, bytes), 3, bytes == std::string::npos ? "" : call.substr(bytes + 2)});
    }
    return disk;
}

std::set<Files> statesAfter(const Files& files, const std::vector<std::string>& calls) {
    return diskAfter(files, calls).afterPowerCut();
}

TEST(DiskModel, WhatIsSafeStays) {
    const Files files = {{"a", "x"}, {"b", ""}};
    EXPECT_EQ(statesAfter(files, {}), std::set<Files>{files});
    EXPECT_EQ(statesAfter(files, {"open a", "read a", "close a", "lock .", "fchown a", "fchmod a"}),
              std::set<Files>{files});
}

TEST(DiskModel, DataIsThereInPartUntilItIsSynced) {
    const auto states = statesAfter({{"a", "old text\n"}}, {"create a", "write a: new\nlines\n"});
    for (const char* const text :
         {"old text\n", "", "new\nlines\n", "new\n", "new\ntext\n", "new\nlines"}) {
        EXPECT_EQ(states.count({{"a", text}}), 1U) << text;
    }
    EXPECT_EQ(states.count({{"a", std::string(10, '\0')}}), 1U);
    EXPECT_EQ(states.count({{"a", "new\n" + std::string(6, '\0')}}), 1U);
    EXPECT_EQ(states.size(), 16U) << "rubbish at each of the four cuts too";
    EXPECT_EQ(statesAfter({{"a", "old"}}, {"create a", "write a: new", "fdatasync a", "close a"}),
              (std::set<Files>{{{"a", "new"}}}));
}

TEST(DiskModel, SyncedDataUnderANewNameMayBeThereOrNotUntilTheDirectoryIsSynced) {
    const std::vector<std::string> calls = {"create a", "write a: text", "fdatasync a"};
    EXPECT_EQ(statesAfter({}, calls), (std::set<Files>{{}, {{"a", "text"}}}));
    std::vector<std::string> synced = calls;
    synced.emplace_back("fsync .");
    EXPECT_EQ(statesAfter({}, synced), (std::set<Files>{{{"a", "text"}}}));
}

TEST(DiskModel, NamesChangeEachForItselfUntilTheDirectoryIsSynced) {
    EXPECT_EQ(statesAfter({{"a", "1"}, {"b", "2"}, {"c", "3"}}, {"rename a b", "unlink c"}),
              (std::set<Files>{{{"a", "1"}, {"b", "2"}, {"c", "3"}},
                               {{"a", "1"}, {"b", "2"}},
                               {{"a", "1"}, {"b", secondNameOf("a")}, {"c", "3"}},
                               {{"a", "1"}, {"b", secondNameOf("a")}},
                               {{"b", "2"}, {"c", "3"}},
                               {{"b", "2"}},
                               {{"b", "1"}, {"c", "3"}},
                               {{"b", "1"}}}));
    EXPECT_EQ(statesAfter({{"a", "1"}, {"b", "2"}}, {"rename a b", "fsync ."}),
              (std::set<Files>{{{"b", "1"}}}));
}

TEST(DiskModel, ASecondNameIsThereOrNotUntilTheDirectoryIsSynced) {
    EXPECT_EQ(
        statesAfter({{"a", "1"}}, {"link a b", "unlink a"}),
        (std::set<Files>{{}, {{"a", "1"}}, {{"b", "1"}}, {{"a", "1"}, {"b", secondNameOf("a")}}}));
    EXPECT_EQ(statesAfter({{"a", "1"}}, {"link a b", "fsync .", "unlink a"}),
              (std::set<Files>{{{"b", "1"}}, {{"a", "1"}, {"b", secondNameOf("a")}}}));
}

TEST(DiskModel, WhatIsWrittenUnderOneNameIsThereUnderTheOther) {
    EXPECT_EQ(
        diskAfter({{"a", "1"}, {"b", secondNameOf("a")}}, {"create b", "write b: 2"}).current(),
        (Files{{"a", "2"}, {"b", secondNameOf("a")}}));
    EXPECT_EQ(statesAfter({{"a", "1"}, {"b", secondNameOf("a")}}, {"unlink a", "fsync ."}),
              (std::set<Files>{{{"b", "1"}}}));
}

TEST(DiskModel, ADeletedFileMayComeBackAsItWasBesideANewOneOfItsName) {
    EXPECT_EQ(statesAfter({{"a", "1"}}, {"unlink a", "create a", "write a: 2", "fdatasync a"}),
              (std::set<Files>{{{"a", "1"}}, {}, {{"a", "2"}}}));
}

TEST(DiskModel, ProcessesSeeEveryCallAtOnce) {
    EXPECT_EQ(diskAfter({{"a", "1"}, {"c", "3"}},
                        {"create b", "write b: tw", "write b: o", "rename b a", "unlink c"})
                  .current(),
              (Files{{"a", "two"}}));
}

}  // namespace
