#include <boost/any.hpp>
#include <boost/make_shared.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <vector>

#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/StrConv.h"
#include "RecordFields.h"

namespace {

using namespace Qel::Settings;
using qel::mediabrowser::RecentListDmrItemMetadata;
using qel::mediabrowser::RecentListItem;
using qel::mediabrowser::RecentVideoItem;
using qel::ui::common::SourcePK;
using qel::ui::dvbproviders::DvbSatelliteProviderItem;
using qel::ui::QelNet::IntegratedDevice;
using StrConv::arrayFromString;
using StrConv::mapFromString;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Key;

using Strings = std::vector<std::string>;
using Providers = std::map<int, DvbSatelliteProviderItem>;

template <class Element>
std::string rewrittenArray(const std::string& text) {
    return save_array_x<Element>(load_array_x<Element>("a", text));
}

template <class K, class V>
std::string rewrittenMap(const std::string& text) {
    return save_map_x<K, V>(load_map_x<K, V>("a", text));
}

/// One entry of a map, or a part of one: length, comma, text.
std::string item(const std::string& text) {
    return std::to_string(text.size()) + "," + text;
}

std::string entry(const std::string& key, const std::string& value) {
    return item(key) + "," + item(value);
}

/// The list that a text of four empty strings and `list` holds.
Strings listOf(const std::string& list) {
    QelNetSourceVer2 source;
    source.list = {"old"};
    EXPECT_TRUE(StrConv::fromString(list.empty() ? ",,," : ",,,," + list, source)) << list;
    QelNetSourceVer3 categorised;
    EXPECT_TRUE(StrConv::fromString(",,,,1" + (list.empty() ? list : "," + list), categorised));
    EXPECT_EQ(categorised.list, source.list) << list;
    return source.list;
}

TEST(TypesCollection, ElementsOfAnArrayStandInTheirOrder) {
    const auto videos = arrayFromString<RecentVideoItem>("b,2;a,1;b,2");
    ASSERT_EQ(videos.size(), 3U);
    EXPECT_EQ(videos[0].text, "b");
    EXPECT_EQ(videos[1].text, "a");
    EXPECT_EQ(videos[2].number, 2);
    EXPECT_EQ(rewrittenArray<RecentVideoItem>("b,2;a,1;b,2"), "b,2;a,1;b,2");
}

TEST(TypesCollection, AnElementWithTooFewFieldsIsLeftOutAndTheOthersAreKept) {
    EXPECT_EQ(rewrittenArray<RecentVideoItem>("a,1;b;c,3"), "a,1;c,3");
    EXPECT_EQ(rewrittenArray<RecentVideoItem>(";a,1;;"), "a,1");
    EXPECT_EQ(rewrittenArray<RecentVideoItem>("a,1,more;c,3"), "a,1;c,3");
    EXPECT_THAT(arrayFromString<RecentListItem>("1,2,3,4"), IsEmpty());
}

TEST(TypesCollection, StringsOfAnElementMayHoldWhatSeparatesElements) {
    std::vector<RecentVideoItem> videos;
    for (const char* text : {"a;b", "say \";\"", ";", "\\", "\\;\"", "", "\"", ",;,"}) {
        videos.push_back({text, 1});
    }
    const std::string text = StrConv::arrayToString(videos);
    const auto back = arrayFromString<RecentVideoItem>(text);
    ASSERT_EQ(back.size(), videos.size()) << text;
    for (std::size_t i = 0; i < videos.size(); ++i) {
        EXPECT_EQ(back[i].text, videos[i].text);
    }
}

TEST(TypesCollection, EmptyCollectionsAreEmptyTexts) {
    EXPECT_EQ(rewrittenArray<IntegratedDevice>(""), "");
    EXPECT_EQ((rewrittenMap<int, DvbSatelliteProviderItem>("")), "");
    EXPECT_EQ((rewrittenMap<SourcePK, QelNetSourceVer2>("")), "");
    EXPECT_EQ(load_array_x<IntegratedDevice>("a/name", "")->name(), "a/name");
    EXPECT_THAT((load_map_x<int, int>("a", "")->getValue<std::map<int, int>>()), IsEmpty());
}

TEST(TypesCollection, TheFirstCompleteRecordOfAKeyWins) {
    const std::string first = "1,0,0,0,0,0,0,0";
    const std::string second = "2,0,0,0,0,0,0,0";
    const std::string text = entry("5", "9,9") + "," + entry("5", first) + "," + entry("5", second);
    EXPECT_EQ((rewrittenMap<int, DvbSatelliteProviderItem>(text)), entry("5", first));
    EXPECT_EQ((rewrittenMap<int, DvbSatelliteProviderItem>(entry("05", second) + "," + text)),
              entry("5", second));
}

TEST(TypesCollection, TheLastValueOfAKeyWinsWhereEveryTextIsAValue) {
    EXPECT_EQ((rewrittenMap<int, int>("1,7,1,1,1,7,1,2")), "1,7,1,2");
    EXPECT_EQ((rewrittenMap<int, std::string>("1,7,3,abc,1,7,1,x")), "1,7,1,x");
    EXPECT_EQ((rewrittenMap<std::string, std::string>("1,k,1,a,1,k,1,b")), "1,k,1,b");
}

TEST(TypesCollection, AMapIsReadUpToItsFirstDamagedItem) {
    EXPECT_EQ((rewrittenMap<int, std::string>("1,7,3,abc")), "1,7,3,abc");
    EXPECT_EQ((rewrittenMap<int, std::string>("1,7,3,abc,1,8,9,abc")), "1,7,3,abc");
    EXPECT_EQ((rewrittenMap<int, std::string>("1,7,3,abc;1,8,3,abc")), "1,7,3,abc");
    EXPECT_EQ((rewrittenMap<int, std::string>("1,7")), "");
}

TEST(TypesCollection, KeysComeInNumericOrderNegativeOnesFirst) {
    const std::string value = "0,0,0,0,0,0,0,0";
    Providers providers;
    for (const int key : {10, 9, 0, -1, -10, 2147483647, -2147483647 - 1}) {
        providers[key] = {};
    }
    std::string expected;
    for (const char* key : {"-2147483648", "-10", "-1", "0", "9", "10", "2147483647"}) {
        expected += (expected.empty() ? "" : ",") + entry(key, value);
    }
    EXPECT_EQ(StrConv::mapToString(providers), expected);
    EXPECT_THAT((mapFromString<int, DvbSatelliteProviderItem>(expected)),
                ElementsAre(Key(-2147483647 - 1), Key(-10), Key(-1), Key(0), Key(9), Key(10),
                            Key(2147483647)));
}

TEST(TypesCollection, KeysOfSourcesHaveNoSign) {
    const std::string value = "a,b,c,d,0,";
    const std::string text =
        entry("4294967295", value) + "," + entry("0", value) + "," + entry("-2", value);
    EXPECT_THAT((mapFromString<SourcePK, QelNetSourceVer2>(text)),
                ElementsAre(Key(0U), Key(4294967294U), Key(4294967295U)));
    EXPECT_EQ(
        (rewrittenMap<SourcePK, QelNetSourceVer2>(text)),
        entry("0", value) + "," + entry("4294967294", value) + "," + entry("4294967295", value));
}

TEST(TypesCollection, KeysMayBeAnyStringButTheEmptyOne) {
    std::map<std::string, RecentListDmrItemMetadata> items;
    for (const char* key : {",", "1,a", "\"", "a;b", "\n", " "}) {
        items[key].text11 = std::string("of ") + key;
    }
    const auto back =
        mapFromString<std::string, RecentListDmrItemMetadata>(StrConv::mapToString(items));
    ASSERT_EQ(back.size(), items.size());
    for (const auto& entry : items) {
        EXPECT_EQ(back.at(entry.first).text11, entry.second.text11);
    }
    items[""] = {};
    EXPECT_THAT(
        (mapFromString<std::string, RecentListDmrItemMetadata>(StrConv::mapToString(items))),
        IsEmpty());
}

TEST(TypesCollection, EachVersionOfASourceIsReadByItsOwnMap) {
    const std::string second = entry("3", "a,b,c,d,3,x;y");
    const std::string third = entry("3", "a,b,c,d,SOURCE_CATEGORY_MEDIA,3,x;y");
    EXPECT_EQ((rewrittenMap<SourcePK, QelNetSourceVer2>(second)), second);
    EXPECT_EQ((rewrittenMap<SourcePK, QelNetSourceVer3>(third)), third);
    EXPECT_EQ((rewrittenMap<SourcePK, QelNetSourceVer3>(entry("3", "a,b,c,d"))), "");
}

TEST(TypesCollection, AListIsReadBehindItsLength) {
    EXPECT_THAT(listOf("3,x;y"), ElementsAre("x", "y"));
    EXPECT_THAT(listOf("5,\"3,x\""), ElementsAre("3,x"));
    EXPECT_THAT(listOf("1,0"), ElementsAre("0"));
    EXPECT_THAT(listOf("2,x;y"), ElementsAre("x")) << "what is beyond the length is surplus";
    EXPECT_THAT(listOf("99999999999,x;y"), ElementsAre("x", "y")) << "all that is there";
}

TEST(TypesCollection, AnEmptyListHasManyTexts) {
    for (const char* text : {"", "0,", "0", "0,surplus", "5,"}) {
        EXPECT_THAT(listOf(text), IsEmpty()) << text;
    }
}

TEST(TypesCollection, AListWithoutItsLengthIsReadAsItIs) {
    EXPECT_THAT(listOf("x;y"), ElementsAre("x", "y"));
    EXPECT_THAT(listOf("x,3;y"), ElementsAre("x,3", "y"));
    EXPECT_THAT(listOf("3;y"), ElementsAre("3", "y"));
    EXPECT_THAT(listOf(",x;y"), ElementsAre(",x", "y"));
    EXPECT_THAT(listOf("12"), ElementsAre("12"));
}

TEST(TypesCollection, AListKeepsItsStringsThroughManyCycles) {
    QelNetSourceVer3 source;
    source.text4 = "a,\";";
    source.list = {"x,y", "a;b", "", "\"", "\\", "1,2", "\n"};
    std::string text = StrConv::toString(source);
    for (int cycle = 0; cycle < 3; ++cycle) {
        QelNetSourceVer3 back;
        ASSERT_TRUE(StrConv::fromString(text, back));
        EXPECT_TRUE(testsupport::sameFields(back, source)) << text;
        text = StrConv::toString(back);
    }
}

TEST(TypesCollection, SavingASettingOfAnotherTypeThrows) {
    const auto number = boost::make_shared<SettingHolder>("a", boost::any(1));
    EXPECT_THROW(save_array_x<RecentVideoItem>(number), boost::bad_any_cast);
    EXPECT_THROW((save_map_x<SourcePK, QelNetSourceVer2>(number)), boost::bad_any_cast);
    const auto array = load_array_x<RecentVideoItem>("a", "b,2");
    EXPECT_THROW(save_array_x<RecentListItem>(array), boost::bad_any_cast);
    const auto map = load_map_x<SourcePK, QelNetSourceVer2>("a", "");
    EXPECT_THROW((save_map_x<SourcePK, QelNetSourceVer3>(map)), boost::bad_any_cast);
    EXPECT_THROW((save_map_x<int, QelNetSourceVer2>(map)), boost::bad_any_cast);
}

}  // namespace
