#ifndef T8SETTINGS_USAGEHINTS_H
#define T8SETTINGS_USAGEHINTS_H

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "console/Exit.h"

namespace t8settings {

/// The text, and the help that tells more. `app` has parsed the command line as far as it goes.
Failure badUsage(const CLI::App& app, const std::string& text);

/// That there is none on the command line, and which there are.
Failure noCommand(const CLI::App& app);

/// What the parser did not take of the words, and what may have been meant.
Failure badCommandLine(const CLI::App& app, const CLI::ParseError& error,
                       const std::vector<std::string>& words);

/// The command of this name. Throws `Failure`, with names that may have been meant, when there is
/// none.
const CLI::App& commandCalled(const CLI::App& app, const std::string& name);

/// Throws `Failure` for an option whose value is missing: for a word such as "--base=", which a
/// script's variable that was never set looks like, or for "--base" with another option behind it.
/// The parser would take the next word for the value.
void demandValues(const CLI::App& app, int argc, const char* const* argv);

}  // namespace t8settings

#endif
