#ifndef T8SETTINGS_PATTERN_H
#define T8SETTINGS_PATTERN_H

#include <bitset>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace t8settings {

/// What somebody writes to mean several names: `*` stands for any bytes, slashes too, `?` for one
/// byte, `[a-z]` for one of these and `[!a-z]` for one other. A `[` that is never closed stands for
/// itself. Names are bytes, so a character beyond ASCII takes several `?`.
class Pattern {
public:
    /// Matches names as a whole when `text` has such characters, and otherwise all names that begin
    /// with `text`. The empty text matches every name.
    static Pattern ofNames(const std::string& text);

    /// Matches the name `text` alone, whatever characters are in it.
    static Pattern exactly(const std::string& text);

    const std::string& text() const { return text_; }

    /// Whether the text has any of the special characters.
    bool isGlob() const { return isGlob_; }

    bool matches(std::string_view name) const;

    /// The same pattern for the end of a path.
    Pattern atEndOfPath() const;

    /// Bytes to insert, delete or replace in the name until the pattern matches; letter case costs
    /// nothing.
    std::size_t slips(std::string_view name) const;

    /// How many bytes a name that matches has at least.
    std::size_t shortest() const;

    /// Whether names of any length can match.
    bool hasRun() const;

private:
    struct Element {
        bool isRun = false;  ///< any bytes, or else one of `bytes`
        std::bitset<256> bytes = {};
    };

    static Element literal(char byte);
    std::size_t addSet(std::size_t open);
    void addGlob();

    std::string text_;
    bool isGlob_ = false;
    std::vector<Element> elements_;
};

}  // namespace t8settings

#endif
