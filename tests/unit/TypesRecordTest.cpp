#include <algorithm>
#include <bitset>
#include <boost/any.hpp>
#include <boost/make_shared.hpp>
#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <locale>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "CommaLocale.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/StrConv.h"
#include "RecordFields.h"

namespace {

using namespace Qel::Settings;
using namespace Qel::PQ;
using namespace qel::ui;
using namespace qel::mediabrowser;
using testsupport::fieldsOf;

using u8 = std::uint8_t;
using Strings = std::vector<std::string>;

/// That the text is read into these fields, of exactly these types, and is what they are written
/// as.
template <class Record, class... T>
void expectFields(const std::string& text, const std::tuple<T...>& expected) {
    Record record;
    static_assert(std::is_same<decltype(fieldsOf(record)), std::tuple<T&...>>::value,
                  "the types of the fields in memory");
    EXPECT_TRUE(StrConv::fromString(text, record)) << text;
    EXPECT_EQ(fieldsOf(record), expected) << text;
    EXPECT_EQ(StrConv::toString(record), text);
}

/// Makes "1" a blank for the process while it lives.
class OnesAreSpace {
public:
    OnesAreSpace() : previous_(std::locale::global(std::locale(std::locale(), new Characters))) {}
    ~OnesAreSpace() { std::locale::global(previous_); }

    OnesAreSpace(const OnesAreSpace&) = delete;
    OnesAreSpace& operator=(const OnesAreSpace&) = delete;

private:
    class Characters : public std::ctype<char> {
    public:
        Characters() : std::ctype<char>(masks()) {}

    private:
        static const mask* masks() {
            static mask all[table_size];
            std::copy(classic_table(), classic_table() + table_size, all);
            all[std::size_t{'1'}] |= space;
            return all;
        }
    };

