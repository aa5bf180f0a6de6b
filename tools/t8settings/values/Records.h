#ifndef T8SETTINGS_RECORDS_H
#define T8SETTINGS_RECORDS_H

#include <string>

#include "console/Json.h"
#include "console/Table.h"
#include "store/Store.h"

namespace t8settings {

/// One setting as the commands show it; the text is the one that people read and write.
struct Record {
    std::string name;
    std::string type;
    std::string text;
    std::string storage;
};

Record recordOf(const FactoryPtr& factory, const SettingPtr& setting, const std::string& storage);
Record recordOf(const Store& store, const SettingPtr& setting);

Json jsonOf(const Record& record);

/// Name, type, text.
Row rowOf(const Record& record);

}  // namespace t8settings

#endif
