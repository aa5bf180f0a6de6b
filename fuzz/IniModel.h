#ifndef FUZZ_INIMODEL_H
#define FUZZ_INIMODEL_H

#include <string>
#include <vector>

#include "Checks.h"

// The ini format as docs/file-format.md tells it, in the simplest way, to compare the library with.

namespace fuzz {

/// What a text holds.
struct IniContent {
    std::string name = "settings";  ///< the storage's, at first that of its file
    bool readonly = false;
    bool misplacedName = false;  ///< the text is unusable; the rest is what stands before
    Settings settings;
    std::string rejected;  ///< lines

    /// The prefixes of all sections seen, and that of settings without a section.
    std::vector<std::string> prefixes;
};

IniContent contentOf(const std::string& text);

/// Names and types of `content` as a save writes them and the next load reads them, the losses that
/// are documented included.
Settings reloaded(const IniContent& content);

/// `text` with the line that guards it.
std::string withCrc(const std::string& text);

/// Whether the last CRC line says what the text before it has, or that it is not to be checked;
/// `text` is then that text.
bool takeGoodCrc(const std::string& bytes, std::string& text);

}  // namespace fuzz

#endif
