#include "values/Records.h"

#include "values/TextOfValue.h"

namespace t8settings {

Record recordOf(const FactoryPtr& factory, const SettingPtr& setting, const std::string& storage) {
    const std::string type = factory->typeAsString(setting);
    const std::string text = textForPeople(type, factory->valueAsString(setting));
    return {setting->name(), type, text, storage};
}

Record recordOf(const Store& store, const SettingPtr& setting) {
    return recordOf(store.factory(), setting, storageOf(setting).name());
}

Json jsonOf(const Record& record) {
    Json json;
    addBytes(json, "name", record.name);
    addBytes(json, "type", record.type);
    addBytes(json, "text", record.text);
    addBytes(json, "storage", record.storage);
    return json;
}

Row rowOf(const Record& record) {
    return {record.name, record.type, record.text};
}

}  // namespace t8settings
