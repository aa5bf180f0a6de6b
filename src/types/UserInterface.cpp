#include "Qel/Types/UserInterface.h"

#include "types/EnumText.h"
#include "types/RecordText.h"

T8_ENUMERATION(qel::ui::displayduration::DisplayDurationEnum, "DisplayDurationEnum",
               DISPLAY_DURATION_4_SECOND, T8_ENUMERATOR(DISPLAY_DURATION_2_SECOND),
               T8_ENUMERATOR(DISPLAY_DURATION_4_SECOND), T8_ENUMERATOR(DISPLAY_DURATION_8_SECOND))

T8_ENUMERATION(qel::ui::base::picture_dimming::option, "option", never, T8_ENUMERATOR(timeout),
               T8_ENUMERATOR(always), T8_ENUMERATOR(never), T8_ENUMERATOR(lower_backlight))

T8_RECORD(qel::ui::quickonperiods::QuickOnPeriodsData, T8_FIELD(number1), T8_FIELD(number2),
          T8_FIELD(flags))
