#ifndef TESTS_SUPPORT_GENERATIONS_H
#define TESTS_SUPPORT_GENERATIONS_H

#include <string>

#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageInterface.h"

namespace testsupport {

/// The text of a settings file, without the line of its CRC, in which every setting carries the
/// number of one generation, so that a mixture of two saves shows. Two of the settings span several
/// pages each: such a file is not written or read in one instant.
inline std::string longTextOf(int generation) {
    std::string text;
    while (text.size() < 6000) {
        text += std::to_string(generation) + " ";
    }
    return text + ".";
}

inline std::string fileOfGeneration(const std::string& name, int generation) {
    std::string text = "#name = " + name + "\n#savepolicy = ondemand";
    for (const char* const section : {"\n[first]", "\n\n[second]"}) {
        text += section;
        for (const char* const key : {"a", "b", "c"}) {
            text.append("\n").append(key).append(" = int,").append(std::to_string(generation));
        }
        text += "\ntext = string," + longTextOf(generation);
    }
    return text;
}

inline void setGeneration(const Qel::Settings::SettingsSet& settings, int generation) {
    for (const auto& entry : settings) {
        if (entry.second->type() == typeid(int)) {
            entry.second->setValue(generation);
        } else {
            entry.second->setValue(longTextOf(generation));
        }
    }
}

/// The generation that all settings have; -1 when they differ or some are missing.
inline int generationOf(const Qel::Settings::SettingsSet& settings) {
    int generation = -1;
    for (const auto& entry : settings) {
        if (entry.second->type() == typeid(int)) {
            generation = entry.second->getValue<int>();
        }
    }
    const std::string text = longTextOf(generation);
    int alike = 0;
    for (const auto& entry : settings) {
        const bool isAlike = entry.second->type() == typeid(int)
                                 ? entry.second->getValue<int>() == generation
                                 : entry.second->getValue<std::string>() == text;
        alike += isAlike ? 1 : 0;
    }
    return alike == 8 && settings.size() == 8 ? generation : -1;
}

}  // namespace testsupport

#endif
