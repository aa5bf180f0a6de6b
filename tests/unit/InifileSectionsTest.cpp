#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "IniStorageFixture.h"

namespace {

using testsupport::IniStorageFixture;
using testsupport::readFile;
using testsupport::withCrc;
using testsupport::writeFile;

using Names = std::vector<std::string>;

class InifileSections : public IniStorageFixture {
protected:
    bool load(const std::string& text) {
        buildDefaults(text);
        return reopen(Storage::Save_unspecified);
    }

    /// The file as a save makes it.
    std::string saved() {
        EXPECT_TRUE(storage_->saveFile(rw_)) << log_.dump();
        return readFile(rw_);
    }

    static std::string elsewhere(const std::string& prefix) {
        return "SettingStorageInifile: settings of '" + prefix +
               "' are saved in storage 'settings' and will load under its name";
    }
};

TEST_F(InifileSections, OneBlankLineStandsBeforeEverySectionLineButTheFirst) {
    ASSERT_TRUE(load("#name = settings\n[a]\n[b]\n[c]\n"));
    add("settings/c/k", 3);
    add("settings/a/k", 1);
    add("settings/b/k", 2);
    add("settings/b/j", 2);
    EXPECT_EQ(saved(), withCrc("#name = settings\n[a]\nk = int,1\n\n[b]\nj = int,2\nk = int,2\n\n"
                               "[c]\nk = int,3"));
}

TEST_F(InifileSections, RootSettingsStandAfterABracketPairAndMayReadBackInASection) {
    ASSERT_TRUE(load("#name = settings\n#savepolicy = ondemand\n[sound]\n"));
    add("settings/a", 1);
    add("settings/sound/bass", static_cast<signed char>(-2));
    add("settings/zeta", 26);
    EXPECT_EQ(saved(), readFile(T8_TEST_DATA_DIR "/ini/three-roots.ini"));
    defaults_.clear();
    ASSERT_TRUE(reopen());
    check({"settings/a = int,1", "settings/sound/bass = int8,-2", "settings/sound/zeta = int,26"});
}

TEST_F(InifileSections, EachRootSettingThatWillReadBackInASectionIsTold) {
    ASSERT_TRUE(load("#name = settings\n#savepolicy = ondemand\n[sound]\n"));
    for (const char* const name : {"a", "sound/bass", "zeta", "zulu"}) {
        add(std::string("settings/") + name, 1);
    }
    saved();
    const auto told = [this](const std::string& name) {
        return logged(5, "SettingStorageInifile: 'settings/" + name +
                             "' has no section and will load under the one before it in the file");
    };
    EXPECT_EQ(told("a"), 0U);
    EXPECT_EQ(told("sound/bass"), 0U);
    EXPECT_EQ(told("zeta"), 1U);
    EXPECT_EQ(told("zulu"), 1U);
}

TEST_F(InifileSections, RootSettingsBeforeEverySectionReadBackAsTheyWere) {
    ASSERT_TRUE(load("#name = settings\n[sound]\n"));
    add("settings/a", 1);
    add("settings/b", 2);
    add("settings/sound/bass", 3);
    saved();
    defaults_.clear();
    ASSERT_TRUE(reopen());
    check({"settings/a = int,1", "settings/b = int,2", "settings/sound/bass = int,3"});
}

TEST_F(InifileSections, ASectionIsTheTrimmedTextBetweenTheBrackets) {
    ASSERT_TRUE(
        load("#name = settings\n[ sound ]\na = int,1\n[sound]\nb = int,2\n"
             "\t[\tx y/z ] \nc = int,3\n[[d]]\ne = int,4\n"));
    check({"settings/[d]/e = int,4", "settings/sound/a = int,1", "settings/sound/b = int,2",
           "settings/x y/z/c = int,3"});
    EXPECT_EQ(storage_->sections(),
              (Names{"settings/", "settings/[d]/", "settings/sound/", "settings/x y/z/"}));
}

TEST_F(InifileSections, EmptyAndUnclosedSectionLinesAreSkippedWithoutAMessage) {
    for (const char* const line : {"[]", "[ ]", "[\t]", "[abc", "[", "[abc] x"}) {
        ASSERT_TRUE(load("#name = settings\n" + std::string(line) + "\na = int,1\n[s]\n" + line +
                         "\nb = int,2\n"));
        check({"settings/a = int,1", "settings/s/b = int,2"});
        EXPECT_EQ(errInfo(), "") << line;
        EXPECT_EQ(storage_->sections(), (Names{"settings/", "settings/s/"})) << line;
    }
    EXPECT_TRUE(messagesOf("src/SettingsStorageInifile").size() > 0);
    for (const auto& entry : log_.entries()) {
        EXPECT_EQ(entry.level, 2) << entry.text;
    }
}

TEST_F(InifileSections, OfNestedSectionsTheLongestWins) {
    ASSERT_TRUE(load("#name = settings\n[a/b]\n[a]\n[a/b/c]\n"));
    for (const char* const name : {"a/k", "a/b/k", "a/b/c/k", "a/b/c/d/k", "a/x/k", "ab/k"}) {
        add(std::string("settings/") + name, 1);
    }
    EXPECT_EQ(saved(), withCrc("#name = settings\n"
                               "[a/b/c]\nd/k = int,1\nk = int,1\n\n"
                               "[a/b]\nk = int,1\n\n"
                               "[a]\nk = int,1\nx/k = int,1\n\n"
                               "[]\nab/k = int,1"));
}

TEST_F(InifileSections, SectionsOfBothFilesAreKnown) {
    buildDefaults("#name = settings\n[a]\nk = int,1\n");
    build("#name = settings\n[b]\nk = int,2");
    ASSERT_TRUE(reopen(Storage::Save_unspecified));
    EXPECT_EQ(storage_->sections(), (Names{"settings/", "settings/a/", "settings/b/"}));
    EXPECT_EQ(saved(), withCrc("#name = settings\n[a]\nk = int,1\n\n[b]\nk = int,2"));
}

TEST_F(InifileSections, ASectionIsListedOnceHoweverOftenItIsRead) {
    ASSERT_TRUE(load("#name = settings\n[a]\n[a]\n[b]\n[a]\n"));
    ASSERT_TRUE(storage_->loadFile(defaults_));
    EXPECT_EQ(storage_->sections(), (Names{"settings/", "settings/a/", "settings/b/"}));
}

TEST_F(InifileSections, TheRootIsKnownWithoutAnyFile) {
    ASSERT_TRUE(reopen(Storage::Save_unspecified));
    EXPECT_EQ(storage_->sections(), Names{});
    add("settings/a", 1);
    add("settings/sound/bass", 2);
    EXPECT_EQ(saved(), withCrc("#name = settings\n[]\na = int,1\nsound/bass = int,2"));
    ASSERT_TRUE(reopen());
    check({"settings/a = int,1", "settings/sound/bass = int,2"});
}

TEST_F(InifileSections, SettingsOfAFormerNameAreSavedUnderTheirWholePrefix) {
    buildDefaults("#name = settings of the former set\nk = int,1\n[s]\nk = int,2\n");
    build("#name = settings\nk = int,3");
    ASSERT_TRUE(reopen(Storage::Save_unspecified));
    EXPECT_EQ(saved(), withCrc("#name = settings\n"
                               "[settings of the former set]\nk = int,1\n\n"
                               "[settings of the former set/s]\nk = int,2\n\n"
                               "[]\nk = int,3"));
    EXPECT_EQ(logged(5, elsewhere("settings of the former set/")), 1U) << log_.dump();
    EXPECT_EQ(logged(5, elsewhere("settings of the former set/s/")), 1U) << log_.dump();
}

TEST_F(InifileSections, ANewNameLongerThanTheFormerPrefixIsNoTrouble) {
    buildDefaults("#name = s\nk = int,1\n");
    build("#name = settings\nz = int,3");
    ASSERT_TRUE(reopen(Storage::Save_unspecified));
    EXPECT_EQ(saved(), withCrc("#name = settings\n[s]\nk = int,1\n\n[]\nz = int,3"));
    EXPECT_EQ(logged(5, elsewhere("s/")), 1U) << log_.dump();
}

TEST_F(InifileSections, ForeignSettingsAreSavedUnderTheirPath) {
    ASSERT_TRUE(reopen(Storage::Save_unspecified));
    add("bare", 1);
    add("settings/k", 2);
    add("settingsx/k", 3);
    add("tv/a/k", 4);
    EXPECT_EQ(saved(), withCrc("#name = settings\n[]\nbare = int,1\n\n[]\nk = int,2\n\n"
                               "[settingsx]\nk = int,3\n\n[tv/a]\nk = int,4"));
    EXPECT_EQ(logged(5, elsewhere("")), 1U) << log_.dump();
    EXPECT_EQ(logged(5, elsewhere("settingsx/")), 1U) << log_.dump();
    EXPECT_EQ(logged(5, elsewhere("tv/a/")), 1U) << log_.dump();
    ASSERT_TRUE(reopen());
    check({"settings/bare = int,1", "settings/k = int,2", "settings/settingsx/k = int,3",
           "settings/tv/a/k = int,4"});
}

TEST_F(InifileSections, AnEmptyStorageNameHasARootOfItsOwn) {
    ASSERT_TRUE(load("#name\na = int,1\n[s]\nb = int,2\n"));
    EXPECT_EQ(storage_->sections(), (Names{"/", "/s/"}));
    EXPECT_EQ(saved(), withCrc("#name = \n[]\na = int,1\n\n[s]\nb = int,2"));
    defaults_.clear();
    ASSERT_TRUE(reopen());
    check({"/a = int,1", "/s/b = int,2"});
}

}  // namespace
