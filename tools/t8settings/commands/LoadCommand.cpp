#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <memory>
#include <optional>
#include <unistd.h>

#include "change/Changes.h"
#include "check/FileCheck.h"
#include "commands/Command.h"
#include "console/Nearest.h"
#include "console/Progress.h"
#include "console/Shell.h"
#include "console/Terminal.h"
#include "dump/Dump.h"
#include "dump/IniDump.h"
#include "files/Descriptor.h"
#include "files/FileStatus.h"
#include "files/WholeFile.h"
#include "store/Files.h"
#include "store/LibraryLog.h"
#include "store/LoadOutcome.h"
#include "store/XmlFile.h"
#include "values/Records.h"
#include "values/TextOfValue.h"
#include "values/Types.h"

namespace t8settings {

namespace {

constexpr const char* kLoadHelp =
    "Takes what dump writes, ini text or JSON, and a storage's ini file too; - is\n"
    "standard input. Everything is checked first: names, types, texts as set judges\n"
    "them, and that what is read-only stays the same; to copy from one television to\n"
    "another, dump what may change alone, such as 'settings/*'. When anything is\n"
    "wrong nothing is changed, and each problem is told with its line, or in JSON\n"
    "the member's path; nor is it while other lines of a file that is to be saved\n"
    "are lost or misread: a save would hide that. Settings that are not in FILE stay\n"
    "as they are. When a storage cannot be saved, the old values are saved again,\n"
    "and it is told where that fails.\n\n"
    "Example:\n"
    "  t8settings --base tv dump 'settings/*' | t8settings --base tv load -";

constexpr std::size_t kMostHints = 20;

std::string bytesOf(const std::string& path) {
    const bool isInput = path == "-";
    const int descriptor = isInput ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    std::string bytes;
    const bool isRead =
        descriptor >= 0 && readAll(descriptor, Qel::Settings::files::kLargestFile, bytes);
    const int error = errno;
    if (!isInput && descriptor >= 0) {
        ::close(descriptor);
    }
    if (!isRead) {
        throw Failure(
            ExitCode::kFailed,
            (isInput ? "standard input" : inQuotes(path)) +
                (error == EFBIG ? " is larger than 64 MiB, which is too large for a dump"
                                : std::string(" cannot be read: ") + std::strerror(error)));
    }
    return bytes;
}

/// Judges what a dump says about settings.
class Judge {
public:
    explicit Judge(const Store& store) : store_(store) {}

    /// What is to be changed for `wanted`, or may have to be written; nothing when it is so and
    /// never written. Throws `Failure` when it cannot be.
    std::optional<Change> changeFor(const DumpEntry& wanted) {
        const SettingPtr setting = settingCalled(wanted.name);
        demandFirst(wanted);
        const Record record = recordOf(store_, setting);
        demandStorage(wanted, record.storage);
        demandType(wanted, record.type);
        if (wanted.text == record.text) {
            return same(setting);
        }
        demandWritable(setting);
        const Value value = valueOf(store_.factory(), record.type, wanted.name, wanted.text);
        if (value.fileText == store_.factory()->valueAsString(setting)) {
            return same(setting);
        }
        return Change{setting, value.value, record.type + "," + value.fileText};
    }

private:
    std::optional<Change> same(const SettingPtr& setting) const {
        if (storageOf(setting).readonly()) {
            return std::nullopt;
        }
        return Change{setting, setting->value(), typeAndTextOf(setting, store_.factory())};
    }

    SettingPtr settingCalled(const std::string& name) {
        SettingPtr setting = store_.manager().setting(name);
        // A hint takes a look at all names; a dump of another product has none but unknown ones.
        if (!setting && ++unknown_ > kMostHints) {
            throw Failure(ExitCode::kFailed, "no such setting: " + inQuotes(name));
        }
        return setting ? setting : store_.find(name);
    }

    void demandFirst(const DumpEntry& wanted) {
        const auto inserted = places_.emplace(wanted.name, wanted.place);
        if (!inserted.second) {
            throw Failure(ExitCode::kFailed,
                          wanted.name + " has a value already, at " + inserted.first->second);
        }
    }

    static void demandStorage(const DumpEntry& wanted, const std::string& storage) {
        if (wanted.storage && *wanted.storage != storage) {
            throw Failure(ExitCode::kFailed, wanted.name + " is unchanged: its storage is " +
                                                 inQuotes(storage) + " and not " +
                                                 inQuotes(*wanted.storage));
        }
    }

    /// Some types have several names in the files.
    void demandType(const DumpEntry& wanted, const std::string& type) const {
        if (wanted.type == type) {
            return;
        }
        const SettingPtr made =
            store_.factory()->create(typeCalled(wanted.type).name, wanted.name, "");
        if (!made || store_.factory()->typeAsString(made) != type) {
            throw Failure(ExitCode::kFailed, wanted.name + " is unchanged: its type is " + type +
                                                 " and not " + wanted.type);
        }
    }

