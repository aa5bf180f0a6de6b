#ifndef QEL_TYPES_DVR_H
#define QEL_TYPES_DVR_H

#include "Qel/Types/TextForm.h"

namespace qel {
namespace dvr {

enum DvrWakeUpStates : int {
    DWUS_UNSPECIFIED = 0,
    DWUS_RECORDING = 1,
    DWUS_EPG_UPDATE_INFO = 2,
};

/// The prefix is the wake-up states' one, and files hold it.
enum DvrLedState : int {
    DWUS_LED_OFF = 0,
    DWUS_LED_ON = 1,
};

}  // namespace dvr
}  // namespace qel

QEL_TEXT_FORM(qel::dvr::DvrWakeUpStates)
QEL_TEXT_FORM(qel::dvr::DvrLedState)

#endif
