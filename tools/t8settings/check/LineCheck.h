#ifndef T8SETTINGS_LINECHECK_H
#define T8SETTINGS_LINECHECK_H

#include <cstddef>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "check/Strays.h"
#include "store/IniFile.h"
#include "store/Store.h"

namespace t8settings {

/// What becomes of a line that is not as it should be.
enum class Harm {
    kUnreadable,  ///< of a whole file: nobody can say what it holds
    kUnusable,    ///< costs the whole file
    kLost,        ///< no load takes it, and the next save drops it
    kChanged,     ///< is read as something else than it says, or comes back so after a save
    kMoved,       ///< comes back under another name after a save
    kLeftOut,     ///< is read as it stands, and the next save drops it
    kDoubtful,    ///< is read as it stands, but hardly meant so
    kIgnored,     ///< has no effect
};

/// Whether somebody would miss something, if not at once.
inline bool isGrave(Harm harm) {
    return harm < Harm::kDoubtful;
}

/// What has to change so that a finding is none.
enum class Concern {
    kLine,
    kValue,        ///< type or text of one setting alone: another text does
    kStorageName,  ///< a save keeps each setting, under whatever name
};

struct Finding {
    std::size_t line;  ///< from 1; 0 for the file as a whole
    Harm harm;
    std::string reason;
    std::string remedy;  ///< what to do about it
    Concern concern = Concern::kLine;
};

/// Whether it begins with "#", and is no header that a load goes by.
bool isComment(const IniFile::Line& line);

/// What becomes of the settings below a line that opens no section; `section` is empty for none.
std::string whereSettingsGo(const std::string& section);

/// That the comment may have been a section.
Finding commentedSection(std::size_t line, const std::string& section);

/// These settings, whose names are not known, as findings.
std::vector<Finding> findingsIn(const StrayLines& strays, const IniFile& file);

/// The "#name" that makes a load fail.
std::optional<Finding> misplacedNameIn(const IniFile& file);

/// The number of the line that a load goes by, for each name: the last one that it takes, or of
/// none the first. Lines of `passedOver` do not count. The file must outlive it.
std::map<std::string_view, std::size_t> linesThatCount(const IniFile& file,
                                                       const FactoryPtr& factory,
                                                       const std::set<std::size_t>& passedOver);

/// That lines stand where no load reads.
std::optional<Finding> unreadLinesIn(const IniFile& file);

/// What is wrong with the lines of a file, in their order. Any number of them for a file that is
/// not accepted, or none: this is about the lines alone.
std::vector<Finding> findingsInLines(const IniFile& file, const FactoryPtr& factory);

}  // namespace t8settings

#endif
