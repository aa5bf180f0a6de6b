#ifndef QEL_SETTINGS_TYPES_ENUMTEXT_H
#define QEL_SETTINGS_TYPES_ENUMTEXT_H

#include <iterator>
#include <string>
#include <string_view>
#include <type_traits>

#include "Qel/Types/TextForm.h"

namespace Qel {
namespace Settings {

struct Enumerator {
    int value;
    const char* text;
};

/// All that there is to know about the text form of an enumeration.
struct EnumTable {
    const char* typeName;
    const Enumerator* begin;
    const Enumerator* end;
    int emptyText;  ///< what an empty text stands for, and in a record any text without a meaning
};

/// The value of an enumerator's name or of a decimal number, which need not name an enumerator.
/// False for everything else, the empty text included; `value` is then the empty text's.
bool readEnum(const EnumTable& table, std::string_view text, int& value);

/// The name, or the decimal number of a value that has none.
std::string enumText(const EnumTable& table, int value);

TypeDescription describeEnum(const EnumTable& table);

/// Whether an enumeration can hold every number that a file may have. Only one that is declared as
/// `: int` can, and only one with a declared type can be initialised in braces: the compiler
/// chooses an int for others as well, and a number beyond their enumerators is undefined.
template <class E, class = void>
inline constexpr bool kHoldsEveryInt = false;
template <class E>
inline constexpr bool kHoldsEveryInt<E, std::void_t<decltype(E{0})>> =
    std::is_same<std::underlying_type_t<E>, int>::value;

}  // namespace Settings
}  // namespace Qel

/// One row of T8_ENUMERATION: files hold the enumerator's name.
#define T8_ENUMERATOR(name) \
    { E::name, #name }

/// The text form of an enumeration that its header has declared with QEL_TEXT_FORM: the type, its
/// name in files, the enumerator that an empty text stands for, and its rows.
#define T8_ENUMERATION(Type, typeName, emptyText, ...)                                  \
    namespace Qel {                                                                     \
    namespace Settings {                                                                \
    static const EnumTable& enumTable(Type) {                                           \
        using E = Type;                                                                 \
        static_assert(kHoldsEveryInt<E>,                                                \
                      "files may hold any int: declare the enumeration as `: int`");    \
        static constexpr Enumerator rows[] = {__VA_ARGS__};                             \
        static constexpr EnumTable table = {typeName, std::begin(rows), std::end(rows), \
                                            E::emptyText};                              \
        return table;                                                                   \
    }                                                                                   \
    template <>                                                                         \
    std::string StrConv::toString<Type>(const Type& value) {                            \
        return enumText(enumTable(value), value);                                       \
    }                                                                                   \
    template <>                                                                         \
    bool StrConv::fromString<Type>(const std::string& text, Type& value) {              \
        int number = 0;                                                                 \
        const bool read = readEnum(enumTable(value), text, number);                     \
        value = static_cast<Type>(number);                                              \
        return read;                                                                    \
    }                                                                                   \
    template <>                                                                         \
    TypeDescription describeType<Type>() {                                              \
        return describeEnum(enumTable(Type{}));                                         \
    }                                                                                   \
    }                                                                                   \
    }

#endif
