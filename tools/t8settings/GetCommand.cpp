#include <memory>

#include "Command.h"
#include "Records.h"

namespace t8settings {

namespace {

struct Wanted {
    std::string name;
    bool type = false;
};

Result get(const Store& store, Format format, const Wanted& wanted) {
    const Record record = recordOf(store, store.find(wanted.name));
    return {format == Format::kJson ? textOfJson(jsonOf(record))
                                    : (wanted.type ? record.type : record.text) + "\n"};
}

}  // namespace

Command addGetCommand(CLI::App& app) {
    const auto wanted = std::make_shared<Wanted>();
    CLI::App* const command = app.add_subcommand("get", "Show the text of one setting");
    command->add_option("NAME", wanted->name, "The setting's whole name")
        ->required()
        ->type_name("");
    command->add_flag("--type", wanted->type, "The name of its type instead");
    command->footer(
        "A string is shown as it is, every other value in the form of the settings files.\n\n"
        "Example:\n  t8settings --base tv get settings/sound/bass");
    return {command,
            [wanted](const Store& store, Format format) { return get(store, format, *wanted); }};
}

}  // namespace t8settings
