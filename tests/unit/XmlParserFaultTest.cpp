#include <atomic>
#include <fcntl.h>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <new>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "Files.h"
#include "Qel/Settings/CLibXml2SaxParser.h"
#include "Sax1Handler.h"
#include "SaxRecorder.h"
#include "TempDir.h"

namespace {

using Qel::Settings::CLibXml2SaxParser;
using testing::ElementsAre;
using testsupport::SaxRecorder;
using testsupport::TempDir;
using testsupport::writeFile;

/// What `action` writes to standard error.
std::string standardErrorOf(const std::function<void()>& action) {
    testing::internal::CaptureStderr();
    action();
    return testing::internal::GetCapturedStderr();
}

/// Throws at the operation whose record begins with `operation`.
class ThrowingParser : public SaxRecorder {
public:
    explicit ThrowingParser(std::string operation) {
        onCall = [this, operation] {
            if (calls.back().compare(0, operation.size(), operation) == 0) {
                throw std::runtime_error("thrown by " + operation);
            }
        };
    }
};

TEST(XmlParserFault, ExceptionOfAnyOperationComesOutOfTheParse) {
    const std::string document =
        "<!DOCTYPE a SYSTEM 's' [<!ELEMENT a (b)><!NOTATION n PUBLIC 'pn'><!ATTLIST a k (x|y) 'y'>"
        "<!ENTITY e 'v'><!ENTITY u SYSTEM 'us' NDATA n><!ENTITY % p SYSTEM 'pe'> %p; ]>"
        "<a k='x'>t&e;<!--c--><?p q?><![CDATA[d]]><b/></a><";
    for (const char* operation : {"onSetDocumentLocator",
                                  "onStartDocument",
                                  "onInternalSubset",
                                  "onElementDecl",
                                  "onNotationDecl",
                                  "onAttributeDecl",
                                  "onEntityDecl",
                                  "onUnparsedEntityDecl",
                                  "onGetParameterEntity",
                                  "onWarning",
                                  "onExternalSubset",
                                  "onStartElement",
                                  "onCharacters",
                                  "onGetEntity",
                                  "onReference",
                                  "onComment",
                                  "onProcessingInstruction",
                                  "onCData",
                                  "onEndElement",
                                  "onError",
                                  "onEndDocument"}) {
        SCOPED_TRACE(operation);
        ThrowingParser parser(operation);
        try {
            parser.parseText(document);
            ADD_FAILURE() << "nothing was thrown";
        } catch (const std::runtime_error& e) {
            EXPECT_EQ("thrown by " + std::string(operation), e.what());
        }
        EXPECT_EQ(0U, parser.calls.back().find(operation)) << "called on: " << parser.calls.back();
    }
}

TEST(XmlParserFault, ExceptionComesOutOfParseFileAsWell) {
    TempDir directory;
    writeFile(directory.file("a.xml"), "<a/>");
    ThrowingParser parser("onStartElement");
    EXPECT_THROW(parser.parseFile(directory.file("a.xml").c_str()), std::runtime_error);
    EXPECT_EQ("onStartElement(a)", parser.calls.back());
}

TEST(XmlParserFault, ExceptionKeepsItsTypeWhateverThatIs) {
    SaxRecorder parser;
    parser.onCall = [] { throw 42; };
    EXPECT_THROW(parser.parseText("<a/>"), int);
    parser.onCall = [] { throw std::bad_alloc(); };
    EXPECT_THROW(parser.parseText("<a/>"), std::bad_alloc);
}

TEST(XmlParserFault, ParserIsUsableAfterAnException) {
    ThrowingParser parser("onEndElement");
    EXPECT_THROW(parser.parseText("<a/>"), std::runtime_error);
    parser.onCall = nullptr;
    parser.calls.clear();
    EXPECT_EQ(0, parser.parseText("<b/>"));
    EXPECT_EQ("onEndDocument()", parser.calls.back());
}

TEST(XmlParserFault, OperationMayParseAnotherDocument) {
    SaxRecorder outer;
    SaxRecorder inner;
    outer.onCall = [&] {
        if (outer.calls.back() == "onStartElement(b)") {
            EXPECT_EQ(0, inner.parseText("<x><y/></x>"));
        }
    };
    EXPECT_EQ(0, outer.parseText("<a><b/><c/></a>"));
    EXPECT_THAT(inner.calls, ElementsAre("onSetDocumentLocator(locator)", "onStartDocument()",
                                         "onStartElement(x)", "onStartElement(y)",
                                         "onEndElement(y)", "onEndElement(x)", "onEndDocument()"));
    EXPECT_THAT(outer.calls, testing::IsSupersetOf({"onStartElement(c)", "onEndDocument()"}));
}

TEST(XmlParserFault, CaughtExceptionOfAnInnerParseDoesNotTouchTheOuterOne) {
    SaxRecorder outer;
    ThrowingParser inner("onStartElement");
    outer.onCall = [&] {
        if (outer.calls.back() == "onStartElement(b)") {
            EXPECT_THROW(inner.parseText("<x/>"), std::runtime_error);
        }
    };
    EXPECT_EQ(0, outer.parseText("<a><b/></a>"));
    EXPECT_EQ("onEndDocument()", outer.calls.back());
}

TEST(XmlParserFault, ExceptionAfterAnInnerParseBelongsToTheOuterOne) {
    SaxRecorder outer;
    outer.onCall = [&] {
        if (outer.calls.back() == "onStartElement(b)") {
            SaxRecorder inner;
            inner.parseText("<x/>");
            throw std::runtime_error("outer");
        }
    };
    EXPECT_THROW(outer.parseText("<a><b/></a>"), std::runtime_error);
    EXPECT_EQ("onStartElement(b)", outer.calls.back());
}

TEST(XmlParserFault, ThreadsParseIndependently) {
    constexpr int kRounds = 200;
    std::atomic<int> thrown{0};
    std::atomic<int> parsed{0};
    std::thread throwing([&] {
        for (int round = 0; round < kRounds; ++round) {
            ThrowingParser parser("onStartElement(c)");
            try {
                parser.parseText("<a><b/><c/></a>");
            } catch (const std::runtime_error&) {
                ++thrown;
            }
        }
    });
    std::thread parsing([&] {
        for (int round = 0; round < kRounds; ++round) {
            SaxRecorder parser;
            parsed += parser.parseText("<a><b/><c/></a>") == 0 && parser.calls.size() == 9 ? 1 : 0;
        }
    });
    throwing.join();
    parsing.join();
    EXPECT_EQ(kRounds, thrown);
    EXPECT_EQ(kRounds, parsed);
}

class XmlParserFile : public testing::Test {
protected:
    int parse(const std::string& path) {
        int result = 0;
        standardError_ = standardErrorOf([&] { result = parser_.parseFile(path.c_str()); });
        return result;
    }

