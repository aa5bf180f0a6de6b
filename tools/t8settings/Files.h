#ifndef T8SETTINGS_FILES_H
#define T8SETTINGS_FILES_H

#include <string>
#include <vector>

#include "IniFile.h"
#include "files/StorageFiles.h"

namespace t8settings {

using Qel::Settings::files::StorageFiles;

/// The files of every storage below the base directory, as the set-up of the store finds them, in
/// the order in which it loads them; nothing is loaded. Throws `Failure` when the base directory
/// cannot be read.
std::vector<StorageFiles> storagesBelow(const std::string& base);

/// Throws `Failure` when it cannot be read.
void demandReadableDirectory(const std::string& path);

/// What may lie beside a settings file.
std::string copyOf(const std::string& file);      ///< the temporary copy of a save
std::string setAsideOf(const std::string& file);  ///< what could not be used
std::string newCopyOf(const std::string& file);   ///< a copy on its way to its place

/// Whether anything of this name is there, a link to nothing included.
bool isThere(const std::string& path);

/// The file that a path means by itself: a defaults file in a directory of defaults, else a
/// read/write file; its storage is called as the file is.
IniFile iniFileAt(const std::string& path);

/// A storage's defaults as a load finds them, its copy or itself; both are looked at under the
/// directory's lock. Of role `kDefaults` when it is the file itself.
IniFile defaultsOf(const StorageFiles& files);

/// The same for the read/write file, which a load does not look for by its copy alone. One that is
/// not `accepted` and not missing would be set aside.
IniFile readWriteOf(const StorageFiles& files);

/// The same for a storage that its defaults file calls `storageName`.
IniFile readWriteOf(const StorageFiles& files, const std::string& storageName);

}  // namespace t8settings

#endif
