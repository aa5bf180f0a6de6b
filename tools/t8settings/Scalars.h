#ifndef T8SETTINGS_SCALARS_H
#define T8SETTINGS_SCALARS_H

#include <optional>
#include <string>
#include <string_view>

namespace t8settings {

/// A type of single values, as far as its texts are concerned.
struct Scalar {
    std::string type;
    /// The same text for all texts that mean the same value; nothing for a text that means none.
    std::optional<std::string> (*canonical)(std::string_view text);
    /// What texts the type takes, for people.
    std::string texts;
};

/// The built-in type of this name; null when there is none.
const Scalar* scalarOf(std::string_view type);

}  // namespace t8settings

#endif
