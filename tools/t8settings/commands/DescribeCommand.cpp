#include <algorithm>
#include <cstddef>
#include <memory>
#include <optional>

#include "commands/Command.h"
#include "store/SavePolicies.h"
#include "survey/Survey.h"
#include "text/IniGrammar.h"
#include "values/Types.h"

namespace t8settings {

namespace {

constexpr const char* kDescribeHelp =
    "Shows what it is and what it takes, its value and its default, the file that\n"
    "the value comes from, and what holds for its storage. The files are read\n"
    "without loading them.\n\n"
    "Example:\n"
    "  t8settings --base tv describe settings/sound/bass";

const char* policyOf(const StorageFacts& storage) {
    const auto& words = Qel::Settings::text::kSavePolicyWords;
    const auto found = std::find(words.begin(), words.end(), storage.savePolicy);
    return found == words.end()
               ? nullptr
               : kSavePolicyNames.at(kFirstPolicyWithAWord +
                                     static_cast<std::size_t>(found - words.begin()));
}

std::string policyTextOf(const StorageFacts& storage) {
    const char* const policy = policyOf(storage);
    return policy != nullptr ? policy : storage.isWhole ? "the program's" : "not known";
}

std::optional<bool> isReadonly(const StorageFacts& storage) {
    return storage.readonly || storage.isWhole ? std::optional(storage.readonly) : std::nullopt;
}

Json jsonOf(const std::optional<bool>& answer) {
    return answer ? Json(*answer) : Json(nullptr);
}

void addIf(Json& json, const char* key, const std::string& bytes, bool isThere) {
    json[key] = nullptr;
    if (isThere) {
        addBytes(json, key, bytes);
    }
}

Json jsonOf(const SettingFacts& setting) {
    const StorageFacts& storage = *setting.storage;
    const Record byDefault = setting.byDefault.value_or(Record{});
    const bool hasDefault = setting.byDefault.has_value();
    Json json = jsonOf(setting.inForce);
    json["takes"] = takesOf(typeCalled(setting.inForce.type));
    addIf(json, "defaultType", byDefault.type, hasDefault);
    addIf(json, "defaultText", byDefault.text, hasDefault);
    addOrigin(json, setting);
    addIf(json, "defaultsFile", storage.defaultsFile, !storage.defaultsFile.empty());
    addIf(json, "readWriteFile", storage.readWriteFile, !storage.readWriteFile.empty());
    const char* const policy = policyOf(storage);
    json["savePolicy"] = policy == nullptr ? Json(nullptr) : Json(policy);
    json["readonly"] = jsonOf(isReadonly(storage));
    json["survivesReset"] = jsonOf(storage.survivesReset);
    return json;
}

std::string textOf(const std::optional<bool>& answer) {
    return !answer ? "not known" : *answer ? "yes" : "no";
}

/// A single file does not tell what another one of its storage has.
const char* noneIn(const StorageFacts& storage) {
    return storage.isWhole ? "none" : "not known";
}

/// A default of another type than the value's is shown in the form of the files.
std::string defaultOf(const SettingFacts& setting) {
    if (!setting.byDefault) {
        return noneIn(*setting.storage);
    }
    const bool isSameType = setting.byDefault->type == setting.inForce.type;
    return (isSameType ? "" : setting.byDefault->type + ",") + setting.byDefault->text;
}

std::string textOf(const SettingFacts& setting) {
    const StorageFacts& storage = *setting.storage;
    const auto pathOrNone = [&storage](const std::string& path) {
        return path.empty() ? noneIn(storage) : path;
    };
    return linesOf({{"name", setting.inForce.name},
                    {"type", setting.inForce.type},
                    {"takes", takesOf(typeCalled(setting.inForce.type))},
                    {"value", setting.inForce.text},
                    {"default", defaultOf(setting)},
                    {"origin", setting.origin() + (" " + setting.file)},
                    {"storage", setting.inForce.storage},
                    {"defaults file", pathOrNone(storage.defaultsFile)},
                    {"read/write file", pathOrNone(storage.readWriteFile)},
                    {"save policy", policyTextOf(storage)},
                    {"read-only", textOf(isReadonly(storage))},
                    {"survives reset", textOf(storage.survivesReset)}},
                   {Look::kName});
}

}  // namespace

Command addDescribeCommand(CLI::App& app) {
    const auto name = std::make_shared<std::string>();
    CLI::App* const command =
        app.add_subcommand("describe", "Show all that is to be known of one setting");
    command->add_option("NAME", *name, "The setting's whole name")->required()->type_name("");
    command->footer(kDescribeHelp);
    Command added = {command, {}};
    added.takesFile = true;
    added.runOnFiles = [name](const std::function<Location()>& location, Format format) -> Result {
        demandWord(*name, "NAME");
        const Facts facts = survey(location());
        const SettingFacts& setting = factsOn(*name, facts);
        return {format == Format::kJson ? textOfJson(jsonOf(setting)) : textOf(setting),
                facts.code};
    };
    return added;
}

}  // namespace t8settings
