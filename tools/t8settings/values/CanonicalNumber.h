#ifndef T8SETTINGS_CANONICALNUMBER_H
#define T8SETTINGS_CANONICALNUMBER_H

#include <optional>
#include <string>
#include <string_view>

namespace t8settings {

/// `text` without the white space that a reader of settings files cuts off its ends.
std::string_view trimmed(std::string_view text);

/// The whole number of any size that `text` writes in decimal, without needless sign and zeros;
/// nothing when `text` is anything else.
std::optional<std::string> canonicalInteger(std::string_view text);

/// The decimal number that `text` writes, exactly, however many digits it has: its digits without
/// zeros at either end, and a power of ten. "inf" and "nan" count; nothing for anything else.
std::optional<std::string> canonicalDecimal(std::string_view text);

}  // namespace t8settings

#endif
