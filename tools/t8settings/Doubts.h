#ifndef T8SETTINGS_DOUBTS_H
#define T8SETTINGS_DOUBTS_H

#include <vector>

#include "LineCheck.h"

namespace t8settings {

/// Settings of the file that a load takes as they stand, but that are hardly meant so: a key that
/// looks like a comment, another type than the defaults file has, and a name that is like one of
/// the defaults which the file lacks.
std::vector<Finding> doubtsIn(const IniFile& file, const FactoryPtr& factory);

/// Of these the names that are like one of the defaults which the file lacks, in the order of the
/// lines. A save writes that one as well, so that it is lacking no more.
std::vector<Finding> misspeltNamesIn(const IniFile& file, const FactoryPtr& factory);

}  // namespace t8settings

#endif
