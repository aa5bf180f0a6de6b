#ifndef T8SETTINGS_TEXTOFVALUE_H
#define T8SETTINGS_TEXTOFVALUE_H

#include <boost/any.hpp>
#include <optional>
#include <string>

#include "store/Store.h"

namespace t8settings {

/// A value and its text in the form of the files.
struct Value {
    boost::any value;
    std::string fileText;
};

/// Type name, "," and text of a setting, as a save writes them.
std::string typeAndTextOf(const SettingPtr& setting, const FactoryPtr& factory);

/// The text that people read and write for a value: the form of the files, except for a string,
/// which is simply itself.
std::string textForPeople(const std::string& type, const std::string& fileText);

/// The opposite: the text in the form of the files for one that people write.
std::string fileTextOf(const std::string& type, const std::string& text);

/// What becomes of a text that does not mean what it says to its type.
struct Outcome {
    bool lost;          ///< the type cannot read it at all
    std::string text;   ///< such as: it would make "44" of it
    std::string takes;  ///< what the type takes in the place that is wrong
};

/// What becomes of `fileText`, the text of a setting in the form of the files; nothing when it is
/// read as it is meant, and once more after a save.
std::optional<Outcome> outcomeOf(const FactoryPtr& factory, const std::string& type,
                                 const std::string& name, const std::string& fileText);

/// Type name, "," and text of what a load makes of a setting whose text a save has written; nothing
/// when its type refuses it.
std::optional<std::string> readFromFile(const FactoryPtr& factory, const std::string& type,
                                        const std::string& name, const std::string& fileText);

/// The value that `text`, as people write it, means for a setting of this type. Throws `Failure`
/// when the type, or the file, would make something else of it.
Value valueOf(const FactoryPtr& factory, const std::string& type, const std::string& name,
              const std::string& text);

}  // namespace t8settings

#endif
