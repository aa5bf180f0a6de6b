#include <algorithm>
#include <exception>
#include <utility>

#include "commandline/Completion.h"
#include "commandline/ShellLine.h"
#include "commands/Command.h"
#include "console/Terminal.h"
#include "store/LibraryLog.h"

namespace t8settings {

namespace {

using Words = std::vector<std::string>;

/// What the candidates are; nothing is to be typed after a part.
std::string headOf(const Completion& completion) {
    const auto& candidates = completion.candidates;
    const bool hasParts = std::any_of(candidates.begin(), candidates.end(),
                                      [](const Candidate& candidate) { return candidate.isPart; });
    return completion.isPath ? "path\n" : hasParts ? "parts\n" : "words\n";
}

/// For bash, which hands over what is typed: the texts to put in place, as they are to be typed.
/// The line editor closes a quote after a name up to a slash too, so names in quotes are whole.
std::string forBash(const Syntax& syntax, const std::string& typed, const std::string& wordBreaks) {
    const ShellLine line(typed, wordBreaks);
    const Completion completion = completionOf(syntax, {line.words.begin() + 1, line.words.end()},
                                               line.quote == 0 ? Names::kUpToSlash : Names::kWhole);
    std::string out = headOf(completion);
    for (const Candidate& candidate : completion.candidates) {
        out += line.replacement(candidate.text) + "\n";
    }
    return out;
}

/// For zsh, which splits and quotes by itself.
std::string forZsh(const Syntax& syntax, const Words& words) {
    const Completion completion = completionOf(syntax, words, Names::kUpToSlash);
    std::string out = headOf(completion);
    for (const Candidate& candidate : completion.candidates) {
        out += candidate.text + "\t" + visible(candidate.about) + "\n";
    }
    return out;
}

std::string answer(const Syntax& syntax, const Words& question) {
    if (question.size() == 3 && question.front() == "bash") {
        return forBash(syntax, question.at(1), question.at(2));
    }
    if (question.size() > 1 && question.front() == "zsh") {
        return forZsh(syntax, {question.begin() + 1, question.end()});
    }
    return "";
}

/// Somebody is typing: no failure is worth a word.
std::string quietAnswer(const Syntax& syntax, const Words& question) {
    LibraryLog::instance().hold();
    try {
        return answer(syntax, question);
    } catch (const std::exception&) {
        return "";
    }
}

}  // namespace

Command addCompleteCommand(CLI::App& app, std::function<bool(const CLI::App& command)> takesFile) {
    CLI::App* const command = app.add_subcommand("complete", "What the shells' completion asks");
    command->group("");
    // The question may look like any command line.
    command->prefix_command();
    command->fallthrough(false);
    return {command, {}, [command, syntax = Syntax{app, std::move(takesFile)}](Format) -> Result {
                return {quietAnswer(syntax, command->remaining())};
            }};
}

}  // namespace t8settings
