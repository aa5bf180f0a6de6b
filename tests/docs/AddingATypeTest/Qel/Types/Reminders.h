#ifndef QEL_TYPES_REMINDERS_H
#define QEL_TYPES_REMINDERS_H

#include <cstdint>
#include <string>

#include "Qel/Types/TextForm.h"

namespace qel {
namespace reminders {

enum Repetition : int {
    REPEAT_NEVER = 0,
    REPEAT_DAILY = 1,
    REPEAT_WEEKLY = 2,
};

/// A broadcast that the viewer wants to be reminded of.
struct Reminder {
    std::string title;
    std::uint32_t channel = 0;
    int minutesAhead = 5;
    Repetition repetition = REPEAT_NEVER;
    bool switchesOver = true;
    int timesShown = 0;  ///< not part of the text form
};

}  // namespace reminders
}  // namespace qel

QEL_TEXT_FORM(qel::reminders::Repetition)
QEL_TEXT_FORM(qel::reminders::Reminder)

#endif
