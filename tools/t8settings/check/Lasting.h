#ifndef T8SETTINGS_LASTING_H
#define T8SETTINGS_LASTING_H

#include <set>
#include <string>
#include <vector>

#include "check/FileCheck.h"

namespace t8settings {

/// What is wrong with a file and its lines that a save would make last, as nothing tells of it
/// afterwards.
struct Lasting {
    std::vector<FileFinding> stopping;  ///< costs settings their values or names
    std::vector<FileFinding> told;      ///< is no more than to be told
};

/// Lines of the file in force that are lost or read as something else, and a whole copy without its
/// file. A setting called in `replaced` gets another text; what a save writes once more is left
/// out. A text that is read as another one, in a file with a right CRC, was saved so: every program
/// reads it in that way, and it is told. So is a header that is read as nothing.
Lasting lastingBySave(const FileGroup& group, const std::set<std::string>& replaced,
                      const FactoryPtr& factory);

/// Lines of the defaults file that are read as something else, if a save writes that into the file,
/// where it stays when they are mended. It does for settings that are not among `given`, whose
/// texts come from elsewhere.
std::vector<FileFinding> lastingOfDefaults(const FileGroup& group,
                                           const std::set<std::string>& given,
                                           const FactoryPtr& factory);

/// Settings whose lines are lost or read as something else, be it that a save that writes them anew
/// puts them right, or that they keep it.
std::set<std::string> lastingNames(const FileGroup& group, const FactoryPtr& factory);

/// What a save is not kept from, but nothing tells of afterwards either: names that are hardly
/// meant so, and lines that no load reads and that hold no setting. Names of `neverWritten` are
/// those that the file lacks after the save as well.
std::vector<FileFinding> hiddenBySave(const FileGroup& group, const FactoryPtr& factory,
                                      const std::set<std::string>& neverWritten);

/// What is to be done about those that keep a save, in one line; empty when they say it themselves.
std::string remedyForLasting(const FileGroup& group, const std::vector<FileFinding>& stopping);

}  // namespace t8settings

#endif
