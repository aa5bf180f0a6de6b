#include <cstddef>

#include "check/NameClash.h"
#include "commands/Command.h"
#include "console/Json.h"
#include "console/Terminal.h"
#include "store/LoadOutcome.h"
#include "store/SavePolicies.h"

namespace t8settings {

namespace {

using Qel::Settings::SettingStorageFileBase;

std::vector<std::string> errorsOf(const StoragePtr& storage) {
    const std::string* const errInfo = storage->errInfo();
    return errInfo == nullptr ? std::vector<std::string>() : splitLines(*errInfo);
}

const char* policyOf(const StoragePtr& storage) {
    const auto* const file = dynamic_cast<const SettingStorageFileBase*>(storage.get());
    const std::size_t policy = file == nullptr ? 0 : static_cast<std::size_t>(file->savePolicy());
    return kSavePolicyNames.at(policy);
}

void addPath(Json& json, const std::string& key, const std::string* path) {
    if (path == nullptr || path->empty()) {
        json[key] = nullptr;
    } else {
        addBytes(json, key, *path);
    }
}

Json jsonOf(const StoragePtr& storage) {
    Json json;
    addBytes(json, "name", storage->name());
    addBytes(json, "info", storage->info());
    json["readonly"] = storage->readonly();
    addPath(json, "defaultsFile", storage->filename());
    addPath(json, "readWriteFile", storage->rwFilename());
    json["savePolicy"] = policyOf(storage);
    json["survivesReset"] = storage->surviveResetToDefaults();
    json["settings"] = storage->settingsSet().size();
    addBytes(json, "errors", errorsOf(storage));
    return json;
}

Json jsonOf(const Store& store) {
    Json json;
    addBytes(json, "base", store.base());
    addBytes(json, "marker", store.marker());
    json["resetInProgress"] =
        store.manager().getSettingsOperationMode() != Qel::Settings::SOM_Normal;
    json["storages"] = Json::array();
    for (const StoragePtr& storage : store.storages()) {
        json["storages"].push_back(jsonOf(storage));
    }
    json["failedFiles"] = Json::array();
    for (const Store::FailedFile& file : store.failedFiles()) {
        Json row;
        addBytes(row, "name", file.name);
        addBytes(row, "errors", file.errors);
        json["failedFiles"].push_back(row);
    }
    json["replaced"] = Json::array();
    for (const ReplacedStorage& storage : storagesReplacedBelow(store.base())) {
        Json row;
        addBytes(row, "name", storage.name);
        addBytes(row, "file", storage.file);
        addBytes(row, "by", storage.by);
        json["replaced"].push_back(row);
    }
    return json;
}

void appendLines(std::string& out, const std::vector<std::string>& lines) {
    for (const std::string& line : lines) {
        out += "  error: " + visible(line) + "\n";
    }
}

std::string textOf(const Store& store) {
    std::string out = "base " + visible(store.base()) + "\n";
    out += "marker " + visible(store.marker());
    out += store.manager().getSettingsOperationMode() == Qel::Settings::SOM_Normal
               ? "\n"
               : ": a reset to defaults is in progress, nothing is saved\n";
    for (const StoragePtr& storage : store.storages()) {
        out += visible(storage->info()) + "\n";
        appendLines(out, errorsOf(storage));
    }
    for (const Store::FailedFile& file : store.failedFiles()) {
        out += "NOT LOADED " + visible(file.name) + "\n";
        appendLines(out, file.errors);
    }
    for (const ReplacedStorage& storage : storagesReplacedBelow(store.base())) {
        out += "REPLACED " + visible(storage.file) +
               "\n  error: " + visible(storage.by + " has its name " + inQuotes(storage.name)) +
               " and takes its place; " + remedyFor(storage) + "\n";
    }
    return out;
}

}  // namespace

Command addInfoCommand(CLI::App& app) {
    CLI::App* const command =
        app.add_subcommand("info", "Show the storages, their files and what could not be loaded");
    command->footer("Example:\n  t8settings --base tv info");
    return {command, [](const Store& store, Format format) -> Result {
                return {format == Format::kJson ? textOfJson(jsonOf(store)) : textOf(store),
                        codeOfLookAt(store.base())};
            }};
}

}  // namespace t8settings
