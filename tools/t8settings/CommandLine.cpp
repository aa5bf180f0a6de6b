#include "CommandLine.h"

#include <cstdlib>
#include <optional>
#include <set>
#include <vector>

#include "commandline/LineSoFar.h"
#include "commandline/UsageHints.h"
#include "console/Json.h"
#include "console/Progress.h"
#include "console/Shell.h"
#include "console/Terminal.h"
#include "store/Files.h"

namespace t8settings {

namespace {

constexpr const char* kAbout = "Shows and changes the settings below a base directory.";

constexpr const char* kFooter =
    "COMMAND --help and the man page tell more; examples use a copy of examples/tv.\n"
    "Exit codes: 0 done, 1 failed, 2 bad usage, 3 no such setting or type,\n"
    "4 refused, 5 not all is sound, or not all is the same";

struct Globals {
    std::optional<std::string> base;
    std::optional<std::string> marker;
    std::optional<std::string> file;
    bool json = false;
    bool version = false;
};

void addGlobals(CLI::App& app, Globals& globals) {
    app.add_option("--base", globals.base,
                   "Where settings/ is, such as /; or else in T8SETTINGS_BASE")
        ->type_name("DIR");
    app.add_option("--marker", globals.marker,
                   "Not the machine's marker of a reset; or T8SETTINGS_MARKER")
        ->type_name("PATH");
    app.add_option("--file", globals.file,
                   "One file in place of DIR, for list, get, describe and dump")
        ->type_name("FILE");
    app.add_flag("--json", globals.json, "Results as JSON");
    app.add_flag("--version", globals.version, "Show the version");
}

std::vector<Command> addCommands(CLI::App& app) {
    std::vector<Command> commands = {
        addListCommand(app),    addGetCommand(app),   addDescribeCommand(app), addDiffCommand(app),
        addDumpCommand(app),    addLoadCommand(app),  addSetCommand(app),      addResetCommand(app),
        addInfoCommand(app),    addTypesCommand(app), addVerifyCommand(app),   addSealCommand(app),
        addRecoverCommand(app), addWatchCommand(app)};
    for (const Command& command : commands) {
        command.parsed->group("Commands");
        command.parsed->footer(command.parsed->get_footer() +
                               "\n\nAll commands take --base DIR, --marker PATH, --json; "
                               "see t8settings --help");
    }
    std::set<const CLI::App*> takingFile;
    for (const Command& command : commands) {
        if (command.takesFile) {
            takingFile.insert(command.parsed);
        }
    }
    commands.push_back(addHelpCommand(app));
    // For the shells, not for people: no help lists it.
    commands.push_back(addCompleteCommand(
        app, [takingFile](const CLI::App& command) { return takingFile.count(&command) != 0; }));
    return commands;
}

/// What was said in an option or else in the environment; an empty word is a slip, such as a
/// script's variable that was never set, and may not stand for a default.
std::optional<std::string> said(const std::optional<std::string>& option, const char* optionName,
                                const char* variable) {
    if (option && option->empty()) {
        throw Failure(ExitCode::kUsage, std::string(optionName) + " is empty");
    }
    const char* const value = std::getenv(variable);
    if (option || value == nullptr) {
        return option;
    }
    if (*value == '\0') {
        throw Failure(ExitCode::kUsage, std::string(variable) + " is empty");
    }
    return value;
}

std::string withoutSlashesAtEnd(std::string path) {
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

/// A directory is always there, and would announce a reset that never ends.
std::string markerOf(const Globals& globals) {
    std::string marker = said(globals.marker, "--marker", "T8SETTINGS_MARKER").value_or("");
    if (isDirectory(marker)) {
        throw Failure(ExitCode::kUsage,
                      (globals.marker ? "--marker " : "T8SETTINGS_MARKER ") + inQuotes(marker) +
                          " is a directory, and a marker is a file; did you mean " +
                          shellPath(withoutSlashesAtEnd(marker) + "/reset.tmp") + "?");
    }
    return marker;
}

Location locationOf(const Globals& globals) {
    const auto base = said(globals.base, "--base", "T8SETTINGS_BASE");
    const std::string marker = markerOf(globals);
    if (globals.file) {
        demandWord(*globals.file, "--file");
        if (globals.base) {
            throw Failure(ExitCode::kUsage, "say either --base or --file");
        }
        return {"", "", *globals.file};
    }
    if (!base) {
        throw Failure(ExitCode::kUsage, "no base directory: say --base DIR or set T8SETTINGS_BASE");
    }
    return {withoutSlashesAtEnd(*base), marker, ""};
}

std::string typed(const char* name, const std::optional<std::string>& value) {
    return value ? std::string(name) + " " + shellPath(*value) + " " : "";
}

SaidOptions saidOptionsOf(const Globals& globals) {
    return {typed("--base", globals.base) + typed("--file", globals.file),
            typed("--marker", globals.marker)};
}

Result version(const Globals& globals) {
    return {globals.json ? textOfJson({{"version", T8SETTINGS_VERSION}})
                         : std::string("t8settings ") + T8SETTINGS_VERSION + "\n"};
}

void style(CLI::App& app) {
    app.require_subcommand(0, 1);
    app.fallthrough();
    app.footer(kFooter);
    // For lines of 80 columns.
    app.get_formatter()->column_width(17);
    app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    app.get_formatter()->label("REQUIRED", "");
}

const Command& chosenOf(const std::vector<Command>& commands, const CLI::App& app) {
    for (const Command& command : commands) {
        if (command.parsed->parsed()) {
            return command;
        }
    }
    throw noCommand(app);
}

Result resultOf(const Command& command, const Globals& globals) {
    const Format format = globals.json ? Format::kJson : Format::kText;
    if (globals.marker) {
        // Also where nobody looks at it.
        markerOf(globals);
    }
    if (command.runWithoutStore) {
        return command.runWithoutStore(format);
    }
    demandMilliseconds();
    if (command.runOnFiles) {
        return command.runOnFiles([&globals] { return locationOf(globals); }, format);
    }
    if (command.runOnOneFile) {
        return command.runOnOneFile(markerOf(globals), format);
    }
    const Store store(locationOf(globals));
    return command.run(store, format);
}

}  // namespace

Result runCommandLine(int argc, const char* const* argv) {
    CLI::App app(kAbout, "t8settings");
    Globals globals;
    style(app);
    addGlobals(app, globals);
    const std::vector<Command> commands = addCommands(app);
    demandValues(app, argc, argv);
    const std::vector<std::string> words(argv + 1, argv + argc);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        return {app.help()};
    } catch (const CLI::ParseError& error) {
        throw badCommandLine(app, error, words);
    }
    rememberOptions(saidOptionsOf(globals));
    if (globals.version) {
        return version(globals);
    }
    const Command& chosen = chosenOf(commands, app);
    if (globals.file && !chosen.takesFile) {
        throw badUsage(app, chosen.parsed->get_name() + " takes no --file");
    }
    if (chosen.takeWords) {
        chosen.takeWords(LineSoFar(app, words).arguments());
    }
    return resultOf(chosen, globals);
}

}  // namespace t8settings
