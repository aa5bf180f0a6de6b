#ifndef T8SETTINGS_NAMECLASH_H
#define T8SETTINGS_NAMECLASH_H

#include <string>
#include <vector>

#include "FileCheck.h"

namespace t8settings {

/// A storage whose name another one has too, which is loaded later and takes its place: the
/// settings of both come up, but what goes by storages finds the later one alone.
struct ReplacedStorage {
    std::string name;
    std::string file;  ///< the one that gives it its name
    std::string by;    ///< the same of the other storage
};

/// Those below the base directory, in the order in which they are loaded. Throws `Failure` when it
/// cannot be read.
std::vector<ReplacedStorage> storagesReplacedBelow(const std::string& base);

/// What is to be done about it, for people.
std::string remedyFor(const ReplacedStorage& storage);

/// What that means, at either of the two files.
std::vector<FileFinding> findingsOn(const ReplacedStorage& storage);

/// The findings at a settings file that lies in a directory of a store; none at any other.
std::vector<FileFinding> nameClashesOf(const std::string& path);

}  // namespace t8settings

#endif