    const Store& store_;
    std::size_t unknown_ = 0;
    std::map<std::string, std::string> places_;
};

Failure refused(const std::vector<std::string>& problems) {
    std::string text;
    for (const std::string& problem : problems) {
        text += problem + "\n";
    }
    return {ExitCode::kFailed, text + "nothing was changed"};
}

/// Throws `Failure` with all that is wrong.
std::vector<Change> changesFor(const Store& store, const std::vector<DumpEntry>& entries) {
    Judge judge(store);
    std::vector<Change> changes;
    std::vector<std::string> problems;
    Progress progress("checking setting", entries.size());
    for (const DumpEntry& entry : entries) {
        progress.begin(entry.name);
        try {
            if (!entry.problem.empty()) {
                throw Failure(ExitCode::kFailed, entry.problem);
            }
            if (const auto change = judge.changeFor(entry)) {
                changes.push_back(*change);
            }
        } catch (const Failure& failure) {
            problems.push_back(entry.place + ": " + failure.what());
        }
    }
    if (!problems.empty()) {
        throw refused(problems);
    }
    return changes;
}

/// What the dump leaves as it is needs no writing, but has to be known.
void demandAllSeen(const Store& store, const std::vector<DumpEntry>& entries) {
    std::vector<SettingPtr> settings;
    for (const DumpEntry& entry : entries) {
        if (SettingPtr setting = store.manager().setting(entry.name)) {
            settings.push_back(std::move(setting));
        }
    }
    demandSeen(settings);
}

/// Throws `Failure` when nothing in the dump is a setting, as in a damaged file: no store need come
/// up for that.
void demandReadable(const std::vector<DumpEntry>& entries) {
    std::vector<std::string> problems;
    for (const DumpEntry& entry : entries) {
        if (entry.problem.empty()) {
            return;
        }
        problems.push_back(entry.place + ": " + entry.problem);
    }
    if (!problems.empty()) {
        throw refused(problems);
    }
}

using Qel::Settings::files::FileStatus;

/// Of the dump; standard input may be a file as well.
std::optional<FileStatus> statusOfDump(const std::string& path) {
    using Qel::Settings::files::Descriptor;
    return path == "-" ? statusOf(Descriptor(::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)))
                       : Qel::Settings::files::statusAt(path);
}

bool isAt(const std::string& path, const FileStatus& dump) {
    const auto status = Qel::Settings::files::statusAt(path);
    return status && areOneFile(*status, dump);
}

constexpr const char* kLoadFromElsewhere = "move it elsewhere and load it from there";

/// `path` is that of the dump, by which `file` is to be called if it has one.
std::string isOfTheStore(const std::string& path, const std::string& file) {
    const std::string& called = path == "-" ? file : path;
    const std::string is = shownPathOf(path) + ": is a file of the store itself, and ";
    if (isXml(file)) {
        return is + "is not taken as it is: " + XmlFile(file).error + "; " + kLoadFromElsewhere;
    }
    const IniFile copy = iniFileUnderLock(copyOf(file));
    if (copy.accepted()) {
        return is + "no program can load " + copy.path() +
               ", which is read in its place; first of all move that one away, or put it in "
               "order: " +
               commandOn("recover", file) + " --from tmp";
    }
    return is + "is not taken as it is: " + stateOf(iniFileUnderLock(called)) +
           "; when its lines are as they should be: " + commandOn("seal", called);
}

std::string wouldBeReplaced(const std::string& path, const std::string& file) {
    return shownPathOf(path) + ": would be lost, as " + file +
           " is about to be set aside under its name; " +
           (isXml(file) ? kLoadFromElsewhere : "first of all: " + commandOn("recover", file));
}

bool isAboutToBeSetAside(const std::string& file) {
    return isXml(file) ? isThere(file) && !XmlFile(file).error.empty()
                       : loadOutcomeOf(groupAt(file)) == LoadOutcome::kSetAside;
}

/// A store that came up would set aside the very file that its user takes for the dump, or put
/// another one in its place.
void demandNotSetAside(const std::string& base, const std::string& path) {
    const LibraryMessagesDropped dropped;
    const auto dump = statusOfDump(path);
    for (const StorageFiles& storage : storagesBelow(base)) {
        const std::string& file = storage.readWrite;
        const bool isFile = dump && isAt(file, *dump);
        const bool isSetAside = dump && isAt(setAsideOf(file), *dump);
        if ((isFile || isSetAside) && isAboutToBeSetAside(file)) {
            throw refused({isFile ? isOfTheStore(path, file) : wouldBeReplaced(path, file)});
        }
    }
}

/// The whole dump is there before the store comes up: while its writer takes its time others may
/// save, and what they saved would be overwritten with what was loaded before.
Result load(const Location& location, Format format, const std::string& path) {
    demandWord(path, "FILE");
    demandReadableDirectory(location.base);
    const std::string bytes = bytesOf(path);
    const auto entries = entriesOf(path, bytes, location.base);
    demandReadable(entries);
    demandNotSetAside(location.base, path);
    const Store store(location);
    store.demandNormalMode();
    demandAllSeen(store, entries);
    const std::size_t changed = changeAndSave(store, changesFor(store, entries));
    const std::size_t same = entries.size() - changed;
    Result result;
    result.changed = changed != 0;
    result.deed = result.changed ? "what the dump changes is saved" : "";
    result.output = format == Format::kJson ? textOfJson({{"changed", changed}, {"same", same}})
                                            : std::to_string(changed) + " changed, " +
                                                  std::to_string(same) + " the same\n";
    return result;
}

}  // namespace

Command addLoadCommand(CLI::App& app) {
    const auto path = std::make_shared<std::string>();
    CLI::App* const command =
        app.add_subcommand("load", "Change settings to what a dump says, when all of it is right");
    command->add_option("FILE", *path, "The dump")->required()->type_name("");
    command->footer(kLoadHelp);
    return {command, {}, {}, [path](const std::function<Location()>& location, Format format) {
                return load(location(), format, *path);
            }};
}

}  // namespace t8settings
