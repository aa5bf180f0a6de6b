#include "text/XmlEncoding.h"

#include <algorithm>
#include <iterator>

namespace Qel {
namespace Settings {
namespace text {
namespace {

using namespace std::string_view_literals;

struct Beginning {
    std::string_view bytes;
    FirstBytes meaning;
};

/// The mark of UTF-32 begins with that of UTF-16.
constexpr Beginning kBeginnings[] = {
    {"\0\0\xFE\xFF"sv, {4, "UTF-32BE"}},   {"\xFF\xFE\0\0"sv, {4, "UTF-32LE"}},
    {"\0\0\0<"sv, {4, "UTF-32BE"}},        {"<\0\0\0"sv, {4, "UTF-32LE"}},
    {"\xFE\xFF"sv, {2, "UTF-16BE"}},       {"\xFF\xFE"sv, {2, "UTF-16LE"}},
    {"\0<\0?"sv, {2, "UTF-16BE"}},         {"<\0?\0"sv, {2, "UTF-16LE"}},
    {"\x4C\x6F\xA7\x94"sv, {1, "IBM037"}},  // "<?xm" in any EBCDIC
};

struct Encoding {
    std::size_t unit;
    std::string_view name;  // in capitals; "*" at the end stands for any rest
};

/// Of bytes, those in which all markup stands as in ASCII: in those of several bytes for a
/// character none of them is an angle bracket or a quote (in some the second may be a bar). UTF-8
/// and, of bytes, UTF-16 are what libxml2 passes over, or refuses itself, when the first bytes say
/// otherwise.
constexpr Encoding kEncodings[] = {
    {1, "UTF-8"},      {1, "UTF8"},        {1, "UTF-16"},         {1, "UTF16"},
    {1, "US-ASCII"},   {1, "ASCII"},       {1, "ISO-8859-*"},     {1, "ISO8859-*"},
    {1, "ISO_8859-*"}, {1, "ISO-LATIN-1"}, {1, "LATIN1"},         {1, "LATIN2"},
    {1, "WINDOWS-*"},  {1, "CP125*"},      {1, "KOI8-*"},         {1, "TIS-620"},
    {1, "MACINTOSH"},  {1, "CP437"},       {1, "IBM437"},         {1, "CP850"},
    {1, "IBM850"},     {1, "CP852"},       {1, "IBM852"},         {1, "CP866"},
    {1, "IBM866"},     {1, "EUC-*"},       {1, "GB2312"},         {1, "GBK"},
    {1, "GB18030"},    {1, "BIG5*"},       {1, "SHIFT_JIS"},      {1, "SHIFT-JIS"},
    {1, "SJIS"},       {2, "UTF-8"},       {2, "UTF8"},           {2, "UTF-16*"},
    {2, "UTF16*"},     {2, "UCS-2*"},      {2, "UCS2*"},          {2, "ISO-10646-UCS-2"},
    {4, "UTF-8"},      {4, "UTF-16"},      {4, "UTF-32*"},        {4, "UTF32*"},
    {4, "UCS-4*"},     {4, "UCS4*"},       {4, "ISO-10646-UCS-4"}};

bool startsWith(std::string_view text, std::string_view start) {
    return text.substr(0, start.size()) == start;
}

bool isNamed(const Encoding& encoding, std::string_view name) {
    return encoding.name.back() == '*'
               ? startsWith(name, encoding.name.substr(0, encoding.name.size() - 1))
               : name == encoding.name;
}

std::string inCapitals(std::string_view text) {
    std::string capitals(text);
    for (char& c : capitals) {
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
    return capitals;
}

}  // namespace

FirstBytes firstBytesOf(std::string_view document) {
    for (const Beginning& beginning : kBeginnings) {
        if (startsWith(document, beginning.bytes)) {
            return beginning.meaning;
        }
    }
    return {1, {}};
}

std::string declaredEncoding(std::string_view text) {
    constexpr std::string_view kDeclaration = "<?xml";
    constexpr std::string_view kWord = "encoding";
    constexpr std::string_view kAround = " \t\r\n='\"";
    text = text.substr(0, text.find('>'));
    text.remove_prefix(std::min(text.find('<'), text.size()));
    const std::size_t word = text.find(kWord);
    if (!startsWith(text, kDeclaration) || word == std::string_view::npos ||
        kAround.find(text[kDeclaration.size()]) == std::string_view::npos) {
        return {};
    }
    text.remove_prefix(word + kWord.size());
    text.remove_prefix(std::min(text.find_first_not_of(kAround), text.size()));
    return inCapitals(text.substr(0, text.find_first_of(" \t\r\n='\"?")));
}

bool isEncodingOf(std::string_view name, std::size_t unit) {
    return std::any_of(std::begin(kEncodings), std::end(kEncodings), [&](const Encoding& encoding) {
        return encoding.unit == unit && isNamed(encoding, name);
    });
}

}  // namespace text
}  // namespace Settings
}  // namespace Qel
