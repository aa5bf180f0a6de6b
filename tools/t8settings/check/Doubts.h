#ifndef T8SETTINGS_DOUBTS_H
#define T8SETTINGS_DOUBTS_H

#include <set>
#include <string>
#include <vector>

#include "check/LineCheck.h"

namespace t8settings {

/// Settings of the file that a load takes as they stand, but that are hardly meant so: a key that
/// looks like a comment, another type than the defaults file has, a name that is like one of the
/// defaults which the file lacks, those of one misspelt section in one, odd names and renamed
/// sections.
std::vector<Finding> doubtsIn(const IniFile& file, const FactoryPtr& factory);

/// Of these the ones that a save hides, in the order of the lines: names that are like one of the
/// defaults, which a save writes as well, so that it is lacking no more; and settings that are told
/// of only while the file lacks others. A save does not hide that the names of `neverWritten` are
/// lacking.
std::vector<Finding> slipsIn(const IniFile& file, const FactoryPtr& factory,
                             const std::set<std::string>& neverWritten);

}  // namespace t8settings

#endif
