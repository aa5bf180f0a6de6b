#ifndef T8SETTINGS_RENAMEDSECTIONS_H
#define T8SETTINGS_RENAMEDSECTIONS_H

#include <vector>

#include "check/KnownDefaults.h"
#include "check/LineCheck.h"

namespace t8settings {

/// Settings below one section line whose names the defaults file does not know, but would know
/// below another one.
struct RenamedSection {
    Finding finding;                  ///< of all of them
    std::vector<Finding> ofSettings;  ///< the same of each
    bool isHiddenBySave;              ///< a save writes the section that is missing
};

/// Sections that are called as the whole name of one that the defaults file has; and settings of
/// the same keys and types as a section of the defaults that the file has nothing of, be it that
/// theirs is called otherwise or that a line of that section is missing above them; and settings of
/// a section that the defaults do not know which the section above it lacks. None without defaults.
std::vector<RenamedSection> renamedSectionsIn(const IniFile& file, const KnownDefaults& defaults,
                                              const FactoryPtr& factory);

}  // namespace t8settings

#endif
