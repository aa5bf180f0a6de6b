#include "text/IniGrammar.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <locale>

namespace Qel {
namespace Settings {
namespace text {
namespace {

constexpr std::size_t kNowhere = std::string_view::npos;

IniLine splitSection(std::string_view line, const WhiteSpace& whiteSpace) {
    if (line.back() != ']') return {IniLine::Kind::SkippedSection, {}, {}, {}};
    const std::string_view name = whiteSpace.trim(line.substr(1, line.size() - 2));
    if (name.empty()) return {IniLine::Kind::SkippedSection, {}, {}, {}};
    return {IniLine::Kind::Section, name, {}, {}};
}

IniLine splitSetting(std::string_view line, const WhiteSpace& whiteSpace) {
    const std::size_t equals = line.find('=');
    const std::size_t comma = equals == kNowhere ? kNowhere : line.find(',', equals + 1);
    if (comma == kNowhere) return {IniLine::Kind::Malformed, {}, {}, {}};
    return {IniLine::Kind::Setting, whiteSpace.trim(line.substr(0, equals)),
            whiteSpace.trim(line.substr(equals + 1, comma - equals - 1)),
            whiteSpace.trim(line.substr(comma + 1))};
}

}  // namespace

WhiteSpace::WhiteSpace() {
    const std::locale locale;
    const auto& characters = std::use_facet<std::ctype<char>>(locale);
    for (std::size_t c = 0; c < 128; ++c) {
        isSpace_[c] = characters.is(std::ctype_base::space, static_cast<char>(c));
    }
}

IniLine splitHeader(std::string_view line, const WhiteSpace& whiteSpace) {
    const std::string_view header = line.substr(1);
    const std::size_t equals = header.find('=');
    const std::string_view value =
        equals == kNowhere ? std::string_view() : header.substr(equals + 1);
    return {IniLine::Kind::Header,
            whiteSpace.trim(header.substr(0, equals)),
            {},
            whiteSpace.trim(value)};
}

IniLine parseLine(std::string_view line, const WhiteSpace& whiteSpace) {
    if (line.empty()) return {IniLine::Kind::Blank, {}, {}, {}};
    if (line.front() == '#') return splitHeader(line, whiteSpace);
    if (line.front() == '[') return splitSection(line, whiteSpace);
    return splitSetting(line, whiteSpace);
}

const char* whyMalformed(std::string_view line) {
    return line.find('=') == kNowhere ? R"(no "=" after the key)" : R"(no "," after the type)";
}

bool IniWalk::next() {
    while (start_ < text_.size()) {
        const std::size_t end = std::min(text_.find('\n', start_), text_.size());
        whole_ = whiteSpace_.trim(text_.substr(start_, end - start_));
        start_ = end + 1;
        ++number_;
        if (!whole_.empty()) {
            line_ = parseLine(whole_, whiteSpace_);
            ++seen_;
            return true;
        }
    }
    return false;
}

std::size_t countLineFeeds(std::string_view text) {
    // In pieces whose count fits into a byte: the compiler then looks at many bytes at a time.
    constexpr std::size_t kPiece = 255;
    std::size_t count = 0;
    for (; !text.empty(); text.remove_prefix(std::min(kPiece, text.size()))) {
        std::uint8_t inPiece = 0;
        for (const char c : text.substr(0, kPiece)) {
            inPiece = static_cast<std::uint8_t>(inPiece + (c == '\n' ? 1 : 0));
        }
        count += inPiece;
    }
    return count;
}

}  // namespace text
}  // namespace Settings
}  // namespace Qel
