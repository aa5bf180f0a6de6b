#include <boost/any.hpp>
#include <boost/make_shared.hpp>
#include <cstddef>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <typeindex>
#include <typeinfo>
#include <vector>

#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingsManager.h"
#include "Qel/Settings/StrConv.h"
#include "Qel/Settings/T8SettingsManager.h"
#include "Qel/Types/Dvr.h"
#include "Qel/Types/MediaBrowser.h"
#include "Qel/Types/NetworkSources.h"
#include "Qel/Types/PictureQuality.h"
#include "Qel/Types/ProductConfig.h"
#include "Qel/Types/Sound.h"
#include "Qel/Types/Sources.h"
#include "Qel/Types/Tuning.h"
#include "Qel/Types/UserInterface.h"
#include "TempDir.h"
#include "types/ApplicationTypes.h"

namespace {

using namespace Qel::Settings;

/// One call of `registerType`.
struct Call {
    std::type_index type;
    std::string name;
    LoadFn load;
    SaveFn save;
};

bool operator==(const Call& a, const Call& b) {
    return a.type == b.type && a.name == b.name && a.load == b.load && a.save == b.save;
}

void PrintTo(const Call& call, std::ostream* out) {
    *out << call.name << " (" << call.type.name() << ")";
}

/// Stands where a SettingFactory is filled.
struct RecordingFactory {
    bool registerType(const std::type_info& type, const std::string& name, LoadFn load,
                      SaveFn save) {
        calls.push_back({type, name, load, save});
        return true;
    }
    std::vector<Call> calls;
};

template <class T>
Call value(const char* name) {
    return {typeid(T), name, &load_x<T>, &save_x<T>};
}

template <class T>
Call array(const char* name) {
    return {typeid(std::vector<T>), name, &load_array_x<T>, &save_array_x<T>};
}

template <class K, class V>
Call map(const char* name) {
    return {typeid(std::map<K, V>), name, &load_map_x<K, V>, &save_map_x<K, V>};
}

std::vector<Call> expectedCalls() {
    return {
        value<qel::ui::quickonperiods::QuickOnPeriodsData>("QuickOnPeriodsData"),
        value<qel::ui::sound::ZuvSpeakerInfo>("ZuvSpeakerInfo"),
        value<Qel::PQ::DisplaySetup>("DisplaySetup"),
        value<Qel::PQ::AdvancedSetup>("AdvancedSetup"),
        value<Qel::PQ::PictureModeProfile>("PictureModeProfile"),
        value<Qel::PQ::JudderCancellationMode>("JudderCancellationMode"),
        value<Qel::PQ::PowerSavingMode>("PowerSavingMode"),
        value<Qel::PQ::PlasmaDrive>("PlasmaDrive"),
        value<Qel::PQ::SourceConnectionType>("SourceConnectionType"),
        value<Qel::PQ::SourceDeviceType>("SourceDeviceType"),
        value<Qel::PQ::FormatHandlingPolicy>("FormatHandlingPolicy"),
        value<Qel::PQ::CinemaScopeSetting>("CinemaScopeSetting"),
        value<Qel::PQ::PowerSavingMode>("PowerSavingMode"),
        value<Qel::PQ::ColorTransientImprovementSetting>("ColorTransientImprovementSetting"),
        value<Qel::PQ::RoomAdaptionsSetting>("RoomAdaptionsSetting"),
        value<qel::dvr::DvrWakeUpStates>("DvrWakeUpStates"),
        value<qel::dvr::DvrLedState>("DvrLedState"),
        value<Qel::ProductConfig::QelportalServerType>("QelportalServerType"),
        value<qel::ui::tuning::TunerStatus>("TunerStatus"),
        value<qel::ui::tuning::SearchFilterEnum>("SearchFilterEnum"),
        value<qel::ui::tuning::CableSearchModeEnum>("CableSearchModeEnum"),
        value<qel::ui::dvbproviders::DvbSatelliteProviderItem>("DvbSatelliteProviderItem"),
        map<int, qel::ui::dvbproviders::DvbSatelliteProviderItem>(
            "map<int:DvbSatelliteProviderItem>"),
        value<qel::snd::SpeakerRoleEnum>("SpeakerRoleEnum"),
        value<qel::snd::ActPas>("ActPas"),
        value<qel::snd::Upmix>("Upmix"),
        value<qel::snd::Compression>("Compression"),
        value<qel::snd::YesNo>("YesNo"),
        value<qel::mediabrowser::RecentListItem>("RecentListItem"),
        array<qel::mediabrowser::RecentListItem>("RecentListItem[]"),
        value<qel::mediabrowser::RecentVideoItem>("RecentVideoItem"),
        array<qel::mediabrowser::RecentVideoItem>("RecentVideoItem[]"),
        value<qel::mediabrowser::RecentListDmrItemMetadata>("RecentListDmrItemMetadata"),
        map<std::string, qel::mediabrowser::RecentListDmrItemMetadata>(
            "map<std::string:RecentListDmrItemMetadata>"),
        value<ExternalSourceControl::SourceType>("SourceType"),
        value<qel::ui::displayduration::DisplayDurationEnum>("DisplayDurationEnum"),
        value<qel::ui::base::source_types::kind>("kind"),
        value<qel::ui::base::picture_dimming::option>("option"),
        value<qel::ui::common::source_properties_t>("source_properties_t"),
        array<qel::ui::common::source_properties_t>("source_properties_t[]"),
        value<Qel::ProductConfig::BuiltInPucSourceModuleTypeEnum>("BuiltInPucSourceModuleTypeEnum"),
        value<QelNetSource>("QelNetSource"),
        array<QelNetSource>("QelNetSource[]"),
        value<NetRadioService::UserListItem>("UserListItem"),
        array<NetRadioService::UserListItem>("UserListItem[]"),
        map<int, int>("map<int:int>"),
        map<int, std::string>("map<int:string>"),
        map<std::string, std::string>("map<string:string>"),
        map<unsigned int, QelNetSourceVer2>("map<qel::ui::common::SourcePK:QelNetSourceVer2>"),
        map<unsigned int, QelNetSourceVer3>("map<qel::ui::common::SourcePK:QelNetSourceVer3>"),
        value<qel::ui::QelNet::IntegratedDevice>("IntegratedDevice"),
        array<qel::ui::QelNet::IntegratedDevice>("IntegratedDevice[]"),
    };
}

/// How many run-time types a factory knows.
std::size_t typesKnown(const SettingFactory& factory) {
    testing::internal::CaptureStdout();
    factory.debugReport();
    std::istringstream report(testing::internal::GetCapturedStdout());
    std::size_t types = 0;
    for (std::string line; std::getline(report, line) && line != "\tm_settingFactory[] =";) {
        types += line.rfind("\t\t", 0) == 0 ? 1U : 0U;
    }
    return types;
}

/// What the product's set-up leaves with a manager.
class TypesRegistration : public testing::Test {
protected:
    TypesRegistration() {
        SettingsManager::location(directory_.path());
        initDefaultSettingsManager(manager_);
        SettingsManager::setResetToDefaultsMarker("");
    }

