#ifndef T8SETTINGS_NEAREST_H
#define T8SETTINGS_NEAREST_H

#include <string>
#include <vector>

#include "console/Exit.h"
#include "console/Pattern.h"
#include "console/Shell.h"

namespace t8settings {

/// Up to three of `names` that somebody may have meant who wrote `wanted`: those that end in it as
/// a path ("sound/bass" for "settings/sound/bass"), or else the shortest that begin with it, or
/// else those that the fewest slips of the keyboard lead to, or else the shortest that hold it.
/// None when it is like no name.
std::vector<std::string> nearestNames(const Pattern& wanted, const std::vector<std::string>& names);

/// "\ndid you mean X or Y?" with the nearest names, each as it is to be typed, or nothing when
/// there are none.
std::string didYouMean(const Pattern& wanted, const std::vector<std::string>& names,
                       std::string (*toBeTyped)(const std::string& name) = shellArgument);

/// Tells that the pattern matches none of `names`, which may come of a slip; gives the exit code
/// for that.
ExitCode remarkThatNothingMatches(const Pattern& pattern, const std::vector<std::string>& names);

/// That there is no `kind` of this name, with those of `names` that somebody may have meant.
Failure noSuch(const std::string& kind, const std::string& name,
               const std::vector<std::string>& names);

}  // namespace t8settings

#endif
