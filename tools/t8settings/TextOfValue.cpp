#include "TextOfValue.h"

#include <Qel/Settings/StrConv.h>

#include "CanonicalNumber.h"
#include "Exit.h"
#include "Meaning.h"
#include "Terminal.h"
#include "Types.h"

namespace t8settings {

namespace {

using Qel::Settings::TypeDescription;

constexpr const char* kString = "string";

/// The text that comes back for one that was written to a line of a file.
std::string readBack(const std::string& fileText) {
    return std::string(trimmed(fileText.substr(0, fileText.find('\n'))));
}

/// What a load makes of the text; empty when the type refuses it.
SettingPtr created(const FactoryPtr& factory, const std::string& type, const std::string& name,
                   const std::string& fileText) {
    return factory->create(type, name, readBack(fileText));
}

}  // namespace

std::string textForPeople(const std::string& type, const std::string& fileText) {
    return type == kString ? Qel::Settings::StrConv::unescapeString(fileText) : fileText;
}

std::string fileTextOf(const std::string& type, const std::string& text) {
    return type == kString ? Qel::Settings::StrConv::escapeString(text) : text;
}

namespace {

/// What `given` becomes: the setting that is made of it, or why that would not be as meant.
struct Made {
    SettingPtr setting;
    std::string fileText;
    std::optional<Outcome> outcome;
};

Made make(const FactoryPtr& factory, const std::string& type, const std::string& name,
          const std::string& given) {
    const TypeDescription& description = typeCalled(type);
    const Meaning meaning = meaningOf(description, given);
    const SettingPtr setting = created(factory, type, name, given);
    if (!setting) {
        return {setting, "", Outcome{true, "it cannot be read", difference(meaning, {})}};
    }
    const std::string fileText = factory->valueAsString(setting);
    const std::string amiss = difference(meaning, meaningOf(description, fileText));
    if (!amiss.empty()) {
        const std::string shown = inQuotes(textForPeople(type, fileText));
        return {setting, fileText, Outcome{false, "it would make " + shown + " of it", amiss}};
    }
    const SettingPtr loaded = created(factory, type, name, fileText);
    const std::string loadedText = loaded ? factory->valueAsString(loaded) : "";
    if (loadedText != fileText) {
        const std::string shown = inQuotes(textForPeople(type, loadedText));
        return {setting, fileText,
                Outcome{false, "it would read " + shown + " from the file again",
                        textsOf(description)}};
    }
    return {setting, fileText, std::nullopt};
}

/// The empty text stands for a default there; somebody who types a value means none by it.
bool isDefault(const TypeDescription& type, const std::string& fileText) {
    return fileText.empty() && (type.kind == TypeDescription::Kind::kEnumeration ||
                                type.kind == TypeDescription::Kind::kRecord);
}

}  // namespace

std::optional<Outcome> outcomeOf(const FactoryPtr& factory, const std::string& type,
                                 const std::string& name, const std::string& fileText) {
    return isDefault(typeCalled(type), fileText) ? std::nullopt
                                                 : make(factory, type, name, fileText).outcome;
}

Value valueOf(const FactoryPtr& factory, const std::string& type, const std::string& name,
              const std::string& text) {
    const Made made = make(factory, type, name, fileTextOf(type, text));
    if (made.outcome) {
        throw Failure(ExitCode::kFailed, name + " is unchanged: " + type + " would not keep " +
                                             inQuotes(text) + ", " + made.outcome->text + "\n" +
                                             made.outcome->takes);
    }
    return {made.setting->value(), made.fileText};
}

}  // namespace t8settings
