// docs/file-format.md is executed: its worked example is loaded and written, its tables are run.

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <gtest/gtest.h>
#include <limits>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Files.h"
#include "LogCapture.h"
#include "MarkdownPage.h"
#include "Qel/Settings/SettingFactory.h"
#include "Qel/Settings/SettingHolder.h"
#include "Qel/Settings/SettingStorageInifile.h"
#include "Qel/Settings/SettingsManager.h"
#include "Qel/Settings/StrConv.h"
#include "TempDir.h"
#include "types/ApplicationTypes.h"

using namespace Qel::Settings;
using testsupport::LogCapture;
using testsupport::MarkdownPage;
using testsupport::readFile;
using testsupport::TempDir;
using testsupport::writeFile;

/// Stands in for the C library's: a saver that ends flushes the disk of the whole machine.
extern "C" int system(const char*) {
    return 0;
}

namespace {

void replaceAll(std::string& text, const std::string& from, const std::string& to) {
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
        text.replace(at, from.size(), to);
    }
}

/// The bytes that a cell of the page stands for.
std::string bytesOf(std::string cell) {
    if (cell == "nothing") {
        return "";
    }
    EXPECT_TRUE(cell.size() >= 2 && cell.front() == '`' && cell.back() == '`') << cell;
    cell = cell.substr(1, cell.size() - 2);
    replaceAll(cell, "␣", " ");
    replaceAll(cell, "⏎", "\n");
    replaceAll(cell, "␀", std::string(1, '\0'));
    return cell;
}

class FormatPage : public testing::Test {
protected:
    FormatPage() : page("docs/file-format.md"), types(boost::make_shared<SettingFactory>()) {
        registerApplicationTypes(*types);
        manager.factory(types);
    }

    /// A storage "settings" on files of these contents.
    boost::shared_ptr<SettingStorageInifile> load(const std::string& defaults) {
        writeFile(defaultsFile(), defaults);
        return open();
    }
    boost::shared_ptr<SettingStorageInifile> loadReadWrite(const std::string& data) {
        writeFile(readWriteFile(), data);
        return open();
    }

    boost::shared_ptr<SettingStorageInifile> open() {
        const bool hasDefaults = testsupport::exists(defaultsFile());
        const auto storage = boost::make_shared<SettingStorageInifile>(
            "settings", hasDefaults ? defaultsFile() : "", readWriteFile(),
            SettingStorageInifile::Save_onDemand);
        EXPECT_TRUE(manager.registerStorage(storage));
        return storage;
    }

    /// The text that a value which was read from `text` is written as.
    std::string rewritten(const std::string& type, const std::string& text) {
        const auto storage = load("#name = settings\n[x]\nkey = " + type + "," + text + "\n");
        const auto holder = storage->querySetting("settings/x/key");
        EXPECT_TRUE(holder) << type << " " << text;
        return types->valueAsString(holder);
    }

    std::string defaultsFile() const { return directory.file("defaults.ini"); }
    std::string readWriteFile() const { return directory.file("settings.ini"); }

    MarkdownPage page;
    boost::shared_ptr<SettingFactory> types;
    TempDir directory;
    SettingsManager manager;
};

TEST_F(FormatPage, WorkedExampleLoadsWithItsCrc) {
    const LogCapture log(4);
    const auto storage = loadReadWrite(page.fencedBlock("ini"));
    ASSERT_EQ(storage->settingsSet().size(), 2U);
    EXPECT_EQ(storage->querySetting("settings/sound/bass")->getValue<signed char>(), -2);
    EXPECT_EQ(storage->querySetting("settings/sound/treble")->getValue<signed char>(), 3);
    EXPECT_EQ(storage->crc32(), 1168239953U);
    EXPECT_EQ(storage->savePolicy(), SettingStorageInifile::Save_async);
    EXPECT_TRUE(log.entries().empty()) << log.dump();
}

TEST_F(FormatPage, WorkedExampleIsWhatTheLibraryWrites) {
    std::string changed = page.fencedBlock("ini");
    replaceAll(changed, "-2", "5");
    replaceAll(changed, "1168239953", "false");
    const auto storage = loadReadWrite(changed);
    ASSERT_TRUE(storage->querySetting("settings/sound/bass")
                    ->setValueKeepingType(static_cast<signed char>(-2)));
    ASSERT_TRUE(storage->save());
    EXPECT_EQ(readFile(readWriteFile()), page.fencedBlock("ini"));
}

TEST_F(FormatPage, EveryExampleIsReadAndWrittenAsThePageSays) {
    const auto rows = page.table("| type | text in the file | written again as |");
    ASSERT_FALSE(rows.empty());
    for (const auto& row : rows) {
        EXPECT_EQ(rewritten(bytesOf(row.at(0)), bytesOf(row.at(1))), bytesOf(row.at(2)))
            << row[0] << " " << row[1];
    }
}

