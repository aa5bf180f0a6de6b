#include "Qel/Settings/CLibXml2SaxParser.h"

#include <string>

#include "Sax1Handler.h"
#include "files/WholeFile.h"

namespace Qel {
namespace Settings {

CLibXml2SaxParser::~CLibXml2SaxParser() = default;

void CLibXml2SaxParser::onInternalSubset(const unsigned char*, const unsigned char*,
                                         const unsigned char*) {}

int CLibXml2SaxParser::onIsStandalone() {
    return 0;
}

int CLibXml2SaxParser::onHasInternalSubset() {
    return 0;
}

int CLibXml2SaxParser::onHasExternalSubset() {
    return 0;
}

_xmlParserInput* CLibXml2SaxParser::onResolveEntity(const unsigned char*, const unsigned char*) {
    return nullptr;
}

_xmlEntity* CLibXml2SaxParser::onGetEntity(const unsigned char*) {
    return nullptr;
}

void CLibXml2SaxParser::onEntityDecl(const unsigned char*, int, const unsigned char*,
                                     const unsigned char*, unsigned char*) {}

void CLibXml2SaxParser::onNotationDecl(const unsigned char*, const unsigned char*,
                                       const unsigned char*) {}

void CLibXml2SaxParser::onAttributeDecl(const unsigned char*, const unsigned char*, int, int,
                                        const unsigned char*, _xmlEnumeration*) {}

void CLibXml2SaxParser::onElementDecl(const unsigned char*, int, _xmlElementContent*) {}

void CLibXml2SaxParser::onUnparsedEntityDecl(const unsigned char*, const unsigned char*,
                                             const unsigned char*, const unsigned char*) {}

void CLibXml2SaxParser::onSetDocumentLocator(_xmlSAXLocator*) {}

void CLibXml2SaxParser::onReference(const unsigned char*) {}

void CLibXml2SaxParser::onStartDocument() {}

void CLibXml2SaxParser::onEndDocument() {}

void CLibXml2SaxParser::onStartElement(const unsigned char*, const unsigned char**) {}

void CLibXml2SaxParser::onEndElement(const unsigned char*) {}

void CLibXml2SaxParser::onCharacters(const unsigned char*, int) {}

void CLibXml2SaxParser::onIgnorableWhitespace(const unsigned char*, int) {}

void CLibXml2SaxParser::onProcessingInstruction(const unsigned char*, const unsigned char*) {}

void CLibXml2SaxParser::onComment(const unsigned char*) {}

void CLibXml2SaxParser::onWarning(const char*, char*) {}

void CLibXml2SaxParser::onError(const char*, char*) {}

void CLibXml2SaxParser::onFatalError(const char*, char*) {}

_xmlEntity* CLibXml2SaxParser::onGetParameterEntity(const unsigned char*) {
    return nullptr;
}

void CLibXml2SaxParser::onCData(const unsigned char*, int) {}

void CLibXml2SaxParser::onExternalSubset(const unsigned char*, const unsigned char*,
                                         const unsigned char*) {}

int CLibXml2SaxParser::parse(const char* buffer, int size) {
    const std::size_t length = buffer != nullptr && size > 0 ? static_cast<std::size_t>(size) : 0;
    return parseInMemory(*this, {buffer, length});
}

int CLibXml2SaxParser::parseFile(const char* filename) {
    std::string document;
    // libxml2 would complain about a file that it cannot open on the standard error, wait for a
    // writer at a pipe, know no limits and unpack some kilobytes to gigabytes.
    return filename != nullptr && files::readWholeFile(filename, document)
               ? parseDocument(*this, document)
               : -1;
}

}  // namespace Settings
}  // namespace Qel
