// What is written comes back equal, but for the losses of the text forms, and these are exact too.

#include <boost/any.hpp>
#include <boost/make_shared.hpp>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <type_traits>
#include <typeinfo>

#include "EnumerationTypes.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/StrConv.h"
#include "RandomTypes.h"
#include "ValueTypes.h"
#include "types/ApplicationTypes.h"

namespace {

using namespace Qel::Settings;
using testsupport::same;

class TypesRoundTrip : public testing::Test {
protected:
    TypesRoundTrip() { registerApplicationTypes(factory_); }

    /// The value of a setting after it was written and read.
    template <class T>
    T reread(const T& value) {
        const auto before = boost::make_shared<SettingHolder>("a", boost::any(value));
        const std::string type = factory_.typeAsString(before);
        EXPECT_NE(type, "") << typeid(T).name();
        return factory_.create(type, "a", factory_.valueAsString(before))->template getValue<T>();
    }

    /// The same for a type that only fields and maps have.
    template <class T>
    static T reconverted(const T& value) {
        T back;
        EXPECT_TRUE(StrConv::fromString(StrConv::toString(value), back)) << typeid(T).name();
        return back;
    }

    template <class T, class Cycle>
    void expectKept(Cycle cycle) {
        for (int round = 0; round < kRounds; ++round) {
            T value = random_.value<T>();
            const T back = cycle(value);
            testsupport::loseWhatTheTextLoses(value);
            ASSERT_TRUE(same(back, value)) << typeid(T).name() << " in round " << round;
        }
    }

    template <class... T>
    void expectAllKept(testsupport::TypeList<T...>) {
        (expectKept<T>([this](const T& value) { return reread(value); }), ...);
    }

    /// The names that values of these types are written under.
    template <class... T>
    std::set<std::string> namesOf(testsupport::TypeList<T...>) const {
        return {factory_.typeAsString(boost::make_shared<SettingHolder>("a", boost::any(T{})))...};
    }

    static constexpr int kRounds = 1500;
    testsupport::RandomTypes random_;
    SettingFactory factory_;
};

TEST_F(TypesRoundTrip, RecordsComeBackEqual) {
    expectAllKept(testsupport::RecordTypes{});
}

TEST_F(TypesRoundTrip, RecordsThatNoSettingHasComeBackEqual) {
    expectKept<Qel::PQ::SourceSetup>(&reconverted<Qel::PQ::SourceSetup>);
    expectKept<QelNetSourceVer2>(&reconverted<QelNetSourceVer2>);
    expectKept<QelNetSourceVer3>(&reconverted<QelNetSourceVer3>);
}

TEST_F(TypesRoundTrip, ListsOfRecordsComeBackEqual) {
    expectAllKept(testsupport::ArrayTypes{});
}

TEST_F(TypesRoundTrip, MapsComeBackEqual) {
    expectAllKept(testsupport::MapTypes{});
}

TEST_F(TypesRoundTrip, EveryRegisteredRecordArrayAndMapIsTried) {
    std::set<std::string> tried = namesOf(testsupport::RecordTypes{});
    tried.merge(namesOf(testsupport::ArrayTypes{}));
    tried.merge(namesOf(testsupport::MapTypes{}));
    std::set<std::string> registered;
    for (const ApplicationType& type : applicationTypes()) {
        if (describe(type).kind != TypeDescription::Kind::kEnumeration) {
            registered.insert(type.name);
        }
    }
    EXPECT_EQ(tried, registered);
}

TEST_F(TypesRoundTrip, EnumerationsComeBackEqualUnlessTheyAreNegative) {
    for (const testsupport::EnumerationType& type : testsupport::enumerationTypes()) {
        for (int round = 0; round < kRounds; ++round) {
            const int value = random_.value<int>();
            const auto back = type.load("a", type.save(type.setting(value)));
            ASSERT_EQ(back != nullptr, value >= 0) << type.name << " " << value;
            if (back) {
                ASSERT_EQ(type.valueOf(back), value) << type.name;
            }
        }
    }
}

}  // namespace
