// The applications' types as a client of the shared library has them.

#include <boost/any.hpp>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <string>

#include "EnumerationTypes.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingsManager.h"
#include "Qel/Settings/T8SettingsManager.h"
#include "RandomTypes.h"
#include "TempDir.h"

namespace {

using namespace Qel::Settings;

class TypesClient : public testing::Test {
protected:
    TypesClient() {
        SettingsManager::location(directory_.path());
        initDefaultSettingsManager(manager_);
        SettingsManager::setResetToDefaultsMarker("");
    }

    /// A record through the library's factory and through the functions that the client
    /// instantiates.
    template <class Record>
    void expectKept(const char* name) {
        auto value = random_.value<Record>();
        const std::string text = StrConv::toString(value);
        testsupport::loseWhatTheTextLoses(value);
        EXPECT_TRUE(
            testsupport::sameFields(load_x<Record>("a", text)->template getValue<Record>(), value));
        EXPECT_FALSE(describeType<Record>().fields.empty());
        const auto setting = manager_.factory()->create(name, "a", text);
        ASSERT_EQ(setting != nullptr, *name != '\0') << name;
        if (setting) {
            EXPECT_TRUE(testsupport::sameFields(setting->template getValue<Record>(), value));
            EXPECT_EQ(save_x<Record>(setting), manager_.factory()->valueAsString(setting));
        }
    }

    testsupport::RandomTypes random_;
    testsupport::TempDir directory_;
    SettingsManager manager_;
};

TEST_F(TypesClient, EveryEnumerationIsOneTypeToLibraryAndClient) {
    std::set<std::string> known;
    for (const testsupport::EnumerationType& type : testsupport::enumerationTypes()) {
        const auto own = type.load("a", "1");
        EXPECT_EQ(type.valueOf(own), 1) << type.name;
        const auto made = manager_.factory()->create(type.name, "a", "1");
        if (made) {
            EXPECT_EQ(type.valueOf(made), 1) << type.name;
            EXPECT_EQ(manager_.factory()->typeAsString(own), type.name);
            EXPECT_EQ(manager_.factory()->valueAsString(own), type.save(made));
            known.insert(type.name);
        }
    }
    std::set<std::string> registered;
    for (const TypeDescription& type : describeTypes()) {
        if (type.kind == TypeDescription::Kind::kEnumeration) {
            registered.insert(type.name);
        }
    }
    EXPECT_EQ(known, registered);
}

TEST_F(TypesClient, EveryRecordIsOneTypeToLibraryAndClient) {
    expectKept<qel::ui::quickonperiods::QuickOnPeriodsData>("QuickOnPeriodsData");
    expectKept<qel::ui::sound::ZuvSpeakerInfo>("ZuvSpeakerInfo");
    expectKept<Qel::PQ::DisplaySetup>("DisplaySetup");
    expectKept<Qel::PQ::AdvancedSetup>("AdvancedSetup");
    expectKept<Qel::PQ::SourceSetup>("");
    expectKept<qel::ui::tuning::TunerStatus>("TunerStatus");
    expectKept<qel::ui::dvbproviders::DvbSatelliteProviderItem>("DvbSatelliteProviderItem");
    expectKept<qel::mediabrowser::RecentListItem>("RecentListItem");
    expectKept<qel::mediabrowser::RecentVideoItem>("RecentVideoItem");
    expectKept<qel::mediabrowser::RecentListDmrItemMetadata>("RecentListDmrItemMetadata");
    expectKept<qel::ui::common::source_properties_t>("source_properties_t");
    expectKept<QelNetSource>("QelNetSource");
    expectKept<QelNetSourceVer2>("");
    expectKept<QelNetSourceVer3>("");
    expectKept<NetRadioService::UserListItem>("UserListItem");
    expectKept<qel::ui::QelNet::IntegratedDevice>("IntegratedDevice");
}

TEST_F(TypesClient, AMapOfRecordsIsOneTypeToLibraryAndClient) {
    using Sources = std::map<qel::ui::common::SourcePK, QelNetSourceVer2>;
    const auto setting = manager_.factory()->create(
        "map<qel::ui::common::SourcePK:QelNetSourceVer2>", "a", "1,7,13,a,b,c,d,3,x;y");
    ASSERT_TRUE(setting);
    EXPECT_EQ(setting->getValue<Sources>().at(7).list.at(1), "y");
    ASSERT_TRUE(setting->setValue(Sources{{8, {"e", "f", "g", "h", {}}}}));
    EXPECT_EQ(manager_.factory()->valueAsString(setting), "1,8,10,e,f,g,h,0,");
    EXPECT_THROW(setting->getValue<qel::snd::YesNo>(), boost::bad_any_cast);
}

}  // namespace
