#ifndef TESTS_SUPPORT_RECORDFIELDS_H
#define TESTS_SUPPORT_RECORDFIELDS_H

#include <tuple>

#include "Qel/Types/MediaBrowser.h"
#include "Qel/Types/NetworkSources.h"
#include "Qel/Types/PictureQuality.h"
#include "Qel/Types/Sound.h"
#include "Qel/Types/Sources.h"
#include "Qel/Types/Tuning.h"
#include "Qel/Types/UserInterface.h"

namespace testsupport {

// fieldsOf(record): references to the fields that the record's text holds, in the order of the
// text.

inline auto fieldsOf(qel::ui::quickonperiods::QuickOnPeriodsData& r) {
    return std::tie(r.number1, r.number2, r.flags);
}

inline auto fieldsOf(qel::ui::sound::ZuvSpeakerInfo& r) {
    return std::tie(r.number, r.text);
}

inline auto fieldsOf(Qel::PQ::DisplaySetup& r) {
    return std::tie(r.number1, r.number2, r.number3, r.number4, r.cinemaScope);
}

inline auto fieldsOf(Qel::PQ::AdvancedSetup& r) {
    return std::tie(r.judderCancellation, r.roomAdaption, r.powerSaving);
}

inline auto fieldsOf(Qel::PQ::SourceSetup& r) {
    return std::tie(r.profile, r.formatHandling, r.number1, r.number2, r.number3, r.number4,
                    r.number5, r.number6, r.number7, r.number8, r.number9, r.number10,
                    r.colorTransientImprovement);
}

inline auto fieldsOf(qel::ui::tuning::TunerStatus& r) {
    return std::tie(r.flag1, r.flag2, r.flag3, r.flag4);
}

inline auto fieldsOf(qel::ui::dvbproviders::DvbSatelliteProviderItem& r) {
    return std::tie(r.number1, r.number2, r.number3, r.number4, r.number5, r.number6, r.number7,
                    r.number8);
}

inline auto fieldsOf(qel::mediabrowser::RecentListItem& r) {
    return std::tie(r.number, r.text1, r.text2, r.text3, r.flag);
}

inline auto fieldsOf(qel::mediabrowser::RecentVideoItem& r) {
    return std::tie(r.text, r.number);
}

inline auto fieldsOf(qel::mediabrowser::RecentListDmrItemMetadata& r) {
    return std::tie(r.number, r.text1, r.text2, r.text3, r.text4, r.text5, r.text6, r.text7,
                    r.text8, r.text9, r.text10, r.text11);
}

inline auto fieldsOf(QelNetSource& r) {
    return std::tie(r.number, r.text1, r.text2, r.text3, r.text4, r.text5);
}

inline auto fieldsOf(QelNetSourceVer2& r) {
    return std::tie(r.text1, r.text2, r.text3, r.text4, r.list);
}

inline auto fieldsOf(QelNetSourceVer3& r) {
    return std::tie(r.text1, r.text2, r.text3, r.text4, r.category, r.list);
}

inline auto fieldsOf(NetRadioService::UserListItem& r) {
    return std::tie(r.number1, r.text, r.number2, r.number3, r.number4);
}

inline auto fieldsOf(qel::ui::QelNet::IntegratedDevice& r) {
    return std::tie(r.text1, r.text2, r.role);
}

inline auto fieldsOf(qel::ui::common::source_properties_t& r) {
    return std::tie(r.number1, r.number2, r.kind, r.text4, r.text5, r.flag6, r.flag7,
                    r.pictureModeProfile, r.formatHandlingPolicy, r.number10, r.number11, r.flag12,
                    r.flag13, r.number14, r.number15, r.flag16, r.flag17, r.number18, r.flag19,
                    r.number20, r.flag21, r.pictureDimming);
}

/// Whether the texts of two records hold the same.
template <class Record>
bool sameFields(Record a, Record b) {
    return fieldsOf(a) == fieldsOf(b);
}

}  // namespace testsupport

#endif
