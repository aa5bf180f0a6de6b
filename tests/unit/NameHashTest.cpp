#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <sys/auxv.h>
#include <vector>

#include "NameHash.h"

using Qel::Settings::NameHash;

namespace {

constexpr NameHash::Secret kSecret = {1, 2};
constexpr NameHash::Secret kOtherSecret = {3, 4};

/// The most names in a row of slots, of a table that is two thirds full.
std::size_t longestRow(const std::set<std::string>& names) {
    const NameHash hash(kSecret);
    std::size_t size = 64;
    while (size < names.size() + names.size() / 2) {
        size *= 2;
    }
    std::vector<bool> taken(size);
    for (const std::string& name : names) {
        std::size_t at = hash(name) % size;
        while (taken[at]) {
            at = (at + 1) % size;
        }
        taken[at] = true;
    }
    std::size_t longest = 0;
    std::size_t row = 0;
    for (const bool isTaken : taken) {
        row = isTaken ? row + 1 : 0;
        longest = std::max(longest, row);
    }
    return longest;
}

/// What somebody who knew the secret would write into a file: names that all want one slot of
/// 1,024.
std::vector<std::string> namesOfOneSlot(const NameHash& hash) {
    std::vector<std::string> names;
    for (int i = 0; names.size() < 300; ++i) {
        const std::string name = "settings/" + std::to_string(i);
        if (hash(name) % 1024 == 0) {
            names.push_back(name);
        }
    }
    return names;
}

}  // namespace

TEST(NameHash, NamesThatShareASlotUnderOneSecretDoNotUnderAnother) {
    const NameHash other(kOtherSecret);
    std::set<std::uint32_t> slots;
    for (const std::string& name : namesOfOneSlot(NameHash(kSecret))) {
        slots.insert(other(name) % 1024);
    }
    EXPECT_GT(slots.size(), 200u);
}

TEST(NameHash, SecretIsTheOneThatTheKernelGivesTheProcess) {
    NameHash::Secret secret;
    std::memcpy(secret.data(), reinterpret_cast<const void*>(getauxval(AT_RANDOM)), sizeof secret);
    EXPECT_EQ(NameHash()("settings/sound/bass"), NameHash(secret)("settings/sound/bass"));
    EXPECT_NE(NameHash()("settings/sound/bass"), NameHash(kSecret)("settings/sound/bass"));
}

TEST(NameHash, EachByteOfANameOfAnyLengthCounts) {
    const NameHash hash(kSecret);
    constexpr std::size_t kLengths[] = {1, 2, 3, 4, 5, 7, 8, 9, 127, 128, 129, 132, 133, 300, 1000};
    for (const std::size_t length : kLengths) {
        const std::string name(length, 'a');
        for (std::size_t i = 0; i < length; ++i) {
            std::string changed = name;
            changed[i] = '\xE1';
            EXPECT_NE(hash(name), hash(changed)) << length << " bytes, byte " << i;
        }
    }
}

TEST(NameHash, NamesOfOneByteAgainAndAgainDifferByLength) {
    const NameHash hash(kSecret);
    for (const char byte : {'\0', 'a', '\xFF'}) {
        std::set<std::uint32_t> values;
        for (std::size_t length = 0; length < 1000; ++length) {
            values.insert(hash(std::string(length, byte)));
        }
        EXPECT_EQ(1000u, values.size()) << static_cast<int>(byte);
    }
}

TEST(NameHash, NamesThatDifferInFewPlacesLieFarApart) {
    std::set<std::string> counted;
    std::set<std::string> countedInFront;
    std::set<std::string> bits;
    for (int i = 0; i < 40000; ++i) {
        const std::string number = std::to_string(100000 + i);
        counted.insert("settings/section" + number + "/key");
        countedInFront.insert(number + "/key of a storage with a long name");
        // Only the highest bits of each of sixteen bytes differ.
        std::string name(16, 'a');
        for (std::size_t bit = 0; bit < name.size(); ++bit) {
            name[bit] = (i >> bit) % 2 == 0 ? 'a' : '\xE1';
        }
        bits.insert(name);
    }
    for (const auto* names : {&counted, &countedInFront, &bits}) {
        EXPECT_EQ(40000u, names->size());
        EXPECT_LT(longestRow(*names), 300u) << *names->begin();
    }
}
