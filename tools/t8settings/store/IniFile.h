#ifndef T8SETTINGS_INIFILE_H
#define T8SETTINGS_INIFILE_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "text/IniGrammar.h"

namespace t8settings {

enum class FileState {
    kMissing,
    kUnreadable,  ///< no plain file, or the system does not let it be read
    kTooLarge,    ///< for any program that uses the library
    kWithoutCrc,
    kWrongCrc,
    kUnchecked,  ///< its CRC line switches the check off
    kSealed,     ///< the CRC is right
};

/// The keys of the headers that a load goes by, but for the CRC line's.
constexpr std::array<std::string_view, 3> kHeaderKeys = {"name", "readonly", "savepolicy"};

/// One ini file as it lies on the disk, read with the library's own grammar but not loaded: nothing
/// is set aside, locked or logged, whatever the file holds. What its lines are worth is said by
/// `LineCheck.h`.
class IniFile {
public:
    /// What a load demands of a file.
    enum class Role {
        kDefaults,   ///< its CRC does not count
        kReadWrite,  ///< needs a CRC line, as do the temporary copies of both
    };

    /// A line that is not blank, all texts trimmed.
    struct Line {
        std::size_t number;  ///< from 1
        Qel::Settings::text::IniLine::Kind kind;
        bool isFirst;
        std::string whole;
        std::string key;    ///< of a setting or header; of a section its name
        std::string type;   ///< of a setting
        std::string value;  ///< of a setting, in the form of the files, or of a header
        std::string name;   ///< of a setting: the whole one that it is loaded under
    };

    /// `storageName` is in force unless the file says another one.
    IniFile(std::string path, std::string storageName, Role role);

    /// The same of bytes that somebody else has read.
    IniFile(std::string path, std::string storageName, Role role, const std::string& data);

    const std::string& path() const { return path_; }
    Role role() const { return role_; }
    FileState state() const { return state_; }

    /// Why it cannot be read, in the system's words; empty for all other states.
    const std::string& error() const { return error_; }
    /// Whether it cannot be read but may be a settings file, whole even.
    bool mayBeReadLater() const { return mayBeReadLater_; }

    /// What the CRC of the text is, and what the CRC line says that it is.
    std::uint32_t computedCrc() const { return computedCrc_; }
    std::uint32_t readCrc() const { return readCrc_; }

    /// Whether a load takes the file for whole.
    bool accepted() const;

    /// Of the lines, the one that makes a load fail altogether, a "#name" that is not the first
    /// line; null when there is none.
    const Line* misplacedName() const;

    /// What the headers say.
    const std::string& storageName() const { return storageName_; }
    bool saysItsName() const;  ///< its first line is a "#name"
    bool readonly() const { return readonly_; }
    const std::string& savePolicy() const { return savePolicy_; }  ///< empty without one

    /// All lines that a load reads: those before the CRC line if there is one, or of a defaults
    /// file all.
    const std::vector<Line>& lines() const { return lines_; }

    /// The bytes that the CRC covers: all up to the line feed before the CRC line, or all of a file
    /// without one.
    const std::string& text() const { return text_; }

    /// The number of the CRC line; 0 without one. Lines may follow that no load reads.
    std::size_t crcLine() const { return crcLine_; }
    bool hasMoreAfterCrcLine() const { return moreAfterCrcLine_; }
    /// Settings, sections or headers among them, or lines that may have been meant so.
    bool losesLinesAfterCrcLine() const { return losesLinesAfterCrcLine_; }

    /// No line feed ends the CRC line, so that a load takes its last byte for one.
    bool isCrcLineOpen() const { return isCrcLineOpen_; }

private:
    bool read(std::string& data);
    void judge(const std::string& data);
    void judgeCrc(const std::string& data);
    void readLines(const std::string& data);
    void readHeader(const Qel::Settings::text::IniWalk& walk, std::string& prefix);

    std::string path_;
    Role role_;
    FileState state_ = FileState::kMissing;
    std::string error_;
    bool mayBeReadLater_ = false;
    std::uint32_t computedCrc_ = 0;
    std::uint32_t readCrc_ = 0;
    std::string storageName_;
    bool readonly_ = false;
    std::string savePolicy_;
    std::vector<Line> lines_;
    std::string text_;
    std::size_t crcLine_ = 0;
    bool moreAfterCrcLine_ = false;
    bool losesLinesAfterCrcLine_ = false;
    bool isCrcLineOpen_ = false;
};

/// The last line of each setting that the file has one for, by the setting's name. The file must
/// outlive it.
std::map<std::string, const IniFile::Line*> settingsByName(const IniFile& file);

}  // namespace t8settings

#endif
