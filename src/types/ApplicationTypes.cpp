#include "types/ApplicationTypes.h"

#include <iterator>
#include <string>

#include "Qel/Types/Dvr.h"
#include "Qel/Types/MediaBrowser.h"
#include "Qel/Types/NetworkSources.h"
#include "Qel/Types/PictureQuality.h"
#include "Qel/Types/ProductConfig.h"
#include "Qel/Types/Sound.h"
#include "Qel/Types/Sources.h"
#include "Qel/Types/Tuning.h"
#include "Qel/Types/UserInterface.h"

namespace Qel {
namespace Settings {
namespace {

using registration::array;
using registration::map;
using registration::value;

// The order is the product's; a name that stands here twice is registered twice.
constexpr ApplicationType kApplicationTypes[] = {
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
    map<int, qel::ui::dvbproviders::DvbSatelliteProviderItem>("map<int:DvbSatelliteProviderItem>"),
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
    map<qel::ui::common::SourcePK, QelNetSourceVer2>(
        "map<qel::ui::common::SourcePK:QelNetSourceVer2>"),
    map<qel::ui::common::SourcePK, QelNetSourceVer3>(
        "map<qel::ui::common::SourcePK:QelNetSourceVer3>"),
    value<qel::ui::QelNet::IntegratedDevice>("IntegratedDevice"),
    array<qel::ui::QelNet::IntegratedDevice>("IntegratedDevice[]"),
};

}  // namespace

const std::vector<ApplicationType>& applicationTypes() {
    // Never destroyed: a thread may set a manager up while the process ends.
    static const auto& types = *new std::vector<ApplicationType>(std::begin(kApplicationTypes),
                                                                 std::end(kApplicationTypes));
    return types;
}

}  // namespace Settings
}  // namespace Qel
