#include "text/Tokenizers.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iterator>
#include <limits>

namespace Qel {
namespace Settings {
namespace text {
namespace {

using Iterator = std::string::const_iterator;

constexpr std::array<bool, 256> specialBytes() {
    std::array<bool, 256> special{};
    for (const char byte : {'"', '\\', ';'}) special[static_cast<unsigned char>(byte)] = true;
    return special;
}

/// Most bytes of a text mean nothing to its division into fields.
constexpr std::array<bool, 256> kSpecial = specialBytes();

/// The first ";" that separates fields, or `end`.
template <class Bytes>
Bytes endOfField(Bytes it, Bytes end) {
    bool quoted = false;
    for (; it != end; ++it) {
        if (!kSpecial[static_cast<unsigned char>(*it)]) continue;
        if (*it == '"') {
            quoted = !quoted;
        } else if (*it == '\\') {
            if (++it == end) break;
        } else if (!quoted) {
            break;
        }
    }
    return it;
}

/// A damaged file can hold a length of any size, so it stops growing at the largest count.
std::size_t readLength(Iterator& it, Iterator end) {
    constexpr std::size_t kMax = std::numeric_limits<std::size_t>::max();
    std::size_t length = 0;
    for (; it != end && *it >= '0' && *it <= '9'; ++it) {
        const auto digit = static_cast<std::size_t>(*it - '0');
        length = length > (kMax - digit) / 10 ? kMax : length * 10 + digit;
    }
    return length;
}

}  // namespace

bool nextArrayField(Iterator& it, Iterator end, std::string& token) {
    token.clear();
    if (it == end) return false;
    const Iterator fieldEnd = endOfField(it, end);
    token.assign(it, fieldEnd);
    it = fieldEnd == end ? end : std::next(fieldEnd);
    return true;
}

std::string_view takeField(std::string_view& rest) {
    const char* const end = rest.data() + rest.size();
    const auto length = static_cast<std::size_t>(endOfField(rest.data(), end) - rest.data());
    const std::string_view field = rest.substr(0, length);
    rest.remove_prefix(std::min(length + 1, rest.size()));
    return field;
}

bool nextLengthItem(Iterator& it, Iterator end, std::string& token) {
    token.clear();
    const std::size_t length = readLength(it, end);
    if (length == 0 || it == end || *it != ',') return false;
    ++it;
    const auto left = static_cast<std::size_t>(end - it);
    const std::size_t taken = length < left ? length : left;
    const Iterator itemEnd = it + static_cast<std::string::difference_type>(taken);
    token.assign(it, itemEnd);
    it = itemEnd;
    return taken == length;
}

}  // namespace text
}  // namespace Settings
}  // namespace Qel
