#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "ProductFixture.h"
#include "Qel/Settings/SettingHolder.h"

namespace {

using namespace Qel::Settings;
using testing::ElementsAre;
using testing::IsEmpty;
using testsupport::exists;

class ProductSetupFiles : public testsupport::ProductFixture {
protected:
    const std::string& defaultsPathOf(const std::string& name) const {
        return *storage(name)->filename();
    }
    const std::string& readWritePathOf(const std::string& name) const {
        return *storage(name)->rwFilename();
    }
};

TEST_F(ProductSetupFiles, FileOfBothDirectoriesGivesOneStorageWithBothPaths) {
    putIni(defaults_, "sound.ini", 1);
    putIni(settings_, "sound.ini", 2);
    bringUp();
    ASSERT_THAT(storageNames(), ElementsAre("sound"));
    EXPECT_EQ(defaults_ + "/sound.ini", defaultsPathOf("sound"));
    EXPECT_EQ(settings_ + "/sound.ini", readWritePathOf("sound"));
    EXPECT_EQ(2, manager_->setting("sound/value")->getValue<int>());
}

TEST_F(ProductSetupFiles, FileOfTheReadWriteDirectoryAloneHasAnEmptyDefaultsPath) {
    putIni(settings_, "foo.ini");
    bringUp();
    ASSERT_THAT(storageNames(), ElementsAre("foo"));
    EXPECT_EQ("", defaultsPathOf("foo"));
    EXPECT_EQ(settings_ + "/foo.ini", readWritePathOf("foo"));
}

TEST_F(ProductSetupFiles, FileOfTheDefaultsDirectoryAloneHasAReadWritePathAllTheSame) {
    putIni(defaults_, "foo.ini");
    bringUp();
    EXPECT_EQ(defaults_ + "/foo.ini", defaultsPathOf("foo"));
    EXPECT_EQ(settings_ + "/foo.ini", readWritePathOf("foo"));
    EXPECT_FALSE(exists(settings_));
}

TEST_F(ProductSetupFiles, DirectoryPairsAreNotMixed) {
    putIni(defaults_, "foo.ini", 1);
    putIni(calibration_, "bar.ini", 2);
    bringUp();
    EXPECT_EQ(settings_ + "/foo.ini", readWritePathOf("foo"));
    EXPECT_EQ("", defaultsPathOf("bar"));
    EXPECT_EQ(calibration_ + "/bar.ini", readWritePathOf("bar"));
}

TEST_F(ProductSetupFiles, NameLineInTheFileWinsOverTheFilesName) {
    put(defaults_, "foo.ini", "#name = sound\nvalue = int32,1\n");
    bringUp();
    EXPECT_THAT(storageNames(), ElementsAre("sound"));
    EXPECT_EQ(defaults_ + "/foo.ini", defaultsPathOf("sound"));
    EXPECT_NE(nullptr, manager_->setting("sound/value"));
    EXPECT_EQ(nullptr, manager_->setting("foo/value"));
}

TEST_F(ProductSetupFiles, XmlFilesHaveBothPathsToo) {
    put(defaults_, "any.xml", "<tv/>");
    bringUp();
    const auto tv = storage("tv");
    EXPECT_EQ(defaults_ + "/any.xml", *tv->filename());
    EXPECT_EQ(
        "tv RO def=" + defaults_ + "/any.xml rw=" + settings_ + "/any.xml savePolicy=Save_onDemand",
        tv->info());
}

TEST_F(ProductSetupFiles, NamesOfBothDirectoriesAreTakenInByteWiseOrderWithoutDuplicates) {
    for (const char* const name : {"b.ini", "a.ini", "B.ini"}) {
        putIni(defaults_, name);
    }
    for (const char* const name : {"c.ini", "b.ini", "_.ini", "\xC3\xA4.ini", "b-.ini"}) {
        putIni(settings_, name);
    }
    bringUp();
    std::vector<std::string> order;
    for (const std::string& line : report()) {
        if (line.compare(0, 3, "2 \t") == 0 && line.compare(0, 4, "2 \t\t") != 0) {
            order.push_back(line.substr(3));
        }
    }
    EXPECT_THAT(order,
                ElementsAre("B.ini", "_.ini", "a.ini", "b-.ini", "b.ini", "c.ini", "\xC3\xA4.ini"));
}

TEST_F(ProductSetupFiles, OtherSuffixesAreIgnored) {
    for (const std::string& directory : {defaults_, settings_}) {
        for (const char* const name :
             {"FOO.INI", "foo.Ini", "foo.XML", "foo.ini.bad", "foo.ini.tmp", "foo.xml.bad",
              "foo.ini~", "foo.ini ", "foo", "ini", "xml", "fooini", "foo.in", "foo.inii"}) {
            putIni(directory, name);
        }
    }
    bringUp();
    EXPECT_THAT(storageNames(), IsEmpty());
    EXPECT_EQ(3U, report().size()) << log_.dump();
}

TEST_F(ProductSetupFiles, HiddenFilesAreIgnored) {
    for (const char* const name : {".ini", ".xml", ".hidden.ini"}) {
        putIni(settings_, name);
        putIni(defaults_, name);
    }
    bringUp();
    EXPECT_THAT(storageNames(), IsEmpty());
    EXPECT_TRUE(exists(settings_ + "/.ini"));
}

TEST_F(ProductSetupFiles, FilesOfSubdirectoriesAreIgnored) {
    putIni(settings_ + "/more", "foo.ini");
    bringUp();
    EXPECT_THAT(storageNames(), IsEmpty());
}

TEST_F(ProductSetupFiles, OnlyTheLastSuffixCounts) {
    putIni(defaults_, "foo.xml.ini");
    putIni(defaults_, "bar.ini.ini");
    put(defaults_, "foo.ini.xml", "<tv/>");
    bringUp();
    EXPECT_THAT(storageNames(), ElementsAre("bar.ini", "foo.xml", "tv"));
}

TEST_F(ProductSetupFiles, NamesWithPatternCharactersStandForThemselves) {
    for (const char* const name : {"*.ini", "a[b].ini", "what?.ini", "back\\slash.ini", "~.ini",
                                   "{x,y}.ini", "sp ace.ini"}) {
        putIni(defaults_, name);
    }
    bringUp();
    EXPECT_THAT(storageNames(),
                ElementsAre("*", "a[b]", "back\\slash", "sp ace", "what?", "{x,y}", "~"));
    EXPECT_EQ(defaults_ + "/a[b].ini", defaultsPathOf("a[b]"));
    EXPECT_EQ(1, manager_->setting("*/value")->getValue<int>());
}

TEST_F(ProductSetupFiles, LocationWithPatternCharactersStandsForItself) {
    for (const char* const location :
         {"/loc[xy]", "/l*c", "/what?", "/back\\slash", "/trailing\\", "/{a,b}", "/[", "/~"}) {
        useLocation(dir_.path() + location);
        putIni(defaults_, "foo.ini");
        putIni(settings_, "bar.ini");
        bringUp();
        EXPECT_THAT(storageNames(), ElementsAre("bar", "foo")) << location;
        EXPECT_EQ(defaults_ + "/foo.ini", defaultsPathOf("foo"));
    }
}

TEST_F(ProductSetupFiles, LocationIsNotTakenForAPatternOfOthers) {
    putIni(dir_.file("locx/settings"), "foo.ini");
    useLocation(dir_.file("loc?"));
    bringUp();
    EXPECT_THAT(storageNames(), IsEmpty());
}

TEST_F(ProductSetupFiles, PercentSignsInNamesAndPathsStandForThemselves) {
    useLocation(dir_.file("%n%s"));
    putIni(defaults_, "100%s%n.ini");
    put(calibrationDefaults_, "%s.xml", "<tv>");
    bringUp();
    EXPECT_THAT(storageNames(), ElementsAre("100%s%n"));
    EXPECT_TRUE(log_.contains(2, "Qel::Settings", "src/T8SettingsManager",
                              "\t\tDefaults: " + defaults_ + "/100%s%n.ini"))
        << log_.dump();
    EXPECT_TRUE(log_.contains(4, "Qel::Settings", "src/T8SettingsManager",
                              "\t\tFAILED to register storage for %s.xml, no errInfo"))
        << log_.dump();
}

TEST_F(ProductSetupFiles, DirectoryInPlaceOfAReadWriteFileIsSetAside) {
    std::filesystem::create_directories(settings_ + "/foo.ini");
    putIni(defaults_, "foo.ini", 4);
    bringUp();
    EXPECT_THAT(storageNames(), ElementsAre("foo"));
    EXPECT_EQ(4, manager_->setting("foo/value")->getValue<int>());
    EXPECT_FALSE(exists(settings_ + "/foo.ini"));
    EXPECT_TRUE(std::filesystem::is_directory(settings_ + "/foo.ini.bad"));
}

TEST_F(ProductSetupFiles, DirectoryInPlaceOfADefaultsFileCostsThatStorageOnly) {
    std::filesystem::create_directories(defaults_ + "/foo.ini");
    putIni(defaults_, "bar.ini");
    putIni(settings_, "foo.ini");
    bringUp();
    EXPECT_THAT(storageNames(), ElementsAre("bar"));
    EXPECT_TRUE(std::filesystem::is_directory(defaults_ + "/foo.ini"));
    EXPECT_TRUE(exists(settings_ + "/foo.ini"));
}

TEST_F(ProductSetupFiles, FileInPlaceOfADirectoryCountsAsMissing) {
    put(base_, "settings", "not a directory");
    putIni(defaults_, "foo.ini");
    bringUp();
    EXPECT_THAT(storageNames(), ElementsAre("foo"));
}

TEST_F(ProductSetupFiles, LinkToADirectoryIsFollowed) {
    putIni(dir_.file("elsewhere"), "foo.ini");
    std::filesystem::create_symlink(dir_.file("elsewhere"), settings_);
    bringUp();
    EXPECT_THAT(storageNames(), ElementsAre("foo"));
}

}  // namespace
