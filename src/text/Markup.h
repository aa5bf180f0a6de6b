#ifndef QEL_SETTINGS_TEXT_MARKUP_H
#define QEL_SETTINGS_TEXT_MARKUP_H

#include <cstddef>
#include <string_view>

namespace Qel {
namespace Settings {
namespace text {

/// The most attributes that an element of a document may have, and the most values that an
/// attribute may be declared to have.
constexpr std::size_t kMostPartsOfATag = 1000;

/// Whether some tag or declaration of an XML document goes beyond `kMostPartsOfATag`. In the text
/// no byte is an angle bracket or a quote other than as ASCII has it. One that is a bar may be half
/// of a letter; it counts as a bar, so that letters of a name count as parts at worst.
///
/// libxml2 compares each attribute and each value with all that came before it, and gives the
/// values back by a function that calls itself for each: a document of some hundred kilobytes could
/// keep it busy for minutes, or overflow the stack.
///
/// What looks like a tag in a comment counts too.
bool hasOverlongTag(std::string_view text);

}  // namespace text
}  // namespace Settings
}  // namespace Qel

#endif
