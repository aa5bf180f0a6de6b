#include <boost/any.hpp>
#include <boost/smart_ptr/make_shared.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "LogCapture.h"
#include "Qel/Settings/SettingChangeCallback.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "StubFileStorage.h"
#include "StubStorage.h"

namespace {

using namespace Qel::Settings;
using testing::ElementsAre;
using testing::IsEmpty;
using testsupport::LogCapture;
using testsupport::StubFileStorage;
using testsupport::StubStorage;

static_assert(!std::is_copy_constructible<SettingHolder>::value, "a copy would have the owner too");
static_assert(!std::is_copy_assignable<SettingHolder>::value, "a copy would have the owner too");
static_assert(!std::is_polymorphic<SettingHolder>::value, "a holder is thin");
static_assert(
    std::is_same<decltype(std::declval<const SettingHolder&>().value()), boost::any>::value,
    "a reference to the value could not be guarded");
static_assert(std::is_same<decltype(&SettingChangeCallback::changing),
                           bool (SettingChangeCallback::*)(std::string)>::value,
              "the name comes by value");
static_assert(std::is_same<decltype(&SettingChangeCallback::changed),
                           void (SettingChangeCallback::*)(std::string)>::value,
              "the name comes by value");
static_assert(std::has_virtual_destructor<SettingChangeCallback>::value, "storages derive from it");

/// Notes what it is asked and told, and what the setting's value is at that moment.
class Recorder : public SettingChangeCallback {
public:
    bool changing(std::string name) override {
        note("changing " + name);
        return allows;
    }
    void changed(std::string name) override { note("changed " + name); }

