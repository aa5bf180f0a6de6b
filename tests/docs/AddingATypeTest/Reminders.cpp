#include "Qel/Types/Reminders.h"

#include "types/EnumText.h"
#include "types/RecordText.h"

T8_ENUMERATION(qel::reminders::Repetition, "Repetition", REPEAT_NEVER, T8_ENUMERATOR(REPEAT_NEVER),
               T8_ENUMERATOR(REPEAT_DAILY), T8_ENUMERATOR(REPEAT_WEEKLY))

T8_RECORD(qel::reminders::Reminder, T8_FIELD(title), T8_FIELD(channel), T8_FIELD(minutesAhead),
          T8_FIELD(repetition), T8_FIELD(switchesOver))
