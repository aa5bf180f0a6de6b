#include "store/LibraryWords.h"

#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

namespace t8settings {

namespace {

/// In `library` each "%" stands for any text; in `plain` "$1" is the first of these texts, and "!1"
/// what the system calls the error of that number.
struct Wording {
    std::string_view library;
    std::string_view plain;
};

constexpr std::array<Wording, 16> kWordings = {{
    {"SettingStorageInifile::writeIniFile( '%' ): could not write temporary file '%'",
     "'$2' could not be written"},
    {"SettingStorageInifile::writeIniFile( '%' ): could not write file",
     "'$1' could not be written"},
    {"SettingStorageInifile: '%' is not saved, a later save tries again: %",
     "'$1' is not saved: $2"},
    {"'%' is not saved, a later save tries again: %", "'$1' is not saved: $2"},
    // A load that does not take the copy goes on to the file itself.
    {"SettingStorageInifile::loadInifileData( '%' ): CRC check failed (computed crc % vs read crc "
     "% "
     "[%]) on file '%.tmp'",
     "'$5.tmp': wrong CRC: the text has $2, its CRC line says $3; '$1' is read in its place"},
    {"SettingStorageInifile::loadInifileData( '%' ): CRC check failed (computed crc % vs read crc "
     "% "
     "[%]) on file '%'",
     "'$5': wrong CRC: the text has $2, its CRC line says $3"},
    {"SettingStorageInifile::loadInifileData( '%' ): missing CRC data in file '%.tmp'",
     "'$2.tmp': no CRC line; '$1' is read in its place"},
    {"SettingStorageInifile::loadInifileData( '%' ): missing CRC data in file '%'",
     "'$2': no CRC line"},
    {"Error loading '%' (returned false, r/w, renamed to *.bad).",
     "'$1' cannot be used and is to become '$1.bad'"},
    {"Error loading '%' (threw exception, r/w, renamed to *.bad): %",
     "'$1' cannot be used and is to become '$1.bad': $2"},
    {"Error loading '%' (r/o, no recovery): %", "the storage of '$1' cannot be loaded: $2"},
    {"Error loading '%': %, result %", "'$1' cannot be loaded: $2"},
    {"Failed to rename file to '%', errno=%", "it cannot become '$1': !2"},
    {"FAILED to register storage for %, no errInfo", "$1 is left out"},
    // The system has no word of its own for a pipe or device.
    {"SettingStorageInifile: '%' cannot be read: Invalid argument",
     "'$1' cannot be read: no plain file"},
    {"SettingStorageInifile: %", "$1"},
}};

/// What the marks of the pattern stand for; none when the text is not of its form.
std::vector<std::string> textsIn(std::string_view text, std::string_view pattern) {
    std::vector<std::string> texts;
    std::size_t mark = pattern.find('%');
    if (text.substr(0, mark) != pattern.substr(0, mark)) {
        return {};
    }
    text.remove_prefix(mark);
    while (mark != std::string_view::npos) {
        pattern.remove_prefix(mark + 1);
        mark = pattern.find('%');
        const std::string_view next = pattern.substr(0, mark);
        const bool isLast = mark == std::string_view::npos;
        // What stands at the very end may be in the last text too, as a quote in a path.
        const std::size_t end = next.empty() ? text.size()
                                : isLast     ? text.rfind(next)
                                             : text.find(next);
        if (end == std::string_view::npos || (isLast && end + next.size() != text.size())) {
            return {};
        }
        texts.emplace_back(text.substr(0, end));
        text.remove_prefix(end + next.size());
    }
    return texts;
}

std::string filledIn(std::string_view plain, const std::vector<std::string>& texts) {
    std::string text;
    for (std::size_t i = 0; i < plain.size(); ++i) {
        if (plain[i] == '$' || plain[i] == '!') {
            const std::string& part = texts.at(static_cast<std::size_t>(plain[i + 1] - '1'));
            text += plain[i] == '$' ? part : std::strerror(std::atoi(part.c_str()));
            ++i;
        } else {
            text += plain[i];
        }
    }
    return text;
}

}  // namespace

std::string inPlainWords(const std::string& message) {
    for (const Wording& wording : kWordings) {
        const std::vector<std::string> texts = textsIn(message, wording.library);
        if (!texts.empty()) {
            return filledIn(wording.plain, texts);
        }
    }
    return message;
}

}  // namespace t8settings
