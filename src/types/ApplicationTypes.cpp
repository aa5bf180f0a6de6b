#include "types/ApplicationTypes.h"

#include <map>
#include <set>
#include <string>
#include <vector>

#include "Qel/Settings/SettingFactory.h"
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

namespace Qel {
namespace Settings {

namespace {

struct ApplicationType {
    const std::type_info& type;
    const char* name;
    LoadFn load;
    SaveFn save;
    TypeDescription (*describe)();
};

/// The records of a collection are described with it: some of them have no setting of their own.
template <TypeDescription::Kind kKind, class Element>
TypeDescription describeCollection() {
    TypeDescription description;
    if constexpr (!StrConv::detail::kIsBuiltIn<Element>) {
        description.fields = describeType<Element>().fields;
    }
    description.kind = kKind;
    return description;
}

/// An enumeration or a record.
template <class T>
constexpr ApplicationType value(const char* name) {
    return {typeid(T), name, &load_x<T>, &save_x<T>, &describeType<T>};
}

template <class T>
constexpr ApplicationType array(const char* name) {
    return {typeid(std::vector<T>), name, &load_array_x<T>, &save_array_x<T>,
            &describeCollection<TypeDescription::Kind::kArray, T>};
}

template <class K, class V>
constexpr ApplicationType map(const char* name) {
    return {typeid(std::map<K, V>), name, &load_map_x<K, V>, &save_map_x<K, V>,
            &describeCollection<TypeDescription::Kind::kMap, V>};
}

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

/// Elements and keys are called what the collection's name calls them: "T[]", "map<K:V>".
void describeParts(TypeDescription& description) {
    const std::string& name = description.name;
    if (description.kind == TypeDescription::Kind::kArray) {
        description.elementType = name.substr(0, name.size() - 2);
    } else if (description.kind == TypeDescription::Kind::kMap) {
        const std::size_t key = name.find('<') + 1;
        const std::size_t colon = name.rfind(':');
        description.keyType = name.substr(key, colon - key);
        description.elementType = name.substr(colon + 1, name.size() - colon - 2);
    }
}

TypeDescription describeBuiltInType(const std::string& name) {
    const bool isArray = name.size() > 2 && name.compare(name.size() - 2, 2, "[]") == 0;
    TypeDescription description;
    description.kind = isArray ? TypeDescription::Kind::kArray : TypeDescription::Kind::kScalar;
    SettingFactory factory;
    description.emptyText = factory.valueAsString(factory.create(name, name, ""));
    return description;
}

void addDescription(std::vector<TypeDescription>& descriptions, TypeDescription description,
                    const std::string& name) {
    description.name = name;
    describeParts(description);
    descriptions.push_back(std::move(description));
}

}  // namespace

void registerApplicationTypes(SettingFactory& factory) {
    for (const ApplicationType& row : kApplicationTypes) {
        factory.registerType(row.type, row.name, row.load, row.save);
    }
}

std::vector<TypeDescription> describeTypes() {
    std::vector<TypeDescription> descriptions;
    std::set<std::string> described;
    for (const std::string& name : SettingFactory().typeNames()) {
        addDescription(descriptions, describeBuiltInType(name), name);
    }
    for (const ApplicationType& row : kApplicationTypes) {
        if (described.insert(row.name).second) {
            addDescription(descriptions, row.describe(), row.name);
        }
    }
    return descriptions;
}

}  // namespace Settings
}  // namespace Qel
