#include "Completion.h"

#include <Qel/Settings/T8SettingsManager.h>
#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>
#include <string_view>

#include "LineSoFar.h"
#include "StoredStorage.h"
#include "Terminal.h"
#include "Types.h"

namespace t8settings {

namespace {

using Qel::Settings::TypeDescription;
using Candidates = std::vector<Candidate>;

/// The base directory that the command would have.
std::string baseOf(const LineSoFar& line) {
    const std::string said = line.valueOf("--base");
    const char* const environment = std::getenv("T8SETTINGS_BASE");
    const char* const home = std::getenv("HOME");
    if (said.empty()) {
        return environment == nullptr ? "" : environment;
    }
    // The shell would have replaced it by now if the command were run.
    return home != nullptr && said.compare(0, 2, "~/") == 0 ? home + said.substr(1) : said;
}

StoredSettings settingsOf(const LineSoFar& line) {
    const std::string base = baseOf(line);
    return base.empty() ? StoredSettings() : settingsBelow(base);
}

Candidates settingNames(const LineSoFar& line) {
    Candidates names;
    for (const auto& setting : settingsOf(line)) {
        names.push_back({setting.first, setting.second.type});
    }
    return names;
}

Candidates typeNames(const LineSoFar&) {
    Candidates names;
    for (const TypeDescription& type : Qel::Settings::describeTypes()) {
        names.push_back({type.name, kindOf(type)});
    }
    return names;
}

/// All that the setting can be when that is little, else what it is now, to be changed.
Candidates textsOfSetting(const LineSoFar& line) {
    const StoredSettings settings = settingsOf(line);
    const auto setting = settings.find(line.arguments().front());
    if (setting == settings.end()) {
        return {};
    }
    const TypeDescription& type = typeCalled(setting->second.type);
    if (type.name == "bool") {
        return {{"false", ""}, {"true", ""}};
    }
    Candidates texts;
    for (const TypeDescription::Enumerator& enumerator : type.enumerators) {
        texts.push_back({enumerator.text, std::to_string(enumerator.value)});
    }
    return type.kind == TypeDescription::Kind::kEnumeration
               ? texts
               : Candidates{{setting->second.text, "now"}};
}

/// What the arguments of the commands are, by their names in the help.
struct Argument {
    bool isPath;
    bool goesBySlashes;
    Candidates (*candidates)(const LineSoFar& line);
};

const Argument* argumentCalled(const std::string& command, const std::string& name) {
    static const Argument kPath = {true, false, nullptr};
    static const Argument kName = {false, true, settingNames};
    static const std::map<std::string, Argument> kArguments = {
        {"A", kPath},
        {"B", kPath},
        {"DIR", kPath},
        {"FILE", kPath},
        {"PATH", kPath},
        {"NAME", kName},
        {"PATTERN", kName},
        {"PREFIX", kName},
        {"TEXT", {false, false, textsOfSetting}},
        {"types NAME", {false, false, typeNames}}};
    const auto own = kArguments.find(command + " " + name);
    const auto common = kArguments.find(name);
    return own != kArguments.end()      ? &own->second
           : common != kArguments.end() ? &common->second
                                        : nullptr;
}

bool startsWith(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

/// Those that begin with `start`, each once.
Candidates beginningWith(const std::string& start, const Candidates& candidates) {
    Candidates left;
    for (const Candidate& candidate : candidates) {
        const bool canBeTyped = visible(candidate.text) == candidate.text;
        if (canBeTyped && !candidate.text.empty() && startsWith(candidate.text, start)) {
            left.push_back(candidate);
        }
    }
    return left;
}

/// Names are completed from slash to slash: nobody reads a list of thousands.
Candidates upToSlashes(const std::string& start, const Candidates& names) {
    Candidates parts;
    std::set<std::string> seen;
    for (const Candidate& name : names) {
        const std::size_t slash = name.text.find('/', start.size());
        if (slash == std::string::npos || slash + 1 == name.text.size()) {
            parts.push_back(name);
        } else if (seen.insert(name.text.substr(0, slash + 1)).second) {
            parts.push_back({name.text.substr(0, slash + 1), "", true});
        }
    }
    return parts;
}

/// The words that the help of an option names as its values, "{one,other}".
Candidates wordsIn(const std::string& typeName) {
    Candidates words;
    const std::size_t open = typeName.find('{');
    const std::size_t close = typeName.find('}');
    for (std::size_t at = open; at < close;) {
        const std::size_t end = std::min(typeName.find(',', at + 1), close);
        words.push_back({typeName.substr(at + 1, end - at - 1), ""});
        at = end;
    }
    return words;
}

Completion completionOfArgument(const LineSoFar& line, const std::string& name,
                                const std::string& start, Names names) {
    const std::string command = line.command() == nullptr ? "" : line.command()->get_name();
    const Argument* const argument = argumentCalled(command, name);
    if (argument == nullptr) {
        return {false, beginningWith(start, wordsIn(name))};
    }
    if (argument->isPath) {
        return {true, {}};
    }
    const Candidates all = beginningWith(start, argument->candidates(line));
    return {false,
            argument->goesBySlashes && names == Names::kUpToSlash ? upToSlashes(start, all) : all};
}

/// The name, in the help, of the argument that comes next; empty when there is none.
std::string nextArgument(const LineSoFar& line) {
    std::size_t taken = line.arguments().size();
    for (const CLI::Option* const option : line.command()->get_options()) {
        const auto most = static_cast<std::size_t>(option->get_items_expected_max());
        if (option->get_positional() && taken < most) {
            return option->get_single_name();
        }
        taken -= option->get_positional() ? most : 0;
    }
    return "";
}

Candidates options(const CLI::App& app) {
    Candidates all;
    for (const CLI::Option* const option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            const std::string about = option->get_description();
            all.push_back({"--" + name, about.substr(0, about.find('\n'))});
        }
    }
    return all;
}

/// Of "--option=value".
Completion completionOfValue(const LineSoFar& line, const CLI::Option& option,
                             const std::string& start) {
    const std::size_t value = start.find('=') + 1;
    Completion completion =
        completionOfArgument(line, option.get_type_name(), start.substr(value), Names::kWhole);
    for (Candidate& candidate : completion.candidates) {
        candidate.text.insert(0, start, 0, value);
    }
    return completion;
}

Completion completionOfOption(const CLI::App& app, const LineSoFar& line,
                              const std::string& start) {
    const std::size_t equals = start.find('=');
    if (equals != std::string::npos) {
        const CLI::Option* const option = line.option(start.substr(0, equals));
        return option == nullptr ? Completion() : completionOfValue(line, *option, start);
    }
    Candidates all = line.command() == nullptr ? Candidates() : options(*line.command());
    const Candidates common = options(app);
    all.insert(all.end(), common.begin(), common.end());
    // Every command has --help, as the program has.
    std::sort(all.begin(), all.end(),
              [](const Candidate& a, const Candidate& b) { return a.text < b.text; });
    all.erase(std::unique(all.begin(), all.end(),
                          [](const Candidate& a, const Candidate& b) { return a.text == b.text; }),
              all.end());
    return {false, beginningWith(start, all)};
}

Candidates commands(const CLI::App& app) {
    Candidates all;
    for (const CLI::App* const command :
         app.get_subcommands([](const CLI::App* c) { return !c->get_group().empty(); })) {
        all.push_back({command->get_name(), command->get_description()});
    }
    return all;
}

}  // namespace

Completion completionOf(const CLI::App& app, const std::vector<std::string>& words, Names names) {
    if (words.empty()) {
        return {};
    }
    const std::string& start = words.back();
    const LineSoFar line(app, {words.begin(), words.end() - 1});
    if (line.isWrong()) {
        return {};
    }
    if (line.optionToFill() != nullptr) {
        return completionOfArgument(line, line.optionToFill()->get_type_name(), start, names);
    }
    if (line.takesOptions() && startsWith(start, "-")) {
        return completionOfOption(app, line, start);
    }
    return line.command() == nullptr ? Completion{false, beginningWith(start, commands(app))}
                                     : completionOfArgument(line, nextArgument(line), start, names);
}

}  // namespace t8settings
