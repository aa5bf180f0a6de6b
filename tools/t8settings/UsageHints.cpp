#include "UsageHints.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "LineSoFar.h"
#include "Nearest.h"
#include "Terminal.h"

namespace t8settings {

namespace {

std::vector<const CLI::App*> chain(const CLI::App& app) {
    std::vector<const CLI::App*> parsed = {&app};
    for (const CLI::App* const command : app.get_subcommands()) {
        parsed.push_back(command);
    }
    return parsed;
}

/// The first word that the parser had no use for; empty when it had one for all.
std::string strayWord(const CLI::App& app) {
    for (const CLI::App* const parsed : chain(app)) {
        for (const std::string& word : parsed->remaining()) {
            return word;
        }
    }
    return "";
}

std::vector<std::string> commandNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* const command : listedCommands(app)) {
        names.push_back(command->get_name());
    }
    return names;
}

std::vector<std::string> optionNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* const parsed : chain(app)) {
        for (const CLI::Option* const option : parsed->get_options()) {
            for (const std::string& name : option->get_lnames()) {
                names.push_back("--" + name);
            }
        }
    }
    return names;
}

std::string allCommands(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "\nthe commands are " : ", ") + name;
    }
    return text;
}

std::string noSuchCommand(const CLI::App& app, const std::string& word) {
    const std::vector<std::string> names = commandNames(app);
    const std::string meant = didYouMean(Pattern::exactly(word), names);
    return "no such command: " + inQuotes(word) + (meant.empty() ? allCommands(names) : meant);
}

/// "NAME TEXT" of a command that takes a name and a text; empty when it takes options alone.
std::string argumentsOf(const CLI::App& command) {
    std::string words;
    for (const CLI::Option* const option : command.get_options()) {
        if (option->get_positional()) {
            words += (words.empty() ? "" : " ") + option->get_name(true);
        }
    }
    return words;
}

std::string hintOnOption(const CLI::App& app, const std::string& word) {
    std::string meant =
        didYouMean(Pattern::exactly(word.substr(0, word.find('='))), optionNames(app));
    const std::string arguments = argumentsOf(*chain(app).back());
    if (!meant.empty() || arguments.empty()) {
        return meant;
    }
    return "\nan argument that begins with \"-\" comes after \"--\", as in: t8settings " +
           chain(app).back()->get_name() + " -- " + arguments;
}

std::vector<const CLI::App*> commandsCalled(const CLI::App& app, const std::string& name) {
    return app.get_subcommands(
        [&](const CLI::App* command) { return command->get_name() == name; });
}

/// The option of the program or of one of the commands; null when there is none.
const CLI::Option* optionCalled(const CLI::App& app, const std::vector<const CLI::App*>& commands,
                                const std::string& name) {
    const CLI::Option* found = app.get_option_no_throw(name);
    for (const CLI::App* const command : commands) {
        found = found != nullptr ? found : command->get_option_no_throw(name);
    }
    return found;
}

/// Whether the word is "--", or an option with or without a value in it.
bool isOption(const CLI::App& app, const std::vector<const CLI::App*>& commands,
              const std::string& word) {
    return word.compare(0, 2, "--") == 0 &&
           (word.size() == 2 ||
            optionCalled(app, commands, word.substr(0, word.find('='))) != nullptr);
}

/// The words that follow belong to somebody else's command line.
bool isQuestionOfAShell(int argc, const char* const* argv) {
    return argc > 1 && std::string_view(argv[1]) == "complete";
}

}  // namespace

void demandValues(const CLI::App& app, int argc, const char* const* argv) {
    // Before the command, an option may be that of any one.
    auto commands = app.get_subcommands([](const CLI::App*) { return true; });
    for (int i = 1; i < argc && !isQuestionOfAShell(argc, argv); ++i) {
        const std::string word = argv[i];
        if (word == "--") {
            return;
        }
        if (!isOption(app, commands, word)) {
            const auto called = commandsCalled(app, word);
            commands = commands.size() == 1 || called.empty() ? commands : called;
            continue;
        }
        const std::string name = word.substr(0, word.find('='));
        if (word.size() == name.size() + 1) {
            throw Failure(ExitCode::kUsage, name + " is empty");
        }
        if (name == word && takesValue(*optionCalled(app, commands, name))) {
            ++i;
            if (i == argc || isOption(app, commands, argv[i])) {
                throw Failure(ExitCode::kUsage, name + " lacks its value");
            }
        }
    }
}

const CLI::App& commandCalled(const CLI::App& app, const std::string& name) {
    const auto called = app.get_subcommands(
        [&name](const CLI::App* command) { return command->get_name() == name; });
    if (called.empty()) {
        throw Failure(ExitCode::kUsage, noSuchCommand(app, name) + "\nsee t8settings --help");
    }
    return *called.front();
}

Failure badUsage(const CLI::App& app, const std::string& error) {
    const bool hasCommand = !app.get_subcommands().empty();
    const std::string stray = strayWord(app);
    const bool isOption = !stray.empty() && stray.front() == '-';
    std::string text = error;
    if (isOption && hasCommand &&
        chain(app).back()->get_option_no_throw(stray.substr(0, stray.find('='))) != nullptr) {
        text = stray + " comes after " + chain(app).back()->get_name();
    } else if (isOption) {
        text += hintOnOption(app, stray);
    } else if (!hasCommand && !stray.empty()) {
        text = noSuchCommand(app, stray);
    } else if (!hasCommand) {
        text += allCommands(commandNames(app));
    }
    return {ExitCode::kUsage, text + "\nsee t8settings " +
                                  (hasCommand ? chain(app).back()->get_name() + " " : "") +
                                  "--help"};
}

}  // namespace t8settings
