#ifndef T8SETTINGS_WAYSOUT_H
#define T8SETTINGS_WAYSOUT_H

#include <string>

#include "store/Files.h"

namespace t8settings {

/// Whether the text has blanks and zero bytes alone, as it is when a disk was full or lost power.
bool isBlank(const IniFile& file);

/// What is to be typed to have a file out of the way and lose nothing.
std::string commandToMoveAway(const std::string& path);

/// The same to keep the file where its whole copy would be read in its place.
std::string commandsToKeepFile(const FileGroup& group);

/// "FILE is a link, and ..." when a file has come back beside the link that it was before, whose
/// own file nobody reads any more, with what to type to have both; empty when it has not.
std::string linkLostTo(const std::string& path, const std::string& source);

}  // namespace t8settings

#endif
