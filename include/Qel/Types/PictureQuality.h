#ifndef QEL_TYPES_PICTUREQUALITY_H
#define QEL_TYPES_PICTUREQUALITY_H

#include <cstdint>

#include "Qel/Types/TextForm.h"

namespace Qel {
namespace PQ {

enum PictureModeProfile : int {
    PQ_PROFILE_INVALID = 0,
    PQ_PROFILE_ADAPTIVE = 1,
    PQ_PROFILE_MOVIE = 2,
    PQ_PROFILE_GAME_OR_PC = 3,
    PQ_PROFILE_MONITOR = 4,
};

enum JudderCancellationMode : int {
    PQ_JUDDER_CANCELLATION_MODE_INVALID = 0,
    PQ_JUDDER_CANCELLATION_MODE_ADAPTIVE = 1,
    PQ_JUDDER_CANCELLATION_MODE_FULL = 2,
    PQ_JUDDER_CANCELLATION_MODE_OFF = 3,
};

enum PowerSavingMode : int {
    PQ_POWER_SAVING_INVALID = 0,
    PQ_POWER_SAVING_OFF = 1,
    PQ_POWER_SAVING_MEDIUM = 2,
    PQ_POWER_SAVING_HIGH = 3,
};

enum PlasmaDrive : int {
    PQ_PLASMA_DRIVE_INVALID = 0,
    PQ_PLASMA_DRIVE_NORMAL = 1,
    PQ_PLASMA_DRIVE_DYNAMIC = 2,
};

enum SourceConnectionType : int {
    PQ_SOURCE_CONNECTION_TYPE_INVALID = 0,
    PQ_SOURCE_CONNECTION_TYPE_HDMI = 1,
    PQ_SOURCE_CONNECTION_TYPE_CVBS = 2,
    PQ_SOURCE_CONNECTION_TYPE_SVIDEO = 3,
    PQ_SOURCE_CONNECTION_TYPE_RGB = 4,
    PQ_SOURCE_CONNECTION_TYPE_COMPONENT = 5,
    PQ_SOURCE_CONNECTION_TYPE_INTERNAL = 6,
};

enum SourceDeviceType : int {
    PQ_SOURCE_DEVICE_TYPE_INVALID = 0,
    PQ_SOURCE_DEVICE_TYPE_UNCLASSIFIED = 1,
    PQ_SOURCE_DEVICE_TYPE_DVD = 2,
    PQ_SOURCE_DEVICE_TYPE_CAMCORDER = 3,
    PQ_SOURCE_DEVICE_TYPE_BROADCAST = 4,
    PQ_SOURCE_DEVICE_TYPE_BLU_RAY = 5,
    PQ_SOURCE_DEVICE_TYPE_MEDIA_PLAYER = 6,
};

enum FormatHandlingPolicy : int {
    PQ_FORMAT_HANDLING_POLICY_INVALID = 0,
    PQ_FORMAT_HANDLING_POLICY_AUTO = 1,
    PQ_FORMAT_HANDLING_POLICY_AUTO_FULLSCREEN = 2,
    PQ_FORMAT_HANDLING_POLICY_COMPLIANCE = 3,
    PQ_FORMAT_HANDLING_POLICY_FIXED_A = 4,
    PQ_FORMAT_HANDLING_POLICY_FIXED_B = 5,
    PQ_FORMAT_HANDLING_POLICY_FIXED_C = 6,
    PQ_FORMAT_HANDLING_POLICY_FIXED_D = 7,
    PQ_FORMAT_HANDLING_POLICY_CINEMASCOPE_A = 8,
    PQ_FORMAT_HANDLING_POLICY_CINEMASCOPE_B = 9,
};

enum CinemaScopeSetting : int {
    PQ_CINEMASCOPE_INVALID = 0,
    PQ_CINEMASCOPE_DISABLED = 1,
    PQ_CINEMASCOPE_ENABLED = 2,
};

enum ColorTransientImprovementSetting : int {
    PQ_CTI_INVALID = 0,
    PQ_CTI_DISABLED = 1,
    PQ_CTI_ENABLED = 2,
};

/// The spelling of the type differs from its enumerators'; files hold the latter.
enum RoomAdaptionsSetting : int {
    PQ_ROOM_ADAPTION_INVALID = 0,
    PQ_ROOM_ADAPTION_DISABLED = 1,
    PQ_ROOM_ADAPTION_ENABLED = 2,
    PQ_ROOM_ADAPTION_BASIC = 3,
};

/// Four numbers of the display, 255 each unless something else is said, and its CinemaScope choice.
struct DisplaySetup {
    std::uint8_t number1 = 255;
    std::uint8_t number2 = 255;
    std::uint8_t number3 = 255;
    std::uint8_t number4 = 255;
    CinemaScopeSetting cinemaScope = PQ_CINEMASCOPE_INVALID;
};

/// Choices of the advanced picture menu.
struct AdvancedSetup {
    JudderCancellationMode judderCancellation = PQ_JUDDER_CANCELLATION_MODE_INVALID;
    RoomAdaptionsSetting roomAdaption = PQ_ROOM_ADAPTION_INVALID;
    PowerSavingMode powerSaving = PQ_POWER_SAVING_INVALID;
};

/// Picture choices of one source. Has a text form, and no setting is of this type.
struct SourceSetup {
    std::uint32_t unsaved1 = 0;  ///< not part of the text form
    std::uint32_t unsaved2 = 0;  ///< not part of the text form
    PictureModeProfile profile = PQ_PROFILE_INVALID;
    FormatHandlingPolicy formatHandling = PQ_FORMAT_HANDLING_POLICY_INVALID;
    std::uint8_t number1 = 0;
    std::uint8_t number2 = 0;
    std::uint8_t number3 = 0;
    std::uint8_t number4 = 0;
    std::uint8_t number5 = 0;
    std::uint8_t number6 = 0;
    std::uint8_t number7 = 0;
    std::uint8_t number8 = 0;
    std::uint8_t number9 = 0;
    std::uint8_t number10 = 0;
    ColorTransientImprovementSetting colorTransientImprovement = PQ_CTI_INVALID;
};

}  // namespace PQ
}  // namespace Qel

QEL_TEXT_FORM(Qel::PQ::PictureModeProfile)
QEL_TEXT_FORM(Qel::PQ::JudderCancellationMode)
QEL_TEXT_FORM(Qel::PQ::PowerSavingMode)
QEL_TEXT_FORM(Qel::PQ::PlasmaDrive)
QEL_TEXT_FORM(Qel::PQ::SourceConnectionType)
QEL_TEXT_FORM(Qel::PQ::SourceDeviceType)
QEL_TEXT_FORM(Qel::PQ::FormatHandlingPolicy)
QEL_TEXT_FORM(Qel::PQ::CinemaScopeSetting)
QEL_TEXT_FORM(Qel::PQ::ColorTransientImprovementSetting)
QEL_TEXT_FORM(Qel::PQ::RoomAdaptionsSetting)
QEL_TEXT_FORM(Qel::PQ::DisplaySetup)
QEL_TEXT_FORM(Qel::PQ::AdvancedSetup)
QEL_TEXT_FORM(Qel::PQ::SourceSetup)

#endif
