#include "check/KnownDefaults.h"

#include <algorithm>

#include "store/Files.h"
#include "values/CanonicalNumber.h"

namespace t8settings {

namespace {

using Kind = Qel::Settings::text::IniLine::Kind;

KnownDefaults knownIn(const IniFile& defaults) {
    KnownDefaults known;
    if (!defaults.accepted()) {
        return known;
    }
    known.path = defaults.path();
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

}  // namespace

bool KnownDefaults::isSectionAtEndOf(std::string_view text, std::string_view inForce) const {
    const auto isOther = [&](std::string_view name) {
        return name != inForce && sections.count(name) != 0;
    };
    const std::size_t bracket = text.find_last_of("[]");
    const bool isOpened = bracket != std::string_view::npos && text[bracket] == '[';
    const std::size_t shortest = isOpened ? trimmed(text.substr(bracket + 1)).size() : 0;
    text = trimmed(text);
    return std::any_of(
        sectionLengths.lower_bound(shortest), sectionLengths.end(), [&](std::size_t length) {
            return length <= text.size() && isOther(text.substr(text.size() - length));
        });
}

std::string KnownDefaults::sectionOf(const IniFile::Line& setting) const {
    const std::size_t root = storageName.size() + 1;
    const std::size_t around = root + setting.key.size() + 1;
    return setting.name.size() > around ? setting.name.substr(root, setting.name.size() - around)
                                        : "";
}

KnownDefaults knownDefaultsFor(const IniFile& file) {
    const std::string path = defaultsBeside(file.path());
    return file.role() == IniFile::Role::kDefaults || path.empty() ? KnownDefaults()
                                                                   : knownIn(iniFileAt(path));
}

KnownDefaults knownDefaultsBelow(const std::string& base, const std::string& storageName) {
    for (const StorageFiles& files : storagesInSight(base)) {
        if (files.defaults.empty() || files.isXml()) {
            continue;
        }
        const IniFile defaults = iniFileAt(files.defaults);
        if (defaults.storageName() == storageName) {
            return knownIn(defaults);
        }
    }
    return {};
}

}  // namespace t8settings
