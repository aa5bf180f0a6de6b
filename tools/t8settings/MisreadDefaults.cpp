#include "MisreadDefaults.h"

#include <cstddef>

#include "Exit.h"
#include "Files.h"
#include "LoadOutcome.h"
#include "Shell.h"

namespace t8settings {

void MisreadDefaults::demandNone(const std::string& path, const std::string& name) {
    auto known = known_.find(path);
    if (known == known_.end()) {
        known = known_.emplace(path, findingsIn(path)).first;
    }
    const auto found = known->second.find(name);
    if (found != known->second.end()) {
        throw Failure(ExitCode::kFailed, textOf(found->second) +
                                             "\nmend that line, or say a value: " +
                                             commandOnName("set", name) + " TEXT");
    }
}

MisreadDefaults::Findings MisreadDefaults::findingsIn(const std::string& path) const {
    Findings findings;
    if (!isIni(path)) {
        return findings;
    }
    const FileGroup group = groupAt(path);
    const IniFile* const taken = takenByLoad(group);
    if (taken == nullptr) {
        return findings;
    }
    std::map<std::size_t, std::string> names;
    for (const IniFile::Line& line : taken->lines()) {
        if (line.kind == Qel::Settings::text::IniLine::Kind::Setting) {
            names[line.number] = line.name;
        }
    }
    for (const FileFinding& finding : findingsInLinesOf(*taken, factory_)) {
        const Harm harm = finding.finding.harm;
        const auto name = names.find(finding.finding.line);
        if ((harm == Harm::kLost || harm == Harm::kChanged) && name != names.end()) {
            findings.emplace(name->second, finding);
        }
    }
    return findings;
}

}  // namespace t8settings
