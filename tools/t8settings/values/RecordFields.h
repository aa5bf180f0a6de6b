#ifndef T8SETTINGS_RECORDFIELDS_H
#define T8SETTINGS_RECORDFIELDS_H

#include <Qel/Settings/TypeDescription.h>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace t8settings {

/// The texts of the fields in a record's text, without the quotes around them; more or fewer than
/// the record has fields when the text does not fit. A list as the record's last field takes all
/// that is left.
std::vector<std::string> fieldsOf(const Qel::Settings::TypeDescription& record,
                                  std::string_view text);

/// The list without the length before it, which may be missing; nothing when the length is wrong.
std::optional<std::string> listOfField(std::string_view text);

}  // namespace t8settings

#endif
