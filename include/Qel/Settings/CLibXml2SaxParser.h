#ifndef QEL_SETTINGS_CLIBXML2SAXPARSER_H
#define QEL_SETTINGS_CLIBXML2SAXPARSER_H

#include "Qel/Settings/Export.h"

struct _xmlElementContent;
struct _xmlEntity;
struct _xmlEnumeration;
struct _xmlParserInput;
struct _xmlSAXLocator;

namespace Qel {
namespace Settings {

/// Reads an XML document with libxml2 and reports what it meets to virtual operations, in document
/// order. Every operation does nothing unless a subclass overrides it; those that answer a question
/// answer 0 or null. Clients need no libxml2 headers to override them.
///
/// Promise: entities are never expanded and no other file is ever opened, so long as `onGetEntity`,
/// `onGetParameterEntity` and `onResolveEntity` answer null. An operation may throw: no further
/// operation is called, and `parse` or `parseFile` throws the same exception once libxml2, which
/// cannot be unwound, has come to the end of the document. An operation may parse other documents.
///
/// No promise: after an error in the document, `onCharacters` may still be called, for text whose
/// element was never reported.
///
/// All texts are NUL-terminated UTF-8, but for those that come with a length; they, and everything
/// else that is pointed to, live for the call only. An absent text is null.
///
/// Threads: the operations run on the thread that called `parse` or `parseFile`. One object reads
/// one document at a time; different objects may work at once.
class QEL_SETTINGS_EXPORT CLibXml2SaxParser {
public:
    virtual ~CLibXml2SaxParser();

    virtual void onInternalSubset(const unsigned char* name, const unsigned char* externalId,
                                  const unsigned char* systemId);
    virtual int onIsStandalone();
    virtual int onHasInternalSubset();
    virtual int onHasExternalSubset();
    virtual _xmlParserInput* onResolveEntity(const unsigned char* publicId,
                                             const unsigned char* systemId);
    virtual _xmlEntity* onGetEntity(const unsigned char* name);
    virtual void onEntityDecl(const unsigned char* name, int type, const unsigned char* publicId,
                              const unsigned char* systemId, unsigned char* content);
    virtual void onNotationDecl(const unsigned char* name, const unsigned char* publicId,
                                const unsigned char* systemId);
    /// The enumeration, null for an attribute without one, is freed after the call.
    virtual void onAttributeDecl(const unsigned char* element, const unsigned char* name, int type,
                                 int defaultKind, const unsigned char* defaultValue,
                                 _xmlEnumeration* values);
    virtual void onElementDecl(const unsigned char* name, int type, _xmlElementContent* content);
    virtual void onUnparsedEntityDecl(const unsigned char* name, const unsigned char* publicId,
                                      const unsigned char* systemId,
                                      const unsigned char* notationName);
    virtual void onSetDocumentLocator(_xmlSAXLocator* locator);
    virtual void onReference(const unsigned char* name);
    virtual void onStartDocument();
    virtual void onEndDocument();
    /// `attributes` is null for none; otherwise name, value, name, value ... and a null at the end.
    /// Within a value, "&" arrives as the five bytes "&#38;"; all other references are resolved.
    virtual void onStartElement(const unsigned char* name, const unsigned char** attributes);
    virtual void onEndElement(const unsigned char* name);
    /// A piece of an element's text of `length` bytes; one text may come in many pieces.
    virtual void onCharacters(const unsigned char* text, int length);
    virtual void onIgnorableWhitespace(const unsigned char* text, int length);
    virtual void onProcessingInstruction(const unsigned char* target, const unsigned char* data);
    virtual void onComment(const unsigned char* text);

    /// `format` is a printf format. `arguments` stands for its variable arguments, which can be
    /// read once, during the call (`#include <cstdarg>` and `<type_traits>`):
    ///
    ///     std::vsnprintf(text, sizeof text, format,
    ///                    reinterpret_cast<std::decay_t<va_list>>(arguments));
    ///
    /// On 32-bit x86 a `va_list` is itself a `char*`; on 64-bit it is an array, and the pointer to
    /// its first element is what a parameter of type `va_list` takes.
    virtual void onWarning(const char* format, char* arguments);
    /// As `onWarning`. Also told of what concerns the file or its encoding, not the document.
    virtual void onError(const char* format, char* arguments);
    /// As `onWarning`. libxml2 reports even fatal errors to `onError`.
    virtual void onFatalError(const char* format, char* arguments);

    virtual _xmlEntity* onGetParameterEntity(const unsigned char* name);
    virtual void onCData(const unsigned char* text, int length);
    virtual void onExternalSubset(const unsigned char* name, const unsigned char* externalId,
                                  const unsigned char* systemId);

    /// Reads the document of `size` bytes at `buffer`. 0 when it is well-formed, else libxml2's
    /// error number, or -1 when there is nothing to read and when an element has more than 1,000
    /// attributes, or a declaration as many values, which libxml2 does not bear. Throws
    /// `std::bad_alloc` when libxml2 runs out of memory.
    int parse(const char* buffer, int size);

    /// The same for a file. -1 also for anything but a readable regular file (a pipe or a device
    /// does not hold the caller up), and beyond 64 MiB. A compressed file is not unpacked.
    int parseFile(const char* filename);
};

}  // namespace Settings
}  // namespace Qel

#endif
