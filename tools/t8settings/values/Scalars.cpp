#include "values/Scalars.h"

#include <Qel/Settings/StrConv.h>
#include <algorithm>
#include <charconv>
#include <cstddef>
#include <limits>
#include <map>

#include "console/Terminal.h"
#include "values/CanonicalNumber.h"

namespace t8settings {

namespace {

using Canonical = std::optional<std::string>;
using Qel::Settings::TypeDescription;

Canonical canonicalBool(std::string_view text) {
    std::string word(trimmed(text));
    for (char& c : word) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
    }
    const Canonical number = canonicalInteger(word);
    if (word == "true" || number == "1") {
        return "true";
    }
    return word == "false" || number == "0" ? Canonical("false") : std::nullopt;
}

Canonical canonicalChar(std::string_view text) {
    if (text.size() > 1) {
        return std::nullopt;
    }
    return text.empty() ? std::string(1, '\0') : std::string(text);
}

/// `text` begins behind the backslash of something that is read as it stands.
std::string noEscape(std::string_view text) {
    std::size_t length = 1;
    while (length < text.size() && (static_cast<unsigned char>(text[length]) & 0xC0U) == 0x80U) {
        ++length;
    }
    const std::string meant = visible(text.substr(0, length));
    const bool separates = meant == "," || meant == ";";
    return "\\" + meant + " is no escape here: write \\\\" + meant + " for both characters" +
           (separates ? ", or " + meant + " with the string in quotes" : "");
}

/// What leaves open what is meant by a string: a quote that is neither escaped nor one of an
/// enclosing pair, and a backslash that is part of no escape.
std::string faultOfString(std::string_view text) {
    constexpr std::string_view kEscaped = "\"\\0abfnrtv";
    const bool enclosed = text.size() >= 2 && text.front() == '"' && text.back() == '"';
    const std::string_view inner = enclosed ? text.substr(1, text.size() - 2) : text;
    for (std::size_t i = 0; i < inner.size(); ++i) {
        if (inner[i] == '"') {
            return "a quote within it has no backslash";
        }
        if (inner[i] != '\\') {
            continue;
        }
        if (++i == inner.size()) {
            return "nothing follows the backslash at its end";
        }
        if (kEscaped.find(inner[i]) == std::string_view::npos) {
            return noEscape(inner.substr(i));
        }
    }
    return "";
}

Canonical canonicalString(std::string_view text) {
    if (!faultOfString(text).empty()) {
        return std::nullopt;
    }
    return Qel::Settings::StrConv::unescapeString(std::string(text));
}

/// Each value has one text: fewer than seven would leave open which flags are meant.
Canonical canonicalFlags(std::string_view text) {
    return std::string(trimmed(text));
}

template <class T>
Canonical canonicalWithin(std::string_view text) {
    const Canonical number = canonicalInteger(text);
    T value{};
    return number && std::from_chars(number->data(), number->data() + number->size(), value).ec ==
                         std::errc()
               ? number
               : std::nullopt;
}

template <class T>
Scalar integer() {
    return {canonicalWithin<T>, "whole numbers from " +
                                    std::to_string(std::numeric_limits<T>::min()) + " to " +
                                    std::to_string(std::numeric_limits<T>::max())};
}

Scalar decimal() {
    return {canonicalDecimal, "decimal numbers of up to 6 digits, such as 1.5 or 1e-07"};
}

std::map<std::string, Scalar> allScalars() {
    return {
        {"string",
         {canonicalString, R"(any text, with blanks at its ends only when it holds "," or ";")",
          "text with \\\" for a quote, \\\\ for a backslash and \\n for a line feed, in quotes "
          "when it holds \",\" or \";\", and no blanks at the ends of the whole",
          faultOfString}},
        {"char",
         {canonicalChar,
          "one character of one byte, no blank or other white space, or none for the byte 0",
          "one character of one byte, no \";\", a quote or a backslash only at the end of the "
          "whole and white space only within it, or none for the byte 0"}},
        {"bool",
         {canonicalBool, "true and false, or 1 and 0",
          "true and false, with no blanks around them, or 1 and 0"}},
        {"flags", {canonicalFlags, "seven times 0 or 1, the highest flag first"}},
        {"float32", decimal()},
        {"float64", decimal()},
        {"uint8", integer<unsigned char>()},
        {"uint16", integer<unsigned short>()},
        {"uint32", integer<unsigned int>()},
        {"uint64", integer<unsigned long long>()},
        {"int8", integer<signed char>()},
        {"int16", integer<short>()},
        {"short", integer<short>()},
        {"int32", integer<int>()},
        {"int", integer<int>()},
        {"long", integer<long>()},
        {"int64", integer<long long>()},
        {"long long", integer<long long>()},
    };
}

}  // namespace

const Scalar& scalarOf(const std::string& type) {
    static const std::map<std::string, Scalar> scalars = allScalars();
    return scalars.at(type);
}

std::optional<std::string> canonicalEnumerator(const TypeDescription& type, std::string_view text) {
    const auto named = std::find_if(
        type.enumerators.begin(), type.enumerators.end(),
        [&](const TypeDescription::Enumerator& enumerator) { return enumerator.text == text; });
    if (named != type.enumerators.end()) {
        return std::to_string(named->value);
    }
    // Behind anything but a digit a record finds the value of the empty text, which may be the one
    // that was meant.
    const bool isNumber = !text.empty() && text.front() >= '0' && text.front() <= '9';
    return isNumber ? canonicalWithin<int>(text) : std::nullopt;
}

}  // namespace t8settings
