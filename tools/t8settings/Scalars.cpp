#include "Scalars.h"

#include <Qel/Settings/StrConv.h>
#include <algorithm>
#include <cstddef>
#include <limits>
#include <vector>

#include "CanonicalNumber.h"

namespace t8settings {

namespace {

using Canonical = std::optional<std::string>;

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

/// A quote that is neither escaped nor one of an enclosing pair, and a backslash with nothing after
/// it, leave open what is meant.
Canonical canonicalString(std::string_view text) {
    const bool enclosed = text.size() >= 2 && text.front() == '"' && text.back() == '"';
    const std::string_view inner = enclosed ? text.substr(1, text.size() - 2) : text;
    for (std::size_t i = 0; i < inner.size(); ++i) {
        if (inner[i] == '"' || (inner[i] == '\\' && ++i == inner.size())) {
            return std::nullopt;
        }
    }
    return Qel::Settings::StrConv::unescapeString(std::string(text));
}

template <class T>
Scalar integer(const char* type) {
    return {type, canonicalInteger,
            "whole numbers from " + std::to_string(std::numeric_limits<T>::min()) + " to " +
                std::to_string(std::numeric_limits<T>::max())};
}

Scalar decimal(const char* type) {
    return {type, canonicalDecimal, "decimal numbers of up to 6 digits, such as 1.5 or 1e-07"};
}

std::vector<Scalar> allScalars() {
    return {
        {"string", canonicalString, "any text without blanks at its ends"},
        {"char", canonicalChar, "one character of one byte, no blank"},
        {"bool", canonicalBool, "true and false, or 1 and 0"},
        decimal("float32"),
        decimal("float64"),
        integer<unsigned char>("uint8"),
        integer<unsigned short>("uint16"),
        integer<unsigned int>("uint32"),
        integer<unsigned long long>("uint64"),
        integer<signed char>("int8"),
        integer<short>("short"),
        integer<int>("int"),
        integer<long>("long"),
        integer<long long>("long long"),
    };
}

}  // namespace

const Scalar* scalarOf(std::string_view type) {
    static const std::vector<Scalar> scalars = allScalars();
    const auto found = std::find_if(scalars.begin(), scalars.end(),
                                    [&](const Scalar& scalar) { return scalar.type == type; });
    return found == scalars.end() ? nullptr : &*found;
}

}  // namespace t8settings
