#include "Qel/Types/Sources.h"

#include "types/EnumText.h"
#include "types/RecordText.h"

T8_ENUMERATION(ExternalSourceControl::SourceType, "SourceType", UNCLASSIFIED, T8_ENUMERATOR(STB),
               T8_ENUMERATOR(DVD), T8_ENUMERATOR(HOME_MEDIA), T8_ENUMERATOR(SCREEN),
               T8_ENUMERATOR(BLURAY), T8_ENUMERATOR(VCR), T8_ENUMERATOR(PROJECTOR),
               T8_ENUMERATOR(UNCLASSIFIED), T8_ENUMERATOR(GAME_CONSOLE), T8_ENUMERATOR(PC),
               T8_ENUMERATOR(HDMI_MATRIX), T8_ENUMERATOR(HDMI_SWITCH))

T8_ENUMERATION(qel::ui::base::source_types::kind, "kind", empty, T8_ENUMERATOR(empty),
               T8_ENUMERATOR(tv), T8_ENUMERATOR(undefined0), T8_ENUMERATOR(undefined1),
               T8_ENUMERATOR(ttx), T8_ENUMERATOR(radio), T8_ENUMERATOR(undefined2),
               T8_ENUMERATOR(avcap), T8_ENUMERATOR(undefined3), T8_ENUMERATOR(undefined4),
               T8_ENUMERATOR(qelnet), T8_ENUMERATOR(media), T8_ENUMERATOR(undefined5),
               T8_ENUMERATOR(undefined6), T8_ENUMERATOR(undefined7), T8_ENUMERATOR(nettv),
               T8_ENUMERATOR(matrix), T8_ENUMERATOR(avcap_matrix), T8_ENUMERATOR(netradio),
               T8_ENUMERATOR(youtube), T8_ENUMERATOR(spotify), T8_ENUMERATOR(qelnetjoin),
               T8_ENUMERATOR(deezer), T8_ENUMERATOR(ciapplication), T8_ENUMERATOR(end))

T8_RECORD(qel::ui::common::source_properties_t, T8_FIELD(number1), T8_FIELD(number2),
          T8_FIELD(kind), T8_FIELD(text4), T8_FIELD(text5), T8_FIELD(flag6), T8_FIELD(flag7),
          T8_FIELD(pictureModeProfile), T8_FIELD(formatHandlingPolicy), T8_FIELD(number10),
          T8_FIELD(number11), T8_FIELD(flag12), T8_FIELD(flag13), T8_FIELD(number14),
          T8_FIELD(number15), T8_FIELD(flag16), T8_FIELD(flag17), T8_FIELD(number18),
          T8_FIELD(flag19), T8_FIELD(number20), T8_FIELD(flag21), T8_FIELD(pictureDimming))
