#include "console/Table.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "console/Terminal.h"

namespace t8settings {

namespace {

/// Columns that the text takes: bytes that go on a character of UTF-8 take none.
std::size_t widthOf(const std::string& text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U;
    }));
}

std::vector<std::size_t> widthsOf(const std::vector<Row>& rows) {
    std::vector<std::size_t> widths;
    for (const Row& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], widthOf(row[i]));
        }
    }
    return widths;
}

std::string coloured(const std::string& text, Look look) {
    constexpr std::array<const char*, 5> kCodes = {"", "\x1B[1m", "\x1B[36m", "\x1B[31m",
                                                   "\x1B[32m"};
    const char* const code = kCodes.at(static_cast<std::size_t>(look));
    return *code == '\0' || text.empty() ? text : code + text + "\x1B[0m";
}

}  // namespace

const std::vector<Look>& nameAndType() {
    static const std::vector<Look> looks = {Look::kName, Look::kType};
    return looks;
}

std::string linesOf(std::vector<Row> rows, const std::vector<Look>& looks) {
    const bool inColumns = showsToTerminal();
    const bool inColour = showsColours();
    for (Row& row : rows) {
        std::transform(row.begin(), row.end(), row.begin(),
                       [](const std::string& cell) { return visible(cell); });
    }
    const std::vector<std::size_t> widths = widthsOf(rows);
    std::string lines;
    for (const Row& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            lines += inColour && i < looks.size() ? coloured(row[i], looks[i]) : row[i];
            if (i + 1 < row.size()) {
                lines += inColumns ? std::string(widths[i] - widthOf(row[i]) + 2, ' ') : "\t";
            }
        }
        lines += '\n';
    }
    return lines;
}

}  // namespace t8settings
