#include "text/Crc32.h"

#include <zlib.h>

namespace Qel {
namespace Settings {
namespace text {

std::uint32_t crc32(std::string_view data) {
    const auto* const bytes = reinterpret_cast<const unsigned char*>(data.data());
    return static_cast<std::uint32_t>(::crc32_z(0, bytes, data.size()));
}

}  // namespace text
}  // namespace Settings
}  // namespace Qel
