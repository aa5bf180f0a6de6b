#include <memory>

#include "commands/Command.h"
#include "console/Nearest.h"
#include "console/Pattern.h"
#include "store/LoadOutcome.h"
#include "survey/Survey.h"

namespace t8settings {

namespace {

constexpr const char* kListHelp =
    "PATTERN is the beginning of the names or, with *, ? or [a-z] in it, a pattern\n"
    "for them as a whole; * passes over slashes. A pattern that matches no name\n"
    "exits with 3. With --changed, --origin or --file the files are read without\n"
    "loading them. Control bytes in a text are shown as \\n, \\t or \\x1B; get and\n"
    "--json give them as they are.\n\n"
    "Examples:\n"
    "  t8settings --base tv list 'settings/*/b*'\n"
    "  t8settings --base tv list --changed --origin";

struct Wanted {
    std::string pattern;
    bool changed = false;
    bool origin = false;
};

/// The settings that match, to be shown, and the names of all.
class Listing {
public:
    explicit Listing(const Pattern& pattern) : pattern_(pattern) {}

    /// Whether the setting is to be added.
    bool matches(const std::string& name) {
        names_.push_back(name);
        matched_ = matched_ || pattern_.matches(name);
        return pattern_.matches(name);
    }

    void add(const Row& row, const Json& json) {
        rows_.push_back(row);
        json_.push_back(json);
    }

    Result result(Format format) const {
        Result result;
        result.output = format == Format::kJson ? textOfJson(json_) : linesOf(rows_, nameAndType());
        if (!matched_ && !pattern_.text().empty()) {
            result.code = remarkThatNothingMatches(pattern_, names_);
        }
        return result;
    }

private:
    const Pattern& pattern_;
    std::vector<std::string> names_;
    bool matched_ = false;
    std::vector<Row> rows_;
    Json json_ = Json::array();
};

void addLoaded(Listing& listing, const Store& store) {
    for (const SettingPtr& setting : store.settings()) {
        if (listing.matches(setting->name())) {
            const Record record = recordOf(store, setting);
            listing.add(rowOf(record), jsonOf(record));
        }
    }
}

void addSurveyed(Listing& listing, const Facts& facts, const Wanted& wanted) {
    for (const auto& [name, setting] : facts) {
        if (!listing.matches(name) || (wanted.changed && !setting.differs())) {
            continue;
        }
        Row row = rowOf(setting.inForce);
        Json json = jsonOf(setting.inForce);
        if (wanted.origin) {
            row.emplace_back(setting.origin());
            addOrigin(json, setting);
        }
        listing.add(row, json);
    }
}

Result list(const Location& location, Format format, const Wanted& wanted) {
    if (wanted.changed && !location.file.empty()) {
        throw Failure(ExitCode::kUsage,
                      "--changed takes no --file: one file has no defaults to compare with");
    }
    const Pattern pattern = Pattern::ofNames(wanted.pattern);
    Listing listing(pattern);
    ExitCode code = ExitCode::kDone;
    if (wanted.changed || wanted.origin || !location.file.empty()) {
        const Facts facts = survey(location);
        addSurveyed(listing, facts, wanted);
        code = facts.code;
    } else {
        addLoaded(listing, Store(location));
        code = codeOfLookAt(location.base);
    }
    Result result = listing.result(format);
    result.code = graver(result.code, code);
    return result;
}

}  // namespace

Command addListCommand(CLI::App& app) {
    const auto wanted = std::make_shared<Wanted>();
    CLI::App* const command = app.add_subcommand("list", "Show settings: name, type and text");
    command->add_option("PATTERN", wanted->pattern, "Only settings with such names")->type_name("");
    command->add_flag("--changed", wanted->changed, "Only what differs from its default");
    command->add_flag("--origin", wanted->origin, "And which of the files it comes from");
    command->footer(kListHelp);
    Command added = {command, {}};
    added.takesFile = true;
    added.runOnFiles = [wanted](const std::function<Location()>& location, Format format) {
        return list(location(), format, *wanted);
    };
    return added;
}

}  // namespace t8settings
