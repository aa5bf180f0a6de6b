#ifndef T8SETTINGS_SHELL_H
#define T8SETTINGS_SHELL_H

#include <string>

namespace t8settings {

/// Whether the byte means nothing but itself wherever it stands in a word of a shell.
bool isPlainInShell(char c);

/// What is to be typed into a shell for the word `text`.
std::string shellWord(const std::string& text);

/// The same for an argument of a command, which is no option either.
std::string shellArgument(const std::string& text);

/// The same for a path, which needs no "--" in front.
std::string shellPath(const std::string& path);

/// What was said on this command line that a command on the same store, or one that looks at the
/// same marker, needs as well. What the environment says need not be typed.
struct SaidOptions {
    std::string location;  ///< each with a blank after it
    std::string marker;
};

/// From now on for `commandOn` and `commandOnName`; one command line per process.
void rememberOptions(const SaidOptions& options);

/// What is to be typed to run a command that changes a file, on this one.
std::string commandOn(const std::string& command, const std::string& path);

/// The same for a command on this store.
std::string commandOnStore(const std::string& command);

/// The same for one that takes a name.
std::string commandOnName(const std::string& command, const std::string& name);

}  // namespace t8settings

#endif
