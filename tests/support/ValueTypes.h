#ifndef TESTS_SUPPORT_VALUETYPES_H
#define TESTS_SUPPORT_VALUETYPES_H

#include <map>
#include <string>
#include <vector>

#include "Qel/Types/MediaBrowser.h"
#include "Qel/Types/NetworkSources.h"
#include "Qel/Types/PictureQuality.h"
#include "Qel/Types/Sound.h"
#include "Qel/Types/Sources.h"
#include "Qel/Types/Tuning.h"
#include "Qel/Types/UserInterface.h"

namespace testsupport {

template <class... T>
struct TypeList {};

// What the applications' settings can be, but for the enumerations: those are in
// EnumerationTypes.h.

using RecordTypes =
    TypeList<qel::ui::quickonperiods::QuickOnPeriodsData, qel::ui::sound::ZuvSpeakerInfo,
             Qel::PQ::DisplaySetup, Qel::PQ::AdvancedSetup, qel::ui::tuning::TunerStatus,
             qel::ui::dvbproviders::DvbSatelliteProviderItem, qel::mediabrowser::RecentListItem,
             qel::mediabrowser::RecentVideoItem, qel::mediabrowser::RecentListDmrItemMetadata,
             qel::ui::common::source_properties_t, QelNetSource, NetRadioService::UserListItem,
             qel::ui::QelNet::IntegratedDevice>;

using ArrayTypes = TypeList<
    std::vector<qel::mediabrowser::RecentListItem>, std::vector<qel::mediabrowser::RecentVideoItem>,
    std::vector<qel::ui::common::source_properties_t>, std::vector<QelNetSource>,
    std::vector<NetRadioService::UserListItem>, std::vector<qel::ui::QelNet::IntegratedDevice>>;

using MapTypes = TypeList<std::map<int, qel::ui::dvbproviders::DvbSatelliteProviderItem>,
                          std::map<std::string, qel::mediabrowser::RecentListDmrItemMetadata>,
                          std::map<qel::ui::common::SourcePK, QelNetSourceVer2>,
                          std::map<qel::ui::common::SourcePK, QelNetSourceVer3>, std::map<int, int>,
                          std::map<int, std::string>, std::map<std::string, std::string>>;

}  // namespace testsupport

#endif
