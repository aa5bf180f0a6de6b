#ifndef T8SETTINGS_LINESOFAR_H
#define T8SETTINGS_LINESOFAR_H

#include <CLI/CLI.hpp>
#include <map>
#include <string>
#include <vector>

namespace t8settings {

/// A command line that need not be complete, read word by word.
class LineSoFar {
public:
    LineSoFar(const CLI::App& app, const std::vector<std::string>& words);

    /// Null before the command.
    const CLI::App* command() const { return command_; }

    /// The words after the command that are no options and no values of options.
    const std::vector<std::string>& arguments() const { return arguments_; }

    /// The option that the next word is the value of; null for none.
    const CLI::Option* optionToFill() const { return optionToFill_; }

    /// Whether the next word may be an option.
    bool takesOptions() const { return !optionsOver_; }

    /// Whether a word was in a place where no command or argument goes.
    bool isWrong() const { return isWrong_; }

    /// The value of an option, with the dashes in front of its name; empty when it was not said.
    std::string valueOf(const std::string& option) const;

    /// The option of this name, with the dashes; null for none.
    const CLI::Option* option(const std::string& name) const;

private:
    void take(const std::string& word);
    void takeOption(const std::string& word, const CLI::Option& option);
    void takeWord(const std::string& word);

    const CLI::App& app_;
    const CLI::App* command_ = nullptr;
    std::vector<std::string> arguments_;
    std::map<std::string, std::string> values_;
    const CLI::Option* optionToFill_ = nullptr;
    bool optionsOver_ = false;
    bool isWrong_ = false;
};

/// The commands that people are told of.
std::vector<const CLI::App*> listedCommands(const CLI::App& app);

/// Whether the option is followed by a value.
bool takesValue(const CLI::Option& option);

}  // namespace t8settings

#endif
