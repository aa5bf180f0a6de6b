#ifndef T8SETTINGS_RECOVERY_H
#define T8SETTINGS_RECOVERY_H

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "FileCheck.h"

namespace t8settings {

/// A file of a group and what it is called in a command.
struct Member {
    std::string word;
    const IniFile* file;
};

/// The members of the group that are there, the file itself always, and first.
std::vector<Member> membersOf(const FileGroup& group);

/// The file of the group that is called so, such as "tmp" or "bad.1"; null when it is not there.
const IniFile* memberCalled(const std::string& word, const FileGroup& group);

/// Type, "," and text of each setting that the file has a line for, by its name.
std::map<std::string, std::string> settingsOf(const IniFile& file);

/// A setting that is not the same everywhere.
struct Difference {
    std::string name;
    std::vector<std::optional<std::string>> texts;  ///< for each member
};

std::vector<Difference> differencesOf(const std::vector<Member>& members);

/// What of a file can be put back.
struct Salvage {
    std::string text;
    std::size_t settings;
    std::vector<FileFinding> leftOut;
};

/// All of a file whose CRC is right but the lines that no load would take and the settings whose
/// section cannot be read, with the line that should have opened it. Of any other file, whose bytes
/// may be anything, also without all other lines that something is wrong with, and without a last
/// line that may be cut short; its storage is called as in the defaults file or, without one, as in
/// the file `inForce` if its CRC is right. The defaults' settings that it does not give are told.
Salvage salvageOf(const IniFile& file, const IniFile& inForce);

}  // namespace t8settings

#endif
