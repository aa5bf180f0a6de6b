#include "TextOfValue.h"

#include <Qel/Settings/StrConv.h>

#include "CanonicalNumber.h"
#include "CanonicalText.h"
#include "Exit.h"
#include "Terminal.h"

namespace t8settings {

namespace {

constexpr const char* kString = "string";

/// The text that comes back for one that was written to a line of a file.
std::string readBack(const std::string& fileText) {
    return std::string(trimmed(fileText.substr(0, fileText.find('\n'))));
}

[[noreturn]] void refuse(const std::string& type, const std::string& name, const std::string& text,
                         const std::string& outcome) {
    throw Failure(ExitCode::kFailed, name + " is unchanged: " + type + " would not keep " +
                                         inQuotes(text) + ", " + outcome + "\n" +
                                         textsOfType(type));
}

}  // namespace

std::string textForPeople(const std::string& type, const std::string& fileText) {
    return type == kString ? Qel::Settings::StrConv::unescapeString(fileText) : fileText;
}

Value valueOf(const FactoryPtr& factory, const std::string& type, const std::string& name,
              const std::string& text) {
    const std::string given = type == kString ? Qel::Settings::StrConv::escapeString(text) : text;
    const SettingPtr made = factory->create(type, name, readBack(given));
    if (!made) {
        refuse(type, name, text, "it cannot be read");
    }
    const std::string fileText = factory->valueAsString(made);
    const auto meaning = canonicalText(type, given);
    if (!meaning || meaning != canonicalText(type, fileText)) {
        refuse(type, name, text,
               "it would make " + inQuotes(textForPeople(type, fileText)) + " of it");
    }
    const SettingPtr loaded = factory->create(type, name, readBack(fileText));
    const std::string loadedText = loaded ? factory->valueAsString(loaded) : "";
    if (loadedText != fileText) {
        refuse(
            type, name, text,
            "it would read " + inQuotes(textForPeople(type, loadedText)) + " from the file again");
    }
    return {made->value(), fileText};
}

}  // namespace t8settings
