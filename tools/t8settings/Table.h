#ifndef T8SETTINGS_TABLE_H
#define T8SETTINGS_TABLE_H

#include <string>
#include <vector>

namespace t8settings {

/// The texts of one line.
using Row = std::vector<std::string>;

/// One line for each row, none of them empty. Between the texts stands a tab or, where standard
/// output is a terminal, blanks that make columns. Control bytes are made visible, so that a line
/// stays a line.
std::string linesOf(std::vector<Row> rows);

}  // namespace t8settings

#endif
