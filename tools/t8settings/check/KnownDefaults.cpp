#include "check/KnownDefaults.h"

#include <algorithm>

#include "store/Files.h"

namespace t8settings {

namespace {

using Kind = Qel::Settings::text::IniLine::Kind;

}  // namespace

bool KnownDefaults::isSectionAtEndOf(std::string_view text) const {
    return std::any_of(sectionLengths.begin(), sectionLengths.end(), [&](std::size_t length) {
        return length <= text.size() &&
               sections.count(std::string(text.substr(text.size() - length))) != 0;
    });
}

std::string KnownDefaults::sectionOf(const IniFile::Line& setting) const {
    const std::size_t root = storageName.size() + 1;
    const std::size_t around = root + setting.key.size() + 1;
    return setting.name.size() > around ? setting.name.substr(root, setting.name.size() - around)
                                        : "";
}

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
            known.sectionLengths.insert(line.key.size());
        }
    }
    return known;
}

}  // namespace t8settings
