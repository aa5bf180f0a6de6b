#include "text/Escaping.h"

#include <array>
#include <cstddef>

namespace Qel {
namespace Settings {
namespace text {
namespace {

struct Escape {
    char byte;
    char letter;
};

constexpr Escape kEscapes[] = {{'\0', '0'}, {'\a', 'a'}, {'\b', 'b'}, {'\t', 't'}, {'\n', 'n'},
                               {'\v', 'v'}, {'\f', 'f'}, {'\r', 'r'}, {'"', '"'},  {'\\', '\\'}};

constexpr int kNone = -1;

/// What each byte turns into, `kNone` for a byte that has no place in the table.
using ByteTable = std::array<int, 256>;

constexpr ByteTable tableOf(char Escape::*from, char Escape::*to) {
    ByteTable table{};
    for (int& entry : table) entry = kNone;
    for (const Escape& escape : kEscapes) {
        table[static_cast<unsigned char>(escape.*from)] = static_cast<unsigned char>(escape.*to);
    }
    return table;
}

constexpr ByteTable kLetterOfByte = tableOf(&Escape::byte, &Escape::letter);
constexpr ByteTable kByteOfLetter = tableOf(&Escape::letter, &Escape::byte);

constexpr unsigned char kIsEscaped = 1;
constexpr unsigned char kAsksForQuotes = 2;

/// What a byte means for the text that it stands in.
constexpr std::array<unsigned char, 256> kMarks = [] {
    std::array<unsigned char, 256> marks{};
    for (const Escape& escape : kEscapes) {
        marks[static_cast<unsigned char>(escape.byte)] = kIsEscaped;
    }
    marks[','] = kAsksForQuotes;
    marks[';'] = kAsksForQuotes;
    return marks;
}();

int lookUp(const ByteTable& table, char c) {
    return table[static_cast<unsigned char>(c)];
}

void appendWithEscapes(std::string& out, std::string_view value) {
    std::size_t plain = 0;
    for (std::size_t i = 0; i < value.size(); ++i) {
        const int letter = lookUp(kLetterOfByte, value[i]);
        if (letter == kNone) continue;
        out.append(value, plain, i - plain);
        out += '\\';
        out += static_cast<char>(letter);
        plain = i + 1;
    }
    out.append(value, plain);
}

}  // namespace

void appendEscaped(std::string& out, std::string_view value) {
    unsigned int marks = 0;
    for (const char c : value) marks |= kMarks[static_cast<unsigned char>(c)];
    const bool quoted = (marks & kAsksForQuotes) != 0;
    if (quoted) out += '"';
    if ((marks & kIsEscaped) != 0) {
        appendWithEscapes(out, value);
    } else {
        out.append(value);
    }
    if (quoted) out += '"';
}

std::string unescape(std::string_view escaped) {
    if (escaped.size() >= 2 && escaped.front() == '"' && escaped.back() == '"') {
        escaped = escaped.substr(1, escaped.size() - 2);
    }
    std::string value;
    value.reserve(escaped.size());
    std::size_t at = 0;
    while (at < escaped.size()) {
        const std::size_t backslash = escaped.find('\\', at);
        value.append(escaped, at, backslash - at);
        if (backslash == std::string_view::npos || backslash + 1 == escaped.size()) break;
        const char letter = escaped[backslash + 1];
        const int byte = lookUp(kByteOfLetter, letter);
        if (byte == kNone) value += '\\';
        value += byte == kNone ? letter : static_cast<char>(byte);
        at = backslash + 2;
    }
    return value;
}

}  // namespace text
}  // namespace Settings
}  // namespace Qel
