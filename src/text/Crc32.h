#ifndef QEL_SETTINGS_TEXT_CRC32_H
#define QEL_SETTINGS_TEXT_CRC32_H

#include <cstdint>
#include <string_view>

namespace Qel {
namespace Settings {
namespace text {

/// The standard CRC-32 of `data` (0xCBF43926 for "123456789", 0 for nothing), which tells a file
/// that was written to its end from a torn or damaged one.
std::uint32_t crc32(std::string_view data);

}  // namespace text
}  // namespace Settings
}  // namespace Qel

#endif
