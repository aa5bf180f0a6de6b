#ifndef T8SETTINGS_RECORDS_H
#define T8SETTINGS_RECORDS_H

#include <string>
#include <vector>

#include "Json.h"
#include "Store.h"

namespace t8settings {

/// One setting as the commands show it; the text is the one that people read and write.
struct Record {
    std::string name;
    std::string type;
    std::string text;
    std::string storage;
};

Record recordOf(const Store& store, const SettingPtr& setting);

Json jsonOf(const Record& record);

/// One line for each record: name, type, text. Between them stands a tab or, in columns for the
/// eye, blanks. Control bytes are made visible, so that a line stays a line.
std::string linesOf(const std::vector<Record>& records, bool inColumns);

/// Whether people look at standard output.
bool outputIsTerminal();

}  // namespace t8settings

#endif
