#ifndef T8SETTINGS_NAMECLASH_H
#define T8SETTINGS_NAMECLASH_H

#include <map>
#include <string>
#include <vector>

#include "check/FileCheck.h"

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

/// Those on all that are below the base directory.
std::vector<FileFinding> nameClashesBelow(const std::string& base);

/// Those of several stores, each of which is read once, for the first of its files.
class NameClashes {
public:
    /// The findings at the files of the storage that a settings file in a directory of a store
    /// belongs to, each of them once; none at any other file.
    std::vector<FileFinding> take(const std::string& path);

private:
    std::map<std::string, std::vector<FileFinding>> below_;  ///< by base directory
};

/// The same for one file.
std::vector<FileFinding> nameClashesOf(const std::string& path);

}  // namespace t8settings

#endif
