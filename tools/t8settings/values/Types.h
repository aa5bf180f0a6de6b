#ifndef T8SETTINGS_TYPES_H
#define T8SETTINGS_TYPES_H

#include <Qel/Settings/TypeDescription.h>
#include <string>
#include <vector>

#include "store/Store.h"

namespace t8settings {

/// The type that is registered under this name, that fields of records, or the elements, keys or
/// values of collections are of; keys also as the name of the map spells them. Throws `Failure`,
/// with names that may have been meant, when there is none.
const Qel::Settings::TypeDescription& typeCalled(const std::string& name);

/// The names of all that it knows.
std::vector<std::string> namesOfTypes();

/// The television's types in force, for texts of settings that nobody has loaded.
const FactoryPtr& typesInForce();

/// Of an array the type of its elements, of a map that of its values.
Qel::Settings::TypeDescription elementOf(const Qel::Settings::TypeDescription& collection);

/// "scalar", "enumeration", "record", "array" or "map".
std::string kindOf(const Qel::Settings::TypeDescription& type);

/// What the type is made of, in a few words.
std::string summaryOf(const Qel::Settings::TypeDescription& type);

/// What texts the type takes, for people, without the type's name.
std::string takesOf(const Qel::Settings::TypeDescription& type);

/// That the type of this name takes these texts, for people.
std::string textsOf(const Qel::Settings::TypeDescription& type);

/// What a list takes as a field of a record, for people.
std::string textsOfListField();

}  // namespace t8settings

#endif
