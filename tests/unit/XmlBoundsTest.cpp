// Documents that are large, deep or meant to do harm: no crash, no memory and time out of
// proportion. The figures are those of docs/limits.md.

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <pthread.h>
#include <string>

#include "Proportion.h"
#include "Sax1Handler.h"
#include "SyslogCapture.h"
#include "XmlStorageFixture.h"
#include "files/WholeFile.h"
#include "text/Markup.h"

namespace {

using Qel::Settings::files::kLargestFile;
using testsupport::Heap;
using testsupport::kOneEach;
using testsupport::Proportion;
using testsupport::Shape;
using testsupport::twoSizes;
using testsupport::XmlStorageFixture;

/// Far more than any limit, also where it is a fifth of that.
constexpr std::size_t kAMillion = 1000000 / testsupport::kTimesLess;

const bool countsLibxml2 = (Heap::countLibxml2(), true);

std::string repeated(std::size_t count, const std::string& text) {
    return Shape{"", "", text, "", "", 0, 0, 0}.text(count);
}

/// Runs the action on a thread whose stack is no larger than a television's threads have.
void onSmallStack(std::function<void()> action) {
    constexpr std::size_t kStack = 256 * 1024;
    pthread_attr_t attributes;
    ASSERT_EQ(0, pthread_attr_init(&attributes));
    ASSERT_EQ(0, pthread_attr_setstacksize(&attributes, kStack));
    pthread_t thread;
    const auto run = [](void* argument) -> void* {
        (*static_cast<std::function<void()>*>(argument))();
        return nullptr;
    };
    ASSERT_EQ(0, pthread_create(&thread, &attributes, run, &action));
    ASSERT_EQ(0, pthread_join(thread, nullptr));
    pthread_attr_destroy(&attributes);
}

class XmlBounds : public XmlStorageFixture, public testing::WithParamInterface<Shape> {
protected:
    /// Whether it is read, and on a small stack at that.
    bool isRead(const std::string& document) {
        bool read = false;
        onSmallStack([&] { read = load(document); });
        return read;
    }
};

TEST_F(XmlBounds, AMillionLevelsAreRefused) {
    EXPECT_FALSE(isRead(repeated(kAMillion, "<a>") + repeated(kAMillion, "</a>")));
    EXPECT_FALSE(isRead(repeated(kAMillion, "<a>")));
    EXPECT_FALSE(isRead("<a>" + repeated(kAMillion, "</a>")));
    EXPECT_FALSE(isRead("<!DOCTYPE a [<!ELEMENT a " + repeated(kAMillion, "(") + "b" +
                        repeated(kAMillion, ")") + ">]><a/>"));
    EXPECT_FALSE(isRead("<!DOCTYPE a [" + repeated(kAMillion, "<![INCLUDE[") + "]><a/>"));
}

TEST_F(XmlBounds, AMillionValuesOfAnAttributeAreRefused) {
    for (const char* end : {") #IMPLIED>]><a/>", ") nonsense>]><a/>", ""}) {
        EXPECT_FALSE(isRead("<!DOCTYPE a [<!ATTLIST a b (c" + repeated(kAMillion, "|d%") + end));
    }
}

/// As many as libxml2, left to itself, compares in a second, and frees on no small stack.
constexpr std::size_t kManyValues = 20000;

/// In UTF-16, low byte first, with its mark. "~" stands for U+3E41, a letter with a byte ">".
std::string inUtf16(const std::string& text) {
    std::string bytes = "\xFF\xFE";
    for (const char c : text) {
        bytes += c == '~' ? 'A' : c;
        bytes += c == '~' ? '>' : '\0';
    }
    return bytes;
}

TEST_F(XmlBounds, ManyValuesOfAnAttributeWithAWideNameAreRefused) {
    EXPECT_FALSE(isRead(
        inUtf16("<!DOCTYPE a [<!ATTLIST a~ b (c" + repeated(kManyValues, "|d%") + ")>]><a/>")));
}

TEST_F(XmlBounds, AMillionAttributesOfAWideNameAreRefused) {
    EXPECT_FALSE(isRead(inUtf16("<a~ " + repeated(kAMillion, "b%='' ") + "/>")));
}

TEST_F(XmlBounds, ManyValuesInAnEncodingThatHidesThemAreRefused) {
    EXPECT_FALSE(
        isRead("<?xml version='1.0' encoding='UTF-7'?>+ADwAIQ-DOCTYPE a +AFsAPAAh-ATTLIST "
               "a b (c" +
               repeated(kManyValues, "+AHw-d%") + ")+AD4AXQA+ADw-a/+AD4-"));
}

TEST_F(XmlBounds, NameOfAnEncodingOfAMillionLettersIsRefused) {
    EXPECT_FALSE(isRead("<?xml version='1.0' encoding='" + repeated(kAMillion, "x") + "'?><a/>"));
}

TEST_F(XmlBounds, AMillionDeclaredValuesAreFreedOnASmallStack) {
    xmlEnumeration* values = nullptr;
    for (std::size_t i = 0; i < kAMillion; ++i) {
        xmlEnumeration* const value = xmlCreateEnumeration(BAD_CAST "v");
        value->next = values;
        values = value;
    }
    onSmallStack([values] {
        Qel::Settings::sax1Handler().attributeDecl(nullptr, BAD_CAST "a", BAD_CAST "b",
                                                   XML_ATTRIBUTE_ENUMERATION, XML_ATTRIBUTE_IMPLIED,
                                                   nullptr, values);
    });
}

TEST_F(XmlBounds, AMillionAttributesAreRefused) {
    EXPECT_FALSE(isRead("<a " + repeated(kAMillion, "b%='1' ") + "/>"));
    const std::string document = "<a " + repeated(kAMillion, "b%='1' ") + "/>";
    EXPECT_EQ(-1, storage_->parse(document.data(), static_cast<int>(document.size())));
}

TEST_F(XmlBounds, AThousandAttributesAndValuesAreRead) {
    using Qel::Settings::text::kMostPartsOfATag;
    EXPECT_TRUE(isRead("<a " + repeated(kMostPartsOfATag - 1, "b%='1' ") + "value='v'/>"));
    EXPECT_EQ("v", text("a"));
    EXPECT_TRUE(isRead("<!DOCTYPE a [<!ATTLIST a b (c" + repeated(kMostPartsOfATag, "|d%") +
                       ") #IMPLIED>]><a/>"));
}

TEST_F(XmlBounds, LongNamesAroundManySettingsAreRefusedBeforeTheyFillTheMemory) {
    const std::string name(40000, 'n');
    std::string open;
    std::string close;
    for (int level = 0; level < 100; ++level) {
        open += "<" + name + ">";
        close += "</" + name + ">";
    }
    testsupport::writeFile(defaults_, open + repeated(10000, "<e%/>") + close);
    bool up = true;
    const testsupport::HeapUse use = Heap::useOf([&] { up = init(); });
    EXPECT_FALSE(up);
    EXPECT_LT(use.peak, 2.5 * kLargestFile);
    EXPECT_THROW(storage_->loadFile(defaults_), std::length_error);
}

TEST_F(XmlBounds, NamesOfEachLoadAreCountedAnew) {
    const std::string name(40000, 'n');
    const std::string document = "<" + name + ">" + repeated(1000, "<e%/>") + "</" + name + ">";
    EXPECT_TRUE(load(document));
    EXPECT_TRUE(load(document));
}

TEST_F(XmlBounds, FileBeyondTheLargestIsNotRead) {
    ASSERT_TRUE(load("<a/>"));
    std::filesystem::resize_file(defaults_, kLargestFile + 1);
    const testsupport::HeapUse use =
        Heap::useOf([&] { EXPECT_FALSE(storage_->loadFile(defaults_)); });
    EXPECT_LT(use.peak, 100000);
}

TEST_F(XmlBounds, CompressedFileIsNotUnpacked) {
    for (const char* packed : {"gzip", "xz", "lzma", "lzma-that-begins-with-a-tab"}) {
        const std::string path = std::string(T8_TEST_DATA_DIR "/fuzz/xml/") + packed;
        ASSERT_TRUE(testsupport::exists(path));
        EXPECT_FALSE(storage_->loadFile(path)) << packed;
        EXPECT_EQ(std::vector<std::string>(), names()) << packed;
    }
}

TEST_F(XmlBounds, DocumentsOfManyEncodingsAreNoCompressedFiles) {
    using namespace std::string_literals;
    for (const std::string& document :
         {"<a/>"s, " \n<a/>"s, "\t\n\n\n\n<a/>"s, "\xEF\xBB\xBF<a/>"s, "\xFF\xFE<\0a\0/\0>\0"s,
          "\xFE\xFF\0<\0a\0/\0>"s, "\xFF\xFE\n\0\n\0<\0a\0/\0>\0"s, "\xFE\xFF\0\n\0\n\0<\0a\0/\0>"s,
          "\0<\0?\0x\0m\0l\0 \0v\0e\0r\0s\0i\0o\0n\0=\0'\0001\0.\0000\0'\0?\0>\0<\0a\0/\0>"s}) {
        EXPECT_TRUE(load(document)) << testing::PrintToString(document);
    }
}

const Shape kShapes[] = {
    {"Elements", "<a>", "<e%/>", "", "</a>", 25000, kOneEach, 30},
    {"Settings", "<a>", "<e% type='int32' value='%'/>", "", "</a>", 25000, kOneEach, 12},
    {"OneNameAgainAndAgain", "<a>", "<e/>", "", "</a>", 100000, 1, 3},
    {"UnknownTypes", "<a>", "<e% type='what' value='%'/>", "", "</a>", 25000, 0, 8},
    {"LongAttribute", "<a value='", "x", "", "'/>", 2000000, 1, 8},
    {"LongEscapedAttribute", "<a value='", "&amp;", "", "'/>", 400000, 1, 8},
    {"LongText", "<a>", "xxxxxxxx", "", "</a>", 500000, 1, 2},
    {"TextInPieces", "<a>", "x&amp;", "", "</a>", 500000, 1, 2},
    {"Comments", "<a>", "<!--c-->", "", "</a>", 250000, 1, 2},
    {"LongComment", "<!--", "xxxxxxxx", "", "--><a/>", 500000, 1, 3},
    {"Declarations", "<!DOCTYPE a [", "<!ENTITY e 'v'>", "", "]><a/>", 100000, 1, 2},
    {"SettingsInUtf7", "<?xml version='1.0' encoding='UTF-7'?><a>", "<e% value+AD0AJw-%'/+AD4-", "",
     "</a>", 25000, kOneEach, 16},
    {"LongEntity", "<!DOCTYPE a [<!ENTITY e '", "x", "", "'>]><a/>", 1000000, 1, 8},
};

TEST_P(XmlBounds, TwiceTheFileTakesTwiceTheMemory) {
    load("<a/>");  // libxml2 sets itself up
    Proportion loading("load", GetParam().multiple);
    for (const std::size_t count : twoSizes(GetParam().items)) {
        const std::string document = GetParam().text(count);
        testsupport::writeFile(defaults_, document);
        storage_ = boost::make_shared<testsupport::LooseXmlStorage>("", defaults_, readWrite_);
        storage_->setFactory(factory_);
        loading.measure(document.size(), [this] { ASSERT_TRUE(storage_->loadFile(defaults_)); });
        EXPECT_EQ(names().size(), GetParam().settingsOf(count));
    }
}

INSTANTIATE_TEST_SUITE_P(Files, XmlBounds, testing::ValuesIn(kShapes),
                         [](const auto& file) { return std::string(file.param.name); });

}  // namespace