TEST_F(FormatPage, EveryLossIsAsThePageSays) {
    using Strings = std::vector<std::string>;
    using Chars = std::vector<char>;
    using IntMap = std::map<int, std::string>;
    using StringMap = std::map<std::string, std::string>;
    const std::vector<boost::any> values = {std::string(" a "),
                                            Strings{"a", ""},
                                            Strings{""},
                                            Strings{"a", "b "},
                                            ' ',
                                            '\n',
                                            Chars{'a', ';', 'b'},
                                            Chars{'"', 'a', 'b'},
                                            Chars{'\\', 'a'},
                                            Chars{' ', 'a'},
                                            Chars{'a', ' '},
                                            Chars{'a', '\n', 'b'},
                                            16777216.0F,
                                            0.123456789,
                                            IntMap{{1, "a"}, {2, ""}, {3, "c"}},
                                            StringMap{{"", "a"}, {"b", "c"}},
                                            IntMap{{1, "a"}, {2, "b "}}};
    const auto rows = page.table("| type | value | text written | read back as |");
    ASSERT_EQ(rows.size(), values.size()) << "each row of the page needs its value here";
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const std::string type = bytesOf(rows[i].at(0));
        const auto setting = boost::make_shared<SettingHolder>("x", values[i]);
        EXPECT_EQ(types->typeAsString(setting), type);
        const std::string text = types->valueAsString(setting);
        EXPECT_EQ(text, bytesOf(rows[i].at(2))) << type;
        EXPECT_EQ(rewritten(type, text), bytesOf(rows[i].at(3))) << type << " " << text;
    }
}

TEST_F(FormatPage, ARootSettingAfterASectionComesBackInThatSection) {
    const auto storage = load("#name = settings\n[sound]\nbass = int,1\n");
    const auto root = {boost::make_shared<SettingHolder>("settings/a", 2),
                       boost::make_shared<SettingHolder>("settings/zeta", 3)};
    for (const auto& holder : root) {
        ASSERT_TRUE(storage->registerSetting(holder));
    }
    storage->changed("settings/a");
    ASSERT_TRUE(storage->save());
    const auto again = open();
    EXPECT_TRUE(again->querySetting("settings/a"));
    EXPECT_TRUE(again->querySetting("settings/sound/bass"));
    EXPECT_FALSE(again->querySetting("settings/zeta"));
    EXPECT_EQ(again->querySetting("settings/sound/zeta")->getValue<int>(), 3);
}

TEST_F(FormatPage, ASectionThatNoFileKnowsIsWrittenAsPartOfTheKey) {
    const auto storage = load("#name = settings\n");
    const auto bass = boost::make_shared<SettingHolder>("settings/sound/bass", 1);
    ASSERT_TRUE(storage->registerSetting(bass));
    ASSERT_TRUE(bass->setValue(2));
    ASSERT_TRUE(storage->save());
    EXPECT_NE(readFile(readWriteFile()).find("\n[]\nsound/bass = int,2\n"), std::string::npos);
    EXPECT_EQ(open()->querySetting("settings/sound/bass")->getValue<int>(), 2);
}

TEST_F(FormatPage, ASettingThatIsRegisteredReplacesTheOneOfItsNameAndIsNoChange) {
    const auto storage = load("#name = settings\n[]\na = int,5\nb = int,6\n");
    const auto a = boost::make_shared<SettingHolder>("settings/a", true);
    ASSERT_TRUE(storage->registerSetting(a));
    EXPECT_EQ(storage->querySetting("settings/a"), a);
    EXPECT_FALSE(storage->dirty());
    ASSERT_TRUE(storage->save());
    EXPECT_FALSE(testsupport::exists(readWriteFile()));
    ASSERT_TRUE(storage->querySetting("settings/b")->setValue(7));
    ASSERT_TRUE(storage->save());
    EXPECT_NE(readFile(readWriteFile()).find("\n[]\na = bool,true\nb = int,7\n"),
              std::string::npos);
}

TEST_F(FormatPage, AKeyThatBeginsWithAHashIsReadAsAHeaderLine) {
    const auto storage = load("#name = settings\n[x]\na = int,1\n#b = int,2\n#readonly = int,3\n");
    EXPECT_EQ(storage->settingsSet().size(), 1U);
    EXPECT_TRUE(storage->readonly());
}

TEST_F(FormatPage, ASettingWhoseLineWouldBeReadAsAnotherKindIsLeftOut) {
    const auto storage = load("#name = settings\n[x]\na = int,1\n");
    for (const char* name : {"settings/x/#readonly", "settings/x/[b", "settings/x/c\nd"}) {
        ASSERT_TRUE(storage->registerSetting(boost::make_shared<SettingHolder>(name, 2)));
    }
    LogCapture log(5);
    storage->changed("settings/x/a");
    ASSERT_TRUE(storage->save());
    EXPECT_EQ(log.entries().size(), 3U) << log.dump();
    EXPECT_NE(readFile(readWriteFile()).find("\n[x]\na = int,1\n#crc32 = "), std::string::npos);
}

TEST_F(FormatPage, ACommentIsALineWhoseKeyIsUnknown) {
    const LogCapture log(4);
    const auto storage = load("#name = settings\n# readonly text\n#\n# a = b\n[x]\na = int,1\n");
    EXPECT_EQ(storage->settingsSet().size(), 1U);
    EXPECT_FALSE(storage->readonly());
    EXPECT_TRUE(log.entries().empty()) << log.dump();
}

