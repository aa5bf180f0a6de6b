#ifndef QEL_SETTINGS_TEXT_CRCCHECK_H
#define QEL_SETTINGS_TEXT_CRCCHECK_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace Qel {
namespace Settings {
namespace text {

/// What a file says of its own CRC in its last "#crc32" line. A value of "false" opts a file that
/// was edited by hand out. The text must outlive it.
struct CrcCheck {
    explicit CrcCheck(std::string_view data);

    bool hasLine() const { return textSize != std::string_view::npos; }
    bool isOff() const { return hasLine() && value == "false"; }
    bool passes() const { return hasLine() && (computed == read || isOff()); }

    /// How many of the bytes the CRC covers: those before the line feed in front of the line.
    std::size_t textSize;
    std::string_view value;
    std::uint32_t computed = 0;
    std::uint32_t read = 0;
};

/// Appends the line that says that the text before it is whole.
void appendCrcLine(std::string& data, std::uint32_t crc);

}  // namespace text
}  // namespace Settings
}  // namespace Qel

#endif
