// docs/adding-a-type.md is compiled and run: its blocks are the files in the folder of this name,
// and the lines of the list below.

#include <algorithm>
#include <boost/make_shared.hpp>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <type_traits>
#include <vector>

#include "Files.h"
#include "MarkdownPage.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageInifile.h"
#include "Qel/Settings/SettingsManager.h"
#include "Qel/Types/Reminders.h"
#include "TempDir.h"
#include "types/ApplicationType.h"
#include "types/EnumText.h"
#include "types/RecordText.h"

/// A field of every number that the page's table allows.
struct Numbers {
    signed char int8 = -1;
    unsigned char uint8 = 1;
    short int16 = -2;
    unsigned short uint16 = 2;
    int int32 = -3;
    unsigned int uint32 = 3;
    long wide = -4;
    long long int64 = -5;
    unsigned long long uint64 = 5;
    float float32 = 0.1F;
    double float64 = 1234567;
};

QEL_TEXT_FORM(Numbers)
T8_RECORD(Numbers, T8_FIELD(int8), T8_FIELD(uint8), T8_FIELD(int16), T8_FIELD(uint16),
          T8_FIELD(int32), T8_FIELD(uint32), T8_FIELD(wide), T8_FIELD(int64), T8_FIELD(uint64),
          T8_FIELD(float32), T8_FIELD(float64))

namespace {

using namespace Qel::Settings;
using qel::reminders::Reminder;
using qel::reminders::Repetition;
using testsupport::readFile;
using testsupport::sourceFile;

namespace lines {
using registration::array;
using registration::map;
using registration::value;

constexpr ApplicationType kReminderTypes[] = {
    value<qel::reminders::Repetition>("Repetition"),
    value<qel::reminders::Reminder>("Reminder"),
    array<qel::reminders::Reminder>("Reminder[]"),
    map<std::string, qel::reminders::Reminder>("map<std::string:Reminder>"),
};
}  // namespace lines

enum WithoutType { kNegative = -1 };
enum OfAnotherType : unsigned { kUnsigned = 0 };
static_assert(kHoldsEveryInt<Repetition>, "declared as `: int`");
static_assert(std::is_same<std::underlying_type_t<WithoutType>, int>::value &&
                  !kHoldsEveryInt<WithoutType>,
              "an int, but not every one");
static_assert(!kHoldsEveryInt<OfAnotherType>, "no negative numbers");

static_assert(!record::kIsFieldType<char>, "could be a comma");
static_assert(!record::kIsFieldType<Reminder>, "has commas");
static_assert(!record::kIsFieldType<std::vector<int>>, "only lists of strings");
static_assert(!record::kIsFieldType<unsigned long>, "files have no name for it");
static_assert(record::kIsFieldType<double> && record::kIsFieldType<std::bitset<7>>,
              "can be fields");
static_assert(record::isListOnlyLast<int, std::vector<std::string>>(), "last");
static_assert(!record::isListOnlyLast<std::vector<std::string>, int>(), "not last");

class AddingAType : public testing::Test {
protected:
    AddingAType() {
        for (const ApplicationType& type : lines::kReminderTypes) {
            types_->registerType(type.type, type.name, type.load, type.save);
        }
    }

    boost::shared_ptr<SettingStorageInifile> open(const std::string& text) {
        testsupport::writeFile(file_, text);
        auto storage = boost::make_shared<SettingStorageInifile>(
            "tv", "", file_, types_, SettingStorageInifile::Save_unspecified);
        EXPECT_TRUE(storage->init(&manager_, nullptr));
        EXPECT_EQ(*storage->errInfo(), "");
        return storage;
    }

