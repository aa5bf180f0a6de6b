#include <algorithm>
#include <boost/any.hpp>
#include <boost/make_shared.hpp>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "IniStorageFixture.h"

namespace {

using namespace Qel::Settings;
using testsupport::exists;
using testsupport::IniStorageFixture;
using testsupport::readFile;
using testsupport::withCrc;
using testsupport::writeFile;

using Lines = std::vector<std::string>;
using Strings = std::vector<std::string>;
using Chars = std::vector<char>;

/// What the format cannot hold, between two settings that it can: those must not suffer.
class InifileLoss : public IniStorageFixture {
protected:
    /// Saves a setting of this name and value between its neighbours, and loads the file.
    void saveAndReload(const std::string& name, const boost::any& value) {
        std::filesystem::remove(rw_);
        buildDefaults("#name = settings\n");
        ASSERT_TRUE(reopen());
        add("settings/!first", 1);
        add("settings/~last", 2);
        ASSERT_TRUE(storage_->registerSetting(boost::make_shared<SettingHolder>(name, value)));
        ASSERT_TRUE(storage_->saveFile(rw_)) << name;
        defaults_.clear();
        log_.clear();
        ASSERT_TRUE(reopen()) << name;
        EXPECT_FALSE(exists(bad_)) << name << readFile(bad_);
    }

    /// That the setting came back as this line, or not at all for "".
    void expectBack(const std::string& line, const std::string& what) {
        Lines expected = {"settings/!first = int,1", "settings/~last = int,2"};
        if (!line.empty()) {
            expected.push_back(line);
            std::sort(expected.begin(), expected.end());
        }
        EXPECT_EQ(settingsOf(*storage_), expected) << what << log_.dump();
        EXPECT_FALSE(storage_->readonly()) << what;
        EXPECT_EQ(storage_->name(), "settings") << what;
    }

