#include "Qel/Types/Dvr.h"

#include "types/EnumText.h"

T8_ENUMERATION(qel::dvr::DvrWakeUpStates, "DvrWakeUpStates", DWUS_UNSPECIFIED,
               T8_ENUMERATOR(DWUS_UNSPECIFIED), T8_ENUMERATOR(DWUS_RECORDING),
               T8_ENUMERATOR(DWUS_EPG_UPDATE_INFO))

T8_ENUMERATION(qel::dvr::DvrLedState, "DvrLedState", DWUS_LED_OFF, T8_ENUMERATOR(DWUS_LED_OFF),
               T8_ENUMERATOR(DWUS_LED_ON))
