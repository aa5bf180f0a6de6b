#include <boost/any.hpp>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <typeinfo>

#include "ColourPlugin.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/StrConv.h"

namespace Qel {
namespace Settings {
namespace StrConv {

template <>
std::string toString<Colour>(const Colour& colour) {
    return std::to_string(colour.red) + "," + std::to_string(colour.green);
}

template <>
bool fromString<Colour>(const std::string& text, Colour& colour) {
    colour.red = std::stoi(text);
    return true;
}

}  // namespace StrConv
}  // namespace Settings
}  // namespace Qel

namespace {

using namespace Qel::Settings;

/// The plug-in is loaded for good: the values that it makes need its code to be destroyed.
class Plugin : public testing::Test {
protected:
    void SetUp() override {
        void* const library = dlopen(T8_TEST_PLUGIN, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library, nullptr) << dlerror();
        void* const symbol = dlsym(library, "colourPlugin");
        ASSERT_NE(symbol, nullptr) << dlerror();
        reinterpret_cast<ColourPluginFn>(symbol)(plugin_);
        factory_.registerType(typeid(Colour), "Colour", &load_x<Colour>, &save_x<Colour>);
    }

    ColourPlugin plugin_{};
    SettingFactory factory_;
};

TEST_F(Plugin, HasADescriptionOfItsOwnOfTheType) {
    EXPECT_NE(plugin_.colourType, &typeid(Colour));
    EXPECT_STREQ(plugin_.colourType->name(), typeid(Colour).name());
}

TEST_F(Plugin, ItsValuesAreRecognisedByTheFactory) {
    EXPECT_EQ(factory_.typeAsString(plugin_.colour), "Colour");
    EXPECT_EQ(factory_.valueAsString(plugin_.colour), "1,2");
    EXPECT_EQ(plugin_.colour->getValue<Colour>().green, 2);
    EXPECT_THROW(plugin_.colour->getValue<int>(), boost::bad_any_cast);
}

TEST_F(Plugin, ItsContainersAreRecognisedByTheFactory) {
    EXPECT_EQ(factory_.typeAsString(plugin_.numbers), "uint16[]");
    EXPECT_EQ(factory_.valueAsString(plugin_.numbers), "1;2;300");
    using Words = std::map<std::string, std::string>;
    factory_.registerType(typeid(Words), "map<string:string>",
                          &load_map_x<std::string, std::string>,
                          &save_map_x<std::string, std::string>);
    EXPECT_EQ(factory_.typeAsString(plugin_.words), "map<string:string>");
    EXPECT_EQ(factory_.valueAsString(plugin_.words), "1,k,1,v");
}

TEST_F(Plugin, ItReadsTheValuesThatTheFactoryMade) {
    EXPECT_EQ(plugin_.redOf(factory_.create("Colour", "c", "7,8")), 7);
    EXPECT_EQ(plugin_.countOf(factory_.create("uint16[]", "n", "1;2;3;4")), 4U);
    EXPECT_THROW(plugin_.redOf(factory_.create("int", "i", "1")), boost::bad_any_cast);
}

TEST_F(Plugin, ATypeThatItRegistersIsTheSameType) {
    SettingFactory factory;
    factory.registerType(*plugin_.colourType, "PluginColour", &load_x<Colour>, &save_x<Colour>);
    EXPECT_EQ(factory.typeAsString(factory.create("PluginColour", "c", "7")), "PluginColour");
    EXPECT_EQ(factory.typeAsString(plugin_.colour), "PluginColour");
}

}  // namespace
