#ifndef T8SETTINGS_SHELLLINE_H
#define T8SETTINGS_SHELLLINE_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace t8settings {

/// A command line as somebody is typing it in bash, up to the cursor.
struct ShellLine {
    /// The bytes that end a word for the line editor, besides quotes and blanks, are `wordBreaks`;
    /// it replaces no more of a word than what comes after them.
    ShellLine(std::string_view typed, std::string_view wordBreaks);

    /// What the words mean, without quotes and backslashes; the last one, which may be empty, is
    /// the one that the cursor is in.
    std::vector<std::string> words;
    /// The first bytes of the last word that the line editor leaves as they are.
    std::size_t kept = 0;
    /// The quote that is open at the cursor; 0 for none.
    char quote = 0;

    /// How the end of the last word, from `kept` on, is to be typed for the word to mean `text`.
    std::string replacement(std::string_view text) const;
};

}  // namespace t8settings

#endif