TEST_F(FormatPage, RejectedLinesAreKeptAndTheOthersLoad) {
    const LogCapture log(5);
    const auto storage = load(
        "#name = settings\n[x]\nno equals sign\na=b = int,1\nnew = fromTheFuture,1\n[open\n"
        "[c = int,4]\n[x]\nz = int,5\n = ,\n");
    EXPECT_EQ(*storage->errInfo(), "no equals sign\na=b = int,1\nnew = fromTheFuture,1\n= ,\n");
    EXPECT_EQ(log.entries().size(), 4U) << log.dump();
    EXPECT_EQ(storage->settingsSet().size(), 1U);
    EXPECT_EQ(storage->querySetting("settings/x/z")->getValue<int>(), 5);
}

TEST_F(FormatPage, OnlyATypeOfTheApplicationsRejectsAText) {
    const LogCapture log(5);
    const std::string defaults =
        "#name = settings\n[x]\na = YesNo,YES\nb = RecentVideoItem,film,1\n";
    const std::string rejected = "a = YesNo,perhaps\nb = RecentVideoItem,film\n";
    writeFile(readWriteFile(), "#name = settings\n[x]\n" + rejected + "#crc32 = false\n");
    const auto storage = load(defaults);
    EXPECT_EQ(*storage->errInfo(), rejected);
    EXPECT_EQ(types->valueAsString(storage->querySetting("settings/x/a")), "YES");
    EXPECT_EQ(types->valueAsString(storage->querySetting("settings/x/b")), "film,1");
    EXPECT_EQ(log.entries().size(), 2U) << log.dump();
    EXPECT_EQ(rewritten("YesNo", ""), "NO");
    EXPECT_EQ(rewritten("YesNo", "7th"), "7");
    EXPECT_EQ(rewritten("RecentVideoItem[]", "film;news,2"), "news,2");
    for (const std::string& type : SettingFactory().typeNames()) {
        EXPECT_TRUE(types->create(type, "x", "\\\"?,")) << type;
    }
}

TEST_F(FormatPage, AReadWriteFileWithoutItsFinalLineFeedIsRefused) {
    std::string cut = page.fencedBlock("ini");
    cut.pop_back();
    EXPECT_TRUE(loadReadWrite(cut)->settingsSet().empty());
    EXPECT_TRUE(testsupport::exists(readWriteFile() + ".bad"));
}

TEST_F(FormatPage, TextAfterTheCrcLineIsDropped) {
    const auto storage = loadReadWrite(page.fencedBlock("ini") + "[x]\na = int,1\n");
    EXPECT_EQ(storage->settingsSet().size(), 2U);
}

TEST_F(FormatPage, ATypeThatIsUnknownAfterADowngradeIsGoneAtTheNextSave) {
    writeFile(readWriteFile(),
              "#name = settings\n[x]\na = int,1\nnew = fromTheFuture,5\n#crc32 = false\n");
    const auto storage = load("#name = settings\n[x]\na = int,0\nnew = int,0\n");
    EXPECT_EQ(storage->querySetting("settings/x/new")->getValue<int>(), 0);
    EXPECT_EQ(*storage->errInfo(), "new = fromTheFuture,5\n");
    ASSERT_TRUE(storage->querySetting("settings/x/a")->setValue(2));
    ASSERT_TRUE(storage->save());
    EXPECT_EQ(readFile(readWriteFile()).find("fromTheFuture"), std::string::npos);
}

TEST_F(FormatPage, TheTypeOfTheReadWriteFileWins) {
    writeFile(readWriteFile(), "#name = settings\n[x]\na = uint8,7\n#crc32 = false\n");
    const auto storage = load("#name = settings\n[x]\na = uint16,300\n");
    const auto setting = storage->querySetting("settings/x/a");
    EXPECT_EQ(setting->getValue<unsigned char>(), 7);
    EXPECT_THROW(setting->getValue<unsigned short>(), boost::bad_any_cast);
}

TEST_F(FormatPage, AChangedDefaultDoesNotReachAnOldReadWriteFile) {
    writeFile(readWriteFile(), "#name = settings\n[x]\nold = int,1\n#crc32 = false\n");
    const auto storage = load("#name = settings\n[x]\nold = int,8\nnew = int,9\n");
    EXPECT_EQ(storage->querySetting("settings/x/old")->getValue<int>(), 1);
    EXPECT_EQ(storage->querySetting("settings/x/new")->getValue<int>(), 9);
}

TEST_F(FormatPage, TheCopyOfAFirstSaveIsNotLookedAtWithoutItsFile) {
    writeFile(SettingStorageInifile::getTempFilename(readWriteFile()), page.fencedBlock("ini"));
    const auto storage = load("#name = settings\n[sound]\nbass = int8,0\n");
    EXPECT_EQ(storage->querySetting("settings/sound/bass")->getValue<signed char>(), 0);
}

}  // namespace
