#include <array>
#include <cstddef>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <type_traits>
#include <vector>

#include "Qel/Settings/CLibXml2SaxParser.h"
#include "Sax1Handler.h"
#include "SaxRecorder.h"

namespace {

using Qel::Settings::CLibXml2SaxParser;
using Qel::Settings::sax1Handler;
using Qel::Settings::SaxRun;
using testing::ElementsAre;
using testsupport::SaxRecorder;
using Calls = std::vector<std::string>;

const xmlChar* text(const char* bytes) {
    return reinterpret_cast<const xmlChar*>(bytes);
}

/// Calls all callbacks, in libxml2's order, with arguments of their own.
void callEach(void* userData) {
    const xmlSAXHandler& handler = sax1Handler();
    const xmlChar* attributes[] = {text("k"), text("v"), text("none"), nullptr, nullptr};
    xmlElementContent content{};
    content.name = text("cn");
    xmlSAXLocator locator{};
    unsigned char value[] = "content";

    handler.internalSubset(userData, text("i1"), text("i2"), text("i3"));
    handler.isStandalone(userData);
    handler.hasInternalSubset(userData);
    handler.hasExternalSubset(userData);
    handler.resolveEntity(userData, text("r1"), text("r2"));
    handler.getEntity(userData, text("g1"));
    handler.entityDecl(userData, text("e1"), 4, text("e2"), text("e3"), value);
    handler.notationDecl(userData, text("n1"), text("n2"), text("n3"));
    handler.attributeDecl(userData, text("a1"), text("a2"), 9, 2, text("a3"),
                          xmlCreateEnumeration(text("ev")));
    handler.elementDecl(userData, text("l1"), 3, &content);
    handler.unparsedEntityDecl(userData, text("u1"), text("u2"), text("u3"), text("u4"));
    handler.setDocumentLocator(userData, &locator);
    handler.startDocument(userData);
    handler.endDocument(userData);
    handler.startElement(userData, text("s1"), attributes);
    handler.endElement(userData, text("s2"));
    handler.reference(userData, text("f1"));
    handler.characters(userData, text("chars"), 2);
    handler.ignorableWhitespace(userData, text("white"), 3);
    handler.processingInstruction(userData, text("p1"), text("p2"));
    handler.comment(userData, text("c1"));
    handler.warning(userData, "%s-%d", "w", 1);
    handler.error(userData, "%s-%.1f", "e", 2.5);
    handler.fatalError(userData, "%ld-%s", 3L, "f");
    handler.getParameterEntity(userData, text("m1"));
    handler.cdataBlock(userData, text("cdata"), 4);
    handler.externalSubset(userData, text("x1"), text("x2"), text("x3"));
}

TEST(XmlParser, EachCallbackReachesItsOperationWithItsArguments) {
    SaxRecorder parser;
    const SaxRun run(parser);
    callEach(&parser);
    EXPECT_THAT(
        parser.calls,
        ElementsAre("onInternalSubset(i1 i2 i3)", "onIsStandalone()", "onHasInternalSubset()",
                    "onHasExternalSubset()", "onResolveEntity(r1 r2)", "onGetEntity(g1)",
                    "onEntityDecl(e1 4 e2 e3 content)", "onNotationDecl(n1 n2 n3)",
                    "onAttributeDecl(a1 a2 9 2 a3 ev)", "onElementDecl(l1 3 cn)",
                    "onUnparsedEntityDecl(u1 u2 u3 u4)", "onSetDocumentLocator(locator)",
                    "onStartDocument()", "onEndDocument()", "onStartElement(s1 k=v none=-)",
                    "onEndElement(s2)", "onReference(f1)", "onCharacters(ch)",
                    "onIgnorableWhitespace(whi)", "onProcessingInstruction(p1 p2)", "onComment(c1)",
                    "onWarning(w-1)", "onError(e-2.5)", "onFatalError(3-f)",
                    "onGetParameterEntity(m1)", "onCData(cdat)", "onExternalSubset(x1 x2 x3)"));
}

TEST(XmlParser, AnswersOfTheOperationsReachLibxml2) {
    SaxRecorder parser;
    xmlParserInput input{};
    xmlEntity entity{};
    parser.input = &input;
    parser.entity = &entity;
    const SaxRun run(parser);
    const xmlSAXHandler& handler = sax1Handler();
    EXPECT_EQ(11, handler.isStandalone(&parser));
    EXPECT_EQ(12, handler.hasInternalSubset(&parser));
    EXPECT_EQ(13, handler.hasExternalSubset(&parser));
    EXPECT_EQ(&input, handler.resolveEntity(&parser, text("r"), nullptr));
    EXPECT_EQ(&entity, handler.getEntity(&parser, text("g")));
    EXPECT_EQ(&entity, handler.getParameterEntity(&parser, text("p")));
}

TEST(XmlParser, OperationsAnswerNothingUnlessOverridden) {
    CLibXml2SaxParser parser;
    const SaxRun run(parser);
    callEach(&parser);
    EXPECT_FALSE(run.failed());
    EXPECT_EQ(0, parser.onIsStandalone());
    EXPECT_EQ(0, parser.onHasInternalSubset());
    EXPECT_EQ(0, parser.onHasExternalSubset());
    EXPECT_EQ(nullptr, parser.onResolveEntity(text("r"), text("s")));
    EXPECT_EQ(nullptr, parser.onGetEntity(text("g")));
    EXPECT_EQ(nullptr, parser.onGetParameterEntity(text("p")));
}

TEST(XmlParser, CallbacksWithoutUserDataDoNothing) {
    callEach(nullptr);
    const xmlSAXHandler& handler = sax1Handler();
    EXPECT_EQ(0, handler.isStandalone(nullptr));
    EXPECT_EQ(0, handler.hasInternalSubset(nullptr));
    EXPECT_EQ(0, handler.hasExternalSubset(nullptr));
    EXPECT_EQ(nullptr, handler.resolveEntity(nullptr, text("r"), text("s")));
    EXPECT_EQ(nullptr, handler.getEntity(nullptr, text("g")));
    EXPECT_EQ(nullptr, handler.getParameterEntity(nullptr, text("p")));
}

TEST(XmlParser, HandlerSetsAllOfVersionOneAndNothingElse) {
    constexpr std::size_t kCallbacks = 27;
    static_assert(offsetof(xmlSAXHandler, initialized) == kCallbacks * sizeof(void*));
    const xmlSAXHandler& handler = sax1Handler();
    std::array<void*, kCallbacks> callbacks;
    std::memcpy(callbacks.data(), &handler, sizeof callbacks);
    EXPECT_THAT(callbacks, testing::Each(testing::NotNull()));
    EXPECT_EQ(0U, handler.initialized);
    EXPECT_EQ(nullptr, handler._private);
    EXPECT_EQ(nullptr, handler.startElementNs);
    EXPECT_EQ(nullptr, handler.endElementNs);
    EXPECT_EQ(nullptr, handler.serror);
    EXPECT_EQ(&handler, &sax1Handler());
}

TEST(XmlParser, ClassHasNoData) {
    EXPECT_EQ(sizeof(void*), sizeof(CLibXml2SaxParser));
    EXPECT_TRUE(std::has_virtual_destructor<CLibXml2SaxParser>::value);
}

TEST(XmlParser, DocumentIsReportedInItsOrder) {
    SaxRecorder parser;
    EXPECT_EQ(0, parser.parseText("<?xml version='1.0'?><!--c--><a k='v' l='2'><?p q r?>t<b/>"
                                  "<![CDATA[x<y]]></a>"));
    EXPECT_THAT(parser.calls,
                ElementsAre("onSetDocumentLocator(locator)", "onStartDocument()", "onComment(c)",
                            "onStartElement(a k=v l=2)", "onProcessingInstruction(p q r)",
                            "onCharacters(t)", "onStartElement(b)", "onEndElement(b)",
                            "onCData(x<y)", "onEndElement(a)", "onEndDocument()"));
}

TEST(XmlParser, DeclarationsAreReported) {
    SaxRecorder parser;
    EXPECT_EQ(
        0, parser.parseText("<!DOCTYPE a SYSTEM 's' [<!ELEMENT a (b)><!NOTATION n PUBLIC 'pn'>"
                            "<!ATTLIST a k (x|y) 'y'><!ENTITY e 'v'><!ENTITY u SYSTEM 'us' NDATA n>"
                            "]><a/>"));
    EXPECT_THAT(parser.calls,
                testing::IsSupersetOf({"onInternalSubset(a - s)", "onElementDecl(a 4 b)",
                                       "onNotationDecl(n pn -)", "onAttributeDecl(a k 9 1 y x y)",
                                       "onEntityDecl(e 1 - - v)", "onUnparsedEntityDecl(u - us n)",
                                       "onExternalSubset(a - s)"}));
}

TEST(XmlParser, AmpersandOfAnAttributeArrivesAsAReference) {
    SaxRecorder parser;
    EXPECT_EQ(0, parser.parseText("<a k='x&amp;y&#38;z&#x26;' l='&lt;&gt;&quot;&apos;&#65;'/>"));
    EXPECT_THAT(parser.calls, testing::Contains("onStartElement(a k=x&#38;y&#38;z&#38; l=<>\"'A)"));
}

class Elsewhere {
public:
    virtual ~Elsewhere() = default;
    int data = 1;
};

class SecondBaseParser : public Elsewhere, public CLibXml2SaxParser {
public:
    void onStartDocument() override { seen = this; }
    const SecondBaseParser* seen = nullptr;
};

TEST(XmlParser, ParserMayBeASecondBase) {
    SecondBaseParser parser;
    ASSERT_NE(static_cast<void*>(&parser),
              static_cast<void*>(static_cast<CLibXml2SaxParser*>(&parser)));
    EXPECT_EQ(0, parser.parse("<a/>", 4));
    EXPECT_EQ(&parser, parser.seen);
    EXPECT_EQ(1, parser.data);
}

TEST(XmlParser, ResultIsZeroForAWellFormedDocumentOnly) {
    CLibXml2SaxParser parser;
    EXPECT_EQ(0, parser.parse("<a/>", 4));
    EXPECT_EQ(XML_ERR_DOCUMENT_EMPTY, parser.parse(" ", 1));
    EXPECT_EQ(XML_ERR_DOCUMENT_END, parser.parse("<a/><b/>", 8));
    EXPECT_EQ(XML_ERR_ATTRIBUTE_REDEFINED, parser.parse("<a b='1' b='2'/>", 16));
    EXPECT_EQ(XML_ERR_UNSUPPORTED_ENCODING,
              parser.parse("<?xml version='1.0' encoding='nonsense'?><a/>", 45));
}

TEST(XmlParser, NothingToReadGivesMinusOne) {
    CLibXml2SaxParser parser;
    EXPECT_EQ(-1, parser.parse("<a/>", 0));
    EXPECT_EQ(-1, parser.parse("<a/>", -1));
    EXPECT_EQ(-1, parser.parse(nullptr, 4));
    EXPECT_EQ(-1, parser.parseFile(nullptr));
    EXPECT_EQ(-1, parser.parseFile(""));
}

TEST(XmlParser, OnlyTheGivenBytesAreRead) {
    CLibXml2SaxParser parser;
    EXPECT_EQ(0, parser.parse("<a/><", 4));
    EXPECT_NE(0, parser.parse("<a/>", 3));
}

}  // namespace
