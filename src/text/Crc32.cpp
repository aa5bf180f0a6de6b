#include "text/Crc32.h"

#include <array>
#include <cstddef>

namespace Qel {
namespace Settings {
namespace text {
namespace {

/// What each value of the lowest byte adds to the remainder of the polynomial division.
constexpr std::array<std::uint32_t, 256> remainders() {
    constexpr std::uint32_t kReversedPolynomial = 0xEDB88320;
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t byte = 0; byte < table.size(); ++byte) {
        std::uint32_t remainder = byte;
        for (int bit = 0; bit < 8; ++bit) {
            remainder = (remainder >> 1) ^ ((remainder & 1) != 0 ? kReversedPolynomial : 0);
        }
        table[byte] = remainder;
    }
    return table;
}

constexpr std::array<std::uint32_t, 256> kRemainders = remainders();

}  // namespace

std::uint32_t crc32(std::string_view data) {
    std::uint32_t remainder = 0xFFFFFFFF;
    for (const char c : data) {
        remainder =
            (remainder >> 8) ^ kRemainders[(remainder ^ static_cast<unsigned char>(c)) & 0xFF];
    }
    return ~remainder;
}

}  // namespace text
}  // namespace Settings
}  // namespace Qel
