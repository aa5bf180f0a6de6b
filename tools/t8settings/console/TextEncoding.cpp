#include "console/TextEncoding.h"

#include <cstddef>

#include "console/Shell.h"

namespace t8settings {

namespace {

/// Latin letters in UTF-16 have a zero byte each, before or behind them.
bool isWide(std::string_view bytes) {
    const std::string_view first = bytes.substr(0, 4);
    const auto isPair = [first](std::size_t zero) {
        return first.size() == 4 && first[zero] == 0 && first[zero + 2] == 0 &&
               first[1 - zero] != 0 && first[3 - zero] != 0;
    };
    return bytes.substr(0, 2) == "\xFF\xFE" || bytes.substr(0, 2) == "\xFE\xFF" || isPair(0) ||
           isPair(1);
}

}  // namespace

OddEncoding oddEncodingOf(std::string_view bytes) {
    if (bytes.substr(0, kByteOrderMark.size()) == kByteOrderMark) {
        return {"begins with a byte order mark (BOM)", "save it as UTF-8 without one", false};
    }
    if (isWide(bytes)) {
        return {"is UTF-16", "save it as UTF-8 without a byte order mark (BOM)", true};
    }
    return {};
}

std::string withoutMark(const std::string& path, std::size_t line) {
    return "delete it: sed -i '" + std::to_string(line) + R"(s/\xEF\xBB\xBF//' )" + shellPath(path);
}

}  // namespace t8settings
