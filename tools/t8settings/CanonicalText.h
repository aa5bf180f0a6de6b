#ifndef T8SETTINGS_CANONICALTEXT_H
#define T8SETTINGS_CANONICALTEXT_H

#include <optional>
#include <string>

namespace t8settings {

/// One and the same text for all texts, in the form of the files, that mean the same value of the
/// type: for a number all of "+7", " 7" and "007". Nothing for a text that does not mean a value.
///
/// The types themselves read any text somehow, so two texts that they read alike need not mean the
/// same; then their canonical texts differ. A type that is not known here has one text per value.
std::optional<std::string> canonicalText(const std::string& type, const std::string& text);

/// What texts the type takes, for people.
std::string textsOfType(const std::string& type);

}  // namespace t8settings

#endif
