#include <algorithm>
#include <array>
#include <atomic>
#include <boost/make_shared.hpp>
#include <cerrno>
#include <exception>
#include <iterator>
#include <new>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>

#include "Log.h"
#include "NamesInFull.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageInifile.h"
#include "files/DirectoryLock.h"
#include "files/SafeWrite.h"
#include "files/WholeFile.h"
#include "text/Crc32.h"
#include "text/CrcCheck.h"
#include "text/IniGrammar.h"

QEL_LOG_CONTEXT("settings.inifile", "src/SettingsStorageInifile");

namespace Qel {
namespace Settings {

namespace {

// A file of shorter lines than this is not worth much room beforehand: they may be anything.
constexpr std::size_t kUsualLine = 24;

std::atomic<bool> syncingWrites{true};

struct PolicyName {
    SettingStorageFileBase::SavePolicy policy;
    std::string_view text;
};

constexpr std::array<PolicyName, 3> kPolicyNames = {
    {{SettingStorageFileBase::Save_onDemand, text::kSavePolicyWords[0]},
     {SettingStorageFileBase::Save_onEachChange, text::kSavePolicyWords[1]},
     {SettingStorageFileBase::Save_async, text::kSavePolicyWords[2]}}};

bool startsWith(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

bool hasLineFeed(std::string_view text) {
    return text.find('\n') != std::string_view::npos;
}

/// Why a setting must not have a line, null when it may: the line would be read as something else
/// and change what becomes of the settings around it.
const char* reasonToLeaveOut(std::string_view settingName, std::string_view key,
                             const text::WhiteSpace& whiteSpace) {
    if (hasLineFeed(settingName)) {
        return "line feed in its name";
    }
    const std::string_view start = whiteSpace.trim(key).substr(0, 1);
    return start == "#" || start == "[" ? "its key would read as a header or section" : nullptr;
}

/// Whether a plain file with a whole text lies at `path`, a link to one not counted. One that
/// cannot be read just now may be whole.
bool mayBeWholeText(const std::string& path) {
    struct stat status;
    std::string data;
    return ::lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
           (!files::readWholeFile(path, data) || text::CrcCheck(data).passes());
}

bool isWholeText(const std::string& path) {
    std::string data;
    return files::readWholeFile(path, data) && text::CrcCheck(data).passes();
}

/// Whether what could not be read for this reason may be a settings file all the same.
bool mayBeReadLater(int error) {
    static constexpr std::array<int, 8> kNoSettingsFile = {ENOENT, ENOTDIR, EISDIR, EINVAL,
                                                           EFBIG,  ELOOP,   ENXIO,  ENODEV};
    return std::find(kNoSettingsFile.begin(), kNoSettingsFile.end(), error) ==
           kNoSettingsFile.end();
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
    if (!mayStillWrite() || !damagedFileIsKept(file, copy, isWholeText)) {
        return false;
    }
    const files::WriteResult result = files::writeThroughCopy(
        {file, copy, data, mayBeWholeText(copy), syncingWrites.load()}, directory);
    if (result == files::WriteResult::kDone) {
        return true;
    }
    const std::string reason = std::generic_category().message(errno);
    if (result == files::WriteResult::kCopyFailed) {
        QEL_LOG(kError,
                "SettingStorageInifile::writeIniFile( '%s' ): could not write temporary file '%s'",
                file.c_str(), copy.c_str());
    } else {
        // What is on the disk is no longer what was read or written last, so no later text may pass
        // for unchanged.
        crc32_ = 0;
        QEL_LOG(kError, "SettingStorageInifile::writeIniFile( '%s' ): could not write file",
                file.c_str());
    }
    QEL_LOG(kError, "SettingStorageInifile: '%s' is not saved, a later save tries again: %s",
            file.c_str(), reason.c_str());
    return false;
}

bool SettingStorageInifile::loadInifileData(const std::string& file, std::string& data) {
    const std::lock_guard<std::recursive_mutex> lock(storageMutex());
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
    if (file == *filename() || candidate == *filename()) {
        // The defaults' text says nothing about the read/write file: were its CRC kept, a reset
        // could find the file "unchanged" although it holds the user's values.
        crc32_ = 0;
    }
    acceptedFile_ = candidate;
    return true;
}

void SettingStorageInifile::noteUnreadable(int error, const std::string& path, bool isFile) {
    const bool mayBeCopy = !isFile && mayBeReadLater(error);
    // A copy need not be there; the file itself is worth a word.
    if (mayBeCopy || (isFile && error != ENOENT)) {
        const std::string reason = std::generic_category().message(error);
        QEL_LOG(kError, "SettingStorageInifile: '%s' cannot be read: %s", path.c_str(),
                reason.c_str());
    }
    if (mayBeCopy) {
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

/// What is known while a file is read.
struct SettingStorageInifile::Reader {
    struct KnownType {
        std::string_view name;
        SettingFactory::Maker make;
    };

    boost::shared_ptr<SettingFactory> types;
    /// The current section's prefix, and behind it the key of the setting that was read last.
    std::string settingName;
    std::size_t prefixSize;
    std::array<KnownType, 16> knownTypes = {};
    std::size_t lineNumber = 0;

    void startSection(std::string prefix) {
        settingName = std::move(prefix);
        prefixSize = settingName.size();
    }

    /// A file has a few types again and again, mostly told apart by length and last letter.
    SettingFactory::Maker makerOf(std::string_view type) {
        const std::size_t last = type.empty() ? 0 : static_cast<unsigned char>(type.back());
        KnownType& place = knownTypes[(type.size() + last) % knownTypes.size()];
        if (!place.make.isKnown() || place.name != type) {
            place = {type, types ? types->maker(type) : SettingFactory::Maker()};
        }
        return place.make;
    }
};

void SettingStorageInifile::parse(const std::string& file, std::string_view data) {
    NamesInFull names;
    Reader reader{factory(), {}, 0};
    reader.startSection(name() + "/");
    lastTextSize_ = data.size();
    expectSettings(std::min(text::countLineFeeds(data), data.size() / kUsualLine));
    text::IniWalk walk(data);
    while (walk.next()) {
        const text::IniLine& line = walk.line();
        reader.lineNumber = walk.number();
        switch (line.kind) {
            case text::IniLine::Kind::Blank:
            case text::IniLine::Kind::SkippedSection:
                break;
            case text::IniLine::Kind::Header:
                readHeader(line, walk.isFirst(), reader);
                break;
            case text::IniLine::Kind::Section:
                names.add(name().size() + line.key.size());
                reader.startSection(name() + "/" + std::string(line.key) + "/");
                sections_.insert(reader.settingName);
                break;
            case text::IniLine::Kind::Setting:
                names.add(reader.prefixSize + line.key.size());
                readSetting(file, line, walk.whole(), reader);
                break;
            case text::IniLine::Kind::Malformed:
                QEL_LOG(kError, "SettingStorageInifile: failed to load '%s'",
                        std::string(walk.whole()).c_str());
                noteRejected(walk.whole(), walk.number(), text::whyMalformed(walk.whole()));
                break;
        }
    }
}

void SettingStorageInifile::readHeader(const text::IniLine& line, bool isFirstLine,
                                       Reader& reader) {
    if (line.key == "name") {
        if (!isFirstLine) {
            throw std::runtime_error("#name must be first line in ini-file.");
        }
        reader.startSection(name(std::string(line.value)) + "/");
        sections_.insert(reader.settingName);
    } else if (line.key == "readonly") {
        readonly(true);
    } else if (line.key == "savepolicy") {
        for (const PolicyName& known : kPolicyNames) {
            if (line.value == known.text) {
                savePolicy(known.policy);
            }
        }
    }
}

void SettingStorageInifile::readSetting(const std::string& file, const text::IniLine& line,
                                        std::string_view whole, Reader& reader) {
    reader.settingName.resize(reader.prefixSize);
    reader.settingName.append(line.key);
    if (createSetting(line, reader)) {
        return;
    }
    QEL_LOG(kError, "SettingStorageInifile: failed to load %s from %s (line=%s)",
            reader.settingName.c_str(), file.c_str(), std::string(whole).c_str());
    const bool knowsType = reader.makerOf(line.type).isKnown();
    noteRejected(whole, reader.lineNumber, knowsType ? "no value of its type" : "unknown type");
}

// What the two messages before say does not lead whoever edits a file by hand to the line, nor does
// it tell them that they are about to lose it.
void SettingStorageInifile::noteRejected(std::string_view line, std::size_t number,
                                         const char* reason) {
    appendErrInfo(std::string(line) + "\n");
    const bool staysThere = acceptedFile_ == *filename();
    QEL_LOG(kWarning, "SettingStorageInifile: line %lu of '%s' is ignored%s: %s",
            static_cast<unsigned long>(number), acceptedFile_.c_str(),
            staysThere ? "" : " and missing from the file once it is saved", reason);
}

// One setting that cannot be made never costs the rest of the file, whatever its type's load
// function throws; only a shortage of memory is no fault of the line, which must not be lost for
// it.
bool SettingStorageInifile::createSetting(const text::IniLine& line, Reader& reader) {
    try {
        return registerSetting(reader.makerOf(line.type)(reader.settingName, line.value));
    } catch (const std::bad_alloc&) {
        throw;
    } catch (...) {
        return false;
    }
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
    // 0 says that the text on the disk is not known, so it never says "unchanged".
    if (crc == crc32_ && crc32_ != 0) {
        QEL_LOG(kInformation,
                "SettingStorageInifile::saveFile( '%s' ): unchanged CRC; not writing to disk",
                file.c_str());
        return true;
    }
    text::appendCrcLine(data, crc);
    if (!writeIniFile(file, data)) {
        return false;
    }
    crc32_ = crc;
    QEL_LOG(kInformation, "SettingStorageInifile::saveFile( '%s' ): done, crc32=%lu (0x%X)",
            file.c_str(), static_cast<unsigned long>(crc), static_cast<unsigned int>(crc));
    return true;
}

bool SettingStorageInifile::buildText(std::string& data) const {
    const boost::shared_ptr<SettingFactory> types = factory();
    if (!types || hasLineFeed(name())) {
        QEL_LOG(kError,
                "SettingStorageInifile: storage '%s' is not saved: it has no factory, or a line "
                "feed in its name",
                name().c_str());
        return false;
    }
    // Room for the whole text, with some for values that have grown since.
    data.reserve(lastTextSize_ + lastTextSize_ / 64 + 64);
    data.append("#name = ").append(name());
    for (const PolicyName& known : kPolicyNames) {
        if (known.policy == savePolicy()) {
            data.append("\n#savepolicy = ").append(known.text);
        }
    }
    const text::WhiteSpace whiteSpace;
    const std::string root = name() + "/";
    std::string_view lastDirectory;
    std::string_view prefix;
    std::string_view lastPrefix;
    bool inSection = false;
    NamesInFull names;  // counted as the load counts them: what is saved can be loaded again
    SettingFactory::Writer writer(*types);
    const auto holders = snapshot();
    for (const boost::shared_ptr<SettingHolder>& holder : holders) {
        const std::string_view settingName = holder->name();
        const std::string_view directory = settingName.substr(0, settingName.rfind('/') + 1);
        if (!inSection || directory != lastDirectory) {
            prefix = prefixOf(settingName, root);
            lastDirectory = directory;
        }
        const std::string_view key = settingName.substr(prefix.size());
        if (const char* const reason = reasonToLeaveOut(settingName, key, whiteSpace)) {
            QEL_LOG(kError, "SettingStorageInifile: '%s' is not saved: %s", holder->name().c_str(),
                    reason);
            continue;
        }
        if (!inSection || prefix != lastPrefix) {
            const std::string_view section = sectionOf(prefix, root);
            names.add(name().size() + section.size());
            data.append(inSection ? "\n\n[" : "\n[").append(section).append("]");
            lastPrefix = prefix;
            inSection = true;
        }
        names.add(settingName.size() + (startsWith(prefix, root) ? 0 : root.size()));
        data += '\n';
        data.append(key).append(" = ");
        writer.append(data, *holder);
    }
    return true;
}

std::string_view SettingStorageInifile::prefixOf(std::string_view settingName,
                                                 const std::string& root) const {
    const std::string_view section = longestSectionOf(settingName);
    if (startsWith(settingName, root) && root.size() > section.size()) {
        return settingName.substr(0, root.size());
    }
    // Not one of this storage's own names (a default storage takes any): the path as a section
    // keeps the value in the file, if under another name.
    return section.empty() ? settingName.substr(0, settingName.rfind('/') + 1) : section;
}

// Sections that begin the name lie before it in the order, the longest last, but others may lie in
// between. Such a one rules out all that is longer than what it has in common with the name. Trying
// the name's paths one by one instead would take forever with a name of nothing but slashes.
std::string_view SettingStorageInifile::longestSectionOf(std::string_view settingName) const {
    std::string_view start = settingName;
    for (auto next = sections_.upper_bound(start); next != sections_.begin();
         next = sections_.upper_bound(start)) {
        const std::string& section = *std::prev(next);
        const auto difference =
            std::mismatch(section.begin(), section.end(), start.begin(), start.end()).first;
        start = start.substr(0, static_cast<std::size_t>(difference - section.begin()));
        if (difference == section.end()) {
            return start;
        }
    }
    return {};
}

std::string_view SettingStorageInifile::sectionOf(std::string_view prefix,
                                                  const std::string& root) const {
    std::string_view section = prefix;
    if (startsWith(prefix, root)) {
        section.remove_prefix(root.size());
    } else {
        QEL_LOG(kError,
                "SettingStorageInifile: settings of '%s' are saved in storage '%s' and will load "
                "under its name",
                std::string(prefix).c_str(), name().c_str());
    }
    if (!section.empty()) {
        section.remove_suffix(1);
    }
    return section;
}

}  // namespace Settings
}  // namespace Qel
