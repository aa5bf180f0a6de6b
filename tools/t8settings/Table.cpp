#include "Table.h"

#include <algorithm>
#include <cstddef>
#include <unistd.h>

#include "Terminal.h"

namespace t8settings {

namespace {

std::vector<std::size_t> widthsOf(const std::vector<Row>& rows) {
    std::vector<std::size_t> widths;
    for (const Row& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    return widths;
}

}  // namespace

std::string linesOf(std::vector<Row> rows) {
    const bool inColumns = ::isatty(STDOUT_FILENO) == 1;
    for (Row& row : rows) {
        std::transform(row.begin(), row.end(), row.begin(),
                       [](const std::string& cell) { return visible(cell); });
    }
    const std::vector<std::size_t> widths = widthsOf(rows);
    std::string lines;
    for (const Row& row : rows) {
        for (std::size_t i = 0; i + 1 < row.size(); ++i) {
            lines += row[i];
            lines += inColumns ? std::string(widths[i] - row[i].size() + 2, ' ') : "\t";
        }
        lines += row.back() + '\n';
    }
    return lines;
}

}  // namespace t8settings
