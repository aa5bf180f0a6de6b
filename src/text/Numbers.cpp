#include "text/Numbers.h"

#include <algorithm>
#include <cfloat>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <locale.h>
#include <optional>
#include <stdlib.h>
#include <type_traits>

namespace Qel {
namespace Settings {
namespace text {
namespace {

template <class Unsigned>
struct Magnitude {
    Unsigned value;
    bool fits;
};

bool isSpace(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

unsigned int digitOf(char c) {
    if (c >= '0' && c <= '9') return static_cast<unsigned int>(c - '0');
    const char lower = static_cast<char>(c | 0x20);
    if (lower >= 'a' && lower <= 'f') return static_cast<unsigned int>(lower - 'a') + 10;
    return std::numeric_limits<unsigned int>::max();
}

std::string_view withoutLeadingSpace(std::string_view text) {
    while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
    return text;
}

/// Takes a sign off the front of `text`; true for a minus.
bool takeSign(std::string_view& text) {
    const bool negative = !text.empty() && text.front() == '-';
    if (negative || (!text.empty() && text.front() == '+')) text.remove_prefix(1);
    return negative;
}

/// Takes the prefix that tells a number's base off the front of `digits`. The "0" of an octal
/// number stays: it is a digit as well, and the only one of "0" and "0x" alone.
unsigned int takeBase(std::string_view& digits) {
    if (digits.empty() || digits[0] != '0') return 10;
    if (digits.size() < 3 || (digits[1] | 0x20) != 'x' || digitOf(digits[2]) >= 16) return 8;
    digits.remove_prefix(2);
    return 16;
}

template <class Unsigned>
Magnitude<Unsigned> readDigits(std::string_view digits, unsigned int base, Unsigned value = 0) {
    constexpr Unsigned kMax = std::numeric_limits<Unsigned>::max();
    const Unsigned mostBeforeADigit = kMax / base;
    for (const char c : digits) {
        const unsigned int digit = digitOf(c);
        if (digit >= base) break;
        if (value > mostBeforeADigit || value * base > kMax - digit) return {kMax, false};
        value = value * base + digit;
    }
    return {value, true};
}

template <class Unsigned>
Magnitude<Unsigned> readDecimal(std::string_view digits) {
    // So many digits fit, whatever they are.
    const std::size_t safe =
        std::min<std::size_t>(digits.size(), std::numeric_limits<Unsigned>::digits10);
    Unsigned value = 0;
    for (std::size_t i = 0; i < safe; ++i) {
        const auto digit = static_cast<unsigned int>(digits[i] - '0');
        if (digit > 9) return {value, true};
        value = value * 10 + digit;
    }
    return readDigits(digits.substr(safe), 10, value);
}

/// The value of a text that is nothing but a sign, up to 15 digits and a point: the digits as a
/// whole number and the power of ten are then exact, and one division gives the nearest value.
/// Nothing for any other text, and on processors whose registers would round twice.
std::optional<double> readShortDecimal(std::string_view text) {
    static constexpr double kPowersOfTen[] = {1,   1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                              1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
    if (FLT_EVAL_METHOD != 0) return {};
    const bool negative = takeSign(text);
    const std::size_t point = std::min(text.find('.'), text.size());
    const std::size_t digits = text.size() - (point < text.size() ? 1 : 0);
    if (digits == 0 || digits > 15) return {};
    std::int64_t whole = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (i == point) continue;
        const auto digit = static_cast<unsigned int>(text[i] - '0');
        if (digit > 9) return {};
        whole = whole * 10 + digit;
    }
    const auto magnitude = static_cast<double>(whole);
    return (negative ? -magnitude : magnitude) / kPowersOfTen[digits - point];
}

template <class Unsigned>
Unsigned unsignedOf(const Magnitude<Unsigned>& magnitude, bool negative) {
    return negative && magnitude.fits ? Unsigned{0} - magnitude.value : magnitude.value;
}

template <class Signed, class Unsigned>
Signed signedOf(const Magnitude<Unsigned>& magnitude, bool negative) {
    constexpr Signed kMax = std::numeric_limits<Signed>::max();
    constexpr Signed kMin = std::numeric_limits<Signed>::min();
    if (magnitude.value > static_cast<Unsigned>(kMax)) return negative ? kMin : kMax;
    const auto value = static_cast<Signed>(magnitude.value);
    return negative ? -value : value;
}

/// Made once and kept to the end of the process: settings are still read and written while static
/// objects are being destroyed.
locale_t cLocale() {
    static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
    return locale;
}

template <class Value, class... Format>
void appendChars(std::string& out, Value value, Format... format) {
    char buffer[32];
    const std::to_chars_result end =
        std::to_chars(buffer, buffer + sizeof buffer, value, format...);
    out.append(buffer, static_cast<std::size_t>(end.ptr - buffer));
}

}  // namespace

template <class Integer>
Integer parseInteger(std::string_view text) {
    using Unsigned = std::make_unsigned_t<Integer>;
    std::string_view digits = withoutLeadingSpace(text);
    const bool negative = takeSign(digits);
    const Magnitude<Unsigned> magnitude = readDecimal<Unsigned>(digits);
    if constexpr (std::is_signed<Integer>::value) {
        return signedOf<Integer>(magnitude, negative);
    } else {
        return unsignedOf(magnitude, negative);
    }
}

template int parseInteger<int>(std::string_view);
template unsigned int parseInteger<unsigned int>(std::string_view);
template long long parseInteger<long long>(std::string_view);
template unsigned long long parseInteger<unsigned long long>(std::string_view);

unsigned int parseUnsignedOfAnyBase(std::string_view text) {
    std::string_view digits = withoutLeadingSpace(text);
    const bool negative = takeSign(digits);
    const unsigned int base = takeBase(digits);
    return unsignedOf(readDigits<unsigned int>(digits, base), negative);
}

double parseDouble(std::string_view text) {
    if (const std::optional<double> value = readShortDecimal(text)) return *value;
    const std::string terminated(text);
    return strtod_l(terminated.c_str(), nullptr, cLocale());
}

float parseFloat(std::string_view text) {
    // Through memory, where a float has the width of a float: registers may be wider.
    const volatile auto rounded = static_cast<float>(parseDouble(text));
    return rounded;
}

bool parseBool(std::string_view text) {
    constexpr std::string_view kTrue = "true";
    if (text.size() == kTrue.size()) {
        std::size_t i = 0;
        while (i < kTrue.size() && static_cast<char>(text[i] | 0x20) == kTrue[i]) ++i;
        if (i == kTrue.size()) return true;
    }
    return parseInteger<int>(text) != 0;
}

void appendSigned(std::string& out, long long value) {
    appendChars(out, value);
}

void appendUnsigned(std::string& out, unsigned long long value) {
    appendChars(out, value);
}

void appendDouble(std::string& out, double value) {
    appendChars(out, value, std::chars_format::general, 6);
}

void appendBool(std::string& out, bool value) {
    out += value ? "true" : "false";
}

}  // namespace text
}  // namespace Settings
}  // namespace Qel
