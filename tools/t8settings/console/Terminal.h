#ifndef T8SETTINGS_TERMINAL_H
#define T8SETTINGS_TERMINAL_H

#include <string>
#include <string_view>
#include <vector>

namespace t8settings {

/// `text` fit for one line on a terminal: control bytes as "\n", "\t" or "\x1B", all others as they
/// are. For the eye only, since a backslash in `text` stays single.
std::string visible(std::string_view text);

/// The same for a message, with bytes that are not UTF-8 as "\xC3" too: results have those as they
/// are, but what was torn off a character is nothing to be read.
std::string legible(std::string_view text);

/// Whether it is `legible` as it is.
bool isLegible(std::string_view text);

/// `legible` in double quotes, or in single ones when the text itself has double ones; backslashes
/// stay single. For the eye: what is to be typed is a `shellWord`.
std::string inQuotes(std::string_view text);

/// "1 setting", "2 settings".
std::string counted(std::size_t count, const std::string& thing);

/// The lines of `text`, without their line feeds.
std::vector<std::string> splitLines(std::string_view text);

/// Writes each line of `text` to standard error, with the program's name in front.
void complain(std::string_view text);

/// Shows the beginning of the text, as much as a row of the terminal holds, on standard error until
/// the next such text, the next message or `endPassing` takes it away.
void showInPassing(std::string_view text);
void endPassing();

/// Whether standard error can show and take away: a terminal that is not called "dumb".
bool canShowInPassing();

/// Writes all of `text` to the descriptor; false, with `errno` set, when that fails.
bool writeAll(int descriptor, std::string_view text);

/// Appends all that there is to be read; false, with `errno` set, when that fails, and with EFBIG
/// when there is more than `most`: a device may have no end.
bool readAll(int descriptor, std::size_t most, std::string& bytes);

/// Whether standard output is read by a person and not by a program.
bool showsToTerminal();

/// Whether standard output takes colours: a terminal that is not called "dumb", unless NO_COLOR is
/// set to something.
bool showsColours();

}  // namespace t8settings

#endif
