#include <cstddef>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "LogCapture.h"
#include "SyslogCapture.h"
#include "XmlStorageFixture.h"

namespace {

using namespace Qel::Settings;
using testing::ElementsAre;
using testsupport::exists;
using testsupport::LogCapture;
using testsupport::LooseXmlStorage;
using testsupport::readFile;
using testsupport::SyslogCapture;
using testsupport::writeFile;

/// The sequence of a start: the defaults file, then the read/write file, then recovery.
class XmlStorageLoad : public testsupport::XmlStorageFixture {
protected:
    bool init(const std::string& defaults, const std::string& readWrite) {
        writeFile(defaults_, defaults);
        writeFile(readWrite_, readWrite);
        return XmlStorageFixture::init();
    }

    bool logged(const LogCapture& log, const std::string& text) {
        return log.contains(5, "Qel::Settings", "src/SettingsStorageFileBase", text);
    }
};

TEST_F(XmlStorageLoad, ReadWriteFileIsReadOverTheDefaultsThoughReadOnlyByThen) {
    EXPECT_TRUE(init("<tv><a value='1'/><b value='2'/></tv>", "<tv><b value='3'/><c/></tv>"));
    EXPECT_THAT(names(), ElementsAre("tv/a", "tv/b", "tv/c"));
    EXPECT_EQ("1", text("tv/a"));
    EXPECT_EQ("3", text("tv/b"));
    EXPECT_TRUE(storage_->readonly());
}

TEST_F(XmlStorageLoad, StorageIsNamedAfterTheRootReadLast) {
    EXPECT_TRUE(init("<tv><a/></tv>", "<other><a/></other>"));
    EXPECT_EQ("other", storage_->name());
    EXPECT_THAT(names(), ElementsAre("other/a", "tv/a"));
}

TEST_F(XmlStorageLoad, MissingReadWriteFileLeavesTheDefaults) {
    writeFile(defaults_, "<tv><a/></tv>");
    LogCapture log;
    EXPECT_TRUE(XmlStorageFixture::init());
    EXPECT_THAT(names(), ElementsAre("tv/a"));
    EXPECT_EQ(0U, log.entries().size()) << log.dump();
}

TEST_F(XmlStorageLoad, ReadWriteFileAloneIsEnough) {
    LooseXmlStorage storage("", "", readWrite_);
    writeFile(readWrite_, "<tv><a value='1'/></tv>");
    EXPECT_TRUE(storage.init(&manager_, factory_));
    EXPECT_EQ("tv", storage.name());
}

TEST_F(XmlStorageLoad, DamagedReadWriteFileIsSetAsideAndWhatItGaveStays) {
    const std::string damaged = "<tv><b value='3'/><c value='4'></tv>";
    LogCapture log;
    EXPECT_TRUE(init("<tv><a value='1'/><b value='2'/></tv>", damaged));
    EXPECT_FALSE(exists(readWrite_));
    EXPECT_EQ(damaged, readFile(readWrite_ + ".bad"));
    EXPECT_THAT(names(), ElementsAre("tv/a", "tv/b"));
    EXPECT_EQ("3", text("tv/b"));
    EXPECT_TRUE(
        logged(log, "Error loading '" + readWrite_ + "' (returned false, r/w, renamed to *.bad)."))
        << log.dump();
}

TEST_F(XmlStorageLoad, DamagedReadWriteFileThatCannotBeSetAsideStaysForGood) {
    ASSERT_EQ(0, mkdir((readWrite_ + ".bad").c_str(), 0700));
    LogCapture log;
    EXPECT_TRUE(init("<tv><a value='1'/></tv>", "<tv>"));
    EXPECT_TRUE(log.contains(4, "Qel::Settings", "src/SettingsStorageFileBase",
                             "'" + readWrite_ + "' stays where it is; a save would copy it first."))
        << log.dump();
    EXPECT_FALSE(storage_->save());
    EXPECT_EQ("<tv>", readFile(readWrite_));
    EXPECT_FALSE(exists(readWrite_ + ".bad.1"));
}

TEST_F(XmlStorageLoad, SettingsRefusedInADamagedFileAreToldOnceInTheErrorText) {
    SyslogCapture syslog;
    EXPECT_TRUE(init("<tv/>", "<tv><a type='odd' value='1'/><b></tv>"));
    EXPECT_EQ("failed to load tv/a(odd)=1\n", *storage_->errInfo());
}

TEST_F(XmlStorageLoad, DamagedDefaultsMakeTheStorageUnusable) {
    const std::string damaged = "<tv><a value='1'/>";
    LogCapture log;
    EXPECT_FALSE(init(damaged, "<tv><b/></tv>"));
    EXPECT_EQ(damaged, readFile(defaults_));
    EXPECT_EQ("<tv><b/></tv>", readFile(readWrite_));
    EXPECT_TRUE(log.contains(
        5, "Qel::Settings", "src/SettingsStorageXml",
        "Error loading '" + defaults_ + "': no readable well-formed XML document, result 77"))
        << log.dump();
}

TEST_F(XmlStorageLoad, EncodingThatNobodyKnowsIsToldToTheLog) {
    LogCapture log;
    EXPECT_FALSE(init("<?xml version='1.0' encoding='what'?><tv/>", ""));
    EXPECT_TRUE(
        log.contains(5, "Qel::Settings", "src/SettingsStorageXml",
                     "Error loading '" + defaults_ + "': its encoding is not known, result 32"))
        << log.dump();
}

TEST_F(XmlStorageLoad, ManagerFilesItUnderTheRootsName) {
    writeFile(defaults_, "<tv><a value='1'/></tv>");
    manager_.factory(factory_);
    EXPECT_TRUE(manager_.registerStorage(storage_));
    ASSERT_TRUE(manager_.setting("tv/a"));
    EXPECT_EQ("1", manager_.setting("tv/a")->getValue<std::string>());
    const auto added = boost::make_shared<SettingHolder>("tv/new", boost::any(1));
    try {
        manager_.registerSetting(added);
        ADD_FAILURE() << "a read-only storage took a setting";
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ("Setting storage is readonly.", e.what());
    }
}

struct Damage {
    const char* name;
    std::string document;
};

std::string deeplyNested() {
    std::string document;
    for (int level = 0; level < 300; ++level) {
        document += "<e>";
    }
    for (int level = 0; level < 300; ++level) {
        document += "</e>";
    }
    return document;
}

const std::vector<Damage>& damages() {
    static const std::vector<Damage> all = {
        {"Empty", ""},
        {"WhiteSpace", " \n"},
        {"LoneBracket", "<"},
        {"CutName", "<r"},
        {"CutAttribute", "<r><a value='1"},
        {"CutElement", "<r><a/>"},
        {"ForeignEndTag", "<r></a>"},
        {"PlainText", "no xml"},
        {"Program", std::string("\x7f\x45LF\x01\x00\x00\xff\xfe", 9)},
        {"Zeros", std::string(5000, '\0')},
        {"NoUtf8", "<r>\xff\xfe</r>"},
        {"AttributeTwice", "<r a='1' a='2'/>"},
        {"TwoRoots", "<r/><r/>"},
        {"UndeclaredEntity", "<r>&undeclared;</r>"},
        {"DeclaredEntity", "<!DOCTYPE r [<!ENTITY e 'v'>]><r>&e;</r>"},
        {"UnknownEncoding", "<?xml version='1.0' encoding='nonsense'?><r/>"},
        {"DamagedEncoding", std::string("\xff\xfe<\0a\0>\0\x00\xd8<\0/\0a\0>\0", 18)},
        {"DeepNesting", deeplyNested()},
    };
    return all;
}

/// Documents that are none: each is refused, tells its path, and does no harm.
class XmlStorageDamage : public testsupport::XmlStorageFixture,
                         public testing::WithParamInterface<std::size_t> {};

TEST_P(XmlStorageDamage, IsRefusedAndToldToTheLog) {
    SyslogCapture syslog;
    LogCapture log;
    testing::internal::CaptureStderr();
    EXPECT_FALSE(load(damages()[GetParam()].document));
    EXPECT_EQ("", testing::internal::GetCapturedStderr());
    ASSERT_EQ(1U, log.entries().size()) << log.dump();
    EXPECT_EQ(5, log.entries()[0].level);
    EXPECT_THAT(log.entries()[0].text, testing::StartsWith("Error loading '" + defaults_ + "': "));
    EXPECT_TRUE(load("<r><a value='1'/></r>"));
    EXPECT_EQ("1", text("r/a"));
}

INSTANTIATE_TEST_SUITE_P(Documents, XmlStorageDamage,
                         testing::Range<std::size_t>(0, damages().size()),
                         [](const testing::TestParamInfo<std::size_t>& damage) {
                             return std::string(damages()[damage.param].name);
                         });

TEST_F(XmlStorageLoad, EveryTruncationIsRefusedWithoutACrash) {
    const std::string document =
        "<?xml version='1.0'?><!DOCTYPE r [<!ATTLIST a k (x|y) 'x'>]><r><!--c--><a k='y' "
        "value='&amp;1'>t\xc3\xa9</a><![CDATA[d]]><?p q?></r>";
    SyslogCapture syslog;
    const LogCapture log(6);
    for (std::size_t length = 0; length < document.size(); ++length) {
        EXPECT_FALSE(load(document.substr(0, length))) << length;
    }
    EXPECT_TRUE(load(document));
    EXPECT_EQ("\xc3\xa9", text("r/a"));
}

TEST_F(XmlStorageLoad, EveryDamagedByteIsSurvived) {
    const std::string document = "<r><a type='int32' value='1'/><b>t</b><c/></r>";
    SyslogCapture syslog;
    const LogCapture log(6);
    int refused = 0;
    for (std::size_t place = 0; place < document.size(); ++place) {
        for (const char byte : {'\0', '<', '&', '\xff', '\''}) {
            std::string damaged = document;
            damaged[place] = byte;
            refused += load(damaged) ? 0 : 1;
        }
    }
    EXPECT_GT(refused, 100);
    EXPECT_TRUE(load(document));
}

TEST_F(XmlStorageLoad, PipeAndDirectoryInPlaceOfTheFileAreRefusedAtOnce) {
    LogCapture log;
    ASSERT_EQ(0, mkfifo(defaults_.c_str(), 0600));
    EXPECT_FALSE(storage_->loadFile(defaults_));
    ASSERT_EQ(0, mkdir(readWrite_.c_str(), 0700));
    EXPECT_FALSE(storage_->loadFile(readWrite_));
    EXPECT_EQ(2U, log.entries().size()) << log.dump();
    EXPECT_EQ("", storage_->name());
}

std::string wideDocument(int settings) {
    std::string document = "<wide>";
    for (int i = 0; i < settings; ++i) {
        document += "<s" + std::to_string(i) + " value='v'/>";
    }
    return document + "</wide>";
}

TEST_F(XmlStorageLoad, WideDocumentHasAllItsSettings) {
    EXPECT_TRUE(load(wideDocument(20000)));
    EXPECT_EQ(20000U, storage_->settingsSet().size());
    EXPECT_EQ("v", text("wide/s19999"));
}

TEST_F(XmlStorageLoad, DeepDocumentHasItsLongNames) {
    std::string open;
    std::string close;
    std::string path;
    for (int level = 0; level < 200; ++level) {
        open += "<level>";
        close += "</level>";
        path += "level/";
    }
    EXPECT_TRUE(load(open + "<a value='1'/><b value='2'/>" + close));
    EXPECT_THAT(names(), ElementsAre(path + "a", path + "b"));
}

}  // namespace
