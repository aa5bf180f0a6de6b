#ifndef QEL_TYPES_SOUND_H
#define QEL_TYPES_SOUND_H

#include <string>

#include "Qel/Types/TextForm.h"

namespace qel {
namespace snd {

/// MAX_NUMBER_OF_ROLES is a count, and a value like any other to a settings file.
enum SpeakerRoleEnum : int {
    NO_ROLE = 0,
    CENTRE_FRONT = 1,
    LEFT_FRONT = 2,
    RIGHT_FRONT = 3,
    LEFT_WIDE = 4,
    RIGHT_WIDE = 5,
    LEFT_SURROUND = 6,
    RIGHT_SURROUND = 7,
    LEFT_BACK = 8,
    RIGHT_BACK = 9,
    CENTRE_BACK = 10,
    CENTRE_FRONT_HEIGHT = 11,
    LEFT_FRONT_HEIGHT = 12,
    RIGHT_FRONT_HEIGHT = 13,
    LEFT_SURROUND_HEIGHT = 14,
    RIGHT_SURROUND_HEIGHT = 15,
    CEILING = 16,
    SUB = 17,
    SUB_FRONT = 18,
    SUB_REAR = 19,
    SUB_LEFT = 20,
    SUB_RIGHT = 21,
    MIX_LEFT = 22,
    MIX_RIGHT = 23,
    MAX_NUMBER_OF_ROLES = 24,
};

enum ActPas : int {
    PASSIVE = 0,
    ACTIVE = 1,
};

enum Upmix : int {
    DIRECT = 0,
    UPSCAPE = 1,
    DOWNMIX = 2,
};

enum Compression : int {
    COMPRESSION_OFF = 0,
    COMPRESSION_MEDIUM = 1,
    COMPRESSION_MAXIMUM = 2,
};

enum YesNo : int {
    NO = 0,
    YES = 1,
};

}  // namespace snd
}  // namespace qel

namespace qel {
namespace ui {
namespace sound {

/// What is kept of a connected speaker.
struct ZuvSpeakerInfo {
    int number = 0;
    std::string text;
};

}  // namespace sound
}  // namespace ui
}  // namespace qel

QEL_TEXT_FORM(qel::snd::SpeakerRoleEnum)
QEL_TEXT_FORM(qel::snd::ActPas)
QEL_TEXT_FORM(qel::snd::Upmix)
QEL_TEXT_FORM(qel::snd::Compression)
QEL_TEXT_FORM(qel::snd::YesNo)
QEL_TEXT_FORM(qel::ui::sound::ZuvSpeakerInfo)

#endif
