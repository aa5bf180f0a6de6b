#include "Sax1Handler.h"

#include <climits>
#include <cstdarg>
#include <libxml/parserInternals.h>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "Qel/Settings/CLibXml2SaxParser.h"
#include "XmlDecoding.h"
#include "text/Markup.h"

namespace Qel {
namespace Settings {

namespace {

thread_local SaxRun* innermostRun = nullptr;

/// The C function for one operation of the parser.
template <auto kOperation>
struct Callback;

template <class Result, class... Arguments, Result (CLibXml2SaxParser::*kOperation)(Arguments...)>
struct Callback<kOperation> {
    static Result call(void* userData, Arguments... arguments) noexcept {
        auto* const parser = static_cast<CLibXml2SaxParser*>(userData);
        if (parser == nullptr || SaxRun::innermost().failed()) {
            return Result();
        }
        try {
            return (parser->*kOperation)(arguments...);
        } catch (...) {
            SaxRun::innermost().fail();
            return Result();
        }
    }
};

using Arguments = std::decay_t<va_list>;

template <void (CLibXml2SaxParser::*kOperation)(const char*, char*)>
void tell(void* userData, const char* format, Arguments arguments) noexcept {
    Callback<kOperation>::call(userData, format, reinterpret_cast<char*>(arguments));
    if (userData != nullptr) {
        SaxRun::innermost().noteShortage();
    }
}

template <void (CLibXml2SaxParser::*kOperation)(const char*, char*)>
void report(void* userData, const char* format, ...) noexcept {
    va_list arguments;
    va_start(arguments, format);
    tell<kOperation>(userData, format, arguments);
    va_end(arguments);
}

// Its first argument is what was set with the function or, when libxml2 has no handler at hand, its
// own context.
void reportToThread(void*, const char* format, ...) noexcept {
    va_list arguments;
    va_start(arguments, format);
    tell<&CLibXml2SaxParser::onError>(&SaxRun::innermost().parser(), format, arguments);
    va_end(arguments);
}

// libxml2's function calls itself for the values that follow.
void freeOneByOne(xmlEnumerationPtr values) {
    while (values != nullptr) {
        xmlEnumeration* const following = std::exchange(values->next, nullptr);
        xmlFreeEnumeration(values);
        values = following;
    }
}

// libxml2 leaves the enumeration to whoever is told of the declaration.
void declareAttribute(void* userData, const xmlChar* element, const xmlChar* name, int type,
                      int defaultKind, const xmlChar* defaultValue,
                      xmlEnumerationPtr values) noexcept {
    Callback<&CLibXml2SaxParser::onAttributeDecl>::call(userData, element, name, type, defaultKind,
                                                        defaultValue, values);
    freeOneByOne(values);
}

constexpr xmlSAXHandler makeHandler() {
    using Parser = CLibXml2SaxParser;
    xmlSAXHandler handler{};
    handler.internalSubset = Callback<&Parser::onInternalSubset>::call;
    handler.isStandalone = Callback<&Parser::onIsStandalone>::call;
    handler.hasInternalSubset = Callback<&Parser::onHasInternalSubset>::call;
    handler.hasExternalSubset = Callback<&Parser::onHasExternalSubset>::call;
    handler.resolveEntity = Callback<&Parser::onResolveEntity>::call;
    handler.getEntity = Callback<&Parser::onGetEntity>::call;
    handler.entityDecl = Callback<&Parser::onEntityDecl>::call;
    handler.notationDecl = Callback<&Parser::onNotationDecl>::call;
    handler.attributeDecl = declareAttribute;
    handler.elementDecl = Callback<&Parser::onElementDecl>::call;
    handler.unparsedEntityDecl = Callback<&Parser::onUnparsedEntityDecl>::call;
    handler.setDocumentLocator = Callback<&Parser::onSetDocumentLocator>::call;
    handler.startDocument = Callback<&Parser::onStartDocument>::call;
    handler.endDocument = Callback<&Parser::onEndDocument>::call;
    handler.startElement = Callback<&Parser::onStartElement>::call;
    handler.endElement = Callback<&Parser::onEndElement>::call;
    handler.reference = Callback<&Parser::onReference>::call;
    handler.characters = Callback<&Parser::onCharacters>::call;
    handler.ignorableWhitespace = Callback<&Parser::onIgnorableWhitespace>::call;
    handler.processingInstruction = Callback<&Parser::onProcessingInstruction>::call;
    handler.comment = Callback<&Parser::onComment>::call;
    handler.warning = report<&Parser::onWarning>;
    handler.error = report<&Parser::onError>;
    handler.fatalError = report<&Parser::onFatalError>;
    handler.getParameterEntity = Callback<&Parser::onGetParameterEntity>::call;
    handler.cdataBlock = Callback<&Parser::onCData>::call;
    handler.externalSubset = Callback<&Parser::onExternalSubset>::call;
    return handler;
}

constexpr xmlSAXHandler kHandler = makeHandler();

// libxml2's own set-up is safe from several threads only after it has happened once.
void initialiseLibrary() {
    static const bool initialised = (xmlInitParser(), true);
    static_cast<void>(initialised);
}

/// Gives libxml2 the next bytes of a `std::string_view`.
int readNext(void* context, char* buffer, int length) {
    auto& left = *static_cast<std::string_view*>(context);
    const std::size_t count = left.copy(buffer, static_cast<std::size_t>(length));
    left.remove_prefix(count);
    return static_cast<int>(count);
}

struct FreeContext {
    void operator()(xmlParserCtxt* context) const {
        xmlFreeDoc(context->myDoc);
        xmlFreeParserCtxt(context);
    }
};
using Context = std::unique_ptr<xmlParserCtxt, FreeContext>;

Context contextOfFile(CLibXml2SaxParser& parser, std::string_view& text) {
    return Context(xmlCreateIOParserCtxt(const_cast<xmlSAXHandler*>(&kHandler), &parser, readNext,
                                         nullptr, &text, XML_CHAR_ENCODING_NONE));
}

Context contextInMemory(CLibXml2SaxParser& parser, std::string_view& text) {
    Context context(xmlCreateMemoryParserCtxt(text.data(), static_cast<int>(text.size())));
    if (context) {
        *context->sax = kHandler;
        context->userData = &parser;
    }
    return context;
}

int parse(CLibXml2SaxParser& parser, std::string_view document,
          Context (*contextOf)(CLibXml2SaxParser&, std::string_view&)) {
    const SaxRun run(parser);
    const DecodedXml decoded(document);
    std::string_view source = decoded.source();
    if (source.empty() && decoded.error() != 0) {
        return decoded.error();
    }
    if (source.size() > INT_MAX || text::hasOverlongTag(decoded.text())) {
        return -1;
    }
    const Context context = contextOf(parser, source);
    if (!context) {
        throw std::bad_alloc();
    }
    // What has been looked at is what is to be read, whatever the declaration says.
    context->options |= decoded.isDecoded() ? XML_PARSE_IGNORE_ENC : 0;
    xmlParseDocument(context.get());
    run.rethrow();
    if (context->wellFormed != 0) {
        return decoded.error();
    }
    return context->errNo != 0 ? context->errNo : -1;
}

}  // namespace

const xmlSAXHandler& sax1Handler() {
    return kHandler;
}

// Errors in the encoding and in reading the file are not reported to the handler but to a function
// of the thread, which prints on the standard error. They are the parser's to hear as well. A
// structured error function of the thread would hear everything in the place of both.
SaxRun::SaxRun(CLibXml2SaxParser& parser) : parser_(parser), outer_(innermostRun) {
    initialiseLibrary();
    xmlResetLastError();
    outerErrorFunction_ = xmlGenericError;
    outerErrorContext_ = xmlGenericErrorContext;
    xmlSetGenericErrorFunc(nullptr, reportToThread);
    outerStructuredFunction_ = xmlStructuredError;
    outerStructuredContext_ = xmlStructuredErrorContext;
    xmlSetStructuredErrorFunc(nullptr, nullptr);
    innermostRun = this;
}

SaxRun::~SaxRun() {
    innermostRun = outer_;
    xmlSetStructuredErrorFunc(outerStructuredContext_, outerStructuredFunction_);
    xmlSetGenericErrorFunc(outerErrorContext_, outerErrorFunction_);
}

SaxRun& SaxRun::innermost() {
    return *innermostRun;
}

void SaxRun::noteShortage() {
    const xmlError* const error = xmlGetLastError();
    if (!failed() && error != nullptr && error->code == XML_ERR_NO_MEMORY) {
        thrown_ = std::make_exception_ptr(std::bad_alloc());
    }
}

void SaxRun::rethrow() const {
    if (failed()) {
        std::rethrow_exception(thrown_);
    }
}

int parseDocument(CLibXml2SaxParser& parser, std::string_view document) {
    return parse(parser, document, contextOfFile);
}

int parseInMemory(CLibXml2SaxParser& parser, std::string_view document) {
    return document.empty() ? -1 : parse(parser, document, contextInMemory);
}

}  // namespace Settings
}  // namespace Qel
