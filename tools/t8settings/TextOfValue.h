#ifndef T8SETTINGS_TEXTOFVALUE_H
#define T8SETTINGS_TEXTOFVALUE_H

#include <boost/any.hpp>
#include <string>

#include "Store.h"

namespace t8settings {

/// A value and its text in the form of the files.
struct Value {
    boost::any value;
    std::string fileText;
};

/// The text that people read and write for a value: the form of the files, except for a string,
/// which is simply itself.
std::string textForPeople(const std::string& type, const std::string& fileText);

/// The value that `text`, as people write it, means for a setting of this type. Throws `Failure`
/// when the type, or the file, would make something else of it.
Value valueOf(const FactoryPtr& factory, const std::string& type, const std::string& name,
              const std::string& text);

}  // namespace t8settings

#endif
