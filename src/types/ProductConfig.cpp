#include "Qel/Types/ProductConfig.h"

#include "types/EnumText.h"

T8_ENUMERATION(Qel::ProductConfig::QelportalServerType, "QelportalServerType", DEFAULT_SERVER,
               T8_ENUMERATOR(DEFAULT_SERVER), T8_ENUMERATOR(LIVE_SERVER),
               T8_ENUMERATOR(STAGING_SERVER), T8_ENUMERATOR(TEST_SERVER), T8_ENUMERATOR(QA_SERVER),
               T8_ENUMERATOR(DEV_SERVER))

T8_ENUMERATION(Qel::ProductConfig::BuiltInPucSourceModuleTypeEnum, "BuiltInPucSourceModuleTypeEnum",
               BUILT_IN_PUC_SOURCE_NONE, T8_ENUMERATOR(BUILT_IN_PUC_SOURCE_NONE),
               T8_ENUMERATOR(BUILT_IN_PUC_SOURCE_ATSC), T8_ENUMERATOR(BUILT_IN_PUC_SOURCE_DTMB))
