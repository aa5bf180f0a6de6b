#include <memory>

#include "commands/Command.h"
#include "console/Terminal.h"
#include "store/LoadOutcome.h"
#include "survey/Survey.h"

namespace t8settings {

namespace {

constexpr const char* kGetHelp =
    "A string is shown as it is, every other value in the form of the settings\n"
    "files. With --origin the files are read without loading them. It shows\n"
    "defaultsFile, readWriteFile or, for a name that no file has, unset, and the\n"
    "file's path.\n\n"
    "Example:\n"
    "  t8settings --base tv get settings/sound/bass";

struct Wanted {
    std::string name;
    bool type = false;
    bool origin = false;
};

std::string answerOf(const Record& record, const Wanted& wanted) {
    return (wanted.type ? record.type : record.text) + "\n";
}

Result getOrigin(const Facts& facts, Format format, const Wanted& wanted) {
    try {
        const SettingFacts& setting = factsOn(wanted.name, facts);
        Json json = jsonOf(setting.inForce);
        addOrigin(json, setting);
        return {format == Format::kJson ? textOfJson(json)
                                        : linesOf({{setting.origin(), setting.file}}),
                facts.code};
    } catch (const Failure& failure) {
        complain(failure.what());
        return {format == Format::kJson ? textOfJson({{"origin", "unset"}}) : "unset\n",
                failure.code()};
    }
}

struct Found {
    Record record;
    ExitCode code;
};

Found settingCalled(const std::string& name, const Location& location) {
    if (!location.file.empty()) {
        const Facts facts = survey(location);
        return {factsOn(name, facts).inForce, facts.code};
    }
    const Store store(location);
    return {recordOf(store, store.find(name)), codeOfLookAt(location.base)};
}

Result get(const Location& location, Format format, const Wanted& wanted) {
    demandWord(wanted.name, "NAME");
    if (wanted.origin) {
        return getOrigin(survey(location), format, wanted);
    }
    const auto [record, code] = settingCalled(wanted.name, location);
    return {format == Format::kJson ? textOfJson(jsonOf(record)) : answerOf(record, wanted), code};
}

}  // namespace

Command addGetCommand(CLI::App& app) {
    const auto wanted = std::make_shared<Wanted>();
    CLI::App* const command = app.add_subcommand("get", "Show the text of one setting");
    command->add_option("NAME", wanted->name, "The setting's whole name")
        ->required()
        ->type_name("");
    command->add_flag("--type", wanted->type, "The name of its type instead");
    command->add_flag("--origin", wanted->origin, "Which file it comes from instead");
    command->footer(kGetHelp);
    command->callback([wanted] {
        if (wanted->type && wanted->origin) {
            throw CLI::ValidationError("say either --type or --origin");
        }
    });
    Command added = {command, {}};
    added.takesFile = true;
    added.runOnFiles = [wanted](const std::function<Location()>& location, Format format) {
        return get(location(), format, *wanted);
    };
    return added;
}

}  // namespace t8settings
