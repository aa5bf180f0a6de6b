#include <algorithm>
#include <boost/any.hpp>
#include <boost/smart_ptr/make_shared.hpp>
#include <climits>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/StrConv.h"

namespace {

using namespace Qel::Settings;
using testing::UnorderedElementsAreArray;

using Holder = boost::shared_ptr<SettingHolder>;

static_assert(!std::is_copy_constructible<SettingFactory>::value, "a factory is shared");
static_assert(!std::is_copy_assignable<SettingFactory>::value, "a factory is shared");
static_assert(!std::is_polymorphic<SettingFactory>::value, "a factory has no virtual operations");

struct Unregistered {};

Holder holderOf(const boost::any& value) {
    return boost::make_shared<SettingHolder>("name", value);
}

/// A type that a fresh factory knows: a text, its value, and the name and text it is written with.
struct BuiltIn {
    const char* name;
    std::string text;
    boost::any value;
    bool (*equal)(const boost::any&, const boost::any&);
    const char* writtenName;
    std::string writtenText;
    SaveFn save;
};

template <class T>
bool equal(const boost::any& a, const boost::any& b) {
    return boost::any_cast<const T&>(a) == boost::any_cast<const T&>(b);
}

template <class T>
BuiltIn scalar(const char* name, const std::string& text, T value, const char* writtenName,
               const std::string& writtenText) {
    return {name, text, value, &equal<T>, writtenName, writtenText, &save_x<T>};
}

template <class T>
BuiltIn array(const char* name, const std::string& text, const std::vector<T>& value,
              const char* writtenName, const std::string& writtenText) {
    return {name, text, value, &equal<std::vector<T>>, writtenName, writtenText, &save_array_x<T>};
}

std::vector<BuiltIn> builtIns() {
    using uchar = unsigned char;
    using schar = signed char;
    using ushort = unsigned short;
    using uint = unsigned int;
    using ull = unsigned long long;
    using ll = long long;
    const std::string kBig = "99999999999";
    const std::string kMaxLong = std::to_string(LONG_MAX);
    return {
        scalar<std::string>("string", "\"a;b\"", "a;b", "string", "\"a;b\""),
        array<std::string>("string[]", "a;\"b;c\"", {"a", "b;c"}, "string[]", "a;\"b;c\""),
        scalar<uchar>("uint8", "300", 44, "uint8", "44"),
        array<uchar>("uint8[]", "65;-1", {65, 255}, "uint8[]", "65;255"),
        scalar<ushort>("uint16", "-1", 65535, "uint16", "65535"),
        array<ushort>("uint16[]", "1;2;300", {1, 2, 300}, "uint16[]", "1;2;300"),
        scalar<uint>("uint32", kBig, UINT_MAX, "uint32", "4294967295"),
        array<uint>("uint32[]", "-5;", {4294967291U}, "uint32[]", "4294967291"),
        scalar<ull>("uint64", kBig, 99999999999ULL, "uint64", kBig),
        array<ull>("uint64[]", "-1", {ULLONG_MAX}, "uint64[]", "18446744073709551615"),
        scalar<schar>("int8", "-128", -128, "int8", "-128"),
        array<schar>("int8[]", "65;255", {65, -1}, "int8[]", "65;-1"),
        scalar<short>("int16", "12", 12, "short", "12"),
        array<short>("int16[]", kBig, {-1}, "short[]", "-1"),
        scalar<int>("int32", kBig, INT_MAX, "int", "2147483647"),
        array<int>("int32[]", "1;;2", {1, 0, 2}, "int[]", "1;0;2"),
        scalar<ll>("int64", kBig, 99999999999LL, "long long", kBig),
        array<ll>("int64[]", "7", {7}, "long long[]", "7"),
        scalar<float>("float32", "0.1", 0.1F, "float32", "0.1"),
        array<float>("float32[]", "1e-7;2", {1e-7F, 2}, "float32[]", "1e-07;2"),
        scalar<double>("float64", "0.123456789", 0.123456789, "float64", "0.123457"),
        array<double>("float64[]", "0.5;x", {0.5, 0}, "float64[]", "0.5;0"),
        scalar<bool>("bool", "True", true, "bool", "true"),
        array<bool>("bool[]", "2;on", {true, false}, "bool[]", "true;false"),
        scalar<char>("char", "A", 'A', "char", "A"),
        array<char>("char[]", "a;,", {'a', ','}, "char[]", "a;,"),
        scalar<short>("short", "12", 12, "short", "12"),
        array<short>("short[]", "-3", {-3}, "short[]", "-3"),
        scalar<int>("int", "-7", -7, "int", "-7"),
        array<int>("int[]", ";", {0}, "int[]", "0"),
        scalar<long>("long", kMaxLong, LONG_MAX, "long", kMaxLong),
        array<long>("long[]", "1;-1", {1, -1}, "long[]", "1;-1"),
        scalar<ll>("long long", "-5", -5, "long long", "-5"),
        array<ll>("long long[]", "", {}, "long long[]", ""),
    };
}

TEST(SettingFactory, AFreshFactoryKnowsTheBuiltInTypes) {
    std::vector<std::string> names;
    for (const BuiltIn& type : builtIns()) names.emplace_back(type.name);
    ASSERT_EQ(names.size(), 34U);
    const std::vector<std::string> known = SettingFactory().typeNames();
    EXPECT_THAT(known, UnorderedElementsAreArray(names));
    EXPECT_TRUE(std::is_sorted(known.begin(), known.end()));
}

TEST(SettingFactory, EveryBuiltInTypeIsReadAndWritten) {
    SettingFactory factory;
    for (const BuiltIn& type : builtIns()) {
        const Holder holder = factory.create(type.name, "set/ting", type.text);
        ASSERT_TRUE(holder) << type.name;
        EXPECT_EQ(holder->name(), "set/ting");
        EXPECT_EQ(holder->callback(), nullptr);
        EXPECT_TRUE(holder->type() == type.value.type()) << type.name;
        EXPECT_TRUE(type.equal(holder->value(), type.value)) << type.name;
        EXPECT_EQ(factory.typeAsString(holder), type.writtenName) << type.name;
        EXPECT_EQ(factory.valueAsString(holder), type.writtenText) << type.name;
    }
}

TEST(SettingFactory, EverySaveFunctionRefusesAnotherType) {
    for (const BuiltIn& type : builtIns()) {
        EXPECT_THROW(type.save(holderOf(Unregistered())), boost::bad_any_cast) << type.name;
        EXPECT_THROW(type.save(holderOf(boost::any())), boost::bad_any_cast) << type.name;
    }
}

TEST(SettingFactory, TheSizedNamesOfTheCTypesAreReadAndNotWritten) {
    SettingFactory factory;
    const Holder sized = factory.create("int16", "a", "12");
    const Holder plain = factory.create("short", "b", "12");
    EXPECT_EQ(sized->getValue<short>(), 12);
    EXPECT_EQ(plain->getValue<short>(), 12);
    EXPECT_EQ(factory.typeAsString(sized), "short");
    EXPECT_EQ(factory.typeAsString(plain), "short");
}

TEST(SettingFactory, ALongIsNeitherAnIntNorALongLong) {
    SettingFactory factory;
    EXPECT_EQ(factory.typeAsString(holderOf(1L)), "long");
    EXPECT_EQ(factory.typeAsString(holderOf(1)), "int");
    EXPECT_EQ(factory.typeAsString(holderOf(1LL)), "long long");
    EXPECT_EQ(factory.typeAsString(holderOf(std::vector<long>())), "long[]");
}

TEST(SettingFactory, CreateTakesTheTypeBeforeTheName) {
    SettingFactory factory;
    const Holder holder = factory.create("string", "int", "long");
    EXPECT_EQ(holder->name(), "int");
    EXPECT_EQ(holder->getValue<std::string>(), "long");
}

TEST(SettingFactory, AnUnknownTypeGivesNoSetting) {
    SettingFactory factory;
    for (const char* type : {"", "Int", "int ", "std::string", "map<int:int>", "map<int:string>",
                             "map<string:string>", "uint128"}) {
        EXPECT_FALSE(factory.create(type, "a", "1")) << type;
    }
}

TEST(SettingFactory, MissingFunctionsReadAndWriteNothing) {
    SettingFactory factory;
    EXPECT_TRUE(factory.registerType(typeid(int), "write only", nullptr, &save_x<int>));
    EXPECT_FALSE(factory.create("write only", "a", "1"));
    EXPECT_EQ(factory.valueAsString(holderOf(1)), "1");
    EXPECT_TRUE(factory.registerType(typeid(int), "read only", &load_x<int>, nullptr));
    const Holder holder = factory.create("read only", "a", "1");
    EXPECT_EQ(holder->getValue<int>(), 1);
    EXPECT_EQ(factory.typeAsString(holder), "read only");
    EXPECT_EQ(factory.valueAsString(holder), "");
}

TEST(SettingFactory, NoHolderAndNoValueGiveEmptyTexts) {
    const SettingFactory factory;
    for (const Holder& holder : {Holder(), holderOf(boost::any()), holderOf(Unregistered()),
                                 holderOf(std::map<int, int>()), holderOf(1UL)}) {
        EXPECT_EQ(factory.typeAsString(holder), "");
        EXPECT_EQ(factory.valueAsString(holder), "");
    }
}

TEST(SettingFactory, ATypeWithoutANameIsNotWritten) {
    SettingFactory factory;
    factory.registerType(typeid(int), "", &load_x<int>, &save_x<int>);
    EXPECT_EQ(factory.typeAsString(holderOf(1)), "");
    EXPECT_EQ(factory.valueAsString(holderOf(1)), "");
}

Holder loadAnswer(std::string name, const std::string&) {
    return boost::make_shared<SettingHolder>(std::move(name), boost::any(42));
}

std::string saveAnswer(boost::shared_ptr<SettingHolder>) {
    return "the answer";
}

TEST(SettingFactory, ANameThatIsRegisteredAgainGetsTheNewFunctions) {
    SettingFactory factory;
    EXPECT_TRUE(factory.registerType(typeid(int), "int", &loadAnswer, &saveAnswer));
    const Holder holder = factory.create("int", "a", "1");
    EXPECT_EQ(holder->getValue<int>(), 42);
    EXPECT_EQ(factory.valueAsString(holder), "the answer");
    EXPECT_EQ(factory.create("int32", "a", "1")->getValue<int>(), 1);
    EXPECT_EQ(factory.typeNames().size(), 34U);
}

TEST(SettingFactory, ATypeThatIsRegisteredAgainIsWrittenUnderItsNewName) {
    SettingFactory factory;
    EXPECT_TRUE(factory.registerType(typeid(int), "answer", &loadAnswer, &saveAnswer));
    const Holder holder = factory.create("int", "a", "1");
    ASSERT_TRUE(holder);
    EXPECT_EQ(holder->getValue<int>(), 1);
    EXPECT_EQ(factory.typeAsString(holder), "answer");
    EXPECT_EQ(factory.valueAsString(holder), "the answer");
    EXPECT_EQ(factory.typeNames().size(), 35U);
}

TEST(SettingFactory, TheTwoTablesAreOverwrittenIndependently) {
    SettingFactory factory;
    EXPECT_TRUE(factory.registerType(typeid(Unregistered), "int", &loadAnswer, &saveAnswer));
    EXPECT_EQ(factory.typeAsString(holderOf(Unregistered())), "int");
    EXPECT_EQ(factory.typeAsString(holderOf(1)), "int");
    EXPECT_EQ(factory.valueAsString(holderOf(1)), "the answer");
}

TEST(SettingFactory, ASaveFunctionOfTheWrongTypeThrows) {
    SettingFactory factory;
    factory.registerType(typeid(Unregistered), "wrong", &load_x<int>, &save_x<int>);
    EXPECT_THROW(factory.valueAsString(holderOf(Unregistered())), boost::bad_any_cast);
}

TEST(SettingFactory, TheHolderItselfReachesTheSaveFunction) {
    static Holder seen;
    SettingFactory factory;
    factory.registerType(typeid(int), "int", &loadAnswer, [](Holder holder) {
        seen = std::move(holder);
        return std::string();
    });
    const Holder holder = holderOf(1);
    factory.valueAsString(holder);
    EXPECT_EQ(seen, holder);
    seen.reset();
}

TEST(SettingFactory, ALoadFunctionMayRefuseItsText) {
    SettingFactory factory;
    factory.registerType(
        typeid(int), "int", [](std::string, const std::string&) { return Holder(); }, &save_x<int>);
    EXPECT_FALSE(factory.create("int", "a", "1"));
}

TEST(SettingFactory, MapsAreKnownOnceTheyAreRegistered) {
    using Map = std::map<int, std::string>;
    SettingFactory factory;
    factory.registerType(typeid(Map), "map<int:string>", &load_map_x<int, std::string>,
                         &save_map_x<int, std::string>);
    const Holder holder = factory.create("map<int:string>", "m", "1,7,5,\"a,b\"");
    EXPECT_EQ(holder->getValue<Map>(), (Map{{7, "a,b"}}));
    EXPECT_EQ(factory.typeAsString(holder), "map<int:string>");
    EXPECT_EQ(factory.valueAsString(holder), "1,7,5,\"a,b\"");
}

}  // namespace
