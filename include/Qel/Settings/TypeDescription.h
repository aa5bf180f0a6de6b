#ifndef QEL_SETTINGS_TYPEDESCRIPTION_H
#define QEL_SETTINGS_TYPEDESCRIPTION_H

#include <string>
#include <vector>

namespace Qel {
namespace Settings {

/// What a registered type is made of, for tools and people.
struct TypeDescription {
    enum class Kind { kScalar, kEnumeration, kRecord, kArray, kMap };

    struct Enumerator {
        std::string text;
        int value;
    };

    struct Field {
        std::string name;
        /// A built-in type, or one of `fieldTypes`.
        std::string type;
        /// The text of the field in a record made from an empty text.
        std::string defaultText;
    };

    /// The type's name in settings files.
    std::string name;
    Kind kind = Kind::kScalar;
    /// Of an enumeration, or of the enumerations in an array or map, in the order of their table;
    /// otherwise empty.
    std::vector<Enumerator> enumerators;
    /// Of a record, or of the records in an array or map, in the order of their text; otherwise
    /// empty.
    std::vector<Field> fields;
    /// The types of `fields` that are no built-in types, each once. No setting need be of them.
    std::vector<TypeDescription> fieldTypes;
    /// Text of the value that an empty text stands for.
    std::string emptyText;
    /// Of a map, the built-in type of its keys; otherwise empty.
    std::string keyType;
    /// Of a map, the type of its values, of an array of its elements, as the collection's name says
    /// it; otherwise empty.
    std::string elementType;
};

}  // namespace Settings
}  // namespace Qel

#endif
