#include "change/Foresight.h"

#include <Qel/Settings/SettingStorageInifile.h>
#include <algorithm>
#include <string_view>

#include "change/FileOnDisk.h"
#include "console/Terminal.h"
#include "text/IniPlaces.h"
#include "values/TextOfValue.h"

namespace t8settings {

namespace {

namespace text = Qel::Settings::text;

using Qel::Settings::SettingStorageFileBase;
using Qel::Settings::SettingStorageInifile;
using Sections = text::SectionsInOrder::Sections;

/// A setting that does not come back under its name.
struct Lapse {
    std::string name;
    std::string what;  ///< what becomes of it, and why
    std::string remedy;
};

/// What a load of a file gives.
struct Loaded {
    SettingTexts texts;
    std::map<std::string, Lapse> lapses;  ///< by the names of all whom they may cost something
    SettingTexts byDefault;               ///< when something is missing in `texts`
};

/// Why a name does not come back, and what is to be done.
struct Reason {
    const char* why;
    const char* remedy;
};

constexpr Reason kWithoutSection = {"it has no section and sorts after one that has",
                                    "give it a section"};
constexpr Reason kOfAnotherStorage = {"its files give the storage two names",
                                      "give both the same #name"};
constexpr Reason kOfBlanks = {"white space at the ends of a key is cut off",
                              "take it out of the name"};
/// Behind the remedy of a name that the defaults have too.
constexpr const char* kInDefaultsToo = ", in the defaults file too";
constexpr const char* kAnotherKey = "begin the key with another character";
constexpr const char* kAnotherText =
    "set it to a text that lasts; load does so with several at once";

Sections sectionsOf(const SettingStorageFileBase& storage) {
    const auto* const file = dynamic_cast<const SettingStorageInifile*>(&storage);
    const auto sections = file == nullptr ? std::vector<std::string>() : file->sections();
    return {sections.begin(), sections.end()};
}

/// The lines of a save, one after the other, as a load reads them.
class LinesReadBack {
public:
    LinesReadBack(std::string root, const FactoryPtr& factory)
        : root_(std::move(root)), section_(root_), factory_(factory) {}

    void add(std::string_view prefix, const std::string& name, const std::string& typeAndText) {
        const std::string_view key = std::string_view(name).substr(prefix.size());
        if (const char* const reason = text::reasonToLeaveOut(name, key, whiteSpace_)) {
            loaded_.lapses[name] = {name, std::string("is left out, as ") + reason, kAnotherKey};
            return;
        }
        startSection(prefix);
        std::string line = std::string(key) + " = " + typeAndText;
        line.resize(std::min(line.find('\n'), line.size()));
        const text::IniLine setting = text::parseLine(whiteSpace_.trim(line), whiteSpace_);
        const std::string given = section_ + std::string(setting.key);
        const auto back =
            readFromFile(factory_, std::string(setting.type), given, std::string(setting.value));
        if (back) {
            loaded_.texts.insert_or_assign(given, *back);
        }
        if (given != name) {
            const Reason& reason = !text::startsWith(name, root_) ? kOfAnotherStorage
                                   : prefix == root_              ? kWithoutSection
                                                                  : kOfBlanks;
            const Lapse lapse = {name, "is read as " + given + ", as " + reason.why, reason.remedy};
            loaded_.lapses[name] = loaded_.lapses[given] = lapse;
        }
    }

    const Loaded& loaded() const { return loaded_; }

private:
    /// "[]" opens no section.
    void startSection(std::string_view prefix) {
        std::string_view section = prefix;
        section.remove_prefix(text::startsWith(prefix, root_) ? root_.size() : 0);
        section.remove_suffix(section.empty() ? 0 : 1);
        section = whiteSpace_.trim(section);
        if (!section.empty()) {
            section_ = root_ + std::string(section) + "/";
        }
    }

