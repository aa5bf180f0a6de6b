#ifndef T8SETTINGS_SURVEY_H
#define T8SETTINGS_SURVEY_H

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "console/Exit.h"
#include "store/Files.h"
#include "survey/SurveyedFile.h"
#include "values/Records.h"

namespace t8settings {

/// What the files say of a storage as a whole.
struct StorageFacts {
    std::string defaultsFile;   ///< path; empty when there is none
    std::string readWriteFile;  ///< path; empty when there is none, or it is never written
    bool readonly = false;      ///< one of the files that were looked at says so
    std::string savePolicy;     ///< as in the files; empty when they leave it to the programs
    std::optional<bool> survivesReset;  ///< nothing of a file in no directory of a store
    /// All its files were looked at; one that was not may say something else.
    bool isWhole = true;
};

/// All that is to be known of a setting.
struct SettingFacts {
    Record inForce;
    std::string file;  ///< path of the file that the value was read from
    bool isFromDefaults;
    std::optional<Record> byDefault;
    std::shared_ptr<const StorageFacts> storage;

    /// Whether value or type are not those of the default, if there is one.
    bool differs() const;

    /// "defaultsFile" or "readWriteFile".
    const char* origin() const { return isFromDefaults ? "defaultsFile" : "readWriteFile"; }
};

/// Adds origin and file.
void addOrigin(Json& json, const SettingFacts& setting);

/// By the settings' names.
struct Facts : std::map<std::string, SettingFacts> {
    /// What a command that is done exits with: `kFindings` when a file was passed over, `kFailed`
    /// when there was none.
    ExitCode code = ExitCode::kDone;
};

/// The one that tells more: `kFailed`, or else the first one that is not `kDone`.
ExitCode graver(ExitCode one, ExitCode other);

/// The settings that a process would get if it loaded the files now, found out without loading:
/// nothing is set aside. Files that would be are told of on standard error, and passed over.
///
/// Of a location with a single file, all settings in that file, even if it would be set aside.
/// Throws `Failure` when the base directory or the file cannot be read, and of a dump.
Facts survey(const Location& location);

/// The same for a path, be it that of a base directory, of a file or of a dump, which gives what it
/// says; throws `Failure` when it is not in form.
Facts surveyAt(const std::string& path);

std::vector<std::string> namesOf(const Facts& facts);

/// Throws `Failure`, with names that may have been meant, when there is no such setting.
const SettingFacts& factsOn(const std::string& name, const Facts& facts);

}  // namespace t8settings

#endif
