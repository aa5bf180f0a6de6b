#ifndef T8SETTINGS_HEADERLOSSES_H
#define T8SETTINGS_HEADERLOSSES_H

#include <string>
#include <vector>

#include "check/FileCheck.h"

namespace t8settings {

/// What becomes of save policy and read-only state of a storage when `text`, which is what can be
/// put back of `file`, takes the place of `inForce`: that one of them is not as in the file in
/// force or, when its CRC is not right, in the defaults file, and comments in a file without a
/// right CRC that may have been the header.
std::vector<FileFinding> headerLossesOf(const IniFile& file, const std::string& text,
                                        const IniFile& inForce);

}  // namespace t8settings

#endif
