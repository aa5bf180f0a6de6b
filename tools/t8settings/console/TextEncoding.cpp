#include "console/TextEncoding.h"

#include "console/Shell.h"

namespace t8settings {

OddEncoding oddEncodingOf(std::string_view bytes) {
    if (bytes.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
        return {"begins with a byte order mark (BOM)", "save it as UTF-8 without one", false};
    }
    const std::string_view first = bytes.substr(0, 2);
    if (first == "\xFF\xFE" || first == "\xFE\xFF") {
        return {"is UTF-16", "save it as UTF-8 without a byte order mark (BOM)", true};
    }
    return {};
}

std::string withoutMark(const std::string& path, std::size_t line) {
    return "delete it: sed -i '" + std::to_string(line) + R"(s/\xEF\xBB\xBF//' )" + shellPath(path);
}

}  // namespace t8settings
