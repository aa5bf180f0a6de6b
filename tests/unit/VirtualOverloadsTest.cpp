#include <cstddef>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "Qel/Settings/SettingStorageBase.h"

namespace {

using namespace Qel::Settings;

/// The place of a virtual operation in its class's table, from 0; the destructor has two. A pointer
/// to a virtual operation holds its offset there, plus one.
template <class Operation>
std::size_t slotOf(Operation operation) {
    std::ptrdiff_t parts[2];
    static_assert(sizeof(operation) == sizeof parts);
    std::memcpy(parts, &operation, sizeof parts);
    return static_cast<std::size_t>(parts[0] - 1) / sizeof(void*);
}

// Accessors share a name, so that no list of names shows whether the reading one comes first.
TEST(VirtualOverloads, ReadingAccessorComesBeforeTheWritingOne) {
    using I = SettingStorageInterface;
    using Path = const std::string*;
    using Text = const std::string&;
    EXPECT_EQ(2U, slotOf<Text (I::*)() const>(&I::name));
    EXPECT_EQ(3U, slotOf<Text (I::*)(Text)>(&I::name));
    EXPECT_EQ(4U, slotOf<Path (I::*)() const>(&I::filename));
    EXPECT_EQ(5U, slotOf<Path (I::*)(Text)>(&I::filename));
    EXPECT_EQ(6U, slotOf<Path (I::*)() const>(&I::rwFilename));
    EXPECT_EQ(7U, slotOf<Path (I::*)(Text)>(&I::rwFilename));
    EXPECT_EQ(8U, slotOf<bool (I::*)() const>(&I::readonly));
    EXPECT_EQ(9U, slotOf<bool (I::*)(bool)>(&I::readonly));
    EXPECT_EQ(19U, slotOf<bool (I::*)() const>(&I::surviveResetToDefaults));
    EXPECT_EQ(20U, slotOf<void (I::*)(bool)>(&I::surviveResetToDefaults));
}

TEST(VirtualOverloads, ManagersLinkIsReadInTheInterfaceAndSetInTheBase) {
    using Base = SettingStorageBase;
    EXPECT_EQ(10U, slotOf<SettingsManager* (Base::*)() const>(&Base::settingsManager));
    EXPECT_EQ(22U, slotOf<void (Base::*)(SettingsManager*)>(&Base::settingsManager));
}

}  // namespace
