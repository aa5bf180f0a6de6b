#ifndef T8SETTINGS_FILES_H
#define T8SETTINGS_FILES_H

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "files/StorageFiles.h"
#include "store/IniFile.h"

namespace t8settings {

using Qel::Settings::files::StorageFiles;

/// The files of every storage below the base directory, as the set-up of the store finds them, in
/// the order in which it loads them; nothing is loaded. Throws `Failure` when the base directory
/// cannot be read.
std::vector<StorageFiles> storagesBelow(const std::string& base);

/// The same without a word of the library on directories that cannot be read: the caller tells.
std::vector<StorageFiles> storagesInSight(const std::string& base);

/// Throws `Failure` when it cannot be read.
void demandReadableDirectory(const std::string& path);

/// Tells where settings files lie, since there are none.
void complainOfNoFiles(const std::string& base);

/// What may lie beside a settings file.
std::string copyOf(std::string file);  ///< the temporary copy of a save
/// What could not be used; with a number, from 1, what a save was about to replace when it could
/// not be set aside.
std::string setAsideOf(std::string file, int number = 0);
std::string newCopyOf(std::string file);  ///< a copy on its way to its place

/// The file that `path` may lie beside; nothing when it is no name of such a file.
std::optional<std::string> fileBeside(const std::string& path);

bool endsWith(std::string_view text, std::string_view end);

bool isIni(const std::string& path);
bool isXml(const std::string& path);

/// The same of a file, or of the one that it was before it was set aside.
bool holdsXml(const std::string& path);

/// Whether anything of this name is there, a link to nothing included.
bool isThere(const std::string& path);

/// Whether something of this name is there, or may be as it may not be looked at.
bool mayBeThere(const std::string& path);

/// Whether something may be there that may not be looked at.
bool isHidden(const std::string& path);

bool isDirectory(const std::string& path);

/// Whether a file is there, or a link to one, which is no directory, pipe or device.
bool isPlainFile(const std::string& path);

/// "is a directory", or "is no plain file" for a pipe or device; empty for all else.
std::string whyNoPlainFile(const std::string& path);

/// Why a file could not be read, for an errno.
std::string whyUnread(int error);

/// Why the directory cannot be read, in the system's words; empty when it can be or is not there.
std::string whyUnreadable(const std::string& directory);

/// The settings directories below the base directory that cannot be read, and why.
std::map<std::string, std::string> directoriesOutOfSight(const std::string& base);

/// One line for each directory.
void complainOfUnread(const std::map<std::string, std::string>& directories);

/// Whether something may be there that may not be looked at, and that of its directory alone.
bool isOutOfSight(const std::string& path);

/// What a path is by its directory's name: a defaults file in a directory of defaults, and else a
/// read/write file, as all is that lies beside another file.
IniFile::Role roleOf(const std::string& path);

/// Whether its directory's name is one whose files survive a reset; nothing for any other name.
std::optional<bool> survivesReset(const std::string& path);

/// The defaults file of the storage that a file in one of its directories, or one that lies beside
/// it, belongs to, whether it is there or not; empty for a file in any other directory.
std::string defaultsBeside(const std::string& path);

/// The base directory that somebody means who names this directory: itself, or the one around it
/// when it is one of the directories of a store; empty when it is neither.
std::string baseMeantBy(const std::string& directory);

/// The file that a path means by itself: a defaults file in a directory of defaults, else a
/// read/write file. Unless the file says it, its storage is called as the defaults file beside it
/// says, or else as the file is.
IniFile iniFileAt(const std::string& path);

/// The same, read under the directory's lock: not while a save is half done.
IniFile iniFileUnderLock(const std::string& path);

/// What `iniFileAt` makes of bytes that were read from there already.
IniFile iniFileOf(const std::string& path, const std::string& data);

/// A settings file and what lies beside it, as one moment shows them.
struct FileGroup {
    IniFile file;
    IniFile copy;
    IniFile setAside;
    IniFile newCopy;
    /// What saves have kept of files that could not be set aside, and of their copies: those that
    /// are there.
    std::vector<IniFile> setAsideLater;
};

/// Reads them under the directory's lock.
FileGroup groupAt(const std::string& path);

/// A storage's defaults as a load finds them, its copy or itself; both are looked at under the
/// directory's lock. Of role `kDefaults` when it is the file itself.
IniFile defaultsOf(const StorageFiles& files);

/// The same for the read/write file of a storage that its defaults file calls `storageName`; a load
/// does not look for it by its copy alone. One that is not `accepted` and not missing would be set
/// aside.
IniFile readWriteOf(const StorageFiles& files, const std::string& storageName);

}  // namespace t8settings

#endif
