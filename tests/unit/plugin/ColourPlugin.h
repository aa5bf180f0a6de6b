#ifndef TESTS_UNIT_PLUGIN_COLOURPLUGIN_H
#define TESTS_UNIT_PLUGIN_COLOURPLUGIN_H

#include <boost/smart_ptr/shared_ptr.hpp>
#include <cstddef>
#include <typeinfo>

#include "Qel/Settings/SettingHolder.h"

/// A type that the plug-in and its user both compile with hidden visibility, so that each has a
/// description of it of its own.
struct Colour {
    int red;
    int green;
};

/// What the function `colourPlugin` of the plug-in hands out, all made by the plug-in's code.
struct ColourPlugin {
    using Holder = boost::shared_ptr<Qel::Settings::SettingHolder>;

    const std::type_info* colourType;
    Holder colour;
    Holder numbers;
    Holder words;
    /// Throws `boost::bad_any_cast` unless the setting holds a `Colour`.
    int (*redOf)(const Holder& colour);
    /// Throws `boost::bad_any_cast` unless the setting holds numbers of type `unsigned short`.
    std::size_t (*countOf)(const Holder& numbers);
};

using ColourPluginFn = void (*)(ColourPlugin& plugin);

#endif
