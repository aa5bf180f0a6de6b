#include "XmlDecoding.h"

#include <climits>
#include <libxml/encoding.h>
#include <libxml/xmlerror.h>
#include <new>
#include <string>

#include "Sax1Handler.h"
#include "text/XmlEncoding.h"

namespace Qel {
namespace Settings {

namespace {

/// libxml2 takes it as saying UTF-8, whatever comes behind it.
constexpr std::string_view kMark = "\xEF\xBB\xBF";

/// libxml2 counts the bytes of both texts in `int`, and makes room for twice as many.
constexpr std::size_t kMostToDecode = INT_MAX / 4;

/// libxml2's report of bytes that are no text shows four of them, and those that come behind the
/// end where there are fewer.
constexpr std::size_t kBytesShown = 4;

struct CloseConverter {
    void operator()(xmlCharEncodingHandler* converter) const { xmlCharEncCloseFunc(converter); }
};
using Converter = std::unique_ptr<xmlCharEncodingHandler, CloseConverter>;

/// Null when there is none. libxml2 says no more when it had no memory for one.
Converter converterFrom(const std::string& encoding) {
    Converter converter(xmlFindCharEncodingHandler(encoding.c_str()));
    if (!converter) {
        const std::unique_ptr<void, xmlFreeFunc> probe(xmlMalloc(sizeof *converter), xmlFree);
        if (!probe) {
            throw std::bad_alloc();
        }
    }
    return converter;
}

template <class Buffer>
Buffer allocated(xmlBuffer* buffer) {
    if (buffer == nullptr) {
        throw std::bad_alloc();
    }
    return Buffer(buffer);
}

std::string_view contentOf(const xmlBuffer& buffer) {
    return {reinterpret_cast<const char*>(buffer.content), buffer.use};
}

/// All at once: some converters forget at the end of each call in which mode they were. False where
/// some bytes are no text. What is missing at the end of the last character is passed over, as
/// libxml2 does itself.
bool convert(xmlCharEncodingHandler& converter, xmlBuffer& from, xmlBuffer& to) {
    unsigned int left = 0;
    int result = 0;
    do {
        left = from.use;
        result = xmlCharEncInFunc(&converter, &to, &from);
    } while (result > 0 || from.use != left);
    return result == 0;
}

}  // namespace

DecodedXml::DecodedXml(std::string_view document) : text_(document) {
    const text::FirstBytes first = text::firstBytesOf(document);
    std::string name = text::declaredEncoding(document);
    if (first.encoding.empty()) {
        if (!name.empty() && !text::isEncodingOf(name, first.unit)) {
            decode(document, name);
        }
    } else {
        decode(document, first.encoding);
        name = text::declaredEncoding(text_);
        if (first.unit == 1 && !name.empty()) {
            decode(document, name);
        }
    }
    const bool agrees = text::declaredEncoding(text_) == name &&
                        (first.unit == 1 || name.empty() || text::isEncodingOf(name, first.unit));
    if (!agrees) {
        // What an encoding that is not the document's makes of its bytes tells no more than that.
        error_ = error_ == XML_ERR_UNSUPPORTED_ENCODING ? error_ : XML_ERR_INVALID_ENCODING;
        text_ = {};
    }
    source_ = first.unit == 2 && error_ == 0 ? document : text_;
}

void DecodedXml::decode(std::string_view document, std::string_view encoding) {
    isDecoded_ = true;
    text_ = {};
    const Converter converter = converterFrom(std::string(encoding));
    if (!converter || document.size() > kMostToDecode) {
        error_ = XML_ERR_UNSUPPORTED_ENCODING;
        return;
    }
    std::string padded;
    padded.reserve(document.size() + kBytesShown);
    padded.append(document).append(kBytesShown, '\0');
    const auto from = allocated<Buffer>(xmlBufferCreateStatic(padded.data(), document.size()));
    buffer_ = allocated<Buffer>(xmlBufferCreate());
    if (xmlBufferAdd(buffer_.get(), BAD_CAST kMark.data(), static_cast<int>(kMark.size())) != 0) {
        throw std::bad_alloc();
    }
    if (!convert(*converter, *from, *buffer_)) {
        error_ = XML_I18N_CONV_FAILED;
    }
    SaxRun::innermost().rethrow();
    text_ = contentOf(*buffer_);
    if (text_.substr(kMark.size(), kMark.size()) == kMark) {
        text_.remove_prefix(kMark.size());
    }
}

}  // namespace Settings
}  // namespace Qel
