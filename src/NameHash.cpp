#include "NameHash.h"

#include <sys/auxv.h>

namespace Qel {
namespace Settings {

namespace {

/// The next of a row of random numbers (SplitMix64: Steele, Lea and Flood, "Fast splittable
/// pseudorandom number generators", OOPSLA 2014).
std::uint64_t nextRandom(std::uint64_t& state) {
    state += 0x9E3779B97F4A7C15;
    std::uint64_t mixed = state;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
    return mixed ^ (mixed >> 31);
}

}  // namespace

NameHash::NameHash(const Secret& secret) : factors_() {
    Secret states = secret;
    for (std::size_t i = 0; i < factors_.size(); ++i) {
        factors_[i] = nextRandom(states[i % states.size()]);
    }
}

NameHash::Secret NameHash::secretOfProcess() {
    Secret secret = {};
    // Asking for random numbers instead could wait, early in a television's start.
    const unsigned long address = ::getauxval(AT_RANDOM);
    if (address != 0) {
        const void* bytes;
        std::memcpy(&bytes, &address, sizeof bytes);
        std::memcpy(secret.data(), bytes, sizeof secret);
    }
    return secret;
}

}  // namespace Settings
}  // namespace Qel
