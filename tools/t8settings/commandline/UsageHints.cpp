#include "commandline/UsageHints.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "commandline/LineSoFar.h"
#include "console/Nearest.h"
#include "console/Shell.h"
#include "console/Terminal.h"

namespace t8settings {

namespace {

std::vector<const CLI::App*> chain(const CLI::App& app) {
    std::vector<const CLI::App*> parsed = {&app};
    for (const CLI::App* const command : app.get_subcommands()) {
        parsed.push_back(command);
    }
    return parsed;
}

/// The first word that the parser had no use for, if any.
std::optional<std::string> strayWord(const CLI::App& app) {
    for (const CLI::App* const parsed : chain(app)) {
        for (const std::string& word : parsed->remaining()) {
            return word;
        }
    }
    return std::nullopt;
}

std::vector<std::string> commandNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* const command : listedCommands(app)) {
        names.push_back(command->get_name());
    }
    // Which no help lists.
    names.emplace_back("help");
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

/// Empty for a command that takes options alone.
std::string hintOnDash(const CLI::App& command) {
    const std::string arguments = argumentsOf(command);
    return arguments.empty() ? ""
                             : "\nan argument that begins with \"-\" comes after \"--\", as in: "
                               "t8settings " +
                                   command.get_name() + " -- " + arguments;
}

std::string hintOnOption(const CLI::App& app, const std::string& word) {
    std::string meant =
        didYouMean(Pattern::exactly(word.substr(0, word.find('='))), optionNames(app), shellWord);
    return meant.empty() ? hintOnDash(*chain(app).back()) : meant;
}

/// The option that was said more often than once and takes one value; empty for none.
std::string repeatedOption(const CLI::App& app) {
    for (const CLI::App* const parsed : chain(app)) {
        for (const CLI::Option* const option : parsed->get_options()) {
            if (!option->get_positional() && takesValue(*option) && option->count() > 1) {
                return option->get_name();
            }
        }
    }
    return "";
}

std::string tooManyArguments(const CLI::App& command, const std::string& word) {
    std::size_t most = 0;
    for (const CLI::Option* const option : command.get_options()) {
        most += option->get_positional() ? 1 : 0;
    }
    return command.get_name() + " takes no " +
           (most == 0 ? "argument" : "more than " + counted(most, "argument")) + ": " +
           inQuotes(word) + " is too many";
}

std::string onOption(const CLI::App& app, const CLI::ParseError& error, const std::string& word) {
    const CLI::App& last = *chain(app).back();
    const std::string name = word.substr(0, word.find('='));
    if (&last != &app && last.get_option_no_throw(name) != nullptr) {
        return word + " comes after " + last.get_name();
    }
    const bool isAll = dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr;
    return (isAll ? "no such option" + (&last == &app ? "" : " of " + last.get_name()) + ": " +
                        inQuotes(name)
                  : error.what()) +
           hintOnOption(app, word);
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

/// The parser takes "-hx" for "-h", whatever follows: help in place of what was wanted.
void demandFlagAlone(const CLI::App& app, const std::vector<const CLI::App*>& commands,
                     const std::string& word) {
    const std::string flag = word.substr(0, 2);
    if (word.size() <= 2 || flag.front() != '-' || flag == "--" ||
        optionCalled(app, commands, flag) == nullptr) {
        return;
    }
    if (word[2] == '=') {
        throw Failure(ExitCode::kUsage, flag + " takes no value");
    }
    const bool isOfACommand = commands.size() == 1;
    throw Failure(ExitCode::kUsage,
                  "no such option" +
                      (isOfACommand ? " of " + commands.front()->get_name() : std::string()) +
                      ": " + inQuotes(word) + (isOfACommand ? hintOnDash(*commands.front()) : ""));
}

/// The words that follow belong to somebody else's command line.
bool isQuestionOfAShell(int argc, const char* const* argv) {
    return argc > 1 && std::string_view(argv[1]) == "complete";
}

/// For "set NAME=TEXT" and "set NAME = TEXT": the line as it is to be; empty for any other.
std::string lineWithoutEquals(const CLI::App& app, const std::vector<std::string>& words) {
    const std::vector<std::string> arguments = LineSoFar(app, words).arguments();
    const std::string first = arguments.empty() ? "" : arguments.front();
    const std::size_t equals = first.find('=');
    const bool isOneWord = arguments.size() == 1 && equals != std::string::npos;
    const bool isThree = arguments.size() == 3 && arguments[1] == "=";
    if (chain(app).back()->get_name() != "set" || (!isOneWord && !isThree)) {
        return "";
    }
    const std::string text = isOneWord ? first.substr(equals + 1) : arguments.back();
    std::string line = "t8settings";
    std::vector<std::string> before;
    std::size_t argumentsBefore = 0;
    for (const std::string& word : words) {
        before.push_back(word);
        const LineSoFar upTo(app, before);
        const bool isArgument = upTo.arguments().size() > argumentsBefore;
        argumentsBefore = upTo.arguments().size();
        line += isArgument || word == "--" ? "" : " " + shellWord(word);
    }
    return line + " " + (text.substr(0, 1) == "-" || text == "++" ? "-- " : "") +
           shellArgument(first.substr(0, equals)) + " " + shellWord(text);
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
            demandFlagAlone(app, commands, word);
            const auto called = commandsCalled(app, word);
            commands = commands.size() == 1 || called.empty() ? commands : called;
            continue;
        }
        const std::string name = word.substr(0, word.find('='));
        const bool isFlag = !takesValue(*optionCalled(app, commands, name));
        if (isFlag && name != word) {
            // The parser would take "false" and numbers too, in a way of its own.
            throw Failure(ExitCode::kUsage, name + " takes no value");
        }
        if (word.size() == name.size() + 1) {
            throw Failure(ExitCode::kUsage, name + " is empty");
        }
        if (name == word && !isFlag) {
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

Failure badUsage(const CLI::App& app, const std::string& text) {
    const CLI::App& last = *chain(app).back();
    return {ExitCode::kUsage,
            text + "\nsee t8settings " + (&last == &app ? "" : last.get_name() + " ") + "--help"};
}

Failure noCommand(const CLI::App& app) {
    const std::vector<std::string> commands = commandNames(app);
    for (const CLI::Option* const option : app.get_options()) {
        const std::vector<std::string>& words = option->results();
        if (words.size() == 1 &&
            std::find(commands.begin(), commands.end(), words.front()) != commands.end()) {
            return badUsage(app, "no command: " + option->get_name() + " has taken " +
                                     inQuotes(words.front()) + " for its value");
        }
    }
    return badUsage(app, "no command" + allCommands(commands));
}

Failure badCommandLine(const CLI::App& app, const CLI::ParseError& error,
                       const std::vector<std::string>& words) {
    const std::optional<std::string> stray = strayWord(app);
    if (const std::string line = lineWithoutEquals(app, words); !line.empty()) {
        return badUsage(app, "no \"=\" goes between NAME and TEXT\ndid you mean " + line + "?");
    }
    if (stray && stray->substr(0, 1) == "-") {
        return badUsage(app, onOption(app, error, *stray));
    }
    if (stray && LineSoFar(app, words).isWrong()) {
        return badUsage(app, noSuchCommand(app, *stray));
    }
    if (stray) {
        return badUsage(app, tooManyArguments(*chain(app).back(), *stray));
    }
    const std::string repeated = repeatedOption(app);
    return badUsage(app, repeated.empty() ? error.what() : repeated + " is there more than once");
}

}  // namespace t8settings
