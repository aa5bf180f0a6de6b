#ifndef T8SETTINGS_COMPLETION_H
#define T8SETTINGS_COMPLETION_H

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

namespace t8settings {

/// What a word of the command line may become.
struct Candidate {
    std::string text;
    std::string about;  ///< a few words for people, or none
    /// The text goes on: a name up to one of its slashes.
    bool isPart = false;
};

/// What the command lines may be.
struct Syntax {
    const CLI::App& app;
    std::function<bool(const CLI::App& command)> takesFile;
};

enum class Names { kWhole, kUpToSlash };

struct Completion {
    /// The word is a path, which the shell knows to complete.
    bool isPath = false;
    std::vector<Candidate> candidates;
};

/// What may stand in place of the last of `words`, which follow the program's name, on a command
/// line; each candidate begins with that word. Reads the settings files without any effect
/// on them. Candidates with control bytes in them, which nobody can type, are left out; with
/// `Names::kUpToSlash` the names of settings end at their next slash.
Completion completionOf(const Syntax& syntax, const std::vector<std::string>& words, Names names);

}  // namespace t8settings

#endif
