#ifndef QEL_SETTINGS_TEXT_XMLENCODING_H
#define QEL_SETTINGS_TEXT_XMLENCODING_H

#include <cstddef>
#include <string>
#include <string_view>

namespace Qel {
namespace Settings {
namespace text {

/// What the first bytes of an XML document tell of its encoding.
struct FirstBytes {
    std::size_t unit;           ///< bytes that a character takes at least: 1, 2 or 4
    std::string_view encoding;  ///< one that reads the XML declaration; empty for ASCII
};

FirstBytes firstBytesOf(std::string_view document);

/// The name of the encoding in the XML declaration of a text, in capitals; empty without one.
///
/// Not only of a well-formed declaration, as libxml2 takes the name from a damaged one too: nothing
/// that it accepts before the name has a ">" or the word in it.
std::string declaredEncoding(std::string_view text);

/// Whether a document may declare the encoding of this name, in capitals, and be read as its first
/// bytes tell: in units of 2 or 4 bytes these settle it; in bytes, where all angle brackets and
/// quotes stand as in ASCII. Of no other encoding of bytes is anything known before it is decoded.
bool isEncodingOf(std::string_view name, std::size_t unit);

}  // namespace text
}  // namespace Settings
}  // namespace Qel

#endif
