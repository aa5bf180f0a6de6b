#include "console/Pattern.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace t8settings {

namespace {

std::size_t indexOf(char byte) {
    return static_cast<unsigned char>(byte);
}

char otherCase(char c) {
    const bool isLetter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    return isLetter ? static_cast<char>(c ^ ('a' ^ 'A')) : c;
}

}  // namespace

Pattern::Element Pattern::literal(char byte) {
    Element element;
    element.bytes.set(indexOf(byte));
    return element;
}

Pattern Pattern::exactly(const std::string& text) {
    Pattern pattern;
    pattern.text_ = text;
    std::transform(text.begin(), text.end(), std::back_inserter(pattern.elements_), literal);
    return pattern;
}

Pattern Pattern::ofNames(const std::string& text) {
    Pattern pattern;
    pattern.text_ = text;
    pattern.addGlob();
    if (!pattern.isGlob_) {
        pattern.elements_.push_back({true});
    }
    return pattern;
}

Pattern Pattern::atEndOfPath() const {
    Pattern pattern = *this;
    pattern.elements_.insert(pattern.elements_.begin(), {Element{true}, literal('/')});
    return pattern;
}

/// Takes the set whose bracket stands at `open`; gives the place after it, or `open` when no
/// bracket closes it. One that comes first belongs to the set.
std::size_t Pattern::addSet(std::size_t open) {
    const bool inverted = open + 1 < text_.size() && text_[open + 1] == '!';
    const std::size_t first = open + (inverted ? 2 : 1);
    const std::size_t close = text_.find(']', first + 1);
    if (close == std::string::npos) {
        return open;
    }
    Element element;
    for (std::size_t i = first; i < close; ++i) {
        const bool isRange = i + 2 < close && text_[i + 1] == '-';
        const std::size_t last = isRange ? i + 2 : i;
        for (std::size_t byte = indexOf(text_[i]); byte <= indexOf(text_[last]); ++byte) {
            element.bytes.set(byte);
        }
        i = last;
    }
    elements_.push_back({false, inverted ? ~element.bytes : element.bytes});
    return close + 1;
}

void Pattern::addGlob() {
    for (std::size_t i = 0; i < text_.size();) {
        const std::size_t afterSet = text_[i] == '[' ? addSet(i) : i;
        if (afterSet != i) {
            isGlob_ = true;
            i = afterSet;
            continue;
        }
        const bool isRun = text_[i] == '*';
        const bool isAny = text_[i] == '?';
        isGlob_ = isGlob_ || isRun || isAny;
        elements_.push_back(isRun   ? Element{true}
                            : isAny ? Element{false, std::bitset<256>().set()}
                                    : literal(text_[i]));
        ++i;
    }
}

bool Pattern::matches(std::string_view name) const {
    std::size_t element = 0;
    std::size_t byte = 0;
    // Where to go on when the last run has to take one byte more.
    std::size_t afterRun = 0;
    std::size_t runEnd = std::string_view::npos;
    while (byte < name.size()) {
        const bool isLeft = element < elements_.size();
        if (isLeft && elements_[element].isRun) {
            afterRun = ++element;
            runEnd = byte;
        } else if (isLeft && elements_[element].bytes.test(indexOf(name[byte]))) {
            ++element;
            ++byte;
        } else if (runEnd != std::string_view::npos) {
            element = afterRun;
            byte = ++runEnd;
        } else {
            return false;
        }
    }
    return std::all_of(elements_.begin() + static_cast<std::ptrdiff_t>(element), elements_.end(),
                       [](const Element& rest) { return rest.isRun; });
}

std::size_t Pattern::slips(std::string_view name) const {
    std::vector<std::size_t> row(name.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (const Element& element : elements_) {
        std::size_t diagonal = row[0];
        row[0] += element.isRun ? 0 : 1;
        for (std::size_t j = 0; j < name.size(); ++j) {
            const bool fits = element.bytes.test(indexOf(name[j])) ||
                              element.bytes.test(indexOf(otherCase(name[j])));
            const std::size_t replaced = diagonal + (fits ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = element.isRun ? std::min(diagonal, row[j])
                                       : std::min({replaced, diagonal + 1, row[j] + 1});
        }
    }
    return row.back();
}

std::size_t Pattern::shortest() const {
    return static_cast<std::size_t>(std::count_if(
        elements_.begin(), elements_.end(), [](const Element& element) { return !element.isRun; }));
}

bool Pattern::hasRun() const {
    return shortest() != elements_.size();
}

}  // namespace t8settings
