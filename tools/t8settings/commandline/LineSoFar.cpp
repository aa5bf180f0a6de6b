#include "commandline/LineSoFar.h"

namespace t8settings {

LineSoFar::LineSoFar(const CLI::App& app, const std::vector<std::string>& words) : app_(app) {
    for (const std::string& word : words) {
        take(word);
    }
}

std::string LineSoFar::valueOf(const std::string& option) const {
    const auto found = values_.find(option);
    return found == values_.end() ? "" : found->second;
}

const CLI::Option* LineSoFar::option(const std::string& name) const {
    const CLI::Option* const own =
        command_ == nullptr ? nullptr : command_->get_option_no_throw(name);
    return own != nullptr ? own : app_.get_option_no_throw(name);
}

void LineSoFar::take(const std::string& word) {
    if (optionToFill_ != nullptr) {
        values_["--" + optionToFill_->get_single_name()] = word;
        optionToFill_ = nullptr;
        return;
    }
    const bool mayBeOption = !optionsOver_ && word.size() > 1 && word.front() == '-';
    const CLI::Option* const known = mayBeOption ? option(word.substr(0, word.find('='))) : nullptr;
    if (mayBeOption && word == "--") {
        optionsOver_ = true;
    } else if (known != nullptr) {
        takeOption(word, *known);
    } else {
        takeWord(word);
    }
}

void LineSoFar::takeOption(const std::string& word, const CLI::Option& option) {
    const std::size_t equals = word.find('=');
    if (equals != std::string::npos) {
        values_["--" + option.get_single_name()] = word.substr(equals + 1);
    } else if (takesValue(option)) {
        optionToFill_ = &option;
    }
}

void LineSoFar::takeWord(const std::string& word) {
    if (command_ != nullptr) {
        arguments_.push_back(word);
        return;
    }
    const auto named =
        app_.get_subcommands([&](const CLI::App* command) { return command->get_name() == word; });
    if (named.empty()) {
        isWrong_ = true;
    } else {
        command_ = named.front();
    }
}

std::vector<const CLI::App*> listedCommands(const CLI::App& app) {
    return app.get_subcommands(
        [](const CLI::App* command) { return !command->get_group().empty(); });
}

bool takesValue(const CLI::Option& option) {
    return option.get_items_expected_max() > 0;
}

}  // namespace t8settings
