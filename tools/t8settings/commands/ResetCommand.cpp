#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "change/Changes.h"
#include "change/FileOnDisk.h"
#include "commands/Command.h"
#include "commands/ResetAll.h"
#include "console/Shell.h"
#include "console/Terminal.h"
#include "store/Files.h"
#include "store/LibraryLog.h"
#include "store/LoadOutcome.h"
#include "values/Records.h"
#include "values/TextOfValue.h"

namespace t8settings {

namespace {

using Qel::Settings::SettingStorageFileBase;

constexpr const char* kResetHelp =
    "With names, these settings get their defaults, are saved and shown; not when\n"
    "one is read-only or has no default, or other lines of its file are lost or\n"
    "misread: a save would hide that. --all resets every storage but calibration\n"
    "data and what is read-only or has no defaults file; without --force not when\n"
    "it renames settings or hides such lines. A marker announces it: until the\n"
    "restart no process saves. Below any directory but / it needs --marker.\n\n"
    "Examples:\n"
    "  t8settings --base tv reset settings/sound/bass settings/sound/treble\n"
    "  t8settings --base tv --marker tv/reset.tmp reset --all --yes";

struct Wanted {
    std::vector<std::string> names;
    bool all = false;
    ResetOptions options;
};

/// The defaults files that were looked into so far.
class Defaults {
public:
    explicit Defaults(const Store& store) : store_(store) {}

    /// The setting as its defaults file has it. Throws `Failure` when it does not, or when it is
    /// read as something else there than its line says.
    SettingPtr of(const SettingPtr& setting) {
        const SettingStorageFileBase& storage = storageOf(setting);
        File& file = fileOf(storage);
        SettingPtr found = file.asLoaded.find(setting->name());
        if (!found) {
            throw Failure(ExitCode::kRefused,
                          setting->name() + " has no default to go back to: " + storage.info());
        }
        const auto line = file.lines.find(setting->name());
        if (line != file.lines.end()) {
            demandMeant(file.path, line->second);
        }
        return found;
    }

private:
    struct File {
        File(const SettingStorageFileBase& storage, const FactoryPtr& factory)
            : asLoaded(storage, *storage.filename(), factory), path(*storage.filename()) {
            if (path.empty()) {
                return;
            }
            const FileGroup group = groupAt(path);
            const IniFile* const taken = takenByLoad(group);
            if (taken == nullptr) {
                return;
            }
            path = taken->path();
            for (const auto& [name, line] : settingsByName(*taken)) {
                lines.insert_or_assign(name, *line);
            }
        }

        FileOnDisk asLoaded;
        std::string path;
        std::map<std::string, IniFile::Line> lines;  ///< by the names of their settings
    };

    File& fileOf(const SettingStorageFileBase& storage) {
        std::unique_ptr<File>& file = files_[&storage];
        if (!file) {
            // What is amiss in the file was told when the store came up.
            LibraryLog::instance().hold();
            file = std::make_unique<File>(storage, store_.factory());
            LibraryLog::instance().take();
        }
        return *file;
    }

    void demandMeant(const std::string& path, const IniFile::Line& line) const {
        const auto outcome = outcomeOf(store_.factory(), line.type, line.name, line.value);
        if (outcome) {
            throw Failure(ExitCode::kFailed,
                          line.name + " is unchanged, as its default is not what it says:\n" +
                              path + ":" + std::to_string(line.number) + ": " + line.type +
                              " would not keep " + inQuotes(line.value) + ", " + outcome->text +
                              "; " + outcome->takes +
                              "\nmend that line, or: " + commandOnName("set", line.name) + " TEXT");
        }
    }

    const Store& store_;
    std::map<const SettingStorageFileBase*, std::unique_ptr<File>> files_;
};

/// Each once.
std::vector<SettingPtr> settingsCalled(const Store& store, const std::vector<std::string>& names) {
    std::vector<SettingPtr> settings;
    std::set<std::string> known;
    for (const std::string& name : names) {
        if (known.insert(name).second) {
            settings.push_back(store.find(name));
        }
    }
    return settings;
}

std::vector<Change> changesToDefaults(const Store& store, const std::vector<SettingPtr>& settings) {
    Defaults defaults(store);
    std::vector<Change> changes;
    for (const SettingPtr& setting : settings) {
        demandWritable(setting);
        const SettingPtr byDefault = defaults.of(setting);
        changes.push_back({setting, byDefault->value(), typeAndTextOf(byDefault, store.factory())});
    }
    return changes;
}

Result resetNamed(const Store& store, Format format, const std::vector<std::string>& names) {
    const std::vector<SettingPtr> settings = settingsCalled(store, names);
    store.demandNormalMode();
    demandSeen(settings);
    const bool isSaved = changeAndSave(store, changesToDefaults(store, settings)) != 0;
    std::vector<Row> rows;
    Json json = Json::array();
    for (const SettingPtr& setting : settings) {
        const Record record = recordOf(store, storageOf(setting).querySetting(setting->name()));
        rows.push_back(rowOf(record));
        json.push_back(jsonOf(record));
    }
    Result result;
    result.output = format == Format::kJson ? textOfJson(json) : linesOf(rows, nameAndType());
    result.changed = isSaved;
    result.deed = isSaved ? "what differed from its default is saved" : "";
    return result;
}

}  // namespace

Command addResetCommand(CLI::App& app) {
    const auto wanted = std::make_shared<Wanted>();
    CLI::App* const command = app.add_subcommand("reset", "Go back to the defaults");
    command->add_option("NAME", wanted->names, "Whole names of settings")->type_name("");
    command->add_flag("--all", wanted->all, "The whole store");
    command->add_flag("--yes", wanted->options.confirmed, "Do not ask before --all");
    command->add_flag("--force", wanted->options.forced,
                      "With --all, also when it renames settings or hides lines");
    command->footer(kResetHelp);
    Command added = {command, {}};
    added.takeWords = [wanted](const std::vector<std::string>& words) { wanted->names = words; };
    added.runOnFiles = [wanted](const std::function<Location()>& location, Format format) {
        const ResetOptions& options = wanted->options;
        if ((options.confirmed || options.forced) && !wanted->all) {
            throw Failure(ExitCode::kUsage, std::string(options.confirmed ? "--yes" : "--force") +
                                                " requires --all\nsee t8settings reset --help");
        }
        if (wanted->all == !wanted->names.empty()) {
            throw Failure(ExitCode::kUsage,
                          "say either NAME or --all\nsee t8settings reset --help");
        }
        for (const std::string& name : wanted->names) {
            demandWord(name, "NAME");
        }
        const Location where = location();
        if (wanted->all) {
            demandMarkerFor(where);
        }
        const Store store(where);
        return wanted->all ? resetAll(store, format, options)
                           : resetNamed(store, format, wanted->names);
    };
    return added;
}

}  // namespace t8settings
