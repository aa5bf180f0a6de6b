#ifndef QEL_SETTINGS_TEXT_FIELDREADER_H
#define QEL_SETTINGS_TEXT_FIELDREADER_H

#include <cstddef>
#include <string>
#include <string_view>

namespace Qel {
namespace Settings {
namespace text {

/// Takes a record's text apart into its comma-separated fields, one at a time.
///
/// A comma within double quotes or behind a backslash does not separate; the quotes are taken off.
/// Escapes are left as they are, but for the comma's: a string field is decoded once, by whoever
/// knows that it is a string. Decoding here as well would turn the `\\n` that stands for a
/// backslash and an "n" into a line feed.
class FieldReader {
public:
    explicit FieldReader(std::string_view text) : rest_(text), expectsField_(!text.empty()) {}

    /// False at the end. An empty field counts, also one behind a last comma.
    bool next(std::string& field);

    /// What follows the fields taken so far and their commas.
    std::string_view rest() const { return rest_; }

private:
    std::size_t takeEscape(std::size_t backslash, std::string& field) const;

    std::string_view rest_;
    bool expectsField_;
};

}  // namespace text
}  // namespace Settings
}  // namespace Qel

#endif
