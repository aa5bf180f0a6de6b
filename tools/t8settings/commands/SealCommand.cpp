#include <cstdint>
#include <memory>
#include <optional>

#include "check/FileCheck.h"
#include "check/NameClash.h"
#include "check/Recovery.h"
#include "check/WaysOut.h"
#include "commands/Command.h"
#include "console/Shell.h"
#include "console/Terminal.h"
#include "store/LibraryLog.h"
#include "store/Replacement.h"
#include "store/SetUp.h"

namespace t8settings {

namespace {

namespace files = Qel::Settings::files;

constexpr const char* kSealHelp =
    "Writes the CRC line that a file needs after a hand edit; all bytes before that\n"
    "line stay as they are. All lines are checked first: when a program would not\n"
    "take one, or would read something else than it says, or no line feed ends the\n"
    "last one, nothing is written. A defaults file needs no CRC line. A temporary\n"
    "copy with a right CRC would win over the file: see to it first, with recover.\n"
    "Any other copy is kept under another name. Programs that are running have\n"
    "loaded the file before, and overwrite it when they save.\n\n"
    "Example:\n"
    "  t8settings seal tv/settings/settings.ini";

/// What came of it.
struct Sealing {
    std::string path;
    std::string outcome;  ///< for people
    std::size_t settings;
    bool written = false;
    std::optional<std::uint32_t> crc = {};
    std::vector<KeptFile> kept = {};
};

void demandSealable(const FileGroup& group) {
    const std::string& path = group.file.path();
    const std::string recover = "\n" + commandOn("recover", path) + " shows what there is";
    const std::string choice = recover + ", and how to keep the one or the other";
    if (group.file.state() < FileState::kWithoutCrc) {
        const bool helps = isThere(group.copy.path()) || isThere(group.setAside.path());
        throw Failure(ExitCode::kFailed,
                      path + ": " + stateOf(group.file) + (helps ? recover : ""));
    }
    if (group.copy.accepted()) {
        throw Failure(ExitCode::kFailed,
                      path + " is unchanged: programs would read " + group.copy.path() +
                          " in its place, the whole copy of an interrupted "
                          "save" +
                          recover + "\nto keep " + path + " instead: " + commandsToKeepFile(group));
    }
}

std::vector<FileFinding> findingsToSeal(const IniFile& file) {
    if (isBlank(file)) {
        return {{file.path(),
                 {0, Harm::kLost,
                  std::string("nothing ") +
                      (file.text().empty() ? "" : "but blanks and zero bytes ") + "is in it",
                  file.role() == IniFile::Role::kDefaults
                      ? ""
                      : "to go by the defaults: " + commandToMoveAway(file.path())}}};
    }
    std::vector<FileFinding> findings = findingsInLinesOf(file);
    if (const auto nothing = nothingIn(file)) {
        findings.push_back(*nothing);
    }
    return findings;
}

/// What the save would delete and may be nowhere else: a torn copy, and lines of the file that the
/// new text leaves out.
std::vector<KeptFile> toKeepOf(const FileGroup& group) {
    std::vector<KeptFile> all;
    const bool losesLines = group.file.hasMoreAfterCrcLine();
    for (const std::string& path : {losesLines ? group.file.path() : "", group.copy.path()}) {
        if (isPlainFile(path)) {
            all.push_back({path, nameToKeep(path)});
        }
    }
    return all;
}

/// Lines that have no effect are told; the others stop the command unless they may be so.
void demandSoundLines(const IniFile& file, bool force) {
    std::string grave;
    bool mayBeForced = true;
    for (const FileFinding& finding : findingsToSeal(file)) {
        const bool stops =
            isGrave(finding.finding.harm) && (!force || finding.finding.harm == Harm::kUnusable);
        if (stops) {
            grave += textOf(finding) + "\n";
            mayBeForced = mayBeForced && finding.finding.harm != Harm::kUnusable;
        } else {
            complain("warning: " + textOf(finding));
        }
    }
    if (!grave.empty()) {
        throw Failure(ExitCode::kFailed,
                      grave + file.path() + " is unchanged: " +
                          (isBlank(file) ? "it has no lines to mend; --force seals it as it is"
                           : mayBeForced ? "mend these lines; --force seals it as it is"
                           : force       ? "no program could load it"
                                         : "mend these lines; no program could load it as it is"));
    }
}

Sealing seal(const std::string& path, bool force, const std::string& marker) {
    const files::DirectoryLock lock(files::directoryOf(path),
                                    files::DirectoryLock::Mode::kExclusive);
    if (!lock.held() && isThere(path)) {
        throw Failure(ExitCode::kFailed,
                      path +
                          " is unchanged: its directory is locked by another process for too "
                          "long, or cannot be locked");
    }
    // A reset may have begun while another process had the lock.
    demandNoReset(marker);
    const FileGroup group = groupAt(path);
    demandSealable(group);
    demandSoundLines(group.file, force);
    const std::size_t settings = settingsOf(group.file).size();
    if (group.file.role() == IniFile::Role::kDefaults) {
        return {path,
                counted(settings, "setting") +
                    ", a defaults file, which needs no CRC; nothing was written",
                settings};
    }
    if (group.file.state() == FileState::kSealed && !group.file.hasMoreAfterCrcLine()) {
        return {path,
                counted(settings, "setting") + ", the CRC is right already; nothing was written",
                settings, false, group.file.computedCrc()};
    }
    const std::string text = textToSeal(group.file);
    std::vector<KeptFile> kept = toKeepOf(group);
    const std::uint32_t crc = replaceKeeping(kept, {group, text, path}, lock);
    return {path,     "sealed, " + counted(settings, "setting") + ", CRC " + std::to_string(crc),
            settings, true,
            crc,      kept};
}

Result sealed(const std::string& path, bool force, const std::string& marker, Format format) {
    demandNoReset(marker);
    demandIniFile(path);
    LibraryLog::instance().passOver({kGoingOnWithoutLock});
    const Sealing sealing = seal(path, force, marker);
    for (const FileFinding& clash : nameClashesOf(path)) {
        complain("warning: " + textOf(clash));
    }
    Result result;
    result.deed = sealing.written ? path + " is sealed" : "";
    if (format == Format::kText) {
        result.output = visible(path + ": " + sealing.outcome) + "\n" + linesOf(sealing.kept);
        return result;
    }
    Json json;
    addBytes(json, "file", path);
    json["written"] = sealing.written;
    json["settings"] = sealing.settings;
    json["crc"] = sealing.crc ? Json(*sealing.crc) : Json(nullptr);
    json["kept"] = jsonOf(sealing.kept);
    result.output = textOfJson(json);
    return result;
}

}  // namespace

Command addSealCommand(CLI::App& app) {
    const auto path = std::make_shared<std::string>();
    const auto force = std::make_shared<bool>(false);
    CLI::App* const command =
        app.add_subcommand("seal", "Give a file that was edited by hand a right CRC");
    command->add_option("FILE", *path, "The settings file")->required()->type_name("");
    command->add_flag("--force", *force, "Also when lines are lost or read as something else");
    command->footer(kSealHelp);
    return {command, {}, {}, {}, [path, force](const std::string& marker, Format format) {
                return sealed(*path, *force, marker, format);
            }};
}

}  // namespace t8settings
