#include "commands/Restoring.h"

#include <algorithm>
#include <cstdint>

#include "check/Recovery.h"
#include "check/WaysOut.h"
#include "console/Question.h"
#include "console/Shell.h"
#include "console/Terminal.h"
#include "store/LibraryLog.h"
#include "store/Replacement.h"
#include "store/SetUp.h"

namespace t8settings {

namespace {

namespace files = Qel::Settings::files;

const IniFile& sourceIn(const FileGroup& group, const std::string& from) {
    const IniFile* const source = memberCalled(from, group);
    if (source == nullptr) {
        throw Failure(ExitCode::kFailed, group.file.path() + "." + from + ": not there");
    }
    if (source->state() < FileState::kWithoutCrc) {
        throw Failure(ExitCode::kFailed, source->path() + ": " + stateOf(*source));
    }
    return *source;
}

/// What is to be done, all of it known before anything is.
struct Plan {
    Salvage salvage;
    std::vector<KeptFile> kept;
};

bool holds(const IniFile& file, const std::string& text) {
    return file.state() == FileState::kSealed && file.text() == text;
}

/// What is to be said of its single lines. What a file as a whole lacks goes without saying when
/// nothing comes back.
std::vector<FileFinding> ofLines(std::vector<FileFinding> findings) {
    findings.erase(
        std::remove_if(findings.begin(), findings.end(),
                       [](const FileFinding& finding) { return finding.finding.line == 0; }),
        findings.end());
    return findings;
}

Plan planOf(const FileGroup& group, const IniFile& source) {
    Plan plan = {salvageOf(source, group.file), {}};
    if (plan.salvage.settings.empty()) {
        throw Failure(ExitCode::kFailed, linesOf(ofLines(plan.salvage.leftOut)) + source.path() +
                                             " has no setting that could be put back");
    }
    std::vector<const IniFile*> replaced = {&group.file, &group.copy};
    if (group.copy.accepted()) {
        // A copy that may be all there is is replaced by one that is made under this name.
        replaced.push_back(&group.newCopy);
    }
    for (const IniFile* const file : replaced) {
        if (isThere(file->path()) && !holds(*file, plan.salvage.text)) {
            plan.kept.push_back({file->path(), nameToKeep(file->path())});
        }
    }
    return plan;
}

/// A line that is in order may be another one than was saved.
void warnOfUnchecked(const IniFile& source) {
    if (!source.accepted()) {
        complain("warning: " + source.path() + ": " + stateOf(source) +
                 "; so what comes back of it may have wrong values: look at them");
    }
}

void demandConfirmation(const FileGroup& group, const IniFile& source, const Plan& plan) {
    std::string question = "Put " + counted(plan.salvage.settings.size(), "setting") + " from " +
                           source.path() + " in the place of " + group.file.path() + "?";
    for (const KeptFile& kept : plan.kept) {
        question += " " + kept.path + " is kept as " + kept.name + ".";
    }
    complain(linesOf(plan.salvage.leftOut));
    demandYes(question, "nothing was changed");
}

bool isSame(const IniFile& one, const IniFile& other) {
    return one.state() == other.state() && one.text() == other.text();
}

bool isSame(const std::vector<IniFile>& one, const std::vector<IniFile>& other) {
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [](const IniFile& a, const IniFile& b) { return isSame(a, b); });
}

/// Somebody else may have been at work while the question was open.
void demandSame(const FileGroup& seen, const FileGroup& now) {
    if (!isSame(seen.file, now.file) || !isSame(seen.copy, now.copy) ||
        !isSame(seen.setAside, now.setAside) || !isSame(seen.newCopy, now.newCopy) ||
        !isSame(seen.setAsideLater, now.setAsideLater)) {
        throw Failure(ExitCode::kFailed, "nothing was changed: another program has written to " +
                                             now.file.path() + " meanwhile\n" +
                                             commandOn("recover", now.file.path()) +
                                             " shows what there is");
    }
}

Result report(const FileGroup& group, const IniFile& source, const Plan& plan, std::uint32_t crc,
              Format format) {
    Result result;
    result.deed = group.file.path() + " has what was in " + source.path();
    result.code = plan.salvage.leftOut.empty() ? ExitCode::kDone : ExitCode::kFindings;
    if (format == Format::kText) {
        result.output = linesOf(plan.salvage.leftOut);
        result.output +=
            visible(group.file.path() + ": " + counted(plan.salvage.settings.size(), "setting") +
                    " from " + source.path() + ", CRC " + std::to_string(crc)) +
            "\n";
        result.output += linesOf(plan.kept);
        return result;
    }
    Json json;
    addBytes(json, "file", group.file.path());
    addBytes(json, "from", source.path());
    json["settings"] = plan.salvage.settings.size();
    json["crc"] = crc;
    json["kept"] = jsonOf(plan.kept);
    json["leftOut"] = jsonOf(plan.salvage.leftOut);
    result.output = textOfJson(json);
    return result;
}

/// Of a file that is whole every line that a load takes comes back, whatever it is read as.
void warnOfMisread(const std::string& path) {
    for (const FileFinding& finding : findingsInLinesOf(iniFileAt(path))) {
        if (isGrave(finding.finding.harm)) {
            complain("warning: " + textOf(finding));
        }
    }
}

/// Without it another program's save might come between, and one of the two would be torn.
void demandHeld(const files::DirectoryLock& lock, const std::string& path) {
    if (!lock.held()) {
        throw Failure(ExitCode::kFailed,
                      "nothing was changed: the lock on " + files::directoryOf(path) +
                          " could not be had; end the program that holds it, or whatever "
                          "keeps the directory from being read, and try again");
    }
}

}  // namespace

Result restore(const RestoreOptions& options, const std::string& marker, Format format) {
    demandNoReset(marker);
    LibraryLog::instance().passOver({kGoingOnWithoutLock});
    const FileGroup seen = groupAt(options.path);
    const Plan seenPlan = planOf(seen, sourceIn(seen, options.from));
    if (seen.file.role() == IniFile::Role::kDefaults) {
        throw Failure(ExitCode::kFailed, options.path + " is a defaults file, which nobody writes");
    }
    if (!options.confirmed && !canAsk()) {
        throw Failure(ExitCode::kUsage,
                      "recover --from needs --yes where nobody can be asked; nothing was changed");
    }
    warnOfUnchecked(sourceIn(seen, options.from));
    if (!options.confirmed) {
        demandConfirmation(seen, sourceIn(seen, options.from), seenPlan);
    }
    const files::DirectoryLock lock(files::directoryOf(options.path),
                                    files::DirectoryLock::Mode::kExclusive);
    demandHeld(lock, options.path);
    const FileGroup group = groupAt(options.path);
    demandSame(seen, group);
    demandNoReset(marker);
    const IniFile& source = sourceIn(group, options.from);
    Plan plan = planOf(group, source);
    const std::uint32_t crc =
        replaceKeeping(plan.kept, {group, plan.salvage.text, source.path()}, lock);
    warnOfMisread(options.path);
    if (const std::string lost = linkLostTo(options.path, source.path()); !lost.empty()) {
        complain("warning: " + lost);
    }
    return report(group, source, plan, crc, format);
}

}  // namespace t8settings
