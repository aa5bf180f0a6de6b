// Documents in every kind of encoding: those that libxml2 reads as they are, and those whose markup
// does not stand as in ASCII, so that it is seen only when they have been decoded.

#include <gtest/gtest.h>
#include <libxml/encoding.h>
#include <libxml/xmlerror.h>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

#include "XmlStorageFixture.h"
#include "text/Markup.h"

namespace {

struct Encoding {
    const char* declared;
    const char* converter;  ///< libxml2's name of it
    bool asciiHeader;       ///< the declaration stands in ASCII
    const char* mark;       ///< a sign that the document begins with, in UTF-8
    const char* word;       ///< letters that a name may have, in UTF-8
};

void PrintTo(const Encoding& encoding, std::ostream* out) {
    *out << encoding.converter << " declared as " << encoding.declared;
}

// One byte of U+3E41 is ">" in UTF-16, of U+5C1A in ISO-2022-JP; one of U+413C is "<" in UTF-16.
const Encoding kEncodings[] = {
    {"UTF-7", "UTF-7", true, "", "\xC3\xA9\xE5\xB0\x9A"},
    {"utf-7", "UTF-7", true, "", "z"},
    {"ISO-2022-JP", "ISO-2022-JP", true, "", "\xE5\xB0\x9A"},
    {"ISO-2022-KR", "ISO-2022-KR", true, "", "\xED\x95\x9C"},
    {"HZ", "HZ", true, "", "\xE5\xB0\x9A"},
    {"JOHAB", "JOHAB", true, "", "\xED\x95\x9C"},
    {"IBM037", "IBM037", false, "", "\xC3\xA9"},
    {"IBM1047", "IBM1047", false, "", "\xC3\xA9"},
    {"UTF-16", "UTF-16LE", false, "\xEF\xBB\xBF", "\xE3\xB9\x81\xE4\x84\xBC"},
    {"UTF-16", "UTF-16BE", false, "\xEF\xBB\xBF", "\xE3\xB9\x81\xE4\x84\xBC"},
    {"UTF-16LE", "UTF-16LE", false, "\xEF\xBB\xBF", "\xE3\xB9\x81\xE4\x84\xBC"},
    {"UTF-16BE", "UTF-16BE", false, "", "\xE3\xB9\x81\xE4\x84\xBC"},
    {"UCS-2", "UTF-16BE", false, "\xEF\xBB\xBF", "\xE3\xB9\x81\xE4\x84\xBC"},
    {"UTF-32", "UTF-32LE", false, "\xEF\xBB\xBF", "\xE5\xB0\x9A"},
    {"UTF-32", "UTF-32BE", false, "\xEF\xBB\xBF", "\xE5\xB0\x9A"},
    {"UTF-32LE", "UTF-32LE", false, "", "\xE5\xB0\x9A"},
    {"UCS-4", "UTF-32BE", false, "", "\xE5\xB0\x9A"},
    {"UTF-8", "UTF-8", false, "\xEF\xBB\xBF", "\xE5\xB0\x9A"},
    {"ISO-8859-1", "ISO-8859-1", true, "", "\xC3\xA9"},
    {"Shift_JIS", "SHIFT_JIS", true, "", "\xE5\xB0\x9A"},
    {"GB18030", "GB18030", true, "", "\xE5\xB0\x9A"},
};

struct Free {
    void operator()(xmlBuffer* buffer) const { xmlBufferFree(buffer); }
    void operator()(xmlCharEncodingHandler* handler) const { xmlCharEncCloseFunc(handler); }
};
using Buffer = std::unique_ptr<xmlBuffer, Free>;
using Converter = std::unique_ptr<xmlCharEncodingHandler, Free>;

/// Text that ends in a character that every encoding has by itself, as converters keep back others.
std::string converted(const char* encoding, const std::string& text) {
    const Converter converter(xmlFindCharEncodingHandler(encoding));
    const Buffer from(xmlBufferCreate());
    const Buffer to(xmlBufferCreate());
    xmlBufferAdd(from.get(), BAD_CAST text.data(), static_cast<int>(text.size()));
    xmlCharEncOutFunc(converter.get(), to.get(), nullptr);
    while (from->use > 0 && xmlCharEncOutFunc(converter.get(), to.get(), from.get()) > 0) {
    }
    EXPECT_EQ(0U, from->use);
    return {reinterpret_cast<const char*>(to->content), to->use};
}

std::string declaring(const std::string& encoding) {
    return "<?xml version='1.0' encoding='" + encoding + "'?>";
}

int parse(const std::string& document) {
    Qel::Settings::CLibXml2SaxParser parser;
    return parser.parse(document.data(), static_cast<int>(document.size()));
}

class XmlEncodings : public testsupport::XmlStorageFixture,
                     public testing::WithParamInterface<Encoding> {
protected:
    void SetUp() override {
        const char* const name = GetParam().converter;
        if (!Converter(xmlFindCharEncodingHandler(name))) {
            GTEST_SKIP() << "libxml2 has no converter for " << name << " on this machine";
        }
    }

    std::string documentOf(const std::string& content) const {
        const Encoding& encoding = GetParam();
        const std::string header = declaring(encoding.declared);
        return encoding.asciiHeader
                   ? header + converted(encoding.converter, content + "\n")
                   : converted(encoding.converter, encoding.mark + header + content + "\n");
    }
};

TEST_P(XmlEncodings, DocumentGivesItsValuesExactly) {
    const std::string word = GetParam().word;
    const std::string sentence = "a " + word + " <\"'>&|; " + word;
    ASSERT_TRUE(
        load(documentOf("<tv>\n<n" + word + " type='int32' value='-55'/><s value='a " + word +
                        " &lt;&quot;&apos;>&amp;|; " + word + "'/><!--" + word + "--><t>some text" +
                        "</t><l type='string[]' value='" + word + ";b'/></tv>")));
    EXPECT_EQ("tv", storage_->name());
    EXPECT_EQ((std::vector<std::string>{"tv/l", "tv/n" + word, "tv/s", "tv/t"}), names());
    EXPECT_EQ(-55, value<int>("tv/n" + word));
    EXPECT_EQ(sentence, text("tv/s"));
    EXPECT_EQ("some text", text("tv/t"));
    EXPECT_EQ((std::vector<std::string>{word, "b"}), value<std::vector<std::string>>("tv/l"));
}

TEST_P(XmlEncodings, LongDocumentIsReadToItsEnd) {
    const std::string word = GetParam().word;
    std::string content = "<tv>";
    for (int i = 0; i < 3000; ++i) {
        content += "<s" + std::to_string(i) + " value='" + word + std::to_string(i) + word + "'/>";
    }
    const std::string document = documentOf(content + "</tv>");
    ASSERT_TRUE(load(document));
    EXPECT_EQ(3000U, names().size());
    for (const int i : {0, 1234, 2999}) {
        const std::string number = std::to_string(i);
        EXPECT_EQ(word + number + word, text("tv/s" + number));
    }
    EXPECT_EQ(0, parse(document));
}

TEST_P(XmlEncodings, OverlongTagIsRefusedHoweverItIsWritten) {
    using Qel::Settings::text::kMostPartsOfATag;
    const std::string word = GetParam().word;
    for (const bool tooLong : {false, true}) {
        std::string tag = "<a" + word;
        std::string declaration = "<!DOCTYPE a [<!ATTLIST a" + word + " b (c" + word;
        for (std::size_t i = tooLong ? 0 : 1; i <= kMostPartsOfATag; ++i) {
            tag += " b" + std::to_string(i) + "='" + word + "'";
            declaration += "|d" + std::to_string(i);
        }
        for (const std::string& content :
             {tag + "/>", "<tv><b/>" + tag + "/></tv>", declaration + ") #IMPLIED>]><a/>"}) {
            EXPECT_EQ(tooLong ? -1 : 0, parse(documentOf(content))) << content.substr(0, 20);
            EXPECT_EQ(!tooLong, load(documentOf(content))) << content.substr(0, 20);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Of, XmlEncodings, testing::ValuesIn(kEncodings));

using XmlEncoding = testsupport::XmlStorageFixture;

// Not converted by the library that converts them back.
TEST_F(XmlEncoding, BytesAreTakenAsTheEncodingHasThem) {
    ASSERT_TRUE(load(declaring("UTF-7") + "+ADw-tv value+AD0'+AOk-+-1'/+AD4-"));
    EXPECT_EQ("\xC3\xA9+1", text("tv"));
    ASSERT_TRUE(load(declaring("ISO-2022-JP") + "<tv value='\x1B$B>0\x1B(B'/>"));
    EXPECT_EQ("\xE5\xB0\x9A", text("tv"));
    // <?xml version='1.0' encoding='IBM037'?><tv value='A1'/>
    ASSERT_TRUE(
        load("\x4C\x6F\xA7\x94\x93\x40\xA5\x85\x99\xA2\x89\x96\x95\x7E\x7D\xF1\x4B\xF0\x7D\x40\x85"
             "\x95\x83\x96\x84\x89\x95\x87\x7E\x7D\xC9\xC2\xD4\xF0\xF3\xF7\x7D\x6F\x6E\x4C\xA3\xA5"
             "\x40\xA5\x81\x93\xA4\x85\x7E\x7D\xC1\xF1\x7D\x61\x6E"));
    EXPECT_EQ("A1", text("tv"));
}

TEST_F(XmlEncoding, ThatNobodyKnowsIsRefused) {
    for (const char* name : {"what", "UTF-8859", "ISO-2022", "x"}) {
        EXPECT_EQ(XML_ERR_UNSUPPORTED_ENCODING, parse(declaring(name) + "<tv/>")) << name;
    }
}

TEST_F(XmlEncoding, OfBytesThatDeclareWiderUnitsIsRefused) {
    for (const char* name : {"UTF-16", "UTF-16LE", "UTF-16BE", "UTF-32", "UCS-4", "IBM037"}) {
        if (Converter(xmlFindCharEncodingHandler(name))) {
            EXPECT_EQ(XML_ERR_INVALID_ENCODING, parse(declaring(name) + "<tv/>")) << name;
        }
    }
}

TEST_F(XmlEncoding, ThatContradictsTheFirstBytesIsRefused) {
    for (const char* units : {"UTF-16LE", "UTF-16BE", "UTF-32LE", "UTF-32BE"}) {
        for (const char* other : {"ISO-8859-1", "UTF-7", "IBM037", "EUC-JP"}) {
            EXPECT_EQ(XML_ERR_INVALID_ENCODING,
                      parse(converted(units, declaring(other) + "<tv/>\n")))
                << units << other;
        }
    }
}

TEST_F(XmlEncoding, IsNotChosenByAnythingBesidesTheDeclaration) {
    for (const char* document :
         {"<?xml version='1.0'?><a encoding='UTF-7'/>", "<a encoding='UTF-7'/>",
          "<?xml-note encoding='UTF-7'?><a/>", "<!--<?xml encoding='UTF-7'?>--><a/>"}) {
        EXPECT_EQ(0, parse(document)) << document;
    }
}

/// ICU's converters pass over bytes that are no text.
bool refusesBytes(const char* encoding) {
    const Converter converter(xmlFindCharEncodingHandler(encoding));
    return converter && converter->iconv_in != nullptr;
}

TEST_F(XmlEncoding, SettingsBeforeBytesThatItDoesNotHaveAreKept) {
    const std::string before = "<tv><a value='1'/><b value='2'/>\n";
    const std::string after = "<c/></tv>\n";
    const std::string utf16 = converted("UTF-16BE", declaring("UTF-16") + before);
    const std::string halfALetter("\xD8\0", 2);
    EXPECT_FALSE(load(utf16 + halfALetter + converted("UTF-16BE", after)));
    EXPECT_EQ((std::vector<std::string>{"tv/a", "tv/b"}), names());
    if (refusesBytes("ISO-2022-JP")) {
        EXPECT_FALSE(load(declaring("ISO-2022-JP") + before + "\xFF" + after));
        EXPECT_EQ((std::vector<std::string>{"tv/a", "tv/b"}), names());
        EXPECT_EQ(XML_I18N_CONV_FAILED, parse(declaring("ISO-2022-JP") + "<tv/>\xFF"));
    }
}

/// The last bytes before memory that cannot be read.
class EndOfMemory {
public:
    EndOfMemory() : page_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))) {
        void* const pages =
            mmap(nullptr, 2 * page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        EXPECT_NE(MAP_FAILED, pages);
        start_ = static_cast<char*>(pages);
        EXPECT_EQ(0, mprotect(start_ + page_, page_, PROT_NONE));
    }
    ~EndOfMemory() { munmap(start_, 2 * page_); }
    EndOfMemory(const EndOfMemory&) = delete;
    EndOfMemory& operator=(const EndOfMemory&) = delete;

    /// What a parser makes of a document that is put there.
    int parse(const std::string& document) const {
        char* const place = start_ + page_ - document.size();
        document.copy(place, document.size());
        Qel::Settings::CLibXml2SaxParser parser;
        return parser.parse(place, static_cast<int>(document.size()));
    }

private:
    std::size_t page_;
    char* start_ = nullptr;
};

// A document that is mapped from a file may end where its page ends.
TEST_F(XmlEncoding, NothingIsReadBehindTheDocumentsEnd) {
    const EndOfMemory memory;
    for (const char* name : {"UTF-7", "ISO-2022-JP", "CP874"}) {
        const std::string document = declaring(name) + "<tv/>";
        EXPECT_EQ(0, refusesBytes(name) ? memory.parse(document) : 0) << name;
        for (const char* end : {"\xFF", "\xFF\n", "\xFF\n\n", "\xFF\n\n\n"}) {
            const int result = memory.parse(document + end);
            EXPECT_EQ(refusesBytes(name) ? XML_I18N_CONV_FAILED : result, result) << name;
        }
    }
}

// Converted in pieces, some converters would begin each in the first mode again.
TEST_F(XmlEncoding, ModesLastAsLongAsTheyShould) {
    std::string letters;
    std::string bytes = "\x1B$B";
    for (int i = 0; i < 20000; ++i) {
        letters += "\xE5\xB0\x9A";
        bytes += ">0";
    }
    ASSERT_TRUE(load(declaring("ISO-2022-JP") + "<tv value='" + bytes + "\x1B(B'/>"));
    EXPECT_TRUE(letters == text("tv"));
}

}  // namespace
