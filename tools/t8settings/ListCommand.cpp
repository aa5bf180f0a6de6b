#include <algorithm>
#include <iterator>
#include <memory>

#include "Command.h"
#include "Nearest.h"
#include "Pattern.h"
#include "Records.h"
#include "Terminal.h"

namespace t8settings {

namespace {

constexpr const char* kListHelp =
    "PATTERN is the beginning of the names or, with *, ? or [a-z] in it, a pattern for them as a\n"
    "whole; * passes over slashes. A pattern that matches no name exits with 3.\n"
    "Control bytes in a text are shown as \\n, \\t or \\x1B; get and --json give them as they "
    "are.\n\nExample:\n  t8settings --base tv list 'settings/*/b*'";

/// An empty result is worth a word: it may come of a slip.
ExitCode remarkThatNothingMatches(const Pattern& pattern, const std::vector<SettingPtr>& settings) {
    std::vector<std::string> names;
    std::transform(settings.begin(), settings.end(), std::back_inserter(names),
                   [](const SettingPtr& setting) { return setting->name(); });
    complain((pattern.isGlob() ? "no setting matches " : "no setting's name begins with ") +
             inQuotes(pattern.text()) + didYouMean(pattern, names));
    return pattern.isGlob() ? ExitCode::kUnknownName : ExitCode::kDone;
}

Result list(const Store& store, Format format, const Pattern& pattern) {
    std::vector<Row> rows;
    Json json = Json::array();
    const std::vector<SettingPtr> settings = store.settings();
    for (const SettingPtr& setting : settings) {
        if (pattern.matches(setting->name())) {
            const Record record = recordOf(store, setting);
            rows.push_back(rowOf(record));
            json.push_back(jsonOf(record));
        }
    }
    Result result;
    result.output = format == Format::kJson ? textOfJson(json) : linesOf(rows, nameAndType());
    if (rows.empty() && !pattern.text().empty()) {
        result.code = remarkThatNothingMatches(pattern, settings);
    }
    return result;
}

}  // namespace

Command addListCommand(CLI::App& app) {
    const auto pattern = std::make_shared<std::string>();
    CLI::App* const command = app.add_subcommand("list", "Show settings: name, type and text");
    command->add_option("PATTERN", *pattern, "Only settings with such names")->type_name("");
    command->footer(kListHelp);
    return {command, [pattern](const Store& store, Format format) {
                return list(store, format, Pattern::ofNames(*pattern));
            }};
}

}  // namespace t8settings
