#include "values/TextOfValue.h"

#include <Qel/Settings/StrConv.h>
#include <cstddef>
#include <string_view>

#include "console/Exit.h"
#include "console/Terminal.h"
#include "values/CanonicalNumber.h"
#include "values/Meaning.h"
#include "values/Types.h"

namespace t8settings {

namespace {

using Qel::Settings::TypeDescription;
namespace StrConv = Qel::Settings::StrConv;

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

/// What a line of a file does not keep of the text.
std::string lossInFile(const std::string& fileText) {
    if (fileText.find('\n') != std::string::npos) {
        return "; a file ends the text at its first line feed";
    }
    return readBack(fileText) == fileText ? ""
                                          : "; a file cuts off the blanks at the ends of the text";
}

/// What of the text is not in the value that a file with that text gives, and why; empty when all
/// is.
std::string amissIn(const FactoryPtr& factory, const TypeDescription& type,
                    const std::string& fileText, const SettingPtr& loaded) {
    const Meaning meaning = meaningOf(type, fileText);
    const auto differenceTo = [&](const SettingPtr& made) {
        return difference(meaning,
                          made ? meaningOf(type, factory->valueAsString(made)) : Meaning());
    };
    const std::string amiss = differenceTo(loaded);
    if (amiss.empty()) {
        return "";
    }
    const bool typeKeepsAll = differenceTo(factory->create(type.name, "", fileText)).empty();
    return typeKeepsAll ? amiss + lossInFile(fileText) : amiss;
}

/// What a text becomes: the setting that is made of it, or why that would not be as meant.
struct Made {
    SettingPtr setting;
    std::string fileText;
    std::optional<Outcome> outcome;
};

/// `given` says what the text in the file means.
Made make(const FactoryPtr& factory, const std::string& type, const std::string& name,
          const std::string& given, const std::string& inFile) {
    const TypeDescription& description = typeCalled(type);
    const SettingPtr setting = created(factory, type, name, inFile);
    const std::string amiss = amissIn(factory, description, given, setting);
    if (!setting) {
        return {setting, "", Outcome{true, "it cannot be read", amiss}};
    }
    const std::string fileText = factory->valueAsString(setting);
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
                        amissIn(factory, description, fileText, loaded)}};
    }
    return {setting, fileText, std::nullopt};
}

/// The empty text stands for a default there; somebody who types a value means none by it.
bool isDefault(const TypeDescription& type, const std::string& fileText) {
    return fileText.empty() && (type.kind == TypeDescription::Kind::kEnumeration ||
                                type.kind == TypeDescription::Kind::kRecord);
}

/// Whether a backslash at the end has nothing to escape and is dropped.
bool endsInBackslash(std::string_view fileText) {
    const bool enclosed = fileText.size() >= 2 && fileText.front() == '"' && fileText.back() == '"';
    fileText.remove_suffix(enclosed ? 1 : 0);
    const std::size_t last = fileText.find_last_not_of('\\');
    return (fileText.size() - (last + 1)) % 2 == 1;
}

}  // namespace

std::string typeAndTextOf(const SettingPtr& setting, const FactoryPtr& factory) {
    return factory->typeAsString(setting) + "," + factory->valueAsString(setting);
}

std::string textForPeople(const std::string& type, const std::string& fileText) {
    return type == kString ? StrConv::unescapeString(fileText) : fileText;
}

std::string fileTextOf(const std::string& type, const std::string& text) {
    return type == kString ? StrConv::escapeString(text) : text;
}

std::optional<Outcome> outcomeOf(const FactoryPtr& factory, const std::string& type,
                                 const std::string& name, const std::string& fileText) {
    if (isDefault(typeCalled(type), fileText)) {
        return std::nullopt;
    }
    // A quote that nobody has escaped stands for itself.
    const std::string given = type == kString && !endsInBackslash(fileText)
                                  ? StrConv::escapeString(StrConv::unescapeString(fileText))
                                  : fileText;
    return make(factory, type, name, given, fileText).outcome;
}

std::optional<std::string> readFromFile(const FactoryPtr& factory, const std::string& type,
                                        const std::string& name, const std::string& fileText) {
    const SettingPtr setting = created(factory, type, name, fileText);
    return setting ? std::optional(typeAndTextOf(setting, factory)) : std::nullopt;
}

Value valueOf(const FactoryPtr& factory, const std::string& type, const std::string& name,
              const std::string& text) {
    const std::string given = fileTextOf(type, text);
    const Made made = make(factory, type, name, given, given);
    if (made.outcome) {
        throw Failure(ExitCode::kFailed, name + " is unchanged: " + type + " would not keep " +
                                             inQuotes(text) + ", " + made.outcome->text + "\n" +
                                             made.outcome->takes);
    }
    return {made.setting->value(), made.fileText};
}

}  // namespace t8settings
