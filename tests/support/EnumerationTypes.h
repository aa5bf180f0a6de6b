#ifndef TESTS_SUPPORT_ENUMERATIONTYPES_H
#define TESTS_SUPPORT_ENUMERATIONTYPES_H

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <string>
#include <type_traits>
#include <vector>

#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/StrConv.h"
#include "Qel/Settings/TypeDescription.h"
#include "Qel/Types/Dvr.h"
#include "Qel/Types/NetworkSources.h"
#include "Qel/Types/PictureQuality.h"
#include "Qel/Types/ProductConfig.h"
#include "Qel/Types/Sound.h"
#include "Qel/Types/Sources.h"
#include "Qel/Types/Tuning.h"
#include "Qel/Types/UserInterface.h"

namespace testsupport {

/// An enumeration of the applications, with its C++ type behind functions.
struct EnumerationType {
    using Holder = boost::shared_ptr<Qel::Settings::SettingHolder>;

    const char* name;
    Qel::Settings::LoadFn load;
    Qel::Settings::SaveFn save;
    /// A setting with this value.
    Holder (*setting)(int value);
    /// The setting's value; throws for a setting of another type.
    int (*valueOf)(const Holder& holder);
    /// What the conversion pair makes of a text; `value` is -77 before.
    bool (*fromString)(const std::string& text, int& value);
    Qel::Settings::TypeDescription (*describe)();
};

template <class E>
EnumerationType enumeration(const char* name) {
    using namespace Qel::Settings;
    static_assert(std::is_same<std::underlying_type_t<E>, int>::value,
                  "a number beyond the enumerators would be undefined behaviour");
    return {name,
            &load_x<E>,
            &save_x<E>,
            [](int value) {
                // In braces a number compiles only for a type that is declared.
                return boost::make_shared<SettingHolder>("name", boost::any(E{value}));
            },
            [](const EnumerationType::Holder& holder) -> int { return holder->getValue<E>(); },
            [](const std::string& text, int& number) {
                auto value = static_cast<E>(-77);
                const bool read = StrConv::fromString<E>(text, value);
                number = value;
                return read;
            },
            &describeType<E>};
}

/// All of them, also the two that no setting has.
inline std::vector<EnumerationType> enumerationTypes() {
    return {
        enumeration<Qel::PQ::PictureModeProfile>("PictureModeProfile"),
        enumeration<Qel::PQ::JudderCancellationMode>("JudderCancellationMode"),
        enumeration<Qel::PQ::PowerSavingMode>("PowerSavingMode"),
        enumeration<Qel::PQ::PlasmaDrive>("PlasmaDrive"),
        enumeration<Qel::PQ::SourceConnectionType>("SourceConnectionType"),
        enumeration<Qel::PQ::SourceDeviceType>("SourceDeviceType"),
        enumeration<Qel::PQ::FormatHandlingPolicy>("FormatHandlingPolicy"),
        enumeration<Qel::PQ::CinemaScopeSetting>("CinemaScopeSetting"),
        enumeration<Qel::PQ::ColorTransientImprovementSetting>("ColorTransientImprovementSetting"),
        enumeration<Qel::PQ::RoomAdaptionsSetting>("RoomAdaptionsSetting"),
        enumeration<qel::dvr::DvrWakeUpStates>("DvrWakeUpStates"),
        enumeration<qel::dvr::DvrLedState>("DvrLedState"),
        enumeration<Qel::ProductConfig::QelportalServerType>("QelportalServerType"),
        enumeration<qel::ui::tuning::SearchFilterEnum>("SearchFilterEnum"),
        enumeration<qel::ui::tuning::CableSearchModeEnum>("CableSearchModeEnum"),
        enumeration<qel::snd::SpeakerRoleEnum>("SpeakerRoleEnum"),
        enumeration<qel::snd::ActPas>("ActPas"),
        enumeration<qel::snd::Upmix>("Upmix"),
        enumeration<qel::snd::Compression>("Compression"),
        enumeration<qel::snd::YesNo>("YesNo"),
        enumeration<ExternalSourceControl::SourceType>("SourceType"),
        enumeration<qel::ui::displayduration::DisplayDurationEnum>("DisplayDurationEnum"),
        enumeration<qel::ui::base::source_types::kind>("kind"),
        enumeration<qel::ui::base::picture_dimming::option>("option"),
        enumeration<Qel::ProductConfig::BuiltInPucSourceModuleTypeEnum>(
            "BuiltInPucSourceModuleTypeEnum"),
        enumeration<qel::ui::QelNet::ProductRole::Role>("Role"),
        enumeration<qel::ui::QelNet::SourceCategory>("SourceCategory"),
    };
}

}  // namespace testsupport

#endif
