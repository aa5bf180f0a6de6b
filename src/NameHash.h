#ifndef QEL_SETTINGS_NAMEHASH_H
#define QEL_SETTINGS_NAMEHASH_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace Qel {
namespace Settings {

/// Hash values of names, which no file can foresee: one whose names all had the same value would
/// make every look-up a walk through all of them, and the start of a process take forever.
///
/// A name's four-byte words, each multiplied by a secret number of its own, are added up, and the
/// upper half of the sum is the value: two names of any choice that differ have the same value for
/// one in 2^32 of all secrets (multilinear hashing: Lemire and Kaser, "Strongly universal string
/// hashing is fast", The Computer Journal 57(11), 2014). The multiplications do not wait for one
/// another, which makes it as fast as a hash that is no secret.
class NameHash {
public:
    using Secret = std::array<std::uint64_t, 2>;

    /// With the secret that the kernel gives each process at its start.
    NameHash() : NameHash(secretOfProcess()) {}
    explicit NameHash(const Secret& secret);

    std::uint32_t operator()(std::string_view name) const {
        std::uint64_t sum = startOf(static_cast<std::uint32_t>(name.size()));
        std::size_t next = kFirst;
        const char* at = name.data();
        const char* const end = at + name.size();
        for (; end - at > static_cast<std::ptrdiff_t>(kWord); at += kWord) {
            sum += factors_[next] * wordAt(at);
            if (++next == factors_.size()) {
                // A long name goes on with what has come of it so far as its first word.
                sum = startOf(upperHalf(sum));
                next = kFirst;
            }
        }
        const std::uint32_t last = name.size() < kWord ? fewBytes(name) : wordAt(end - kWord);
        return upperHalf(sum + factors_[next] * last);
    }

private:
    static constexpr std::size_t kWord = sizeof(std::uint32_t);
    static constexpr std::size_t kFirst = 2;

    static Secret secretOfProcess();

    std::uint64_t startOf(std::uint32_t word) const { return factors_[0] + factors_[1] * word; }
    static std::uint32_t upperHalf(std::uint64_t sum) {
        return static_cast<std::uint32_t>(sum >> 32);
    }
    static std::uint32_t wordAt(const char* bytes) {
        std::uint32_t word;
        std::memcpy(&word, bytes, kWord);
        return word;
    }
    static std::uint32_t fewBytes(std::string_view bytes) {
        std::uint32_t word = 0;
        for (const char c : bytes) {
            word = word << 8 | static_cast<unsigned char>(c);
        }
        return word;
    }

    std::array<std::uint64_t, 34> factors_;  ///< enough for a name of 128 bytes
};

}  // namespace Settings
}  // namespace Qel

#endif
