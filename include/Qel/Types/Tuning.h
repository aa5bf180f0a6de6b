#ifndef QEL_TYPES_TUNING_H
#define QEL_TYPES_TUNING_H

#include "Qel/Types/TextForm.h"

namespace qel {
namespace ui {
namespace tuning {

enum SearchFilterEnum : int {
    SEARCH_FILTER_ALL = 0,
    SEARCH_FILTER_FREE = 1,
};

enum CableSearchModeEnum : int {
    CABLE_SEARCH_MODE_HOMING = 0,
    CABLE_SEARCH_MODE_FULL = 1,
    CABLE_SEARCH_MODE_SINGLE_FREQUENCY = 2,
    CABLE_SEARCH_MODE_OP_MAINTAINER = 3,
};

/// Four flags of a tuner.
struct TunerStatus {
    bool flag1 = false;
    bool flag2 = false;
    bool flag3 = false;
    bool flag4 = false;
};

}  // namespace tuning
}  // namespace ui
}  // namespace qel

namespace qel {
namespace ui {
namespace dvbproviders {

/// Eight numbers of a satellite provider.
struct DvbSatelliteProviderItem {
    int number1 = 0;
    int number2 = 0;
    int number3 = 0;
    int number4 = 0;
    int number5 = 0;
    int number6 = 0;
    int number7 = 0;
    int number8 = 0;
};

}  // namespace dvbproviders
}  // namespace ui
}  // namespace qel

QEL_TEXT_FORM(qel::ui::tuning::SearchFilterEnum)
QEL_TEXT_FORM(qel::ui::tuning::CableSearchModeEnum)
QEL_TEXT_FORM(qel::ui::tuning::TunerStatus)
QEL_TEXT_FORM(qel::ui::dvbproviders::DvbSatelliteProviderItem)

#endif
