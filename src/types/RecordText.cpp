#include "types/RecordText.h"

#include <algorithm>

namespace Qel {
namespace Settings {
namespace record {

void readFlags(const std::string& text, Flags& flags) {
    const std::size_t begin = std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size());
    const std::size_t end = std::min(text.find_first_not_of("01", begin), text.size());
    if (begin < end) {
        flags = Flags(text, begin, std::min(end - begin, flags.size()));
    }
}

TypeDescription describeFlags() {
    TypeDescription description;
    description.name = "flags";
    description.emptyText = Flags().to_string();
    return description;
}

void appendList(std::string& out, const List& list) {
    const std::string text = StrConv::arrayToString(list);
    StrConv::detail::appendUnsigned(out, text.size());
    out += ',';
    out += text;
}

List readList(std::string_view text) {
    // The text of an empty list whose last comma somebody has taken for a needless one.
    if (text == "0") {
        return {};
    }
    const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    // A text without the length is taken as it is, and so is one that is shorter than announced.
    if (digits > 0 && digits < text.size() && text[digits] == ',') {
        const unsigned int length = StrConv::detail::readUint32(text.substr(0, digits));
        text = text.substr(digits + 1, length);
    }
    return StrConv::detail::readArray<std::string>(text);
}

}  // namespace record
}  // namespace Settings
}  // namespace Qel
