#include "Restoring.h"

#include <cstdint>

#include "Recovery.h"
#include "Replacement.h"
#include "SetUp.h"
#include "Terminal.h"

namespace t8settings {

namespace {

namespace files = Qel::Settings::files;

const IniFile& sourceIn(const FileGroup& group, const std::string& from) {
    const IniFile& source = from == "tmp" ? group.copy : group.setAside;
    if (source.state() < FileState::kWithoutCrc) {
        throw Failure(ExitCode::kFailed, source.path() + ": " + stateOf(source));
    }
    return source;
}

/// What is to be done, all of it known before anything is.
struct Plan {
    Salvage salvage;
    struct Kept {
        std::string path;
        std::string name;
    };
    std::vector<Kept> kept;
};

bool holds(const IniFile& file, const std::string& text) {
    return file.state() == FileState::kSealed && file.text() == text;
}

Plan planOf(const FileGroup& group, const IniFile& source) {
    Plan plan = {salvageOf(source), {}};
    if (plan.salvage.settings == 0) {
        throw Failure(ExitCode::kFailed, linesOf(plan.salvage.leftOut) + source.path() +
                                             " has no setting that could be put back");
    }
    for (const IniFile* const file : {&group.file, &group.copy}) {
        if (isThere(file->path()) && !holds(*file, plan.salvage.text)) {
            plan.kept.push_back({file->path(), nameToKeep(file->path())});
        }
    }
    return plan;
}

void demandConfirmation(const FileGroup& group, const IniFile& source, const Plan& plan) {
    std::string question = "Put " + countOf(plan.salvage.settings) + " from " + source.path() +
                           " in the place of " + group.file.path() + "?";
    for (const Plan::Kept& kept : plan.kept) {
        question += " " + kept.path + " is kept as " + kept.name + ".";
    }
    complain(linesOf(plan.salvage.leftOut));
    if (!confirm(question)) {
        throw Failure(ExitCode::kFailed, "nothing was changed");
    }
}

bool isSame(const IniFile& one, const IniFile& other) {
    return one.state() == other.state() && one.text() == other.text();
}

/// Somebody else may have been at work while the question was open.
void demandSame(const FileGroup& seen, const FileGroup& now) {
    if (!isSame(seen.file, now.file) || !isSame(seen.copy, now.copy) ||
        !isSame(seen.setAside, now.setAside)) {
        throw Failure(ExitCode::kFailed, "nothing was changed: another program has written to " +
                                             now.file.path() + " meanwhile\n" +
                                             commandOn("recover", now.file.path()) +
                                             " shows what there is");
    }
}

Result report(const FileGroup& group, const IniFile& source, const Plan& plan, std::uint32_t crc,
              Format format) {
    Result result;
    result.code = plan.salvage.leftOut.empty() ? ExitCode::kDone : ExitCode::kFindings;
    if (format == Format::kText) {
        result.output = linesOf(plan.salvage.leftOut);
        result.output += visible(group.file.path() + ": " + countOf(plan.salvage.settings) +
                                 " from " + source.path() + ", CRC " + std::to_string(crc)) +
                         "\n";
        for (const Plan::Kept& kept : plan.kept) {
            result.output += visible(kept.name + ": " + kept.path + " as it was") + "\n";
        }
        return result;
    }
    Json json;
    addBytes(json, "file", group.file.path());
    addBytes(json, "from", source.path());
    json["settings"] = plan.salvage.settings;
    json["crc"] = crc;
    json["kept"] = Json::array();
    for (const Plan::Kept& kept : plan.kept) {
        Json row;
        addBytes(row, "file", kept.path);
        addBytes(row, "as", kept.name);
        json["kept"].push_back(row);
    }
    json["leftOut"] = jsonOf(plan.salvage.leftOut);
    result.output = textOfJson(json);
    return result;
}

}  // namespace

Result restore(const RestoreOptions& options, const std::string& marker, Format format) {
    demandNoReset(marker);
    const FileGroup seen = groupAt(options.path);
    const Plan seenPlan = planOf(seen, sourceIn(seen, options.from));
    if (seen.file.role() == IniFile::Role::kDefaults) {
        throw Failure(ExitCode::kFailed, options.path + " is a defaults file, which nobody writes");
    }
    if (!options.confirmed && !canAsk()) {
        throw Failure(ExitCode::kUsage,
                      "recover --from needs --yes where nobody can be asked; nothing was changed");
    }
    if (!options.confirmed) {
        demandConfirmation(seen, sourceIn(seen, options.from), seenPlan);
    }
    const files::DirectoryLock lock(files::directoryOf(options.path),
                                    files::DirectoryLock::Mode::kExclusive);
    const FileGroup group = groupAt(options.path);
    demandSame(seen, group);
    demandNoReset(marker);
    const IniFile& source = sourceIn(group, options.from);
    const Plan plan = planOf(group, source);
    for (const Plan::Kept& kept : plan.kept) {
        keep(kept.path, kept.name, lock);
    }
    const std::uint32_t crc = replace({group, plan.salvage.text, source.path()}, lock);
    return report(group, source, plan, crc, format);
}

}  // namespace t8settings
