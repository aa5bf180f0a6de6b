#ifndef TESTS_DOCS_MARKDOWNPAGE_H
#define TESTS_DOCS_MARKDOWNPAGE_H

#include <cstddef>
#include <filesystem>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "Files.h"

namespace testsupport {

/// `path` is relative to the top of the source tree.
inline std::string sourceFile(const std::string& path) {
    static const std::filesystem::path kTests =
        std::filesystem::path(T8_TEST_DATA_DIR).parent_path();
    return (kTests.parent_path() / path).string();
}

/// What the tests need of a page: its fenced blocks and its tables.
class MarkdownPage {
public:
    using Row = std::vector<std::string>;

    explicit MarkdownPage(const std::string& path) {
        std::istringstream text(readFile(sourceFile(path)));
        for (std::string line; std::getline(text, line);) {
            lines_.push_back(line);
        }
    }

    /// The first fenced block of this language, each line with its LF. Throws when there is none.
    std::string fencedBlock(const std::string& language) const {
        for (std::size_t i = 0; i < lines_.size(); ++i) {
            if (lines_[i] == "```" + language) {
                std::string block;
                while (lines_.at(++i) != "```") {
                    block += lines_[i] + "\n";
                }
                return block;
            }
        }
        throw std::runtime_error("no block of " + language);
    }

    /// The rows of the table with this heading line; empty when there is none.
    std::vector<Row> table(const std::string& heading) const {
        std::vector<Row> rows;
        for (std::size_t i = 0; i < lines_.size(); ++i) {
            if (lines_[i] == heading) {
                for (i += 2; i < lines_.size() && lines_[i].compare(0, 1, "|") == 0; ++i) {
                    rows.push_back(cells(lines_[i]));
                }
            }
        }
        return rows;
    }

private:
    static Row cells(const std::string& line) {
        static const std::string kBorder = " | ";
        Row row;
        std::string rest = line.substr(2, line.size() - 4);
        for (std::size_t end; (end = rest.find(kBorder)) != std::string::npos;) {
            row.push_back(rest.substr(0, end));
            rest.erase(0, end + kBorder.size());
        }
        row.push_back(rest);
        return row;
    }

    std::vector<std::string> lines_;
};

}  // namespace testsupport

#endif
