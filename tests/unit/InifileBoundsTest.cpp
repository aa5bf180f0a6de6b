// Large and odd files: no line, value, name or number of them costs more than in proportion, and
// what is not linear in time does not end in the time that a test has. The figures are those of
// docs/limits.md.

#include <cstdio>
#include <gtest/gtest.h>
#include <string>

#include "IniStorageFixture.h"
#include "Proportion.h"
#include "files/WholeFile.h"
#include "types/ApplicationTypes.h"

namespace {

using Qel::Settings::files::kLargestFile;
using testsupport::exists;
using testsupport::Heap;
using testsupport::IniStorageFixture;
using testsupport::kOneEach;
using testsupport::Proportion;
using testsupport::Shape;
using testsupport::twoSizes;
using testsupport::withCrc;

const Shape kShapes[] = {
    {"LinesOfOneCharacter", "\nx", "", "\n", "\nx", 500000, 0, 5},
    {"EmptyLines", "", "\n", "", "", 1000000, 0, 2},
    {"Settings", "", "\nkey% = int,%", "", "", 50000, kOneEach, 14},
    {"ShortestSettings", "", "\n%=int,", "", "", 50000, kOneEach, 25},
    {"Sections", "", "\n[s%]\nk = int,1", "", "", 25000, kOneEach, 22},
    {"OneNameAgainAndAgain", "", "\nk=int,1", "", "", 100000, 1, 2},
    {"UnknownTypes", "", "\nkey% = what,%", "", "", 50000, 0, 5},
    {"LongString", "\nk = string,", "x", "", "", 2000000, 1, 5},
    {"LongEscapedString", "\nk = string,", "\\n", "", "", 1000000, 1, 5},
    {"LongQuotedString", "\nk = string,\"", "a,", "", "\"", 1000000, 1, 6},
    {"LongName", "\n", "k", "", " = int,1", 2000000, 1, 6},
    {"LongSectionName", "\n[", "s", "", "]\na = int,1\nb = int,2", 1000000, 2, 12},
    {"LongTypeName", "\nk = ", "t", "", ",1", 2000000, 0, 6},
    {"NumberArray", "\nk = int32[],", "%", ";", "", 100000, 1, 4},
    {"StringArray", "\nk = string[],", "\"a;\\n%\"", ";", "", 50000, 1, 8},
    {"EmptyFields", "\nk = string[],", ";", "", "", 250000, 1, 80},
    {"RecordArray", "\nk = RecentVideoItem[],", "film %,%", ";", "", 25000, 1, 8},
    {"NumberMap", "\nk = map<int:int>,", "7,%,7,%", ",", "", 25000, 1, 8},
    {"StringMap", "\nk = map<string:string>,", "7,%,11,\"%,;\"", ",", "", 25000, 1, 14},
    {"RecordMap", "\nk = map<int:DvbSatelliteProviderItem>,", "7,%,15,1,2,3,4,5,6,7,8", ",", "",
     25000, 1, 9},
    {"OneKeyAgainAndAgain", "\nk = map<int:int>,", "1,1,1,2", ",", "", 100000, 1, 4},
};

class InifileBounds : public IniStorageFixture, public testing::WithParamInterface<Shape> {
protected:
    InifileBounds() {
        qlog::setDefaultThreshold(6);
        qlog::setThreshold("Qel::Settings", 5);
        Qel::Settings::registerApplicationTypes(*types_);
        // How long a disk takes is not measured here.
        Storage::syncWrites(false);
    }
    ~InifileBounds() override { Storage::syncWrites(true); }

    /// Loads the file and saves it under another name.
    void loadAndSave(const std::string& text, Proportion& load, Proportion& save) {
        testsupport::writeFile(rw_, text);
        storage_.reset();
        load.measure(text.size(), [this] { ASSERT_TRUE(reopen()); });
        ASSERT_FALSE(exists(bad_));
        save.measure(text.size(), [this] { ASSERT_TRUE(storage_->saveFile(saved_)); });
    }

