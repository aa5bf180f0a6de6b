#include <memory>

#include "Command.h"
#include "Records.h"
#include "Terminal.h"

namespace t8settings {

namespace {

Result list(const Store& store, Format format, const std::string& prefix) {
    std::vector<Row> rows;
    Json json = Json::array();
    for (const SettingPtr& setting : store.settings()) {
        if (setting->name().compare(0, prefix.size(), prefix) == 0) {
            const Record record = recordOf(store, setting);
            rows.push_back(rowOf(record));
            json.push_back(jsonOf(record));
        }
    }
    if (rows.empty() && !prefix.empty()) {
        complain("no setting's name begins with " + inQuotes(prefix));
    }
    return {format == Format::kJson ? textOfJson(json) : linesOf(rows)};
}

Result get(const Store& store, Format format, const std::string& name) {
    const Record record = recordOf(store, store.find(name));
    return {format == Format::kJson ? textOfJson(jsonOf(record)) : record.text + "\n"};
}

}  // namespace

Command addListCommand(CLI::App& app) {
    const auto prefix = std::make_shared<std::string>();
    CLI::App* const command = app.add_subcommand("list", "Show settings: name, type and text");
    command->add_option("PREFIX", *prefix, "Only settings whose names begin with these bytes")
        ->type_name("");
    command->footer(
        "Control bytes in a text are shown as \\n, \\t or \\x1B; get and --json give them as they "
        "are.\n\nExample:\n  t8settings --base tv list settings/sound/");
    return {command,
            [prefix](const Store& store, Format format) { return list(store, format, *prefix); }};
}

Command addGetCommand(CLI::App& app) {
    const auto name = std::make_shared<std::string>();
    CLI::App* const command = app.add_subcommand("get", "Show the text of one setting");
    command->add_option("NAME", *name, "The setting's whole name")->required()->type_name("");
    command->footer(
        "A string is shown as it is, every other value in the form of the settings files.\n\n"
        "Example:\n  t8settings --base tv get settings/sound/bass");
    return {command,
            [name](const Store& store, Format format) { return get(store, format, *name); }};
}

}  // namespace t8settings
