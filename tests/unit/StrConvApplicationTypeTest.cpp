#include <boost/any.hpp>
#include <boost/smart_ptr/make_shared.hpp>
#include <boost/tokenizer.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <new>
#include <string>
#include <vector>

#include "Qel/Settings/StrConv.h"

namespace {

/// A channel as an application would declare it: a number and a name.
struct Channel {
    int number = 9;
    std::string name = "none";
};

bool operator==(const Channel& a, const Channel& b) {
    return a.number == b.number && a.name == b.name;
}

enum class Mode : int { Eco = 0, Bright = 1 };

}  // namespace

namespace Qel {
namespace Settings {
namespace StrConv {

template <>
std::string toString<Channel>(const Channel& channel) {
    std::string text;
    detail::append(text, channel.number);
    text += ',';
    detail::append(text, channel.name);
    return text;
}

/// Reads the number, then misses the name when there is none; an empty name leaves the one that is
/// there. A text may make it throw.
template <>
bool fromString<Channel>(const std::string& text, Channel& channel) {
    if (text == "no memory") throw std::bad_alloc();
    using Separator = boost::escaped_list_separator<char>;
    const boost::tokenizer<Separator> fields(text, Separator('\\', ',', '"'));
    auto field = fields.begin();
    if (field == fields.end()) return false;
    detail::read(*field, channel.number);
    if (++field == fields.end()) return false;
    if (!field->empty()) channel.name = unescapeString(*field);
    return true;
}

template <>
std::string toString<Mode>(const Mode& mode) {
    return mode == Mode::Eco ? "eco" : "bright";
}

template <>
bool fromString<Mode>(const std::string& text, Mode& mode) {
    if (text.empty() || text == "bright") mode = Mode::Bright;
    if (text == "eco") mode = Mode::Eco;
    return text.empty() || text == "bright" || text == "eco";
}

}  // namespace StrConv
}  // namespace Settings
}  // namespace Qel

