#ifndef QEL_TYPES_USERINTERFACE_H
#define QEL_TYPES_USERINTERFACE_H

#include <bitset>

#include "Qel/Types/TextForm.h"

namespace qel {
namespace ui {
namespace displayduration {

/// How long the display stays on, in milliseconds.
enum DisplayDurationEnum : int {
    DISPLAY_DURATION_2_SECOND = 2000,
    DISPLAY_DURATION_4_SECOND = 4000,
    DISPLAY_DURATION_8_SECOND = 8000,
};

}  // namespace displayduration
}  // namespace ui
}  // namespace qel

namespace qel {
namespace ui {
namespace base {
namespace picture_dimming {

enum option : int {
    timeout = 0,
    always = 1,
    never = 2,
    lower_backlight = 3,
};

}  // namespace picture_dimming
}  // namespace base
}  // namespace ui
}  // namespace qel

namespace qel {
namespace ui {
namespace quickonperiods {

/// The quick-on periods: two numbers and seven flags.
struct QuickOnPeriodsData {
    int number1 = 0;
    int number2 = 0;
    std::bitset<7> flags;
};

}  // namespace quickonperiods
}  // namespace ui
}  // namespace qel

QEL_TEXT_FORM(qel::ui::displayduration::DisplayDurationEnum)
QEL_TEXT_FORM(qel::ui::base::picture_dimming::option)
QEL_TEXT_FORM(qel::ui::quickonperiods::QuickOnPeriodsData)

#endif