    testsupport::TempDir directory_;
    SettingsManager manager_;
};

TEST(TypesRegistrationOrder, AFactoryIsToldOfFiftyTwoTypesInTheProductsOrder) {
    RecordingFactory factory;
    registerApplicationTypes(factory);
    const std::vector<Call> expected = expectedCalls();
    ASSERT_EQ(factory.calls.size(), 52U);
    ASSERT_EQ(expected.size(), 52U);
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(factory.calls[i], expected[i]) << "place " << i + 1;
    }
}

TEST(TypesRegistrationOrder, PowerSavingIsRegisteredTwice) {
    RecordingFactory factory;
    registerApplicationTypes(factory);
    const Call powerSaving = value<Qel::PQ::PowerSavingMode>("PowerSavingMode");
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < factory.calls.size(); ++i) {
        if (factory.calls[i] == powerSaving) {
            places.push_back(i + 1);
        }
    }
    EXPECT_EQ(places, (std::vector<std::size_t>{7, 13}));
}

TEST_F(TypesRegistration, TheSetUpKnowsEightyFiveNamesOfSeventyNineTypes) {
    const auto factory = manager_.factory();
    EXPECT_EQ(factory->typeNames().size(), 85U);
    EXPECT_EQ(typesKnown(*factory), 79U);
    std::set<std::type_index> types;
    std::set<std::string> writtenNames;
    for (const std::string& name : factory->typeNames()) {
        const auto holder = factory->create(name, "a", "");
        ASSERT_TRUE(holder) << name;
        types.insert(holder->type());
        writtenNames.insert(factory->typeAsString(holder));
    }
    EXPECT_EQ(types.size(), 79U);
    EXPECT_EQ(writtenNames.size(), 79U);
}

TEST_F(TypesRegistration, EveryTypeIsWrittenUnderItsName) {
    const auto factory = manager_.factory();
    for (const Call& call : expectedCalls()) {
        const auto holder = factory->create(call.name, "a", "");
        ASSERT_TRUE(holder) << call.name;
        EXPECT_EQ(std::type_index(holder->type()), call.type) << call.name;
        EXPECT_EQ(factory->typeAsString(holder), call.name);
        EXPECT_EQ(factory->valueAsString(holder), call.save(holder)) << call.name;
    }
}

TEST_F(TypesRegistration, FieldsOfRecordsNeedNoRegistrationOfTheirOwn) {
    const auto factory = manager_.factory();
    for (const char* name : {"Role", "SourceCategory", "SourceSetup", "QelNetSourceVer2",
                             "QelNetSourceVer3", "SourcePK", ""}) {
        EXPECT_FALSE(factory->create(name, "a", "")) << name;
    }
    for (const boost::any& value :
         {boost::any(qel::ui::QelNet::ProductRole::STANDALONE),
          boost::any(qel::ui::QelNet::SOURCE_CATEGORY_TV), boost::any(Qel::PQ::SourceSetup{}),
          boost::any(QelNetSourceVer2{}), boost::any(QelNetSourceVer3{})}) {
        const auto holder = boost::make_shared<SettingHolder>("a", value);
        EXPECT_EQ(factory->typeAsString(holder), "");
        EXPECT_EQ(factory->valueAsString(holder), "");
    }
}

}  // namespace
