#include <algorithm>
#include <memory>
#include <optional>
#include <set>

#include "commands/Command.h"
#include "survey/Survey.h"

namespace t8settings {

namespace {

constexpr const char* kDiffHelp =
    "Without arguments: the settings whose values differ from their defaults, with\n"
    "default and value. With A and B, each a base directory, a settings file or a\n"
    "dump: what differs between them. A setting that one side does not have is shown\n"
    "there as (unset), one that has different types with these. The files are read\n"
    "without loading them. Exits with 5 when something differs, else with 0.\n\n"
    "Examples:\n"
    "  t8settings --base tv diff\n"
    "  t8settings diff tv/qel-default-settings/media.ini tv/settings/media.ini";

/// What to compare, other than a store with its defaults.
struct Sides {
    std::optional<std::string> left;
    std::optional<std::string> right;
};

using Side = std::optional<Record>;

/// A setting that is not the same on both sides.
struct Difference {
    std::string name;
    Side left;
    Side right;
};

bool same(const Side& left, const Side& right) {
    return left && right && left->type == right->type && left->text == right->text;
}

std::vector<Difference> fromDefaults(const Facts& facts) {
    std::vector<Difference> differences;
    for (const auto& [name, setting] : facts) {
        if (setting.differs()) {
            differences.push_back({name, setting.byDefault, setting.inForce});
        }
    }
    return differences;
}

Side sideOf(const Facts& facts, const std::string& name) {
    const auto found = facts.find(name);
    return found == facts.end() ? std::nullopt : Side(found->second.inForce);
}

std::vector<Difference> between(const Facts& left, const Facts& right) {
    std::set<std::string> names;
    for (const Facts* const facts : {&left, &right}) {
        std::transform(facts->begin(), facts->end(), std::inserter(names, names.end()),
                       [](const Facts::value_type& one) { return one.first; });
    }
    std::vector<Difference> differences;
    for (const std::string& name : names) {
        Difference difference = {name, sideOf(left, name), sideOf(right, name)};
        if (!same(difference.left, difference.right)) {
            differences.push_back(std::move(difference));
        }
    }
    return differences;
}

std::string cellOf(const Side& side, const Side& other) {
    if (!side) {
        return "(unset)";
    }
    return (other && other->type != side->type ? side->type + "," : "") + side->text;
}

Json jsonOf(const Side& side) {
    if (!side) {
        return nullptr;
    }
    Json json;
    addBytes(json, "type", side->type);
    addBytes(json, "text", side->text);
    return json;
}

/// `code` is that of the surveys.
Result resultOf(const std::vector<Difference>& differences, ExitCode code, Format format) {
    std::vector<Row> rows;
    Json json = Json::array();
    for (const Difference& one : differences) {
        rows.push_back({one.name, cellOf(one.left, one.right), cellOf(one.right, one.left)});
        Json row;
        addBytes(row, "name", one.name);
        row["left"] = jsonOf(one.left);
        row["right"] = jsonOf(one.right);
        json.push_back(row);
    }
    return {format == Format::kJson ? textOfJson(json)
                                    : linesOf(rows, {Look::kName, Look::kLeft, Look::kRight}),
            graver(code, differences.empty() ? ExitCode::kDone : ExitCode::kFindings)};
}

Result diff(const Sides& sides, const std::function<Location()>& location, Format format) {
    if (!sides.left) {
        const Facts facts = survey(location());
        return resultOf(fromDefaults(facts), facts.code, format);
    }
    const Facts left = surveyAt(*sides.left);
    const Facts right = surveyAt(*sides.right);
    return resultOf(between(left, right), graver(left.code, right.code), format);
}

}  // namespace

Command addDiffCommand(CLI::App& app) {
    const auto sides = std::make_shared<Sides>();
    CLI::App* const command =
        app.add_subcommand("diff", "Show what differs from the defaults, or between two stores");
    command->add_option("A", sides->left, "A base directory, a settings file or a dump")
        ->type_name("");
    command->add_option("B", sides->right, "The one to compare it with")->type_name("");
    command->footer(kDiffHelp);
    command->callback([sides] {
        if (sides->left.has_value() != sides->right.has_value()) {
            throw CLI::ValidationError("say both A and B, or neither");
        }
        if (sides->left && (sides->left->empty() || sides->right->empty())) {
            throw CLI::ValidationError("A and B are not to be the empty word");
        }
    });
    Command added = {command, {}};
    added.runOnFiles = [sides](const std::function<Location()>& location, Format format) {
        return diff(*sides, location, format);
    };
    return added;
}

}  // namespace t8settings
