#ifndef T8SETTINGS_COMMAND_H
#define T8SETTINGS_COMMAND_H

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

#include "console/Exit.h"
#include "store/Store.h"

namespace t8settings {

/// What a command has to say.
struct Result {
    /// All of standard output.
    std::string output;
    ExitCode code = ExitCode::kDone;
    /// The store was changed, so the process ends as an application's does: background saving, if
    /// there is any, flushes the system's caches. A command that only reads must not set the flash
    /// memory to work.
    bool changed = false;
    /// What has been written, such as "settings/a is saved", to be told when the output cannot be;
    /// empty for nothing.
    std::string deed = {};
};

enum class Format { kText, kJson };

/// A command that was added to the command line. One of its functions is set; they throw `Failure`.
struct Command {
    CLI::App* parsed;
    std::function<Result(const Store& store, Format format)> run;
    /// Of a command that needs no store, and so no base directory.
    std::function<Result(Format format)> runWithoutStore = {};
    /// Of a command that looks at the files themselves and loads nothing; it asks for the location
    /// when it needs one, which throws `Failure` when none was said.
    std::function<Result(const std::function<Location()>& location, Format format)> runOnFiles = {};
    /// Of a command that changes one file, wherever it lies. The marker of a reset is empty for the
    /// machine's own.
    std::function<Result(const std::string& marker, Format format)> runOnOneFile = {};
    /// Of a command that takes any number of words: takes them as they were typed. The parser takes
    /// "[a,b]" for two words.
    std::function<void(const std::vector<std::string>& words)> takeWords = {};
    /// The location may be a single file.
    bool takesFile = false;
};

// One function for each command; each adds one with its options and its help.
Command addListCommand(CLI::App& app);
Command addGetCommand(CLI::App& app);
Command addDescribeCommand(CLI::App& app);
Command addDiffCommand(CLI::App& app);
Command addDumpCommand(CLI::App& app);
Command addLoadCommand(CLI::App& app);
Command addSetCommand(CLI::App& app);
Command addResetCommand(CLI::App& app);
Command addInfoCommand(CLI::App& app);
Command addTypesCommand(CLI::App& app);
Command addVerifyCommand(CLI::App& app);
Command addSealCommand(CLI::App& app);
Command addRecoverCommand(CLI::App& app);
Command addWatchCommand(CLI::App& app);
Command addHelpCommand(CLI::App& app);

/// `takesFile` tells which commands do.
Command addCompleteCommand(CLI::App& app, std::function<bool(const CLI::App& command)> takesFile);

}  // namespace t8settings

#endif
