#ifndef T8SETTINGS_SAVEPOLICIES_H
#define T8SETTINGS_SAVEPOLICIES_H

#include <array>
#include <cstddef>

namespace t8settings {

/// What the save policies are called in results, in the order in which the library numbers them.
/// The words of the files name the same ones but for the first, which is that of a file without
/// such a word.
inline constexpr std::array<const char*, 4> kSavePolicyNames = {"unspecified", "onDemand",
                                                                "onEachChange", "async"};
inline constexpr std::size_t kFirstPolicyWithAWord = 1;

}  // namespace t8settings

#endif
