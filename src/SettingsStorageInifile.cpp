#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <exception>
#include <system_error>

#include "Log.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingStorageInifile.h"
#include "files/Descriptor.h"
#include "files/DirectoryLock.h"
#include "files/FileStatus.h"
#include "files/SafeWrite.h"
#include "files/WholeFile.h"
#include "text/Crc32.h"
#include "text/CrcCheck.h"

QEL_LOG_CONTEXT("settings.inifile", "src/SettingsStorageInifile");

namespace Qel {
namespace Settings {

namespace {

std::atomic<bool> syncingWrites{true};

/// Whether a plain file with a whole text lies at `path`, a link to one not counted. One that
/// cannot be read just now may be whole.
bool mayBeWholeText(const std::string& path) {
    const std::optional<files::FileStatus> status = files::statusOfEntryAt(path);
    if (!status) {
        return files::mayBeThere(errno);
    }
    std::string data;
    return status->isRegular &&
           (!files::readWholeFile(path, data) || text::CrcCheck(data).passes());
}

}  // namespace

SettingStorageInifile::SettingStorageInifile(const std::string& name, const std::string& filename,
                                             const std::string& rwFilename, SavePolicy policy)
    : SettingStorageFileBase(name, filename, rwFilename, policy), crc32_(0) {}

SettingStorageInifile::SettingStorageInifile(const std::string& name, const std::string& filename,
                                             const std::string& rwFilename,
                                             boost::shared_ptr<SettingFactory> factory,
                                             SavePolicy policy)
    : SettingStorageInifile(name, filename, rwFilename, policy) {
    setFactory(factory);
}

SettingStorageInifile::~SettingStorageInifile() {
    retire();
}

std::string SettingStorageInifile::getTempFilename(const std::string& file) {
    return file + ".tmp";
}

bool SettingStorageInifile::syncWrites(bool on) {
    return syncingWrites.exchange(on);
}

std::uint32_t SettingStorageInifile::crc32() const {
    const std::lock_guard<std::recursive_mutex> lock(storageMutex());
    return crc32_;
}

std::vector<std::string> SettingStorageInifile::sections() const {
    const std::lock_guard<std::recursive_mutex> lock(storageMutex());
    return std::vector<std::string>(sections_.begin(), sections_.end());
}

bool SettingStorageInifile::writeIniFile(const std::string& file, const std::string& data) {
    const std::lock_guard<std::recursive_mutex> lock(storageMutex());
    if (file.empty()) {
        // ".tmp" in the working directory is nobody's file.
        QEL_LOG(kError, "SettingStorageInifile::writeIniFile( '%s' ): could not write file",
                file.c_str());
        return false;
    }
    const files::DirectoryLock directory(files::directoryOf(file),
                                         files::DirectoryLock::Mode::kExclusive);
    const std::string copy = getTempFilename(file);
    if (!mayStillWrite() || !damagedFileIsKept(file, copy, directory)) {
        return false;
    }
    const bool copyIsPrecious = copyIsNotKept(file) || mayBeWholeText(copy);
    const files::WriteResult result = files::writeThroughCopy(
        {file, copy, data, copyIsPrecious, syncingWrites.load(),
         [&](const std::string& path) { damagedFileIsOverwritten(file, path); }},
        directory);
    if (result != files::WriteResult::kCopyFailed && file == crcFile_) {
        // What is on the disk is no longer what was read or saved last, so no later text may pass
        // for unchanged.
        crc32_ = 0;
    }
    if (result == files::WriteResult::kDone) {
        return true;
    }
    const std::string reason = std::generic_category().message(errno);
    if (result == files::WriteResult::kCopyFailed) {
        QEL_LOG(kError,
                "SettingStorageInifile::writeIniFile( '%s' ): could not write temporary file '%s'",
                file.c_str(), copy.c_str());
    } else {
        QEL_LOG(kError, "SettingStorageInifile::writeIniFile( '%s' ): could not write file",
                file.c_str());
    }
    QEL_LOG(kError, "SettingStorageInifile: '%s' is not saved, a later save tries again: %s",
            file.c_str(), reason.c_str());
    return false;
}

bool SettingStorageInifile::loadInifileData(const std::string& file, std::string& data) {
    const std::lock_guard<std::recursive_mutex> lock(storageMutex());
    copyIsUnread_ = false;
    // A storage without a defaults file asks for "" when it is reset.
    if (!file.empty()) {
        const files::DirectoryLock directory(files::directoryOf(file),
                                             files::DirectoryLock::Mode::kShared);
        for (const std::string& candidate : {getTempFilename(file), file}) {
            if (acceptCandidate(file, candidate, data)) {
                // Its writer may have died before the disk had it. A later save that finds nothing
                // changed is to mean that the values last.
                if (candidate != file && syncingWrites.load() &&
                    !files::settleCopy(candidate, directory)) {
                    crc32_ = 0;
                }
                return true;
            }
        }
    }
    QEL_LOG(kInformation, "SettingStorageInifile::loadInifileData( '%s' ): %d", file.c_str(), 0);
    return false;
}

bool SettingStorageInifile::acceptCandidate(const std::string& file, const std::string& candidate,
                                            std::string& data) {
    QEL_LOG(kInformation, "SettingStorageInifile::loadInifileData( '%s' ): trying '%s'",
            file.c_str(), candidate.c_str());
    if (!files::readWholeFile(candidate, data)) {
        noteUnreadable(errno, candidate, candidate == file);
        return false;
    }
    if (candidate == *filename()) {
        QEL_LOG(kInformation,
                "SettingStorageInifile::loadInifileData(): factory settings file; skipping CRC "
                "check (%s)",
                candidate.c_str());
    } else if (!acceptCrc(file, candidate, data)) {
        return false;
    }
    if (file == *filename() || candidate == *filename() || (candidate == file && copyIsUnread_)) {
        // The defaults' text says nothing about the read/write file: were its CRC kept, a reset
        // could find the file "unchanged" although it holds the user's values. And what a save
        // leaves unchanged is lost to the next load, should that be able to read the copy.
        crc32_ = 0;
    }
    acceptedFile_ = candidate;
    if (candidate != file) {
        // Nobody has looked at it.
        noteFileUnread();
    }
    return true;
}

void SettingStorageInifile::noteUnreadable(int error, const std::string& path, bool isFile) {
    const bool mayBeOne = files::mayBeReadLater(error);
    const bool mayBeCopy = !isFile && mayBeOne;
    // A copy need not be there; the file itself is worth a word.
    if (mayBeCopy || (isFile && error != ENOENT)) {
        const std::string reason = std::generic_category().message(error);
        QEL_LOG(kError, "SettingStorageInifile: '%s' cannot be read: %s", path.c_str(),
                reason.c_str());
    }
    copyIsUnread_ = copyIsUnread_ || mayBeCopy;
    if (isFile && mayBeOne) {
        noteFileUnread();
    }
    // A shortage says nothing about the file.
    if (mayBeCopy || (isFile && files::passesByItself(error))) {
        noteUnread();
    }
}

bool SettingStorageInifile::acceptCrc(const std::string& file, const std::string& candidate,
                                      std::string& data) {
    const text::CrcCheck check(data);
    if (!check.hasLine()) {
        QEL_LOG(kError,
                "SettingStorageInifile::loadInifileData( '%s' ): missing CRC data in file '%s'",
                file.c_str(), candidate.c_str());
        return false;
    }
    QEL_LOG(kInformation, "SettingStorageInifile::loadInifileData(): crc found");
    if (!check.passes()) {
        QEL_LOG(kError,
                "SettingStorageInifile::loadInifileData( '%s' ): CRC check failed (computed crc "
                "%lu vs read crc %lu [%s]) on file '%s'",
                file.c_str(), static_cast<unsigned long>(check.computed),
                static_cast<unsigned long>(check.read), std::string(check.value).c_str(),
                candidate.c_str());
        return false;
    }
    crcFile_ = file;
    crc32_ = check.computed;
    data.resize(check.textSize);
    QEL_LOG(kInformation,
            "SettingStorageInifile::loadInifileData( '%s' ): valid CRC %lu found, using file '%s'",
            file.c_str(), static_cast<unsigned long>(crc32_), candidate.c_str());
    return true;
}

bool SettingStorageInifile::loadFile(const std::string& file) {
    const std::lock_guard<std::recursive_mutex> lock(storageMutex());
    QEL_LOG(kInformation, "SettingStorageInifile::loadFile( '%s' )", file.c_str());
    std::string data;
    const bool usable = loadInifileData(file, data);
    if (!usable) {
        // What is on the disk is not what this storage holds: nothing is "unchanged" any more.
        crc32_ = 0;
    } else {
        try {
            parse(file, data);
        } catch (...) {
            crc32_ = 0;
            throw;
        }
    }
    QEL_LOG(kInformation, "SettingStorageInifile::loadFile(): done, result=%d", usable ? 1 : 0);
    return usable;
}

bool SettingStorageInifile::saveFile(const std::string& file) {
    const std::lock_guard<std::recursive_mutex> lock(storageMutex());
    QEL_LOG(kInformation, "SettingStorageInifile::saveFile( '%s' )", file.c_str());
    try {
        return saveTo(file);
    } catch (const std::exception& e) {
        // With Save_onEachChange this would otherwise leave the client's change of a value.
        QEL_LOG(kError, "SettingStorageInifile::saveFile( '%s' ): caught %s", file.c_str(),
                e.what());
    } catch (...) {
        QEL_LOG(kError, "SettingStorageInifile::saveFile( '%s' ): caught exception", file.c_str());
    }
    return false;
}

bool SettingStorageInifile::saveTo(const std::string& file) {
    std::string data;
    if (!buildText(data)) {
        return false;
    }
    lastTextSize_ = data.size();
    const std::uint32_t crc = text::crc32(data);
    // 0 says that the text on the disk is not known, so it never says "unchanged"; and an export or
    // a backup that has been looked at says nothing about any other file.
    if (crc == crc32_ && crc32_ != 0 && file == crcFile_) {
        QEL_LOG(kInformation,
                "SettingStorageInifile::saveFile( '%s' ): unchanged CRC; not writing to disk",
                file.c_str());
        return true;
    }
    text::appendCrcLine(data, crc);
    if (!writeIniFile(file, data)) {
        return false;
    }
    crcFile_ = file;
    crc32_ = crc;
    QEL_LOG(kInformation, "SettingStorageInifile::saveFile( '%s' ): done, crc32=%lu (0x%X)",
            file.c_str(), static_cast<unsigned long>(crc), static_cast<unsigned int>(crc));
    return true;
}

}  // namespace Settings
}  // namespace Qel