    std::locale previous_;
};

template <class Record>
Record read(const std::string& text) {
    Record record;
    EXPECT_TRUE(StrConv::fromString(text, record)) << text;
    return record;
}

TEST(TypesRecord, SmallRecordsHoldTheirFieldsInOrder) {
    expectFields<quickonperiods::QuickOnPeriodsData>("-5,6,1010011",
                                                     std::make_tuple(-5, 6, std::bitset<7>(0x53)));
    expectFields<sound::ZuvSpeakerInfo>("-7,left", std::make_tuple(-7, std::string("left")));
    expectFields<DisplaySetup>(
        "10,20,30,40,PQ_CINEMASCOPE_ENABLED",
        std::make_tuple(u8{10}, u8{20}, u8{30}, u8{40}, PQ_CINEMASCOPE_ENABLED));
    expectFields<AdvancedSetup>(
        "PQ_JUDDER_CANCELLATION_MODE_FULL,PQ_ROOM_ADAPTION_BASIC,PQ_POWER_SAVING_OFF",
        std::make_tuple(PQ_JUDDER_CANCELLATION_MODE_FULL, PQ_ROOM_ADAPTION_BASIC,
                        PQ_POWER_SAVING_OFF));
    expectFields<tuning::TunerStatus>("true,false,false,true",
                                      std::make_tuple(true, false, false, true));
    expectFields<tuning::TunerStatus>("false,true,false,true",
                                      std::make_tuple(false, true, false, true));
    expectFields<dvbproviders::DvbSatelliteProviderItem>(
        "1,-2,3,-4,5,-6,2147483647,-2147483648",
        std::make_tuple(1, -2, 3, -4, 5, -6, 2147483647, -2147483647 - 1));
    expectFields<QelNet::IntegratedDevice>("id,name,BORROW_SOURCES",
                                           std::make_tuple(std::string("id"), std::string("name"),
                                                           QelNet::ProductRole::BORROW_SOURCES));
}

TEST(TypesRecord, RecordsOfTextsHoldTheirFieldsInOrder) {
    using s = std::string;
    expectFields<RecentListItem>("-1,a,b,c,true",
                                 std::make_tuple(-1, s("a"), s("b"), s("c"), true));
    expectFields<RecentVideoItem>("film,12", std::make_tuple(s("film"), 12));
    expectFields<RecentListDmrItemMetadata>(
        "4294967295,a,b,c,d,e,f,g,h,i,j,k",
        std::make_tuple(4294967295U, s("a"), s("b"), s("c"), s("d"), s("e"), s("f"), s("g"), s("h"),
                        s("i"), s("j"), s("k")));
    expectFields<QelNetSource>("4294967295,a,b,c,d,e", std::make_tuple(4294967295U, s("a"), s("b"),
                                                                       s("c"), s("d"), s("e")));
    expectFields<QelNetSourceVer2>(
        "a,b,c,d,3,x;y", std::make_tuple(s("a"), s("b"), s("c"), s("d"), Strings{"x", "y"}));
    expectFields<QelNetSourceVer3>(
        "a,b,c,d,SOURCE_CATEGORY_MUSIC,3,x;y",
        std::make_tuple(s("a"), s("b"), s("c"), s("d"), QelNet::SOURCE_CATEGORY_MUSIC,
                        Strings{"x", "y"}));
    expectFields<NetRadioService::UserListItem>(
        "9223372036854775807,name,1,-2,-9223372036854775808",
        std::make_tuple(9223372036854775807LL, s("name"), 1LL, -2LL, -9223372036854775807LL - 1));
}

TEST(TypesRecord, PicturesOfASourceHoldTheirFieldsInOrder) {
    expectFields<SourceSetup>(
        "PQ_PROFILE_MOVIE,PQ_FORMAT_HANDLING_POLICY_FIXED_A,1,2,3,4,5,6,7,8,9,255,PQ_CTI_ENABLED",
        std::make_tuple(PQ_PROFILE_MOVIE, PQ_FORMAT_HANDLING_POLICY_FIXED_A, u8{1}, u8{2}, u8{3},
                        u8{4}, u8{5}, u8{6}, u8{7}, u8{8}, u8{9}, u8{255}, PQ_CTI_ENABLED));
}

TEST(TypesRecord, PropertiesOfASourceHoldTheirTwentyTwoFieldsInOrder) {
    using s = std::string;
    expectFields<common::source_properties_t>(
        "1,-2,qelnet,four,five,true,false,PQ_PROFILE_MONITOR,"
        "PQ_FORMAT_HANDLING_POLICY_CINEMASCOPE_B,10,-11,true,false,14,-15,false,true,18,true,-20,"
        "false,lower_backlight",
        std::make_tuple(1U, -2, base::source_types::qelnet, s("four"), s("five"), true, false,
                        PQ_PROFILE_MONITOR, PQ_FORMAT_HANDLING_POLICY_CINEMASCOPE_B, 10, -11, true,
                        false, 14, -15, false, true, 18, true, -20, false,
                        base::picture_dimming::lower_backlight));
}

TEST(TypesRecord, TheFieldsBeforeAMissingOneAreFilledAllTheSame) {
    DisplaySetup setup;
    setup.number4 = 7;
    EXPECT_FALSE(StrConv::fromString("10,20,30", setup));
    EXPECT_EQ(fieldsOf(setup), std::make_tuple(10, 20, 30, 7, PQ_CINEMASCOPE_INVALID));
    EXPECT_FALSE(StrConv::fromString("", setup));
    EXPECT_EQ(fieldsOf(setup), std::make_tuple(10, 20, 30, 7, PQ_CINEMASCOPE_INVALID));
    QelNetSourceVer3 source;
    source.list = {"old"};
    EXPECT_FALSE(StrConv::fromString("a,b,c,d", source));
    EXPECT_EQ(source.text4, "d");
    EXPECT_EQ(source.list, Strings{"old"}) << "it comes behind the field that is missing";
}

TEST(TypesRecord, AnEmptyFieldBehindTheLastCommaIsAField) {
    EXPECT_EQ(read<DisplaySetup>("10,20,30,40,").cinemaScope, PQ_CINEMASCOPE_INVALID);
    EXPECT_EQ(read<sound::ZuvSpeakerInfo>("0,").text, "");
    EXPECT_EQ(read<RecentVideoItem>(",").text, "");
    EXPECT_FALSE(load_x<sound::ZuvSpeakerInfo>("a", "0"));
}

TEST(TypesRecord, WhatFollowsTheLastFieldIsNotLookedAt) {
    for (const char* surplus : {",50", ",", ",\\", ",\\q", ",\"", ",\"\\"}) {
        auto setup = read<DisplaySetup>(std::string("1,2,3,4,PQ_CINEMASCOPE_DISABLED") + surplus);
        EXPECT_EQ(fieldsOf(setup), std::make_tuple(1, 2, 3, 4, PQ_CINEMASCOPE_DISABLED)) << surplus;
    }
}

TEST(TypesRecord, FieldsThatTheTextDoesNotHoldAreLeftAlone) {
    SourceSetup setup;
    setup.unsaved1 = 11;
    setup.unsaved2 = 12;
    const std::string text = StrConv::toString(SourceSetup{});
    EXPECT_EQ(text,
              "PQ_PROFILE_INVALID,PQ_FORMAT_HANDLING_POLICY_INVALID,0,0,0,0,0,0,0,0,0,0,"
              "PQ_CTI_INVALID");
    EXPECT_EQ(StrConv::toString(setup), text);
    EXPECT_TRUE(StrConv::fromString(text, setup));
    EXPECT_EQ(setup.unsaved1, 11U);
    EXPECT_EQ(setup.unsaved2, 12U);

    common::source_properties_t properties;
    properties.unsaved = 13;
    EXPECT_EQ(StrConv::toString(properties), StrConv::toString(common::source_properties_t{}));
    EXPECT_TRUE(StrConv::fromString(StrConv::toString(properties), properties));
    EXPECT_EQ(properties.unsaved, 13);
}

TEST(TypesRecord, TheDefaultsStandWhereNoTextHasSpoken) {
    const SourceSetup setup;
    EXPECT_EQ(setup.unsaved1, 0U);
    EXPECT_EQ(setup.unsaved2, 0U);
    EXPECT_EQ(load_x<common::source_properties_t>("a", "")
                  ->getValue<common::source_properties_t>()
                  .unsaved,
              0);
    EXPECT_EQ(StrConv::toString(QelNetSourceVer2{}), ",,,,0,");
    EXPECT_EQ(StrConv::toString(QelNetSourceVer3{}), ",,,,SOURCE_CATEGORY_TV,0,");
}

TEST(TypesRecord, NumbersAreReadAsFarAsTheyGo) {
    auto setup = read<DisplaySetup>("x,-,300,-1,3abc");
    EXPECT_EQ(fieldsOf(setup), std::make_tuple(0, 0, 44, 255, static_cast<CinemaScopeSetting>(3)));
    auto provider = read<dvbproviders::DvbSatelliteProviderItem>(
        "99999999999,-99999999999, 5,+6,0x7,8 dB,,\"9\"");
    EXPECT_EQ(fieldsOf(provider), std::make_tuple(2147483647, -2147483647 - 1, 5, 6, 0, 8, 0, 9));
    EXPECT_EQ(read<QelNetSource>("-1,,,,,").number, 4294967295U);
    EXPECT_EQ(read<QelNetSource>("4294967296,,,,,").number, 4294967295U);
    EXPECT_EQ(read<NetRadioService::UserListItem>("9223372036854775808,,0,0,0").number1,
              9223372036854775807LL);
}

TEST(TypesRecord, AFlagIsTrueInAnyLetterCaseAndForAnyNumberButZero) {
    auto upper = read<tuning::TunerStatus>("TRUE,True,tRue,true");
    EXPECT_EQ(fieldsOf(upper), std::make_tuple(true, true, true, true));
    auto numbers = read<tuning::TunerStatus>("2,-1,0,1x");
    EXPECT_EQ(fieldsOf(numbers), std::make_tuple(true, true, false, true));
    auto others = read<tuning::TunerStatus>("yes,,truely,on");
    EXPECT_EQ(fieldsOf(others), std::make_tuple(false, false, false, false));
}

TEST(TypesRecord, AnUnknownEnumeratorGivesTheValueOfItsEmptyText) {
    for (const std::string text : {"nonsense", "", "-1", " 1", "pq_profile_movie"}) {
        std::string fields = "0,0," + text + ",,,0,0," + text + "," + text;
        fields += ",0,0,0,0,0,0,0,0,0,0,0,0," + text;
        const auto properties = read<common::source_properties_t>(fields);
        EXPECT_EQ(properties.kind, base::source_types::empty) << text;
        EXPECT_EQ(properties.pictureModeProfile, PQ_PROFILE_INVALID) << text;
        EXPECT_EQ(properties.formatHandlingPolicy, PQ_FORMAT_HANDLING_POLICY_INVALID) << text;
        EXPECT_EQ(properties.pictureDimming, base::picture_dimming::never) << text;
        EXPECT_TRUE(testsupport::sameFields(read<AdvancedSetup>(text + "," + text + "," + text),
                                            AdvancedSetup{}))
            << text;
        EXPECT_EQ(read<QelNetSourceVer3>(",,,," + text + ",0,").category,
                  QelNet::SOURCE_CATEGORY_TV)
            << text;
        EXPECT_EQ(read<QelNet::IntegratedDevice>(",," + text).role,
                  QelNet::ProductRole::INTEGRATED_MASTER)
            << "not the role of a record that no text has filled: " << text;
    }
}

TEST(TypesRecord, ANumberOfAnEnumeratorIsKeptWithoutAName) {
    expectFields<AdvancedSetup>("77,88,99", std::make_tuple(static_cast<JudderCancellationMode>(77),
                                                            static_cast<RoomAdaptionsSetting>(88),
                                                            static_cast<PowerSavingMode>(99)));
    EXPECT_EQ(read<AdvancedSetup>("2,3,1").roomAdaption, PQ_ROOM_ADAPTION_BASIC);
    AdvancedSetup negative;
    negative.powerSaving = static_cast<PowerSavingMode>(-1);
    EXPECT_EQ(StrConv::toString(negative),
              "PQ_JUDDER_CANCELLATION_MODE_INVALID,PQ_ROOM_ADAPTION_INVALID,-1");
}

TEST(TypesRecord, SevenFlagsAreWrittenHighestFirst) {
    quickonperiods::QuickOnPeriodsData data;
    data.flags.set(6);
    EXPECT_EQ(StrConv::toString(data), "0,0,1000000");
    data.flags = 1;
    EXPECT_EQ(StrConv::toString(data), "0,0,0000001");
}

TEST(TypesRecord, SevenFlagsAreReadAsFarAsTheyGo) {
    const auto flags = [](const std::string& field) {
        return read<quickonperiods::QuickOnPeriodsData>("0,0," + field).flags.to_string();
    };
    EXPECT_EQ(flags("101"), "0000101");
    EXPECT_EQ(flags("111111100"), "1111111");
    EXPECT_EQ(flags("  11"), "0000011");
    EXPECT_EQ(flags(" \t\n\v\f\r1010101"), "1010101");
    EXPECT_EQ(flags("1 1"), "0000001");
    EXPECT_EQ(flags("  "), "0000000");
    EXPECT_EQ(flags("10x1"), "0000010");
    EXPECT_EQ(flags(""), "0000000");
    EXPECT_EQ(flags("x"), "0000000");
    quickonperiods::QuickOnPeriodsData data;
    data.flags = 5;
    EXPECT_TRUE(StrConv::fromString("0,0,x", data));
    EXPECT_EQ(data.flags, 5U) << "what is no set of flags changes none";
}

TEST(TypesRecord, TheProcessesLocaleChangesNoText) {
    const testsupport::CommaLocale commas;
    const OnesAreSpace ones;
    expectFields<AdvancedSetup>(
        "1234567,PQ_ROOM_ADAPTION_BASIC,7654",
        std::make_tuple(static_cast<JudderCancellationMode>(1234567), PQ_ROOM_ADAPTION_BASIC,
                        static_cast<PowerSavingMode>(7654)));
    expectFields<quickonperiods::QuickOnPeriodsData>(
        "-1234567,1234567,1011100", std::make_tuple(-1234567, 1234567, std::bitset<7>(0x5C)));
    expectFields<tuning::TunerStatus>("true,false,true,false",
                                      std::make_tuple(true, false, true, false));
    QelNetSourceVer2 source;
    source.list = {std::string(1234, 'x')};
    const std::string text = StrConv::toString(source);
    EXPECT_EQ(text, ",,,,1234," + source.list[0]);
    EXPECT_EQ(read<QelNetSourceVer2>(text).list, source.list);
}

TEST(TypesRecord, AStringComesBackWhateverItHolds) {
    const Strings texts = {"a,b",  "x;y",   "say \"hi\"",  "\"hi\"",      "C:\\new", "\\",
                           "\\\\", "a\tb",  "one\ntwo\r",  "\a\b\v\f\\t", ",",       "\"",
                           "\",",  "\\\",", "\\n\\0\\\\q", " blanks ",    "\\,",     "1,2;\"3\\"};
    for (const std::string& text : texts) {
        RecentListItem item;
        item.text1 = text;
        item.text3 = text + '\0' + text;
        auto back = read<RecentListItem>(StrConv::toString(item));
        EXPECT_EQ(fieldsOf(back), fieldsOf(item)) << text;
        RecentVideoItem video;
        video.text = text;
        EXPECT_EQ(read<RecentVideoItem>(StrConv::toString(video)).text, text);
        sound::ZuvSpeakerInfo speaker;
        speaker.text = text;
        EXPECT_EQ(read<sound::ZuvSpeakerInfo>(StrConv::toString(speaker)).text, text);
    }
    EXPECT_EQ(StrConv::toString(RecentVideoItem{"a,b", 1}), "\"a,b\",1");
}

TEST(TypesRecord, ABackslashOfAHandWrittenTextIsNoReasonToRefuseIt) {
    EXPECT_EQ(read<RecentVideoItem>("C:\\quiet,1").text, "C:\\quiet");
    EXPECT_EQ(read<RecentVideoItem>("a\\,b,1").text, "a,b");
    EXPECT_EQ(read<sound::ZuvSpeakerInfo>("1,end\\").text, "end");
    EXPECT_EQ(read<sound::ZuvSpeakerInfo>("1,\"open").text, "open");
    EXPECT_EQ(read<sound::ZuvSpeakerInfo>("1,say \"a,b\" twice").text, "say a,b twice");
}

TEST(TypesRecord, SavingASettingOfAnotherTypeThrows) {
    const auto number = boost::make_shared<SettingHolder>("a", boost::any(1));
    EXPECT_THROW(save_x<DisplaySetup>(number), boost::bad_any_cast);
    EXPECT_THROW(save_x<AdvancedSetup>(boost::make_shared<SettingHolder>("a", DisplaySetup{})),
                 boost::bad_any_cast);
}

}  // namespace
