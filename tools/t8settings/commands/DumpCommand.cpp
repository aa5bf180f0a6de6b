#include <memory>

#include "commands/Command.h"
#include "console/Nearest.h"
#include "console/Terminal.h"
#include "dump/Dump.h"
#include "survey/Survey.h"

namespace t8settings {

namespace {

constexpr const char* kDumpHelp =
    "Writes all settings, or those that PATTERN means as it does to list, in a form\n"
    "that load takes: ini text, one line NAME = TYPE,TEXT for each, or JSON with\n"
    "--json. The files are read without loading them. What no line of ini text can\n"
    "hold is left out and told, with exit code 1; JSON holds everything.\n\n"
    "Examples:\n"
    "  t8settings --base tv dump 'settings/*'\n"
    "  t8settings --base tv --json dump >tv.json";

struct Wanted {
    std::string pattern;
    bool ini = false;
};

Result asIni(const std::vector<Record>& records) {
    Result result;
    for (const Record& record : records) {
        const std::string line = iniLineOf(record.name, record.type, record.text);
        result.output += line;
        if (line.empty()) {
            result.code = ExitCode::kFailed;
            complain(record.name + " is left out, no line of ini text holds it; --json does");
        }
    }
    return result;
}

Result asJson(const std::vector<Record>& records) {
    Json json = Json::array();
    for (const Record& record : records) {
        json.push_back(jsonOf(record));
    }
    return {textOfJson(json)};
}

Result dump(const Location& location, Format format, const Wanted& wanted) {
    const Pattern pattern = Pattern::ofNames(wanted.pattern);
    std::vector<Record> records;
    const Facts facts = survey(location);
    for (const auto& [name, setting] : facts) {
        if (pattern.matches(name)) {
            records.push_back(setting.inForce);
        }
    }
    Result result = format == Format::kJson ? asJson(records) : asIni(records);
    if (records.empty() && !wanted.pattern.empty()) {
        remarkThatNothingMatches(pattern, namesOf(facts));
        // What is to be loaded somewhere cannot have been meant to be nothing.
        result.code = ExitCode::kUnknownName;
    }
    result.code = graver(result.code, facts.code);
    return result;
}

}  // namespace

Command addDumpCommand(CLI::App& app) {
    const auto wanted = std::make_shared<Wanted>();
    CLI::App* const command = app.add_subcommand("dump", "Write settings in a form to load again");
    command->add_option("PATTERN", wanted->pattern, "Only settings with such names")->type_name("");
    command->add_flag("--ini", wanted->ini, "Ini text, as it is without --json");
    command->footer(kDumpHelp);
    Command added = {command, {}};
    added.takesFile = true;
    added.runOnFiles = [wanted](const std::function<Location()>& location, Format format) {
        if (wanted->ini && format == Format::kJson) {
            throw Failure(ExitCode::kUsage, "say either --ini or --json");
        }
        return dump(location(), format, *wanted);
    };
    return added;
}

}  // namespace t8settings
