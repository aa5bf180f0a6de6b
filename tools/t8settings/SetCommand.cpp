#include <memory>

#include "Changes.h"
#include "Command.h"
#include "Records.h"
#include "TextOfValue.h"

namespace t8settings {

namespace {

constexpr const char* kSetHelp =
    "The text is that of the setting's type, in the form of the settings files; for\n"
    "a string it is the string itself. A text that the type would not keep as it is\n"
    "meant is refused: 300 for a uint8, abc for a number, maybe for a bool, more\n"
    "than 6 digits for a float, no name of an enumeration, a field too few in a\n"
    "record, blanks at the ends of a string without \",\" and \";\", in a list, record\n"
    "or map a backslash before what needs none, such as \\;. Another way to write the\n"
    "same value is taken: +5, 007, 1.50, TRUE. The empty text empties a string, list\n"
    "or map. What a type takes: t8settings types NAME. A text that begins with \"-\"\n"
    "and no digit comes after \"--\", and so does \"++\": set NAME -- -.5\n\n"
    "Example:\n"
    "  t8settings --base tv set settings/sound/bass 5";

Result set(const Store& store, Format format, const std::string& name, const std::string& text) {
    const SettingPtr setting = store.find(name);
    store.demandNormalMode();
    demandWritable(setting);
    demandSeen({setting});
    const std::string type = store.factory()->typeAsString(setting);
    const Value value = valueOf(store.factory(), type, name, text);
    changeAndSave(store, {{setting, value.value, type + "," + value.fileText}});
    const Record record = recordOf(store, setting);
    Result result;
    result.output = format == Format::kJson ? textOfJson(jsonOf(record))
                                            : linesOf({rowOf(record)}, nameAndType());
    result.changed = true;
    result.deed = name + " is saved";
    return result;
}

}  // namespace

Command addSetCommand(CLI::App& app) {
    const auto name = std::make_shared<std::string>();
    const auto text = std::make_shared<std::string>();
    CLI::App* const command = app.add_subcommand("set", "Change a setting, save it and show it");
    command->add_option("NAME", *name, "The setting's whole name")->required()->type_name("");
    command->add_option("TEXT", *text, "The new value")->required()->type_name("");
    command->footer(kSetHelp);
    return {command, [name, text](const Store& store, Format format) {
                demandWord(*name, "NAME");
                return set(store, format, *name, *text);
            }};
}

}  // namespace t8settings