    template <class T>
    void expectValue(const T& value, const T& back) {
        saveAndReload("settings/k", value);
        EXPECT_EQ(storage_->settingsSet().size(), 3U);
        EXPECT_EQ(setting("settings/k")->getValue<T>(), back);
        EXPECT_EQ(setting("settings/!first")->getValue<int>(), 1);
        EXPECT_EQ(setting("settings/~last")->getValue<int>(), 2);
    }
};

TEST_F(InifileLoss, StringsLoseOuterBlanksUnlessTheyAreQuoted) {
    expectValue<std::string>(" a b  ", "a b");
    expectValue<std::string>("   ", "");
    expectValue<std::string>(" a,b ", " a,b ");
    expectValue<std::string>(" ; ", " ; ");
    expectValue<std::string>("\t\n\v\f\ra\t\n\v\f\r", "\t\n\v\f\ra\t\n\v\f\r");
    expectValue<std::string>("\xC3\xA0 b\xC3\xA0", "\xC3\xA0 b\xC3\xA0");
}

TEST_F(InifileLoss, WhiteSpaceCharactersReadBackAsNul) {
    for (const char c : {' ', '\t', '\n', '\v', '\f', '\r'}) {
        expectValue<char>(c, '\0');
        EXPECT_EQ(errInfo(), "");
    }
    for (const char c : {'\0', '#', '[', '=', ',', ';', '"', '\\', '\x7F', '\xA0', '\xFF'}) {
        expectValue<char>(c, c);
    }
}

TEST_F(InifileLoss, CharacterArraysLoseSemicolonsQuotesBackslashesAndWhatTheyShield) {
    expectValue<Chars>({'a', ';'}, {'a', '\0'});
    expectValue<Chars>({';', 'a'}, {'\0', '\0', 'a'});
    expectValue<Chars>({'\\', 'a'}, {'\\'});
    expectValue<Chars>({'"', 'a', 'b'}, {'"'});
    expectValue<Chars>({'"', 'a', '"', 'b'}, {'"', 'b'});
    expectValue<Chars>({' ', 'a', ' '}, {'\0', 'a'});
    expectValue<Chars>({'a', ' ', 'b'}, {'a', ' ', 'b'});
}

TEST_F(InifileLoss, ALineFeedInACharacterArrayCostsTheArrayItsRestAndNothingElse) {
    expectValue<Chars>({'a', '\n'}, {'a'});
    EXPECT_EQ(errInfo(), "");
    expectValue<Chars>({'a', '\n', 'b', '='}, {'a'});
    EXPECT_EQ(errInfo(), ";b;=\n");
    expectValue<Chars>({'\n', '#', 'n', '\n', '[', 'x', ']'}, {});
    EXPECT_EQ(errInfo(), ";#;n;\n;[;x;]\n");
}

TEST_F(InifileLoss, ALineFeedCanMakeASettingOfACharacterArraysRest) {
    saveAndReload("settings/k", Chars{'a', '\n', '=', 'i', 'n', 't', ',', '5'});
    EXPECT_EQ(errInfo(), ";=;i;n;t;,;5\n");
    expectBack("settings/k = char[],a", "the type is ;i;n;t;");
}

TEST_F(InifileLoss, TrailingEmptyStringsOfAnArrayAreLost) {
    expectValue<Strings>({"a", ""}, {"a"});
    expectValue<Strings>({"a", "", ""}, {"a", ""});
    expectValue<Strings>({""}, {});
    expectValue<Strings>({"", "a"}, {"", "a"});
    expectValue<Strings>({" a", " b "}, {"a", " b"});
}

TEST_F(InifileLoss, AnEmptyStringInAMapCostsItAndTheEntriesAfterIt) {
    using IntMap = std::map<int, std::string>;
    using StringMap = std::map<std::string, std::string>;
    expectValue<IntMap>({{1, "a"}, {2, ""}, {3, "c"}}, {{1, "a"}});
    expectValue<IntMap>({{1, ""}}, {});
    expectValue<StringMap>({{"a", "1"}, {"b", ""}, {"c", "3"}}, {{"a", "1"}});
    expectValue<StringMap>({{"", "1"}, {"b", "2"}}, {});
}

TEST_F(InifileLoss, ABlankAtTheEndOfAMapCostsTheLastEntry) {
    using IntMap = std::map<int, std::string>;
    expectValue<IntMap>({{1, "a "}, {2, "b "}}, {{1, "a "}});
    expectValue<IntMap>({{1, "a "}, {2, ",b "}}, {{1, "a "}, {2, ",b "}});
}

TEST_F(InifileLoss, FloatingPointNumbersKeepSixDigits) {
    expectValue<double>(0.123456789, 0.123457);
    expectValue<double>(3.141592653589793, 3.14159);
    expectValue<double>(1234567, 1.23457e6);
    expectValue<float>(16777216.0F, 16777200.0F);
}

TEST_F(InifileLoss, AValueOfAnUnregisteredTypeIsRefusedAtTheLoad) {
    struct Unregistered {};
    saveAndReload("settings/k", Unregistered());
    expectBack("", "unregistered");
    EXPECT_EQ(errInfo(), "k = ,\n");
}

TEST_F(InifileLoss, KeysWithAnEqualsAreCutThere) {
    saveAndReload("settings/a=b", 5);
    expectBack("", "a=b");
    EXPECT_EQ(errInfo(), "a=b = int,5\n");
    saveAndReload("settings/=", 5);
    expectBack("", "=");
}

TEST_F(InifileLoss, KeysLoseOuterBlanks) {
    saveAndReload("settings/ k\t ", 5);
    expectBack("settings/k = int,5", "blanks");
}

TEST_F(InifileLoss, SettingsThatWouldReadAsAHeaderOrSectionAreLeftOut) {
    for (const char* const key :
         {"#k", "#name", "# name", "\t#readonly", "#crc32", "#", "[k", "[k]", " [", "[]"}) {
        saveAndReload(std::string("settings/") + key, std::string("x]"));
        expectBack("", key);
        EXPECT_EQ(errInfo(), "") << key;
    }
    buildDefaults("#name = settings\n");
    ASSERT_TRUE(reopen());
    add("settings/#readonly", 1);
    EXPECT_TRUE(storage_->saveFile(rw_));
    EXPECT_EQ(logged(5,
                     "SettingStorageInifile: 'settings/#readonly' is not saved: its key would read "
                     "as a header or section"),
              1U)
        << log_.dump();
}

TEST_F(InifileLoss, HashesAndBracketsInsideAKeyAreNoTrouble) {
    for (const char* const key : {"a#", "a[b]", "]", "a]", "/#k", "a/[k"}) {
        saveAndReload(std::string("settings/") + key, 5);
        expectBack("settings/" + std::string(key) + " = int,5", key);
    }
}

TEST_F(InifileLoss, ANameWithALineFeedIsLeftOut) {
    for (const char* const name :
         {"settings/k\n#readonly = 1", "settings/\n", "settings/s\n/k", "x\ny/k", "\n"}) {
        saveAndReload(name, 5);
        expectBack("", name);
        EXPECT_EQ(errInfo(), "") << name;
    }
    buildDefaults("#name = settings\n");
    ASSERT_TRUE(reopen());
    add("settings/k\n#readonly = 1", 1);
    EXPECT_TRUE(storage_->saveFile(rw_));
    EXPECT_EQ(logged(5,
                     "SettingStorageInifile: 'settings/k\n#readonly = 1' is not saved: line feed "
                     "in its name"),
              1U)
        << log_.dump();
}

TEST_F(InifileLoss, AStorageWithALineFeedInItsNameIsNotSaved) {
    build("#name = settings\n#savepolicy = ondemand\n[]\nk = int,1");
    const std::string bytes = readFile(rw_);
    ASSERT_TRUE(reopen());
    storage_->name("settings\n#readonly");
    setting("settings/k")->setValue(2);
    EXPECT_FALSE(storage_->save());
    EXPECT_TRUE(storage_->dirty());
    EXPECT_EQ(readFile(rw_), bytes);
    EXPECT_EQ(logged(5,
                     "SettingStorageInifile: storage 'settings\n#readonly' is not saved: it has no "
                     "factory, or a line feed in its name"),
              1U)
        << log_.dump();
}

TEST_F(InifileLoss, AStoragesNameLosesOuterBlanks) {
    ASSERT_TRUE(reopen());
    storage_->name(" tv ");
    add(" tv /k", 1);
    EXPECT_TRUE(storage_->saveFile(rw_));
    ASSERT_TRUE(reopen());
    EXPECT_EQ(storage_->name(), "tv");
    check({"tv/k = int,1"});
}

TEST_F(InifileLoss, EveryOtherStringComesBackAsItWas) {
    std::mt19937 random(20240);
    ASSERT_TRUE(reopen());
    std::map<std::string, std::string> expected;
    for (int i = 0; i < 3000; ++i) {
        std::string value(random() % 12, '\0');
        for (char& c : value) {
            c = random() % 3 == 0 ? " ,;\"\\\n"[random() % 6] : static_cast<char>(random() % 256);
        }
        const std::string name = "settings/k" + std::to_string(i);
        add(name, value);
        if (value.find_first_of(",;") == std::string::npos) {
            const std::size_t start = std::min(value.find_first_not_of(' '), value.size());
            value.erase(value.find_last_not_of(' ') + 1);
            value.erase(0, start);
        }
        expected[name] = value;
    }
    ASSERT_TRUE(storage_->saveFile(rw_));
    ASSERT_TRUE(reopen());
    EXPECT_EQ(storage_->settingsSet().size(), expected.size());
    for (const auto& entry : expected) {
        EXPECT_EQ(setting(entry.first)->getValue<std::string>(), entry.second) << entry.first;
    }
    EXPECT_EQ(errInfo(), "");
}

}  // namespace
