#ifndef T8SETTINGS_DUMP_H
#define T8SETTINGS_DUMP_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace t8settings {

/// A setting as a dump has it, or a place where the dump is not in form.
struct DumpEntry {
    std::string place;         ///< path and line or, in JSON, path and member
    std::string problem = {};  ///< empty for a setting
    std::string name = {};
    std::string type = {};
    std::string text = {};                    ///< as people write it
    std::optional<std::string> storage = {};  ///< which a dump may tell
};

/// Whether the text, which has more than blanks, is to be read as JSON rather than as ini text.
bool isJson(std::string_view bytes);

/// Reads a dump, JSON or ini text, which was read from `path` or, for "-", from standard input. Ini
/// text may also be a storage's file: of one below `base`, if that is not empty.
std::vector<DumpEntry> entriesOf(const std::string& path, const std::string& bytes,
                                 const std::string& base = "");

/// The line of ini text that says it, with its line feed; empty when no line can.
std::string iniLineOf(const std::string& name, const std::string& type, const std::string& text);

}  // namespace t8settings

#endif
