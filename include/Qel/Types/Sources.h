#ifndef QEL_TYPES_SOURCES_H
#define QEL_TYPES_SOURCES_H

#include <string>

#include "Qel/Types/PictureQuality.h"
#include "Qel/Types/TextForm.h"
#include "Qel/Types/UserInterface.h"

namespace ExternalSourceControl {

/// What a connected device is; UNCLASSIFIED unless something else is said.
enum SourceType : int {
    STB = 0,
    DVD = 1,
    HOME_MEDIA = 2,
    SCREEN = 3,
    BLURAY = 4,
    VCR = 5,
    PROJECTOR = 6,
    UNCLASSIFIED = 7,
    GAME_CONSOLE = 8,
    PC = 9,
    HDMI_MATRIX = 10,
    HDMI_SWITCH = 11,
};

}  // namespace ExternalSourceControl

namespace qel {
namespace ui {
namespace base {
namespace source_types {

/// Retired kinds keep their places.
enum kind : int {
    empty = 0,
    tv = 1,
    undefined0 = 2,
    undefined1 = 3,
    ttx = 4,
    radio = 5,
    undefined2 = 6,
    avcap = 7,
    undefined3 = 8,
    undefined4 = 9,
    qelnet = 10,
    media = 11,
    undefined5 = 12,
    undefined6 = 13,
    undefined7 = 14,
    nettv = 15,
    matrix = 16,
    avcap_matrix = 17,
    netradio = 18,
    youtube = 19,
    spotify = 20,
    qelnetjoin = 21,
    deezer = 22,
    ciapplication = 23,
    end = 24,
};

}  // namespace source_types
}  // namespace base
}  // namespace ui
}  // namespace qel

namespace qel {
namespace ui {
namespace common {

/// The key of a source in the maps of network sources.
using SourcePK = unsigned int;

/// Everything that is kept of a source. Fields without a known meaning carry their place in the
/// text.
struct source_properties_t {
    unsigned int number1 = 4294967295U;
    int number2 = 0;
    base::source_types::kind kind = base::source_types::empty;
    std::string text4;
    std::string text5;
    bool flag6 = false;
    bool flag7 = true;
    Qel::PQ::PictureModeProfile pictureModeProfile = Qel::PQ::PQ_PROFILE_INVALID;
    Qel::PQ::FormatHandlingPolicy formatHandlingPolicy = Qel::PQ::PQ_FORMAT_HANDLING_POLICY_INVALID;
    int number10 = 0;
    int number11 = 0;
    bool flag12 = false;
    bool flag13 = false;
    int number14 = 0;
    int number15 = 0;
    bool flag16 = false;
    bool flag17 = false;
    int number18 = 0;
    bool flag19 = false;
    int number20 = 0;
    bool flag21 = false;
    int unsaved = 0;  ///< not part of the text form
    base::picture_dimming::option pictureDimming = base::picture_dimming::timeout;
};

}  // namespace common
}  // namespace ui
}  // namespace qel

QEL_TEXT_FORM(ExternalSourceControl::SourceType)
QEL_TEXT_FORM(qel::ui::base::source_types::kind)
QEL_TEXT_FORM(qel::ui::common::source_properties_t)

#endif
