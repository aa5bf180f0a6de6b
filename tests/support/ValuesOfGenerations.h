#ifndef TESTS_SUPPORT_VALUESOFGENERATIONS_H
#define TESTS_SUPPORT_VALUESOFGENERATIONS_H

#include <bitset>
#include <boost/any.hpp>
#include <boost/make_shared.hpp>
#include <cstddef>
#include <string>
#include <type_traits>
#include <vector>

#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "RandomTypes.h"

namespace testsupport {

/// The value of a type in one generation. Every byte, element and field of it says which generation
/// it is of, so a value that was put together from two shows.
template <class T>
T ofGeneration(unsigned int generation) {
    if constexpr (std::is_same<T, std::string>::value) {
        return std::string(1 + 40 * generation, static_cast<char>('a' + generation));
    } else if constexpr (std::is_same<T, std::bitset<7>>::value) {
        return std::bitset<7>(generation);
    } else if constexpr (std::is_same<T, bool>::value) {
        return generation % 2 == 1;
    } else if constexpr (std::is_same<T, char>::value) {
        return static_cast<char>('a' + generation);
    } else if constexpr (std::is_enum<T>::value) {
        return static_cast<T>(generation);
    } else if constexpr (std::is_floating_point<T>::value) {
        return static_cast<T>(111111 * (generation + 1));
    } else if constexpr (std::is_integral<T>::value) {
        return static_cast<T>(0x0101010101010101ULL * (generation + 1));
    } else if constexpr (kIsVector<T>) {
        return T(1 + 3 * generation, ofGeneration<typename T::value_type>(generation));
    } else if constexpr (kIsMap<T>) {
        T made;
        for (unsigned int other = 0; other <= generation; ++other) {
            made[ofGeneration<typename T::key_type>(other)] =
                ofGeneration<typename T::mapped_type>(generation);
        }
        return made;
    } else {
        T made;
        std::apply(
            [generation](auto&... field) {
                ((field = ofGeneration<std::decay_t<decltype(field)>>(generation)), ...);
            },
            fieldsOf(made));
        return made;
    }
}

/// A setting's name, its values in all generations and their texts, type and all.
struct Generations {
    static constexpr unsigned int kCount = 6;

    template <class T>
    static Generations of(const std::string& name, const Qel::Settings::SettingFactory& types) {
        Generations made = {name, {}, {}};
        for (unsigned int generation = 0; generation < kCount; ++generation) {
            made.values.emplace_back(ofGeneration<T>(generation));
            made.texts.push_back(textOf(made.values.back(), types));
        }
        return made;
    }

    static std::string textOf(const boost::any& value, const Qel::Settings::SettingFactory& types) {
        const auto holder = boost::make_shared<Qel::Settings::SettingHolder>("", value);
        return types.typeAsString(holder) + "," + types.valueAsString(holder);
    }

    bool has(const std::string& text) const {
        return std::find(texts.begin(), texts.end(), text) != texts.end();
    }

    std::string name;
    std::vector<boost::any> values;
    std::vector<std::string> texts;
};

/// One setting for each kind of value: scalars, strings, arrays, maps, enumerations, records, lists
/// and maps of records.
inline std::vector<Generations> everyKind(const Qel::Settings::SettingFactory& types,
                                          const std::string& prefix) {
    return {
        Generations::of<bool>(prefix + "bool", types),
        Generations::of<char>(prefix + "char", types),
        Generations::of<unsigned char>(prefix + "uint8", types),
        Generations::of<short>(prefix + "short", types),
        Generations::of<int>(prefix + "int", types),
        Generations::of<long>(prefix + "long", types),
        Generations::of<long long>(prefix + "longlong", types),
        Generations::of<unsigned long long>(prefix + "uint64", types),
        Generations::of<float>(prefix + "float", types),
        Generations::of<double>(prefix + "double", types),
        Generations::of<std::string>(prefix + "string", types),
        Generations::of<std::vector<bool>>(prefix + "bools", types),
        Generations::of<std::vector<char>>(prefix + "chars", types),
        Generations::of<std::vector<double>>(prefix + "doubles", types),
        Generations::of<std::vector<long long>>(prefix + "longlongs", types),
        Generations::of<std::vector<std::string>>(prefix + "strings", types),
        Generations::of<std::map<int, int>>(prefix + "map1", types),
        Generations::of<std::map<int, std::string>>(prefix + "map2", types),
        Generations::of<std::map<std::string, std::string>>(prefix + "map3", types),
        Generations::of<Qel::PQ::PictureModeProfile>(prefix + "enum", types),
        Generations::of<qel::ui::tuning::TunerStatus>(prefix + "flags", types),
        Generations::of<qel::ui::dvbproviders::DvbSatelliteProviderItem>(prefix + "numbers", types),
        Generations::of<Qel::PQ::DisplaySetup>(prefix + "record", types),
        Generations::of<qel::mediabrowser::RecentListDmrItemMetadata>(prefix + "texts", types),
        Generations::of<qel::ui::common::source_properties_t>(prefix + "source", types),
        Generations::of<std::vector<qel::mediabrowser::RecentListItem>>(prefix + "list", types),
        Generations::of<std::map<int, qel::ui::dvbproviders::DvbSatelliteProviderItem>>(
            prefix + "recordmap", types),
        Generations::of<std::map<qel::ui::common::SourcePK, QelNetSourceVer2>>(prefix + "sourcemap",
                                                                               types),
    };
}

}  // namespace testsupport

#endif
