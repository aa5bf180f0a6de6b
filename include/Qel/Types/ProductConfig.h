#ifndef QEL_TYPES_PRODUCTCONFIG_H
#define QEL_TYPES_PRODUCTCONFIG_H

#include "Qel/Types/TextForm.h"

namespace Qel {
namespace ProductConfig {

enum QelportalServerType : int {
    DEFAULT_SERVER = 0,
    LIVE_SERVER = 1,
    STAGING_SERVER = 2,
    TEST_SERVER = 3,
    QA_SERVER = 4,
    DEV_SERVER = 5,
};

enum BuiltInPucSourceModuleTypeEnum : int {
    BUILT_IN_PUC_SOURCE_NONE = 0,
    BUILT_IN_PUC_SOURCE_ATSC = 1,
    BUILT_IN_PUC_SOURCE_DTMB = 2,
};

}  // namespace ProductConfig
}  // namespace Qel

QEL_TEXT_FORM(Qel::ProductConfig::QelportalServerType)
QEL_TEXT_FORM(Qel::ProductConfig::BuiltInPucSourceModuleTypeEnum)

#endif