    bool allows = true;
    const SettingHolder* watched = nullptr;
    std::vector<std::string> calls;

private:
    void note(const std::string& call) {
        calls.push_back(call + " at " + std::to_string(watched->getValue<int>()));
    }
};

std::string textOf(const SettingHolder& holder) {
    return holder.getValue<std::string>();
}

TEST(SettingHolder, HasItsNameAndValueAndNoCallbackAtFirst) {
    const SettingHolder holder("sound/bass", boost::any(3));
    EXPECT_EQ("sound/bass", holder.name());
    EXPECT_EQ(3, holder.getValue<int>());
    EXPECT_EQ(typeid(int), holder.type());
    EXPECT_EQ(nullptr, holder.callback());
}

TEST(SettingHolder, SettingMadeByAFactoryHasNoCallbackAndChangesInSilence) {
    LogCapture log;
    SettingFactory factory;
    const auto holder = factory.create("int32", "sound/bass", "3");
    ASSERT_NE(nullptr, holder);
    EXPECT_EQ(nullptr, holder->callback());
    EXPECT_TRUE(holder->setValue(4));
    EXPECT_EQ(4, holder->getValue<int>());
    EXPECT_THAT(log.entries(), IsEmpty()) << log.dump();
}

TEST(SettingHolder, ChangeIsAskedForThenMadeThenReported) {
    SettingHolder holder("x", 1);
    Recorder owner;
    owner.watched = &holder;
    ASSERT_TRUE(holder.bind(owner));
    EXPECT_TRUE(holder.setValue(2));
    EXPECT_THAT(owner.calls, ElementsAre("changing x at 1", "changed x at 2"));
}

TEST(SettingHolder, VetoKeepsTheValueAndNothingIsReportedOrLogged) {
    LogCapture log;
    SettingHolder holder("x", 1);
    Recorder owner;
    owner.watched = &holder;
    owner.allows = false;
    ASSERT_TRUE(holder.bind(owner));
    EXPECT_FALSE(holder.setValue(2));
    EXPECT_EQ(1, holder.getValue<int>());
    EXPECT_THAT(owner.calls, ElementsAre("changing x at 1"));
    EXPECT_THAT(log.entries(), IsEmpty()) << log.dump();
}

TEST(SettingHolder, EqualValueIsAChangeToo) {
    SettingHolder holder("x", 1);
    Recorder owner;
    owner.watched = &holder;
    ASSERT_TRUE(holder.bind(owner));
    EXPECT_TRUE(holder.setValue(1));
    EXPECT_THAT(owner.calls, ElementsAre("changing x at 1", "changed x at 1"));
}

TEST(SettingHolder, CallbackAllowsEveryChangeAndIgnoresReportsByDefault) {
    SettingChangeCallback plain;
    EXPECT_TRUE(plain.changing("x"));
    plain.changed("x");
    SettingHolder holder("x", 1);
    ASSERT_TRUE(holder.bind(plain));
    EXPECT_TRUE(holder.setValue(2));
    EXPECT_EQ(2, holder.getValue<int>());
}

TEST(SettingHolder, ExceptionOfTheCallbackPassesAndLaterChangesWork) {
    struct Throwing : SettingChangeCallback {
        bool changing(std::string) override {
            if (fails) {
                throw std::runtime_error("not now");
            }
            return true;
        }
        bool fails = true;
    } owner;
    SettingHolder holder("x", 1);
    ASSERT_TRUE(holder.bind(owner));
    EXPECT_THROW(holder.setValue(2), std::runtime_error);
    EXPECT_EQ(1, holder.getValue<int>());
    owner.fails = false;
    EXPECT_TRUE(holder.setValue(3));
    holder.orphan(owner);
    EXPECT_FALSE(holder.setValue(4));
}

TEST(SettingHolder, SettingOfAReadOnlyStorageRefusesChanges) {
    StubFileStorage storage("sound", "", "/absent/file");
    const auto holder = boost::make_shared<SettingHolder>("sound/bass", 1);
    ASSERT_TRUE(storage.registerSetting(holder));
    storage.readonly(true);
    EXPECT_FALSE(holder->setValue(2));
    EXPECT_EQ(1, holder->getValue<int>());
    EXPECT_FALSE(storage.dirty());
    storage.readonly(false);
    EXPECT_TRUE(holder->setValue(2));
    EXPECT_EQ(2, holder->getValue<int>());
}

TEST(SettingHolder, ReadingAnotherTypeThrows) {
    const SettingHolder holder("x", 1);
    try {
        holder.getValue<unsigned>();
        FAIL() << "nothing was thrown";
    } catch (const boost::bad_any_cast& e) {
        EXPECT_STREQ("boost::bad_any_cast: failed conversion using boost::any_cast", e.what());
    }
    EXPECT_THROW(holder.getValue<std::string>(), boost::bad_any_cast);
}

TEST(SettingHolder, EmptyValueIsOfTypeVoidAndHasNeitherTypeNameNorText) {
    const auto holder = boost::make_shared<SettingHolder>("x", boost::any());
    EXPECT_EQ(typeid(void), holder->type());
    EXPECT_TRUE(holder->value().empty());
    EXPECT_THROW(holder->getValue<int>(), boost::bad_any_cast);
    const SettingFactory factory;
    EXPECT_EQ("", factory.typeAsString(holder));
    EXPECT_EQ("", factory.valueAsString(holder));
}

TEST(SettingHolder, ValueThatWasReadIsACopy) {
    SettingHolder holder("x", std::string("before"));
    const boost::any read = holder.value();
    ASSERT_TRUE(holder.setValue(std::string("after")));
    EXPECT_EQ("before", boost::any_cast<std::string>(read));
}

TEST(SettingHolder, BelongsToOneStorageForLife) {
    SettingHolder holder("x", 1);
    SettingChangeCallback first;
    SettingChangeCallback second;
    EXPECT_TRUE(holder.bind(first));
    EXPECT_FALSE(holder.bind(second));
    EXPECT_FALSE(holder.bind(first));
    EXPECT_EQ(&first, holder.callback());
}

TEST(SettingHolder, SecondRegistrationIsRefusedByEveryStorageAndChangesNothing) {
    StubFileStorage first("first", "", "/absent/file");
    StubFileStorage second("second", "", "/absent/file");
    const auto holder = boost::make_shared<SettingHolder>("x", 1);
    ASSERT_TRUE(first.registerSetting(holder));
    EXPECT_FALSE(first.registerSetting(holder));
    EXPECT_FALSE(second.registerSetting(holder));
    EXPECT_EQ(static_cast<SettingChangeCallback*>(&first), holder->callback());
    EXPECT_EQ(holder, first.querySetting("x"));
    EXPECT_EQ(nullptr, second.querySetting("x"));
    EXPECT_FALSE(second.registerSetting(nullptr));
}

TEST(SettingHolder, LaterSettingOfANameIsFiledAndTheEarlierKeepsItsStorage) {
    StubFileStorage storage("sound", "", "/absent/file");
    const auto earlier = boost::make_shared<SettingHolder>("sound/bass", 1);
    const auto later = boost::make_shared<SettingHolder>("sound/bass", 2);
    ASSERT_TRUE(storage.registerSetting(earlier));
    ASSERT_TRUE(storage.registerSetting(later));
    EXPECT_EQ(later, storage.querySetting("sound/bass"));
    EXPECT_EQ(1U, storage.settingsSet().size());
    EXPECT_EQ(static_cast<SettingChangeCallback*>(&storage), earlier->callback());
    EXPECT_TRUE(earlier->setValue(3));
    EXPECT_TRUE(storage.dirty());
}

TEST(SettingHolder, CallbackIsTheStorageSeenAsACallback) {
    StubFileStorage storage("sound", "", "/absent/file");
    const auto holder = boost::make_shared<SettingHolder>("sound/bass", 1);
    ASSERT_TRUE(storage.registerSetting(holder));
    SettingStorageInterface* const asInterface = &storage;
    EXPECT_EQ(static_cast<SettingChangeCallback*>(&storage), holder->callback());
    EXPECT_NE(static_cast<void*>(asInterface), static_cast<void*>(holder->callback()));
}

TEST(SettingHolder, TextLiteralIsKeptAsAString) {
    SettingHolder holder("x", "before");
    EXPECT_EQ("before", textOf(holder));
    EXPECT_TRUE(holder.setValue("after"));
    EXPECT_EQ("after", textOf(holder));
    EXPECT_TRUE(holder.setValue(""));
    EXPECT_EQ("", textOf(holder));
}

TEST(SettingHolder, CharacterArrayIsKeptUpToItsFirstNul) {
    char text[8] = {'a', 'b', '\0', 'c', 'd', 'e', 'f', 'g'};
    SettingHolder holder("x", text);
    EXPECT_EQ("ab", textOf(holder));
    const char unterminated[3] = {'x', 'y', 'z'};
    EXPECT_TRUE(holder.setValue(unterminated));
    EXPECT_EQ("xyz", textOf(holder));
}

TEST(SettingHolder, PointerToTextIsKeptAsAString) {
    const char* text = "before";
    SettingHolder holder("x", text);
    EXPECT_EQ("before", textOf(holder));
    text = "after";
    EXPECT_TRUE(holder.setValue(text));
    EXPECT_EQ("after", textOf(holder));
    text = nullptr;
    EXPECT_TRUE(holder.setValue(text));
    EXPECT_EQ("", textOf(holder));
    EXPECT_EQ("", textOf(SettingHolder("x", text)));
}

TEST(SettingHolder, ZeroIsANumberNotAText) {
    SettingHolder holder("x", 0);
    EXPECT_EQ(typeid(int), holder.type());
    EXPECT_TRUE(holder.setValue(0));
    EXPECT_EQ(typeid(int), holder.type());
    EXPECT_TRUE(holder.setValue(false));
    EXPECT_EQ(typeid(bool), holder.type());
}

TEST(SettingHolder, ValueOfAnotherTypeChangesTheSettingsType) {
    SettingHolder holder("x", 1);
    EXPECT_TRUE(holder.setValue(2.5));
    EXPECT_EQ(2.5, holder.getValue<double>());
}

TEST(SettingHolder, TypedChangeRefusesAnotherTypeWithoutAskingTheStorage) {
    SettingHolder holder("x", 1);
    Recorder owner;
    owner.watched = &holder;
    ASSERT_TRUE(holder.bind(owner));
    EXPECT_FALSE(holder.setValueKeepingType(2U));
    EXPECT_FALSE(holder.setValueKeepingType(std::string("2")));
    EXPECT_THAT(owner.calls, IsEmpty());
    EXPECT_TRUE(holder.setValueKeepingType(2));
    EXPECT_EQ(2, holder.getValue<int>());
}

TEST(SettingHolder, TypedChangeTakesATextLiteralForAString) {
    SettingHolder holder("x", "before");
    EXPECT_TRUE(holder.setValueKeepingType("after"));
    EXPECT_EQ("after", textOf(holder));
    const char* const text = "later";
    EXPECT_TRUE(holder.setValueKeepingType(text));
    EXPECT_EQ("later", textOf(holder));
    ASSERT_TRUE(holder.setValue(1));
    EXPECT_FALSE(holder.setValueKeepingType("text"));
    EXPECT_EQ(1, holder.getValue<int>());
}

}  // namespace
