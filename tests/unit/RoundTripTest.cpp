#include <boost/any.hpp>
#include <boost/smart_ptr/make_shared.hpp>
#include <cstddef>
#include <gtest/gtest.h>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/StrConv.h"

namespace {

using namespace Qel::Settings;

using Random = std::mt19937;
using IntToInt = std::map<int, int>;
using IntToString = std::map<int, std::string>;
using StringToString = std::map<std::string, std::string>;

template <class Integer>
Integer between(Random& random, Integer low, Integer high) {
    return std::uniform_int_distribution<Integer>(low, high)(random);
}

/// Limits and small numbers turn up as often as any others.
template <class T>
T randomInteger(Random& random) {
    const T edges[] = {std::numeric_limits<T>::min(), std::numeric_limits<T>::max(), 0, 1, 10};
    const auto choice = between<std::size_t>(random, 0, 9);
    if (choice < 5) return edges[choice];
    return static_cast<T>(
        between<unsigned long long>(random, 0, std::numeric_limits<unsigned long long>::max()));
}

/// A number of at most six digits.
template <class T>
T randomReal(Random& random) {
    const std::string text = std::to_string(between(random, -999999, 999999)) + "e" +
                             std::to_string(between(random, -30, 30));
    return static_cast<T>(std::stod(text));
}

std::string randomString(Random& random, std::size_t shortest = 0) {
    const std::string kSpecial = ",;\"\\\n\r\t =#[]'0na";
    std::string bytes;
    for (auto n = between<std::size_t>(random, shortest, 12); n > 0; --n) {
        bytes += between(random, 0, 1) == 0
                     ? kSpecial[between<std::size_t>(random, 0, kSpecial.size() - 1)]
                     : static_cast<char>(between(random, 0, 255));
    }
    return bytes;
}

template <class T>
T randomValue(Random& random) {
    if constexpr (std::is_same<T, std::string>::value) {
        return randomString(random);
    } else if constexpr (std::is_same<T, bool>::value) {
        return between(random, 0, 1) == 1;
    } else if constexpr (std::is_floating_point<T>::value) {
        return randomReal<T>(random);
    } else {
        return randomInteger<T>(random);
    }
}

template <class T>
std::vector<T> randomArray(Random& random) {
    std::vector<T> values;
    for (int n = between(random, 0, 6); n > 0; --n) values.push_back(randomValue<T>(random));
    return values;
}

class RoundTrip : public testing::Test {
protected:
    RoundTrip() {
        factory_.registerType(typeid(IntToInt), "map<int:int>", &load_map_x<int, int>,
                              &save_map_x<int, int>);
        factory_.registerType(typeid(IntToString), "map<int:string>", &load_map_x<int, std::string>,
                              &save_map_x<int, std::string>);
        factory_.registerType(typeid(StringToString), "map<string:string>",
                              &load_map_x<std::string, std::string>,
                              &save_map_x<std::string, std::string>);
    }

    /// The value as it is after it was written to a file and read back.
    template <class T>
    T reread(const T& value) {
        const auto before = boost::make_shared<SettingHolder>("name", boost::any(value));
        const auto after =
            factory_.create(factory_.typeAsString(before), "name", factory_.valueAsString(before));
        return after->template getValue<T>();
    }

    template <class T>
    void expectKept() {
        for (int i = 0; i < kRounds; ++i) {
            const T value = randomValue<T>(random_);
            ASSERT_EQ(reread(value), value) << typeid(T).name();
        }
    }

    template <class T>
    void expectArraysKept() {
        for (int i = 0; i < kRounds; ++i) {
            const std::vector<T> values = randomArray<T>(random_);
            ASSERT_EQ(reread(values), values) << typeid(T).name();
        }
    }

    template <class... T>
    void expectAllKept() {
        (expectKept<T>(), ...);
        (expectArraysKept<T>(), ...);
    }

    static constexpr int kRounds = 3000;
    Random random_{2023};
    SettingFactory factory_;
};

TEST_F(RoundTrip, NumbersAndTruthComeBackEqual) {
    expectAllKept<bool, signed char, unsigned char, short, unsigned short, int, unsigned int, long,
                  long long, unsigned long long>();
}

TEST_F(RoundTrip, RealNumbersOfSixDigitsComeBackEqual) {
    expectAllKept<float, double>();
}

TEST_F(RoundTrip, RealNumbersLoseWhatIsBeyondSixDigits) {
    EXPECT_EQ(reread(1234567.0F), 1234570.0F);
    EXPECT_EQ(reread(0.123456789), 0.123457);
}

TEST_F(RoundTrip, StringsAndCharactersComeBackEqual) {
    expectKept<std::string>();
    expectKept<char>();
}

TEST_F(RoundTrip, StringArraysLoseOneEmptyStringAtTheEndAndNothingElse) {
    for (int i = 0; i < kRounds; ++i) {
        std::vector<std::string> values = randomArray<std::string>(random_);
        const std::vector<std::string> after = reread(values);
        if (!values.empty() && values.back().empty()) values.pop_back();
        ASSERT_EQ(after, values);
    }
}

TEST_F(RoundTrip, CharacterArraysComeBackEqualUnlessTheyHoldTheirOwnSyntax) {
    const std::string kSyntax = ";\"\\";
    for (int i = 0; i < kRounds; ++i) {
        std::vector<char> values = randomArray<char>(random_);
        for (char& c : values) {
            if (kSyntax.find(c) != std::string::npos) c = ',';
        }
        ASSERT_EQ(reread(values), values);
    }
    for (const char c : kSyntax) {
        const std::vector<char> values = {'a', c, 'b'};
        EXPECT_NE(reread(values), values) << c;
    }
}

TEST_F(RoundTrip, MapsOfNumbersComeBackEqual) {
    for (int i = 0; i < kRounds; ++i) {
        IntToInt map;
        for (int n = between(random_, 0, 6); n > 0; --n) {
            map[randomValue<int>(random_)] = randomValue<int>(random_);
        }
        ASSERT_EQ(reread(map), map);
    }
}

TEST_F(RoundTrip, MapsLoseAllFromTheFirstEmptyStringOn) {
    for (int i = 0; i < kRounds; ++i) {
        StringToString map;
        IntToString numbered;
        const auto shortest = between<std::size_t>(random_, 0, 1);
        for (int n = between(random_, 0, 6); n > 0; --n) {
            map[randomString(random_, shortest)] = randomString(random_, shortest);
            numbered[randomValue<int>(random_)] = randomString(random_, shortest);
        }
        const StringToString after = reread(map);
        const IntToString numberedAfter = reread(numbered);
        auto lost = map.begin();
        while (lost != map.end() && !lost->first.empty() && !lost->second.empty()) ++lost;
        map.erase(lost, map.end());
        ASSERT_EQ(after, map);
        auto numberedLost = numbered.begin();
        while (numberedLost != numbered.end() && !numberedLost->second.empty()) ++numberedLost;
        numbered.erase(numberedLost, numbered.end());
        ASSERT_EQ(numberedAfter, numbered);
    }
}

}  // namespace
