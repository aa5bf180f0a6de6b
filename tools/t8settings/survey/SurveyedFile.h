#ifndef T8SETTINGS_SURVEYEDFILE_H
#define T8SETTINGS_SURVEYEDFILE_H

#include <map>
#include <string>

#include "store/IniFile.h"
#include "store/XmlFile.h"
#include "values/Records.h"

namespace t8settings {

/// What a load takes of one file, found out without a load.
struct SurveyedFile {
    std::string path;
    std::string storage;
    std::string error;  ///< why a load does not take the file, or not all of it; empty if it does
    bool readonly = false;
    std::string savePolicy;
    std::map<std::string, Record> settings;
};

/// Settings are there even if a load would set the file aside.
SurveyedFile surveyed(const IniFile& file);

/// The same for an XML file.
SurveyedFile surveyed(const XmlFile& file);

}  // namespace t8settings

#endif
