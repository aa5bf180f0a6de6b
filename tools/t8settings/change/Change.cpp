#include "change/Change.h"

namespace t8settings {

std::set<std::string> namesOf(const Changes& changes) {
    std::set<std::string> names;
    for (const Change& change : changes) {
        names.insert(change.setting->name());
    }
    return names;
}

bool isSaidBy(const SettingTexts& texts, const Change& change) {
    const auto found = texts.find(change.setting->name());
    return found != texts.end() && found->second == change.typeAndText;
}

}  // namespace t8settings
