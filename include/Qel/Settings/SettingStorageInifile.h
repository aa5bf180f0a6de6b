#ifndef QEL_SETTINGS_SETTINGSTORAGEINIFILE_H
#define QEL_SETTINGS_SETTINGSTORAGEINIFILE_H

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Qel/Settings/Export.h"
#include "Qel/Settings/SettingStorageFileBase.h"

namespace Qel {
namespace Settings {

namespace text {
class WhiteSpace;
struct IniLine;
}  // namespace text

/// Settings in ini files, guarded by a CRC-32 line and written through a temporary copy.
///
/// Promise: after a crash or a power cut at any moment a load gives the complete old or the
/// complete new values; once `save()` has returned true, the new ones. docs/durability.md says what
/// disk and file system must do for that. Neither a loader nor a second writer in another process
/// meets a half-written pair of files.
///
/// No promise: text that the format cannot hold comes back changed (docs/file-format.md lists it),
/// and without the durable order (`syncWrites(false)`) a power cut may cost the last saves.
class QEL_SETTINGS_EXPORT SettingStorageInifile : public SettingStorageFileBase {
public:
    SettingStorageInifile(const std::string& name, const std::string& filename,
                          const std::string& rwFilename, SavePolicy policy);

    /// With a factory that wins over the manager's.
    SettingStorageInifile(const std::string& name, const std::string& filename,
                          const std::string& rwFilename, boost::shared_ptr<SettingFactory> factory,
                          SavePolicy policy);
    ~SettingStorageInifile() override;

    bool saveFile(const std::string& file) override;

    /// Throws `std::runtime_error` when a "#name" line is not the first line of the file, and
    /// `std::length_error` when the names of the settings take more than 64 MiB in full. Rejected
    /// lines go to the log and to `errInfo()`; the rest of the file loads.
    bool loadFile(const std::string& file) override;

    /// The temporary copy's path: `file` and ".tmp".
    static std::string getTempFilename(const std::string& file);

    /// Writes `data`, whole, to the temporary copy and to `file`, then deletes the copy. At every
    /// moment one of the two holds a complete text.
    bool writeIniFile(const std::string& file, const std::string& data);

    /// Reads the temporary copy of `file` or, when that is absent or damaged, `file` itself. `data`
    /// is then the text before the CRC line; the defaults file comes whole and unchecked.
    bool loadInifileData(const std::string& file, std::string& data);

    /// Switches the durable order of writing (on at first) for the whole process; returns what it
    /// was. Without it saves are faster and still survive a crash of the process, but no power cut.
    static bool syncWrites(bool on);

    /// CRC of the text last read from or written to disk; 0 when that is not known.
    std::uint32_t crc32() const;

    /// The known section prefixes, each ending in "/", in byte-wise order.
    std::vector<std::string> sections() const;

private:
    bool acceptCandidate(const std::string& file, const std::string& candidate, std::string& data);
    void noteUnreadable(int error, const std::string& path, bool isFile);
    bool acceptCrc(const std::string& file, const std::string& candidate, std::string& data);
    void parse(const std::string& file, std::string_view data);
    struct Reader;
    void readHeader(const text::IniLine& line, bool isFirstLine, Reader& reader);
    void readSetting(const std::string& file, const text::IniLine& line, std::string_view whole,
                     Reader& reader);
    bool createSetting(const text::IniLine& line, Reader& reader);
    void noteRejected(std::string_view line, std::size_t number, const char* reason);

    bool saveTo(const std::string& file);
    bool buildText(std::string& data) const;
    std::string_view sectionOf(std::string_view prefix, const std::string& root) const;

    std::set<std::string, std::less<>> sections_;
    std::uint32_t crc32_;
    std::string crcFile_;  // whose text that is of, the copy counting as its file
    std::string acceptedFile_;
    bool copyIsUnread_ = false;  // the copy beside the file that was loaded last may win later
    std::size_t lastTextSize_ = 0;
};

}  // namespace Settings
}  // namespace Qel

#endif
