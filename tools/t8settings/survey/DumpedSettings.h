#ifndef T8SETTINGS_DUMPEDSETTINGS_H
#define T8SETTINGS_DUMPEDSETTINGS_H

#include <map>
#include <string>

#include "store/IniFile.h"
#include "values/Records.h"

namespace t8settings {

/// Whether what was read as a settings file is a dump in truth: JSON, or lines that have whole
/// names and nothing that only a settings file has, in no directory of a store.
bool isDump(const IniFile& file);

/// What the dump says of each setting, be it so or not. Throws `Failure` with all that is out of
/// form.
std::map<std::string, Record> settingsInDump(const IniFile& dump);

}  // namespace t8settings

#endif
