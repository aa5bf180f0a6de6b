#ifndef QEL_SETTINGS_TEXT_NUMBERS_H
#define QEL_SETTINGS_TEXT_NUMBERS_H

#include <string>
#include <string_view>

namespace Qel {
namespace Settings {
namespace text {

// Numbers are read as the C library's strtol family reads them in the "C" locale, and written as a
// default output stream writes them there, whatever locale the process has chosen: a settings file
// must mean the same to every process. All of them are safe to call from any thread.

/// The decimal number that `text` begins with, held to the limits of `Integer`.
///
/// White space, then one sign, may lead; reading stops at the first byte that is no digit, and a
/// text without a number gives 0. A minus sign before an unsigned number negates it within the
/// type's width, once the digits alone were found to fit: "-1" is the largest value, a number that
/// does not fit is the largest value too. For `int`, `unsigned int`, `long long`,
/// `unsigned long long`.
template <class Integer>
Integer parseInteger(std::string_view text);

extern template int parseInteger<int>(std::string_view);
extern template unsigned int parseInteger<unsigned int>(std::string_view);
extern template long long parseInteger<long long>(std::string_view);
extern template unsigned long long parseInteger<unsigned long long>(std::string_view);

/// `parseInteger<unsigned int>` for a number that is hexadecimal after "0x", octal after "0" and
/// decimal otherwise.
unsigned int parseUnsignedOfAnyBase(std::string_view text);

/// The floating point number that `text` begins with, 0 without one; infinite when out of range.
double parseDouble(std::string_view text);

/// `parseDouble` rounded to the nearest `float`.
float parseFloat(std::string_view text);

/// True for "true" in any letter case and for a text that `parseInteger<int>` finds not to be 0.
bool parseBool(std::string_view text);

void appendSigned(std::string& out, long long value);
void appendUnsigned(std::string& out, unsigned long long value);

/// Six significant digits, with an exponent where that is shorter: "0.1", "1.23457e+06", "inf".
void appendDouble(std::string& out, double value);

/// "true" or "false".
void appendBool(std::string& out, bool value);

}  // namespace text
}  // namespace Settings
}  // namespace Qel

#endif
