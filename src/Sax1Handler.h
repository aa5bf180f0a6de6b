#ifndef QEL_SETTINGS_SAX1HANDLER_H
#define QEL_SETTINGS_SAX1HANDLER_H

#include <exception>
#include <libxml/parser.h>
#include <libxml/xmlerror.h>
#include <string_view>

namespace Qel {
namespace Settings {

class CLibXml2SaxParser;

/// The callbacks that lead from libxml2 to the operations of a `CLibXml2SaxParser`, which is their
/// user data; with null user data they do nothing. Version 1 of the interface: elements come with
/// name and value pairs. Shared by all threads and never changed.
///
/// With a parser as user data they are to be called only while a `SaxRun` lives on the thread.
///
/// libxml2 asks for a handler that it may change, and does not change it.
const xmlSAXHandler& sax1Handler();

/// One parse on the calling thread. libxml2's frames cannot be unwound, so what an operation throws
/// is kept here until libxml2 has returned. Runs nest, when an operation parses a document itself.
class SaxRun {
public:
    explicit SaxRun(CLibXml2SaxParser& parser);
    ~SaxRun();
    SaxRun(const SaxRun&) = delete;
    SaxRun& operator=(const SaxRun&) = delete;

    /// The run that the calling thread is in the midst of.
    static SaxRun& innermost();

    CLibXml2SaxParser& parser() const { return parser_; }

    bool failed() const { return thrown_ != nullptr; }

    /// To be called within a catch block: keeps what was thrown.
    void fail() { thrown_ = std::current_exception(); }

    /// To be called when libxml2 has reported an error: its own shortage of memory is kept like an
    /// exception, as it says nothing about the document.
    void noteShortage();

    /// Throws what was kept; nothing happens when all went well.
    void rethrow() const;

private:
    CLibXml2SaxParser& parser_;
    SaxRun* outer_;
    std::exception_ptr thrown_;
    xmlGenericErrorFunc outerErrorFunction_ = nullptr;
    void* outerErrorContext_ = nullptr;
    xmlStructuredErrorFunc outerStructuredFunction_ = nullptr;
    void* outerStructuredContext_ = nullptr;
};

/// Has the parser read a document that was a file's, with the result of
/// `CLibXml2SaxParser::parseFile`. Its texts come in the same pieces as if libxml2 read the file.
int parseDocument(CLibXml2SaxParser& parser, std::string_view document);

/// Has the parser read a document in memory, with the result of `CLibXml2SaxParser::parse`.
int parseInMemory(CLibXml2SaxParser& parser, std::string_view document);

}  // namespace Settings
}  // namespace Qel

#endif
