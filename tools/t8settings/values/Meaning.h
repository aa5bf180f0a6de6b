#ifndef T8SETTINGS_MEANING_H
#define T8SETTINGS_MEANING_H

#include <Qel/Settings/TypeDescription.h>
#include <optional>
#include <string>
#include <vector>

namespace t8settings {

/// One of the values that a text consists of.
struct Piece {
    std::string place;  ///< in the whole text, such as "element 2, field 1"; empty for all of it
    std::string takes;  ///< what can stand there, for people
    /// One and the same text for all texts that mean the same value: for a number all of "+7", " 7"
    /// and "007". Nothing for a text that does not mean a value.
    std::optional<std::string> canonical;
};

/// All that a text says. Of a list, map or record the first piece stands for the whole, its
/// canonical text being the number of parts; the parts follow.
using Meaning = std::vector<Piece>;

/// What the text, in the form of the files, says to somebody who knows the type. The types
/// themselves read any text somehow, so two texts that they read alike need not mean the same.
Meaning meaningOf(const Qel::Settings::TypeDescription& type, const std::string& text);

/// The first place at which `given` says nothing, or at which `kept` says something else, and what
/// can stand there; empty when both say the same.
std::string difference(const Meaning& given, const Meaning& kept);

}  // namespace t8settings

#endif
