#include "text/CrcCheck.h"

#include "text/Crc32.h"
#include "text/IniGrammar.h"
#include "text/Numbers.h"

namespace Qel {
namespace Settings {
namespace text {

namespace {

constexpr std::string_view kCrcLine = "\n#crc32";

}  // namespace

CrcCheck::CrcCheck(std::string_view data) : textSize(data.rfind(kCrcLine)) {
    if (textSize == std::string_view::npos) {
        return;
    }
    // The last byte is the line feed that ends the line. Without it the line is cut short, and so
    // is its number.
    const std::string_view line = data.substr(textSize + 1, data.size() - textSize - 2);
    value = splitHeader(line, WhiteSpace()).value;
    computed = crc32(data.substr(0, textSize));
    read = parseUnsignedOfAnyBase(value);
}

void appendCrcLine(std::string& data, std::uint32_t crc) {
    data.append(kCrcLine).append(" = ");
    appendUnsigned(data, crc);
    data += '\n';
}

}  // namespace text
}  // namespace Settings
}  // namespace Qel
