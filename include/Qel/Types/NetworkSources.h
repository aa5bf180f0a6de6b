#ifndef QEL_TYPES_NETWORKSOURCES_H
#define QEL_TYPES_NETWORKSOURCES_H

#include <string>
#include <vector>

#include "Qel/Types/Sources.h"
#include "Qel/Types/TextForm.h"

namespace qel {
namespace ui {
namespace QelNet {
namespace ProductRole {

/// No setting is of this type; it is a field of IntegratedDevice.
enum Role : int {
    INTEGRATED_MASTER = 0,
    INTEGRATED_SLAVE = 1,
    STANDALONE = 2,
    BORROW_SOURCES = 3,
};

}  // namespace ProductRole

/// No setting is of this type; it is a field of QelNetSourceVer3.
enum SourceCategory : int {
    SOURCE_CATEGORY_TV = 1,
    SOURCE_CATEGORY_RADIO = 2,
    SOURCE_CATEGORY_MUSIC = 3,
    SOURCE_CATEGORY_MEDIA = 4,
};

}  // namespace QelNet
}  // namespace ui
}  // namespace qel

/// A source in the network: a number and five texts.
struct QelNetSource {
    unsigned int number = 0;
    std::string text1;
    std::string text2;
    std::string text3;
    std::string text4;
    std::string text5;
};

/// A source in the network, second form; only as the value of a map by source.
struct QelNetSourceVer2 {
    std::string text1;
    std::string text2;
    std::string text3;
    std::string text4;
    std::vector<std::string> list;
};

/// The second form and the source's category.
struct QelNetSourceVer3 {
    std::string text1;
    std::string text2;
    std::string text3;
    std::string text4;
    qel::ui::QelNet::SourceCategory category = qel::ui::QelNet::SOURCE_CATEGORY_TV;
    std::vector<std::string> list;
};

namespace qel {
namespace ui {
namespace QelNet {

/// An integrated device: two texts and its role.
struct IntegratedDevice {
    std::string text1;
    std::string text2;
    ProductRole::Role role = ProductRole::STANDALONE;
};

}  // namespace QelNet
}  // namespace ui
}  // namespace qel

namespace NetRadioService {

/// An entry of a user's list of net radio stations.
struct UserListItem {
    long long number1 = 0;
    std::string text;
    long long number2 = 0;
    long long number3 = 0;
    long long number4 = 0;
};

}  // namespace NetRadioService

QEL_TEXT_FORM(qel::ui::QelNet::ProductRole::Role)
QEL_TEXT_FORM(qel::ui::QelNet::SourceCategory)
QEL_TEXT_FORM(QelNetSource)
QEL_TEXT_FORM(QelNetSourceVer2)
QEL_TEXT_FORM(QelNetSourceVer3)
QEL_TEXT_FORM(qel::ui::QelNet::IntegratedDevice)
QEL_TEXT_FORM(NetRadioService::UserListItem)

#endif
