#include "Command.h"
#include "UsageHints.h"

namespace t8settings {

Command addHelpCommand(CLI::App& app) {
    CLI::App* const command = app.add_subcommand("help", "The same as --help");
    // The help of the program is full as it is.
    command->group("");
    // The word that follows is a command's name, and no command.
    command->prefix_command();
    command->fallthrough(false);
    return {command, {}, [command, &app](Format) -> Result {
                const std::vector<std::string> words = command->remaining();
                if (words.empty()) {
                    return {app.get_formatter()->make_help(&app, app.get_name(),
                                                           CLI::AppFormatMode::Normal)};
                }
                return {commandCalled(app, words.front()).help(app.get_name())};
            }};
}

}  // namespace t8settings
