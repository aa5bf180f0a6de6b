#include "values/CanonicalNumber.h"

#include <algorithm>
#include <cstddef>

namespace t8settings {

namespace {

// Beyond the exponents of any number type, so that all that lies there is out of range alike.
constexpr long kLargestExponent = 100000;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// Takes the digits off the front of `text`.
std::string_view takeDigits(std::string_view& text) {
    const auto end = std::find_if_not(text.begin(), text.end(), isDigit);
    const std::string_view digits = text.substr(0, static_cast<std::size_t>(end - text.begin()));
    text.remove_prefix(digits.size());
    return digits;
}

/// Takes a sign off the front of `text`; "-" for a minus, else "".
std::string takeSign(std::string_view& text) {
    const bool negative = !text.empty() && text.front() == '-';
    if (negative || (!text.empty() && text.front() == '+')) {
        text.remove_prefix(1);
    }
    return negative ? "-" : "";
}

std::string_view withoutLeadingZeros(std::string_view digits) {
    digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
    return digits;
}

/// Takes "e" and a number off the front of `text`, if they are there.
long takeExponent(std::string_view& text) {
    std::string_view rest = text;
    if (rest.empty() || (rest.front() | 0x20) != 'e') {
        return 0;
    }
    rest.remove_prefix(1);
    const bool negative = takeSign(rest) == "-";
    const std::string_view digits = takeDigits(rest);
    if (digits.empty()) {
        return 0;
    }
    long exponent = 0;
    for (const char digit : digits) {
        exponent = std::min(exponent * 10 + (digit - '0'), kLargestExponent);
    }
    text = rest;
    return negative ? -exponent : exponent;
}

std::optional<std::string> notFinite(std::string_view text) {
    std::string word(text);
    for (char& c : word) {
        c = static_cast<char>(c | 0x20);
    }
    if (word == "infinity") {
        return "inf";
    }
    return word == "inf" || word == "nan" ? std::optional<std::string>(word) : std::nullopt;
}

}  // namespace

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kSpace = " \t\n\v\f\r";
    text.remove_prefix(std::min(text.find_first_not_of(kSpace), text.size()));
    text.remove_suffix(text.size() - (text.find_last_not_of(kSpace) + 1));
    return text;
}

std::optional<std::string> canonicalInteger(std::string_view text) {
    text = trimmed(text);
    const std::string sign = takeSign(text);
    const std::string_view digits = takeDigits(text);
    if (digits.empty() || !text.empty()) {
        return std::nullopt;
    }
    const std::string_view significant = withoutLeadingZeros(digits);
    return significant.empty() ? "0" : sign + std::string(significant);
}

std::optional<std::string> canonicalDecimal(std::string_view text) {
    text = trimmed(text);
    const std::string sign = takeSign(text);
    if (const auto word = notFinite(text)) {
        return sign + *word;
    }
    std::string digits(takeDigits(text));
    std::size_t fraction = 0;
    if (!text.empty() && text.front() == '.') {
        text.remove_prefix(1);
        const std::string_view decimals = takeDigits(text);
        fraction = decimals.size();
        digits += decimals;
    }
    if (digits.empty()) {
        return std::nullopt;
    }
    const long written = takeExponent(text);
    if (!text.empty()) {
        return std::nullopt;
    }
    const std::size_t end = digits.find_last_not_of('0');
    if (end == std::string::npos) {
        return "0";
    }
    const long zeros = static_cast<long>(digits.size() - (end + 1));
    const long exponent = written - static_cast<long>(fraction) + zeros;
    const std::string significant(withoutLeadingZeros(digits.substr(0, end + 1)));
    return sign + significant + "e" + std::to_string(exponent);
}

}  // namespace t8settings
