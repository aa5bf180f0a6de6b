#ifndef QEL_SETTINGS_TEXT_XMLENCODING_H
#define QEL_SETTINGS_TEXT_XMLENCODING_H

#include <cstddef>
#include <string>
#include <string_view>

namespace Qel {
namespace Settings {
namespace text {

/// How many bytes an XML document takes at least for each character, as its first bytes tell
/// libxml2: 2 for UTF-16, 4 for UTF-32, otherwise 1.
std::size_t unitSize(std::string_view document);

/// A document in units of `unit` bytes as one byte each: the byte at `place` of the unit where all
/// others are NUL, so ASCII is as it should be, and 0xFF for any other unit. `place` is 0 for the
/// byte order that has the low byte first and `unit - 1` for the other.
std::string narrowed(std::string_view document, std::size_t unit, std::size_t place);

/// Whether `holds` is true of the text of a document, bytes in which ASCII stands for itself and
/// anything else is no ASCII. Where units are wider than a byte both byte orders are tried, since
/// libxml2 goes over to the other one in the midst of a document that declares it.
template <class Predicate>
bool anyReading(std::string_view document, Predicate holds) {
    const std::size_t unit = unitSize(document);
    return unit == 1
               ? holds(document)
               : holds(narrowed(document, unit, 0)) || holds(narrowed(document, unit, unit - 1));
}

/// Whether an XML document is written in an encoding, or declares one, in which markup does not
/// stand where ASCII has it (EBCDIC, UTF-7, ISO-2022), or which is not known not to be such a one.
/// So is one whose declaration contradicts its first bytes: libxml2 believes first the one and then
/// the other.
bool hasUnreadEncoding(std::string_view document);

}  // namespace text
}  // namespace Settings
}  // namespace Qel

#endif
