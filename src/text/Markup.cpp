#include "text/Markup.h"

namespace Qel {
namespace Settings {
namespace text {
namespace {

bool isLetter(char c) {
    const char lower = static_cast<char>(c | 0x20);
    return lower >= 'a' && lower <= 'z';
}

/// Whether a "<" that is followed by this opens a tag or a declaration: not a comment, a CDATA
/// section or a processing instruction, which may hold anything.
bool opensTag(std::string_view rest) {
    return rest.size() >= 2 && rest[0] != '?' && (rest[0] != '!' || isLetter(rest[1]));
}

/// Attributes, or values in a declaration, up to the end of the tag.
std::size_t countParts(std::string_view tag) {
    std::size_t parts = 0;
    char quote = '\0';
    for (const char c : tag) {
        if (quote != '\0') {
            if (c == quote) quote = '\0';
        } else if (c == '"' || c == '\'') {
            quote = c;
            ++parts;
        } else if (c == '|') {
            ++parts;
        } else if (c == '>') {
            break;
        }
    }
    return parts;
}

}  // namespace

bool hasOverlongTag(std::string_view text) {
    std::size_t open = text.find('<');
    while (open != std::string_view::npos) {
        // No tag has a "<" in it, not even in quotes.
        const std::size_t next = text.find('<', open + 1);
        const std::string_view rest = text.substr(open + 1, next - open - 1);
        if (opensTag(rest) && countParts(rest) > kMostPartsOfATag) return true;
        open = next;
    }
    return false;
}

}  // namespace text
}  // namespace Settings
}  // namespace Qel
