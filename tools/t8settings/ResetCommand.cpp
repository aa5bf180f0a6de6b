#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "Changes.h"
#include "Command.h"
#include "FileOnDisk.h"
#include "Files.h"
#include "Lasting.h"
#include "LibraryLog.h"
#include "MisreadDefaults.h"
#include "Records.h"
#include "ResetAll.h"

namespace t8settings {

namespace {

using Qel::Settings::SettingStorageFileBase;

constexpr const char* kResetHelp =
    "With names, these settings get the values of their defaults files, are saved\n"
    "and shown. When one is read-only or has no default, nothing is changed.\n\n"
    "With --all, every storage goes back to its defaults but calibration data, which\n"
    "survives, read-only storages, and storages without a defaults file. A marker\n"
    "file announces it and stays until the restart: until then none saves. Below any\n"
    "directory but / it needs --marker, so that only who looks there waits.\n\n"
    "Examples:\n"
    "  t8settings --base tv reset settings/sound/bass settings/sound/treble\n"
    "  t8settings --base tv --marker tv/reset.tmp reset --all --yes";

struct Wanted {
    std::vector<std::string> names;
    bool all = false;
    bool confirmed = false;
};

/// The defaults files that were looked into so far.
class Defaults {
public:
    explicit Defaults(const Store& store) : store_(store), misread_(store.factory()) {}

    /// The setting as its defaults file has it. Throws `Failure` when it does not, or when its line
    /// there says something else.
    SettingPtr of(const SettingPtr& setting) {
        const SettingStorageFileBase& storage = storageOf(setting);
        misread_.demandNone(*storage.filename(), setting->name());
        SettingPtr found = fileOf(storage).find(setting->name());
        if (!found) {
            throw Failure(ExitCode::kRefused,
                          setting->name() + " has no default to go back to: " + storage.info());
        }
        return found;
    }

private:
    FileOnDisk& fileOf(const SettingStorageFileBase& storage) {
        std::unique_ptr<FileOnDisk>& file = files_[&storage];
        if (!file) {
            // What is amiss in the file was told when the store came up.
            LibraryLog::instance().hold();
            file = std::make_unique<FileOnDisk>(storage, *storage.filename(), store_.factory());
            LibraryLog::instance().take();
        }
        return *file;
    }

    const Store& store_;
    MisreadDefaults misread_;
    std::map<const SettingStorageFileBase*, std::unique_ptr<FileOnDisk>> files_;
};

/// The read/write files that were looked into so far.
class LinesOnDisk {
public:
    explicit LinesOnDisk(const Store& store) : store_(store) {}

    /// Whether the line of the setting is one that no load takes as it stands.
    bool isMisread(const SettingPtr& setting) {
        const SettingStorageFileBase& storage = storageOf(setting);
        auto known = misread_.find(&storage);
        if (known == misread_.end()) {
            const MisreadLines lines(groupAt(*storage.rwFilename()), store_.factory());
            known = misread_.emplace(&storage, lines).first;
        }
        return known->second.haveOneOf(setting->name());
    }

private:
    const Store& store_;
    std::map<const SettingStorageFileBase*, MisreadLines> misread_;
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

std::string typeAndText(const Store& store, const SettingPtr& setting) {
    return store.factory()->typeAsString(setting) + "," + store.factory()->valueAsString(setting);
}

/// A setting that has its default already needs no writing, unless it has it because nobody can
/// read its line: that one would stay, and count once it is mended.
std::vector<Change> changesToDefaults(const Store& store, const std::vector<SettingPtr>& settings) {
    Defaults defaults(store);
    LinesOnDisk lines(store);
    std::vector<Change> changes;
    for (const SettingPtr& setting : settings) {
        demandWritable(setting);
        const SettingPtr byDefault = defaults.of(setting);
        const std::string text = typeAndText(store, byDefault);
        if (text != typeAndText(store, setting) || lines.isMisread(setting)) {
            changes.push_back({setting, byDefault->value(), text});
        }
    }
    return changes;
}

Result resetNamed(const Store& store, Format format, const std::vector<std::string>& names) {
    const std::vector<SettingPtr> settings = settingsCalled(store, names);
    store.demandNormalMode();
    const std::vector<Change> changes = changesToDefaults(store, settings);
    changeAndSave(store, changes);
    std::vector<Row> rows;
    Json json = Json::array();
    for (const SettingPtr& setting : settings) {
        const Record record = recordOf(store, storageOf(setting).querySetting(setting->name()));
        rows.push_back(rowOf(record));
        json.push_back(jsonOf(record));
    }
    Result result;
    result.output = format == Format::kJson ? textOfJson(json) : linesOf(rows, nameAndType());
    result.changed = !changes.empty();
    result.deed = result.changed ? "what differed from its default is saved" : "";
    return result;
}

}  // namespace

Command addResetCommand(CLI::App& app) {
    const auto wanted = std::make_shared<Wanted>();
    CLI::App* const command = app.add_subcommand("reset", "Go back to the defaults");
    command->add_option("NAME", wanted->names, "Whole names of settings")->type_name("");
    command->add_flag("--all", wanted->all, "The whole store");
    command->add_flag("--yes", wanted->confirmed, "Do not ask before --all");
    command->footer(kResetHelp);
    Command added = {command, {}};
    added.takeWords = [wanted](const std::vector<std::string>& words) { wanted->names = words; };
    added.runOnFiles = [wanted](const std::function<Location()>& location, Format format) {
        if (wanted->confirmed && !wanted->all) {
            throw Failure(ExitCode::kUsage, "--yes requires --all\nsee t8settings reset --help");
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
        return wanted->all ? resetAll(store, format, wanted->confirmed)
                           : resetNamed(store, format, wanted->names);
    };
    return added;
}

}  // namespace t8settings
