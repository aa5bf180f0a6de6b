#ifndef TESTS_SUPPORT_RANDOMTYPES_H
#define TESTS_SUPPORT_RANDOMTYPES_H

#include <algorithm>
#include <bitset>
#include <cstddef>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "Qel/Settings/StrConv.h"
#include "RecordFields.h"

namespace testsupport {

template <class T>
inline constexpr bool kIsVector = false;
template <class T>
inline constexpr bool kIsVector<std::vector<T>> = true;
template <class T>
inline constexpr bool kIsMap = false;
template <class K, class V>
inline constexpr bool kIsMap<std::map<K, V>> = true;

/// Makes values of the applications' types, records, lists and maps of any bytes and numbers; the
/// same ones in every run.
class RandomTypes {
public:
    /// Without `outerBlanks` no string begins or ends with a blank.
    explicit RandomTypes(bool outerBlanks = true) : outerBlanks_(outerBlanks) {}

    /// From `low` to `high`, both included.
    template <class Integer>
    Integer between(Integer low, Integer high) {
        return std::uniform_int_distribution<Integer>(low, high)(random_);
    }

    template <class T>
    T value() {
        if constexpr (std::is_same<T, std::string>::value) {
            return text();
        } else if constexpr (std::is_same<T, std::bitset<7>>::value) {
            return between(0U, 127U);
        } else if constexpr (std::is_enum<T>::value) {
            return between(0, 2) == 0 ? static_cast<T>(number<int>()) : T{between(0, 30)};
        } else if constexpr (std::is_same<T, bool>::value) {
            return between(0, 1) == 1;
        } else if constexpr (std::is_integral<T>::value) {
            return number<T>();
        } else {
            return compound<T>();
        }
    }

private:
    template <class T>
    T compound() {
        T made;
        if constexpr (kIsVector<T>) {
            for (int n = between(0, 4); n > 0; --n) {
                made.push_back(value<typename T::value_type>());
            }
        } else if constexpr (kIsMap<T>) {
            for (int n = between(0, 4); n > 0; --n) {
                made[value<typename T::key_type>()] = value<typename T::mapped_type>();
            }
        } else {
            std::apply(
                [this](auto&... field) {
                    ((field = this->template value<std::decay_t<decltype(field)>>()), ...);
                },
                fieldsOf(made));
        }
        return made;
    }

    /// Limits and small numbers turn up as often as any others.
    template <class T>
    T number() {
        constexpr T kEdges[] = {std::numeric_limits<T>::min(), std::numeric_limits<T>::max(), 0, 1};
        const std::size_t choice = between<std::size_t>(0, 7);
        return choice < 4 ? kEdges[choice] : static_cast<T>(between(0ULL, ~0ULL));
    }

    /// Up to twelve bytes, half of them such as the text forms have a use for.
    std::string text() {
        static const std::string kSpecial = ",;\"\\\n\r\t =#[]'0na1";
        std::string bytes;
        for (int n = between(0, 12); n > 0; --n) {
            bytes += between(0, 1) == 0 ? kSpecial[between<std::size_t>(0, kSpecial.size() - 1)]
                                        : static_cast<char>(between(0, 255));
        }
        if (!outerBlanks_ && !bytes.empty()) {
            std::replace(bytes.begin(), bytes.begin() + 1, ' ', 'x');
            std::replace(bytes.end() - 1, bytes.end(), ' ', 'x');
        }
        return bytes;
    }

    bool outerBlanks_;
    std::mt19937 random_{2025};
};

template <class T>
bool isEmptyString(const T& value) {
    if constexpr (std::is_same<T, std::string>::value) {
        return value.empty();
    }
    return false;
}

/// Does to a value what its text form does, as docs/types.md lists it.
template <class T>
void loseWhatTheTextLoses(T& value) {
    using E = std::decay_t<T>;
    if constexpr (std::is_enum<E>::value) {
        if (value < 0) {
            Qel::Settings::StrConv::fromString("", value);
        }
    } else if constexpr (std::is_same<E, std::vector<std::string>>::value) {
        if (!value.empty() && value.back().empty()) {
            value.pop_back();
        }
    } else if constexpr (kIsVector<E>) {
        for (auto& element : value) {
            loseWhatTheTextLoses(element);
        }
    } else if constexpr (kIsMap<E>) {
        const auto isLost = [](const auto& entry) {
            return isEmptyString(entry.first) || isEmptyString(entry.second);
        };
        value.erase(std::find_if(value.begin(), value.end(), isLost), value.end());
        for (auto& entry : value) {
            loseWhatTheTextLoses(entry.second);
        }
    } else if constexpr (std::is_class<E>::value && !std::is_same<E, std::string>::value &&
                         !std::is_same<E, std::bitset<7>>::value) {
        std::apply([](auto&... field) { (loseWhatTheTextLoses(field), ...); }, fieldsOf(value));
    }
}

/// Whether two values of the applications' types hold the same, as far as their text does.
template <class T>
bool same(const T& a, const T& b) {
    if constexpr (kIsVector<T>) {
        return std::equal(a.begin(), a.end(), b.begin(), b.end(), same<typename T::value_type>);
    } else if constexpr (kIsMap<T>) {
        return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const auto& x, const auto& y) {
            return x.first == y.first && same(x.second, y.second);
        });
    } else if constexpr (std::is_class<T>::value && !std::is_same<T, std::string>::value) {
        return sameFields(a, b);
    } else {
        return a == b;
    }
}

}  // namespace testsupport

#endif
