#include "Qel/Types/MediaBrowser.h"

#include "types/RecordText.h"

T8_RECORD(qel::mediabrowser::RecentListItem, T8_FIELD(number), T8_FIELD(text1), T8_FIELD(text2),
          T8_FIELD(text3), T8_FIELD(flag))

T8_RECORD(qel::mediabrowser::RecentVideoItem, T8_FIELD(text), T8_FIELD(number))

T8_RECORD(qel::mediabrowser::RecentListDmrItemMetadata, T8_FIELD(number), T8_FIELD(text1),
          T8_FIELD(text2), T8_FIELD(text3), T8_FIELD(text4), T8_FIELD(text5), T8_FIELD(text6),
          T8_FIELD(text7), T8_FIELD(text8), T8_FIELD(text9), T8_FIELD(text10), T8_FIELD(text11))
