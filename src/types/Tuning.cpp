#include "Qel/Types/Tuning.h"

#include "types/EnumText.h"
#include "types/RecordText.h"

T8_ENUMERATION(qel::ui::tuning::SearchFilterEnum, "SearchFilterEnum", SEARCH_FILTER_ALL,
               T8_ENUMERATOR(SEARCH_FILTER_ALL), T8_ENUMERATOR(SEARCH_FILTER_FREE))

T8_ENUMERATION(qel::ui::tuning::CableSearchModeEnum, "CableSearchModeEnum",
               CABLE_SEARCH_MODE_HOMING, T8_ENUMERATOR(CABLE_SEARCH_MODE_HOMING),
               T8_ENUMERATOR(CABLE_SEARCH_MODE_FULL),
               T8_ENUMERATOR(CABLE_SEARCH_MODE_SINGLE_FREQUENCY),
               T8_ENUMERATOR(CABLE_SEARCH_MODE_OP_MAINTAINER))

T8_RECORD(qel::ui::tuning::TunerStatus, T8_FIELD(flag1), T8_FIELD(flag2), T8_FIELD(flag3),
          T8_FIELD(flag4))

T8_RECORD(qel::ui::dvbproviders::DvbSatelliteProviderItem, T8_FIELD(number1), T8_FIELD(number2),
          T8_FIELD(number3), T8_FIELD(number4), T8_FIELD(number5), T8_FIELD(number6),
          T8_FIELD(number7), T8_FIELD(number8))
