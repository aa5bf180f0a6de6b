#ifndef T8SETTINGS_TABLE_H
#define T8SETTINGS_TABLE_H

#include <string>
#include <vector>

namespace t8settings {

/// The texts of one line.
using Row = std::vector<std::string>;

/// How a column looks on a terminal that has colours.
enum class Look { kPlain, kName, kType, kLeft, kRight };

/// One line for each row, none of them empty. Between the texts stands a tab or, where standard
/// output is a terminal, blanks that make columns, with the look of each column. Control bytes are
/// made visible, so that a line stays a line.
std::string linesOf(std::vector<Row> rows, const std::vector<Look>& looks = {});

/// The looks of rows that begin with a setting's or type's name and have a type or kind after it.
const std::vector<Look>& nameAndType();

}  // namespace t8settings

#endif
