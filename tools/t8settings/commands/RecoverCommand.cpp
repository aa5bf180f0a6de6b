#include <cerrno>
#include <cstring>
#include <memory>

#include "check/NameClash.h"
#include "check/Recovery.h"
#include "check/WaysOut.h"
#include "commands/Command.h"
#include "commands/Restoring.h"
#include "console/Shell.h"
#include "console/Table.h"
#include "console/Terminal.h"
#include "store/LoadOutcome.h"
#include "store/Replacement.h"

namespace t8settings {

namespace {

constexpr const char* kRecoverHelp =
    "Shows FILE, its temporary copy FILE.tmp and FILE.bad, which a load has set\n"
    "aside: the state of each, which of them a load takes, and each setting that is\n"
    "not the same in all, or would stay behind. With --from one of them is put in\n"
    "the place of FILE, with a right CRC: the whole of it, or of a damaged one the\n"
    "lines that are in order, whose values may be wrong all the same; what does not\n"
    "come back is told (exit code 5). Mend such lines in FILE by hand, and seal it.\n"
    "What is replaced is kept beside it.\n\n"
    "Example:\n"
    "  t8settings recover tv/settings/settings.ini";

std::string textOfMember(const Member& member) {
    std::string text = member.file->path() + ": " + stateOf(*member.file);
    if (member.file->state() >= FileState::kWithoutCrc) {
        text += ", " + counted(settingsOf(*member.file).size(), "setting");
    }
    return visible(text) + "\n" + linesOf(findingsInLinesOf(*member.file));
}

std::string whatALoadTakes(const FileGroup& group) {
    const IniFile* const taken = takenByLoad(group);
    if (taken != nullptr) {
        return "A load takes " + visible(taken->path()) + ".\n";
    }
    if (mayNotBeRead(group.file.path())) {
        return "You may not read " + visible(group.file.path()) +
               "; what a load by a user who may makes of it is not known.\n";
    }
    const std::string none = "A load takes none of them";
    switch (loadOutcomeOf(group)) {
        case LoadOutcome::kSetAside:
            return none + ", and sets " + visible(group.file.path()) + " aside as " +
                   visible(placeAsideOf(group.file.path())) + ".\n";
        case LoadOutcome::kStays:
            return none + ", and leaves them where they are.\n";
        default:
            return none + ".\n";
    }
}

std::string tableOf(const std::vector<Member>& members,
                    const std::vector<Difference>& differences) {
    Row head = {"setting"};
    for (const Member& member : members) {
        head.push_back(member.word);
    }
    std::vector<Row> rows = {head};
    for (const Difference& difference : differences) {
        Row row = {difference.name};
        for (const auto& found : difference.texts) {
            row.push_back(found ? found->text + (found->comesBack ? "" : " (stays behind)") : "-");
        }
        rows.push_back(row);
    }
    return linesOf(rows);
}

std::string adviceToKeep(const IniFile& file, const std::string& command) {
    return settingsOf(file).empty()
               ? ""
               : "When its lines are as they should be: " + visible(command) + "\n";
}

/// What to do about a file that no load takes when there is no other one.
std::string adviceOn(const IniFile& file) {
    const std::string& path = file.path();
    if (file.accepted() || mayNotBeRead(path)) {
        return "";
    }
    if (file.state() < FileState::kWithoutCrc) {
        return "Without it a load goes by the defaults: move it away.\n";
    }
    const std::string mended = adviceToKeep(file, commandOn("seal", path));
    if (salvageOf(file, file).settings.empty()) {
        return mended + "Nothing of it can be put back. To go by the defaults: " +
               visible(commandToMoveAway(path)) + "\n";
    }
    return mended + "Otherwise, to put back what can be read of it: mv " +
           visible(shellPath(path) + " " + shellPath(setAsideOf(path)) + "; " +
                   commandOn("recover", path)) +
           " --from bad\n";
}

/// What to do about a file whose copy is read in its place. No program writes a defaults file.
std::string adviceOnCopy(const FileGroup& group) {
    const std::string& path = group.file.path();
    if (takenByLoad(group) != &group.copy) {
        return "";
    }
    const bool isByHand = group.file.role() == IniFile::Role::kDefaults;
    std::string goOn = "To go on with " + visible(group.copy.path()) + ": " +
                       visible(isByHand ? commandToMoveAway(path) + " && mv " +
                                              shellPath(group.copy.path()) + " " + shellPath(path)
                                        : commandOn("recover", path) + " --from tmp") +
                       "\n";
    if (settingsOf(group.file).empty() || group.file.text() == group.copy.text()) {
        return goOn;
    }
    return goOn + "To keep " + visible(path) + " instead, when its lines are as they should be: " +
           visible(isByHand ? commandToMoveAway(group.copy.path()) : commandsToKeepFile(group)) +
           "\n";
}

/// What to do about a file that no load takes, nor another one in its place.
std::string adviceOnUnused(const FileGroup& group) {
    const std::string& path = group.file.path();
    if (takenByLoad(group) != nullptr || mayNotBeRead(path) ||
        group.file.state() == FileState::kMissing) {
        return "";
    }
    const std::string unusual = whyNoPlainFile(path);
    if (!unusual.empty()) {
        return visible(path + " " + unusual) + ": " + kMoveAway + ".\n";
    }
    const bool isCopyInTheWay = group.copy.accepted();
    if (group.file.role() == IniFile::Role::kDefaults) {
        return isCopyInTheWay ? adviceToKeep(group.file, commandToMoveAway(group.copy.path())) : "";
    }
    return adviceToKeep(group.file,
                        isCopyInTheWay ? commandsToKeepFile(group) : commandOn("seal", path)) +
           "To go by the defaults: " +
           visible(commandToMoveAway(path) +
                   (isCopyInTheWay ? " && " + commandToMoveAway(group.copy.path()) : "")) +
           "\n";
}

/// How the settings of a file beside it come back.
std::string adviceToPutBack(const FileGroup& group, const Member& member) {
    const std::string path = visible(member.file->path());
    if (salvageOf(*member.file, group.file).settings.empty()) {
        return "Nothing of " + path + " can be put back";
    }
    if (group.file.role() == IniFile::Role::kDefaults) {
        return "What is needed of " + path + " has to be copied by hand";
    }
    return "To put back " + (member.file->accepted() ? path : "what can be read of " + path) +
           ": " + visible(commandOn("recover", group.file.path())) + " --from " + member.word;
}

/// What becomes of the files beside it, but for a copy that a load takes.
std::string adviceOnOthers(const FileGroup& group, const std::vector<Member>& files) {
    const IniFile* const taken = takenByLoad(group);
    std::string advice;
    for (const Member& member : files) {
        if (member.file != &group.file && member.file != taken) {
            advice += adviceToPutBack(group, member) + "; when nobody needs it, delete it.\n";
        }
    }
    return advice;
}

/// What lies there in the place of a file and is none is in the way of the next load or save.
std::string adviceOnWhatIsNoFile(const std::vector<Member>& members) {
    std::string advice;
    for (auto member = members.begin() + 1; member != members.end(); ++member) {
        const std::string& path = member->file->path();
        const std::string unusual = whyNoPlainFile(path);
        if (!unusual.empty()) {
            advice += visible(std::string(path).append(" ").append(unusual));
            advice.append(": ").append(kMoveAway).append(".\n");
        }
    }
    return advice;
}

std::string textOf(const FileGroup& group) {
    const std::vector<Member> members = membersOf(group);
    std::string text;
    for (const Member& member : members) {
        text += textOfMember(member);
    }
    text += whatALoadTakes(group);
    if (members.size() == 1) {
        return text + "Nothing lies beside it.\n" + adviceOn(group.file);
    }
    text += adviceOnWhatIsNoFile(members);
    const std::vector<Member> files = filesOf(group);
    if (files.size() == 1) {
        return text + "No file lies beside it.\n" + adviceOn(group.file);
    }
    const std::vector<Difference> differences = differencesOf(files);
    text += differences.empty() ? "No setting differs.\n" : tableOf(files, differences);
    return text + adviceOnUnused(group) + adviceOnCopy(group) + adviceOnOthers(group, files);
}

Json jsonOf(const Member& member) {
    Json json = {{"kind", member.word}};
    addBytes(json, "file", member.file->path());
    json["state"] = wordOf(*member.file);
    json["settings"] = settingsOf(*member.file).size();
    json["findings"] = jsonOf(findingsInLinesOf(*member.file));
    return json;
}

Json jsonOf(const std::vector<Member>& members, const Difference& difference) {
    Json json;
    addBytes(json, "name", difference.name);
    json["texts"] = Json::object();
    json["staysBehind"] = Json::array();
    for (std::size_t i = 0; i < members.size(); ++i) {
        const std::string& word = members[i].word;
        const auto& found = difference.texts[i];
        if (found) {
            addBytes(json["texts"], word, found->text);
        } else {
            json["texts"][word] = nullptr;
        }
        if (found && !found->comesBack) {
            json["staysBehind"].push_back(word);
        }
    }
    return json;
}

Json jsonOf(const FileGroup& group) {
    const std::vector<Member> members = membersOf(group);
    const IniFile* const taken = takenByLoad(group);
    Json json;
    addBytes(json, "file", group.file.path());
    json["taken"] = nullptr;
    json["files"] = Json::array();
    for (const Member& member : members) {
        json["files"].push_back(jsonOf(member));
        if (member.file == taken) {
            json["taken"] = member.word;
        }
    }
    json["differences"] = Json::array();
    const std::vector<Member> files = filesOf(group);
    for (const Difference& difference : differencesOf(files)) {
        json["differences"].push_back(jsonOf(files, difference));
    }
    return json;
}

/// The check of --from: what is wrong with the word, or nothing.
std::string isSource(std::string& word) {
    const bool isOne = word.find('/') == std::string::npos && fileBeside("." + word) == "";
    return isOne ? ""
                 : "it takes tmp, tmp.new, bad, tmp.bad, or these two with a number from 1 to 99, "
                   "as bad.1: " +
                       inQuotes(word);
}

/// What `verify` has nothing to say of is sound.
ExitCode codeOf(const FileGroup& group) {
    return findingsIn(group).empty() && differencesOf(filesOf(group)).empty() ? ExitCode::kDone
                                                                              : ExitCode::kFindings;
}

Result show(const FileGroup& group, Format format) {
    return {format == Format::kJson ? textOfJson(jsonOf(group)) : textOf(group), codeOf(group)};
}

/// Of what may not be looked at, what lies beside it may not be either.
void demandInSight(const std::string& path) {
    if (isHidden(path)) {
        throw Failure(ExitCode::kFailed, path + " cannot be looked at: " + std::strerror(errno));
    }
}

Result recover(const RestoreOptions& options, const std::string& marker, Format format) {
    if (options.confirmed && options.from.empty()) {
        throw Failure(ExitCode::kUsage, "--yes requires --from\nsee t8settings recover --help");
    }
    demandIniFile(options.path);
    demandInSight(options.path);
    if (!options.from.empty()) {
        Result result = restore(options, marker, format);
        for (const FileFinding& clash : nameClashesOf(options.path)) {
            complain("warning: " + textOf(clash));
        }
        return result;
    }
    const FileGroup group = groupAt(options.path);
    const std::string unusual = whyNoPlainFile(options.path);
    if (!unusual.empty() && membersOf(group).size() == 1) {
        throw Failure(ExitCode::kFailed,
                      options.path + " " + unusual +
                          (isIni(options.path) ? std::string("; ") + kMoveAway : ""));
    }
    if (group.file.state() == FileState::kMissing && membersOf(group).size() == 1) {
        throw Failure(ExitCode::kFailed,
                      options.path +
                          (isThere(options.path) ? ": a link that leads nowhere" : ": not there") +
                          ", and nothing lies beside it");
    }
    return show(group, format);
}

}  // namespace

Command addRecoverCommand(CLI::App& app) {
    const auto options = std::make_shared<RestoreOptions>();
    CLI::App* const command =
        app.add_subcommand("recover", "Show what lies beside a file, and put it back on request");
    command->add_option("FILE", options->path, "The settings file")->required()->type_name("");
    command
        ->add_option("--from", options->from,
                     "Put back: tmp, tmp.new, bad[.1 to .99], tmp.bad[.1 to .99]")
        ->type_name("COPY")
        ->check(CLI::Validator(isSource, ""));
    command->add_flag("--yes", options->confirmed, "Do not ask before --from");
    command->footer(kRecoverHelp);
    return {command, {}, {}, {}, [options](const std::string& marker, Format format) {
                return recover(*options, marker, format);
            }};
}

}  // namespace t8settings
