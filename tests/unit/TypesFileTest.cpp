// Values of every type through a whole settings file.

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <typeinfo>
#include <vector>

#include "Files.h"
#include "LogCapture.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageInifile.h"
#include "Qel/Settings/SettingsManager.h"
#include "RandomTypes.h"
#include "RecordFields.h"
#include "TempDir.h"
#include "ValueTypes.h"
#include "types/ApplicationTypes.h"

namespace {

using namespace Qel::Settings;
using qel::mediabrowser::RecentVideoItem;
using qel::ui::common::SourcePK;
using testsupport::readFile;
using testsupport::writeFile;

std::string dataFile(const std::string& name) {
    return readFile(T8_TEST_DATA_DIR "/types/" + name);
}

class TypesFile : public testing::Test {
protected:
    using Storage = SettingStorageInifile;

    TypesFile() { registerApplicationTypes(*types_); }

    boost::shared_ptr<Storage> open() {
        auto storage =
            boost::make_shared<Storage>("all-types", "", file_, types_, Storage::Save_onDemand);
        EXPECT_TRUE(storage->init(&manager_, nullptr));
        EXPECT_EQ(*storage->errInfo(), "");
        return storage;
    }

    /// The values after they were written to a file and read back by another storage.
    template <class T>
    std::vector<T> afterARestart(const std::vector<T>& values) {
        writeFile(file_, "#name = all-types\n#crc32 = false\n");
        {
            const auto storage = open();
            for (std::size_t i = 0; i < values.size(); ++i) {
                const auto holder =
                    boost::make_shared<SettingHolder>(nameOf(i), boost::any(values[i]));
                EXPECT_TRUE(storage->registerSetting(holder));
                EXPECT_TRUE(holder->setValue(values[i]));
            }
            EXPECT_TRUE(storage->save());
        }
        const auto storage = open();
        std::vector<T> back;
        for (std::size_t i = 0; i < values.size(); ++i) {
            back.push_back(storage->querySetting(nameOf(i))->template getValue<T>());
        }
        return back;
    }

    /// That random values come back but for the losses of their texts.
    template <class T>
    void expectKept() {
        std::vector<T> values;
        for (int i = 0; i < 200; ++i) {
            values.push_back(random_.value<T>());
        }
        const std::vector<T> back = afterARestart(values);
        for (std::size_t i = 0; i < values.size(); ++i) {
            testsupport::loseWhatTheTextLoses(values[i]);
            ASSERT_TRUE(testsupport::same(back[i], values[i])) << typeid(T).name() << " " << i;
        }
    }

    template <class... T>
    void expectAllKept(testsupport::TypeList<T...>) {
        (expectKept<T>(), ...);
        EXPECT_TRUE(log_.entries().empty()) << log_.dump();
    }

    static std::string nameOf(std::size_t i) { return "all-types/x" + std::to_string(i); }

    testsupport::RandomTypes random_{false};
    testsupport::LogCapture log_{3};
    testsupport::TempDir directory_;
    const std::string file_ = directory_.file("all-types.ini");
    SettingsManager manager_;
    boost::shared_ptr<SettingFactory> types_ = boost::make_shared<SettingFactory>();
};

TEST_F(TypesFile, AFileWithASettingOfEveryTypeIsWrittenAsItWasRead) {
    writeFile(file_, dataFile("all-types.ini"));
    const auto storage = open();
    ASSERT_EQ(storage->settingsSet().size(), types_->typeNames().size());
    EXPECT_TRUE(log_.entries().empty()) << log_.dump();
    for (const std::string& type : types_->typeNames()) {
        const std::string section =
            SettingFactory().create(type, "", "") ? "built-in" : "television";
        EXPECT_TRUE(storage->querySetting("all-types/" + section + "/" + type)) << type;
    }
    ASSERT_TRUE(storage->saveFile(directory_.file("copy.ini")));
    EXPECT_EQ(readFile(directory_.file("copy.ini")), dataFile("all-types-written.ini"));
}

TEST_F(TypesFile, AFileThatTheLibraryWroteStaysAsItIs) {
    writeFile(file_, dataFile("all-types-written.ini"));
    const auto storage = open();
    const auto setting = storage->querySetting("all-types/television/YesNo");
    ASSERT_TRUE(setting->setValue(qel::snd::NO));
    ASSERT_TRUE(storage->save());
    EXPECT_NE(readFile(file_), dataFile("all-types-written.ini"));
    ASSERT_TRUE(setting->setValue(qel::snd::YES));
    ASSERT_TRUE(storage->save());
    EXPECT_EQ(readFile(file_), dataFile("all-types-written.ini"));
}

TEST_F(TypesFile, StringsOfRecordsComeBackWhateverTheyHold) {
    std::string everyByte;
    for (int byte = 0; byte < 256; ++byte) {
        everyByte += static_cast<char>(byte);
    }
    const std::vector<RecentVideoItem> videos = {
        {everyByte, 1}, {"a\tb", 2}, {"\"a\\\",b;", 3}, {"x = y # [z]", 4}, {"", 5}};
    const auto back = afterARestart(videos);
    for (std::size_t i = 0; i < videos.size(); ++i) {
        EXPECT_TRUE(testsupport::sameFields(back[i], videos[i])) << i;
    }
    EXPECT_TRUE(log_.entries().empty()) << log_.dump();
}

TEST_F(TypesFile, RecordsComeBackEqual) {
    expectAllKept(testsupport::RecordTypes{});
}

TEST_F(TypesFile, ListsAndMapsComeBackEqual) {
    expectAllKept(testsupport::ArrayTypes{});
    expectAllKept(testsupport::MapTypes{});
}

TEST_F(TypesFile, BlanksAtTheEndsOfARecordsTextAreLost) {
    EXPECT_EQ(afterARestart<RecentVideoItem>({{" first ", 1}}).at(0).text, "first ");
    EXPECT_EQ(afterARestart<qel::ui::sound::ZuvSpeakerInfo>({{1, " last "}}).at(0).text, " last");
    EXPECT_EQ(afterARestart<qel::ui::sound::ZuvSpeakerInfo>({{1, " last, "}}).at(0).text, " last, ")
        << "quotes keep them";
}

TEST_F(TypesFile, BlanksAtTheEndOfAMapCostItsLastEntry) {
    using Sources = std::map<SourcePK, QelNetSourceVer2>;
    Sources sources;
    sources[1].list = {"a", "b"};
    sources[2].list = {"a", "b "};
    const Sources back = afterARestart<Sources>({sources}).at(0);
    ASSERT_EQ(back.size(), 1U);
    EXPECT_TRUE(testsupport::sameFields(back.at(1), sources.at(1)));
}

TEST_F(TypesFile, ANegativeEnumeratorWithoutANameIsALineThatIsRefused) {
    writeFile(file_, "#name = all-types\n[x]\na = YesNo,-1\nb = YesNo,1\n#crc32 = false\n");
    const Storage::SavePolicy policy = Storage::Save_onDemand;
    Storage storage("all-types", "", file_, types_, policy);
    EXPECT_TRUE(storage.init(&manager_, nullptr));
    EXPECT_EQ(*storage.errInfo(), "a = YesNo,-1\n");
    EXPECT_EQ(storage.settingsSet().size(), 1U);
}

}  // namespace
