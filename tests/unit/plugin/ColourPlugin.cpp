#include "ColourPlugin.h"

#include <boost/any.hpp>
#include <boost/smart_ptr/make_shared.hpp>
#include <cstddef>
#include <map>
#include <vector>

namespace {

using Holder = ColourPlugin::Holder;
using Numbers = std::vector<unsigned short>;
using Words = std::map<std::string, std::string>;

template <class T>
Holder holderOf(const char* name, const T& value) {
    return boost::make_shared<Qel::Settings::SettingHolder>(name, boost::any(value));
}

int redOf(const Holder& colour) {
    return colour->getValue<Colour>().red;
}

std::size_t countOf(const Holder& numbers) {
    return numbers->getValue<Numbers>().size();
}

}  // namespace

extern "C" QEL_SETTINGS_EXPORT void colourPlugin(ColourPlugin& plugin) {
    plugin.colourType = &typeid(Colour);
    plugin.colour = holderOf("colour", Colour{1, 2});
    plugin.numbers = holderOf("numbers", Numbers{1, 2, 300});
    plugin.words = holderOf("words", Words{{"k", "v"}});
    plugin.redOf = &redOf;
    plugin.countOf = &countOf;
}
