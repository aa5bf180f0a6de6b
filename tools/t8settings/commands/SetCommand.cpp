#include <memory>

#include "change/Changes.h"
#include "commands/Command.h"
#include "values/Records.h"
#include "values/TextOfValue.h"

namespace t8settings {

namespace {

constexpr const char* kSetHelp =
    "The text is that of the setting's type, in the form of the settings files; for\n"
    "a string it is the string itself. Refused is what the type would not keep as it\n"
    "is meant: 300 for a uint8, abc for a number, maybe for a bool, over 6 digits\n"
    "for a float, no name of an enumeration, a field too few in a record, blanks at\n"
    "the ends of a string without \",\" and \";\", in a list, record or map a needless\n"
    "backslash, as \\;. Taken are +5, 007, 1.50, TRUE; the empty text empties a\n"
    "string, list or map; the rest: t8settings types NAME. A text with \"-\" and no\n"
    "digit in front comes after \"--\", and so does \"++\": set NAME -- -.5. Nothing is\n"
    "set while other lines of the file are lost or misread: a save would hide that.\n\n"
    "Example:\n"
    "  t8settings --base tv set settings/sound/bass 5";

Result set(const Store& store, Format format, const std::string& name, const std::string& text) {
    const SettingPtr setting = store.find(name);
    store.demandNormalMode();
    demandWritable(setting);
    demandSeen({setting});
    const std::string type = store.factory()->typeAsString(setting);
    const Value value = valueOf(store.factory(), type, name, text);
    changeAndSave(store, {{setting, value.value, type + "," + value.fileText, true}});
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
