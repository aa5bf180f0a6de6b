#include "console/Nearest.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "console/Terminal.h"

namespace t8settings {

namespace {

constexpr std::size_t kMostCandidates = 3;
constexpr std::size_t kShortestPart = 3;

/// A name with how far it is from what was wanted.
using Candidate = std::pair<std::size_t, std::string>;

std::vector<Candidate> endingIn(const Pattern& wanted, const std::vector<std::string>& names) {
    const Pattern pathEnd = wanted.atEndOfPath();
    std::vector<Candidate> candidates;
    for (const std::string& name : names) {
        if (pathEnd.matches(name)) {
            candidates.emplace_back(0, name);
        }
    }
    return candidates;
}

std::string lowered(std::string text) {
    for (char& c : text) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
    }
    return text;
}

std::vector<Candidate> beginningWith(const Pattern& wanted, const std::vector<std::string>& names) {
    const std::string beginning = lowered(wanted.text());
    std::vector<Candidate> candidates;
    for (const std::string& name : names) {
        if (lowered(name.substr(0, beginning.size())) == beginning) {
            candidates.emplace_back(name.size(), name);
        }
    }
    std::sort(candidates.begin(), candidates.end());
    return candidates;
}

std::vector<Candidate> fewestSlips(const Pattern& wanted, const std::vector<std::string>& names) {
    const std::size_t length = wanted.shortest();
    // What a run takes is no slip, so next to nothing is left of a short pattern with one.
    // Every word of three letters is like half of another one.
    const std::size_t least = wanted.hasRun() ? 0 : std::min<std::size_t>(2, length / 2);
    const std::size_t tolerance = std::max(least, length / 4);
    std::vector<Candidate> candidates;
    for (const std::string& name : names) {
        if (name.size() + tolerance < length ||
            (!wanted.hasRun() && name.size() > length + tolerance)) {
            continue;
        }
        const std::size_t slips = wanted.slips(name);
        if (slips <= tolerance) {
            candidates.emplace_back(slips, name);
        }
    }
    std::sort(candidates.begin(), candidates.end());
    const auto farther =
        std::find_if(candidates.begin(), candidates.end(),
                     [&](const Candidate& one) { return one.first != candidates.front().first; });
    candidates.erase(farther, candidates.end());
    return candidates;
}

std::vector<Candidate> holding(const Pattern& wanted, const std::vector<std::string>& names) {
    const std::string part = lowered(wanted.text());
    std::vector<Candidate> candidates;
    if (part.size() < kShortestPart) {
        return candidates;
    }
    for (const std::string& name : names) {
        if (lowered(name).find(part) != std::string::npos) {
            candidates.emplace_back(name.size(), name);
        }
    }
    std::sort(candidates.begin(), candidates.end());
    return candidates;
}

/// For `list`: that of all names that begin so, whatever characters are in the beginning.
std::string patternOfNamesFrom(const std::string& beginning) {
    std::string pattern;
    for (const char c : beginning) {
        const bool isSpecial = c == '[' || c == '*' || c == '?';
        pattern += isSpecial ? std::string("[") + c + "]" : std::string(1, c);
    }
    return pattern == beginning ? pattern : pattern + "*";
}

std::string whatBeginsSo(const std::string& name, const std::vector<std::string>& names) {
    const std::string beginning = name + "/";
    const bool isBeginning =
        std::any_of(names.begin(), names.end(), [&beginning](const std::string& other) {
            return other.compare(0, beginning.size(), beginning) == 0;
        });
    return isBeginning ? "\nthere are names that begin so: " +
                             commandOnName("list", patternOfNamesFrom(beginning))
                       : "";
}

/// For a command that takes names alone.
std::string whatMatches(const Pattern& pattern, const std::vector<std::string>& names) {
    const bool isPattern =
        pattern.isGlob() && std::any_of(names.begin(), names.end(), [&](const std::string& name) {
            return pattern.matches(name);
        });
    return isPattern ? "\na whole name is needed here, and no pattern; what matches: " +
                           commandOnName("list", pattern.text())
                     : "";
}

}  // namespace

std::vector<std::string> nearestNames(const Pattern& wanted,
                                      const std::vector<std::string>& names) {
    std::vector<std::string> nearest;
    for (const auto find : {endingIn, beginningWith, fewestSlips, holding}) {
        if (!nearest.empty() || wanted.text().empty()) {
            break;
        }
        for (const Candidate& candidate : find(wanted, names)) {
            if (nearest.size() < kMostCandidates) {
                nearest.push_back(candidate.second);
            }
        }
    }
    return nearest;
}

std::string didYouMean(const Pattern& wanted, const std::vector<std::string>& names,
                       std::string (*toBeTyped)(const std::string& name)) {
    std::string text;
    for (const std::string& candidate : nearestNames(wanted, names)) {
        text += (text.empty() ? "\ndid you mean " : " or ") + toBeTyped(candidate);
    }
    return text.empty() ? text : text + "?";
}

ExitCode remarkThatNothingMatches(const Pattern& pattern, const std::vector<std::string>& names) {
    complain((pattern.isGlob() ? "no setting matches " : "no setting's name begins with ") +
             inQuotes(pattern.text()) + didYouMean(pattern, names));
    return pattern.isGlob() ? ExitCode::kUnknownName : ExitCode::kDone;
}

Failure noSuch(const std::string& kind, const std::string& name,
               const std::vector<std::string>& names) {
    std::string hint = whatBeginsSo(name, names);
    if (hint.empty() && kind == "setting") {
        hint = whatMatches(Pattern::ofNames(name), names);
    }
    return {ExitCode::kUnknownName,
            "no such " + kind + ": " + inQuotes(name) +
                (hint.empty() ? didYouMean(Pattern::exactly(name), names) : hint)};
}

}  // namespace t8settings
