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

}  // namespace

std::string textForPeople(const std::string& type, const std::string& fileText) {
    return type == kString ? Qel::Settings::StrConv::unescapeString(fileText) : fileText;
}

Value valueOf(const FactoryPtr& factory, const std::string& type, const std::string& name,
              const std::string& text) {
    const TypeDescription& description = typeCalled(type);
    const std::string given = type == kString ? Qel::Settings::StrConv::escapeString(text) : text;
    const Meaning meaning = meaningOf(description, given);
    const auto refuse = [&](const std::string& outcome, const std::string& takes) {
        throw Failure(ExitCode::kFailed, name + " is unchanged: " + type + " would not keep " +
                                             inQuotes(text) + ", " + outcome + "\n" + takes);
    };
    const SettingPtr made = factory->create(type, name, readBack(given));
    if (!made) {
        refuse("it cannot be read", difference(meaning, {}));
    }
    const std::string fileText = factory->valueAsString(made);
    const std::string amiss = difference(meaning, meaningOf(description, fileText));
    if (!amiss.empty()) {
        refuse("it would make " + inQuotes(textForPeople(type, fileText)) + " of it", amiss);
    }
    const SettingPtr loaded = factory->create(type, name, readBack(fileText));
    const std::string loadedText = loaded ? factory->valueAsString(loaded) : "";
    if (loadedText != fileText) {
        refuse(
            "it would read " + inQuotes(textForPeople(type, loadedText)) + " from the file again",
            textsOf(description));
    }
    return {made->value(), fileText};
}

}  // namespace t8settings
