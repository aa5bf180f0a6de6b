#ifndef T8SETTINGS_KNOWNDEFAULTS_H
#define T8SETTINGS_KNOWNDEFAULTS_H

#include <cstddef>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>

#include "store/IniFile.h"

namespace t8settings {

/// Looked up in without a copy of the name.
using SectionNames = std::set<std::string, std::less<>>;

/// What the defaults file of a storage leads one to expect of its other files.
struct KnownDefaults {
    std::string path;  ///< empty when there is no such file, or it cannot be read
    std::string storageName;
    std::map<std::string, IniFile::Line> settings;  ///< by their names
    SectionNames sections;
    std::set<std::size_t> sectionLengths;  ///< of their names

    bool has(const std::string& name) const { return settings.count(name) != 0; }

    /// Whether the text that a "]" follows ends in the name of a section, of another one than
    /// `inForce`, that begins at its "[" or before; or anywhere, when that is lost.
    bool isSectionAtEndOf(std::string_view text, std::string_view inForce) const;

    /// The section that one of the settings stands in; empty for none.
    std::string sectionOf(const IniFile::Line& setting) const;
};

/// Those for a settings file, or for one that lies beside it; none for a defaults file.
KnownDefaults knownDefaultsFor(const IniFile& file);

/// Those for a storage of this name below the base directory.
KnownDefaults knownDefaultsBelow(const std::string& base, const std::string& storageName);

}  // namespace t8settings

#endif
