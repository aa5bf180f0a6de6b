#ifndef T8SETTINGS_RECOVERY_H
#define T8SETTINGS_RECOVERY_H

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "check/FileCheck.h"

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

/// Type, "," and text of settings, by their names.
using SettingLines = std::map<std::string, std::string>;

/// Each setting that the file has a line for; none of a text whose bytes are not meant as they are
/// read, since nobody would know the names.
SettingLines settingsOf(const IniFile& file);

/// A setting as one file has it.
struct Found {
    std::string text;  ///< type, "," and text
    bool comesBack;    ///< it does when that file is put back

    bool operator==(const Found& other) const {
        return text == other.text && comesBack == other.comesBack;
    }
    bool operator!=(const Found& other) const { return !(*this == other); }
};

/// A setting that is not the same everywhere.
struct Difference {
    std::string name;
    std::vector<std::optional<Found>> texts;  ///< for each member
};

/// Those of the members that lie beside the file and are plain files, and the file itself, first.
std::vector<Member> filesOf(const FileGroup& group);

/// Of the first one, the file itself, and the others, under the names that the settings have when
/// they are put back.
std::vector<Difference> differencesOf(const std::vector<Member>& members);

/// What of a file can be put back.
struct Salvage {
    std::string text;
    SettingLines settings;
    SettingLines staysBehind;  ///< those that `settings` lacks
    std::vector<FileFinding> leftOut;
};

/// All of a file whose CRC is right but the lines that no load would take and the settings whose
/// section cannot be read, with the line that should have opened it. Of any other file, whose bytes
/// may be anything, also without all other lines that something is wrong with, and without a last
/// line that may be cut short; its storage is called as in the defaults file or, without one, as in
/// the file `inForce` if its CRC is right. The defaults' settings that it does not give are told,
/// and so is what becomes of the save policy and of a read-only storage.
Salvage salvageOf(const IniFile& file, const IniFile& inForce);

}  // namespace t8settings

#endif
