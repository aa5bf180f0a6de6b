#ifndef QEL_SETTINGS_XMLDECODING_H
#define QEL_SETTINGS_XMLDECODING_H

#include <libxml/tree.h>
#include <memory>
#include <string_view>

namespace Qel {
namespace Settings {

/// An XML document in which all markup stands as in ASCII: as it is or, where its encoding does not
/// have it so, decoded to UTF-8.
class DecodedXml {
public:
    /// To be called while a `SaxRun` lives on the thread, as libxml2 reports to it what goes wrong.
    explicit DecodedXml(std::string_view document);

    /// Where the document cannot be decoded to its end, what comes before the first bytes that its
    /// encoding does not have; empty where that is nothing.
    std::string_view text() const { return text_; }

    /// What libxml2 is to read: the text or, where it cannot but decode to the same, the document
    /// as it is, since the places at which it cuts long texts come of the units that it reads.
    std::string_view source() const { return source_; }

    /// Whether libxml2 has to go by the first bytes of the source alone, whatever that declares.
    bool isDecoded() const { return isDecoded_; }

    /// Why the text is not all of the document, as a number of libxml2's: an encoding that it does
    /// not know, one that contradicts the first bytes, bytes that the encoding does not have. 0
    /// otherwise.
    int error() const { return error_; }

private:
    struct FreeBuffer {
        void operator()(xmlBuffer* buffer) const { xmlBufferFree(buffer); }
    };
    using Buffer = std::unique_ptr<xmlBuffer, FreeBuffer>;

    void decode(std::string_view document, std::string_view encoding);

    Buffer buffer_;
    std::string_view text_;
    std::string_view source_;
    bool isDecoded_ = false;
    int error_ = 0;
};

}  // namespace Settings
}  // namespace Qel

#endif
