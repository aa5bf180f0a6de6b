#ifndef QEL_SETTINGS_STRCONV_H
#define QEL_SETTINGS_STRCONV_H

#include <algorithm>
#include <boost/any.hpp>
#include <boost/smart_ptr/make_shared.hpp>
#include <boost/smart_ptr/shared_ptr.hpp>
#include <cstddef>
#include <exception>
#include <map>
#include <new>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "Qel/Settings/Export.h"
#include "Qel/Settings/SettingHolder.h"

namespace Qel {
namespace Settings {

/// The text forms of values, as settings files hold them.
///
/// Reading is forgiving: text that does not fit gives 0, a number held to its type's limits or a
/// container of what came before, never an error. Texts are bytes, with no character set, and do
/// not depend on the process's locale. All of it is safe to call from any thread.
namespace StrConv {

/// `value` with quotes, backslashes and control characters escaped, in double quotes when it holds
/// a comma or a semicolon.
QEL_SETTINGS_EXPORT std::string escapeString(const std::string& value);

/// The inverse of `escapeString`. An unknown escape stays as it is, a final backslash is dropped.
QEL_SETTINGS_EXPORT std::string unescapeString(const std::string& text);

/// Moves `it` past the next ";"-separated field and its separator and puts the field into `token`
/// with its quotes and backslashes. False only at the end: an empty field counts.
QEL_SETTINGS_EXPORT bool arrayFromStringtokenizer(std::string::const_iterator& it,
                                                  std::string::const_iterator end,
                                                  std::string& token);

/// Moves `it` past an item "length,bytes" and puts the bytes into `token`. False when the item is
/// cut short, malformed or of length 0.
QEL_SETTINGS_EXPORT bool lengthItemTokenizer(std::string::const_iterator& it,
                                             std::string::const_iterator end, std::string& token);

/// How an application's type is written: specialised beside the type, for arrays, maps and
/// `save_x` to use. Numbers, `bool`, `char` and `std::string` do not go through it.
template <class T>
std::string toString(const T& value);

/// How an application's type is read. False when `text` does not hold the whole value; `value` may
/// then be changed in part. A `std::exception` counts as false, except `std::bad_alloc`, which
/// passes.
template <class T>
bool fromString(const std::string& text, T& value);

/// What the templates below need from inside the library.
namespace detail {

template <class T>
inline constexpr bool kIsBuiltIn =
    std::is_arithmetic<T>::value || std::is_same<T, std::string>::value;

QEL_SETTINGS_EXPORT void appendEscaped(std::string& out, const std::string& value);
QEL_SETTINGS_EXPORT void appendSigned(std::string& out, long long value);
QEL_SETTINGS_EXPORT void appendUnsigned(std::string& out, unsigned long long value);
QEL_SETTINGS_EXPORT void appendDouble(std::string& out, double value);
QEL_SETTINGS_EXPORT void appendBool(std::string& out, bool value);

QEL_SETTINGS_EXPORT int readInt32(std::string_view text);
QEL_SETTINGS_EXPORT unsigned int readUint32(std::string_view text);
QEL_SETTINGS_EXPORT long long readInt64(std::string_view text);
QEL_SETTINGS_EXPORT unsigned long long readUint64(std::string_view text);
QEL_SETTINGS_EXPORT float readFloat(std::string_view text);
QEL_SETTINGS_EXPORT double readDouble(std::string_view text);
QEL_SETTINGS_EXPORT bool readBool(std::string_view text);
QEL_SETTINGS_EXPORT std::string readString(std::string_view text);

/// Moves `rest` past the next ";"-separated field and its separator; the field keeps its quotes and
/// backslashes. To be called while `rest` is not empty.
QEL_SETTINGS_EXPORT std::string_view takeField(std::string_view& rest);

/// Narrow integers are read as 32 bits and then cut, so that a file means the same on a host of
/// any word size; `long` is as wide as the host's.
template <class T>
T readInteger(std::string_view text) {
    constexpr bool kIsWide = sizeof(T) > sizeof(int);
    if constexpr (std::is_signed<T>::value && kIsWide) {
        return static_cast<T>(readInt64(text));
    } else if constexpr (std::is_signed<T>::value) {
        return static_cast<T>(readInt32(text));
    } else if constexpr (kIsWide) {
        return static_cast<T>(readUint64(text));
    } else {
        return static_cast<T>(readUint32(text));
    }
}

template <class T>
T readBuiltIn(std::string_view text) {
    if constexpr (std::is_same<T, std::string>::value) {
        return readString(text);
    } else if constexpr (std::is_same<T, bool>::value) {
        return readBool(text);
    } else if constexpr (std::is_same<T, char>::value) {
        return text.empty() ? '\0' : text.front();
    } else if constexpr (std::is_same<T, float>::value) {
        return readFloat(text);
    } else if constexpr (std::is_floating_point<T>::value) {
        return readDouble(text);
    } else {
        return readInteger<T>(text);
    }
}

/// True when `text` held the whole value.
template <class T>
bool read(const std::string& text, T& value) {
    if constexpr (kIsBuiltIn<T>) {
        value = readBuiltIn<T>(text);
        return true;
    } else {
        try {
            return StrConv::fromString<T>(text, value);
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const std::exception&) {
            return false;
        }
    }
}

template <class T>
std::vector<T> readArray(std::string_view text) {
    std::vector<T> values;
    if constexpr (std::is_arithmetic<T>::value) {
        const auto separators = std::count(text.begin(), text.end(), ';');
        values.reserve(text.empty() ? 0 : static_cast<std::size_t>(separators) + 1);
    }
    while (!text.empty()) values.push_back(readBuiltIn<T>(takeField(text)));
    return values;
}

template <class T>
void append(std::string& out, const T& value) {
    if constexpr (std::is_same<T, std::string>::value) {
        appendEscaped(out, value);
    } else if constexpr (std::is_same<T, bool>::value) {
        appendBool(out, value);
    } else if constexpr (std::is_same<T, char>::value) {
        out += value;
    } else if constexpr (std::is_floating_point<T>::value) {
        appendDouble(out, static_cast<double>(value));
    } else if constexpr (std::is_integral<T>::value && std::is_signed<T>::value) {
        appendSigned(out, value);
    } else if constexpr (std::is_integral<T>::value) {
        appendUnsigned(out, value);
    } else {
        out += StrConv::toString<T>(value);
    }
}

template <class T, class Iter = typename std::vector<T>::const_iterator>
void appendArray(std::string& out, const std::vector<T>& values) {
    for (Iter it = values.begin(); it != values.end(); ++it) {
        if (it != values.begin()) out += ';';
        append<T>(out, *it);
    }
}

template <class T>
void appendLengthItem(std::string& out, const T& value) {
    std::string text;
    append(text, value);
    appendUnsigned(out, text.size());
    out += ',';
    out += text;
}

/// True when `it` stood on a comma, which it is moved past.
inline bool takeComma(std::string::const_iterator& it, std::string::const_iterator end) {
    if (it == end || *it != ',') return false;
    ++it;
    return true;
}

template <class T>
boost::shared_ptr<SettingHolder> makeHolder(std::string name, T value) {
    return boost::make_shared<SettingHolder>(std::move(name), boost::any(std::move(value)));
}

/// A repeated key keeps its later value where every text gives a value, and its first complete one
/// where a text can be incomplete.
template <class K, class V>
void addEntry(std::map<K, V>& map, const std::string& keyText, const std::string& valueText) {
    K key{};
    V value{};
    if (!read(keyText, key) || !read(valueText, value)) return;
    if constexpr (kIsBuiltIn<V>) {
        map[std::move(key)] = std::move(value);
    } else {
        map.emplace(std::move(key), std::move(value));
    }
}

}  // namespace detail

/// The elements' texts with ";" between them. Lost by this form: a last element that is an empty
/// string, and characters that are ";", a quote or a backslash.
template <class T, class Iter = typename std::vector<T>::const_iterator>
std::string arrayToString(const std::vector<T>& values) {
    std::string text;
    detail::appendArray<T, Iter>(text, values);
    return text;
}

/// The inverse of `arrayToString`. An element that an application's `fromString` does not read
/// completely is left out.
template <class T>
std::vector<T> arrayFromString(const std::string& text) {
    if constexpr (detail::kIsBuiltIn<T>) {
        return detail::readArray<T>(text);
    } else {
        std::vector<T> values;
        std::string token;
        std::string::const_iterator it = text.begin();
        while (arrayFromStringtokenizer(it, text.end(), token)) {
            T value{};
            if (detail::read(token, value)) values.push_back(std::move(value));
        }
        return values;
    }
}

/// Key and value of each entry in key order, each as "length,text", with "," between them all.
/// Lost by this form: an entry with an empty string, and every entry after it.
template <class K, class V>
std::string mapToString(const std::map<K, V>& map) {
    std::string text;
    for (const auto& entry : map) {
        if (!text.empty()) text += ',';
        detail::appendLengthItem(text, entry.first);
        text += ',';
        detail::appendLengthItem(text, entry.second);
    }
    return text;
}

/// The inverse of `mapToString`, up to the first malformed item. Of a key that is repeated the
/// later value is kept; for application types as values, the first that `fromString` reads
/// completely.
template <class K, class V>
std::map<K, V> mapFromString(const std::string& text) {
    std::map<K, V> map;
    std::string key;
    std::string value;
    std::string::const_iterator it = text.begin();
    const std::string::const_iterator end = text.end();
    while (lengthItemTokenizer(it, end, key) && detail::takeComma(it, end) &&
           lengthItemTokenizer(it, end, value)) {
        detail::addEntry(map, key, value);
        if (!detail::takeComma(it, end)) break;
    }
    return map;
}

}  // namespace StrConv

// The pairs of functions that a type is registered with. Every load gives a new setting called
// `name` that belongs to no storage yet; every save throws `boost::bad_any_cast` when the setting
// holds a value of another type.

/// A setting of one value. Empty when an application's `fromString` does not read `text`
/// completely, except for the empty text: it stands for the value that `fromString` leaves then.
template <class T>
boost::shared_ptr<SettingHolder> load_x(std::string name, const std::string& text) {
    T value{};
    if (!StrConv::detail::read(text, value) && !text.empty()) return {};
    return StrConv::detail::makeHolder(std::move(name), std::move(value));
}

template <class T>
std::string save_x(boost::shared_ptr<SettingHolder> holder) {
    const boost::any value = holder->value();
    std::string text;
    StrConv::detail::append(text, boost::any_cast<const T&>(value));
    return text;
}

template <class T>
boost::shared_ptr<SettingHolder> load_array_x(std::string name, const std::string& text) {
    return StrConv::detail::makeHolder(std::move(name), StrConv::arrayFromString<T>(text));
}

template <class T, class Iter = typename std::vector<T>::const_iterator>
std::string save_array_x(boost::shared_ptr<SettingHolder> holder) {
    const boost::any value = holder->value();
    return StrConv::arrayToString<T, Iter>(boost::any_cast<const std::vector<T>&>(value));
}

template <class K, class V>
boost::shared_ptr<SettingHolder> load_map_x(std::string name, const std::string& text) {
    return StrConv::detail::makeHolder(std::move(name), StrConv::mapFromString<K, V>(text));
}

template <class K, class V>
std::string save_map_x(boost::shared_ptr<SettingHolder> holder) {
    const boost::any value = holder->value();
    return StrConv::mapToString(boost::any_cast<const std::map<K, V>&>(value));
}

}  // namespace Settings
}  // namespace Qel

#endif
