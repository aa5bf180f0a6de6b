#include <memory>

#include "commandline/UsageHints.h"
#include "commands/Command.h"

namespace t8settings {

Command addHelpCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("help", "The same as --help");
    // The help of the program is full as it is.
    command->group("");
    // The word that follows is a command's name, and no command.
    command->prefix_command();
    command->fallthrough(false);
    const auto words = std::make_shared<std::vector<std::string>>();
    Command added = {command, {}};
    added.takeWords = [words](const std::vector<std::string>& said) { *words = said; };
    added.runWithoutStore = [words, &app](Format) -> Result {
        if (words->empty()) {
            return {
                app.get_formatter()->make_help(&app, app.get_name(), CLI::AppFormatMode::Normal)};
        }
        if (words->size() > 1) {
            throw Failure(ExitCode::kUsage, "help takes one command\nsee t8settings --help");
        }
        return {commandCalled(app, words->front()).help(app.get_name())};
    };
    return added;
}

}  // namespace t8settings
