#include "commandline/Completion.h"

#include <Qel/Settings/T8SettingsManager.h>
#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>
#include <string_view>

#include "check/Recovery.h"
#include "commandline/LineSoFar.h"
#include "console/Terminal.h"
#include "store/Files.h"
#include "survey/StoredStorage.h"
#include "survey/SurveyedFile.h"
#include "values/Types.h"

namespace t8settings {

namespace {

using Qel::Settings::TypeDescription;
using Candidates = std::vector<Candidate>;

/// The shell would have replaced what it begins with by now if the command were run.
std::string expanded(const std::string& path) {
    const char* const home = std::getenv("HOME");
    return home != nullptr && path.compare(0, 2, "~/") == 0 ? home + path.substr(1) : path;
}

/// The base directory that the command would have.
std::string baseOf(const LineSoFar& line) {
    const std::string said = line.valueOf("--base");
    const char* const environment = std::getenv("T8SETTINGS_BASE");
    return said.empty() && environment != nullptr ? environment : expanded(said);
}

StoredSettings settingsOf(const LineSoFar& line) {
    const std::string file = expanded(line.valueOf("--file"));
    const std::string base = baseOf(line);
    if (file.empty()) {
        return base.empty() ? StoredSettings() : settingsBelow(base);
    }
    return (holdsXml(file) ? surveyed(XmlFile(file)) : surveyed(iniFileAt(file))).settings;
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
    for (const std::string& name : namesOfTypes()) {
        names.push_back({name, kindOf(typeCalled(name))});
    }
    return names;
}

/// What `recover` can put back: of a file that is said already, what lies beside it.
Candidates copies(const LineSoFar& line) {
    if (line.arguments().empty()) {
        return {{"tmp", ""}, {"bad", ""}, {"tmp.new", ""}};
    }
    const FileGroup group = groupAt(expanded(line.arguments().front()));
    Candidates there;
    for (const Member& member : membersOf(group)) {
        if (member.file != &group.file) {
            there.push_back({member.word, ""});
        }
    }
    return there;
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

Candidates commands(const CLI::App& app) {
    Candidates all;
    for (const CLI::App* const command :
         app.get_subcommands([](const CLI::App* c) { return c->get_name() != "complete"; })) {
        all.push_back({command->get_name(), command->get_description()});
    }
    return all;
}

/// Of the words after "help" the first is a command.
Candidates commandsToHelpWith(const LineSoFar& line) {
    return line.arguments().empty() ? commands(*line.command()->get_parent()) : Candidates();
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
        {"COPY", {false, false, copies}},
        {"TEXT", {false, false, textsOfSetting}},
        {"help ", {false, false, commandsToHelpWith}},
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

Completion completionOfArgument(const LineSoFar& line, const std::string& name,
                                const std::string& start, Names names) {
    const std::string command = line.command() == nullptr ? "" : line.command()->get_name();
    const Argument* const argument = argumentCalled(command, name);
    if (argument == nullptr) {
        return {};
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

Completion completionOfOption(const Syntax& syntax, const LineSoFar& line,
                              const std::string& start) {
    const std::size_t equals = start.find('=');
    if (equals != std::string::npos) {
        const CLI::Option* const option = line.option(start.substr(0, equals));
        return option == nullptr ? Completion() : completionOfValue(line, *option, start);
    }
    Candidates all = line.command() == nullptr ? Candidates() : options(*line.command());
    const bool takesFile = line.command() == nullptr || syntax.takesFile(*line.command());
    for (const Candidate& common : options(syntax.app)) {
        if (takesFile || common.text != "--file") {
            all.push_back(common);
        }
    }
    // Every command has --help, as the program has.
    std::sort(all.begin(), all.end(),
              [](const Candidate& a, const Candidate& b) { return a.text < b.text; });
    all.erase(std::unique(all.begin(), all.end(),
                          [](const Candidate& a, const Candidate& b) { return a.text == b.text; }),
              all.end());
    return {false, beginningWith(start, all)};
}

}  // namespace

Completion completionOf(const Syntax& syntax, const std::vector<std::string>& words, Names names) {
    if (words.empty()) {
        return {};
    }
    const std::string& start = words.back();
    const LineSoFar line(syntax.app, {words.begin(), words.end() - 1});
    if (line.isWrong()) {
        return {};
    }
    if (line.optionToFill() != nullptr) {
        return completionOfArgument(line, line.optionToFill()->get_type_name(), start, names);
    }
    if (line.takesOptions() && startsWith(start, "-")) {
        return completionOfOption(syntax, line, start);
    }
    return line.command() == nullptr ? Completion{false, beginningWith(start, commands(syntax.app))}
                                     : completionOfArgument(line, nextArgument(line), start, names);
}

}  // namespace t8settings