    std::string root_;
    std::string section_;
    const FactoryPtr& factory_;
    text::WhiteSpace whiteSpace_;
    Loaded loaded_;
};

Loaded loadedAfterSave(const SettingStorageFileBase& storage, const SettingTexts& texts,
                       const FactoryPtr& factory) {
    const std::string root = storage.name() + "/";
    const Sections all = sectionsOf(storage);
    text::SectionsInOrder sections(all);
    LinesReadBack lines(root, factory);
    for (const auto& [name, typeAndText] : texts) {
        lines.add(text::prefixOf(name, sections.longestOf(name), root), name, typeAndText);
    }
    return lines.loaded();
}

/// They are looked into when something is missing.
SettingTexts defaultsFor(const SettingStorageFileBase& storage, const SettingTexts& wanted,
                         const FactoryPtr& factory, const SettingTexts& loaded) {
    const bool isWhole = std::all_of(wanted.begin(), wanted.end(), [&loaded](const auto& setting) {
        return loaded.count(setting.first) != 0;
    });
    return isWhole || storage.filename() == nullptr || storage.filename()->empty()
               ? SettingTexts()
               : FileOnDisk(storage, *storage.filename(), factory).settings();
}

std::string textIn(const SettingTexts& texts, const std::string& name) {
    const auto found = texts.find(name);
    return found == texts.end() ? "nothing" : inQuotes(found->second);
}

/// What becomes of the setting, after this beginning.
Loss lossOf(const std::string& name, const std::string& beginning, const Loaded& loaded) {
    const auto found = loaded.lapses.find(name);
    if (found == loaded.lapses.end()) {
        return {name, beginning, kAnotherText, false};
    }
    const Lapse& lapse = found->second;
    const bool isOfDefaults =
        lapse.remedy == kWithoutSection.remedy && loaded.byDefault.count(lapse.name) != 0;
    return {name, beginning + ": " + (lapse.name == name ? "it" : lapse.name) + " " + lapse.what,
            lapse.remedy + (isOfDefaults ? kInDefaultsToo : ""), true};
}

std::vector<std::string> addedBy(const Loaded& loaded, const SettingTexts& wanted) {
    std::vector<std::string> added;
    for (const auto& setting : loaded.texts) {
        if (wanted.count(setting.first) == 0) {
            const std::string beginning = "a save adds " + setting.first;
            added.push_back(textOf(lossOf(setting.first, beginning, loaded)));
        }
    }
    return added;
}

}  // namespace

std::string textOf(const Loss& loss) {
    return loss.reason + (loss.isOfName ? "; " : ": ") + loss.remedy;
}

SettingTexts textsOf(const SettingStorageFileBase& storage, const FactoryPtr& factory) {
    SettingTexts texts;
    for (const SettingPtr& setting : storage.snapshot()) {
        texts.emplace(setting->name(), typeAndTextOf(setting, factory));
    }
    return texts;
}

Foresight foreseen(const SettingStorageFileBase& storage, const SettingTexts& texts,
                   const FactoryPtr& factory) {
    Loaded loaded = loadedAfterSave(storage, texts, factory);
    loaded.byDefault = defaultsFor(storage, texts, factory, loaded.texts);
    Foresight foresight = {{}, addedBy(loaded, texts), {}};
    for (const auto& setting : texts) {
        if (loaded.texts.count(setting.first) == 0) {
            foresight.withoutLine.insert(setting.first);
        }
    }
    // A load takes the defaults first.
    loaded.texts.insert(loaded.byDefault.begin(), loaded.byDefault.end());
    for (const auto& setting : texts) {
        const std::string comesBack = textIn(loaded.texts, setting.first);
        if (comesBack != inQuotes(setting.second)) {
            const std::string beginning = setting.first + " comes back as " + comesBack +
                                          " in place of " + inQuotes(setting.second);
            foresight.losses.push_back(lossOf(setting.first, beginning, loaded));
        }
    }
    return foresight;
}

}  // namespace t8settings
