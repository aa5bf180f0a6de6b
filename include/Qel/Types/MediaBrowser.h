#ifndef QEL_TYPES_MEDIABROWSER_H
#define QEL_TYPES_MEDIABROWSER_H

#include <string>

#include "Qel/Types/TextForm.h"

namespace qel {
namespace mediabrowser {

/// An entry of a list of recently played media.
struct RecentListItem {
    int number = 0;
    std::string text1;
    std::string text2;
    std::string text3;
    bool flag = false;
};

/// A recently played video.
struct RecentVideoItem {
    std::string text;
    int number = 0;
};

/// A number and eleven texts.
struct RecentListDmrItemMetadata {
    unsigned int number = 0;
    std::string text1;
    std::string text2;
    std::string text3;
    std::string text4;
    std::string text5;
    std::string text6;
    std::string text7;
    std::string text8;
    std::string text9;
    std::string text10;
    std::string text11;
};

}  // namespace mediabrowser
}  // namespace qel

QEL_TEXT_FORM(qel::mediabrowser::RecentListItem)
QEL_TEXT_FORM(qel::mediabrowser::RecentVideoItem)
QEL_TEXT_FORM(qel::mediabrowser::RecentListDmrItemMetadata)

#endif
