#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libxml/xmlmemory.h>
#include <sstream>
#include <string>

#include "Files.h"
#include "Qel/Settings/CLibXml2SaxParser.h"
#include "SaxRecorder.h"
#include "TempDir.h"

namespace {

using Qel::Settings::CLibXml2SaxParser;
using testsupport::SaxRecorder;
using testsupport::TempDir;
using testsupport::writeFile;

int resourcesOpened = 0;

xmlParserInputPtr countResource(const char*, const char*, xmlParserCtxtPtr) {
    ++resourcesOpened;
    return nullptr;
}

/// Counts what libxml2 wants to open besides the document in memory.
class XmlParserEntities : public testing::Test {
protected:
    XmlParserEntities() : loader_(xmlGetExternalEntityLoader()) {
        resourcesOpened = 0;
        xmlSetExternalEntityLoader(countResource);
    }
    ~XmlParserEntities() override { xmlSetExternalEntityLoader(loader_); }

    std::string textOf(const std::string& document, bool wellFormed) {
        SaxRecorder parser;
        EXPECT_EQ(wellFormed, parser.parseText(document) == 0);
        std::string text;
        for (const std::string& call : parser.calls) {
            if (call.compare(0, 13, "onCharacters(") == 0) {
                text += call.substr(13, call.size() - 14);
            }
        }
        return text;
    }

    xmlExternalEntityLoader loader_;
};

TEST_F(XmlParserEntities, DeclaredEntityIsNotExpanded) {
    EXPECT_EQ("xy", textOf("<!DOCTYPE a [<!ENTITY e 'vvv'>]><a>x&e;y</a>", false));
}

TEST_F(XmlParserEntities, EntitiesOfEntitiesDoNotGrow) {
    std::ostringstream document;
    document << "<!DOCTYPE a [<!ENTITY e0 'ha'>";
    for (int i = 1; i < 30; ++i) {
        const int inner = i - 1;
        document << "<!ENTITY e" << i << " '&e" << inner << ";&e" << inner << ";'>";
    }
    EXPECT_EQ("", textOf(document.str() + "]><a>&e29;</a>", false));
}

TEST_F(XmlParserEntities, ExternalEntityIsNotOpened) {
    EXPECT_EQ("xy", textOf("<!DOCTYPE a [<!ENTITY e SYSTEM '/etc/hostname'>]><a>x&e;y</a>", false));
    EXPECT_EQ(0, resourcesOpened);
}

TEST_F(XmlParserEntities, DocumentTypeIsNotOpened) {
    EXPECT_EQ("xy", textOf("<!DOCTYPE a SYSTEM 'http://localhost/a.dtd' ["
                           "<!ENTITY % p SYSTEM '/etc/hostname'> %p; ]><a>x&e;y</a>",
                           true));
    EXPECT_EQ(0, resourcesOpened);
}

TEST_F(XmlParserEntities, PredefinedEntitiesAndCharacterReferencesAreText) {
    EXPECT_EQ("<>&\"'A\xc3\xa9", textOf("<a>&lt;&gt;&amp;&quot;&apos;&#65;&#xe9;</a>", true));
    EXPECT_EQ(0, resourcesOpened);
}

std::string nested(int depth) {
    std::string document;
    for (int i = 0; i < depth; ++i) {
        document += "<e>";
    }
    for (int i = 0; i < depth; ++i) {
        document += "</e>";
    }
    return document;
}

TEST(XmlParserDepth, DeepNestingIsRefusedWithoutACrash) {
    for (const int depth : {300, 100000}) {
        SaxRecorder parser;
        EXPECT_NE(0, parser.parseText(nested(depth))) << depth;
        EXPECT_LT(parser.calls.size(), 300U) << depth;
    }
}

TEST(XmlParserDepth, TwoHundredLevelsAreRead) {
    SaxRecorder parser;
    EXPECT_EQ(0, parser.parseText(nested(200)));
    EXPECT_EQ(403U, parser.calls.size());
}

std::atomic<long> blocksInUse{0};

void countedFree(void* block) {
    blocksInUse -= block == nullptr ? 0 : 1;
    std::free(block);
}
void* countedMalloc(std::size_t size) {
    ++blocksInUse;
    return std::malloc(size);
}
void* countedRealloc(void* block, std::size_t size) {
    blocksInUse += block == nullptr ? 1 : 0;
    return std::realloc(block, size);
}
char* countedDuplicate(const char* text) {
    ++blocksInUse;
    return strdup(text);
}

TEST(XmlParserMemory, DeclarationsOfADocumentTypeAreFreed) {
    ASSERT_EQ(0, xmlMemSetup(countedFree, countedMalloc, countedRealloc, countedDuplicate));
    const std::string document =
        "<!DOCTYPE a [<!ELEMENT a (b,(c|d)*)><!ATTLIST a k (x|y|z) 'y' n NOTATION (m|o) #IMPLIED>"
        "<!NOTATION m PUBLIC 'm'><!NOTATION o PUBLIC 'o'><!ENTITY e 'v'>]><a k='x'/>";
    CLibXml2SaxParser parser;
    // The first parse also sets libxml2 itself up.
    parser.parse(document.data(), static_cast<int>(document.size()));
    const long before = blocksInUse;
    EXPECT_EQ(0, parser.parse(document.data(), static_cast<int>(document.size())));
    EXPECT_EQ(before, blocksInUse);
}

TEST(XmlParserMemory, DeclarationsAreFreedThoughAnOperationThrows) {
    ASSERT_EQ(0, xmlMemSetup(countedFree, countedMalloc, countedRealloc, countedDuplicate));
    SaxRecorder parser;
    parser.onCall = [] { throw 1; };
    const std::string document =
        "<!DOCTYPE a [<!ATTLIST a k (x|y) 'y'><!ATTLIST a l (x|y) 'y'>]><a k='x'/>";
    EXPECT_THROW(parser.parseText(document), int);
    const long before = blocksInUse;
    EXPECT_THROW(parser.parseText(document), int);
    EXPECT_EQ(before, blocksInUse);
}

}  // namespace
