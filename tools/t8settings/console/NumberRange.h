#ifndef T8SETTINGS_NUMBERRANGE_H
#define T8SETTINGS_NUMBERRANGE_H

#include <optional>
#include <string>
#include <string_view>

namespace t8settings {

/// The whole numbers that an option or a variable of the environment takes.
struct NumberRange {
    unsigned long least;
    unsigned long most;

    /// The number that `text` writes in decimal digits; nothing for one out of the range, and for
    /// what others may read as something else: with a sign, a blank or a zero in front.
    std::optional<unsigned long> read(std::string_view text) const;

    /// What is to be said of another text: "takes a number from 1 to 9, in digits alone".
    std::string demand() const;
};

}  // namespace t8settings

#endif