    std::string saved_ = dir_.file("saved.ini");
};

TEST_P(InifileBounds, TwiceTheFileTakesTwiceTheMemory) {
    Proportion load("load", GetParam().multiple);
    Proportion save("save", GetParam().multiple);
    for (const std::size_t count : twoSizes(GetParam().items)) {
        loadAndSave(withCrc("#name = settings" + GetParam().text(count)), load, save);
        EXPECT_EQ(storage_->settingsSet().size(), GetParam().settingsOf(count));
    }
}

INSTANTIATE_TEST_SUITE_P(Files, InifileBounds, testing::ValuesIn(kShapes),
                         [](const auto& file) { return std::string(file.param.name); });

TEST_F(InifileBounds, NamesOfNothingButSlashesAreSortedIntoTheirSections) {
    Proportion load("load", 6);
    Proportion save("save", 6);
    for (const std::size_t count : twoSizes(2000000)) {
        const std::string slashes(count, '/');
        loadAndSave(withCrc("#name = settings\n[" + slashes + "b]\n" + slashes + "c = int,1\n[" +
                            slashes + "]\n" + slashes + " = int,2"),
                    load, save);
        EXPECT_EQ(setting("settings/" + slashes + "b/" + slashes + "c")->getValue<int>(), 1);
        EXPECT_EQ(setting("settings/" + slashes + "/" + slashes)->getValue<int>(), 2);
    }
}

TEST_F(InifileBounds, ListWithinARecordIsReadInProportion) {
    const Shape list = {"", "", "abc", ";", "", 50000, 1, 25};
    Proportion load("load", list.multiple);
    Proportion save("save", list.multiple);
    for (const std::size_t count : twoSizes(list.items)) {
        const std::string strings = list.text(count);
        const std::string record = "a,b,c,d," + std::to_string(strings.size()) + "," + strings;
        loadAndSave(withCrc("#name = settings\nk = map<qel::ui::common::SourcePK:QelNetSourceVer2>,"
                            "1,7," +
                            std::to_string(record.size()) + "," + record),
                    load, save);
    }
}

TEST_F(InifileBounds, LargestFileIsLoadedAndSavedAsItWas) {
    constexpr std::size_t kValueSize = std::size_t{1} << 20;
    const std::string crcLine = "\n#crc32 = 0x";
    constexpr std::size_t kCrcSize = 9;  // eight digits and the line's end
    std::string text = "#name = settings\n#savepolicy = ondemand\n[s]";
    for (int key = 100; text.size() + kValueSize < kLargestFile; ++key) {
        text += "\n" + std::to_string(key) + " = string," + std::string(kValueSize - 16, 'x');
    }
    text += "\n~ = string,";
    text += std::string(kLargestFile - text.size() - crcLine.size() - kCrcSize, 'x');
    char crc[kCrcSize + 1];
    std::snprintf(crc, sizeof crc, "%08x\n", Qel::Settings::text::crc32(text));
    const std::string file = text + crcLine + crc;
    ASSERT_EQ(file.size(), kLargestFile);

    testsupport::writeFile(rw_, file);
    Proportion load("load", 3);
    load.measure(file.size(), [this] { ASSERT_TRUE(reopen()); });
    EXPECT_EQ(storage_->settingsSet().size(), 65U);
    setting("settings/s/100")->setValue(std::string(kValueSize - 16, 'y'));
    Proportion save("save", 3);
    save.measure(file.size(), [this] { ASSERT_TRUE(storage_->save()); });
    text.replace(text.find('x', text.find("\n100")), kValueSize - 16, kValueSize - 16, 'y');
    std::string saved;
    ASSERT_TRUE(Qel::Settings::files::readWholeFile(rw_, saved));
    EXPECT_TRUE(saved == withCrc(text));
}

TEST_F(InifileBounds, LongSectionNameOfManySettingsIsRefusedBeforeItFillsTheMemory) {
    std::string text = "#name = settings\n[" + std::string(1 << 20, 's') + "]";
    for (int i = 0; i < 10000; ++i) {
        text += "\n" + std::to_string(i) + " = int,1";
    }
    testsupport::writeFile(rw_, withCrc(text));
    const testsupport::HeapUse use = Heap::useOf([this] { ASSERT_TRUE(reopen()); });
    EXPECT_LT(use.peak, 2.2 * kLargestFile);
    EXPECT_EQ(testsupport::readFile(bad_), withCrc(text));
    EXPECT_TRUE(log_.contains(5, "Qel::Settings", "src/SettingsStorageFileBase",
                              "Error loading '" + rw_ +
                                  "' (threw exception, r/w, renamed to *.bad): the names of its "
                                  "settings take more than 64 MiB"));
}

TEST_F(InifileBounds, WhatCouldNotBeLoadedAgainIsNotSaved) {
    const auto sections = [](const std::string& letter) {
        std::string text = "#name = settings";
        for (int i = 100; i < 120; ++i) {
            text += "\n[" + letter + std::to_string(i) + std::string(1 << 20, 's') + "]\nk = int,1";
        }
        return text;
    };
    buildDefaults(sections("a") + "\n");
    const std::string before = withCrc(sections("b"));
    testsupport::writeFile(rw_, before);
    ASSERT_TRUE(reopen());
    ASSERT_EQ(storage_->settingsSet().size(), 40U);
    storage_->querySetting(storage_->settingsSet().begin()->first)->setValue(2);
    qlog::setThreshold("settings.inifile", 5);
    EXPECT_FALSE(storage_->save());
    EXPECT_TRUE(storage_->dirty());
    EXPECT_EQ(testsupport::readFile(rw_), before);
    EXPECT_EQ(logged(5, "SettingStorageInifile::saveFile( '" + rw_ +
                            "' ): caught the names of its settings take more than 64 MiB"),
              1U)
        << log_.dump();
}

TEST_F(InifileBounds, LongNameOfManySectionsIsRefusedToo) {
    std::string text = "#name = " + std::string(1 << 20, 'n');
    for (int i = 0; i < 10000; ++i) {
        text += "\n[" + std::to_string(i) + "]";
    }
    testsupport::writeFile(rw_, withCrc(text));
    const testsupport::HeapUse use = Heap::useOf([this] { ASSERT_TRUE(reopen()); });
    EXPECT_LT(use.peak, 2.2 * kLargestFile);
    EXPECT_TRUE(exists(bad_));
}

// Each name lies behind all the sections, none of which begins it. Found for each name by itself,
// the section took a save some hundred times as long as the load.
TEST_F(InifileBounds, SectionsThatLeadAstrayCostASaveNoMoreThanALoad) {
    constexpr std::size_t kLength = 3000 / testsupport::kTimesLess;
    std::string text = "#name = settings\n[]";
    for (std::size_t i = 0; i < kLength; ++i) {
        text += "\n" + std::string(kLength, 'b') + "/" + std::to_string(100000 + i) + "/k = int,1";
    }
    for (std::size_t i = 0; i < kLength; ++i) {
        text += "\n[" + std::string(i, 'b') + "a]";
    }
    testsupport::writeFile(rw_, withCrc(text));
    const double start = testsupport::processorSeconds();
    ASSERT_TRUE(reopen());
    const double loaded = testsupport::processorSeconds();
    ASSERT_TRUE(storage_->saveFile(saved_));
    const double saved = testsupport::processorSeconds();
    EXPECT_EQ(storage_->settingsSet().size(), kLength);
    EXPECT_LT(saved - loaded, 10 * (loaded - start) + 0.1);
}

TEST_F(InifileBounds, LateSettingsOfTheRootAreCountedWithTheSectionThatTheyAreReadInto) {
    const std::string section(70000, 's');
    buildDefaults("#name = settings\n[" + section + "]\nk = int,1\n[ ]\n");
    const auto withRootSettings = [this](int count) {
        ASSERT_TRUE(reopen());
        for (int i = 0; i < count; ++i) {
            add("settings/zeta" + std::to_string(i), i);
        }
    };
    withRootSettings(1000);
    EXPECT_FALSE(storage_->saveFile(saved_));
    EXPECT_FALSE(exists(saved_));
    withRootSettings(900);
    EXPECT_TRUE(storage_->saveFile(rw_));
    ASSERT_TRUE(reopen());
    EXPECT_FALSE(exists(bad_)) << log_.dump();
    EXPECT_EQ(storage_->settingsSet().size(), 901U);
}

// Whose names these are is no matter: the file is this storage's, and the load puts its name before
// them.
TEST_F(InifileBounds, NamesOfOthersAreCountedUnderTheNameOfTheirStorage) {
    buildDefaults("#name = " + std::string(1 << 20, 'n') + "\n");
    ASSERT_TRUE(reopen());
    for (int i = 0; i < 65; ++i) {
        add("other/" + std::to_string(i), i);
    }
    EXPECT_FALSE(storage_->saveFile(saved_));
    EXPECT_FALSE(exists(saved_));
}

TEST_F(InifileBounds, NamesThatCouldNotBeReadBackAreNotSaved) {
    ASSERT_TRUE(reopen());
    for (int i = 0; i < 65; ++i) {
        add("settings/" + std::string(1 << 20, 's') + "/" + std::to_string(i), i);
    }
    EXPECT_FALSE(storage_->saveFile(saved_));
    EXPECT_FALSE(exists(saved_));
}

}  // namespace
