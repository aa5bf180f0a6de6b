#include <algorithm>
#include <cstddef>
#include <memory>

#include "check/Verification.h"
#include "commands/Command.h"
#include "console/Progress.h"
#include "console/Terminal.h"
#include "store/SetUp.h"

namespace t8settings {

namespace {

constexpr const char* kVerifyHelp =
    "Looks at the files as they lie there: the CRC, temporary copies, files set\n"
    "aside as \".bad\", each line that no program would take, or would read as\n"
    "something else than it says, settings that are hardly meant so, files that\n"
    "nobody reads, settings of two storages, two storages of one name.\n"
    "Nothing is loaded, set aside or written. Each finding is one line: FILE:LINE:\n"
    "what is wrong; what to do. With FILEs these alone, and no base directory is\n"
    "needed. Exit code 0: all sound, 5: findings, 1: something could not be read.\n\n"
    "Example:\n"
    "  t8settings --base tv verify";

ExitCode codeOf(const std::vector<FileFinding>& findings) {
    const bool unreadable = std::any_of(
        findings.begin(), findings.end(),
        [](const FileFinding& finding) { return finding.finding.harm == Harm::kUnreadable; });
    return unreadable ? ExitCode::kFailed : ExitCode::kFindings;
}

std::string textOf(const Verification& verification) {
    const std::size_t count = verification.findings().size();
    const std::string verdict = verification.files().empty() ? "nothing to verify" : "all sound";
    std::string notes;
    for (const auto& [directory, defaults] : verification.missing()) {
        std::string note = directory;
        note.append(": not there, and nothing of ").append(defaults);
        note.append(" can be saved without it");
        notes += visible(note) + "\n";
    }
    for (const auto& [directory, readWrite] : verification.missingDefaults()) {
        std::string note = directory;
        note.append(": not there, and nothing in ").append(readWrite).append(" has a default");
        notes += visible(note) + "\n";
    }
    for (const std::string& path : verification.kept()) {
        notes += visible(path) + ": kept by seal or recover; delete it when nobody needs it\n";
    }
    return linesOf(verification.findings()) + notes + counted(verification.files().size(), "file") +
           ", " + (count == 0 ? verdict : counted(count, "finding")) + "\n";
}

Json jsonOf(const Verification& verification) {
    Json json = {{"files", Json::array()}};
    for (const Verification::File& file : verification.files()) {
        Json row;
        addBytes(row, "file", file.path);
        row["state"] = file.state;
        row["settings"] = file.settings;
        json["files"].push_back(row);
    }
    json["findings"] = jsonOf(verification.findings());
    json["kept"] = Json::array();
    for (const std::string& path : verification.kept()) {
        Json row;
        addBytes(row, "file", path);
        json["kept"].push_back(row);
    }
    json["missing"] = Json::array();
    for (const auto& [directory, defaults] : verification.missing()) {
        Json row;
        addBytes(row, "directory", directory);
        addBytes(row, "defaults", defaults);
        json["missing"].push_back(row);
    }
    for (const auto& [directory, readWrite] : verification.missingDefaults()) {
        Json row;
        addBytes(row, "directory", directory);
        addBytes(row, "readWrite", readWrite);
        json["missing"].push_back(row);
    }
    return json;
}

void tellOfReset(const std::string& marker) {
    try {
        demandNoReset(marker);
    } catch (const Failure& failure) {
        complain(failure.what());
    }
}

Result verify(const std::vector<std::string>& files, const std::function<Location()>& location,
              Format format) {
    Verification verification;
    ExitCode whenSound = ExitCode::kDone;
    for (const std::string& file : files) {
        demandWord(file, "FILE");
    }
    Progress progress("verifying file", files.size());
    for (const std::string& file : files) {
        progress.begin(file);
        verification.verifyFile(file);
    }
    if (files.empty()) {
        const std::string base = location().base;
        tellOfReset(location().marker);
        verification.verifyBelow(base);
        if (verification.files().empty()) {
            complainOfNoFiles(base);
            whenSound = ExitCode::kFailed;
        }
    }
    return {format == Format::kJson ? textOfJson(jsonOf(verification)) : textOf(verification),
            verification.findings().empty() ? whenSound : codeOf(verification.findings())};
}

}  // namespace

Command addVerifyCommand(CLI::App& app) {
    const auto files = std::make_shared<std::vector<std::string>>();
    CLI::App* const command =
        app.add_subcommand("verify", "Tell what is wrong with the settings files");
    command->add_option("FILE", *files, "Only these files, each with what lies beside it")
        ->type_name("");
    command->footer(kVerifyHelp);
    Command added = {command, {}};
    added.takeWords = [files](const std::vector<std::string>& words) { *files = words; };
    added.runOnFiles = [files](const std::function<Location()>& location, Format format) {
        return verify(*files, location, format);
    };
    return added;
}

}  // namespace t8settings
