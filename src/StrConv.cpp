#include "Qel/Settings/StrConv.h"

#include "text/Escaping.h"
#include "text/Numbers.h"
#include "text/Tokenizers.h"

namespace Qel {
namespace Settings {
namespace StrConv {

std::string escapeString(const std::string& value) {
    std::string text;
    text::appendEscaped(text, value);
    return text;
}

std::string unescapeString(const std::string& text) {
    return text::unescape(text);
}

bool arrayFromStringtokenizer(std::string::const_iterator& it, std::string::const_iterator end,
                              std::string& token) {
    return text::nextArrayField(it, end, token);
}

bool lengthItemTokenizer(std::string::const_iterator& it, std::string::const_iterator end,
                         std::string& token) {
    return text::nextLengthItem(it, end, token);
}

namespace detail {

void appendEscaped(std::string& out, const std::string& value) {
    text::appendEscaped(out, value);
}
void appendSigned(std::string& out, long long value) {
    text::appendSigned(out, value);
}
void appendUnsigned(std::string& out, unsigned long long value) {
    text::appendUnsigned(out, value);
}
void appendDouble(std::string& out, double value) {
    text::appendDouble(out, value);
}
void appendBool(std::string& out, bool value) {
    text::appendBool(out, value);
}

int readInt32(std::string_view text) {
    return text::parseInteger<int>(text);
}
unsigned int readUint32(std::string_view text) {
    return text::parseInteger<unsigned int>(text);
}
long long readInt64(std::string_view text) {
    return text::parseInteger<long long>(text);
}
unsigned long long readUint64(std::string_view text) {
    return text::parseInteger<unsigned long long>(text);
}
float readFloat(std::string_view text) {
    return text::parseFloat(text);
}
double readDouble(std::string_view text) {
    return text::parseDouble(text);
}
bool readBool(std::string_view text) {
    return text::parseBool(text);
}

std::string readString(std::string_view text) {
    return text::unescape(text);
}

std::string_view takeField(std::string_view& rest) {
    return text::takeField(rest);
}

}  // namespace detail
}  // namespace StrConv
}  // namespace Settings
}  // namespace Qel
