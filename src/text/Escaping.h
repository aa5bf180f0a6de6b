#ifndef QEL_SETTINGS_TEXT_ESCAPING_H
#define QEL_SETTINGS_TEXT_ESCAPING_H

#include <string>
#include <string_view>

namespace Qel {
namespace Settings {
namespace text {

/// Appends `value` with its quotes, backslashes and eight control characters written as a backslash
/// and a letter, the whole in double quotes when it holds a comma or a semicolon: those separate
/// the items of the longer forms. Every string comes back from `unescape` as it was.
void appendEscaped(std::string& out, std::string_view value);

/// The string that `escaped` stands for. One pair of double quotes round it is dropped, an unknown
/// escape stays as it is, a backslash at the end is dropped.
std::string unescape(std::string_view escaped);

}  // namespace text
}  // namespace Settings
}  // namespace Qel

#endif