    testsupport::TempDir directory_;
    const std::string file_ = directory_.file("tv.ini");
    const std::string page_ = readFile(sourceFile("docs/adding-a-type.md"));
    SettingsManager manager_;
    boost::shared_ptr<SettingFactory> types_ = boost::make_shared<SettingFactory>();
};

TEST_F(AddingAType, ThePageShowsWhatIsCompiledHere) {
    const std::string fence = "```cpp\n";
    const std::string self = readFile(sourceFile("tests/docs/AddingATypeTest.cpp"));
    const std::string header =
        readFile(sourceFile("tests/docs/AddingATypeTest/Qel/Types/Reminders.h"));
    const std::string source = readFile(sourceFile("tests/docs/AddingATypeTest/Reminders.cpp"));
    std::vector<std::string> blocks;
    for (std::size_t at = 0; (at = page_.find(fence, at)) != std::string::npos;) {
        at += fence.size();
        blocks.push_back(page_.substr(at, page_.find("```\n", at) - at));
    }
    ASSERT_EQ(blocks.size(), 3U);
    EXPECT_EQ(blocks[0], header);
    EXPECT_EQ(blocks[1], source);
    EXPECT_NE(self.find("kReminderTypes[] = {\n" + blocks[2] + "};\n"), std::string::npos);
}

TEST_F(AddingAType, AFileCanHoldTheNewTypes) {
    const testsupport::MarkdownPage page("docs/adding-a-type.md");
    const std::string text = "#name = tv\n" + page.fencedBlock("ini") + "#crc32 = ";
    const auto storage = open(text + "false\n");
    using ByViewer = std::map<std::string, Reminder>;
    const auto anna =
        storage->querySetting("tv/reminders/byViewer")->getValue<ByViewer>().at("Anna");
    EXPECT_EQ(anna.title, "News, late");
    EXPECT_EQ(anna.channel, 7U);
    EXPECT_EQ(anna.minutesAhead, 10);
    EXPECT_EQ(anna.repetition, qel::reminders::REPEAT_DAILY);
    EXPECT_FALSE(anna.switchesOver);
    const auto shown = storage->querySetting("tv/reminders/shown");
    EXPECT_EQ(shown->getValue<std::vector<Reminder>>().at(1).title, "Film; repeat");
    ASSERT_TRUE(shown->setValue(shown->value()));
    ASSERT_TRUE(storage->save());
    EXPECT_EQ(readFile(file_).substr(0, text.size()), text);
}

TEST_F(AddingAType, DefaultsComeFromTheMemberInitialisers) {
    const auto reminder = types_->create("Reminder", "a", "")->getValue<Reminder>();
    EXPECT_EQ(reminder.minutesAhead, 5);
    EXPECT_TRUE(reminder.switchesOver);
    EXPECT_EQ(types_->valueAsString(types_->create("Reminder", "a", "")), ",0,5,REPEAT_NEVER,true");
    EXPECT_EQ(types_->create("Repetition", "a", "")->getValue<Repetition>(),
              qel::reminders::REPEAT_NEVER);
}

TEST_F(AddingAType, ToolsAreToldOfIt) {
    const TypeDescription map = describe(lines::kReminderTypes[3]);
    EXPECT_EQ(map.name, "map<std::string:Reminder>");
    EXPECT_EQ(map.keyType, "string");
    EXPECT_EQ(map.elementType, "Reminder");
    ASSERT_EQ(map.fields.size(), 5U);
    EXPECT_EQ(map.fields[1].type, "uint32");
    EXPECT_EQ(map.fields[2].defaultText, "5");
    EXPECT_EQ(map.fields[3].type, "Repetition");
    ASSERT_EQ(map.fieldTypes.size(), 1U);
    EXPECT_EQ(map.fieldTypes[0].enumerators.size(), 3U);
    EXPECT_EQ(describe(lines::kReminderTypes[0]).enumerators.size(), 3U);
    EXPECT_EQ(describe(registration::array<Repetition>("Repetition[]")).enumerators.size(), 3U);
}

TEST_F(AddingAType, EveryNumberCanBeAFieldAndHasTheNameOfItsType) {
    EXPECT_EQ(StrConv::toString(Numbers{}), "-1,1,-2,2,-3,3,-4,-5,5,0.1,1.23457e+06");
    const std::string text =
        "-128,255,-32768,65535,-2147483648,4294967295,-2147483648,-9223372036854775808,"
        "18446744073709551615,-0.5,1e-07";
    EXPECT_EQ(save_x<Numbers>(load_x<Numbers>("a", text)), text);
    std::string types;
    for (const TypeDescription::Field& field : describeType<Numbers>().fields) {
        types += field.type + ",";
    }
    EXPECT_EQ(types, "int8,uint8,short,uint16,int,uint32,long,long long,uint64,float32,float64,");
}

}  // namespace
