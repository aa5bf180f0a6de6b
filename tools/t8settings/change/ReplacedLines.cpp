#include "change/ReplacedLines.h"

#include <algorithm>

#include "check/Strays.h"
#include "check/Swallowed.h"

namespace t8settings {

namespace {

using Kind = Qel::Settings::text::IniLine::Kind;

constexpr const char* kBehindKey = "= \t,";

}  // namespace

ReplacedLines::ReplacedLines(const IniFile& file, const std::set<std::string>& byDefault,
                             const FactoryPtr& factory)
    : byDefault_(byDefault), factory_(factory), root_(file.storageName() + "/") {
    for (const std::string& name : byDefault) {
        prefixes_.insert(name.substr(0, name.rfind('/') + 1));
    }
    const StrayLines strays = strayLines(file, factory);
    std::string prefix = root_;
    for (const IniFile::Line& line : file.lines()) {
        if (line.kind == Kind::Section) {
            prefix = root_ + line.key + "/";
        }
        places_[line.number] = {&line, prefix};
        if (line.kind == Kind::Setting) {
            ++timesGiven_[line.name];
        }
        const auto stray = strays.find(line.number);
        if (stray != strays.end()) {
            strays_[stray->second].push_back(&line);
        }
    }
}

bool ReplacedLines::has(const Finding& finding) const {
    const auto found = places_.find(finding.line);
    if (found == places_.end()) {
        return false;
    }
    const IniFile::Line& line = *found->second.line;
    if (line.kind == Kind::Setting) {
        return isSettingReplaced(found->second);
    }
    if (line.kind == Kind::Malformed && strays_.count(line.number) == 0) {
        return isTextReplaced(found->second);
    }
    return (line.kind != Kind::Header || strays_.count(line.number) != 0) &&
           areStraysReplaced(line);
}

bool ReplacedLines::areByDefault(const std::string& prefix,
                                 const std::vector<std::string>& keys) const {
    return std::all_of(keys.begin(), keys.end(),
                       [&](const std::string& key) { return isByDefault(prefix + key); });
}

/// And whatever has run into it.
bool ReplacedLines::isSettingReplaced(const Place& place) const {
    const IniFile::Line& line = *place.line;
    return isByDefault(line.name) &&
           areByDefault(place.prefix, keysSwallowedIn(line.value, factory_)) &&
           (strays_.count(line.number) == 0 || areStraysReplaced(line));
}

/// It begins as a setting does.
bool ReplacedLines::isTextReplaced(const Place& place) const {
    const std::string& whole = place.line->whole;
    return isByDefault(place.prefix + whole.substr(0, whole.find_first_of(kBehindKey)));
}

/// A setting that is read as another one takes the place of that one, too.
bool ReplacedLines::areStraysReplaced(const IniFile::Line& section) const {
    std::vector<std::string> keys = section.kind == Kind::Setting
                                        ? std::vector<std::string>()
                                        : keysSwallowedIn(section.whole, factory_);
    const auto strays = strays_.find(section.number);
    if (strays != strays_.end()) {
        for (const IniFile::Line* const stray : strays->second) {
            if (timesGiven_.at(stray->name) > 1 && !isByDefault(stray->name)) {
                return false;
            }
            keys.push_back(stray->key);
        }
    }
    const std::vector<std::string> prefixes = prefixesMeantBy(section);
    return std::any_of(prefixes.begin(), prefixes.end(), [&](const std::string& prefix) {
        return !keys.empty() && areByDefault(prefix, keys);
    });
}

std::vector<std::string> ReplacedLines::prefixesMeantBy(const IniFile::Line& section) const {
    std::vector<std::string> meant;
    for (const std::string& prefix : prefixes_) {
        const bool isOfSection =
            prefix.size() > root_.size() && prefix.compare(0, root_.size(), root_) == 0;
        if (isOfSection ? section.whole.find(prefix.substr(
                              root_.size(), prefix.size() - root_.size() - 1)) != std::string::npos
                        : section.whole == "[]") {
            meant.push_back(prefix);
        }
    }
    return meant;
}

}  // namespace t8settings
