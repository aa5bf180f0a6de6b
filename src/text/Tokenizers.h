#ifndef QEL_SETTINGS_TEXT_TOKENIZERS_H
#define QEL_SETTINGS_TEXT_TOKENIZERS_H

#include <string>
#include <string_view>

namespace Qel {
namespace Settings {
namespace text {

/// Moves `it` past the next field of an array text and past the ";" behind it, and puts the field
/// into `token` with its quotes and backslashes. False, and an empty token, only at the end: an
/// empty field counts. A ";" within double quotes or behind a backslash belongs to its field.
bool nextArrayField(std::string::const_iterator& it, std::string::const_iterator end,
                    std::string& token);

/// The same without a copy, for a `rest` that is not empty.
std::string_view takeField(std::string_view& rest);

/// Moves `it` past an item written as its length in bytes, a comma, and that many bytes of any
/// kind, which go into `token`. False when the length is missing or 0, the comma is missing, or
/// the text ends before the item does.
bool nextLengthItem(std::string::const_iterator& it, std::string::const_iterator end,
                    std::string& token);

}  // namespace text
}  // namespace Settings
}  // namespace Qel

#endif
