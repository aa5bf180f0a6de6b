#include "Records.h"

#include <algorithm>
#include <cstddef>
#include <unistd.h>

#include "Terminal.h"
#include "TextOfValue.h"

namespace t8settings {

namespace {

void appendCell(std::string& line, const std::string& text, std::size_t width) {
    line += text;
    if (width == 0) {
        line += '\t';
    } else {
        line.append(width - text.size(), ' ').append("  ");
    }
}

}  // namespace

Record recordOf(const Store& store, const SettingPtr& setting) {
    const std::string type = store.factory()->typeAsString(setting);
    const std::string text = textForPeople(type, store.factory()->valueAsString(setting));
    return {setting->name(), type, text, storageOf(setting).name()};
}

Json jsonOf(const Record& record) {
    Json json;
    addBytes(json, "name", record.name);
    addBytes(json, "type", record.type);
    addBytes(json, "text", record.text);
    addBytes(json, "storage", record.storage);
    return json;
}

std::string linesOf(const std::vector<Record>& records, bool inColumns) {
    std::size_t nameWidth = 0;
    std::size_t typeWidth = 0;
    if (inColumns) {
        for (const Record& record : records) {
            nameWidth = std::max(nameWidth, visible(record.name).size());
            typeWidth = std::max(typeWidth, record.type.size());
        }
    }
    std::string lines;
    for (const Record& record : records) {
        appendCell(lines, visible(record.name), nameWidth);
        appendCell(lines, record.type, typeWidth);
        lines += visible(record.text) + '\n';
    }
    return lines;
}

bool outputIsTerminal() {
    return ::isatty(STDOUT_FILENO) == 1;
}

}  // namespace t8settings
