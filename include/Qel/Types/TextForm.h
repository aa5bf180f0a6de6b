#ifndef QEL_TYPES_TEXTFORM_H
#define QEL_TYPES_TEXTFORM_H

#include <string>

#include "Qel/Settings/Export.h"
#include "Qel/Settings/StrConv.h"
#include "Qel/Settings/TypeDescription.h"

namespace Qel {
namespace Settings {

/// What a type with a text form is made of. A record has no name here: it is called what it is
/// registered under, if at all.
template <class T>
TypeDescription describeType();

}  // namespace Settings
}  // namespace Qel

/// Declares that values of `Type` have a text form, which the library defines. Stands behind the
/// type in its header, outside of any namespace.
// A type cannot stand in parentheses.
// NOLINTBEGIN(bugprone-macro-parentheses)
#define QEL_TEXT_FORM(Type)                                                                   \
    namespace Qel {                                                                           \
    namespace Settings {                                                                      \
    template <>                                                                               \
    QEL_SETTINGS_EXPORT std::string StrConv::toString<Type>(const Type& value);               \
    template <>                                                                               \
    QEL_SETTINGS_EXPORT bool StrConv::fromString<Type>(const std::string& text, Type& value); \
    template <>                                                                               \
    QEL_SETTINGS_EXPORT TypeDescription describeType<Type>();                                 \
    }                                                                                         \
    }
// NOLINTEND(bugprone-macro-parentheses)

#endif