    TempDir directory_;
    SaxRecorder parser_;
    std::string standardError_;
};

TEST_F(XmlParserFile, IsReadLikeADocumentInMemory) {
    writeFile(directory_.file("a.xml"), "<a k='v'/>");
    EXPECT_EQ(0, parse(directory_.file("a.xml")));
    EXPECT_THAT(parser_.calls, testing::Contains("onStartElement(a k=v)"));
}

// A storage takes the last piece of a text as the value, so the pieces are part of what a file
// says.
TEST_F(XmlParserFile, TextsComeInThePiecesInWhichLibxml2ReadsAFile) {
    const std::string path = directory_.file("a.xml");
    const std::string letters(9000, 'x');
    const std::string accents = "<?xml version='1.0' encoding='ISO-8859-1'?><a k='" + letters +
                                "'>" + letters + std::string(5000, '\xe9') + "</a>";
    for (const std::string& document :
         {"<a>" + letters + "&amp;" + letters + "<b/>\r\n" + letters + "</a>", accents,
          "<a>" + std::string(3990, ' ') + "<![CDATA[" + letters + "]]></a>", "<a>" + letters,
          "<a>" + letters + "\xff</a>", std::string("<a>\0</a>", 8), std::string()}) {
        writeFile(path, document);
        SaxRecorder expected;
        int result = 0;
        {
            const Qel::Settings::SaxRun run(expected);
            result = xmlSAXUserParseFile(const_cast<xmlSAXHandler*>(&Qel::Settings::sax1Handler()),
                                         &expected, path.c_str());
        }
        SaxRecorder parser;
        EXPECT_EQ(result, parser.parseFile(path.c_str()));
        EXPECT_EQ(expected.calls, parser.calls);
    }
}

TEST_F(XmlParserFile, NameIsTakenAsItIs) {
    for (const char* name : {"with blank.xml", "%41.xml", "#?&.xml", "\xc3\xa4\xff.xml"}) {
        writeFile(directory_.file(name), "<a/>");
        EXPECT_EQ(0, parse(directory_.file(name))) << name;
    }
}

TEST_F(XmlParserFile, SymbolicLinkIsFollowed) {
    writeFile(directory_.file("a.xml"), "<a/>");
    ASSERT_EQ(0, symlink("a.xml", directory_.file("link.xml").c_str()));
    EXPECT_EQ(0, parse(directory_.file("link.xml")));
}

TEST_F(XmlParserFile, MissingFileIsRefusedWithoutAWord) {
    EXPECT_EQ(-1, parse(directory_.file("none.xml")));
    EXPECT_EQ("", standardError_);
    EXPECT_THAT(parser_.calls, testing::IsEmpty());
}

TEST_F(XmlParserFile, DirectoryIsRefused) {
    EXPECT_EQ(-1, parse(directory_.path()));
    EXPECT_EQ("", standardError_);
    EXPECT_THAT(parser_.calls, testing::IsEmpty());
}

TEST_F(XmlParserFile, PipeIsRefusedAtOnce) {
    ASSERT_EQ(0, mkfifo(directory_.file("pipe.xml").c_str(), 0600));
    EXPECT_EQ(-1, parse(directory_.file("pipe.xml")));
    EXPECT_EQ("", standardError_);
}

TEST_F(XmlParserFile, PipeWithAWriterIsRefusedAndLeftFull) {
    const std::string path = directory_.file("pipe.xml");
    ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
    const int pipe = open(path.c_str(), O_RDWR | O_NONBLOCK);
    ASSERT_EQ(4, write(pipe, "<a/>", 4));
    EXPECT_EQ(-1, parse(path));
    char left[8];
    EXPECT_EQ(4, read(pipe, left, sizeof left));
    close(pipe);
}

TEST_F(XmlParserFile, DeviceIsRefused) {
    EXPECT_EQ(-1, parse("/dev/zero"));
    EXPECT_EQ("", standardError_);
}

TEST_F(XmlParserFile, EmptyFileIsAnEmptyDocument) {
    writeFile(directory_.file("empty.xml"), "");
    EXPECT_EQ(XML_ERR_DOCUMENT_EMPTY, parse(directory_.file("empty.xml")));
    EXPECT_EQ("", standardError_);
}

// libxml2 tells a damaged encoding not to the handler but to the thread's error function.
TEST_F(XmlParserFile, DamagedEncodingIsToldToTheParserAlone) {
    const std::string damaged("\xff\xfe<\0a\0>\0\x00\xd8<\0/\0a\0>\0", 18);
    writeFile(directory_.file("a.xml"), damaged);
    EXPECT_NE(0, parse(directory_.file("a.xml")));
    EXPECT_EQ("", standardError_);
    EXPECT_THAT(parser_.calls, testing::Contains(testing::StartsWith("onError(input conversion")));
}

std::string heardFromLibxml2;

void hear(void*, const char* format, ...) {
    heardFromLibxml2 += format;
}

TEST(XmlParserErrors, ThreadsErrorFunctionIsBackAfterTheParse) {
    int context = 0;
    xmlSetGenericErrorFunc(&context, hear);
    SaxRecorder parser;
    parser.onCall = [] { throw std::runtime_error("thrown"); };
    EXPECT_THROW(parser.parseText("<a/>"), std::runtime_error);
    EXPECT_EQ(&hear, xmlGenericError);
    EXPECT_EQ(&context, xmlGenericErrorContext);
    EXPECT_EQ("", heardFromLibxml2);
    xmlSetGenericErrorFunc(nullptr, nullptr);
}

void hearError(void*, xmlError* error) {
    heardFromLibxml2 += error->message;
}

TEST(XmlParserErrors, ThreadsStructuredErrorFunctionHearsNothingAndIsBackAfterTheParse) {
    int context = 0;
    xmlSetStructuredErrorFunc(&context, hearError);
    SaxRecorder parser;
    EXPECT_EQ(XML_ERR_TAG_NAME_MISMATCH, parser.parseText("<a></b>"));
    EXPECT_THAT(parser.calls, testing::Contains(testing::StartsWith("onError(")));
    EXPECT_EQ(&hearError, xmlStructuredError);
    EXPECT_EQ(&context, xmlStructuredErrorContext);
    EXPECT_EQ("", heardFromLibxml2);
    xmlSetStructuredErrorFunc(nullptr, nullptr);
}

}  // namespace
