#ifndef T8SETTINGS_SCALARS_H
#define T8SETTINGS_SCALARS_H

#include <Qel/Settings/TypeDescription.h>
#include <optional>
#include <string>
#include <string_view>

namespace t8settings {

/// A type of single values, as far as its texts are concerned.
struct Scalar {
    /// The same text for all texts that mean the same value; nothing for a text that means none.
    std::optional<std::string> (*canonical)(std::string_view text);
    /// What texts the type takes, for people.
    std::string texts;
    /// The same where the text is a part of another one, if it is not the same there.
    std::string textsWithin = {};
    /// What is wrong with a text that means no value, if more than the above can be said; otherwise
    /// empty. May be null.
    std::string (*fault)(std::string_view text) = nullptr;
};

/// The built-in type of this name, or that of the seven flags in a record. Throws
/// `std::out_of_range` when there is none.
const Scalar& scalarOf(const std::string& type);

/// The same for an enumeration: the number of its value.
std::optional<std::string> canonicalEnumerator(const Qel::Settings::TypeDescription& type,
                                               std::string_view text);

}  // namespace t8settings

#endif