namespace {

using namespace Qel::Settings;
using StrConv::arrayFromString;
using StrConv::mapFromString;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

using Channels = std::map<int, Channel>;

TEST(StrConvApplicationType, AValueIsWrittenAndReadThroughItsOwnFunctions) {
    const auto holder = load_x<Channel>("tv/channel", "3,News");
    ASSERT_TRUE(holder);
    EXPECT_EQ(holder->name(), "tv/channel");
    EXPECT_EQ(holder->callback(), nullptr);
    EXPECT_EQ(holder->getValue<Channel>(), (Channel{3, "News"}));
    EXPECT_EQ(save_x<Channel>(holder), "3,News");
    EXPECT_EQ(save_x<Mode>(load_x<Mode>("m", "eco")), "eco");
}

TEST(StrConvApplicationType, ATextThatIsNotReadCompletelyGivesNoSetting) {
    EXPECT_FALSE(load_x<Channel>("c", "3"));
    EXPECT_FALSE(load_x<Mode>("m", "dark"));
}

TEST(StrConvApplicationType, AnExceptionCountsAsNotReadCompletely) {
    Channel channel;
    EXPECT_THROW(StrConv::fromString("3,a\\q", channel), boost::escaped_list_error);
    EXPECT_FALSE(load_x<Channel>("c", "3,a\\q"));
    EXPECT_THAT(arrayFromString<Channel>("1,a;3,a\\q;2,b"),
                ElementsAre(Channel{1, "a"}, Channel{2, "b"}));
    EXPECT_THAT((mapFromString<int, Channel>("1,1,5,3,a\\q,1,2,3,2,b")),
                ElementsAre(Pair(2, Channel{2, "b"})));
}

TEST(StrConvApplicationType, RunningOutOfMemoryIsNoDamagedText) {
    EXPECT_THROW(load_x<Channel>("c", "no memory"), std::bad_alloc);
    EXPECT_THROW(arrayFromString<Channel>("1,a;no memory"), std::bad_alloc);
    EXPECT_THROW((mapFromString<int, Channel>("1,1,9,no memory")), std::bad_alloc);
}

TEST(StrConvApplicationType, TheEmptyTextStandsForTheDefaultValue) {
    const auto holder = load_x<Channel>("c", "");
    ASSERT_TRUE(holder);
    EXPECT_EQ(holder->getValue<Channel>(), (Channel{9, "none"}));
    ASSERT_TRUE(load_x<Mode>("m", ""));
    EXPECT_EQ(load_x<Mode>("m", "")->getValue<Mode>(), Mode::Bright);
}

TEST(StrConvApplicationType, ElementsAreNotEscapedAgain) {
    const std::vector<Channel> channels = {{1, "a;b"}, {2, "c"}};
    EXPECT_EQ(StrConv::arrayToString(channels), "1,\"a;b\";2,c");
    EXPECT_EQ(arrayFromString<Channel>("1,\"a;b\";2,c"), channels);
    const auto holder = load_array_x<Channel>("c", "1,\"a;b\";2,c");
    EXPECT_EQ(holder->getValue<std::vector<Channel>>(), channels);
    EXPECT_EQ(save_array_x<Channel>(holder), "1,\"a;b\";2,c");
}

TEST(StrConvApplicationType, AnIncompleteElementIsLeftOut) {
    EXPECT_THAT(arrayFromString<Channel>("1,a;2;3,c"),
                ElementsAre(Channel{1, "a"}, Channel{3, "c"}));
    EXPECT_THAT(arrayFromString<Channel>(";;2"), IsEmpty());
    EXPECT_THAT(arrayFromString<Channel>(""), IsEmpty());
}

TEST(StrConvApplicationType, EveryElementStartsFromTheDefaultValue) {
    EXPECT_THAT(arrayFromString<Channel>("1,a;2,;3"),
                ElementsAre(Channel{1, "a"}, Channel{2, "none"}));
    EXPECT_THAT((mapFromString<int, Channel>("1,1,3,1,a,1,2,2,2,")),
                ElementsAre(Pair(1, Channel{1, "a"}), Pair(2, Channel{2, "none"})));
}

TEST(StrConvApplicationType, AMapHoldsTheTextsWithTheirLengths) {
    const Channels channels = {{-1, {1, "a,b"}}, {7, {2, "c"}}};
    const std::string text = "2,-1,7,1,\"a,b\",1,7,3,2,c";
    EXPECT_EQ(StrConv::mapToString(channels), text);
    EXPECT_EQ((mapFromString<int, Channel>(text)), channels);
    const auto holder = load_map_x<int, Channel>("c", text);
    EXPECT_EQ(holder->getValue<Channels>(), channels);
    EXPECT_EQ((save_map_x<int, Channel>(holder)), text);
}

TEST(StrConvApplicationType, TheFirstCompleteEntryOfAKeyWins) {
    EXPECT_THAT((mapFromString<int, Channel>("1,5,3,1,a,1,5,3,2,b")),
                ElementsAre(Pair(5, Channel{1, "a"})));
    EXPECT_THAT((mapFromString<int, Channel>("1,5,1,1,1,5,3,2,b,1,5,3,3,c")),
                ElementsAre(Pair(5, Channel{2, "b"})));
}

TEST(StrConvApplicationType, AnIncompleteEntryIsLeftOut) {
    EXPECT_THAT((mapFromString<int, Channel>("1,4,3,1,a,1,5,1,2,1,6,3,3,c")),
                ElementsAre(Pair(4, Channel{1, "a"}), Pair(6, Channel{3, "c"})));
}

TEST(StrConvApplicationType, AnApplicationTypeCanBeAKey) {
    const std::map<Mode, int> map = {{Mode::Eco, 1}, {Mode::Bright, 2}};
    EXPECT_EQ(StrConv::mapToString(map), "3,eco,1,1,6,bright,1,2");
    EXPECT_EQ((mapFromString<Mode, int>("3,eco,1,1,4,dark,1,3,6,bright,1,2")), map);
}

TEST(StrConvApplicationType, SavingAValueOfAnotherTypeThrows) {
    const auto number = boost::make_shared<SettingHolder>("a", boost::any(1));
    EXPECT_THROW(save_x<Channel>(number), boost::bad_any_cast);
    EXPECT_THROW(save_array_x<Channel>(number), boost::bad_any_cast);
    EXPECT_THROW((save_map_x<int, Channel>(number)), boost::bad_any_cast);
}

}  // namespace
