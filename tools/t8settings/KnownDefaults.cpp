#include "KnownDefaults.h"

#include "Files.h"

namespace t8settings {

namespace {

using Kind = Qel::Settings::text::IniLine::Kind;

}  // namespace

KnownDefaults knownDefaultsFor(const IniFile& file) {
    KnownDefaults known;
    const std::string path = defaultsBeside(file.path());
    if (file.role() == IniFile::Role::kDefaults || path.empty()) {
        return known;
    }
    const IniFile defaults = iniFileAt(path);
    if (!defaults.accepted()) {
        return known;
    }
    known.path = path;
    known.storageName = defaults.storageName();
    for (const IniFile::Line& line : defaults.lines()) {
        if (line.kind == Kind::Setting) {
            known.settings.insert_or_assign(line.name, line);
        } else if (line.kind == Kind::Section) {
            known.sections.insert(line.key);
        }
    }
    return known;
}

}  // namespace t8settings
