#ifndef QEL_SETTINGS_TEXT_INIGRAMMAR_H
#define QEL_SETTINGS_TEXT_INIGRAMMAR_H

#include <array>
#include <cstddef>
#include <string_view>

namespace Qel {
namespace Settings {
namespace text {

/// The white space that is cut off the ends of lines, keys and values: what the process's locale
/// calls space, as far as it is ASCII. A byte of 128 or above never counts, since it may be a part
/// of a longer character.
///
/// Asks the locale once, when it is made; make one per file.
class WhiteSpace {
public:
    WhiteSpace();

    /// `text` without the white space at its ends, as a view into the same bytes.
    std::string_view trim(std::string_view text) const {
        while (!text.empty() && contains(text.front())) text.remove_prefix(1);
        while (!text.empty() && contains(text.back())) text.remove_suffix(1);
        return text;
    }

private:
    bool contains(char c) const { return isSpace_[static_cast<unsigned char>(c)]; }

    std::array<bool, 256> isSpace_{};
};

/// One line of a settings file taken apart. The views, all trimmed, point into the line.
struct IniLine {
    enum class Kind {
        Blank,
        Header,          ///< "#key = value"; the value is empty without a "="
        Section,         ///< "[key]"
        SkippedSection,  ///< "[]" or a bracket that is not closed: leaves the section as it was
        Setting,         ///< "key = type,value"
        Malformed,       ///< lacks the "=", or the "," after it
    };

    Kind kind;
    std::string_view key;
    std::string_view type;
    std::string_view value;
};

/// The words of the header "savepolicy": save on demand, on each change, in the background.
constexpr std::array<std::string_view, 3> kSavePolicyWords = {"ondemand", "eachchange", "async"};

/// Takes apart a line that begins with "#".
IniLine splitHeader(std::string_view line, const WhiteSpace& whiteSpace);

/// Takes apart any line that has been trimmed.
IniLine parseLine(std::string_view line, const WhiteSpace& whiteSpace);

/// What a malformed line lacks, for people.
const char* whyMalformed(std::string_view line);

/// Goes through the lines of a file that are not blank. The text must outlive it.
class IniWalk {
public:
    explicit IniWalk(std::string_view text) : text_(text) {}

    /// Moves on to the next line; false when there is none.
    bool next();

    /// Counted from 1, blank lines included.
    std::size_t number() const { return number_; }
    /// Whether no line came before it.
    bool isFirst() const { return seen_ == 1; }
    /// The line, trimmed.
    std::string_view whole() const { return whole_; }
    const IniLine& line() const { return line_; }

private:
    WhiteSpace whiteSpace_;
    std::string_view text_;
    std::size_t start_ = 0;
    std::size_t number_ = 0;
    std::size_t seen_ = 0;
    std::string_view whole_;
    IniLine line_ = {};
};

std::size_t countLineFeeds(std::string_view text);

}  // namespace text
}  // namespace Settings
}  // namespace Qel

#endif
