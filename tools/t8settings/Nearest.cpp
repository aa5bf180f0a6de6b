#include "Nearest.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>

#include "Terminal.h"

namespace t8settings {

namespace {

constexpr std::size_t kMostCandidates = 3;

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

/// Bytes to insert, delete or replace to make one of the other; letter case costs nothing.
std::size_t distance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < b.size(); ++j) {
            const std::size_t replaced = diagonal + (lower(a[i]) == lower(b[j]) ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, diagonal + 1, row[j] + 1});
        }
    }
    return row.back();
}

bool endsInPath(const std::string& name, const std::string& path) {
    return name.size() > path.size() && name[name.size() - path.size() - 1] == '/' &&
           name.compare(name.size() - path.size(), path.size(), path) == 0;
}

}  // namespace

std::vector<std::string> nearestNames(const std::string& wanted,
                                      const std::vector<std::string>& names) {
    const std::size_t tolerance = std::max<std::size_t>(2, wanted.size() / 4);
    std::vector<std::pair<std::size_t, std::string>> candidates;
    for (const std::string& name : names) {
        const std::size_t difference =
            std::max(name.size(), wanted.size()) - std::min(name.size(), wanted.size());
        if (!wanted.empty() && endsInPath(name, wanted)) {
            candidates.emplace_back(0, name);
        } else if (difference <= tolerance) {
            const std::size_t slips = distance(wanted, name);
            if (slips <= tolerance) {
                candidates.emplace_back(slips, name);
            }
        }
    }
    std::sort(candidates.begin(), candidates.end());
    std::vector<std::string> nearest;
    for (const auto& candidate : candidates) {
        if (candidate.first == candidates.front().first && nearest.size() < kMostCandidates) {
            nearest.push_back(candidate.second);
        }
    }
    return nearest;
}

Failure noSuch(const std::string& kind, const std::string& name,
               const std::vector<std::string>& names) {
    std::string text = "no such " + kind + ": " + inQuotes(name);
    const std::vector<std::string> meant = nearestNames(name, names);
    for (const std::string& candidate : meant) {
        text += (&candidate == &meant.front() ? "\ndid you mean " : " or ") + candidate;
    }
    return {ExitCode::kUnknownName, meant.empty() ? text : text + "?"};
}

}  // namespace t8settings
