#include "text/FieldReader.h"

namespace Qel {
namespace Settings {
namespace text {

bool FieldReader::next(std::string& field) {
    field.clear();
    if (!expectsField_) {
        return false;
    }
    bool quoted = false;
    std::size_t at = 0;
    for (; at < rest_.size() && (quoted || rest_[at] != ','); ++at) {
        if (rest_[at] == '\\') {
            at = takeEscape(at, field);
        } else if (rest_[at] == '"') {
            quoted = !quoted;
        } else {
            field += rest_[at];
        }
    }
    expectsField_ = at < rest_.size();
    rest_.remove_prefix(expectsField_ ? at + 1 : at);
    return true;
}

/// Copies the escape and gives the place of its last byte.
std::size_t FieldReader::takeEscape(std::size_t backslash, std::string& field) const {
    const std::size_t escaped = backslash + 1;
    if (escaped == rest_.size()) {
        field += '\\';
        return backslash;
    }
    if (rest_[escaped] != ',') {
        field += '\\';
    }
    field += rest_[escaped];
    return escaped;
}

}  // namespace text
}  // namespace Settings
}  // namespace Qel
