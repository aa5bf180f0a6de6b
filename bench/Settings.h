#ifndef BENCH_SETTINGS_H
#define BENCH_SETTINGS_H

#include <cstddef>
#include <string>
#include <variant>
#include <vector>

namespace bench {

using Value = std::variant<int, bool, double, std::string, std::vector<int>>;

/// One setting of the data that every store gets.
struct Setting {
    std::string section;   ///< "s12"
    std::string key;       ///< "k34"
    std::string fullName;  ///< "s12/k34"
    Value value;
};

using Settings = std::vector<Setting>;

/// `count` settings in sections of 50, the same at each call: of ten settings four are integers,
/// two flags, one a floating-point number of at most six digits (more are not everybody's to keep),
/// two strings of 20 bytes, one an array of 8 integers. Every fifth string has characters that text
/// formats must escape.
Settings makeSettings(std::size_t count);

/// Another value of the same type and, as text, of the same length or nearly so.
Value changed(const Value& value);

/// All positions of `settings` in an order that is shuffled, but the same at each call.
std::vector<std::size_t> shuffledPositions(const Settings& settings);

/// Text for the formats that cannot hold every byte: line feeds, backslashes and quotes escaped.
std::string escaped(const std::string& text);
std::string unescaped(const std::string& text);

/// Integers as text with a separator, for formats without arrays.
std::string joined(const std::vector<int>& numbers, char separator);
std::vector<int> split(const char* text, char separator);

}  // namespace bench

#endif
