#ifndef T8SETTINGS_FILECHECK_H
#define T8SETTINGS_FILECHECK_H

#include <optional>
#include <string>
#include <vector>

#include "check/LineCheck.h"
#include "console/Json.h"
#include "store/Files.h"

namespace t8settings {

/// What to do with what is no plain file.
constexpr const char* kMoveAway = "move it away";

/// Something that is wrong with a file or with one of its lines.
struct FileFinding {
    std::string path;
    Finding finding;
};

/// One line for each, for the eye: "PATH:LINE: reason; remedy", without the line number for the
/// file as a whole.
std::string textOf(const FileFinding& finding);
std::string linesOf(const std::vector<FileFinding>& findings);
Json jsonOf(const std::vector<FileFinding>& findings);

/// The state in one word, for JSON: "missing", "unreadable", "tooLarge", "noCrc", "wrongCrc",
/// "unchecked" or "sealed"; of a defaults file that can be read "defaults".
std::string wordOf(const IniFile& file);

/// The same for people.
std::string stateOf(const IniFile& file);

/// Throws `Failure` for an empty path, and for one that is no ini file of its own, but one beside
/// another or XML, or a directory of a store.
void demandIniFile(const std::string& path);

/// The bytes that a right CRC line can follow.
std::string textToSeal(const IniFile& file);

/// What is wrong with the lines of the file.
std::vector<FileFinding> findingsInLinesOf(const IniFile& file);

/// The same without a set-up of its own, for a process with a store.
std::vector<FileFinding> findingsInLinesOf(const IniFile& file, const FactoryPtr& factory);

/// That the last line may be cut short; nothing of a file with a CRC line, and of a defaults file.
std::optional<FileFinding> cutLineIn(const IniFile& file);

/// That it has no setting; of a defaults file what that costs.
std::optional<FileFinding> nothingIn(const IniFile& file);

/// All that is wrong with the file itself and with its lines; what lies beside it is not looked at.
/// A missing file is sound.
std::vector<FileFinding> findingsIn(const IniFile& file);

/// The same for a file with all that lies beside it, and what that means for the next load.
std::vector<FileFinding> findingsIn(const FileGroup& group);

}  // namespace t8settings

#endif
