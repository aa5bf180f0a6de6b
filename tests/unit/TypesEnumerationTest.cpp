// Applications and files hold the names, and the numbers too: none of them may ever move.

#include <boost/any.hpp>
#include <boost/core/demangle.hpp>
#include <cctype>
#include <filesystem>
#include <gtest/gtest.h>
#include <initializer_list>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "EnumerationTypes.h"
#include "Files.h"
#include "LogCapture.h"
#include "Qel/Settings/SettingFactory.h"
#include "types/ApplicationTypes.h"

namespace {

using namespace Qel::Settings;
using testsupport::EnumerationType;

template <class E>
constexpr bool countUpFrom(int first, std::initializer_list<E> enumerators) {
    for (const E enumerator : enumerators) {
        if (enumerator != first++) {
            return false;
        }
    }
    return true;
}

static_assert(countUpFrom(0, {Qel::PQ::PQ_PROFILE_INVALID, Qel::PQ::PQ_PROFILE_ADAPTIVE,
                              Qel::PQ::PQ_PROFILE_MOVIE, Qel::PQ::PQ_PROFILE_GAME_OR_PC,
                              Qel::PQ::PQ_PROFILE_MONITOR}),
              "PictureModeProfile");
static_assert(countUpFrom(0, {Qel::PQ::PQ_JUDDER_CANCELLATION_MODE_INVALID,
                              Qel::PQ::PQ_JUDDER_CANCELLATION_MODE_ADAPTIVE,
                              Qel::PQ::PQ_JUDDER_CANCELLATION_MODE_FULL,
                              Qel::PQ::PQ_JUDDER_CANCELLATION_MODE_OFF}),
              "JudderCancellationMode");
static_assert(countUpFrom(0, {Qel::PQ::PQ_POWER_SAVING_INVALID, Qel::PQ::PQ_POWER_SAVING_OFF,
                              Qel::PQ::PQ_POWER_SAVING_MEDIUM, Qel::PQ::PQ_POWER_SAVING_HIGH}),
              "PowerSavingMode");
static_assert(countUpFrom(0, {Qel::PQ::PQ_PLASMA_DRIVE_INVALID, Qel::PQ::PQ_PLASMA_DRIVE_NORMAL,
                              Qel::PQ::PQ_PLASMA_DRIVE_DYNAMIC}),
              "PlasmaDrive");
static_assert(countUpFrom(0, {Qel::PQ::PQ_SOURCE_CONNECTION_TYPE_INVALID,
                              Qel::PQ::PQ_SOURCE_CONNECTION_TYPE_HDMI,
                              Qel::PQ::PQ_SOURCE_CONNECTION_TYPE_CVBS,
                              Qel::PQ::PQ_SOURCE_CONNECTION_TYPE_SVIDEO,
                              Qel::PQ::PQ_SOURCE_CONNECTION_TYPE_RGB,
                              Qel::PQ::PQ_SOURCE_CONNECTION_TYPE_COMPONENT,
                              Qel::PQ::PQ_SOURCE_CONNECTION_TYPE_INTERNAL}),
              "SourceConnectionType");
static_assert(countUpFrom(0, {Qel::PQ::PQ_SOURCE_DEVICE_TYPE_INVALID,
                              Qel::PQ::PQ_SOURCE_DEVICE_TYPE_UNCLASSIFIED,
                              Qel::PQ::PQ_SOURCE_DEVICE_TYPE_DVD,
                              Qel::PQ::PQ_SOURCE_DEVICE_TYPE_CAMCORDER,
                              Qel::PQ::PQ_SOURCE_DEVICE_TYPE_BROADCAST,
                              Qel::PQ::PQ_SOURCE_DEVICE_TYPE_BLU_RAY,
                              Qel::PQ::PQ_SOURCE_DEVICE_TYPE_MEDIA_PLAYER}),
              "SourceDeviceType");
static_assert(countUpFrom(0, {Qel::PQ::PQ_FORMAT_HANDLING_POLICY_INVALID,
                              Qel::PQ::PQ_FORMAT_HANDLING_POLICY_AUTO,
                              Qel::PQ::PQ_FORMAT_HANDLING_POLICY_AUTO_FULLSCREEN,
                              Qel::PQ::PQ_FORMAT_HANDLING_POLICY_COMPLIANCE,
                              Qel::PQ::PQ_FORMAT_HANDLING_POLICY_FIXED_A,
                              Qel::PQ::PQ_FORMAT_HANDLING_POLICY_FIXED_B,
                              Qel::PQ::PQ_FORMAT_HANDLING_POLICY_FIXED_C,
                              Qel::PQ::PQ_FORMAT_HANDLING_POLICY_FIXED_D,
                              Qel::PQ::PQ_FORMAT_HANDLING_POLICY_CINEMASCOPE_A,
                              Qel::PQ::PQ_FORMAT_HANDLING_POLICY_CINEMASCOPE_B}),
              "FormatHandlingPolicy");
static_assert(countUpFrom(0, {Qel::PQ::PQ_CINEMASCOPE_INVALID, Qel::PQ::PQ_CINEMASCOPE_DISABLED,
                              Qel::PQ::PQ_CINEMASCOPE_ENABLED}),
              "CinemaScopeSetting");
static_assert(countUpFrom(0, {Qel::PQ::PQ_CTI_INVALID, Qel::PQ::PQ_CTI_DISABLED,
                              Qel::PQ::PQ_CTI_ENABLED}),
              "ColorTransientImprovementSetting");
static_assert(countUpFrom(0, {Qel::PQ::PQ_ROOM_ADAPTION_INVALID, Qel::PQ::PQ_ROOM_ADAPTION_DISABLED,
                              Qel::PQ::PQ_ROOM_ADAPTION_ENABLED, Qel::PQ::PQ_ROOM_ADAPTION_BASIC}),
              "RoomAdaptionsSetting");
static_assert(countUpFrom(0, {qel::dvr::DWUS_UNSPECIFIED, qel::dvr::DWUS_RECORDING,
                              qel::dvr::DWUS_EPG_UPDATE_INFO}),
              "DvrWakeUpStates");
static_assert(countUpFrom(0, {qel::dvr::DWUS_LED_OFF, qel::dvr::DWUS_LED_ON}), "DvrLedState");
static_assert(countUpFrom(0, {Qel::ProductConfig::DEFAULT_SERVER, Qel::ProductConfig::LIVE_SERVER,
                              Qel::ProductConfig::STAGING_SERVER, Qel::ProductConfig::TEST_SERVER,
                              Qel::ProductConfig::QA_SERVER, Qel::ProductConfig::DEV_SERVER}),
              "QelportalServerType");
static_assert(countUpFrom(0, {qel::ui::tuning::SEARCH_FILTER_ALL,
                              qel::ui::tuning::SEARCH_FILTER_FREE}),
              "SearchFilterEnum");
static_assert(countUpFrom(0, {qel::ui::tuning::CABLE_SEARCH_MODE_HOMING,
                              qel::ui::tuning::CABLE_SEARCH_MODE_FULL,
                              qel::ui::tuning::CABLE_SEARCH_MODE_SINGLE_FREQUENCY,
                              qel::ui::tuning::CABLE_SEARCH_MODE_OP_MAINTAINER}),
              "CableSearchModeEnum");
static_assert(countUpFrom(0, {qel::snd::NO_ROLE,
                              qel::snd::CENTRE_FRONT,
                              qel::snd::LEFT_FRONT,
                              qel::snd::RIGHT_FRONT,
                              qel::snd::LEFT_WIDE,
                              qel::snd::RIGHT_WIDE,
                              qel::snd::LEFT_SURROUND,
                              qel::snd::RIGHT_SURROUND,
                              qel::snd::LEFT_BACK,
                              qel::snd::RIGHT_BACK,
                              qel::snd::CENTRE_BACK,
                              qel::snd::CENTRE_FRONT_HEIGHT,
                              qel::snd::LEFT_FRONT_HEIGHT,
                              qel::snd::RIGHT_FRONT_HEIGHT,
                              qel::snd::LEFT_SURROUND_HEIGHT,
                              qel::snd::RIGHT_SURROUND_HEIGHT,
                              qel::snd::CEILING,
                              qel::snd::SUB,
                              qel::snd::SUB_FRONT,
                              qel::snd::SUB_REAR,
                              qel::snd::SUB_LEFT,
                              qel::snd::SUB_RIGHT,
                              qel::snd::MIX_LEFT,
                              qel::snd::MIX_RIGHT,
                              qel::snd::MAX_NUMBER_OF_ROLES}),
              "SpeakerRoleEnum");
static_assert(countUpFrom(0, {qel::snd::PASSIVE, qel::snd::ACTIVE}), "ActPas");
static_assert(countUpFrom(0, {qel::snd::DIRECT, qel::snd::UPSCAPE, qel::snd::DOWNMIX}), "Upmix");
static_assert(countUpFrom(0, {qel::snd::COMPRESSION_OFF, qel::snd::COMPRESSION_MEDIUM,
                              qel::snd::COMPRESSION_MAXIMUM}),
              "Compression");
static_assert(countUpFrom(0, {qel::snd::NO, qel::snd::YES}), "YesNo");
static_assert(countUpFrom(0,
                          {ExternalSourceControl::STB, ExternalSourceControl::DVD,
                           ExternalSourceControl::HOME_MEDIA, ExternalSourceControl::SCREEN,
                           ExternalSourceControl::BLURAY, ExternalSourceControl::VCR,
                           ExternalSourceControl::PROJECTOR, ExternalSourceControl::UNCLASSIFIED,
                           ExternalSourceControl::GAME_CONSOLE, ExternalSourceControl::PC,
                           ExternalSourceControl::HDMI_MATRIX, ExternalSourceControl::HDMI_SWITCH}),
              "SourceType");
static_assert(qel::ui::displayduration::DISPLAY_DURATION_2_SECOND == 2000, "DisplayDurationEnum");
static_assert(qel::ui::displayduration::DISPLAY_DURATION_4_SECOND == 4000, "DisplayDurationEnum");
static_assert(qel::ui::displayduration::DISPLAY_DURATION_8_SECOND == 8000, "DisplayDurationEnum");
static_assert(
    countUpFrom(
        0, {qel::ui::base::source_types::empty,      qel::ui::base::source_types::tv,
            qel::ui::base::source_types::undefined0, qel::ui::base::source_types::undefined1,
            qel::ui::base::source_types::ttx,        qel::ui::base::source_types::radio,
            qel::ui::base::source_types::undefined2, qel::ui::base::source_types::avcap,
            qel::ui::base::source_types::undefined3, qel::ui::base::source_types::undefined4,
            qel::ui::base::source_types::qelnet,     qel::ui::base::source_types::media,
            qel::ui::base::source_types::undefined5, qel::ui::base::source_types::undefined6,
            qel::ui::base::source_types::undefined7, qel::ui::base::source_types::nettv,
            qel::ui::base::source_types::matrix,     qel::ui::base::source_types::avcap_matrix,
            qel::ui::base::source_types::netradio,   qel::ui::base::source_types::youtube,
            qel::ui::base::source_types::spotify,    qel::ui::base::source_types::qelnetjoin,
            qel::ui::base::source_types::deezer,     qel::ui::base::source_types::ciapplication,
            qel::ui::base::source_types::end}),
    "kind");
static_assert(countUpFrom(0, {qel::ui::base::picture_dimming::timeout,
                              qel::ui::base::picture_dimming::always,
                              qel::ui::base::picture_dimming::never,
                              qel::ui::base::picture_dimming::lower_backlight}),
              "option");
static_assert(countUpFrom(0, {Qel::ProductConfig::BUILT_IN_PUC_SOURCE_NONE,
                              Qel::ProductConfig::BUILT_IN_PUC_SOURCE_ATSC,
                              Qel::ProductConfig::BUILT_IN_PUC_SOURCE_DTMB}),
              "BuiltInPucSourceModuleTypeEnum");
static_assert(countUpFrom(0, {qel::ui::QelNet::ProductRole::INTEGRATED_MASTER,
                              qel::ui::QelNet::ProductRole::INTEGRATED_SLAVE,
                              qel::ui::QelNet::ProductRole::STANDALONE,
                              qel::ui::QelNet::ProductRole::BORROW_SOURCES}),
              "Role");
static_assert(countUpFrom(1, {qel::ui::QelNet::SOURCE_CATEGORY_TV,
                              qel::ui::QelNet::SOURCE_CATEGORY_RADIO,
                              qel::ui::QelNet::SOURCE_CATEGORY_MUSIC,
                              qel::ui::QelNet::SOURCE_CATEGORY_MEDIA}),
              "SourceCategory");

using Rows = std::vector<std::pair<int, std::string>>;

/// What is between the braces of an enumeration: "NAME = NUMBER", with commas.
Rows parsedRows(const std::string& declaration) {
    Rows rows;
    std::istringstream parts(declaration);
    for (std::string part; std::getline(parts, part, ',');) {
        std::istringstream words(part);
        std::string name;
        std::string equals;
        int value = 0;
        if (words >> name) {
            EXPECT_TRUE(words >> equals >> value) << part;
            rows.emplace_back(value, name);
        }
    }
    return rows;
}

/// All enumerations of the headers, by their names without namespaces.
std::map<std::string, Rows> declaredEnumerations() {
    static const std::string kStart = "\nenum ";
    std::map<std::string, Rows> found;
    for (const auto& header :
         std::filesystem::directory_iterator(T8_TEST_DATA_DIR "/../../include/Qel/Types")) {
        const std::string text = testsupport::readFile(header.path());
        for (std::size_t at = text.find(kStart); at != std::string::npos;
             at = text.find(kStart, at + 1)) {
            const std::size_t name = at + kStart.size();
            const std::size_t rows = text.find('{', name) + 1;
            found[text.substr(name, text.find(' ', name) - name)] =
                parsedRows(text.substr(rows, text.find('}', rows) - rows));
        }
    }
    return found;
}

Rows tableOf(const EnumerationType& type) {
    Rows rows;
    for (const TypeDescription::Enumerator& row : type.describe().enumerators) {
        rows.emplace_back(row.value, row.text);
    }
    return rows;
}

/// An enumeration as the test's data has it.
struct Table {
    std::string name;
    int emptyText;
    Rows rows;
};

std::vector<Table> tables() {
    std::vector<Table> found;
    std::istringstream data(testsupport::readFile(T8_TEST_DATA_DIR "/types/enumerations.txt"));
    for (std::string line; std::getline(data, line);) {
        std::istringstream words(line);
        if (line.front() == ' ') {
            found.back().rows.emplace_back();
            words >> found.back().rows.back().first >> found.back().rows.back().second;
        } else if (line.front() != '#') {
            found.push_back({});
            words >> found.back().name >> found.back().emptyText;
        }
        if (words.fail()) {
            throw std::runtime_error("enumerations.txt: " + line);
        }
    }
    return found;
}

/// Calls `check` with each enumeration's type and table.
template <class Check>
void forEachEnumeration(Check check) {
    const std::vector<EnumerationType> types = testsupport::enumerationTypes();
    const std::vector<Table> expected = tables();
    ASSERT_EQ(expected.size(), types.size());
    for (std::size_t i = 0; i < types.size(); ++i) {
        SCOPED_TRACE(types[i].name);
        ASSERT_EQ(expected[i].name, types[i].name);
        check(types[i], expected[i]);
    }
}

/// The value that the registered load function makes of a text; -99 when it makes no setting.
int loaded(const EnumerationType& type, const std::string& text) {
    const auto holder = type.load("a/name", text);
    if (!holder) {
        return -99;
    }
    EXPECT_EQ(holder->name(), "a/name");
    EXPECT_EQ(holder->callback(), nullptr);
    return type.valueOf(holder);
}

std::string saved(const EnumerationType& type, int value) {
    return type.save(type.setting(value));
}

TEST(TypesEnumeration, EveryEnumeratorIsReadByItsName) {
    forEachEnumeration([](const EnumerationType& type, const Table& table) {
        EXPECT_EQ(table.rows, tableOf(type));
        for (const auto& row : table.rows) {
            EXPECT_EQ(loaded(type, row.second), row.first) << row.second;
            int value = 0;
            EXPECT_TRUE(type.fromString(row.second, value)) << row.second;
            EXPECT_EQ(value, row.first) << row.second;
        }
    });
}

TEST(TypesEnumeration, EveryEnumeratorIsWrittenAsItsName) {
    forEachEnumeration([](const EnumerationType& type, const Table& table) {
        for (const auto& row : table.rows) {
            EXPECT_EQ(saved(type, row.first), row.second);
        }
    });
}

TEST(TypesEnumeration, EveryEnumeratorIsReadByItsNumberAndWrittenAsItsName) {
    forEachEnumeration([](const EnumerationType& type, const Table& table) {
        for (const auto& row : table.rows) {
            const std::string number = std::to_string(row.first);
            EXPECT_EQ(type.save(type.load("a", number)), row.second);
            EXPECT_EQ(loaded(type, number + "abc"), row.first);
            EXPECT_EQ(loaded(type, "000" + number), row.first);
        }
    });
}

TEST(TypesEnumeration, AnEmptyTextStandsForOneValue) {
    forEachEnumeration([](const EnumerationType& type, const Table& table) {
        EXPECT_EQ(loaded(type, ""), table.emptyText);
        int value = 0;
        EXPECT_FALSE(type.fromString("", value)) << "only the load function takes it for a value";
        EXPECT_EQ(value, table.emptyText);
    });
}

TEST(TypesEnumeration, ANumberWithoutANameIsKept) {
    forEachEnumeration([](const EnumerationType& type, const Table&) {
        for (const char* number : {"99", "3000", "2147483647"}) {
            EXPECT_EQ(type.save(type.load("a", number)), number);
        }
        EXPECT_EQ(saved(type, 99), "99");
        EXPECT_EQ(loaded(type, "99999999999"), 2147483647);
        EXPECT_EQ(loaded(type, "0x2"), 0);
    });
}

TEST(TypesEnumeration, ANegativeNumberIsWrittenAndNotReadAgain) {
    forEachEnumeration([](const EnumerationType& type, const Table&) {
        EXPECT_EQ(saved(type, -1), "-1");
        EXPECT_EQ(saved(type, -2147483647 - 1), "-2147483648");
        EXPECT_FALSE(type.load("a", "-1"));
    });
}

TEST(TypesEnumeration, AnyOtherTextMakesNoSettingAndNoMessage) {
    const testsupport::LogCapture log(0);
    forEachEnumeration([](const EnumerationType& type, const Table& table) {
        const std::string& name = table.rows.front().second;
        const std::string texts[] = {
            " 1",       "+1",       "x",        "\x01",      "\"" + name + "\"",
            " " + name, name + " ", name + "X", name + ",1", name + '\0'};
        for (const std::string& text : texts) {
            EXPECT_FALSE(type.load("a", text)) << text;
            int value = 0;
            EXPECT_FALSE(type.fromString(text, value)) << text;
            EXPECT_EQ(value, table.emptyText) << text;
        }
    });
    EXPECT_TRUE(log.entries().empty()) << log.dump();
}

TEST(TypesEnumeration, TheCaseOfEveryLetterCounts) {
    forEachEnumeration([](const EnumerationType& type, const Table& table) {
        for (const auto& row : table.rows) {
            std::string other = row.second;
            for (char& c : other) {
                const auto letter = static_cast<unsigned char>(c);
                c = static_cast<char>(std::islower(letter) != 0 ? std::toupper(letter)
                                                                : std::tolower(letter));
            }
            EXPECT_FALSE(type.load("a", other)) << other;
        }
    });
}

TEST(TypesEnumeration, SavingASettingOfAnotherTypeThrows) {
    const std::vector<EnumerationType> types = testsupport::enumerationTypes();
    for (std::size_t i = 0; i < types.size(); ++i) {
        const EnumerationType& other = types[(i + 1) % types.size()];
        EXPECT_THROW(types[i].save(other.setting(0)), boost::bad_any_cast) << types[i].name;
        const auto number = boost::make_shared<SettingHolder>("a", boost::any(0));
        EXPECT_THROW(types[i].save(number), boost::bad_any_cast) << types[i].name;
        const auto nothing = boost::make_shared<SettingHolder>("a", boost::any());
        EXPECT_THROW(types[i].save(nothing), boost::bad_any_cast) << types[i].name;
    }
}

TEST(TypesEnumeration, EveryEnumeratorOfAHeaderHasItsText) {
    std::map<std::string, Rows> tested;
    for (const EnumerationType& type : testsupport::enumerationTypes()) {
        const std::string name = boost::core::demangle(type.setting(0)->type().name());
        tested[name.substr(name.rfind(':') + 1)] = tableOf(type);
    }
    const std::map<std::string, Rows> declared = declaredEnumerations();
    EXPECT_EQ(declared.size(), tested.size());
    for (const auto& enumeration : declared) {
        EXPECT_EQ(enumeration.second, tested[enumeration.first]) << enumeration.first;
    }
}

TEST(TypesEnumeration, EveryRegisteredOneIsTestedHere) {
    std::set<std::string> tested;
    for (const EnumerationType& type : testsupport::enumerationTypes()) {
        tested.insert(type.name);
    }
    for (const ApplicationType& type : applicationTypes()) {
        if (describe(type).kind == TypeDescription::Kind::kEnumeration) {
            EXPECT_EQ(tested.count(type.name), 1U) << type.name;
        }
    }
}

TEST(TypesEnumeration, AllButTwoAreTypesOfSettings) {
    SettingFactory factory;
    registerApplicationTypes(factory);
    forEachEnumeration([&](const EnumerationType& type, const Table& table) {
        const bool isRegistered = table.name != "Role" && table.name != "SourceCategory";
        const auto holder = factory.create(table.name, "a", table.rows.front().second);
        ASSERT_EQ(holder != nullptr, isRegistered);
        EXPECT_EQ(factory.typeAsString(type.setting(0)), isRegistered ? table.name : "");
        if (isRegistered) {
            EXPECT_EQ(type.valueOf(holder), table.rows.front().first);
        }
    });
}

}  // namespace
