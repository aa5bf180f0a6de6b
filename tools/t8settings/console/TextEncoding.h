#ifndef T8SETTINGS_TEXTENCODING_H
#define T8SETTINGS_TEXTENCODING_H

#include <cstddef>
#include <string>
#include <string_view>

namespace t8settings {

/// Some editors put it before a text, where no program here takes it for anything but a part of the
/// first word.
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/// What a text begins with, or is, that no program here reads as it is meant, and what to do about
/// it; both empty when there is nothing of the kind.
struct OddEncoding {
    std::string reason;
    std::string remedy;
    bool isWhole = false;  ///< of all lines, not of the first one alone
};
OddEncoding oddEncodingOf(std::string_view bytes);

/// What is to be typed to take the mark out of a line.
std::string withoutMark(const std::string& path, std::size_t line);

}  // namespace t8settings

#endif
