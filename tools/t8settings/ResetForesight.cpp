#include "ResetForesight.h"

#include <Qel/Settings/SettingStorageInifile.h>
#include <exception>
#include <filesystem>

#include "Files.h"
#include "Foresight.h"
#include "Lasting.h"
#include "LibraryLog.h"
#include "LoadOutcome.h"

namespace t8settings {

namespace {

using Kind = Qel::Settings::text::IniLine::Kind;
using Qel::Settings::SettingStorageInifile;

/// Goes the way of a storage that is reset: what the files give, and over it the defaults once
/// more, with the name that these give it.
void loadAndReset(SettingStorageInifile& storage) {
    const std::string defaults = *storage.filename();
    for (const std::string& path : {defaults, *storage.rwFilename(), defaults}) {
        try {
            storage.loadFile(path);
        } catch (const std::exception&) {
            // Whoever came up with the store knows why, and goes by the other file.
            continue;
        }
    }
}

/// The line that gives the setting its value, of the files that a load takes.
FileFinding findingOn(const Loss& loss, const FileGroup& group, const std::string& defaultsPath) {
    const IniFile defaults = iniFileAt(defaultsPath);
    FileFinding finding = {group.file.path(), {0, Harm::kMoved, loss.reason, loss.remedy}};
    for (const IniFile* const file : {&defaults, takenByLoad(group)}) {
        for (std::size_t i = 0; file != nullptr && i < file->lines().size(); ++i) {
            const IniFile::Line& line = file->lines()[i];
            if (line.kind == Kind::Setting && line.name == loss.name) {
                finding.path = file->path();
                finding.finding.line = line.number;
            }
        }
    }
    return finding;
}

void add(const SettingStorageInifile& storage, const FactoryPtr& factory, ResetForesight& all) {
    SettingStorageInifile after(std::filesystem::path(*storage.filename()).stem().string(),
                                *storage.filename(), *storage.rwFilename(), factory,
                                SettingStorageInifile::Save_onDemand);
    loadAndReset(after);
    const FileGroup group = groupAt(*storage.rwFilename());
    bool isOfItsFile = false;
    for (const Loss& loss : foreseen(after, textsOf(after, factory), factory).losses) {
        if (loss.isOfName) {
            all.renamed.push_back(findingOn(loss, group, *storage.filename()));
            isOfItsFile = isOfItsFile || all.renamed.back().path != *storage.filename();
        }
    }
    if (isOfItsFile) {
        all.remedies.push_back(remedyForLasting(group));
    }
}

}  // namespace

ResetForesight foreseenOfReset(const std::vector<StoragePtr>& storages, const FactoryPtr& factory) {
    const LibraryMessagesDropped dropped;
    ResetForesight all;
    for (const StoragePtr& storage : storages) {
        if (const auto* const file = dynamic_cast<const SettingStorageInifile*>(storage.get())) {
            add(*file, factory, all);
        }
    }
    return all;
}

}  // namespace t8settings
