#ifndef QEL_SETTINGS_TYPES_RECORDTEXT_H
#define QEL_SETTINGS_TYPES_RECORDTEXT_H

#include <bitset>
#include <cstddef>
#include <string>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include "Qel/Types/TextForm.h"
#include "text/FieldReader.h"
#include "types/BuiltInTypes.h"

namespace Qel {
namespace Settings {

template <class Record, class Value>
struct Field {
    const char* name;
    Value Record::*member;
};

/// The fields of a record in the order of its text, as `static constexpr` tuple `list`; specialised
/// by T8_RECORD beside the type.
template <class Record>
struct RecordFields;

namespace record {

using Flags = std::bitset<7>;
using List = std::vector<std::string>;

template <class Value, class... Other>
inline constexpr bool kIsOneOf = (std::is_same<Value, Other>::value || ...);

/// Numbers that have no type name in files are left out, since tools could not be told of them. A
/// `char` would be written as it is, even a comma, and so would the commas of a record.
template <class Value>
inline constexpr bool kIsFieldType =
    std::is_enum<Value>::value ||
    kIsOneOf<Value, bool, signed char, unsigned char, short, unsigned short, int, unsigned int,
             long, long long, unsigned long long, float, double, std::string, Flags, List>;

/// A list is read to the end of the text.
template <class... Value>
constexpr bool isListOnlyLast() {
    constexpr bool kIsList[] = {std::is_same<Value, List>::value...};
    for (std::size_t i = 0; i + 1 < sizeof...(Value); ++i) {
        if (kIsList[i]) {
            return false;
        }
    }
    return true;
}

template <class Record, class Value>
constexpr Field<Record, Value> field(const char* name, Value Record::*member) {
    static_assert(kIsFieldType<Value>, "a type that a record's text cannot hold");
    return {name, member};
}

template <class Record, class... Value>
constexpr std::tuple<Field<Record, Value>...> fieldList(Field<Record, Value>... fields) {
    static_assert(sizeof...(Value) > 1, "the empty text is not to be the text of a value");
    static_assert(isListOnlyLast<Value...>(), "a list is the last field");
    return {fields...};
}

/// Seven times "0" or "1", highest flag first. Text that begins otherwise leaves the flags alone.
void readFlags(const std::string& text, Flags& flags);

TypeDescription describeFlags();

/// The list of strings that ends a record: length of its text, comma, the strings joined by ";".
void appendList(std::string& out, const List& list);
List readList(std::string_view text);

template <class Value>
void append(std::string& out, const Value& value) {
    if constexpr (std::is_same<Value, List>::value) {
        appendList(out, value);
    } else if constexpr (std::is_same<Value, Flags>::value) {
        out += value.to_string();
    } else {
        StrConv::detail::append(out, value);
    }
}

template <class Value>
bool read(text::FieldReader& reader, std::string& token, Value& value) {
    if constexpr (std::is_same<Value, List>::value) {
        value = readList(reader.rest());
        return true;
    } else {
        if (!reader.next(token)) {
            return false;
        }
        if constexpr (std::is_same<Value, Flags>::value) {
            readFlags(token, value);
        } else if constexpr (StrConv::detail::kIsBuiltIn<Value>) {
            value = StrConv::detail::readBuiltIn<Value>(token);
        } else {
            // Within a record a text without a meaning gives the value of the empty text.
            StrConv::fromString<Value>(token, value);
        }
        return true;
    }
}

/// Adds the type of a field to the record's description, and gives its name.
template <class Value>
std::string describeFieldType(TypeDescription& record) {
    TypeDescription type;
    if constexpr (std::is_enum<Value>::value) {
        type = describeType<Value>();
    } else if constexpr (std::is_same<Value, Flags>::value) {
        type = describeFlags();
    } else {
        return builtInTypeName(typeid(Value));
    }
    record.fieldTypes.push_back(type);
    return type.name;
}

template <class Record, class Value>
void describeField(TypeDescription& record, const Field<Record, Value>& field) {
    std::string defaultText;
    append(defaultText, Record{}.*field.member);
    record.fields.push_back({field.name, describeFieldType<Value>(record), defaultText});
}

}  // namespace record

/// The fields' texts, joined by commas.
template <class Record>
std::string recordText(const Record& value) {
    std::string text;
    std::apply(
        [&](const auto&... fields) {
            const char* separator = "";
            ((text += separator, record::append(text, value.*fields.member), separator = ","), ...);
        },
        RecordFields<Record>::list);
    return text;
}

/// Fills the fields in order; false when the text ends before the last one. What is behind the
/// last one is ignored.
template <class Record>
bool readRecord(const std::string& text, Record& value) {
    text::FieldReader reader(text);
    std::string token;
    return std::apply(
        [&](const auto&... fields) {
            return (record::read(reader, token, value.*fields.member) && ...);
        },
        RecordFields<Record>::list);
}

template <class Record>
TypeDescription describeRecord() {
    TypeDescription description;
    description.kind = TypeDescription::Kind::kRecord;
    std::apply([&](const auto&... fields) { (record::describeField(description, fields), ...); },
               RecordFields<Record>::list);
    description.emptyText = recordText(Record{});
    return description;
}

}  // namespace Settings
}  // namespace Qel

/// One field of T8_RECORD.
#define T8_FIELD(name) record::field(#name, &R::name)

/// The text form of a record that its header has declared with QEL_TEXT_FORM: its fields in the
/// order of its text.
#define T8_RECORD(Type, ...)                                               \
    namespace Qel {                                                        \
    namespace Settings {                                                   \
    template <>                                                            \
    struct RecordFields<Type> {                                            \
        using R = Type;                                                    \
        static constexpr auto list = record::fieldList(__VA_ARGS__);       \
    };                                                                     \
    template <>                                                            \
    std::string StrConv::toString<Type>(const Type& value) {               \
        return recordText(value);                                          \
    }                                                                      \
    template <>                                                            \
    bool StrConv::fromString<Type>(const std::string& text, Type& value) { \
        return readRecord(text, value);                                    \
    }                                                                      \
    template <>                                                            \
    TypeDescription describeType<Type>() {                                 \
        return describeRecord<Type>();                                     \
    }                                                                      \
    }                                                                      \
    }

#endif
