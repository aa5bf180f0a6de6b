#ifndef T8SETTINGS_SWALLOWED_H
#define T8SETTINGS_SWALLOWED_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "check/LineCheck.h"

namespace t8settings {

/// What to do about a line that holds another one: a setting, or a header behind "#name" or above
/// no CRC line. A lost line feed makes one line of two, and so does a section with its setting
/// behind it. What stands in double quotes is no line, nor is what the library writes in that way
/// for a value; what stands behind a closed string is one, whatever it is. Takes time in
/// proportion to the line.
std::optional<Finding> swallowedLineIn(const IniFile::Line& line, const FactoryPtr& factory,
                                       bool lacksCrcLine);

/// Where the "=" of each "KEY = TYPE," stands that has a type that there is, also in quotes.
std::vector<std::size_t> settingsIn(std::string_view text, const FactoryPtr& factory);

/// Whether the file should have a CRC line and has none.
bool lacksCrcLine(const IniFile& file);

/// NAME of the last "[NAME]" in the text of a setting, outside of quotes, that it ends in or that
/// has a swallowed setting behind it; empty when the "[" is lost, and nothing without a "]".
std::optional<std::string_view> sectionIn(const IniFile::Line& setting, const FactoryPtr& factory);

/// The text with each byte in double quotes replaced by one that means nothing. A quote that
/// nothing closes is none, nor is one that is escaped.
std::string withoutQuoted(std::string_view text);

/// How to write the setting so that its text is no more than that; empty when its type would not
/// keep the text anyway.
std::string ifMeantSo(const IniFile::Line& setting, const FactoryPtr& factory);

}  // namespace t8settings

#endif
