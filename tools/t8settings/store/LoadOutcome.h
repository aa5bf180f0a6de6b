#ifndef T8SETTINGS_LOADOUTCOME_H
#define T8SETTINGS_LOADOUTCOME_H

#include <string>

#include "console/Exit.h"
#include "store/Files.h"

namespace t8settings {

/// What a load makes of a file and what lies beside it.
enum class LoadOutcome {
    kNotLookedFor,  ///< the file is not there; its copy alone is no reason to look
    kTakesFile,
    kTakesCopy,
    kNotLoaded,  ///< defaults, which are never set aside: none of its settings come up
    kSetAside,   ///< neither can be used
    kStays,      ///< nor may the file be set aside
};

LoadOutcome loadOutcomeOf(const FileGroup& group);

/// The one of the two that a load takes, the copy or the file; null when it takes none.
const IniFile* takenByLoad(const FileGroup& group);

/// Where a load sets the file aside, for people: the name, and whether that costs another file.
std::string placeAsideOf(const std::string& path);

/// What becomes of a file that no load can use, as the end of a sentence.
std::string fateOf(const FileGroup& group);

/// The same for a read/write XML file, which has no copy.
std::string fateOfXml(const std::string& path);

/// Whether the file is there and this user may not read it, which says nothing about the file.
bool mayNotBeRead(const std::string& path);

/// Throws `Failure` when a load by this user would set a file aside that another one may read.
void demandReadableFiles(const std::string& base);

/// What a command that has loaded and shown the settings exits with: `kFindings` when some files
/// may not be looked at, which the library has told of.
ExitCode codeOfLookAt(const std::string& base);

}  // namespace t8settings

#endif
