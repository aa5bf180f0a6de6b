#include "Qel/Types/NetworkSources.h"

#include "types/EnumText.h"
#include "types/RecordText.h"

T8_ENUMERATION(qel::ui::QelNet::ProductRole::Role, "Role", INTEGRATED_MASTER,
               T8_ENUMERATOR(INTEGRATED_MASTER), T8_ENUMERATOR(INTEGRATED_SLAVE),
               T8_ENUMERATOR(STANDALONE), T8_ENUMERATOR(BORROW_SOURCES))

T8_ENUMERATION(qel::ui::QelNet::SourceCategory, "SourceCategory", SOURCE_CATEGORY_TV,
               T8_ENUMERATOR(SOURCE_CATEGORY_TV), T8_ENUMERATOR(SOURCE_CATEGORY_RADIO),
               T8_ENUMERATOR(SOURCE_CATEGORY_MUSIC), T8_ENUMERATOR(SOURCE_CATEGORY_MEDIA))

T8_RECORD(QelNetSource, T8_FIELD(number), T8_FIELD(text1), T8_FIELD(text2), T8_FIELD(text3),
          T8_FIELD(text4), T8_FIELD(text5))

T8_RECORD(QelNetSourceVer2, T8_FIELD(text1), T8_FIELD(text2), T8_FIELD(text3), T8_FIELD(text4),
          T8_FIELD(list))

T8_RECORD(QelNetSourceVer3, T8_FIELD(text1), T8_FIELD(text2), T8_FIELD(text3), T8_FIELD(text4),
          T8_FIELD(category), T8_FIELD(list))

T8_RECORD(qel::ui::QelNet::IntegratedDevice, T8_FIELD(text1), T8_FIELD(text2), T8_FIELD(role))

T8_RECORD(NetRadioService::UserListItem, T8_FIELD(number1), T8_FIELD(text), T8_FIELD(number2),
          T8_FIELD(number3), T8_FIELD(number4))
