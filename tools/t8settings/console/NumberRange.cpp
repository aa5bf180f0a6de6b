#include "console/NumberRange.h"

#include <charconv>
#include <system_error>

namespace t8settings {

std::optional<unsigned long> NumberRange::read(std::string_view text) const {
    unsigned long number = 0;
    const char* const end = text.data() + text.size();
    const auto [next, error] = std::from_chars(text.data(), end, number);
    const bool isWhole = error == std::errc() && next == end;
    const bool isPlain = text.size() == 1 || text.substr(0, 1) != "0";
    const bool isTaken = isWhole && isPlain && number >= least && number <= most;
    return isTaken ? std::optional(number) : std::nullopt;
}

std::string NumberRange::demand() const {
    return "takes a number from " + std::to_string(least) + " to " + std::to_string(most) +
           ", in digits alone";
}

}  // namespace t8settings
